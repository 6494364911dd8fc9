#include "imagelib/median_simd.h"

#include <cstddef>
#include <utility>

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

using Bins = Register<std::int16_t>;  // the samples that go abreast; their offsets take four registers
using Offsets = Doubles;
constexpr int SAMPLES = COUNT_OF<Bins>;
[[maybe_unused]] constexpr int DOUBLES = COUNT_OF<Offsets>;
static_assert(MEDIAN_LANES % SAMPLES == 0);

static inline Bins every(int bin) { return Bins{} + static_cast<std::int16_t>(bin); }

// ---- Samples --------------------------------------------------------------------------------------------------

static void find_range(const float* pixels, long count, float (*range)[2]) {
    Pixel low[4], high[4];
    for (int k = 0; k < 4; ++k) {
        low[k] = Pixel{range[0][0], range[1][0], range[2][0], range[3][0]};
        high[k] = Pixel{range[0][1], range[1][1], range[2][1], range[3][1]};
    }
    const auto take = [&](int k, long i) {
        const Pixel p = load<Pixel>(pixels + 4 * i);
        low[k] = smaller(p, low[k]);  // the second operand where the first is NaN
        high[k] = larger(p, high[k]);
    };
    long i = 0;
    for (; i + 4 <= count; i += 4)
        for (int k = 0; k < 4; ++k) take(k, i + k);
    for (; i < count; ++i) take(0, i);
    for (int k = 1; k < 4; ++k) {
        low[0] = smaller(low[0], low[k]);
        high[0] = larger(high[0], high[k]);
    }
    for (int c = 0; c < 4; ++c) range[c][0] = low[0][c], range[c][1] = high[0][c];
}

// 16 samples of one channel.
static inline void sort_samples(const MedianBins& bins, const float* samples, std::int16_t* bin, double* offset) {
#if defined(__AVX512F__)
    const __m512d rounding = _mm512_set1_pd(bins.rounding), base = _mm512_set1_pd(bins.base);
    const __m512d step = _mm512_set1_pd(bins.step);
    const __m512 min = _mm512_set1_ps(bins.min);
    // Of two operands of which one is NaN the second is taken.
    const __m512 above = _mm512_max_ps(_mm512_loadu_ps(samples), min);
    const __m512 inside = _mm512_min_ps(above, _mm512_set1_ps(bins.max));
    const __m512i unlimited =
        _mm512_cvttps_epi32(_mm512_mul_ps(_mm512_sub_ps(inside, min), _mm512_set1_ps(bins.scale)));
    const __m512i places = _mm512_min_epi32(unlimited, _mm512_set1_epi32(MEDIAN_BINS - 1));
    const auto offsets = [&](__m256 half, __m256i place) {
        const __m512d sample = _mm512_sub_pd(_mm512_add_pd(_mm512_cvtps_pd(half), rounding), rounding);
        return _mm512_sub_pd(sample, _mm512_add_pd(base, _mm512_mul_pd(_mm512_cvtepi32_pd(place), step)));
    };
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bin), _mm512_cvtepi32_epi16(places));
    _mm512_storeu_pd(offset, offsets(_mm512_castps512_ps256(inside), _mm512_castsi512_si256(places)));
    _mm512_storeu_pd(offset + 8, offsets(_mm512_extractf32x8_ps(inside, 1), _mm512_extracti32x8_epi32(places, 1)));
#else
    const float min = bins.min, max = bins.max, scale = bins.scale;
    const double rounding = bins.rounding, base = bins.base, step = bins.step;
    for (int i = 0; i < 16; ++i) {
        const float above = samples[i] > min ? samples[i] : min;
        const float sample = above < max ? above : max;
        const int unlimited = static_cast<int>((sample - min) * scale);
        const int place = unlimited < MEDIAN_BINS - 1 ? unlimited : MEDIAN_BINS - 1;
        bin[i] = static_cast<std::int16_t>(place);
        offset[i] = ((static_cast<double>(sample) + rounding) - rounding) - (base + static_cast<double>(place) * step);
    }
