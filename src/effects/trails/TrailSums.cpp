#include "effects/trails/TrailSums.h"
#include "k7pi_baselib/sse2.h"

#include <algorithm>

namespace {

constexpr int TOGETHER = 4, APART = 6;  // sums a pixel

double counted(float sample) { return sample - sample == 0.0f ? double{sample} : 0.0; }

// Rows of `width` pixels. The loops are bound by the memory traffic of the sums.
void step_together(double* __restrict sums, const float* __restrict oldest, const float* __restrict newest,
                   double share, float* __restrict average, int width) {
    for (int i = 0; i < TOGETHER * width; ++i) {
        sums[i] = sums[i] - counted(oldest[i]) + counted(newest[i]);
        average[i] = static_cast<float>(sums[i] * share);
    }
}

__m128 counted(__m128 samples) {
    return _mm_and_ps(samples, _mm_cmpeq_ps(_mm_sub_ps(samples, samples), _mm_setzero_ps()));
}

// The sums of one pixel where channels have their own lengths, in memory order: red and green, blue and red's alpha,
// green's and blue's alpha.
struct PixelSums {
    __m128d red_green, blue_alpha, alphas;

    static PixelSums load(const double* from) {
        return {_mm_loadu_pd(from), _mm_loadu_pd(from + 2), _mm_loadu_pd(from + 4)};
    }
    void store(double* to) const {
        _mm_storeu_pd(to, red_green);
        _mm_storeu_pd(to + 2, blue_alpha);
        _mm_storeu_pd(to + 4, alphas);
    }
    // The pixel of three frames, each in its channel.
    static PixelSums of(__m128 red, __m128 green, __m128 blue) {
        const __m128 red_green = _mm_unpacklo_ps(red, _mm_shuffle_ps(green, green, _MM_SHUFFLE(1, 1, 1, 1)));
        const __m128 blue_alpha = _mm_unpackhi_ps(blue, _mm_shuffle_ps(red, red, _MM_SHUFFLE(3, 3, 3, 3)));
        const __m128 alphas = _mm_unpackhi_ps(green, blue);  // in the upper half
        return {_mm_cvtps_pd(red_green), _mm_cvtps_pd(blue_alpha), _mm_cvtps_pd(_mm_movehl_ps(alphas, alphas))};
    }
    PixelSums operator-(const PixelSums& o) const {
        return {_mm_sub_pd(red_green, o.red_green), _mm_sub_pd(blue_alpha, o.blue_alpha), _mm_sub_pd(alphas, o.alphas)};
    }
    PixelSums operator+(const PixelSums& o) const {
        return {_mm_add_pd(red_green, o.red_green), _mm_add_pd(blue_alpha, o.blue_alpha), _mm_add_pd(alphas, o.alphas)};
    }
    // The averages within 0 to 1, those of alpha added up.
    __m128 averages(const double (&shares)[3]) const {
        const __m128d first = _mm_mul_pd(red_green, _mm_setr_pd(shares[0], shares[1]));
        const __m128d second = _mm_mul_pd(blue_alpha, _mm_setr_pd(shares[2], shares[0]));
        const __m128d third = _mm_mul_pd(alphas, _mm_setr_pd(shares[1], shares[2]));
        const __m128d two = _mm_add_sd(_mm_unpackhi_pd(second, second), third);
        const __m128d alpha = _mm_add_sd(two, _mm_unpackhi_pd(third, third));
        const __m128 result = _mm_movelh_ps(_mm_cvtpd_ps(first), _mm_cvtpd_ps(_mm_unpacklo_pd(second, alpha)));
        return _mm_min_ps(_mm_max_ps(result, _mm_setzero_ps()), _mm_set1_ps(1.0f));
    }
};

void step_apart(double* sums, const float* const (&oldest)[3], const float* newest, const double (&shares)[3],
                float* average, int width) {
    for (int i = 0; i < 4 * width; i += 4, sums += APART) {
        const auto out = PixelSums::of(counted(_mm_loadu_ps(oldest[0] + i)), counted(_mm_loadu_ps(oldest[1] + i)),
                                       counted(_mm_loadu_ps(oldest[2] + i)));
        const __m128 pixel = counted(_mm_loadu_ps(newest + i));
        const PixelSums now = PixelSums::load(sums) - out + PixelSums::of(pixel, pixel, pixel);
        now.store(sums);
        _mm_storeu_ps(average + i, now.averages(shares));
    }
}

double share(int frames) { return 1.0 / std::max(frames, 1); }

}  // namespace

bool TrailSums::begin(const K7Image& layout, TrailKind kind) {
    const std::size_t pitch = std::size_t(layout.width) * (kind == TrailKind::Apart ? APART : TOGETHER);
    if (!m_sums || pitch != m_pitch || layout.height != m_height) {
        m_sums.reset();
        m_sums.reset(static_cast<double*>(
            k7_aligned_malloc_uncleared(pitch * std::size_t(layout.height) * sizeof(double), 0, true)));
    }
    m_kind = kind;
    m_width = layout.width;
    m_height = layout.height;
    m_pitch = pitch;
    if (!m_sums) return false;
    for_rows_float(m_height, [this](int first, int last) {
        for (int y = first; y <= last; ++y) std::fill_n(row(y), m_pitch, 0.0);
    });
    return true;
}

void TrailSums::add(const K7Image& frame, const TrailLengths& times) {
    const double factors[3] = {double(times.red), double(times.green), double(times.blue)};
    for_rows_float(m_height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* from = image_row<float>(&frame, y);
            double* sums = row(y);
            if (m_kind == TrailKind::Together) {
                for (int i = 0; i < TOGETHER * m_width; ++i) sums[i] += counted(from[i]) * factors[0];
                continue;
            }
            for (int x = 0; x < m_width; ++x, sums += APART, from += 4)
                for (int c = 0; c < 3; ++c) {
                    sums[c] += counted(from[c]) * factors[c];
                    sums[3 + c] += counted(from[3]) * factors[c];  // red's alpha, green's, blue's
                }
        }
    });
}

void TrailSums::step(const K7Image* const (&oldest)[3], const K7Image& newest, const TrailLengths& lengths,
                     K7Image& average) {
    const double shares[3] = {share(lengths.red), share(lengths.green), share(lengths.blue)};
    for_rows_float(m_height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* const out[3] = {image_row<float>(oldest[0], y), image_row<float>(oldest[1], y),
                                         image_row<float>(oldest[2], y)};
            const float* in = image_row<float>(&newest, y);
            if (m_kind == TrailKind::Together)
                step_together(row(y), out[0], in, shares[0], image_row<float>(&average, y), m_width);
            else
                step_apart(row(y), out, in, shares, image_row<float>(&average, y), m_width);
        }
    });
}

void TrailSums::average(const TrailLengths& lengths, K7Image& average) const {
    const double shares[3] = {share(lengths.red), share(lengths.green), share(lengths.blue)};
    for_rows_float(m_height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const double* sums = row(y);
            float* to = image_row<float>(&average, y);
            if (m_kind == TrailKind::Together)
                for (int i = 0; i < TOGETHER * m_width; ++i) to[i] = static_cast<float>(sums[i] * shares[0]);
            else
                for (int x = 0; x < m_width; ++x)
                    _mm_storeu_ps(to + 4 * x, PixelSums::load(sums + APART * x).averages(shares));
        }
    });
}
