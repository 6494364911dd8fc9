#include "effects/engines/particles/LightPlaces.h"

#include <algorithm>

#include "effects/engines/replay/FrameClock.h"
#include "k7pi_baselib/rows.h"

namespace particles {

void LightPlaces::make(const K7Image& picture) {
    m_width = std::max(picture.width / STEP, 1);
    m_height = std::max(picture.height / STEP, 1);
    const auto width = static_cast<std::size_t>(m_width), height = static_cast<std::size_t>(m_height);
    m_cells.resize(width * height);
    m_rows.resize(height);
    std::vector<std::uint64_t> prints(height);
    for_rows_float(m_height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* row = image_row<float>(&picture, y * STEP);
            const float* next = image_row<float>(&picture, std::min(y * STEP + 1, picture.height - 1));
            float* cells = m_cells.data() + static_cast<std::size_t>(y) * width;
            float sum = 0;
            for (int x = 0; x < m_width; ++x) {
                const long left = 4L * x * STEP, right = 4L * std::min(x * STEP + 1, picture.width - 1);
                const auto four = [&](int c) {
                    return row[left + c] + row[right + c] + next[left + c] + next[right + c];
                };
                sum += std::clamp(0.25f * (0.3f * four(0) + 0.5f * four(1) + 0.2f * four(2)), 0.0f, 1.0f);
                cells[x] = sum;
            }
            prints[static_cast<std::size_t>(y)] = ::fingerprint(cells, width * sizeof *cells);
        }
    });
    double sum = 0;
    for (std::size_t y = 0; y < height; ++y) m_rows[y] = sum += static_cast<double>(m_cells[(y + 1) * width - 1]);
    m_fingerprint = ::fingerprint(prints.data(), prints.size() * sizeof prints[0]);
}

bool LightPlaces::draw(MTRandom& random, float place[2]) const {
    const float up = random.next_float(), along = random.next_float(), within = random.next_float();
    if (empty()) return false;
    const double wanted = static_cast<double>(up) * m_rows.back();
    const auto row =
        std::min<std::ptrdiff_t>(std::upper_bound(m_rows.begin(), m_rows.end(), wanted) - m_rows.begin(), m_height - 1);
    const auto begin = m_cells.begin() + row * m_width, end = begin + m_width;
    const float part = along * *(end - 1);
    const auto cell = std::min<std::ptrdiff_t>(std::upper_bound(begin, end, part) - begin, m_width - 1);
    // Two numbers of one: their digits of 1/256 and those below.
    const float scaled = within * 256, high = static_cast<float>(static_cast<int>(scaled));
    place[0] = (static_cast<float>(cell) + high / 256) * STEP;
    place[1] = (static_cast<float>(row) + (scaled - high)) * STEP;
    return true;
}

}  // namespace particles