#endif
}

static void sort_into_bins(const MedianBins& bins, const float* pixels, int channel, int count, std::int16_t* bin,
                           double* offset) {
    const MedianBins copy = bins;
    float samples[16] = {};
    int i = 0;
    for (; i + 16 <= count; i += 16) {
#if defined(__AVX512F__)
        const __m512i places = _mm512_add_epi32(
            _mm512_set1_epi32(channel), _mm512_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28, 0, 4, 8, 12, 16, 20, 24, 28));
        const float* from = pixels + 4 * i;
        const __m512 low = _mm512_permutex2var_ps(_mm512_loadu_ps(from), places, _mm512_loadu_ps(from + 16));
        const __m512 high = _mm512_permutex2var_ps(_mm512_loadu_ps(from + 32), places, _mm512_loadu_ps(from + 48));
        _mm512_storeu_ps(samples, _mm512_mask_blend_ps(0xff00, low, high));
#else
        for (int k = 0; k < 16; ++k) samples[k] = pixels[4 * (i + k) + channel];
#endif
        sort_samples(copy, samples, bin + i, offset + i);
    }
    if (i == count) return;
    std::int16_t rest_bins[16];
    double rest_offsets[16];
    for (int k = 0; k < count - i; ++k) samples[k] = pixels[4 * (i + k) + channel];
    sort_samples(copy, samples, rest_bins, rest_offsets);
    __builtin_memcpy(bin + i, rest_bins, static_cast<std::size_t>(count - i) * sizeof *bin);
    __builtin_memcpy(offset + i, rest_offsets, static_cast<std::size_t>(count - i) * sizeof *offset);
}

static void join(const float* channels, long pitch, int count, float* pixels) {
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        Pixel p[4];
        for (int c = 0; c < 4; ++c) p[c] = load<Pixel>(channels + c * pitch + i);
        transpose(p[0], p[1], p[2], p[3]);
        for (int k = 0; k < 4; ++k) store(pixels + 4 * (i + k), p[k]);
    }
    for (; i < count; ++i)
        for (int c = 0; c < 4; ++c) pixels[4 * i + c] = channels[c * pitch + i];
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
#elif defined(__SSE2__)
    const __m128i twice[2] = {_mm_unpacklo_epi16((__m128i)equal, (__m128i)equal),
                              _mm_unpackhi_epi16((__m128i)equal, (__m128i)equal)};
    for (int k = 0; k < 4; ++k) {
        const __m128i wide =
            k & 1 ? _mm_unpackhi_epi32(twice[k / 2], twice[k / 2]) : _mm_unpacklo_epi32(twice[k / 2], twice[k / 2]);
        sums[k] += (Offsets)_mm_and_pd(_mm_castsi128_pd(wide), _mm_loadu_pd(offset + 2 * k));
    }
#else
    for (int k = 0; k < 4; ++k) {
        const auto wide = Register<std::int64_t>{equal[2 * k], equal[2 * k + 1]};
        sums[k] += (Offsets)((Register<std::int64_t>)load(offset + 2 * k) & wide);
    }
#endif
    return count - equal;
}
#endif

// The samples of a window, seen from its first pixel.
struct Taps {
    const std::int16_t* bins[MEDIAN_SMALL_WINDOW];
    const double* offsets[MEDIAN_SMALL_WINDOW];
    int count;
};

static inline Taps window_taps(const MedianRows& rows) {
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
    const Bins low = smaller(a, b);
    b = larger(a, b);
    a = low;
}

// ---- Networks -------------------------------------------------------------------------------------------------

// Comparisons that merge or sort, in which the answer's samples end up wherever `order` says (Batcher's odd-even merge,
// as Knuth has it for lists of any length). Outputs that are not read cost nothing: the compiler removes their
// comparisons.
struct Network {
    struct List {
        int count = 0;
        int at[88] = {};
    };
    struct Pair {
        int low, high;
    };
    int count = 0;
    Pair pairs[512] = {};
    List order;

