// Lanes are summed each for itself and put together at the end, so that all instruction sets give the same bits.
#include "effects/sundries/FlockCrowd_simd.h"
#include "simdlib/vectors.h"

namespace flock::QUILLON_SIMD {
namespace {

using namespace ::QUILLON_SIMD;

using Eight = Vec<float, 8>;
using Mask = Vec<int, 8>;
constexpr int ABREAST = 8;
constexpr float CLOSEST = 0.05f;  // of the distance that is kept: what is nearer pushes no harder

// In registers as wide as there are.
template <class V>
QUILLON_VECTOR void take_root(V& values) {
    constexpr int COUNT = REGISTER < int(sizeof(V)) ? REGISTER / 4 : COUNT_OF<V>;
    float numbers[COUNT_OF<V>];
    store(numbers, values);
    for (int i = 0; i < COUNT_OF<V>; i += COUNT) store(numbers + i, square_root(load<Vec<float, COUNT>>(numbers + i)));
    __builtin_memcpy(&values, numbers, sizeof values);
}

static inline float sum_of(const Eight& v) { return ((v[0] + v[4]) + (v[2] + v[6])) + ((v[1] + v[5]) + (v[3] + v[7])); }

static Company look(const CrowdLists& crowd, const CrowdRun* runs, int count, const Looker& who) {
    const Eight zero{};
    const Mask lanes = counting<Mask>();
    const float keep_squared = who.keep * who.keep, sight_squared = who.sight * who.sight;
    const Eight least = zero + CLOSEST * who.keep;
    Eight apart[3]{}, heading[3]{}, middle[3]{}, weights{};
    for (const CrowdRun* run = runs; run != runs + count; ++run)
        for (int i = 0; i < run->count; i += ABREAST) {
            const int at = run->first + i;
            const Eight dx = load<Eight>(crowd.x + at) - who.x, dy = load<Eight>(crowd.y + at) - who.y;
            const Eight dz = (load<Eight>(crowd.z + at) - who.z) * who.deep;
            const Eight squared = dx * dx + dy * dy + dz * dz;
            Eight distance = squared;
            take_root(distance);
            const Mask other = (lanes < run->count - i) & (load<Mask>(crowd.index + at) != who.index);

            const Eight kept = distance > least ? distance : least;
            const Eight away = (who.keep - kept) / (who.keep * kept);
            const Eight push = other & (squared < keep_squared) ? away : zero;
            apart[0] -= push * dx, apart[1] -= push * dy, apart[2] -= push * dz;

            const Eight ahead = dx * who.vx + dy * who.vy;
            const Mask seen = other & (squared <= sight_squared) & (ahead >= who.blind * who.speed * distance);
            const Eight weight = seen ? 1 - squared / sight_squared : zero;
            heading[0] += weight * load<Eight>(crowd.vx + at);
            heading[1] += weight * load<Eight>(crowd.vy + at);
            heading[2] += weight * load<Eight>(crowd.vz + at);
            middle[0] += weight * dx, middle[1] += weight * dy, middle[2] += weight * dz;
            weights += weight;
        }
    Company company;
    for (int k = 0; k < 3; ++k) {
        company.apart[k] = sum_of(apart[k]), company.heading[k] = sum_of(heading[k]);
        company.middle[k] = sum_of(middle[k]);
    }
    company.weights = sum_of(weights);
    return company;
}

}  // namespace

const CrowdKernels crowd_kernels = {look};

}  // namespace flock::QUILLON_SIMD
