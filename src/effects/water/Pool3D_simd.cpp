#include "effects/water/Pool3D_simd.h"

#include "simdlib/elementary.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {

static void pool_row(const PoolWaves& waves, double y, int* index, float* part, float* __restrict out) {
    constexpr int N = COUNT_OF<Doubles>;
    constexpr double TURNS = 0.15915494309189535;  // 1 / (2 pi)
    constexpr double FARTHEST = 1e6, BEHIND = 1e-10;
    constexpr double STEPS = 1024;
    const Doubles zero = {}, one = zero + 1.0, lanes = counting<Doubles>();
    const double* map = waves.to_plane;
    for (int x = 0; x < waves.width; x += N) {
        const Doubles px = (lanes + double(x)) * waves.step;
        const Doubles w = map[6] * px + (map[7] * y + map[8]);
        const auto is_seen = w > BEHIND;
        const Doubles scale = 1.0 / (is_seen ? w : one);
        const Doubles dx = (map[0] * px + (map[1] * y + map[2])) * scale - waves.centre_x;
        const Doubles dy = (map[3] * px + (map[4] * y + map[5])) * scale - waves.centre_y;
        const Doubles r = smaller(square_root(dx * dx + dy * dy), zero + FARTHEST);

        Doubles phase = waves.easing ? waves.along * r / (2.0 * r + 1.0) : waves.along * r;
        phase += waves.offset;
        if (waves.around != 0.0) phase += elementary::atan2<Doubles>(dy, dx) * TURNS * waves.around;
        phase -= (phase + elementary::ROUNDER) - elementary::ROUNDER;
        phase = (phase < zero ? phase + 1.0 : phase) * STEPS;
        const auto below = to_ints(smaller(phase, zero + (STEPS - 1.0)));
        store(index + x, below);
        store(part + x, to_floats(phase - to_doubles(below)));

        const Doubles s = 1.0 - to_unit((r - waves.radius) / (waves.radius * 1.1));
        const Doubles fade = s * s * (3.0 - 2.0 * s);
        const auto height = to_floats(is_seen ? fade : zero);
        const int count = waves.width - x < N ? waves.width - x : N;
        __builtin_memcpy(out + x, &height, sizeof(float) * std::size_t(count));
    }
    for (int x = 0; x < waves.width; ++x) {
        const float* wave = waves.table + index[x];
        out[x] *= waves.amplitude * (wave[0] + part[x] * (wave[1] - wave[0]));
    }
}

const PoolKernels pool_kernels = {pool_row};

}  // namespace QUILLON_SIMD