    constexpr List merged(const List& a, const List& b) {
        if (!a.count || !b.count) return a.count ? a : b;
        List answer;
        if (a.count == 1 && b.count == 1) {
            pairs[count++] = {a.at[0], b.at[0]};
            answer.at[answer.count++] = a.at[0];
            answer.at[answer.count++] = b.at[0];
            return answer;
        }
        const List v = merged(everySecond(a, 0), everySecond(b, 0));
        const List w = merged(everySecond(a, 1), everySecond(b, 1));
        answer.at[answer.count++] = v.at[0];
        for (int i = 0; i < w.count || i + 1 < v.count; ++i) {
            if (i < w.count && i + 1 < v.count) pairs[count++] = {w.at[i], v.at[i + 1]};
            if (i < w.count) answer.at[answer.count++] = w.at[i];
            if (i + 1 < v.count) answer.at[answer.count++] = v.at[i + 1];
        }
        return answer;
    }
    constexpr List sorted(int first, int size) {
        return size < 2 ? range(first, size)
                        : merged(sorted(first, size / 2), sorted(first + size / 2, size - size / 2));
    }
    static constexpr List everySecond(const List& list, int from) {
        List part;
        for (int i = from; i < list.count; i += 2) part.at[part.count++] = list.at[i];
        return part;
    }
    static constexpr List range(int first, int size) {
        List list;
        for (int i = 0; i < size; ++i) list.at[list.count++] = first + i;
        return list;
    }
};

template <int A, int B>
struct Merging {
    static constexpr Network network = [] {
        Network made;
        made.order = made.merged(Network::range(0, A), Network::range(A, B));
        return made;
    }();
};
template <int SIZE>
struct Sorting {
    static constexpr Network network = [] {
        Network made;
        made.order = made.sorted(0, SIZE);
        return made;
    }();
};

template <class Method, int... I>
static inline void exchange(Bins* samples, std::integer_sequence<int, I...>) {
    (order(samples[Method::network.pairs[I].low], samples[Method::network.pairs[I].high]), ...);
}
template <class Method>
static inline void exchange(Bins* samples) {
    exchange<Method>(samples, std::make_integer_sequence<int, Method::network.count>());
}

// Sorted lists of samples, for each column: rows of bins, the smallest ones first.
struct Lists {
    std::int16_t* bins;
    const std::int16_t* at(int i, long x) const { return bins + i * MEDIAN_WORK_PITCH + x; }
    std::int16_t* at(int i, long x) { return bins + i * MEDIAN_WORK_PITCH + x; }
};

template <int A, int B>
static void merge_lists(const Lists& a, long shift_a, const Lists& b, long shift_b, Lists answer, long count) {
    for (long x = 0; x < count; x += SAMPLES) {
        Bins samples[A + B];
#pragma GCC unroll 64
        for (int i = 0; i < A; ++i) samples[i] = load<Bins>(a.at(i, x + shift_a));
#pragma GCC unroll 64
        for (int i = 0; i < B; ++i) samples[A + i] = load<Bins>(b.at(i, x + shift_b));
        exchange<Merging<A, B>>(samples);
#pragma GCC unroll 64
        for (int i = 0; i < A + B; ++i) store(answer.at(i, x), samples[Merging<A, B>::network.order.at[i]]);
    }
}

// Sample RANK of two sorted lists, of which the first one begins with its sample FIRST.
template <int RANK, int FIRST, int B>
static inline Bins ranked(const Bins* a, const Lists& b, long x) {
    Bins answer = a[RANK - FIRST];
#pragma GCC unroll 64
    for (int i = 0; i < B; ++i) {
        const Bins other = load<Bins>(b.at(i, x));
        answer = RANK - 1 - i < 0 ? smaller(answer, other) : smaller(answer, larger(a[RANK - 1 - i - FIRST], other));
    }
    return answer;
}

