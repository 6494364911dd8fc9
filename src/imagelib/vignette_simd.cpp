#include "imagelib/vignette_simd.h"

#include <immintrin.h>

namespace QUILLON_SIMD {
namespace {

#if defined(__AVX512F__)
constexpr int LANES = 16;
#elif defined(__AVX2__)
constexpr int LANES = 8;
#else
constexpr int LANES = 4;
#endif
typedef float Floats __attribute__((vector_size(4 * LANES)));
typedef float Pixel __attribute__((vector_size(16)));
typedef int PixelMask __attribute__((vector_size(16)));

static inline Floats smaller(Floats a, Floats b) { return a < b ? a : b; }

static inline Floats square_root(Floats v) {
#if defined(__AVX512F__)
    return (Floats)_mm512_sqrt_ps((__m512)v);
#elif defined(__AVX2__)
    return (Floats)_mm256_sqrt_ps((__m256)v);
#else
    return (Floats)_mm_sqrt_ps((__m128)v);
#endif
}

static inline Pixel darkened(Pixel pixel, float factor) {
    constexpr PixelMask COLOUR = {-1, -1, -1, 0};
    const Pixel zero = {}, dark = pixel * factor;
    const Pixel positive = dark > zero ? dark : zero;
    const Pixel limited = positive < zero + 1 ? positive : zero + 1;
    return COLOUR ? limited : pixel;
}

static void darken(const VignetteShape& v, int y, float* row, int count) {
    const Floats zero = {}, one = zero + 1;
    Floats order;
    for (int i = 0; i < LANES; ++i) order[i] = float(i) + 0.5f - v.centre_x;
    const float dy = (float(y) + 0.5f - v.centre_y) * v.row_height;
    for (int x = 0; x < count; x += LANES) {
        const Floats away = order + float(x);
        const Floats dx = (away < zero ? -away : away) - v.offset;
        const Floats distance = square_root(dx * dx + dy * dy);
        const Floats part = v.radius > 0.0f ? smaller(distance / v.radius, one) : one;
        const Floats factor = smaller((one - part) * v.slope, one);
        float factors[LANES];
        __builtin_memcpy(factors, &factor, sizeof factor);
        for (int i = 0; i < LANES && x + i < count; ++i) {
            float* pixel = row + 4 * (x + i);
            _mm_storeu_ps(pixel, (__m128)darkened((Pixel)_mm_loadu_ps(pixel), factors[i]));
        }
    }
}

}  // namespace

const VignetteRow vignette_row = darken;

}  // namespace QUILLON_SIMD
