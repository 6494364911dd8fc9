#include "imagelib/median_simd.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

using Bins = Register<std::int16_t>;
constexpr int COUNTS = COUNT_OF<Bins>;
static_assert(MEDIAN_BINS % COUNTS == 0 && MEDIAN_LANES % COUNTS == 0);

static inline int sum_of(Bins counts) {
#if defined(__AVX512F__)
    return _mm512_reduce_add_epi32(_mm512_madd_epi16((__m512i)counts, _mm512_set1_epi16(1)));
#elif defined(__SSE2__)
#if defined(__AVX2__)
    const __m256i wide = _mm256_madd_epi16((__m256i)counts, _mm256_set1_epi16(1));
    __m128i sum = _mm_add_epi32(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
#else
    __m128i sum = _mm_madd_epi16((__m128i)counts, _mm_set1_epi16(1));
#endif
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0x4e));
    return _mm_cvtsi128_si32(_mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0xb1)));
#else
    int sum = 0;
    for (int i = 0; i < COUNTS; ++i) sum += counts[i];
    return sum;
#endif
}

// Prefix sums of the counts.
static inline Bins running(Bins counts) {
#if defined(__AVX512F__)
    __m512i v = (__m512i)counts;
    v = _mm512_add_epi16(v, _mm512_bslli_epi128(v, 2));
    v = _mm512_add_epi16(v, _mm512_bslli_epi128(v, 4));
    v = _mm512_add_epi16(v, _mm512_bslli_epi128(v, 8));
    const __m512i totals = _mm512_shuffle_epi8(v, _mm512_set1_epi16(0x0f0e));  // of eight
    const __m512i one = _mm512_maskz_shuffle_i64x2(0xfc, totals, totals, 0x90);
    const __m512i two = _mm512_maskz_shuffle_i64x2(0xf0, totals, totals, 0x40);
    const __m512i three = _mm512_maskz_shuffle_i64x2(0xc0, totals, totals, 0x00);
    return (Bins)_mm512_add_epi16(_mm512_add_epi16(v, one), _mm512_add_epi16(two, three));
#elif defined(__AVX2__)
    __m256i v = (__m256i)counts;
    v = _mm256_add_epi16(v, _mm256_bslli_epi128(v, 2));
    v = _mm256_add_epi16(v, _mm256_bslli_epi128(v, 4));
    v = _mm256_add_epi16(v, _mm256_bslli_epi128(v, 8));
    const __m256i totals = _mm256_shuffle_epi8(v, _mm256_set1_epi16(0x0f0e));
    return (Bins)_mm256_add_epi16(v, _mm256_permute2x128_si256(totals, totals, 0x08));
#elif defined(__SSE2__)
    __m128i v = (__m128i)counts;
    v = _mm_add_epi16(v, _mm_slli_si128(v, 2));
    v = _mm_add_epi16(v, _mm_slli_si128(v, 4));
    return (Bins)_mm_add_epi16(v, _mm_slli_si128(v, 8));
#else
    for (int i = 1; i < COUNTS; ++i) counts[i] = static_cast<std::int16_t>(counts[i] + counts[i - 1]);
    return counts;
#endif
}

// The first count above a limit; COUNTS if there is none.
static inline int first_above(Bins counts, int limit) {
#if defined(__AVX512F__)
    const __mmask32 above = _mm512_cmpgt_epi16_mask((__m512i)counts, _mm512_set1_epi16(static_cast<short>(limit)));
    return __builtin_ctzl(above | 1UL << COUNTS);
#elif defined(__SSE2__)
#if defined(__AVX2__)
    const __m256i above = _mm256_cmpgt_epi16((__m256i)counts, _mm256_set1_epi16(static_cast<short>(limit)));
    const unsigned long bits = static_cast<unsigned>(_mm256_movemask_epi8(above));
#else
    const __m128i above = _mm_cmpgt_epi16((__m128i)counts, _mm_set1_epi16(static_cast<short>(limit)));
    const unsigned long bits = static_cast<unsigned>(_mm_movemask_epi8(above));
#endif
    return __builtin_ctzl(bits | 1UL << 2 * COUNTS) >> 1;
#else
    int found = 0;
    while (found < COUNTS && counts[found] <= limit) ++found;
    return found;
#endif
}

// A run of samples of a column; how much more of one run than of another one lies below a bin.
struct Run {
    int whole, rest;
#if defined(__AVX512F__)
    __mmask32 inside;
#else
    Bins inside;
#endif
    explicit Run(int count) : whole(count / COUNTS * COUNTS), rest(count % COUNTS) {
#if defined(__AVX512F__)
        inside = (1u << rest) - 1;
#else
        for (int i = 0; i < COUNTS; ++i) inside[i] = static_cast<std::int16_t>(i < rest ? -1 : 0);
#endif
    }
    int moreBelow(const std::int16_t* more, const std::int16_t* less, int bin) const {
#if defined(__AVX512F__)
        const auto below = [limit = _mm512_set1_epi16(static_cast<short>(bin))](__mmask32 mask, const auto* samples) {
            return __builtin_popcount(_mm512_mask_cmplt_epi16_mask(mask, _mm512_loadu_si512(samples), limit));
        };
        int difference = below(inside, more + whole) - below(inside, less + whole);
        for (int k = 0; k < whole; k += COUNTS) difference += below(~0u, more + k) - below(~0u, less + k);
        return difference;
#else
        const Bins limit = Bins{} + static_cast<std::int16_t>(bin);
        const auto below = [&](const std::int16_t* samples) { return load(samples) < limit; };
        Bins difference = (below(less + whole) - below(more + whole)) & inside;
        for (int k = 0; k < whole; k += COUNTS) difference += below(less + k) - below(more + k);
        return sum_of(difference);
#endif
    }
};

