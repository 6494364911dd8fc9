#include "flowfinderlib/flow_far.h"

#include <algorithm>

namespace {

constexpr std::size_t MOST_LOST = 4;  // one patch of so many; where more are lost, the pictures have little in common

// What the search does where patches overlap: each mark is of whole pixels of the second picture.
void mark(std::vector<unsigned char>& marks, int width, int left, int top, int side) {
    for (int y = top; y < top + side; ++y)
        std::fill_n(marks.data() + std::size_t(y) * std::size_t(width) + std::size_t(left), side,
                    static_cast<unsigned char>(1));
}

// Marks the places of all patches that fit. The number of those that do not; what has left the picture is not lost.
std::size_t claim_places(FlowSearch& s, std::vector<unsigned char>& claimed) {
    constexpr int EDGE = (FLOW_PATCH - FLOW_GRID) / 2;
    const auto last_x = static_cast<float>(s.width - FLOW_PATCH), last_y = static_cast<float>(s.height - FLOW_PATCH);
    std::size_t lost = 0, at = 0;
    for (int row = 0; row < s.rows; ++row)
        for (int column = 0; column < s.columns; ++column, ++at) {
            const float x = static_cast<float>(flow_patch_corner(column, s.width)) + s.patch_u[at];
            const float y = static_cast<float>(flow_patch_corner(row, s.height)) + s.patch_v[at];
            if (!flow_patch_is_lost(s.patch_error[at]))
                mark(claimed, s.width, static_cast<int>(std::clamp(x + 0.5F, 0.0F, last_x)) + EDGE,
                     static_cast<int>(std::clamp(y + 0.5F, 0.0F, last_y)) + EDGE, FLOW_GRID);
            else if (x < 0.0F || y < 0.0F || x > last_x || y > last_y)
                s.patch_error[at] = 0.0F;
            else
                ++lost;
        }
    return lost;
}

template <class Work>
void each_marked(const FlowWork& work, Work&& what) {
    if (work.far.empty()) return;
    std::size_t at = 0;
    for (int y = 0; y < work.u.height; ++y)
        for (int x = 0; x < work.u.width; ++x, ++at)
            if (work.far[at]) what(x, y);
}

}  // namespace

void flow_look_far(FlowSearch& s, FlowWork& work, const StopRequested& stop) {
    const FlowSearchTable& table = flow_search();
    const auto each_row = [&](auto what) {
        for_rows_float(s.rows, [&](int from, int to) {
            for (int y = from; y <= to && !wants_end(stop); ++y) what(s, y);
        });
    };
    work.patch_error.assign(work.patch_u.size(), 0.0F);
    work.claimed.assign(std::size_t(s.width) * std::size_t(s.height), 0);
    s.patch_error = work.patch_error.data();
    s.claimed = work.claimed.data();
    each_row(table.judge_row);
    const std::size_t lost = claim_places(s, work.claimed);
    if (lost == 0 || lost > work.patch_error.size() / MOST_LOST) return;
    each_row(table.look_far_row);
    std::size_t at = 0;
    for (int row = 0; row < s.rows; ++row)
        for (int column = 0; column < s.columns; ++column, ++at) {
            if (s.patch_error[at] != FLOW_FOUND_FAR) continue;
            if (work.far.empty()) work.far.assign(work.claimed.size(), 0);
            mark(work.far, s.width, flow_patch_corner(column, s.width), flow_patch_corner(row, s.height), FLOW_PATCH);
        }
}

void flow_keep_far(const FlowWork* coarser, FlowWork& work) {
    work.far.clear();
    if (!coarser || coarser->far.empty()) return;
    work.far.resize(std::size_t(work.u.width) * std::size_t(work.u.height));
    std::size_t at = 0;
    for (int y = 0; y < work.u.height; ++y)
        for (int x = 0; x < work.u.width; ++x, ++at)
            work.far[at] = coarser->far[std::size_t(y / 2) * std::size_t(coarser->u.width) + std::size_t(x / 2)];
}

FlowFarStart::FlowFarStart(const FlowWork& work) {
    each_marked(work, [&](int x, int y) {
        m_u.push_back(work.u.row(y)[x]);
        m_v.push_back(work.v.row(y)[x]);
    });
}

void FlowFarStart::hold(FlowWork& work, float drift) const {
    std::size_t n = 0;
    each_marked(work, [&](int x, int y) {
        float &u = work.u.row(y)[x], &v = work.v.row(y)[x];
        u = std::clamp(u, m_u[n] - drift, m_u[n] + drift);
        v = std::clamp(v, m_v[n] - drift, m_v[n] + drift);
        ++n;
    });
}
