#include "effects/engines/sprites/Splats_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int CHUNK = 64;  // pixels whose coverage is worked out at once

// coverage * colour + (1 - coverage) * out, in all four channels of `count` pixels.
static inline void blend(float* out, const float* coverage, int count, Pixel colour) {
    int i = 0;
#if defined(__AVX512F__)
    const __m512 colours = _mm512_broadcast_f32x4((__m128)colour), one = _mm512_set1_ps(1.0f);
    const __m512i spread = _mm512_set_epi32(3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 0, 0, 0, 0);
    for (; i + 3 < count; i += 4) {  // masks for the rest would cost more than single pixels
        const __m512 c = _mm512_permutexvar_ps(spread, _mm512_castps128_ps512(_mm_loadu_ps(coverage + i)));
        const __m512 below = _mm512_loadu_ps(out + 4L * i);
        _mm512_storeu_ps(out + 4L * i,
                         _mm512_add_ps(_mm512_mul_ps(c, colours), _mm512_mul_ps(_mm512_sub_ps(one, c), below)));
    }
#elif defined(__AVX2__)
    const __m256 colours = _mm256_set_m128((__m128)colour, (__m128)colour), one = _mm256_set1_ps(1.0f);
    for (; i + 1 < count; i += 2) {
        const __m256 c = _mm256_set_m128(_mm_broadcast_ss(coverage + i + 1), _mm_broadcast_ss(coverage + i));
        const __m256 below = _mm256_loadu_ps(out + 4L * i);
        _mm256_storeu_ps(out + 4L * i,
                         _mm256_add_ps(_mm256_mul_ps(c, colours), _mm256_mul_ps(_mm256_sub_ps(one, c), below)));
    }
#endif
    for (; i < count; ++i) {
        const float c = coverage[i];
        store(out + 4L * i, c * colour + (1 - c) * load<Pixel>(out + 4L * i));
    }
}

// The four weights are the same for every pixel of a sprite.
static void upright(const SplatTarget& target, const SplatSprite& sprite, const SplatPlace& place) {
    const float left = place.x - 0.5f * float(sprite.width - 1), bottom = place.y - 0.5f * float(sprite.height - 1);
    const int column = floor_of(left), row = floor_of(bottom);
    const float tx = left - float(column), ty = bottom - float(row);
    const float near_near = (1 - ty) * (1 - tx), near_far = (1 - ty) * tx;
    const float far_near = ty * (1 - tx), far_far = ty * tx;
    const Pixel colour = load<Pixel>(place.colour);
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
    const Pixel colour = load<Pixel>(place.colour);
    const Floats zero = {}, lanes = counting<Floats>();
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
                const Ints column = to_ints(u), row = to_ints(v);
                const Ints index = row * sprite.pitch + column;
                store(at.index + i, index);
                store(at.tx + i, u - to_floats(column));
                store(at.ty + i, v - to_floats(row));
            }
            // Four at a time, loaded one by one: faster than the gather instructions of most processors.
            for (int i = 0; i < count; i += 4) {
                const float *p0 = corner + at.index[i], *p1 = corner + at.index[i + 1];
                const float *p2 = corner + at.index[i + 2], *p3 = corner + at.index[i + 3];
                const Pixel tx = load<Pixel>(at.tx + i), ty = load<Pixel>(at.ty + i);
                const Pixel near =
                    (1 - tx) * Pixel{p0[0], p1[0], p2[0], p3[0]} + tx * Pixel{p0[1], p1[1], p2[1], p3[1]};
                const Pixel far = (1 - tx) * Pixel{p0[above], p1[above], p2[above], p3[above]} +
                                  tx * Pixel{p0[above + 1], p1[above + 1], p2[above + 1], p3[above + 1]};
                const Pixel sum = ((1 - ty) * near + ty * far) * place.opacity;
                store(coverage + i, sum);
            }
            blend(out + 4L * x, coverage, count, colour);
        }
    }
}

}  // namespace

const SplatKernels splat_kernels = {upright, turned};

}  // namespace QUILLON_SIMD
