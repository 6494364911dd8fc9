#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "noiselib/krvf.h"

namespace {

// Times outside the range of 32-bit integers are clamped to it.
double limit_time(double time, int32_t current) {
    if (std::isnan(time)) return current;
    return std::clamp(time, static_cast<double>(std::numeric_limits<int32_t>::min()),
                      static_cast<double>(std::numeric_limits<int32_t>::max()));
}

}  // namespace

bool KRVFT::generate_from_next_word(KRVF& keyframe) {
    return keyframe.generate(static_cast<int32_t>(random.next_uint32() >> 1), half_grid, k_min, energy);
}

int KRVFT::init(double time, int32_t new_seed, int n, double new_k_min, double new_energy) {
    current_time = static_cast<int32_t>(limit_time(time, 0));
    seed = new_seed;
    half_grid = n;
    k_min = new_k_min;
    energy = new_energy;
    random = MTRandom(static_cast<uint32_t>(seed));
    field_a.reset(new (std::nothrow) KRVF);
    field_b.reset(new (std::nothrow) KRVF);
    if (!field_a || !field_b) return 0;
    const bool has_first = generate_from_next_word(*field_a);
    const bool has_second = generate_from_next_word(*field_b);
    return has_first && has_second ? 1 : 0;
}

bool KRVFT::copy_from(const KRVFT& other) {
    if (!other.field_a || !other.field_b) {
        field_a.reset(), field_b.reset();
    } else {
        if (!field_a) field_a.reset(new (std::nothrow) KRVF);
        if (!field_b) field_b.reset(new (std::nothrow) KRVF);
        if (!field_a || !field_b || !field_a->copy_from(*other.field_a) || !field_b->copy_from(*other.field_b)) {
            field_a.reset(), field_b.reset();
            return false;
        }
    }
    current_time = other.current_time, half_grid = other.half_grid;
    k_min = other.k_min, energy = other.energy, seed = other.seed;
    random = other.random;
    return true;
}

int KRVFT::sample(double x, double y, double z, double time, double* u, double* v, double* w) {
    *u = *v = *w = 0;
    if (!field_a || !field_b) return 0;
    time = limit_time(time, current_time);
    if (const auto whole = static_cast<int32_t>(time); whole != current_time) {
        current_time = whole;
        std::swap(field_a, field_b);
        generate_from_next_word(*field_b);
    }
    KrvfVector a;
    KrvfVector b;
    if (!field_a->sample(x, y, z, &a.u, &a.v, &a.w) || !field_b->sample(x, y, z, &b.u, &b.v, &b.w)) return 0;
    const double t = time - current_time;
    *u = a.u + (b.u - a.u) * t;
    *v = a.v + (b.v - a.v) * t;
    *w = a.w + (b.w - a.w) * t;
    return 1;
}
