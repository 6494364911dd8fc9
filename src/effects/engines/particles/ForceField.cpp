#include "effects/engines/particles/ForceField.h"

#include <algorithm>
#include <cmath>

#include "effects/engines/particles/ForceField_simd.h"
#include "effects/engines/replay/FrameClock.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/rows.h"

namespace particles {

namespace {

constexpr float SWIRL_STEP = 0.1f;   // of a cell, over which the potential is compared
constexpr float SWIRL_MEAN = 0.9f;   // brings the root mean square of the curl to about 1
constexpr float GUST_CELLS = 0.06f;  // a frame
constexpr float FARTHEST = 1e9f;     // pixels; whatever flies on beyond it stays finite

// Means over 2 reach + 1 samples of a line, the ends repeated.
void soften_line(float* line, int count, int stride, int reach, float* scratch) {
    const auto at = [&](int i) { return line[static_cast<std::ptrdiff_t>(std::clamp(i, 0, count - 1)) * stride]; };
    double sum = 0;
    for (int i = -reach; i <= reach; ++i) sum += at(i);
    const double scale = 1.0 / (2 * reach + 1);
    for (int i = 0; i < count; ++i) {
        scratch[i] = static_cast<float>(sum * scale);
        sum += static_cast<double>(at(i + reach + 1)) - at(i - reach);
    }
    for (int i = 0; i < count; ++i) line[static_cast<std::ptrdiff_t>(i) * stride] = scratch[i];
}

}  // namespace

// ---- Slopes ---------------------------------------------------------------------------------------------------

void SlopeField::make(const K7Image& picture, float radius) {
    m_width = std::max(picture.width / STEP, 1);
    m_height = std::max(picture.height / STEP, 1);
    const auto size = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height);
    std::vector<float> light(size);
    const auto cell = [&](int x, int y) {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(x);
    };
    for_rows_float(m_height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            for (int x = 0; x < m_width; ++x) {
                float sum = 0;
                for (int i = 0; i < STEP * STEP; ++i)
                    sum += luminance(image_row<float>(&picture, std::min(y * STEP + i / STEP, picture.height - 1)) +
                                     4L * std::min(x * STEP + i % STEP, picture.width - 1));
                light[cell(x, y)] = std::min(sum / (STEP * STEP), 1.0f);
            }
    });
    const int reach = std::clamp(static_cast<int>(radius / (2 * STEP)), 1, 256);
    std::vector<float> scratch(static_cast<std::size_t>(std::max(m_width, m_height)));
    for (int pass = 0; pass < 2; ++pass) {
        for (int y = 0; y < m_height; ++y) soften_line(light.data() + cell(0, y), m_width, 1, reach, scratch.data());
        for (int x = 0; x < m_width; ++x) soften_line(light.data() + x, m_height, m_width, reach, scratch.data());
    }
    m_slopes.resize(2 * size);
    for (int y = 0; y < m_height; ++y)
        for (int x = 0; x < m_width; ++x) {
            const int left = std::max(x - 1, 0), right = std::min(x + 1, m_width - 1);
            const int below = std::max(y - 1, 0), above = std::min(y + 1, m_height - 1);
            float* slope = m_slopes.data() + 2 * cell(x, y);
            slope[0] =
                (light[cell(right, y)] - light[cell(left, y)]) / static_cast<float>(STEP * std::max(right - left, 1));
            slope[1] =
                (light[cell(x, above)] - light[cell(x, below)]) / static_cast<float>(STEP * std::max(above - below, 1));
        }
}

std::uint64_t SlopeField::fingerprint() const {
    return ::fingerprint(m_slopes.data(), m_slopes.size() * sizeof(float));
}