// Of a window: columns are sorted, pairs of columns merged, pairs of pairs merged. Each such
// list serves all windows that it is in.
template <int COLUMNS, int ROWS>
struct Window {
    static constexpr int RANK = COLUMNS * ROWS / 2, PAIR = 2 * ROWS, TRIPLE = 3 * ROWS, FOUR = 4 * ROWS;
    Lists ones, pairs, fours, triples;
    explicit Window(std::int16_t* work) {
        ones.bins = work;
        pairs.bins = ones.at(ROWS, 0);
        fours.bins = pairs.at(PAIR, 0);
        triples.bins = fours.at(FOUR, 0);
    }

    void sortColumns(const MedianRows& rows, long count) {
        for (long x = 0; x < count; x += SAMPLES) {
            Bins samples[ROWS];
#pragma GCC unroll 16
            for (int i = 0; i < ROWS; ++i) samples[i] = load<Bins>(rows.bins[i] + x - rows.radius);
            exchange<Sorting<ROWS>>(samples);
#pragma GCC unroll 16
            for (int i = 0; i < ROWS; ++i) store(ones.at(i, x), samples[Sorting<ROWS>::network.order.at[i]]);
        }
    }
    // Columns beyond the picture: as many samples below all others as above them, so that the median stays that of the
    // samples inside, and of an even number the upper one.
    void fillOutside(long x, int distance) {
        const int low = ROWS / 2 + (distance % 2 ? 0 : 1);
        for (int i = 0; i < ROWS; ++i) *ones.at(i, x) = i < low ? -1 : MEDIAN_OUTSIDE;
    }
    void prepare(const MedianRows& rows, long count) {
        const int radius = COLUMNS / 2;
        const long columns = count + 2 * radius;
        sortColumns(rows, columns);
        for (int k = 1; k <= radius - rows.left; ++k) fillOutside(radius - rows.left - k, k);
        for (int k = 1; k <= radius - rows.right; ++k) fillOutside(radius + count + rows.right - 1 + k, k);
        merge_lists<ROWS, ROWS>(ones, 0, ones, 1, pairs, columns);
        if constexpr (COLUMNS > 3) merge_lists<PAIR, PAIR>(pairs, 0, pairs, 2, fours, COLUMNS > 7 ? count + 4 : count);
        if constexpr (COLUMNS % 4 == 3 && COLUMNS > 3)
            merge_lists<PAIR, ROWS>(pairs, COLUMNS - 3, ones, COLUMNS - 1, triples, count);
    }
    Bins median(long x) const {
        if constexpr (COLUMNS == 3) {
            Bins a[PAIR];
            fill<PAIR>(a, pairs, x);
            return ranked<RANK, 0, ROWS>(a, ones, x + 2);
        } else if constexpr (COLUMNS < 8) {
            Bins a[FOUR];
            fill<FOUR>(a, fours, x);
            if constexpr (COLUMNS == 5) return ranked<RANK, 0, ROWS>(a, ones, x + 4);
            if constexpr (COLUMNS == 7) return ranked<RANK, 0, TRIPLE>(a, triples, x);
        } else {
            Bins eight[2 * FOUR];
            fill<FOUR>(eight, fours, x);
            fill<FOUR>(eight + FOUR, fours, x + 4);
            exchange<Merging<FOUR, FOUR>>(eight);
            constexpr int OTHERS = ROWS * (COLUMNS - 8), FIRST = RANK - OTHERS;
            Bins a[OTHERS + 1];
#pragma GCC unroll 64
            for (int i = 0; i <= OTHERS; ++i) a[i] = eight[Merging<FOUR, FOUR>::network.order.at[FIRST + i]];
            return ranked<RANK, FIRST, OTHERS>(a, COLUMNS == 9 ? ones : triples, COLUMNS == 9 ? x + 8 : x);
        }
    }
    template <int COUNT>
    static void fill(Bins* samples, const Lists& lists, long x) {
#pragma GCC unroll 64
        for (int i = 0; i < COUNT; ++i) samples[i] = load<Bins>(lists.at(i, x));
    }
};

// ---- Rows of small windows ------------------------------------------------------------------------------------

