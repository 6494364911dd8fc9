#include "effects/sky/CumuloPuff_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// The density at a squared distance from the middle, in radii.
static inline Floats density(const float* profile, Floats squared) {
    const Floats all = Floats{} + 1.0f;
    return gather(profile, to_ints(smaller(squared, all) * float(PUFF_STEPS)));
}

// Coverage and shade of a row's pixels. Puffs are seen as spheres: what faces the light is lit.
static void shade(const PuffShading& shading, const PuffRow& row, float* cover, float* shades) {
    const Floats zero = {}, lanes = counting<Floats>();
    for (int i = 0; i < row.count; i += LANES) {
        Floats u = ((row.first + float(i)) + lanes - row.middle) * row.step;
        Floats v = zero + row.up;
        Floats squared = u * u + v * v;
        Floats d = density(shading.profile, squared);
        if (row.push_u) {
            u += load(row.push_u + i);
            v += load(row.push_v + i);
            squared = u * u + v * v;
            d *= density(shading.profile, squared);
        }
        const Floats near = square_root(larger(1.0f - squared, zero));
        const Floats cosine = shading.light[0] * u + shading.light[1] * v + shading.light[2] * near;
        d *= row.amount;
        Floats through = 1.0f - d;
        for (int k = 0; k < shading.repeat_count; ++k) through *= 1.0f - d * shading.repeats[k];
        store(cover + i, 1.0f - through);
        store(shades + i, to_unit((cosine - shading.dark) * shading.slope + shading.even));
    }
}

static void row(const PuffShading& shading, const PuffRow& row, float* pixels) {
    alignas(64) float cover[PUFF_CHUNK + LANES], shades[PUFF_CHUNK + LANES];
    shade(shading, row, cover, shades);
    const Pixel shadow = load<Pixel>(shading.shadow), lit = load<Pixel>(shading.lit);
    for (int i = 0; i < row.count; ++i) {
        const Pixel there = load<Pixel>(pixels + 4L * i);
        const Pixel colour = shadow + shades[i] * lit;
        store(pixels + 4L * i, there + cover[i] * (colour - there));
    }
}

static void spread(const float* ends, int size, float* out, int count) {
    const float step = 1.0f / float(size);  // exact: sizes are powers of two
    for (int i = 0; i < count; i += size, ++ends) {
        const float slope = (ends[1] - ends[0]) * step;
        for (int k = 0; k < size; ++k) out[i + k] = ends[0] + float(k) * slope;
    }
}

static void between(const float* a, const float* b, float t, float* out, int count) {
    for (int i = 0; i < count; ++i) out[i] = a[i] + t * (b[i] - a[i]);
}

}  // namespace

const PuffKernels puff_kernels = {row, spread, between};

}  // namespace QUILLON_SIMD
