#include "effects/families/weather/SplatKernels.h"

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
constexpr int CHUNK = 64;  // pixels whose coverage is worked out at once
typedef float Floats __attribute__((vector_size(4 * LANES)));
typedef int Ints __attribute__((vector_size(4 * LANES)));

static inline Floats load(const float* from) {
    Floats value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}
static inline void store(float* to, Floats value) { __builtin_memcpy(to, &value, sizeof value); }

// coverage * colour + (1 - coverage) * out, in all four channels of `count` pixels.
static inline void blend(float* out, const float* coverage, int count, __m128 colour) {
    int i = 0;
#if defined(__AVX512F__)
    const __m512 colours = _mm512_broadcast_f32x4(colour), one = _mm512_set1_ps(1.0f);
    const __m512i spread = _mm512_set_epi32(3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 0, 0, 0, 0);
    for (; i < count; i += 4) {
        const int left = count - i;
        const __mmask16 lanes = left >= 4 ? __mmask16(0xffff) : __mmask16((1 << (4 * left)) - 1);
        const __m512 c = _mm512_permutexvar_ps(spread, _mm512_castps128_ps512(_mm_loadu_ps(coverage + i)));
        const __m512 below = _mm512_maskz_loadu_ps(lanes, out + 4L * i);
        const __m512 sum = _mm512_add_ps(_mm512_mul_ps(c, colours), _mm512_mul_ps(_mm512_sub_ps(one, c), below));
        _mm512_mask_storeu_ps(out + 4L * i, lanes, sum);
    }
#elif defined(__AVX2__)
    const __m256 colours = _mm256_broadcast_ps(&colour), one = _mm256_set1_ps(1.0f);
    for (; i + 1 < count; i += 2) {
        const __m256 c = _mm256_set_m128(_mm_broadcast_ss(coverage + i + 1), _mm_broadcast_ss(coverage + i));
        const __m256 below = _mm256_loadu_ps(out + 4L * i);
        _mm256_storeu_ps(out + 4L * i,
                         _mm256_add_ps(_mm256_mul_ps(c, colours), _mm256_mul_ps(_mm256_sub_ps(one, c), below)));
    }
#endif
    for (; i < count; ++i) {
        const __m128 c = _mm_set1_ps(coverage[i]);
        const __m128 below = _mm_loadu_ps(out + 4L * i);
        _mm_storeu_ps(out + 4L * i,
                      _mm_add_ps(_mm_mul_ps(c, colour), _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), c), below)));
    }
}

static inline int floor_of(float value) {
    const int cut = int(value);
    return cut - (float(cut) > value);
}

static inline int larger(int a, int b) { return a > b ? a : b; }
static inline int smaller(int a, int b) { return a < b ? a : b; }

// The four weights are the same for every pixel of a sprite.
static void upright(const SplatTarget& target, const SplatSprite& sprite, const SplatPlace& place) {
    const float left = place.x - 0.5f * float(sprite.width - 1), bottom = place.y - 0.5f * float(sprite.height - 1);
    const int column = floor_of(left), row = floor_of(bottom);
    const float tx = left - float(column), ty = bottom - float(row);
    const float near_near = (1 - ty) * (1 - tx), near_far = (1 - ty) * tx;
    const float far_near = ty * (1 - tx), far_far = ty * tx;
    const __m128 colour = _mm_loadu_ps(place.colour);
    const int first = larger(place.first_column, column), last = smaller(place.last_column, column + sprite.width);
    const int bottom_row = larger(larger(place.first_row, row), target.first_row);
    const int top_row = smaller(smaller(place.last_row, row + sprite.height), target.last_row);
    alignas(64) float coverage[CHUNK];
    for (int y = bottom_row; y <= top_row; ++y) {
        const float* here = sprite.samples + long(y - row) * sprite.pitch - column;
        const float* below = here - sprite.pitch;
        float* out = target.pixels + y * target.pitch;
        for (int x = first; x <= last; x += CHUNK) {
            const int count = smaller(CHUNK, last - x + 1);
            for (int i = 0; i < count; i += LANES) {
                const Floats sum = (near_near * load(here + x + i) + near_far * load(here + x + i - 1)) +
                                   (far_near * load(below + x + i) + far_far * load(below + x + i - 1));
                store(coverage + i, sum * place.opacity);
            }
            blend(out + 4L * x, coverage, count, colour);
        }
    }
}

static inline Floats gather(const float* from, Ints index) {
#if defined(__AVX512F__)
    return (Floats)_mm512_i32gather_ps((__m512i)index, from, 4);
#elif defined(__AVX2__)
    return (Floats)_mm256_i32gather_ps(from, (__m256i)index, 4);
#else
    return Floats{from[index[0]], from[index[1]], from[index[2]], from[index[3]]};
#endif
}

static inline Floats counting() {
    Floats value;
    for (int i = 0; i < LANES; ++i) value[i] = float(i);
    return value;
}

static inline bool any(Ints mask) {
#if defined(__AVX512F__)
    return _mm512_movepi32_mask((__m512i)mask) != 0;
#elif defined(__AVX2__)
    return _mm256_movemask_ps((__m256)mask) != 0;
#else
    return _mm_movemask_ps((__m128)mask) != 0;
#endif
}

static void turned(const SplatTarget& target, const SplatSprite& sprite, const SplatPlace& place) {
    const float width = float(sprite.width), height = float(sprite.height);
    const float cx = 0.5f * (width - 1), cy = 0.5f * (height - 1);
    const __m128 colour = _mm_loadu_ps(place.colour);
    const Floats zero = {}, lanes = counting();
    const int bottom_row = larger(place.first_row, target.first_row);
    const int top_row = smaller(place.last_row, target.last_row);
    alignas(64) float coverage[CHUNK];
    for (int y = bottom_row; y <= top_row; ++y) {
        const float dy = float(y) - place.y;
        const float row_u = place.sine * dy + cx, row_v = place.cosine * dy + cy;
        float* out = target.pixels + y * target.pitch;
        for (int x = place.first_column; x <= place.last_column; x += CHUNK) {
            const int count = smaller(CHUNK, place.last_column - x + 1);
            int used = 0;
            for (int i = 0; i < count; i += LANES) {
                const Floats dx = (float(x + i) + lanes) - place.x;
                Floats u = place.cosine * dx + row_u, v = row_v - place.sine * dx;
                const Ints inside = (u > zero - 1) & (u < zero + width) & (v > zero - 1) & (v < zero + height);
                if (!any(inside)) {
                    store(coverage + i, zero);
                    continue;
                }
                used = 1;
                // Counted from the frame of zeroes; outside they stay in its corner.
                u = inside ? u + 1 : zero;
                v = inside ? v + 1 : zero;
                const Ints column = __builtin_convertvector(u, Ints), row = __builtin_convertvector(v, Ints);
                const Floats tx = u - __builtin_convertvector(column, Floats);
                const Floats ty = v - __builtin_convertvector(row, Floats);
                const float* corner = sprite.samples - sprite.pitch - 1;
                const Ints index = row * sprite.pitch + column;
                const Floats near = (1 - tx) * gather(corner, index) + tx * gather(corner, index + 1);
                const Floats far =
                    (1 - tx) * gather(corner, index + sprite.pitch) + tx * gather(corner, index + (sprite.pitch + 1));
                store(coverage + i, ((1 - ty) * near + ty * far) * place.opacity);
            }
            if (used) blend(out + 4L * x, coverage, count, colour);
        }
    }
}

}  // namespace

const SplatKernels splat_kernels = {upright, turned};

}  // namespace QUILLON_SIMD
