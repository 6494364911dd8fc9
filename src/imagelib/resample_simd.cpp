// Compiled once for each instruction set; see cmake/QuillonSimd.cmake.
#include "imagelib/resample_simd.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

template <bool STREAM>
static inline void put(float* p, Floats v) {
    if constexpr (STREAM)
        stream(p, v);
    else
        store(p, v);
}

// Streaming stores want aligned addresses; the samples before the first aligned one are done singly.
static inline std::size_t misaligned_samples(const float* out, std::size_t count) {
    const std::size_t bytes = sizeof(Floats);
    const std::size_t offset = reinterpret_cast<std::size_t>(out) & (bytes - 1);
    const std::size_t head = offset ? (bytes - offset) / 4 : 0;
    return head < count ? head : count;
}

// Sums of TAPS (0: any number of) samples that lie at in(k, i).
template <int TAPS, bool STREAM, class Input>
static void weighted_sums(float* out, Input in, const float* weights, int any_taps, std::size_t count) {
    const int taps = TAPS ? TAPS : any_taps;
    auto single = [&](std::size_t i) {
        float sum = weights[0] * *in(0, i);
        for (int k = 1; k < taps; ++k) sum += weights[k] * *in(k, i);
        out[i] = sum;
    };
    std::size_t i = 0;
    if constexpr (STREAM) {
        const std::size_t head = misaligned_samples(out, count);
        for (; i < head; ++i) single(i);
    }
    Floats w[TAPS ? TAPS : 1];
    if constexpr (TAPS != 0) {
        for (int k = 0; k < TAPS; ++k) w[k] = all<Floats>(weights[k]);
        for (; i + LANES <= count; i += LANES) {
            Floats sum = w[0] * load(in(0, i));
            for (int k = 1; k < TAPS; ++k) sum += w[k] * load(in(k, i));
            put<STREAM>(out + i, sum);
        }
    } else {
        for (; i + LANES <= count; i += LANES) {
            Floats sum = weights[0] * load(in(0, i));
            for (int k = 1; k < taps; ++k) sum += weights[k] * load(in(k, i));
            put<STREAM>(out + i, sum);
        }
    }
    for (; i < count; ++i) single(i);
    if constexpr (STREAM) finish_streams();
}

template <bool STREAM, class Input>
static void weighted_sums(float* out, Input in, const float* weights, int taps, std::size_t count) {
    switch (taps) {
        case 2:
            return weighted_sums<2, STREAM>(out, in, weights, taps, count);
        case 4:
            return weighted_sums<4, STREAM>(out, in, weights, taps, count);
        case 5:
            return weighted_sums<5, STREAM>(out, in, weights, taps, count);
        case 9:
            return weighted_sums<9, STREAM>(out, in, weights, taps, count);
        default:
            return weighted_sums<0, STREAM>(out, in, weights, taps, count);
    }
}

static void sum_rows(float* out, const float* const* rows, const float* weights, int taps, std::size_t count,
                     bool stream) {
    auto in = [rows](int k, std::size_t i) { return rows[k] + i; };
    stream ? weighted_sums<true>(out, in, weights, taps, count) : weighted_sums<false>(out, in, weights, taps, count);
}

static void filter_row(float* out, const float* in, const float* weights, int taps, std::size_t step, std::size_t count,
                       bool stream) {
    auto at = [in, step](int k, std::size_t i) { return in + k * step + i; };
    stream ? weighted_sums<true>(out, at, weights, taps, count) : weighted_sums<false>(out, at, weights, taps, count);
}

// The weighted sum of pixels that lie `step` samples apart, in their order. Weights are loaded four together: cheaper
// than a load each.
static inline Pixel weighted_pixels(const float* p, std::ptrdiff_t step, const float* weights, int taps) {
    if (taps < 4) {
        Pixel sum = weights[0] * load<Pixel>(p);
        for (int k = 1; k < taps; ++k) sum += weights[k] * load<Pixel>(p + k * step);
        return sum;
    }
    Pixel four = load<Pixel>(weights);
    Pixel sum = spread<0>(four) * load<Pixel>(p);
    sum += spread<1>(four) * load<Pixel>(p + step);
    sum += spread<2>(four) * load<Pixel>(p + 2 * step);
    sum += spread<3>(four) * load<Pixel>(p + 3 * step);
    int k = 4;
    for (; k + 4 <= taps; k += 4) {
        p += 4 * step;
        four = load<Pixel>(weights + k);
        sum += spread<0>(four) * load<Pixel>(p);
        sum += spread<1>(four) * load<Pixel>(p + step);
        sum += spread<2>(four) * load<Pixel>(p + 2 * step);
        sum += spread<3>(four) * load<Pixel>(p + 3 * step);
    }
    for (p += 4 * step; k < taps; ++k, p += step) sum += weights[k] * load<Pixel>(p);
    return sum;
}

