#include "imagelib/mode_filter_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// ---- Samples and bins -----------------------------------------------------------------------------------------

static void quantise(const float* samples, unsigned char* bins, long count) {
    for (long i = 0; i < count; ++i) {
        bins[i] = (unsigned char)(int)limited(samples[i] * MODE_SCALE, 0.0f, 127.0f);
    }
}

constexpr int BATCH = 16;  // bins

using Batch = Vec<unsigned char, BATCH>;

static inline void restore_batch(Batch bins, float* samples, bool streamed) {
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i low = _mm_unpacklo_epi8((__m128i)bins, zero), high = _mm_unpackhi_epi8((__m128i)bins, zero);
    const __m128i parts[4] = {_mm_unpacklo_epi16(low, zero), _mm_unpackhi_epi16(low, zero),
                              _mm_unpacklo_epi16(high, zero), _mm_unpackhi_epi16(high, zero)};
    for (int i = 0; i < 4; ++i) {
        const Pixel level = MODE_LEVEL * (Pixel)_mm_cvtepi32_ps(parts[i]);
        if (streamed)
            stream(samples + 4 * i, level);
        else
            store(samples + 4 * i, level);
    }
#else
    for (int i = 0; i < BATCH; ++i) samples[i] = float(bins[i]) * MODE_LEVEL;
    (void)streamed;
#endif
}

static inline bool can_stream(const float* place) { return ((unsigned long)place & 15) == 0; }

static void restore(const unsigned char* bins, float* samples, long count, bool streamed) {
    const bool past_caches = streamed && can_stream(samples);
    long i = 0;
    for (; i + BATCH <= count; i += BATCH) {
        Batch batch;
        __builtin_memcpy(&batch, bins + i, BATCH);
        restore_batch(batch, samples + i, past_caches);
    }
    for (; i < count; ++i) samples[i] = float(bins[i]) * MODE_LEVEL;
    if (past_caches) finish_streams();
}

// ---- Windows of 3x3 -------------------------------------------------------------------------------------------

// Wider ones were slower.
using Bins = Vec<unsigned char, REGISTER == 16 ? 16 : 32>;
using SignedBins = Vec<signed char, COUNT_OF<Bins>>;
constexpr int STEP = sizeof(Bins);
static_assert(STEP <= MODE_SLACK);

static inline Bins bins_at(const unsigned char* from) { return load<Bins>(from); }

static inline void order(Bins& a, Bins& b) {
    const Bins low = smaller(a, b);
    b = larger(a, b);
    a = low;
}
static inline void order(Bins& a, Bins& b, Bins& c) {
    order(a, b);
    order(b, c);
    order(a, b);
}

// The value of the longest run of a sorted list, the first of equally long ones.
static inline Bins longest_run(const Bins (&sorted)[9]) {
    Bins value = sorted[0], longest = {}, run = {};
    for (int i = 1; i < 9; ++i) {
        const Bins same = (Bins)(sorted[i] == sorted[i - 1]);
        run = (run - same) & same;
        value = (SignedBins)run > (SignedBins)longest ? sorted[i] : value;  // both below 128
        longest = larger(longest, run);
    }
    return value;
}

// Nine bins are sorted: the columns of three once for the three windows that each is part of; then the rows of the
// resulting square, and with the seven comparisons that a square sorted both ways still needs, all of it.
static inline Bins mode_of_columns(const unsigned char* low, const unsigned char* middle, const unsigned char* high) {
    Bins v[9];
    for (int i = 0; i < 3; ++i) {
        v[i] = bins_at(low + 4 * i);
        v[3 + i] = bins_at(middle + 4 * i);
        v[6 + i] = bins_at(high + 4 * i);
    }
    order(v[0], v[1], v[2]);
    order(v[3], v[4], v[5]);
    order(v[6], v[7], v[8]);
    order(v[1], v[3]);
    order(v[2], v[4]);
    order(v[2], v[6]);
    order(v[2], v[3]);
    order(v[4], v[6]);
    order(v[5], v[7]);
    order(v[5], v[6]);
    return longest_run(v);
}

static void mode_3x3(const unsigned char* above_row, const unsigned char* row, const unsigned char* below_row,
                     unsigned char* scratch, float* samples, long count, bool streamed) {
    const long length = count + 8 + MODE_SLACK;
    unsigned char* const low = scratch;
    unsigned char* const middle = low + length;
    unsigned char* const high = middle + length;
    for (long i = 0; i < count + 8; i += STEP) {
        Bins a = bins_at(above_row + i), b = bins_at(row + i), c = bins_at(below_row + i);
        order(a, b, c);
        store(low + i, a);
        store(middle + i, b);
        store(high + i, c);
    }
    const bool past_caches = streamed && can_stream(samples);
    for (long i = 0; i < count; i += STEP) {
        const Bins modes = mode_of_columns(low + i, middle + i, high + i);
        unsigned char buffer[STEP];
        store(buffer, modes);
        if (count - i < STEP) {
            restore(buffer, samples + i, count - i, false);
            break;
        }
        for (int part = 0; part < STEP; part += BATCH) {
            Batch batch;
            __builtin_memcpy(&batch, buffer + part, BATCH);
            restore_batch(batch, samples + i + part, past_caches);
        }
    }
    if (past_caches) finish_streams();
}

