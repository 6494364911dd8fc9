#include "flowfinderlib/flow_finder.h"
#include "flowfinderlib/flow_search_simd.h"

namespace {

constexpr int TRIALS[][2] = {{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};

}  // namespace

void flow_sharpen_edges(const FlowGrey& first, const FlowGrey& second, FlowWork& work, int reach) {
    const int width = first.grey.width, height = first.grey.height;
    const FlowSearchTable& table = flow_search();
    flow_rows(height, [&](int y) {
        std::copy_n(work.u.row(y), width, work.base_u.row(y));
        std::copy_n(work.v.row(y), width, work.base_v.row(y));
        work.base_u.extend_row(y);
        work.base_v.extend_row(y);
    });
    FlowPlane &misfit = work.difference, &best = work.mean;  // free until the refinement
    for (const auto& [column, row] : TRIALS) {
        const int dx = reach * column, dy = reach * row;
        const auto moved = [&](const FlowPlane& plane, int y) {
            return plane.row(std::clamp(y + dy, 0, height - 1)) + dx;
        };
        flow_rows(height, [&](int y) {
            table.try_row({first.grey.row(y), second.grey.row(0), moved(work.base_u, y), moved(work.base_v, y),
                           second.grey.stride(), width, height, y},
                          misfit.row(y));
            misfit.extend_row(y);
        });
        flow_rows(height, [&](int y) {
            const auto line = [&](int n) { return misfit.row(std::clamp(y + n, 0, height - 1)); };
            table.choose_row({{line(-2), line(-1), line(0), line(1), line(2)},
                              moved(work.base_u, y),
                              moved(work.base_v, y),
                              width,
                              dx == 0 && dy == 0,
                              best.row(y),
                              work.u.row(y),
                              work.v.row(y)});
        });
    }
}