// The number of taps is worth a constant where it is a common one: enlarging, shears, reducing by 2.
template <class Work>
static inline void with_taps(int taps, Work work) {
    switch (taps) {
        case 4:
            return work(4);
        case 9:
            return work(9);
        default:
            return work(taps);
    }
}

static void scale_row_rgba(float* out, const float* in, const int* start, const float* weights, int taps, int first,
                           int last) {
    for (int o = first; o <= last; ++o) {
        const float* p = in + static_cast<std::ptrdiff_t>(start[o]) * 4;
        store(out + static_cast<std::size_t>(o) * 4,
              weighted_pixels(p, 4, weights + static_cast<std::size_t>(o) * taps, taps));
    }
}

#if defined(__AVX2__)

static inline __m256 load_two(const float* low, const float* high) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}

// Two neighbouring pixels of ROWS rows, abreast: their weights are spread once for all the rows.
template <int ROWS>
static inline void scale_two_rgba(float* const* out, const float* const* in, const int* start, const float* weights,
                                  int taps, int o) {
    const std::ptrdiff_t left = static_cast<std::ptrdiff_t>(start[o]) * 4;
    const std::ptrdiff_t right = static_cast<std::ptrdiff_t>(start[o + 1]) * 4;
    const float* w = weights + static_cast<std::size_t>(o) * taps;
    __m256 sums[ROWS];
    int k = 0;
    for (; k + 4 <= taps; k += 4) {
        const __m256 four = load_two(w + k, w + taps + k);
        const __m256 w0 = _mm256_permute_ps(four, 0x00), w1 = _mm256_permute_ps(four, 0x55);
        const __m256 w2 = _mm256_permute_ps(four, 0xaa), w3 = _mm256_permute_ps(four, 0xff);
        for (int r = 0; r < ROWS; ++r) {
            const float *p = in[r] + left + 4 * k, *q = in[r] + right + 4 * k;
            const __m256 p01 = _mm256_loadu_ps(p), q01 = _mm256_loadu_ps(q);
            const __m256 p23 = _mm256_loadu_ps(p + 8), q23 = _mm256_loadu_ps(q + 8);
            const __m256 product = w0 * _mm256_permute2f128_ps(p01, q01, 0x20);
            sums[r] = k == 0 ? product : sums[r] + product;
            sums[r] += w1 * _mm256_permute2f128_ps(p01, q01, 0x31);
            sums[r] += w2 * _mm256_permute2f128_ps(p23, q23, 0x20);
            sums[r] += w3 * _mm256_permute2f128_ps(p23, q23, 0x31);
        }
    }
    for (; k < taps; ++k) {
        const __m256 weight =
            _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_set1_ps(w[k])), _mm_set1_ps(w[taps + k]), 1);
        for (int r = 0; r < ROWS; ++r) sums[r] += weight * load_two(in[r] + left + 4 * k, in[r] + right + 4 * k);
    }
    for (int r = 0; r < ROWS; ++r) _mm256_storeu_ps(out[r] + static_cast<std::size_t>(o) * 4, sums[r]);
}

template <int ROWS>
static inline void scale_rows_rgba(float* const* out, const float* const* in, const int* start, const float* weights,
                                   int taps, int first, int last) {
    int o = first;
    if (taps >= 4) {
        // Copies that the stores cannot reach.
        float* to[ROWS];
        const float* from[ROWS];
        for (int r = 0; r < ROWS; ++r) to[r] = out[r], from[r] = in[r];
        for (; o < last; o += 2) scale_two_rgba<ROWS>(to, from, start, weights, taps, o);
    }
    for (int r = 0; r < ROWS; ++r) scale_row_rgba(out[r], in[r], start, weights, taps, o, last);
}

#else