// ---- Sliding windows ------------------------------------------------------------------------------------------

using Counts = Register<ModeCount>;
using EightCounts = Vec<ModeCount, 8>;

static inline Counts load_counts(const ModeCount* from) { return load_aligned(from); }

// The maximum of both halves, repeated until eight are left.
static inline EightCounts fold(Counts v) {
#if defined(__AVX512BW__)
    const __m256i half = _mm256_max_epi16(_mm512_castsi512_si256((__m512i)v), _mm512_extracti64x4_epi64((__m512i)v, 1));
    return (EightCounts)_mm_max_epi16(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
#elif defined(__AVX2__)
    return (EightCounts)_mm_max_epi16(_mm256_castsi256_si128((__m256i)v), _mm256_extracti128_si256((__m256i)v, 1));
#else
    return v;
#endif
}

constexpr int COUNTS = COUNT_OF<Counts>;
constexpr int PARTS = MODE_BINS / COUNTS;
constexpr int GROUP = 8;  // bins that share their low bits

// The bin of the largest of eight entries, each the largest of its bins modulo 8.
static inline unsigned char largest_bin(EightCounts counts) {
#if defined(__AVX2__)
    const __m128i best = (__m128i)counts;
    const unsigned int found =
        (unsigned int)_mm_cvtsi128_si32(_mm_minpos_epu16(_mm_xor_si128(best, _mm_set1_epi16(0x7fff))));
    return (unsigned char)((found & 15) * GROUP + (found >> 16));
#elif defined(__SSE2__)
    const __m128i best = (__m128i)counts;
    __m128i top = _mm_max_epi16(best, _mm_shuffle_epi32(best, 0x4e));
    top = _mm_max_epi16(top, _mm_shuffle_epi32(top, 0xb1));
    top = _mm_max_epi16(top, _mm_shufflehi_epi16(_mm_shufflelo_epi16(top, 0xb1), 0xb1));
    const int places = _mm_movemask_epi8(_mm_cmpeq_epi16(best, top));
    return (unsigned char)((15 - (_mm_cvtsi128_si32(top) & 15)) * GROUP + __builtin_ctz((unsigned int)places) / 2);
#else
    int best = 0;
    for (int i = 1; i < 8; ++i) best = counts[i] > counts[best] ? i : best;
    return (unsigned char)((15 - (counts[best] & 15)) * GROUP + best);
#endif
}

// The sums stay in registers. With the upkeep of the columns 4.3 ns a sample at 5x5 and 5.0 at 31x31 on a Zen 4.
static void slide(const ModeCount* columns, int window, int count, unsigned char* modes) {
    alignas(64) ModeCount low_bits[MODE_BINS];
    for (int bin = 0; bin < MODE_BINS; ++bin) low_bits[bin] = (ModeCount)(15 - bin / GROUP);
    Counts sums[PARTS];
    for (int i = 0; i < PARTS; ++i) sums[i] = load_counts(low_bits + i * COUNTS);
    const ModeCount* head = columns;
    for (int c = 1; c < window; ++c, head += MODE_BINS)
        for (int i = 0; i < PARTS; ++i) sums[i] += load_counts(head + i * COUNTS);

    const ModeCount* tail = columns;
    for (int x = 0; x < count; ++x, head += MODE_BINS, tail += MODE_BINS) {
        for (int i = 0; i < PARTS; ++i) sums[i] += load_counts(head + i * COUNTS);
        Counts best = sums[0];
        for (int i = 1; i < PARTS; ++i) best = larger(best, sums[i]);
        modes[4L * x] = largest_bin(fold(best));
        for (int i = 0; i < PARTS; ++i) sums[i] -= load_counts(tail + i * COUNTS);
    }
}

static void slide_wide(const ModeWideCount* columns, int window, int count, unsigned char* modes) {
    alignas(64) ModeWideCount sums[MODE_BINS];
    for (int bin = 0; bin < MODE_BINS; ++bin) sums[bin] = MODE_BINS - 1 - bin;
    const ModeWideCount* head = columns;
    for (int c = 1; c < window; ++c, head += MODE_BINS)
        for (int bin = 0; bin < MODE_BINS; ++bin) sums[bin] += head[bin];

    const ModeWideCount* tail = columns;
    for (int x = 0; x < count; ++x, head += MODE_BINS, tail += MODE_BINS) {
        ModeWideCount best = 0;
        for (int bin = 0; bin < MODE_BINS; ++bin) {
            const ModeWideCount sum = sums[bin] + head[bin];
            best = sum > best ? sum : best;
            sums[bin] = sum - tail[bin];
        }
        modes[4L * x] = (unsigned char)(MODE_BINS - 1 - (best & (MODE_BINS - 1)));
    }
}

}  // namespace

const ModeKernels mode_kernels = {quantise, restore, mode_3x3, slide, slide_wide};

}  // namespace QUILLON_SIMD
