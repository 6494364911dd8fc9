#include "imagelib/shift_statistics.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_quilt.h"
#include "imagelib/shift_statistics_simd.h"

namespace {

constexpr int AROUND = 14;  // cells around the hole whose patches are compared
constexpr int BLOCK = 24;   // patches to a side of a block
constexpr float NOTHING = 1e30F;
constexpr float UNTOLD = 2e-4F;  // mean squared difference below which patches say nothing
constexpr float CELLS = (2 * SHIFT_PATCH + 1) * (2 * SHIFT_PATCH + 1);
constexpr int MOST_MORE = 48;  // shifts that are added for cells that would have none

QuiltBox hole_box(const ShiftLevel& level) {
    QuiltBox box{level.width, level.height, 0, 0};
    for (int y = 0; y < level.height; ++y)
        for (int x = 0; x < level.width; ++x) {
            if (level.known(x, y)) continue;
            box.left = std::min(box.left, x), box.right = std::max(box.right, x + 1);
            box.bottom = std::min(box.bottom, y), box.top = std::max(box.top, y + 1);
        }
    return box;
}

class Statistics {
  public:
    Statistics(const ShiftLevel& level, const ShiftSearch& search)
        : m_level(level), m_search(search), m_hole(hole_box(level)) {
        const int side = std::max(m_hole.width(), m_hole.height());
        m_reach = std::min(std::max(3 * side / 4, 8) + 20, std::max(level.width, level.height));
        m_side = 2 * m_reach + 1;
        lay_out();
        collect_blocks();
    }
    bool vote(const StopRequested& stop);
    void choose(std::vector<Shift>& shifts) const;
    void cover(std::vector<Shift>& shifts) const;

  private:
    void lay_out();
    void collect_blocks();
    bool target(int x, int y) const { return m_barred[at(x, y)] == 0.0F; }
    std::size_t at(int x, int y) const {
        return std::size_t(y + m_margin) * std::size_t(m_pitch) + std::size_t(x + m_margin);
    }
    Shift shift(int index) const { return {index % m_side - m_reach, index / m_side - m_reach}; }
    void compare(const QuiltBox& block, std::vector<int>& votes) const;
    template <class Work>
    void each_shift(const QuiltBox& block, const Work& work) const;
    int covered(const Shift& s, const std::vector<std::pair<int, int>>& cells) const;
    std::vector<std::pair<int, int>> hole_cells() const;