// The largest bin with at most `rank` samples below it.
static inline Bins median_bin(const Taps& taps, long x, Bins rank) {
    Bins median = {};
    for (int bit = MEDIAN_BINS / 2; bit; bit >>= 1) {
        const Bins trial = median + every(bit);
        Bins below = {};
        for (int i = 0; i < taps.count; ++i) below = add_where_below(below, load<Bins>(taps.bins[i] + x), trial);
        median = below <= rank ? trial : median;
    }
    return median;
}

static inline void bin_means(const MedianBins& bins, const Taps& taps, long x, Bins bin, float* out) {
    Offsets sums[4] = {};
    Bins count = {};
    for (int i = 0; i < taps.count; ++i)
        count = add_where_equal(count, load<Bins>(taps.bins[i] + x), bin, taps.offsets[i] + x, sums);
#if defined(__AVX512F__)
    // Most bins hold one sample.
    const bool single = _mm512_cmpneq_epi16_mask((__m512i)count, _mm512_set1_epi16(1)) == 0;
    const __m512d base = _mm512_set1_pd(bins.base), step = _mm512_set1_pd(bins.step);
    const auto quarter = [](Bins values, int k) {
        std::int16_t part[SAMPLES];
        store(part, values);
        return _mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(load<__m128i>(part + 8 * k)));
    };
    for (int k = 0; k < 4; ++k) {
        __m512d mean = (__m512d)sums[k];
        if (!single) mean = _mm512_div_pd(mean, quarter(count, k));
        const __m512d low = _mm512_add_pd(base, _mm512_mul_pd(quarter(bin, k), step));
        _mm256_storeu_ps(out + 8 * k, _mm512_cvtpd_ps(_mm512_add_pd(low, mean)));
    }
#else
    double sum[SAMPLES];
    for (int k = 0; k < 4; ++k) store(sum + DOUBLES * k, sums[k]);
    std::int16_t places[SAMPLES], counts[SAMPLES];
    store(places, bin);
    store(counts, count);
    const double base = bins.base, step = bins.step;
    for (int i = 0; i < SAMPLES; ++i) out[i] = static_cast<float>((base + places[i] * step) + sum[i] / counts[i]);
#endif
}

template <int COLUMNS, int ROWS>
static void window_row(const MedianBins& bins, const MedianRows& rows, int count, float* out) {
    const Taps taps = window_taps(rows);
    Window<COLUMNS, ROWS> window(rows.work);
    window.prepare(rows, count);
    for (long x = 0; x < count; x += SAMPLES) bin_means(bins, taps, x, window.median(x), out + x);
}

using Row = void (*)(const MedianBins& bins, const MedianRows& rows, int count, float* out);
static inline Row usual_window(int columns, int rows) {
    switch (columns << 8 | rows) {
        case 0x0303:
            return window_row<3, 3>;
        case 0x0305:
            return window_row<3, 5>;
        case 0x0503:
            return window_row<5, 3>;
        case 0x0505:
            return window_row<5, 5>;
        case 0x0707:
            return window_row<7, 7>;
        case 0x0909:
            return window_row<9, 9>;
        case 0x0b0b:
            return window_row<11, 11>;
    }
    return nullptr;
}

static void small_row(const MedianBins& bins, const MedianRows& rows, int count, float* out) {
    const int columns = 2 * rows.radius + 1;
    const Row usual = usual_window(columns, rows.count);
    // A window that sticks out of both sides would not have its median in the middle.
    if (usual && rows.left + count + rows.right >= columns) return usual(bins, rows, count, out);
    const Taps taps = window_taps(rows);
    const Bins height = every(rows.count);
    for (long x = 0; x < count; x += SAMPLES)
        bin_means(bins, taps, x, median_bin(taps, x, (load<Bins>(rows.inside + x) * height) >> 1), out + x);
}

}  // namespace

const MedianKernels median_kernels = {find_range, sort_into_bins, join, small_row};

}  // namespace QUILLON_SIMD
