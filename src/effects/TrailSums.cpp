#include "effects/TrailSums.h"

#include <algorithm>

namespace {

constexpr int TOGETHER = 4, APART = 6;  // sums a pixel

double counted(float sample) { return sample - sample == 0.0f ? double{sample} : 0.0; }

// Rows of `width` pixels. Whole rows of sums go through memory; everything else here is hidden behind that.
void step_together(double* __restrict sums, const float* __restrict oldest, const float* __restrict newest,
                   double share, float* __restrict average, int width) {
    for (int i = 0; i < TOGETHER * width; ++i) {
        sums[i] = sums[i] - counted(oldest[i]) + counted(newest[i]);
        average[i] = static_cast<float>(sums[i] * share);
    }
}

void average_apart(const double* sums, const double (&shares)[3], float* average) {
    double alpha = 0.0;
    for (int c = 0; c < 3; ++c) {
        average[c] = static_cast<float>(std::clamp(sums[c] * shares[c], 0.0, 1.0));
        alpha += sums[3 + c] * shares[c];
    }
    average[3] = static_cast<float>(std::clamp(alpha, 0.0, 1.0));
}

void step_apart(double* sums, const float* const (&oldest)[3], const float* newest, const double (&shares)[3],
                float* average, int width) {
    for (int x = 0; x < width; ++x, sums += APART) {
        for (int c = 0; c < 3; ++c) {
            sums[c] = sums[c] - counted(oldest[c][4 * x + c]) + counted(newest[4 * x + c]);
            sums[3 + c] = sums[3 + c] - counted(oldest[c][4 * x + 3]) + counted(newest[4 * x + 3]);
        }
        average_apart(sums, shares, average + 4 * x);
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
                    sums[3 + c] += counted(from[3]) * factors[c];
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
    average.stats_valid = 0;
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
                for (int x = 0; x < m_width; ++x) average_apart(sums + APART * x, shares, to + 4 * x);
        }
    });
    average.stats_valid = 0;
}
