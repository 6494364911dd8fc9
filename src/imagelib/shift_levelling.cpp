#include "imagelib/shift_levelling.h"

#include <algorithm>

namespace {

using simd::Pixel;

constexpr float LIGHT = 0.12F;  // differences of colour beyond which a seam counts less
constexpr int ROUNDS = 24, FIRST_ROUNDS = 160;
constexpr float HASTE = 1.6F;  // over-relaxation

constexpr int STEPS[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};

class Pieces {
  public:
    Pieces(const ShiftLevel& level, const ShiftMap& map) : m_level(level), m_map(map) {
        m_node_at.assign(map.labels.size(), -1);
        // Cells of one colour of a chessboard, then the others: none has a neighbour among its own.
        for (int colour = 0; colour < 2; ++colour) {
            for (int y = 0; y < level.height; ++y)
                for (int x = 0; x < level.width; ++x) {
                    if (((x + y) & 1) != colour || map.labels[level.at(x, y)] == 0) continue;
                    m_node_at[level.at(x, y)] = static_cast<int>(m_nodes.size());
                    m_nodes.push_back(Node{.x = x, .y = y});
                }
            if (colour == 0) m_second = static_cast<int>(m_nodes.size());
        }
        for_rows_float(static_cast<int>(m_nodes.size()), [&](int first, int last) {
            for (int n = first; n <= last; ++n) link(m_nodes[std::size_t(n)]);
        });
    }

    void begin(const ShiftLevel* coarse, const std::vector<ShiftMap::Label>& labels, const Levelling& added) {
        m_added.assign(m_nodes.size(), Pixel{});
        if (!coarse) return;
        for (std::size_t n = 0; n < m_nodes.size(); ++n) {
            const int x = m_nodes[n].x / 2, y = m_nodes[n].y / 2;
            const ShiftMap::Label label = m_map.labels[m_level.at(m_nodes[n].x, m_nodes[n].y)];
            // The next cell of the same piece.
            for (int k = -1; k < 4; ++k) {
                const int u = k < 0 ? x : x + STEPS[k][0], v = k < 0 ? y : y + STEPS[k][1];
                if (!coarse->inside(u, v) || labels[coarse->at(u, v)] != label) continue;
                m_added[n] = added[coarse->at(u, v)];
                break;
            }
        }
    }

    bool run(int rounds, const StopRequested& stop) {
        const int count = static_cast<int>(m_nodes.size());
        for (int round = 0; round < rounds && !wants_end(stop); ++round)
            for (const auto& [begin, end] : {std::pair{0, m_second}, {m_second, count}})
                for_rows_float(end - begin, [&, begin = begin](int first, int last) {
                    for (int n = begin + first; n <= begin + last; ++n) relax(std::size_t(n));
                });
        return !wants_end(stop);
    }

    void give(Levelling& added) const {
        added.assign(m_map.labels.size(), Pixel{});
        for (std::size_t n = 0; n < m_nodes.size(); ++n) added[m_level.at(m_nodes[n].x, m_nodes[n].y)] = m_added[n];
    }

  private:
    struct Node {
        int x, y;
        int neighbours[4] = {};  // nodes; -1: known, or nothing
        float weights[4] = {};
        Pixel steps{};       // what is wanted across the links, weighted
        float whole = 0.0F;  // of the weights
    };

    // What neighbour (u, v) brings more than this cell's own shift does, where both can be told.
    bool step_at(int x, int y, const Shift& a, const Shift& b, Pixel& sum) const {
        if (!m_level.known(x + a.x, y + a.y) || !m_level.known(x + b.x, y + b.y)) return false;
        sum += m_level.colours[m_level.at(x + b.x, y + b.y)] - m_level.colours[m_level.at(x + a.x, y + a.y)];
        return true;
    }
    void link(Node& node) const {
        const ShiftMap::Label label = m_map.labels[m_level.at(node.x, node.y)];
        const Shift own = m_map.shifts[std::size_t(label)];
        for (int d = 0; d < 4; ++d) {
            const int u = node.x + STEPS[d][0], v = node.y + STEPS[d][1];
            node.neighbours[d] = -1, node.weights[d] = 0.0F;
            if (!m_level.inside(u, v)) continue;
            const ShiftMap::Label other = m_map.labels[m_level.at(u, v)];
            node.neighbours[d] = m_node_at[m_level.at(u, v)];
            if (other == label) {
                node.weights[d] = 1.0F;
            } else {
                Pixel step{};
                const Shift& theirs = m_map.shifts[std::size_t(other)];
                const int told = step_at(node.x, node.y, own, theirs, step) + step_at(u, v, own, theirs, step);
                if (told == 0) continue;
                step *= 1.0F / static_cast<float>(told);
                step[3] = 0.0F;
                const Pixel squares = step * step;
                const float strange = 1.0F + ((squares[0] + squares[1]) + squares[2]) / (LIGHT * LIGHT);
                node.weights[d] = 1.0F / (strange * strange);
                node.steps += node.weights[d] * step;
            }
            node.whole += node.weights[d];
        }
    }
    void relax(std::size_t n) {
        const Node& node = m_nodes[n];
        if (node.whole == 0.0F) return;
        Pixel sum = node.steps;
        for (int d = 0; d < 4; ++d)
            if (node.neighbours[d] >= 0) sum += node.weights[d] * m_added[std::size_t(node.neighbours[d])];
        m_added[n] += HASTE * (sum / node.whole - m_added[n]);
    }

    const ShiftLevel& m_level;
    const ShiftMap& m_map;
    std::vector<int> m_node_at;
    std::vector<Node> m_nodes;
    std::vector<Pixel> m_added;
    int m_second = 0;
};

}  // namespace

bool level_pieces(const ShiftLevel& level, const ShiftMap& map, const ShiftLevel* coarse_level,
                  const std::vector<ShiftMap::Label>& coarse_labels, Levelling& added, const StopRequested& stop) {
    Pieces pieces(level, map);
    pieces.begin(coarse_level, coarse_labels, added);
    if (!pieces.run(coarse_level ? ROUNDS : FIRST_ROUNDS, stop)) return false;
    pieces.give(added);
    return true;
}