    const ShiftLevel& m_level;
    const ShiftSearch& m_search;
    const QuiltBox m_hole;
    int m_reach, m_side, m_margin = 0, m_pitch = 0;
    std::vector<float> m_planes[4], m_barred;
    std::vector<QuiltBox> m_blocks;
    std::vector<float> m_votes;  // for each shift
};

// Planes with room for every shift around them.
void Statistics::lay_out() {
    m_margin = m_reach + SHIFT_PATCH + 1;
    m_pitch = m_level.width + 2 * m_margin + SHIFT_SLACK;
    const auto room =
        std::size_t(m_pitch) * std::size_t(m_level.height + 2 * m_margin) + std::size_t(SHIFT_SLACK + BLOCK);
    for (auto& plane : m_planes) plane.assign(room, 0.0F);
    m_barred.assign(room, NOTHING);
    for (int y = 0; y < m_level.height; ++y)
        for (int x = 0; x < m_level.width; ++x) {
            for (int c = 0; c < 4; ++c) m_planes[c][at(x, y)] = m_level.colours[m_level.at(x, y)][c];
            bool whole = true;
            for (int v = -SHIFT_PATCH; v <= SHIFT_PATCH && whole; ++v)
                for (int u = -SHIFT_PATCH; u <= SHIFT_PATCH && whole; ++u) whole = m_level.source(x + u, y + v);
            if (whole) m_barred[at(x, y)] = 0.0F;
        }
}

// Around the hole's box, those with any patch.
void Statistics::collect_blocks() {
    const QuiltBox outer{std::max(m_hole.left - AROUND, 0), std::max(m_hole.bottom - AROUND, 0),
                         std::min(m_hole.right + AROUND, m_level.width), std::min(m_hole.top + AROUND, m_level.height)};
    for (int y = outer.bottom; y < outer.top; y += BLOCK)
        for (int x = outer.left; x < outer.right; x += BLOCK) {
            QuiltBox found{outer.right, outer.top, 0, 0};
            for (int v = y; v < std::min(y + BLOCK, outer.top); ++v)
                for (int u = x; u < std::min(x + BLOCK, outer.right); ++u) {
                    if (!target(u, v)) continue;
                    found.left = std::min(found.left, u), found.right = std::max(found.right, u + 1);
                    found.bottom = std::min(found.bottom, v), found.top = std::max(found.top, v + 1);
                }
            if (found.left < found.right) m_blocks.push_back(found);
        }
}

// The votes of a block's patches.
void Statistics::compare(const QuiltBox& block, std::vector<int>& votes) const {
    const int row = BLOCK + 2 * SHIFT_PATCH + SHIFT_SLACK, rows = block.height() + 2 * SHIFT_PATCH + 1;
    const auto working = std::size_t(row) * std::size_t(rows), results = std::size_t(row) * std::size_t(block.height());
    std::vector<float> scratch(working + 5 * results, 0.0F);
    float* least = scratch.data() + working;
    std::fill_n(least, results, NOTHING);
    float *sums = least + results, *counts = sums + results, *weights = counts + results, *limits = weights + results;
    const ShiftBlock task{{m_planes[0].data(), m_planes[1].data(), m_planes[2].data(), m_planes[3].data()},
                          m_barred.data(),
                          m_pitch,
                          static_cast<int>(at(block.left, block.bottom)),
                          block.width(),
                          block.height(),
                          scratch.data(),
                          row,
                          least,
                          sums,
                          counts,
                          weights,
                          limits};
    each_shift(block, [&](int, int offset) { shift_statistics_kernels().compare(task, offset); });
    std::fill_n(limits, results, 1.0F);
    for (int y = block.bottom; y < block.top; ++y)
        for (int x = block.left; x < block.right; ++x) {
            const auto from = std::size_t(y - block.bottom) * std::size_t(row) + std::size_t(x - block.left);
            if (!target(x, y) || counts[from] < 2.0F) continue;
            // What fits no better there than elsewhere has nothing to tell.
            const float mean = sums[from] / counts[from];
            const float telling = 1.0F - 1.5F * least[from] / (mean + UNTOLD * CELLS);
            const int dx = std::max({m_hole.left - x, x - m_hole.right, 0});
            const int dy = std::max({m_hole.bottom - y, y - m_hole.top, 0});
            const float near = 1.0F / (1.0F + 0.25F * static_cast<float>(std::max(dx, dy)));
            const float strong = mean / (mean + 0.002F * CELLS);
            weights[from] = std::max(telling, 0.0F) * near * strong;
            limits[from] = 1.5F * least[from] + UNTOLD * CELLS;
        }
    votes.assign(std::size_t(m_side) * std::size_t(m_side), 0);
    each_shift(block, [&](int index, int offset) {
        votes[std::size_t(index)] = shift_statistics_kernels().vote(task, offset);
    });
}

template <class Work>
void Statistics::each_shift(const QuiltBox& block, const Work& work) const {
    for (int index = 0; index < m_side * m_side; ++index) {
        const Shift s = shift(index);
        if (s.x * s.x + s.y * s.y < m_search.nearest * m_search.nearest) continue;
        if (block.right + s.x <= 0 || block.left + s.x >= m_level.width || block.top + s.y <= 0 ||
            block.bottom + s.y >= m_level.height)
            continue;
        work(index, s.y * m_pitch + s.x);
    }
}

// Patches vote for every shift at which they look about as well as they can, so that grain decides nothing. False when
// an end was asked for.
bool Statistics::vote(const StopRequested& stop) {
    std::vector<std::vector<int>> of_blocks(m_blocks.size());
    if (!each_task_float(
            static_cast<int>(m_blocks.size()), [&] { return wants_end(stop); }, [] { return 0; },
            [&](int, int n) { compare(m_blocks[std::size_t(n)], of_blocks[std::size_t(n)]); }))
        return false;
    std::vector<float> votes(std::size_t(m_side) * std::size_t(m_side), 0.0F);
    for (const std::vector<int>& own : of_blocks)
        for (std::size_t n = 0; n < votes.size(); ++n) {
            votes[n] += static_cast<float>(own[n]) / SHIFT_VOTE;
            // What looks alike there looks alike from there, too.
            votes[votes.size() - 1 - n] += static_cast<float>(own[n]) / SHIFT_VOTE;
        }
    m_votes.assign(votes.size(), 0.0F);
    constexpr float SHARES[3] = {0.5F, 1.0F, 0.5F};
    for (int y = 1; y < m_side - 1; ++y)
        for (int x = 1; x < m_side - 1; ++x)
            for (int v = -1; v <= 1; ++v)
                for (int u = -1; u <= 1; ++u)
                    m_votes[std::size_t(y * m_side + x)] +=
                        SHARES[u + 1] * SHARES[v + 1] * votes[std::size_t((y + v) * m_side + x + u)];
    return true;
}

std::vector<std::pair<int, int>> Statistics::hole_cells() const {
    std::vector<std::pair<int, int>> cells;
    for (int y = m_hole.bottom; y < m_hole.top; ++y)
        for (int x = m_hole.left; x < m_hole.right; ++x)
            if (!m_level.known(x, y)) cells.emplace_back(x, y);
    return cells;
}

int Statistics::covered(const Shift& s, const std::vector<std::pair<int, int>>& cells) const {
    return static_cast<int>(std::count_if(cells.begin(), cells.end(), [&](const auto& cell) {
        return m_level.source(cell.first + s.x, cell.second + s.y);
    }));
}

// The peaks of the votes, weighed by how much of the hole they serve.
void Statistics::choose(std::vector<Shift>& shifts) const {
    struct Peak {
        float weight;
        int index;
    };
    const auto cells = hole_cells();
    std::vector<Peak> peaks;
    for (int y = 1; y < m_side - 1; ++y)
        for (int x = 1; x < m_side - 1; ++x) {
            const int index = y * m_side + x;
            const float votes = m_votes[std::size_t(index)];
            if (!(votes > 0.0F)) continue;
            bool peak = true;
            for (int v = -1; v <= 1 && peak; ++v)
                for (int u = -1; u <= 1 && peak; ++u) {
                    const int other = index + v * m_side + u;
                    const float there = m_votes[std::size_t(other)];
                    peak = there < votes || (there == votes && other >= index);
                }
            if (!peak) continue;
            const Shift s = shift(index);
            const float share =
                static_cast<float>(covered(s, cells)) / static_cast<float>(std::max<std::size_t>(cells.size(), 1));
            if (share > 0.02F) peaks.push_back({votes * (0.2F + share), index});
        }
    std::sort(peaks.begin(), peaks.end(), [](const Peak& a, const Peak& b) {
        return a.weight != b.weight ? a.weight > b.weight : a.index < b.index;
    });
    if (peaks.size() > std::size_t(m_search.most)) peaks.resize(std::size_t(m_search.most));
    for (const Peak& peak : peaks) shifts.push_back(shift(peak.index));
}

// Shifts on a wide grid, the most useful one first, until every cell has one.
void Statistics::cover(std::vector<Shift>& shifts) const {
    std::vector<std::pair<int, int>> cells = hole_cells();
    const auto take = [&](const Shift& s) {
        std::erase_if(cells, [&](const auto& cell) { return m_level.source(cell.first + s.x, cell.second + s.y); });
    };
    for (const Shift& s : shifts) take(s);
    const int step_x = std::max(m_level.width / 12, 1), step_y = std::max(m_level.height / 12, 1);
    for (int n = 0; n < MOST_MORE && !cells.empty(); ++n) {
        Shift best;
        float most = 0.0F;
        for (int y = -11; y <= 11; ++y)
            for (int x = -11; x <= 11; ++x) {
                const Shift s{x * step_x, y * step_y};
                // Of those that serve as many cells, the shortest.
                const float worth = static_cast<float>(covered(s, cells)) -
                                    1e-3F * static_cast<float>(std::abs(s.x) + std::abs(s.y)) / float(m_reach);
                if (worth > most) most = worth, best = s;
            }
        if (!(most > 0.0F)) break;
        shifts.push_back(best);
        take(best);
    }
}

}  // namespace

bool find_shifts(const ShiftLevel& level, const ShiftSearch& search, std::vector<Shift>& shifts,
                 const StopRequested& stop) {
    Statistics statistics(level, search);
    if (!statistics.vote(stop)) return false;
    statistics.choose(shifts);
    statistics.cover(shifts);
    return true;
}
