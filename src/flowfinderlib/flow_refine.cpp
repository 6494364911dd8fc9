#include <vector>

#include "flowfinderlib/flow_finder.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr float RELAXATION = 1.7F;

class Refiner {
  public:
    Refiner(const FlowRefinement& r, const StopRequested& stop)
        : m_r(r),
          m_w(r.work),
          m_stop(stop),
          m_table(flow_refine()),
          m_width(r.first.grey.width),
          m_height(r.first.grey.height) {}

    bool run() {
        for (int warp = 0; warp < m_r.warps; ++warp) {
            if (wants_end(m_stop)) return false;
            warp_second();
            find_slopes();
            to_checkers();
            find_smoothness();
            build_systems();
            for (int n = 0; n < m_r.settings.num_iterations; ++n) sweep();
            from_checkers();
            for (int n = 0; n < m_r.settings.pf_filtrad; ++n) clean();
        }
        return !wants_end(m_stop);
    }

  private:
    template <class Work>
    void rows(Work&& work) {
        flow_rows(m_height, work);
    }

    void warp_second() {
        const FlowPlane& second = m_r.second.grey;
        rows([&](int y) {
            m_table.warp({m_r.first.grey.row(y), second.row(0), second.stride(), m_width, m_height, y, m_w.u.row(y),
                          m_w.v.row(y), m_w.mean.row(y), m_w.difference.row(y), m_w.inside.row(y)});
            m_w.mean.extend_row(y);
            m_w.difference.extend_row(y);
            const std::size_t count = std::size_t(m_width);
            std::copy_n(m_w.u.row(y), count, m_w.base_u.row(y));
            std::copy_n(m_w.v.row(y), count, m_w.base_v.row(y));
        });
        m_w.mean.extend_above_and_below();
        m_w.difference.extend_above_and_below();
    }

    void find_slopes() {
        rows([&](int y) {
            m_table.slopes({m_w.mean.row(y), m_w.difference.row(y), m_w.mean.stride(), m_width, m_w.mean_x.row(y),
                            m_w.mean_y.row(y), m_w.difference_x.row(y), m_w.difference_y.row(y)});
            m_w.mean_x.extend_row(y);
            m_w.mean_y.extend_row(y);
        });
        m_w.mean_x.extend_above_and_below();
        m_w.mean_y.extend_above_and_below();
    }

    void find_smoothness() {
        rows([&](int y) {
            m_w.u.row(y)[m_width] = m_w.u.row(y)[m_width - 1];
            m_w.v.row(y)[m_width] = m_w.v.row(y)[m_width - 1];
            m_table.smoothness(m_w.u.row(y), m_w.v.row(y), m_w.u.stride(), m_width, y == m_height - 1,
                               m_r.settings.smoothness, m_r.edge_scale * m_r.edge_scale, m_w.smoothness.row(y));
        });
    }

    void build_systems() {
        for_rows_float(m_height, [&](int first, int last) {
            std::vector<float> scratch(std::size_t(7 * (m_width + 2 * FLOW_BORDER)));
            for (int y = first; y <= last; ++y) {
                const FlowSystemRow row = {m_w.difference.row(y),
                                           m_w.inside.row(y),
                                           m_w.mean_x.row(y),
                                           m_w.mean_y.row(y),
                                           m_w.difference_x.row(y),
                                           m_w.difference_y.row(y),
                                           m_w.base_u.row(y),
                                           m_w.base_v.row(y),
                                           m_w.u.row(y),
                                           m_w.v.row(y),
                                           m_w.smoothness.row(y),
                                           m_w.mean.stride(),
                                           m_width,
                                           y == 0,
                                           y == m_height - 1,
                                           m_r.settings.lambda1,
                                           m_r.settings.lambda2,
                                           m_r.data_scale * m_r.data_scale};
                m_table.system(row, scratch.data(), system_of(m_w.even, y), system_of(m_w.odd, y));
            }
        });
    }
    static FlowSystem system_of(FlowCheckers& half, int y) {
        return {half.a12.row(y),      half.b1.row(y),    half.b2.row(y),   half.inverse1.row(y),
                half.inverse2.row(y), half.right.row(y), half.below.row(y)};
    }

    void to_checkers() {
        rows([&](int y) {
            m_w.u.extend_row(y);
            m_w.v.extend_row(y);
            m_table.split(m_w.u.row(y), m_width, m_w.even.u.row(y), m_w.odd.u.row(y));
            m_table.split(m_w.v.row(y), m_width, m_w.even.v.row(y), m_w.odd.v.row(y));
        });
    }
    void from_checkers() {
        rows([&](int y) {
            m_table.join(m_w.even.u.row(y), m_w.odd.u.row(y), m_width, m_w.u.row(y));
            m_table.join(m_w.even.v.row(y), m_w.odd.v.row(y), m_width, m_w.v.row(y));
        });
    }

    void sweep() {
        for (int colour = 0; colour < 2; ++colour)
            rows([&](int y) {
                const bool even = (y + colour) % 2 == 0;
                FlowCheckers &mine = even ? m_w.even : m_w.odd, &other = even ? m_w.odd : m_w.even;
                const int left = even ? -1 : 0;
                m_table.sweep({mine.a12.row(y),
                               mine.b1.row(y),
                               mine.b2.row(y),
                               mine.inverse1.row(y),
                               mine.inverse2.row(y),
                               mine.right.row(y),
                               mine.below.row(y),
                               mine.below.row(y - 1),
                               other.right.row(y) + left,
                               mine.u.row(y),
                               mine.v.row(y),
                               other.u.row(y) + left,
                               other.v.row(y) + left,
                               other.u.row(y) + left + 1,
                               other.v.row(y) + left + 1,
                               mine.u.row(y - 1),
                               mine.v.row(y - 1),
                               mine.u.row(y + 1),
                               mine.v.row(y + 1),
                               even ? (m_width + 1) / 2 : m_width / 2,
                               RELAXATION});
            });
    }

    void clean() {
        rows([&](int y) {
            m_w.u.extend_row(y);
            m_w.v.extend_row(y);
        });
        rows([&](int y) {
            const int above = std::max(y - 1, 0), below = std::min(y + 1, m_height - 1);
            m_table.median(m_w.u.row(above), m_w.u.row(y), m_w.u.row(below), m_width, m_w.base_u.row(y));
            m_table.median(m_w.v.row(above), m_w.v.row(y), m_w.v.row(below), m_width, m_w.base_v.row(y));
        });
        m_w.u.swap(m_w.base_u);
        m_w.v.swap(m_w.base_v);
    }

    const FlowRefinement& m_r;
    FlowWork& m_w;
    const StopRequested& m_stop;
    const FlowRefineTable& m_table;
    int m_width, m_height;
};

}  // namespace

bool FlowCheckers::make(int width, int height) {
    for (FlowPlane* plane : {&u, &v, &a12, &b1, &b2, &inverse1, &inverse2, &right, &below})
        if (!plane->make_clear((width + 1) / 2, height)) return false;
    return true;
}

bool FlowWork::make(int width, int height) {
    for (FlowPlane* plane : {&u, &v, &base_u, &base_v, &mean, &difference, &inside, &mean_x, &mean_y, &difference_x,
                             &difference_y, &smoothness})
        if (!plane->make_clear(width, height)) return false;
    return even.make(width, height) && odd.make(width, height);
}

bool flow_refine_level(const FlowRefinement& refinement, const StopRequested& stop) {
    return Refiner(refinement, stop).run();
}
