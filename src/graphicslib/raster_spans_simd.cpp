// Four pixels abreast. Compiled once for each instruction set; no product and sum are fused, so all give the same bits.
#include "graphicslib/raster_spans_simd.h"

#include "simdlib/vectors.h"

namespace raster::QUILLON_SIMD {
namespace {

using namespace ::QUILLON_SIMD;

constexpr Pixel STEPS = {0.5F, 1.5F, 2.5F, 3.5F};
constexpr Pixel ONES = {1, 1, 1, 1};
constexpr PixelMask PLACES = {0, 1, 2, 3};

// What four pixels share: where they are along the span, their depth test, their coverage. Pixels from `count` on are
// beyond the run.
struct Four {
    Pixel t, coverage;
    PixelMask hidden;

    inline Four(const SpanShade& span, float* depth, Pixel covered, float x, int count) : coverage(covered) {
        t = (x + STEPS - span.x_start) * span.scale;
        t = to_unit(t);
        hidden = (coverage == 0.0F) | (PLACES >= count);
        if (!depth) return;
        const Pixel here = span.z + t * span.z_change, there = load<Pixel>(depth);
        hidden |= there < here;
        store(depth, hidden ? there : here);
    }
};

#if defined(__AVX512F__)

// All four pixels in one register.
struct Shader {
    explicit Shader(const SpanShade& shade)
        : span(shade),
          colour(_mm512_broadcast_f32x4(_mm_loadu_ps(shade.colour))),
          change(_mm512_broadcast_f32x4(_mm_loadu_ps(shade.colour_change))) {}

    static inline __m512 four_times(Pixel values) {
        return _mm512_permutexvar_ps(_mm512_set_epi32(3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 0, 0, 0, 0),
                                     _mm512_castps128_ps512((__m128)values));
    }

    inline void four(float* sample, float* depth, Pixel coverage, float x, int count) const {
        const Four pixels(span, depth, coverage, x, count);
        const __m512 ink = _mm512_add_ps(colour, _mm512_mul_ps(four_times(pixels.t), change));
        const __m512 a = _mm512_mul_ps(_mm512_permute_ps(ink, 0xFF), four_times(coverage));
        const __m512 one = _mm512_set1_ps(1), there = _mm512_loadu_ps(sample);
        const __m512 opaque = _mm512_mask_blend_ps(0x8888, ink, one);
        const __m512 kept = _mm512_mul_ps(_mm512_sub_ps(one, a), there);
        const __m512 hidden = four_times((Pixel)pixels.hidden);
        const __mmask16 shown = _mm512_testn_epi32_mask(_mm512_castps_si512(hidden), _mm512_castps_si512(hidden));
        _mm512_mask_storeu_ps(sample, shown, _mm512_add_ps(_mm512_mul_ps(a, opaque), kept));
    }

    const SpanShade& span;
    __m512 colour, change;
};

#else

// One pixel after the other, its channels abreast.
struct Shader {
    explicit Shader(const SpanShade& shade)
        : span(shade), colour(load<Pixel>(shade.colour)), change(load<Pixel>(shade.colour_change)) {}

    template <int LANE>
    inline void one(float* sample, const Four& pixels) const {
        constexpr PixelMask IS_ALPHA = {0, 0, 0, -1};
        const Pixel t = spread<LANE>(pixels.t), coverage = spread<LANE>(pixels.coverage);
        const PixelMask hidden = spread<LANE>(pixels.hidden);
        const Pixel ink = colour + t * change, there = load<Pixel>(sample + 4 * LANE);
        const Pixel a = spread<3>(ink) * coverage, opaque = IS_ALPHA ? ONES : ink;
        store(sample + 4 * LANE, hidden ? there : a * opaque + (ONES - a) * there);
    }

    inline void four(float* sample, float* depth, Pixel coverage, float x, int count) const {
        const Four pixels(span, depth, coverage, x, count);
        one<0>(sample, pixels);
        one<1>(sample, pixels);
        one<2>(sample, pixels);
        one<3>(sample, pixels);
    }

    const SpanShade& span;
    Pixel colour, change;
};

#endif

void shade(float* sample, float* depth, const float* coverage, int x, int count, const SpanShade& span) {
    const Shader shader(span);
    for (int i = 0; i < count; i += 4) {
        const Pixel covered = coverage ? load<Pixel>(coverage + i) : ONES;
        shader.four(sample + 4 * i, depth ? depth + i : nullptr, covered, static_cast<float>(x + i), count - i);
    }
}

// Pixels covered whole: out = a * opaque + (1 - a) * there, of which only the last product differs.
void paint_solid(float* sample, int count, const float* colour) {
    const float a = colour[3];
    float added[4] = {a * colour[0], a * colour[1], a * colour[2], a};
    const Pixel add = load<Pixel>(added);
#if defined(__AVX512F__)
    const __m512 add4 = _mm512_broadcast_f32x4((__m128)add), keep = _mm512_set1_ps(1 - a);
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const __m512 there = _mm512_loadu_ps(sample + 4 * i);
        _mm512_storeu_ps(sample + 4 * i, _mm512_add_ps(add4, _mm512_mul_ps(keep, there)));
    }
    if (i == count) return;
    const auto rest = static_cast<__mmask16>((1U << (4 * (count - i))) - 1);
    const __m512 there = _mm512_maskz_loadu_ps(rest, sample + 4 * i);
    _mm512_mask_storeu_ps(sample + 4 * i, rest, _mm512_add_ps(add4, _mm512_mul_ps(keep, there)));
#else
    for (int i = 0; i < count; ++i) store(sample + 4 * i, add + (1 - a) * load<Pixel>(sample + 4 * i));
#endif
}

void paint(float* sample, const float* coverage, int count, const float* colour) {
    if (!coverage) return paint_solid(sample, count, colour);
    const float channels[4] = {colour[0], colour[1], colour[2], 1};
    const Pixel opaque = load<Pixel>(channels);
#if defined(__AVX512F__)
    const __m512 opaque4 = _mm512_broadcast_f32x4((__m128)opaque), one = _mm512_set1_ps(1);
    for (int i = 0; i < count; i += 4) {
        const auto shown = static_cast<__mmask16>(count - i >= 4 ? 0xFFFFU : (1U << (4 * (count - i))) - 1);
        const __m512 a = Shader::four_times(colour[3] * load<Pixel>(coverage + i));
        const __m512 there = _mm512_maskz_loadu_ps(shown, sample + 4 * i);
        const __m512 kept = _mm512_mul_ps(_mm512_sub_ps(one, a), there);
        _mm512_mask_storeu_ps(sample + 4 * i, shown, _mm512_add_ps(_mm512_mul_ps(a, opaque4), kept));
    }
#else
    for (int i = 0; i < count; ++i) {
        const float a = colour[3] * coverage[i];
        store(sample + 4 * i, a * opaque + (1 - a) * load<Pixel>(sample + 4 * i));
    }
#endif
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

const Kernels kernels = {shade, paint, fill, weigh, add_weighted};

}  // namespace raster::QUILLON_SIMD
