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

// Lays LANES pixels over the picture, a register of their channels at a time.
static inline void blend(float* pixels, Floats cover, Floats shade, Floats shadow, Floats lit) {
    const Ints lanes = counting<Ints>();
    for (int part = 0; part < 4; ++part) {
        const Ints pixel = (part * LANES + lanes) >> 2;
        const Floats there = load(pixels + part * LANES);
        const Floats colour = shadow + picked(shade, pixel) * lit;
        store(pixels + part * LANES, there + picked(cover, pixel) * (colour - there));
    }
}

static void row(const PuffShading& shading, const PuffRow& row, float* pixels) {
    alignas(64) float cover[PUFF_CHUNK + LANES], shades[PUFF_CHUNK + LANES];
    shade(shading, row, cover, shades);
    Floats shadow, lit;
    for (int lane = 0; lane < LANES; ++lane) shadow[lane] = shading.shadow[lane % 4], lit[lane] = shading.lit[lane % 4];
    int i = 0;
    for (; i + LANES <= row.count; i += LANES) blend(pixels + 4L * i, load(cover + i), load(shades + i), shadow, lit);
    for (; i < row.count; ++i) {
        const Pixel there = load<Pixel>(pixels + 4L * i);
        const Pixel colour = load<Pixel>(shading.shadow) + shades[i] * load<Pixel>(shading.lit);
        store(pixels + 4L * i, there + cover[i] * (colour - there));
    }
}

// The values that a register needs lie side by side: they are picked from one load.
static void spread(const float* ends, int shift, float* out, int count) {
    const int size = 1 << shift;
    const float step = 1.0f / float(size);
    const Ints lanes = counting<Ints>(), from = lanes >> shift;
    const Floats beyond = to_floats(lanes & (size - 1));
    if (shift == 0) {
        for (int i = 0; i < count; i += LANES) store(out + i, load(ends + i));
        return;
    }
    for (int i = 0; i < count; i += LANES) {
        const Floats near = load(ends + (i >> shift));
        const Floats a = picked(near, from), b = picked(near, from + 1);
        store(out + i, a + (float(i & (size - 1)) + beyond) * step * (b - a));
    }
}

static void between(const float* a, const float* b, float t, float* out, int count) {
    for (int i = 0; i < count; ++i) out[i] = a[i] + t * (b[i] - a[i]);
}

}  // namespace

const PuffKernels puff_kernels = {row, spread, between};

}  // namespace QUILLON_SIMD