template <int ROWS>
static inline void scale_rows_rgba(float* const* out, const float* const* in, const int* start, const float* weights,
                                   int taps, int first, int last) {
    for (int r = 0; r < ROWS; ++r) scale_row_rgba(out[r], in[r], start, weights, taps, first, last);
}

#endif

static void scale_rgba(float* const* out, const float* const* in, int rows, const int* start, const float* weights,
                       int taps, int first, int last) {
    with_taps(
        taps, [=](int t) __attribute__((always_inline)) {
            int r = 0;
            for (; r + 4 <= rows; r += 4) scale_rows_rgba<4>(out + r, in + r, start, weights, t, first, last);
            for (; r < rows; ++r) scale_rows_rgba<1>(out + r, in + r, start, weights, t, first, last);
        });
}

static void shear_columns_rgba(float* out, const float* in, std::size_t stride, const int* row, const float* weights,
                               int taps, int first, int last) {
    const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(stride);
    with_taps(
        taps, [=](int t) __attribute__((always_inline)) {
            for (int x = first; x <= last; ++x) {
                const float* p = in + row[x] * step + static_cast<std::ptrdiff_t>(x) * 4;
                store(out + static_cast<std::size_t>(x) * 4,
                      weighted_pixels(p, step, weights + static_cast<std::size_t>(x) * t, t));
            }
        });
}

static inline void scatter(float* out, const std::ptrdiff_t* place, Floats v) {
#if defined(__AVX512F__)
    _mm_storeu_ps(out + place[0], _mm512_castps512_ps128((__m512)v));
    _mm_storeu_ps(out + place[1], _mm512_extractf32x4_ps((__m512)v, 1));
    _mm_storeu_ps(out + place[2], _mm512_extractf32x4_ps((__m512)v, 2));
    _mm_storeu_ps(out + place[3], _mm512_extractf32x4_ps((__m512)v, 3));
#elif defined(__AVX2__)
    _mm_storeu_ps(out + place[0], _mm256_castps256_ps128((__m256)v));
    _mm_storeu_ps(out + place[1], _mm256_extractf128_ps((__m256)v, 1));
#else
    store(out + place[0], v);
#endif
}

static void scatter_row_rgba(float* out, const std::ptrdiff_t* place, const float* in, const float* weights, int first,
                             int last) {
    constexpr int PIXELS = LANES / 4;
    const float a = weights[0], b = weights[1], c = weights[2], d = weights[3];
    const float* p = in + static_cast<std::ptrdiff_t>(first) * 4;
    int x = first;
    for (; x + PIXELS - 1 <= last; x += PIXELS, p += LANES) {
        scatter(out, place + x, a * load(p) + b * load(p + 4) + c * load(p + 8) + d * load(p + 12));
    }
    for (; x <= last; ++x, p += 4) {
        store(out + place[x],
              a * load<Pixel>(p) + b * load<Pixel>(p + 4) + c * load<Pixel>(p + 8) + d * load<Pixel>(p + 12));
    }
}

static void sum_slanted_rgba(float* out, std::size_t out_stride, const float* in, std::size_t stride,
                             const float* weights, int rows, int pixels) {
    const std::size_t count = static_cast<std::size_t>(pixels) * 4;
    std::size_t i = 0;
    for (; i + LANES <= count; i += LANES) {
        const Floats four = load(weights + i);  // of each pixel its four weights
        const Floats w0 = spread<0>(four), w1 = spread<1>(four), w2 = spread<2>(four), w3 = spread<3>(four);
        const float* p = in + i;
        float* q = out + i;
        Floats a = load(p), b = load(p + stride), c = load(p + 2 * stride);
        p += 3 * stride;
        for (int y = 0; y < rows; ++y, p += stride, q += out_stride) {
            const Floats d = load(p);
            store(q, w0 * a + w1 * b + w2 * c + w3 * d);
            a = b, b = c, c = d;
        }
    }
    for (; i < count; i += 4) {
        for (int y = 0; y < rows; ++y) {
            store(out + y * out_stride + i,
                  weighted_pixels(in + y * stride + i, static_cast<std::ptrdiff_t>(stride), weights + i, 4));
        }
    }
}

}  // namespace

const ResampleKernels resample_kernels{sum_rows,           scale_rgba,       filter_row,
                                       shear_columns_rgba, scatter_row_rgba, sum_slanted_rgba};

}  // namespace QUILLON_SIMD
