// Exact coverage: for each pixel that a shape touches, the area of the shape within it, in closed form.
//
// Pixel (x, y) is the square from (x, y) to (x + 1, y + 1). The area is that of the polygon within the pixel for any
// polygon that does not overlap itself. Of several contours the areas are summed, counter-clockwise ones against
// clockwise ones, and the sum, taken without its sign, is limited to 1: contours that go round the same way give their
// union (where their edges cross inside a pixel, at most what both cover of it), a contour the other way round is a
// hole.
//
// Values follow from the shape and the pixel alone, never from the window: windows side by side give the coverage of
// one large window, to the bit, and so do all instruction sets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "imagelib/polygon_coverage_simd.h"

struct PixelWindow {
    int x0, y0, x1, y1;  // both ends inclusive; empty when crossed
};

// Pixels of one row that the shape reaches. `coverage` holds one value for each, 0 to 1; null: all are 1.
struct CoverageRun {
    int y, x0, x1;  // inclusive
    const float* coverage;
};

class PolygonCoverage {
  public:
    static constexpr int FARTHEST = (1 << 24) - 1;  // where floats stop telling pixels apart; windows are cut to it

    struct Edge {                     // not level
        const float *p, *q;           // lower and upper vertex
        double x, y, top;             // of p; height of q
        double width, height, slope;  // from p to q; width / height
        double low, high;             // in x
        double sign;                  // 1 where the polygon goes up along it, else -1
    };

    // One polygon: x, y and stride - 2 further floats a vertex, which stay where they are until the walk is over.
    // False for fewer than 3 vertices, coordinates that are not finite, and when memory runs out.
    bool set_polygon(int count, const float* vertices, int stride, const PixelWindow& window);

    // Several contours: begin, contours, then the walk. A contour that is refused as above leaves the others.
    void begin(const PixelWindow& window);
    bool add_contour(int count, const float* vertices, int stride);

    // Calls visit(const CoverageRun&) for rows upwards and runs from left to right, no pixel twice. A run's coverage
    // may hold zeros, and may be read raster_padding floats past its end.
    template <class Visit>
    void for_runs(Visit&& visit) {
        for_runs([](int) { return true; }, visit);
    }
    // Calls begin_row(y) before the runs of a row; false leaves the row out.
    template <class BeginRow, class Visit>
    void for_runs(BeginRow&& begin_row, Visit&& visit);

    // ---- For rasterisers that interpolate along edges -------------------------------------------------------------
    struct Outermost {
        const Edge *left, *right;
        double left_x, right_x;
    };
    bool empty() const { return m_edges.empty(); }  // nothing of the shape lies in the window
    double lowest() const { return m_y_low; }
    double highest() const { return m_y_high; }
    // Drops the edges that end below y: heights are asked for in rising order.
    void advance(double y);
    // The outermost edges at a height; false when none is there.
    bool outermost(double y, Outermost& result) const;

  private:
    struct Chain {
        std::size_t at, end;
    };
    struct Reach {  // in x
        double low, high;
    };
    static constexpr int RUN = 256;       // pixels of partial coverage worked out at a time
    static constexpr int SHORT_RUN = 16;  // pixels of a row that are handed out as one run

    // Of what lies within FARTHEST: without a call on processors of any age.
    static int pixel_below(double value) {
        const int cut = static_cast<int>(value);
        return cut - (cut > value ? 1 : 0);
    }
    bool widen(int count, const float* vertices, int stride, int& lowest, int& highest);
    void add_edge(const float* p, const float* q, double sign);
    void add_ring(int count, const float* vertices, int stride);
    void sort_edges();
    bool plan_row(int y);
    int gather_crossings(int y, Reach reach[2]);
    template <class Visit>
    void for_edges(double low, double high, Visit&& visit) const;
    template <class Visit>
    void partial_run(int y, int x0, int x1, Visit&& visit);
    // Rows of many edges: from one group of edges that lie close together to the next, without what lies between.
    struct Piece {
        int first, last;  // pixels that the crossing runs through
        coverage::Crossing crossing;
    };
    struct Group {
        int x0, x1;    // pixels, inside the window; empty when crossed
        int next;      // where the next group begins, or the window ends
        float beyond;  // the coverage of the pixels between x1 and it
    };
    static constexpr int MANY_CROSSINGS = 6;
    void begin_groups();
    bool next_group(Group& group);
    template <class Visit>
    void sparse_row(int y, Visit&& visit);

