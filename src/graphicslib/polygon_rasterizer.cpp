#include "graphicslib/polygon_rasterizer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "k7pi_baselib/in_memory.h"

namespace {

constexpr int FARTHEST = PolygonCoverage::FARTHEST;

// Of what is not negative and below 2^31: without a call on processors of any age.
int floor_of(double value) { return static_cast<int>(value); }
int ceil_of(double value) {
    const int below = static_cast<int>(value);
    return below + (below < value ? 1 : 0);
}

}  // namespace

bool PolygonRasterizer::set_bounds(int x0, int y0, int x1, int y1) {
    if (x0 > x1) std::swap(x0, x1);
    if (y0 > y1) std::swap(y0, y1);
    m_left = std::clamp(x0, 0, FARTHEST), m_right = std::clamp(x1, 0, FARTHEST);
    m_bottom = std::clamp(y0, 0, FARTHEST), m_top = std::clamp(y1, 0, FARTHEST);
    m_bounds_set = true;
    return true;
}

bool PolygonRasterizer::set_vertex_floats(int count) {
    if (count < 2 || count > 1024) return false;
    const std::size_t floats = 7 * std::size_t(count + 4);
    const bool room = in_memory([&] {
        if (m_work.size() < floats) m_work.assign(floats, 0.0F);
    });
    if (!room) m_work = {};
    m_vertex_floats = room ? count : 0;
    return room;
}

bool PolygonRasterizer::set_mode(int mode) {
    if (mode != EXACT && mode != PLAIN) return false;
    m_polygon_mode = mode;
    return true;
}

bool PolygonRasterizer::draw_polygon(int count, const float* vertices, void* argument) {
    if (count < 3 || count > 1 << 24 || !vertices || !m_bounds_set || m_work.empty()) return false;
    if (!m_polygon.set_polygon(count, vertices, m_vertex_floats, {m_left, m_bottom, m_right, m_top})) return false;
    if (m_polygon.empty()) return true;
    m_polygon_mode == PLAIN ? draw_plain(argument) : draw_exact(argument);
    return true;
}

void PolygonRasterizer::set_edge(const PolygonCoverage::Edge& edge, double y, float* values, float* step) const {
    const auto t = static_cast<float>((y - edge.y) / edge.height), scale = static_cast<float>(1 / edge.height);
    for (int k = 0; k < m_vertex_floats; ++k) {
        const float change = edge.q[k] - edge.p[k];
        values[k] = edge.p[k] + t * change;
        step[k] = scale * change;
    }
}

PolygonRasterizer::Span PolygonRasterizer::make_span(const PolygonCoverage::Outermost& sides, double y,
                                                     void* argument) {
    if (m_vertex_floats == 2) return {m_user, argument, 0, 0, -1, 0, 0, nullptr, nullptr, nullptr, nullptr, 0};
    const auto stride = std::ptrdiff_t(m_vertex_floats) + 4;
    float *start = m_work.data(), *change = start + stride, *end = change + stride, *left_step = end + stride;
    set_edge(*sides.left, y, start, left_step);
    set_edge(*sides.right, y, end, left_step + stride);
    for (int k = 0; k < m_vertex_floats; ++k) change[k] = end[k] - start[k];
    const double width = sides.right_x - sides.left_x;
    const auto x_start = static_cast<float>(sides.left_x);
    const auto scale = width > 0 ? static_cast<float>(1 / width) : 1;
    return {m_user, argument, 0, 0, -1, x_start, scale, start, change, left_step, nullptr, m_vertex_floats};
}

void PolygonRasterizer::draw_plain(void* argument) {
    const double first = std::max(std::ceil(m_polygon.lowest() - 0.5), double(m_bottom));
    const double last = std::min(std::floor(m_polygon.highest() - 0.5), double(m_top));
    PolygonCoverage::Outermost sides{};
    for (double y = first; y <= last; ++y) {
        m_polygon.advance(y + 0.5);
        if (!m_polygon.outermost(y + 0.5, sides)) continue;
        const double low = sides.left_x - 0.5, high = sides.right_x - 0.5;
        if (!(low <= m_right && high >= m_left)) continue;
        const int from = ceil_of(std::max(low, double(m_left))), to = floor_of(std::min(high, double(m_right)));
        if (from > to) continue;
        Span run = make_span(sides, y + 0.5, argument);
        run.y = static_cast<int>(y);
        run.x0 = from;
        run.x1 = to;
        span(run);
    }
}

void PolygonRasterizer::draw_exact(void* argument) {
    PolygonCoverage::Outermost sides{};
    Span run{};
    const auto begin_row = [&](int y) {
        const double centre = std::clamp(y + 0.5, m_polygon.lowest(), m_polygon.highest());
        if (m_vertex_floats > 2 && !m_polygon.outermost(centre, sides)) return false;
        run = make_span(sides, centre, argument);
        run.y = y;
        return true;
    };
    m_polygon.for_runs(begin_row, [&](const CoverageRun& covered) {
        run.x0 = covered.x0;
        run.x1 = covered.x1;
        run.coverage = covered.coverage;
        span(run);
    });
}

void PolygonRasterizer::span(const Span& run) {
    const auto stride = std::ptrdiff_t(m_vertex_floats) + 4;
    float *values = m_work.data() + 5 * stride, *step = values + stride;
    for (int k = 0; k < run.floats; ++k) step[k] = run.change[k] * run.scale;
    for (int x = run.x0; x <= run.x1; ++x) {
        const float coverage = run.coverage ? run.coverage[x - run.x0] : 1;
        if (coverage == 0) continue;
        if (run.floats == 0) {
            pixel(run.user, x, run.y, coverage, nullptr, 0, run.argument, nullptr, nullptr);
            continue;
        }
        const float t = parameter(run, x);
        for (int k = 0; k < run.floats; ++k) values[k] = run.start[k] + t * run.change[k];
        pixel(run.user, x, run.y, coverage, values, run.floats, run.argument, step, run.left_step);
    }
}
