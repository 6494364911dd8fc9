#include "effects/engines/sprites/Splats_simd.h"

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
typedef float Quad __attribute__((vector_size(16)));
typedef int Ints __attribute__((vector_size(4 * LANES)));

static inline Floats load(const float* from) {
    Floats value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}
static inline Quad load4(const float* from) {
    Quad value;
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
    for (; i + 3 < count; i += 4) {  // masks for the rest would cost more than single pixels
        const __m512 c = _mm512_permutexvar_ps(spread, _mm512_castps128_ps512(_mm_loadu_ps(coverage + i)));
        const __m512 below = _mm512_loadu_ps(out + 4L * i);
        _mm512_storeu_ps(out + 4L * i,
                         _mm512_add_ps(_mm512_mul_ps(c, colours), _mm512_mul_ps(_mm512_sub_ps(one, c), below)));
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

static inline Floats counting() {
    Floats value;
    for (int i = 0; i < LANES; ++i) value[i] = float(i);
    return value;
}

// Narrows the columns to those where a linear function of the column can lie within the reach, and one beside each.
static inline void narrow(float slope, float offset, float reach, int& first, int& last) {
    if (slope < 0.01f && slope > -0.01f) return;
    const float a = (-reach - offset) / slope, b = (reach - offset) / slope;
    first = larger(first, floor_of(a < b ? a : b) - 1);
    last = smaller(last, floor_of(a < b ? b : a) + 2);
}

// Pixels of a row mapped back into the sprite: the corner below each, counted from the frame of zeroes, and how far
// beyond it. Outside the sprite that is the frame's own corner.
struct Places {
    alignas(64) int index[CHUNK];
    alignas(64) float tx[CHUNK], ty[CHUNK];
};

static void turned(const SplatTarget& target, const SplatSprite& sprite, const SplatPlace& place) {
    const float width = float(sprite.width), height = float(sprite.height);
    const float cx = 0.5f * (width - 1), cy = 0.5f * (height - 1);
    const float* corner = sprite.samples - sprite.pitch - 1;
    const __m128 colour = _mm_loadu_ps(place.colour);
    const Floats zero = {}, lanes = counting();
    const int bottom_row = larger(place.first_row, target.first_row);
    const int top_row = smaller(place.last_row, target.last_row);
    Places at;
    alignas(64) float coverage[CHUNK];
    const long above = sprite.pitch;
    for (int y = bottom_row; y <= top_row; ++y) {
        const float dy = float(y) - place.y;
        const float row_u = place.sine * dy, row_v = place.cosine * dy;
        int first = place.first_column, last = place.last_column;
        narrow(place.cosine, row_u - place.cosine * place.x, 0.5f * (width + 1), first, last);
        narrow(-place.sine, row_v + place.sine * place.x, 0.5f * (height + 1), first, last);
        float* out = target.pixels + y * target.pitch;
        for (int x = first; x <= last; x += CHUNK) {
            const int count = smaller(CHUNK, last - x + 1);
            for (int i = 0; i < count; i += LANES) {
                const Floats dx = (float(x + i) + lanes) - place.x;
                Floats u = place.cosine * dx + (row_u + (cx + 1)), v = (row_v + (cy + 1)) - place.sine * dx;
                const Ints inside = (u > zero) & (u < zero + (width + 1)) & (v > zero) & (v < zero + (height + 1));
                u = inside ? u : zero;
                v = inside ? v : zero;
                const Ints column = __builtin_convertvector(u, Ints), row = __builtin_convertvector(v, Ints);
                const Ints index = row * sprite.pitch + column;
                __builtin_memcpy(at.index + i, &index, sizeof index);
                store(at.tx + i, u - __builtin_convertvector(column, Floats));
                store(at.ty + i, v - __builtin_convertvector(row, Floats));
            }
            // Four at a time, loaded one by one: faster than the gather instructions of most processors.
            for (int i = 0; i < count; i += 4) {
                const float *p0 = corner + at.index[i], *p1 = corner + at.index[i + 1];
                const float *p2 = corner + at.index[i + 2], *p3 = corner + at.index[i + 3];
                const Quad tx = load4(at.tx + i), ty = load4(at.ty + i);
                const Quad near = (1 - tx) * Quad{p0[0], p1[0], p2[0], p3[0]} + tx * Quad{p0[1], p1[1], p2[1], p3[1]};
                const Quad far = (1 - tx) * Quad{p0[above], p1[above], p2[above], p3[above]} +
                                 tx * Quad{p0[above + 1], p1[above + 1], p2[above + 1], p3[above + 1]};
                const Quad sum = ((1 - ty) * near + ty * far) * place.opacity;
                __builtin_memcpy(coverage + i, &sum, sizeof sum);
            }
            blend(out + 4L * x, coverage, count, colour);
        }
    }
}

}  // namespace

const SplatKernels splat_kernels = {upright, turned};

}  // namespace QUILLON_SIMD