// The samples of one or more rows of a window.
struct Histogram {
    std::int16_t* counts;
    double* sums;
    void add(const std::int16_t* bins, const double* offsets, int from, int to) const {
        for (int i = from; i < to; ++i) {
            ++counts[bins[i]];
            sums[bins[i]] += offsets[i];
        }
    }
    void remove(const std::int16_t* bins, const double* offsets, int from, int to) const {
        for (int i = from; i < to; ++i) {
            --counts[bins[i]];
            sums[bins[i]] -= offsets[i];
        }
    }
};

// Where the median of the sliding window was last: the first of COUNTS bins, and how many samples lie below
// it. The samples are in two histograms.
struct Place {
    int bin = 0, below = 0;

    int find(const std::int16_t* shared, const std::int16_t* own, int rank) {
        while (below > rank) {
            bin -= COUNTS;
            below -= sum_of(load(shared + bin) + load(own + bin));
        }
        for (;;) {
            const Bins counts = running(load(shared + bin) + load(own + bin));
            const int found = first_above(counts, rank - below);
            if (found < COUNTS) return bin + found;
            below += counts[COUNTS - 1];
            bin += COUNTS;
        }
    }
};

template <int ROWS>
struct Windows {
    Histogram shared, own[ROWS];
    explicit Windows(const MedianBand& band) : shared{band.counts, band.sums} {
        for (int k = 0; k < ROWS; ++k)
            own[k] = {band.counts + (k + 1) * MEDIAN_HISTOGRAM, band.sums + (k + 1) * MEDIAN_HISTOGRAM};
    }
    void add(const std::int16_t* bins, const double* offsets, int height) const {
        shared.add(bins, offsets, ROWS - 1, height);
#pragma GCC unroll 8
        for (int k = 0; k < ROWS; ++k) {
            own[k].add(bins, offsets, k, ROWS - 1);
            own[k].add(bins + height, offsets + height, 0, k);
        }
    }
    void remove(const std::int16_t* bins, const double* offsets, int height) const {
        shared.remove(bins, offsets, ROWS - 1, height);
#pragma GCC unroll 8
        for (int k = 0; k < ROWS; ++k) {
            own[k].remove(bins, offsets, k, ROWS - 1);
            own[k].remove(bins + height, offsets + height, 0, k);
        }
    }
};

template <int ROWS>
static void medians(const MedianBins& bins, const MedianBand& band, float* const* out) {
    const int height = 2 * band.radius_y + 1, width = 2 * band.radius_x + 1;
    const Run run(height);
    const Windows<ROWS> windows(band);
    __builtin_memset(band.counts, 0, (ROWS + 1) * MEDIAN_HISTOGRAM * sizeof *band.counts);
    __builtin_memset(band.sums, 0, (ROWS + 1) * MEDIAN_HISTOGRAM * sizeof *band.sums);

    Place places[ROWS];
    const std::int16_t* nothing = band.bins + band.columns * band.pitch;
    for (long x = -band.radius_x; x < band.columns; ++x) {
        const long enters = x + band.radius_x, leaves = enters - width;
        const std::int16_t *in = nothing, *gone = nothing;
        if (enters < band.columns) {
            in = band.bins + enters * band.pitch;
            windows.add(in, band.offsets + enters * band.pitch, height);
        }
        if (leaves >= 0) {
            gone = band.bins + leaves * band.pitch;
            windows.remove(gone, band.offsets + leaves * band.pitch, height);
        }
        if (x < 0) continue;
        const long right = enters < band.columns ? enters : band.columns - 1;
        const int columns = static_cast<int>(right - (leaves < 0 ? -1 : leaves));
        for (int k = 0; k < band.rows; ++k) {
            const Histogram &shared = windows.shared, &own = windows.own[k];
            places[k].below += run.moreBelow(in + k, gone + k, places[k].bin);
            const int bin = places[k].find(shared.counts, own.counts, columns * band.inside[k] >> 1);
            const int samples = shared.counts[bin] + own.counts[bin];
            const double sum = shared.sums[bin] + own.sums[bin];
            out[k][4 * x] = static_cast<float>((bins.base + bin * bins.step) + sum / samples);
        }
    }
}

}  // namespace

const MedianHistogramKernels median_histogram_kernels = {medians<4>, medians<8>};

}  // namespace QUILLON_SIMD