    const coverage::Kernels* m_kernels = nullptr;
    PixelWindow m_window{0, 0, -1, -1};
    double m_x_low = 0, m_x_high = 0, m_y_low = 0, m_y_high = 0;
    // The edges from bottom to top. A polygon that goes down once and up once has two chains of them, with the edge
    // that has been reached in each; else all are in the first, sorted by where they begin.
    std::vector<Edge> m_edges;
    std::vector<coverage::Crossing> m_crossings;
    Chain m_chains[2]{};
    bool m_two_chains = false, m_sorted = false;
    // The row that is planned: from x0 to x1, and within it the pixels that are covered whole
    std::vector<Piece> m_pieces;
    std::vector<std::int64_t> m_changes;
    std::vector<float> m_values;
    std::size_t m_next_piece = 0;
    std::int64_t m_sum = 0;
    int m_crossing_count = 0, m_x0 = 0, m_x1 = -1, m_solid0 = 0, m_solid1 = -1;
};

template <class Visit>
void PolygonCoverage::partial_run(int y, int x0, int x1, Visit&& visit) {
    float values[RUN + coverage::PADDING];
    for (int x = x0; x <= x1; x += RUN) {
        const int pixels = x1 - x + 1 < RUN ? x1 - x + 1 : RUN;
        m_kernels->cover(values, x, pixels, m_crossings.data(), m_crossing_count);
        visit(CoverageRun{y, x, x + pixels - 1, values});
    }
}

template <class Visit>
void PolygonCoverage::sparse_row(int y, Visit&& visit) {
    begin_groups();
    Group group;
    while (next_group(group)) {
        if (group.x0 <= group.x1) visit(CoverageRun{y, group.x0, group.x1, m_values.data()});
        const int from = group.x1 + 1, to = group.next - 1;
        if (from > to || group.beyond == 0) continue;
        if (group.beyond == 1) {
            visit(CoverageRun{y, from, to, nullptr});
            continue;
        }
        m_values.assign(static_cast<std::size_t>(to - from + 1 + coverage::PADDING), group.beyond);
        visit(CoverageRun{y, from, to, m_values.data()});
    }
}

template <class BeginRow, class Visit>
void PolygonCoverage::for_runs(BeginRow&& begin_row, Visit&& visit) {
    if (empty() || m_y_low == m_y_high) return;
    sort_edges();
    m_kernels = &coverage::kernels();
    const int first = m_y_low > m_window.y0 ? pixel_below(m_y_low) : m_window.y0;
    for (int y = first; y <= m_window.y1 && y < m_y_high; ++y) {
        advance(y);
        if (!plan_row(y) || !begin_row(y)) continue;
        if (m_crossing_count > MANY_CROSSINGS && !m_two_chains) {
            sparse_row(y, visit);
            continue;
        }
        if (m_x1 - m_x0 < SHORT_RUN) {
            float values[SHORT_RUN + coverage::PADDING];
            m_kernels->cover(values, m_x0, m_x1 - m_x0 + 1, m_crossings.data(), m_crossing_count);
            for (int x = m_solid0; x <= m_solid1; ++x) values[x - m_x0] = 1;
            visit(CoverageRun{y, m_x0, m_x1, values});
            continue;
        }
        if (m_solid0 > m_solid1) {
            partial_run(y, m_x0, m_x1, visit);
            continue;
        }
        partial_run(y, m_x0, m_solid0 - 1, visit);
        visit(CoverageRun{y, m_solid0, m_solid1, nullptr});
        partial_run(y, m_solid1 + 1, m_x1, visit);
    }
}
