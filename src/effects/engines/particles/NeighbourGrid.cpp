#include "effects/engines/particles/NeighbourGrid.h"

#include <cmath>

// A counting sort: the number in each cell, where each cell begins, then every particle to its place.
void NeighbourGrid::sort(float reach, const FrameShape& frame) {
    constexpr float MOST_CELLS = 65536;
    m_first.clear();
    m_sorted.clear();
    if (!(reach > 0) || m_places.empty()) return;
    m_reach = reach;
    // The grid reaches half a picture beyond each side.
    m_left = -0.5f * frame.width;
    m_bottom = -0.5f * frame.height;
    const float width = 2 * frame.width, height = 2 * frame.height;
    const float side = std::max(reach, std::sqrt(width * height / MOST_CELLS));
    m_per_pixel = 1 / side;
    m_columns = static_cast<int>(width / side) + 1;
    m_rows = static_cast<int>(height / side) + 1;

    m_first.assign(static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows) + 1, 0);
    const auto cell = [&](const Place& place) {
        return static_cast<std::size_t>(row(place.y) * m_columns + column(place.x));
    };
    for (const Place& place : m_places)
        if (finite(place)) ++m_first[cell(place) + 1];
    for (std::size_t i = 1; i < m_first.size(); ++i) m_first[i] += m_first[i - 1];
    m_sorted.resize(m_places.size());
    std::vector<std::uint32_t> next(m_first.begin(), m_first.end() - 1);
    for (std::size_t i = 0; i < m_places.size(); ++i)
        if (finite(m_places[i])) m_sorted[next[cell(m_places[i])]++] = static_cast<std::int32_t>(i);
}

void NeighbourGrid::spread(std::uint32_t most) {
    if (most == 0) return;
    std::vector<std::int32_t> list;
    for (std::size_t cell = 0; cell + 1 < m_first.size(); ++cell) {
        const std::size_t first = m_first[cell], count = m_first[cell + 1] - first, samples = count / most;
        if (samples < 2) continue;
        list.assign(m_sorted.begin() + std::ptrdiff_t(first), m_sorted.begin() + std::ptrdiff_t(first + count));
        for (std::size_t sample = 0; sample < samples; ++sample)
            for (std::size_t i = 0; i < most; ++i) m_sorted[first + sample * most + i] = list[i * samples + sample];
    }
}
