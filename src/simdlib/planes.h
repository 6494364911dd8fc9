// Float RGBA pixels as planes of one channel, many pixels abreast. For the same files as simdlib/vectors.h.
//
// Pixels are turned into planes inside groups of four floats only, which every vector unit does in one step a pair. So
// the lanes of a plane hold the pixels in an order of their own: `lane_of` and `pixel_of` give it.
#pragma once

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

struct Planes {
    Floats r, g, b, a;
};

// Which of LANES pixels is in which lane.
QUILLON_VECTOR int pixel_of(int lane) { return lane % 4 * (LANES / 4) + lane / 4; }
QUILLON_VECTOR int lane_of(int pixel) { return pixel % (LANES / 4) * 4 + pixel / (LANES / 4); }
QUILLON_VECTOR Floats lane_pixels() {
    Floats pixels = {};
    for (int i = 0; i < LANES; ++i) pixels[i] = static_cast<float>(pixel_of(i));
    return pixels;
}

// Transposes each group of four by four: pixels to planes, and planes to pixels.
template <class V>
QUILLON_VECTOR void transpose(V& a, V& b, V& c, V& d) {
    const V ab_low = mixed_groups<0, 4, 1, 5>(a, b), ab_high = mixed_groups<2, 6, 3, 7>(a, b);
    const V cd_low = mixed_groups<0, 4, 1, 5>(c, d), cd_high = mixed_groups<2, 6, 3, 7>(c, d);
    a = mixed_groups<0, 1, 4, 5>(ab_low, cd_low), b = mixed_groups<2, 3, 6, 7>(ab_low, cd_low);
    c = mixed_groups<0, 1, 4, 5>(ab_high, cd_high), d = mixed_groups<2, 3, 6, 7>(ab_high, cd_high);
}
QUILLON_VECTOR Planes turned(Planes v) {
    transpose(v.r, v.g, v.b, v.a);
    return v;
}

// LANES pixels.
QUILLON_VECTOR Planes load_planes(const float* pixels) {
    Planes v;
    __builtin_memcpy(&v, pixels, sizeof v);
    return turned(v);
}
QUILLON_VECTOR void store_planes(float* pixels, const Planes& planes) {
    const Planes v = turned(planes);
    __builtin_memcpy(pixels, &v, sizeof v);
}

// The first `count` of LANES pixels; the others are zeros, and are not written.
QUILLON_VECTOR Planes load_planes(const float* pixels, int count) {
    if (count >= LANES) return load_planes(pixels);
    alignas(64) float some[4 * LANES] = {};
    __builtin_memcpy(some, pixels, 16 * static_cast<std::size_t>(count));
    return load_planes(some);
}
QUILLON_VECTOR void store_planes(float* pixels, const Planes& planes, int count) {
    if (count >= LANES) return store_planes(pixels, planes);
    alignas(64) float some[4 * LANES];
    store_planes(some, planes);
    __builtin_memcpy(pixels, some, 16 * static_cast<std::size_t>(count));
}

// Runs `work` (Planes in, Planes out, first pixel) over `count` pixels in place, the last few through a block of their
// own.
template <class Work>
[[maybe_unused]] static inline void for_planes(float* pixels, int count, const Work& work) {
    int i = 0;
    for (; i + LANES <= count; i += LANES) store_planes(pixels + 4L * i, work(load_planes(pixels + 4L * i), i));
    if (i == count) return;
    alignas(64) float rest[4 * LANES] = {};
    const std::size_t bytes = 16 * static_cast<std::size_t>(count - i);
    __builtin_memcpy(rest, pixels + 4L * i, bytes);
    store_planes(rest, work(load_planes(rest), i));
    __builtin_memcpy(pixels + 4L * i, rest, bytes);
}

}  // namespace
}  // namespace QUILLON_SIMD
