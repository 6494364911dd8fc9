#include "effects/CleanKernels.h"

#include <immintrin.h>

namespace QUILLON_SIMD {
namespace {

#if defined(__AVX512F__)
constexpr int DOUBLES = 8;
#elif defined(__AVX2__)
constexpr int DOUBLES = 4;
#else
constexpr int DOUBLES = 2;
#endif
constexpr int LANES = 4 * DOUBLES;  // samples abreast: 16-bit bins in one vector, offsets in four
typedef std::int16_t Bins __attribute__((vector_size(8 * DOUBLES)));
typedef double Offsets __attribute__((vector_size(8 * DOUBLES)));
static_assert(CLEAN_LANES % LANES == 0);

template <class Vector, class Element>
static inline Vector load(const Element* from) {
    Vector value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}
template <class Vector, class Element>
static inline void store(Element* to, const Vector& value) {
    __builtin_memcpy(to, &value, sizeof value);
}
static inline Bins all(int bin) { return Bins{} + static_cast<std::int16_t>(bin); }

// ---- Planes ---------------------------------------------------------------------------------------------------

static void split(const float* pixels, long count, float* const* planes, float (*range)[2]) {
    __m128 low = _mm_setr_ps(range[0][0], range[1][0], range[2][0], range[3][0]);
    __m128 high = _mm_setr_ps(range[0][1], range[1][1], range[2][1], range[3][1]);
    long i = 0;
    for (; i + 4 <= count; i += 4) {
        __m128 p[4];
        for (int k = 0; k < 4; ++k) {
            p[k] = _mm_loadu_ps(pixels + 4 * (i + k));
            low = _mm_min_ps(p[k], low);  // the second one where the first is not a number
            high = _mm_max_ps(p[k], high);
        }
        _MM_TRANSPOSE4_PS(p[0], p[1], p[2], p[3]);
        for (int c = 0; c < 4; ++c) _mm_storeu_ps(planes[c] + i, p[c]);
    }
    for (; i < count; ++i) {
        const __m128 p = _mm_loadu_ps(pixels + 4 * i);
        low = _mm_min_ps(p, low);
        high = _mm_max_ps(p, high);
        for (int c = 0; c < 4; ++c) planes[c][i] = pixels[4 * i + c];
    }
    for (int c = 0; c < 4; ++c) range[c][0] = low[c], range[c][1] = high[c];
}

static void join(const float* const* planes, long count, float* pixels) {
    long i = 0;
    for (; i + 4 <= count; i += 4) {
        __m128 p[4];
        for (int c = 0; c < 4; ++c) p[c] = _mm_loadu_ps(planes[c] + i);
        _MM_TRANSPOSE4_PS(p[0], p[1], p[2], p[3]);
        for (int k = 0; k < 4; ++k) _mm_storeu_ps(pixels + 4 * (i + k), p[k]);
    }
    for (; i < count; ++i)
        for (int c = 0; c < 4; ++c) pixels[4 * i + c] = planes[c][i];
}

static void sort_into_bins(const CleanBins& bins, const float* samples, int count, std::int16_t* bin, double* offset) {
    const float min = bins.min, max = bins.max, scale = bins.scale;
    const double rounding = bins.rounding, base = bins.base, step = bins.step;
    for (int i = 0; i < count; ++i) {
        const float above = samples[i] > min ? samples[i] : min;
        const float sample = above < max ? above : max;
        const int unlimited = static_cast<int>((sample - min) * scale);
        const int place = unlimited < CLEAN_BINS - 1 ? unlimited : CLEAN_BINS - 1;
        bin[i] = static_cast<std::int16_t>(place);
        offset[i] = ((static_cast<double>(sample) + rounding) - rounding) - (base + static_cast<double>(place) * step);
    }
}

// ---- Small windows --------------------------------------------------------------------------------------------

#if defined(__AVX512F__)
static inline Bins add_where_below(Bins sum, Bins value, Bins limit) {
    const __mmask32 below = _mm512_cmplt_epi16_mask((__m512i)value, (__m512i)limit);
    return (Bins)_mm512_mask_sub_epi16((__m512i)sum, below, (__m512i)sum, _mm512_set1_epi16(-1));
}
static inline Bins add_where_equal(Bins count, Bins value, Bins bin, const double* offset, Offsets* sums) {
    const __mmask32 equal = _mm512_cmpeq_epi16_mask((__m512i)value, (__m512i)bin);
    for (int k = 0; k < 4; ++k)
        sums[k] = (Offsets)_mm512_mask_add_pd((__m512d)sums[k], static_cast<__mmask8>(equal >> 8 * k), (__m512d)sums[k],
                                              _mm512_loadu_pd(offset + 8 * k));
    return (Bins)_mm512_mask_sub_epi16((__m512i)count, equal, (__m512i)count, _mm512_set1_epi16(-1));
}
#else
static inline Bins add_where_below(Bins sum, Bins value, Bins limit) { return sum - (value < limit); }
static inline Bins add_where_equal(Bins count, Bins value, Bins bin, const double* offset, Offsets* sums) {
    const Bins equal = value == bin;
#if defined(__AVX2__)
    const __m128i low = _mm256_castsi256_si128((__m256i)equal), high = _mm256_extracti128_si256((__m256i)equal, 1);
    const __m256i wide[4] = {_mm256_cvtepi16_epi64(low), _mm256_cvtepi16_epi64(_mm_unpackhi_epi64(low, low)),
                             _mm256_cvtepi16_epi64(high), _mm256_cvtepi16_epi64(_mm_unpackhi_epi64(high, high))};
    for (int k = 0; k < 4; ++k)
        sums[k] += (Offsets)_mm256_and_pd(_mm256_castsi256_pd(wide[k]), _mm256_loadu_pd(offset + 4 * k));
#else
    const __m128i twice[2] = {_mm_unpacklo_epi16((__m128i)equal, (__m128i)equal),
                              _mm_unpackhi_epi16((__m128i)equal, (__m128i)equal)};
    for (int k = 0; k < 4; ++k) {
        const __m128i wide =
            k & 1 ? _mm_unpackhi_epi32(twice[k / 2], twice[k / 2]) : _mm_unpacklo_epi32(twice[k / 2], twice[k / 2]);
        sums[k] += (Offsets)_mm_and_pd(_mm_castsi128_pd(wide), _mm_loadu_pd(offset + 2 * k));
    }
#endif
    return count - equal;
}
#endif

// The samples of a window, seen from its first pixel.
struct Taps {
    const std::int16_t* bins[CLEAN_SMALL_WINDOW];
    const double* offsets[CLEAN_SMALL_WINDOW];
    int count;
};

static inline Taps window_taps(const CleanRows& rows) {
    Taps taps;
    taps.count = 0;
    for (int row = 0; row < rows.count; ++row) {
        for (int x = -rows.radius; x <= rows.radius; ++x) {
            taps.bins[taps.count] = rows.bins[row] + x;
            taps.offsets[taps.count++] = rows.offsets[row] + x;
        }
    }
    return taps;
}

static inline void order(Bins& a, Bins& b) {
#if defined(__AVX512F__)
    const Bins low = (Bins)_mm512_min_epi16((__m512i)a, (__m512i)b);
    b = (Bins)_mm512_max_epi16((__m512i)a, (__m512i)b);
#elif defined(__AVX2__)
    const Bins low = (Bins)_mm256_min_epi16((__m256i)a, (__m256i)b);
    b = (Bins)_mm256_max_epi16((__m256i)a, (__m256i)b);
#else
    const Bins low = (Bins)_mm_min_epi16((__m128i)a, (__m128i)b);
    b = (Bins)_mm_max_epi16((__m128i)a, (__m128i)b);
#endif
    a = low;
}

// The median of an odd number of samples. Of COUNT / 2 + 2 of them neither the smallest nor the largest can be it: both
// make way for the next sample, and so on.
template <int COUNT, int SIZE = COUNT / 2 + 2>
static inline Bins narrowed(Bins* kept, const Taps& taps, long x) {
#pragma GCC unroll 16
    for (int i = 0; i < SIZE / 2; ++i) order(kept[i], kept[SIZE - 1 - i]);
#pragma GCC unroll 16
    for (int i = 1; i < (SIZE + 1) / 2; ++i) order(kept[0], kept[i]);
#pragma GCC unroll 16
    for (int i = SIZE / 2; i < SIZE - 1; ++i) order(kept[i], kept[SIZE - 1]);
    if constexpr (SIZE == 3) {
        return kept[1];
    } else {
        kept[0] = load<Bins>(taps.bins[COUNT + 3 - SIZE] + x);
        return narrowed<COUNT, SIZE - 1>(kept, taps, x);
    }
}

template <int COUNT>
static inline Bins selected_median(const Taps& taps, long x) {
    Bins kept[COUNT / 2 + 2];
#pragma GCC unroll 16
    for (int i = 0; i < COUNT / 2 + 2; ++i) kept[i] = load<Bins>(taps.bins[i] + x);
    return narrowed<COUNT>(kept, taps, x);
}

// The largest bin with at most `rank` samples below it.
static inline Bins median_bin(const Taps& taps, long x, Bins rank) {
    Bins median = {};
    for (int bit = CLEAN_BINS / 2; bit; bit >>= 1) {
        const Bins trial = median + all(bit);
        Bins below = {};
        for (int i = 0; i < taps.count; ++i) below = add_where_below(below, load<Bins>(taps.bins[i] + x), trial);
        median = below <= rank ? trial : median;
    }
    return median;
}

static inline void bin_means(const CleanBins& bins, const Taps& taps, long x, Bins bin, float* out) {
    Offsets sums[4] = {};
    Bins count = {};
    for (int i = 0; i < taps.count; ++i)
        count = add_where_equal(count, load<Bins>(taps.bins[i] + x), bin, taps.offsets[i] + x, sums);
    double sum[LANES];
    for (int k = 0; k < 4; ++k) store(sum + DOUBLES * k, sums[k]);
    std::int16_t places[LANES], counts[LANES];
    store(places, bin);
    store(counts, count);
    for (int i = 0; i < LANES; ++i)
        out[i] = static_cast<float>((bins.base + places[i] * bins.step) + sum[i] / counts[i]);
}

static void small_row(const CleanBins& bins, const CleanRows& rows, int count, float* out) {
    const Taps taps = window_taps(rows);
    const Bins height = all(rows.count);
    for (long x = 0; x < count; x += LANES) {
        // Whole windows of the usual sizes need no search.
        const bool whole = x >= rows.radius && x + LANES + rows.radius <= count;
        Bins median;
        if (whole && taps.count == 9)
            median = selected_median<9>(taps, x);
        else if (whole && taps.count == 15)
            median = selected_median<15>(taps, x);
        else if (whole && taps.count == 25)
            median = selected_median<25>(taps, x);
        else
            median = median_bin(taps, x, (load<Bins>(rows.inside + x) * height) >> 1);
        bin_means(bins, taps, x, median, out + x);
    }
}

}  // namespace

const CleanKernels clean_kernels = {split, join, sort_into_bins, small_row};

}  // namespace QUILLON_SIMD