void SlopeField::read(const float* x, const float* y, float aspect, float reach, float* along_x, float* along_y,
                      int count) const {
    for (int i = 0; i < count; ++i) {
        const float px = x[i] / STEP - 0.5f, py = y[i] * aspect / STEP - 0.5f;
        along_x[i] = along_y[i] = 0;
        if (!(px > -1 && py > -1 && px < static_cast<float>(m_width) && py < static_cast<float>(m_height))) continue;
        const float u = std::clamp(px, 0.0f, static_cast<float>(m_width - 1));
        const float v = std::clamp(py, 0.0f, static_cast<float>(m_height - 1));
        const int column = static_cast<int>(u), row = static_cast<int>(v);
        const float tx = u - static_cast<float>(column), ty = v - static_cast<float>(row);
        const int right = std::min(column + 1, m_width - 1), above = std::min(row + 1, m_height - 1);
        const auto at = [&](int c, int r) {
            return m_slopes.data() +
                   2 * (static_cast<std::size_t>(r) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(c));
        };
        const float *a = at(column, row), *b = at(right, row), *c = at(column, above), *d = at(right, above);
        const auto mixed = [&](int k) {
            return (1 - ty) * ((1 - tx) * a[k] + tx * b[k]) + ty * ((1 - tx) * c[k] + tx * d[k]);
        };
        along_x[i] = std::clamp(mixed(0) * reach, -1.0f, 1.0f);
        along_y[i] = std::clamp(mixed(1) * aspect * reach, -1.0f, 1.0f);
    }
}

// ---- Forces ---------------------------------------------------------------------------------------------------

ForceField::Moment ForceField::at(float frame, const SolidNoise& noise) const {
    const float swell = std::clamp(1 + gusts * 2.5f * noise.noise(frame * GUST_CELLS, 17.3f, 5.1f), 0.0f, 3.0f);
    return {{wind[0] * swell, wind[1] * swell}, frame * swirl_change};
}

void ForceField::swirl(const Moment& now, const SolidNoise& noise, const float* x, const float* y, float* along_x,
                       float* along_y, int count) const {
    float u[ABREAST] = {}, v[ABREAST] = {}, w[ABREAST] = {}, here[ABREAST];
    for (int i = 0; i < count; ++i) {
        u[i] = std::clamp(x[i], -FARTHEST, FARTHEST) * swirl_cells;
        v[i] = std::clamp(y[i], -FARTHEST, FARTHEST) * swirl_cells;
        w[i] = now.swirl_z;
    }
    noise.noise_row(u, v, w, here, count);
    for (int i = 0; i < count; ++i) u[i] += SWIRL_STEP;
    noise.noise_row(u, v, w, along_y, count);
    for (int i = 0; i < count; ++i) u[i] -= SWIRL_STEP, v[i] += SWIRL_STEP;
    noise.noise_row(u, v, w, along_x, count);
    const float gain = swirl_speed * (SWIRL_MEAN / SWIRL_STEP);
    for (int i = 0; i < count; ++i) {
        along_x[i] = (along_x[i] - here[i]) * gain;
        along_y[i] = (here[i] - along_y[i]) * gain;
    }
}

void ForceField::apply(const Moment& now, const SolidNoise& noise, const SlopeField* slopes,
                       const ForceBlock& block) const {
    float air[2][ABREAST], push[2][ABREAST];
    const bool swirling = swirls() && grip > 0, sloping = slopes && !slopes->empty() && slope_strength != 0;
    if (swirling) swirl(now, noise, block.x, block.y, air[0], air[1], block.count);
    if (sloping) {
        slopes->read(block.x, block.y, aspect, slope_reach, push[0], push[1], block.count);
        for (int i = 0; i < block.count; ++i) {
            const float x = push[0][i] * slope_strength, y = push[1][i] * slope_strength;
            push[0][i] = slope_turn[0] * x - slope_turn[1] * y;
            push[1][i] = slope_turn[1] * x + slope_turn[0] * y;
        }
    }
    const float* const airs[2] = {swirling ? air[0] : nullptr, swirling ? air[1] : nullptr};
    const float* const pushes[2] = {sloping ? push[0] : nullptr, sloping ? push[1] : nullptr};
    force_kernels().apply(*this, now.wind, block, airs, pushes);
}

}  // namespace particles
