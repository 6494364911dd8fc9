// Maximum flow by levels (E. Dinic, 1970) on a grid whose cells have four neighbours.
#include "imagelib/quilt_cut.h"

#include <algorithm>

namespace {

constexpr float UNITS = 4096.0F;  // whole numbers: the flow ends, and is the same everywhere

}  // namespace

void QuiltCut::begin(int width, int height) {
    m_width = width, m_height = height;
    const auto cells = std::size_t(width) * std::size_t(height);
    m_role.assign(cells, FREE);
    m_cost.assign(cells, 0.0F);
    m_capacity.assign(4 * cells, 0);
    m_level.assign(cells, 0);
    m_next.assign(cells, 0);
}

// -1 beyond the grid.
int QuiltCut::neighbour(int cell, int direction) const {
    const int x = cell % m_width, y = cell / m_width;
    switch (direction) {
        case 0:
            return x + 1 < m_width ? cell + 1 : -1;
        case 1:
            return x > 0 ? cell - 1 : -1;
        case 2:
            return y + 1 < m_height ? cell + m_width : -1;
        default:
            return y > 0 ? cell - m_width : -1;
    }
}

// Breadth first from all kept cells. Whether a replaced cell is reached.
bool QuiltCut::find_levels() {
    std::fill(m_level.begin(), m_level.end(), -1);
    m_queue.clear();
    for (int cell = 0; cell < m_width * m_height; ++cell)
        if (m_role[std::size_t(cell)] == KEPT) m_level[std::size_t(cell)] = 0, m_queue.push_back(cell);
    bool reached = false;
    for (std::size_t head = 0; head < m_queue.size(); ++head) {
        const int cell = m_queue[head];
        if (m_role[std::size_t(cell)] == REPLACED) {
            reached = true;
            continue;
        }
        for (int d = 0; d < 4; ++d) {
            if (m_capacity[4 * std::size_t(cell) + std::size_t(d)] == 0) continue;
            const int to = neighbour(cell, d);
            if (to < 0 || m_level[std::size_t(to)] >= 0) continue;
            m_level[std::size_t(to)] = m_level[std::size_t(cell)] + 1;
            m_queue.push_back(to);
        }
    }
    return reached;
}

// All flow that a kept cell can send along rising levels.
void QuiltCut::push_from(int source) {
    m_path.assign(1, source);
    m_turns.clear();
    while (true) {
        const int cell = m_path.back();
        if (m_role[std::size_t(cell)] == REPLACED) {
            int flow = 1 << 30;
            for (std::size_t i = 0; i < m_turns.size(); ++i)
                flow = std::min(flow, m_capacity[4 * std::size_t(m_path[i]) + m_turns[i]]);
            std::size_t open = m_turns.size();
            for (std::size_t i = m_turns.size(); i-- > 0;) {
                int& capacity = m_capacity[4 * std::size_t(m_path[i]) + m_turns[i]];
                capacity -= flow;
                m_capacity[4 * std::size_t(m_path[i + 1]) + (m_turns[i] ^ 1U)] += flow;
                if (capacity == 0) open = i;
            }
            m_path.resize(open + 1), m_turns.resize(open);
            continue;
        }
        bool moved = false;
        for (std::uint8_t& d = m_next[std::size_t(cell)]; d < 4; ++d) {
            if (m_capacity[4 * std::size_t(cell) + d] == 0) continue;
            const int to = neighbour(cell, d);
            if (to < 0 || m_level[std::size_t(to)] != m_level[std::size_t(cell)] + 1) continue;
            m_path.push_back(to), m_turns.push_back(d);
            moved = true;
            break;
        }
        if (moved) continue;
        if (m_turns.empty()) return;
        m_path.pop_back();
        ++m_next[std::size_t(m_path.back())];
        m_turns.pop_back();
    }
}

void QuiltCut::solve() {
    const auto units = [this](int cell) { return std::min(m_cost[std::size_t(cell)], 4.0F); };
    for (int cell = 0; cell < m_width * m_height; ++cell)
        for (int d = 0; d < 4; ++d)
            if (const int to = neighbour(cell, d); to >= 0)
                m_capacity[4 * std::size_t(cell) + std::size_t(d)] =
                    1 + static_cast<int>(UNITS * (units(cell) + units(to)));
    while (find_levels()) {
        std::fill(m_next.begin(), m_next.end(), std::uint8_t{0});
        for (int cell = 0; cell < m_width * m_height; ++cell)
            if (m_role[std::size_t(cell)] == KEPT) push_from(cell);
    }
}
