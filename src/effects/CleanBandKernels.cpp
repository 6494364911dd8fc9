#include <immintrin.h>

#include "effects/CleanKernels.h"

namespace QUILLON_SIMD {
namespace {

#if defined(__AVX512F__)
constexpr int LANES = 32;
#elif defined(__AVX2__)
constexpr int LANES = 16;
#else
constexpr int LANES = 8;
#endif
typedef std::int16_t Bins __attribute__((vector_size(2 * LANES)));
typedef int Pairs __attribute__((vector_size(2 * LANES)));
constexpr int BLOCK = 32;  // bins that are passed at once on the way to a far median
static_assert(BLOCK % LANES == 0 && CLEAN_BINS % BLOCK == 0 && CLEAN_LANES % LANES == 0);

static inline Bins load(const std::int16_t* from) {
    Bins value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}

static inline int sum_of(Bins counts) {
#if defined(__AVX512F__)
    return _mm512_reduce_add_epi32(_mm512_madd_epi16((__m512i)counts, _mm512_set1_epi16(1)));
#else
#if defined(__AVX2__)
    const __m256i wide = _mm256_madd_epi16((__m256i)counts, _mm256_set1_epi16(1));
    __m128i sum = _mm_add_epi32(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
#else
    __m128i sum = _mm_madd_epi16((__m128i)counts, _mm_set1_epi16(1));
#endif
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0x4e));
    return _mm_cvtsi128_si32(_mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0xb1)));
#endif
}

// How many more samples of one run lie below a bin than of another one; the runs are equally long.
static inline int more_below(const std::int16_t* more, const std::int16_t* less, int count, int bin) {
    int k = 0;
#if defined(__AVX512F__)
    const __m512i limit = _mm512_set1_epi16(static_cast<short>(bin));
    long difference = 0;
    for (; k < count; k += LANES) {
        const __mmask32 inside = count - k < LANES ? (1u << (count - k)) - 1 : ~0u;
        difference += __builtin_popcount(_mm512_mask_cmplt_epi16_mask(inside, _mm512_loadu_si512(more + k), limit));
        difference -= __builtin_popcount(_mm512_mask_cmplt_epi16_mask(inside, _mm512_loadu_si512(less + k), limit));
    }
    return static_cast<int>(difference);
#else
    static constexpr auto MASK = [] {
        struct {
            std::int16_t at[2 * LANES]{};
        } mask;
        for (int i = 0; i < LANES; ++i) mask.at[i] = -1;
        return mask;
    }();
    const Bins limit = Bins{} + static_cast<std::int16_t>(bin);
    Bins difference = {};
    for (; k + LANES <= count; k += LANES) difference += (load(less + k) < limit) - (load(more + k) < limit);
    if (k < count)
        difference += ((load(less + k) < limit) - (load(more + k) < limit)) & load(MASK.at + LANES - (count - k));
    return sum_of(difference);
#endif
}

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

// The median of a window that slides along a row: a bin, and how many samples lie below it. The samples are in two
// histograms.
struct Median {
    int bin = 0, below = 0;

    void follow(const std::int16_t* shared, const std::int16_t* own, int rank) {
        while (below > rank) {
            if (bin % BLOCK == 0)
                for (int samples; (samples = blockAt(shared, own, bin - BLOCK)) <= below - rank - 1;) {
                    below -= samples;
                    bin -= BLOCK;
                }
            --bin;
            below -= shared[bin] + own[bin];
        }
        for (int samples; below + (samples = shared[bin] + own[bin]) <= rank;) {
            below += samples;
            if (++bin % BLOCK == 0)
                while (below + (samples = blockAt(shared, own, bin)) <= rank) {
                    below += samples;
                    bin += BLOCK;
                }
        }
    }
    static int blockAt(const std::int16_t* shared, const std::int16_t* own, int bin) {
        Bins counts = {};
        for (int i = 0; i < BLOCK; i += LANES) counts += load(shared + bin + i) + load(own + bin + i);
        return sum_of(counts);
    }
};

template <int ROWS>
static void medians(const CleanBins& bins, const CleanBand& band, float* const* out) {
    const int height = 2 * band.radius_y + 1, width = 2 * band.radius_x + 1;
    Histogram shared, own[ROWS];
    for (int k = -1; k < ROWS; ++k) {
        Histogram& histogram = k < 0 ? shared : own[k];
        histogram.counts = band.counts + (k + 1) * CLEAN_HISTOGRAM;
        histogram.sums = band.sums + (k + 1) * CLEAN_HISTOGRAM;
    }
    __builtin_memset(band.counts, 0, (ROWS + 1) * CLEAN_HISTOGRAM * sizeof *band.counts);
    __builtin_memset(band.sums, 0, (ROWS + 1) * CLEAN_HISTOGRAM * sizeof *band.sums);

    Median median[ROWS];
    const std::int16_t* nothing = band.bins + band.columns * band.pitch;
    for (long x = -band.radius_x; x < band.columns; ++x) {
        const long enters = x + band.radius_x, leaves = enters - width;
        const std::int16_t *in = nothing, *gone = nothing;
        if (enters < band.columns) {
            in = band.bins + enters * band.pitch;
            const double* offsets = band.offsets + enters * band.pitch;
            shared.add(in, offsets, ROWS - 1, height);
            for (int k = 0; k < ROWS; ++k) {
                own[k].add(in, offsets, k, ROWS - 1);
                own[k].add(in, offsets, height, height + k);
            }
        }
        if (leaves >= 0) {
            gone = band.bins + leaves * band.pitch;
            const double* offsets = band.offsets + leaves * band.pitch;
            shared.remove(gone, offsets, ROWS - 1, height);
            for (int k = 0; k < ROWS; ++k) {
                own[k].remove(gone, offsets, k, ROWS - 1);
                own[k].remove(gone, offsets, height, height + k);
            }
        }
        if (x < 0) continue;
        const long right = enters < band.columns ? enters : band.columns - 1;
        const int columns = static_cast<int>(right - (leaves < 0 ? -1 : leaves));
        for (int k = 0; k < band.rows; ++k) {
            Median& at = median[k];
            at.below += more_below(in + k, gone + k, height, at.bin);
            at.follow(shared.counts, own[k].counts, columns * band.inside[k] >> 1);
            const int samples = shared.counts[at.bin] + own[k].counts[at.bin];
            const double sum = shared.sums[at.bin] + own[k].sums[at.bin];
            out[k][x] = static_cast<float>((bins.base + at.bin * bins.step) + sum / samples);
        }
    }
}

}  // namespace

const CleanBandKernels clean_band_kernels = {medians<4>, medians<8>};

}  // namespace QUILLON_SIMD
