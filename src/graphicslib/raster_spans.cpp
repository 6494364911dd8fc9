// Four pixels abreast. Compiled once for each instruction set; no product and sum are fused, so all give the same bits.
#include "graphicslib/raster_spans.h"

#include <cstring>

// Vectors wider than the registers of an instruction set are passed in ways that only matter between files.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace raster::QUILLON_SIMD {

namespace {

using V16 = float __attribute__((vector_size(64)));  // four pixels of r, g, b, a
using I16 = int __attribute__((vector_size(64)));
using V4 = float __attribute__((vector_size(16)));
using I4 = int __attribute__((vector_size(16)));

constexpr I16 SPREAD = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3};
constexpr I16 ALPHAS = {3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15};
constexpr I16 IS_ALPHA = {0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, -1};
constexpr V4 STEPS = {0.5F, 1.5F, 2.5F, 3.5F};

template <class Vector>
inline Vector load(const float* from) {
    Vector value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class Vector>
inline void store(float* to, Vector value) {
    std::memcpy(to, &value, sizeof value);
}

// One value a pixel, to all four channels of that pixel.
inline V16 spread(V4 values) {
    V16 wide;
    std::memset(&wide, 0, sizeof wide);
    std::memcpy(&wide, &values, sizeof values);
    return __builtin_shuffle(wide, SPREAD);
}

inline V16 repeat(const float* rgba) {
    V16 value;
    for (int i = 0; i < 4; ++i) std::memcpy(reinterpret_cast<char*>(&value) + 16 * i, rgba, 16);
    return value;
}

struct Shader {
    V16 colour, colour_change;
    float z, z_change, x_start, scale;

    inline void four(float* sample, float* depth, V4 coverage, float x) const {
        V4 t = (x + STEPS - x_start) * scale;
        t = t > 0.0F ? t : V4{};
        t = t < 1.0F ? t : V4{1, 1, 1, 1};
        const V4 depth_here = z + t * z_change, depth_there = load<V4>(depth);
        const I4 hidden = (depth_there < depth_here) | (coverage == 0.0F);
        store(depth, hidden ? depth_there : depth_here);
        const V16 ink = colour + spread(t) * colour_change;
        const V16 a = __builtin_shuffle(ink, ALPHAS) * spread(coverage);
        const V16 there = load<V16>(sample);
        const V16 one = IS_ALPHA ? 1.0F + V16{} : ink;
        const V16 mixed = a * one + (1.0F - a) * there;
        const V16 mask = spread(V4(hidden ? V4{1, 1, 1, 1} : V4{}));
        store(sample, mask != 0.0F ? there : mixed);
    }
};

void shade(float* sample, float* depth, const float* coverage, int x, int count, const SpanShade& span) {
    const Shader shader{repeat(span.colour), repeat(span.colour_change), span.z, span.z_change, span.x_start,
                        span.scale};
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const V4 covered = coverage ? load<V4>(coverage + i) : V4{1, 1, 1, 1};
        shader.four(sample + 4 * i, depth + i, covered, static_cast<float>(x + i));
    }
    if (i == count) return;
    // The last few by way of a copy, with the same arithmetic.
    float pixels[16] = {}, depths[4] = {}, covered[4] = {};
    const auto rest = static_cast<unsigned>(count - i);
    std::memcpy(pixels, sample + 4 * i, 16 * rest);
    std::memcpy(depths, depth + i, 4 * rest);
    for (unsigned k = 0; k < rest; ++k) covered[k] = coverage ? coverage[static_cast<unsigned>(i) + k] : 1;
    shader.four(pixels, depths, load<V4>(covered), static_cast<float>(x + i));
    std::memcpy(sample + 4 * i, pixels, 16 * rest);
    std::memcpy(depth + i, depths, 4 * rest);
}

void fill(float* values, int count, float value) {
    for (int i = 0; i < count; ++i) values[i] = value;
}

void weigh(float* __restrict sums, const float* __restrict values, int count, float weight) {
    for (int i = 0; i < count; ++i) sums[i] = values[i] * weight;
}

void add_weighted(float* __restrict sums, const float* __restrict values, int count, float weight) {
    for (int i = 0; i < count; ++i) sums[i] += values[i] * weight;
}

}  // namespace

extern const Kernels KERNELS = {shade, fill, weigh, add_weighted};

}  // namespace raster::QUILLON_SIMD
