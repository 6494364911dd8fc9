#include "effects/trails/TrailSums.h"

#include <algorithm>

#include "Library2/Made.h"
#include "simdlib/vectors.h"

namespace {

using simd::in_order, simd::Pixel;
using Pair = simd::Vec<double, 2>;

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

Pixel counted(Pixel samples) { return samples - samples == 0.0f ? samples : Pixel{}; }

// The sums of one pixel where channels have their own lengths, in memory order: red and green, blue and red's alpha,
// green's and blue's alpha.
struct PixelSums {
    Pair red_green, blue_alpha, alphas;

    static PixelSums load(const double* from) {
        return {simd::load<Pair>(from), simd::load<Pair>(from + 2), simd::load<Pair>(from + 4)};
    }
    void store(double* to) const {
        simd::store(to, red_green);
        simd::store(to + 2, blue_alpha);
        simd::store(to + 4, alphas);
    }
    // The pixel of three frames, each in its channel.
    static PixelSums of(Pixel red, Pixel green, Pixel blue) {
        const Pixel red_green = in_order<0, 5, 1, 5>(red, green), blue_alpha = in_order<2, 7, 3, 7>(blue, red);
        const Pixel alphas = in_order<3, 7, 3, 7>(green, blue);
        return {simd::lower_doubles(red_green), simd::lower_doubles(blue_alpha), simd::lower_doubles(alphas)};
    }
    PixelSums operator-(const PixelSums& o) const {
        return {red_green - o.red_green, blue_alpha - o.blue_alpha, alphas - o.alphas};
    }
    PixelSums operator+(const PixelSums& o) const {
        return {red_green + o.red_green, blue_alpha + o.blue_alpha, alphas + o.alphas};
    }
    // The averages within 0 to 1, those of alpha added up.
    Pixel averages(const double (&shares)[3]) const {
        const Pair first = red_green * Pair{shares[0], shares[1]};
        const Pair second = blue_alpha * Pair{shares[2], shares[0]};
        const Pair third = alphas * Pair{shares[1], shares[2]};
        const double alpha = second[1] + third[0] + third[1];
        return simd::to_unit(simd::to_floats(first, Pair{second[0], alpha}));
    }
};

void step_apart(double* sums, const float* const (&oldest)[3], const float* newest, const double (&shares)[3],
                float* average, int width) {
    for (int i = 0; i < 4 * width; i += 4, sums += APART) {
        const auto in_frame = [&](const float* frame) { return counted(simd::load<Pixel>(frame + i)); };
        const auto out = PixelSums::of(in_frame(oldest[0]), in_frame(oldest[1]), in_frame(oldest[2]));
        const Pixel pixel = in_frame(newest);
        const PixelSums now = PixelSums::load(sums) - out + PixelSums::of(pixel, pixel, pixel);
        now.store(sums);
        simd::store(average + i, now.averages(shares));
    }
}

double share(int frames) { return 1.0 / std::max(frames, 1); }

}  // namespace

void TrailSums::begin(const K7Image& layout, TrailKind kind) {
    const std::size_t pitch = std::size_t(layout.width) * (kind == TrailKind::Apart ? APART : TOGETHER);
    if (!m_sums || pitch != m_pitch || layout.height != m_height) {
        m_sums.reset();
        m_sums.reset(static_cast<double*>(
            made(k7_aligned_malloc_uncleared(pitch * std::size_t(layout.height) * sizeof(double), 0, true))));
    }
    m_kind = kind;
    m_width = layout.width;
    m_height = layout.height;
    m_pitch = pitch;
    for_rows_float(m_height, [this](int first, int last) {
        for (int y = first; y <= last; ++y) std::fill_n(row(y), m_pitch, 0.0);
    });
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
                    simd::store(to + 4 * x, PixelSums::load(sums + APART * x).averages(shares));
        }
    });
}
