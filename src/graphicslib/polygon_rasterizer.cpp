#include "graphicslib/polygon_rasterizer.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace {

constexpr int FARTHEST = (1 << 24) - 1;  // where floats stop telling pixels apart
constexpr int RUN = 256;                 // pixels of partial coverage worked out at a time
constexpr int SHORT_RUN = 16;            // pixels of a row that are drawn as one run

// Of what is not negative and below 2^31: without a call on processors of any age.
int floor_of(double value) { return static_cast<int>(value); }
int ceil_of(double value) {
    const int below = static_cast<int>(value);
    return below + (below < value ? 1 : 0);
}

}  // namespace

// The edges that are not level. A polygon that goes down once and up once has two chains of them, each from bottom to
// top and with the edge that has been reached; else all are in the first.
struct PolygonRasterizer::Polygon {
    struct Chain {
        const Edge *at, *end;
    };
    double x_low, x_high, y_low, y_high;
    const float* vertices;
    int count, floats;
    bool two_chains = false;
    std::size_t edge_count = 0;
    Chain chains[2]{};  // backwards, forwards from the lowest vertex
    const Edge *left_edge = nullptr, *right_edge = nullptr;
    double left_x = 0, right_x = 0;

    const float* vertex(int i) const { return vertices + std::ptrdiff_t(i) * floats; }
    int next(int i, int chain) const {
        if (chain == 1) return i + 1 == count ? 0 : i + 1;
        return i == 0 ? count - 1 : i - 1;
    }
    double y(int i) const { return double(vertex(i)[1]); }

    // Drops the edges that end below y_from.
    void advance(double y_from) {
        if (!two_chains) return;
        for (Chain& chain : chains)
            while (chain.at != chain.end && chain.at->top < y_from) ++chain.at;
    }

    // visit(edge, chain) for the edges that reach into low..high.
    template <class Visit>
    void for_edges(double low, double high, Visit&& visit) const {
        for (int c = 0; c < 2; ++c)
            for (const Edge* edge = chains[c].at; edge != chains[c].end; ++edge) {
                if (edge->y <= high && edge->top >= low)
                    visit(*edge, c);
                else if (two_chains && edge->y > high)
                    break;
            }
    }
};

void PolygonRasterizer::add_edge(Polygon& polygon, int i, int j, double sign) {
    const float *p = polygon.vertex(i), *q = polygon.vertex(j);
    if (!(p[1] < q[1])) return;
    Edge& edge = edges[polygon.edge_count++];
    edge.p = p, edge.q = q;
    edge.x = p[0], edge.y = p[1], edge.top = q[1];
    edge.width = double(q[0]) - p[0];
    edge.height = double(q[1]) - p[1];
    edge.slope = edge.width / edge.height;
    edge.low = std::min(p[0], q[0]), edge.high = std::max(p[0], q[0]);
    edge.sign = sign;
}

bool PolygonRasterizer::prepare(Polygon& polygon, int count, const float* vertices) {
    polygon.vertices = vertices;
    polygon.count = count;
    polygon.floats = vertex_floats;
    float x_low = vertices[0], x_high = x_low, y_low = vertices[1], y_high = y_low;
    int first = 0, last = 0;
    for (int i = 0; i < count; ++i) {
        const float* v = polygon.vertex(i);
        if (!std::isfinite(v[0]) || !std::isfinite(v[1])) return false;
        x_low = std::min(x_low, v[0]), x_high = std::max(x_high, v[0]);
        if (v[1] < y_low) y_low = v[1], first = i;
        if (v[1] > y_high) y_high = v[1], last = i;
    }
    polygon.x_low = x_low, polygon.x_high = x_high, polygon.y_low = y_low, polygon.y_high = y_high;
    if (x_high < static_cast<float>(left) || double(x_low) > right + 1.0 || y_high < static_cast<float>(bottom) ||
        double(y_low) > top + 1.0)
        return true;  // without edges, nothing is drawn
    try {
        if (edges.size() < std::size_t(count)) {
            edges.resize(std::size_t(count));
            crossings.resize(std::size_t(count));
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    polygon.two_chains = true;
    for (int chain = 0; chain < 2; ++chain) {
        const std::size_t start = polygon.edge_count;
        for (int i = first, j; i != last; i = j) {
            j = polygon.next(i, chain);
            polygon.two_chains &= polygon.y(i) <= polygon.y(j);
            add_edge(polygon, i, j, chain == 1 ? 1 : -1);
        }
        polygon.chains[chain] = {edges.data() + start, edges.data() + polygon.edge_count};
    }
    if (polygon.two_chains) return true;
    polygon.edge_count = 0;
    for (int i = 0; i < count; ++i) {
        const int j = polygon.next(i, 1);
        add_edge(polygon, i, j, 1);
        add_edge(polygon, j, i, -1);
    }
    polygon.chains[0] = {edges.data(), edges.data() + polygon.edge_count};
    polygon.chains[1] = {};
    return true;
}

bool PolygonRasterizer::set_bounds(int x0, int y0, int x1, int y1) {
    if (x0 > x1) std::swap(x0, x1);
    if (y0 > y1) std::swap(y0, y1);
    left = std::clamp(x0, 0, FARTHEST), right = std::clamp(x1, 0, FARTHEST);
    bottom = std::clamp(y0, 0, FARTHEST), top = std::clamp(y1, 0, FARTHEST);
    bounds_set = true;
    return true;
}

bool PolygonRasterizer::set_vertex_floats(int count) {
    if (count < 2 || count > 1024) return false;
    const std::size_t floats = 7 * std::size_t(count + 4);
    try {
        if (work.size() < floats) work.assign(floats, 0.0F);
    } catch (const std::bad_alloc&) {
        work = {};
        vertex_floats = 0;
        return false;
    }
    vertex_floats = count;
    return true;
}

bool PolygonRasterizer::set_mode(int mode) {
    if (mode != EXACT && mode != PLAIN) return false;
    polygon_mode = mode;
    return true;
}

bool PolygonRasterizer::draw_polygon(int count, const float* vertices, void* argument) {
    if (count < 3 || count > 1 << 24 || !vertices || !bounds_set || work.empty()) return false;
    Polygon polygon;
    if (!prepare(polygon, count, vertices)) return false;
    if (polygon.edge_count == 0) return true;
    if (polygon_mode == PLAIN) {
        draw_plain(polygon, argument);
        return true;
    }
    kernels = &raster::kernels();
    draw_exact(polygon, argument);
    return true;
}

// The outermost edges at a height; false when there are none.
bool PolygonRasterizer::edges_at(Polygon& polygon, double y) const {
    bool found = false;
    polygon.for_edges(y, y, [&](const Edge& edge, int) {
        const double x = edge.x + (y - edge.y) / edge.height * edge.width;
        if (!found || x < polygon.left_x) polygon.left_edge = &edge, polygon.left_x = x;
        if (!found || x > polygon.right_x) polygon.right_edge = &edge, polygon.right_x = x;
        found = true;
    });
    return found;
}

void PolygonRasterizer::set_edge(const Edge& edge, double y, float* values, float* step) const {
    const auto t = static_cast<float>((y - edge.y) / edge.height), scale = static_cast<float>(1 / edge.height);
    for (int k = 0; k < vertex_floats; ++k) {
        const float change = edge.q[k] - edge.p[k];
        values[k] = edge.p[k] + t * change;
        step[k] = scale * change;
    }
}

PolygonRasterizer::Span PolygonRasterizer::make_span(Polygon& polygon, double y, void* argument) {
    if (vertex_floats == 2) return {user, argument, 0, 0, -1, 0, 0, nullptr, nullptr, nullptr, nullptr, 0};
    const auto stride = std::ptrdiff_t(vertex_floats) + 4;
    float *start = work.data(), *change = start + stride, *end = change + stride, *left_step = end + stride;
    set_edge(*polygon.left_edge, y, start, left_step);
    set_edge(*polygon.right_edge, y, end, left_step + stride);
    for (int k = 0; k < vertex_floats; ++k) change[k] = end[k] - start[k];
    const double width = polygon.right_x - polygon.left_x;
    const auto x_start = static_cast<float>(polygon.left_x);
    const auto scale = width > 0 ? static_cast<float>(1 / width) : 1;
    return {user, argument, 0, 0, -1, x_start, scale, start, change, left_step, nullptr, vertex_floats};
}

void PolygonRasterizer::draw_plain(Polygon& polygon, void* argument) {
    const double first = std::max(std::ceil(polygon.y_low - 0.5), double(bottom));
    const double last = std::min(std::floor(polygon.y_high - 0.5), double(top));
    for (double y = first; y <= last; ++y) {
        polygon.advance(y + 0.5);
        if (!edges_at(polygon, y + 0.5)) continue;
        const double low = polygon.left_x - 0.5, high = polygon.right_x - 0.5;
        if (!(low <= right && high >= left)) continue;
        const int from = ceil_of(std::max(low, double(left))), to = floor_of(std::min(high, double(right)));
        if (from > to) continue;
        Span run = make_span(polygon, y + 0.5, argument);
        run.y = static_cast<int>(y);
        run.x0 = from;
        run.x1 = to;
        span(run);
    }
}

void PolygonRasterizer::draw_exact(Polygon& polygon, void* argument) {
    if (polygon.y_low == polygon.y_high) return;
    const double first = std::max(std::floor(polygon.y_low), double(bottom));
    const double last = std::min(std::ceil(polygon.y_high) - 1, double(top));
    for (double y = first; y <= last; ++y) {
        polygon.advance(y);
        exact_row(polygon, static_cast<int>(y), argument);
    }
}

// The pieces of edges within a row, and how far each chain reaches there.
int PolygonRasterizer::gather_crossings(Polygon& polygon, int y, Reach reach[2]) {
    const double low = y, high = y + 1.0;
    int count = 0;
    reach[0] = reach[1] = {INFINITY, -INFINITY};
    polygon.for_edges(low, high, [&](const Edge& edge, int chain) {
        const double y0 = std::max(low, edge.y), y1 = std::min(high, edge.top);
        const double x0 = std::clamp(edge.x + (y0 - edge.y) * edge.slope, edge.low, edge.high);
        const double x1 = std::clamp(edge.x + (y1 - edge.y) * edge.slope, edge.low, edge.high);
        reach[chain].low = std::min({reach[chain].low, x0, x1});
        reach[chain].high = std::max({reach[chain].high, x0, x1});
        if (!(y1 > y0)) return;
        const double change = x0 - x1;
        crossings[std::size_t(count++)] = {x0, x1, edge.sign * (y1 - y0), std::fabs(change) < 1e-7 ? 0 : 1 / change};
    });
    return count;
}

void PolygonRasterizer::exact_row(Polygon& polygon, int y, void* argument) {
    Reach reach[2];
    const int count = gather_crossings(polygon, y, reach);
    const double low = std::min(reach[0].low, reach[1].low), high = std::max(reach[0].high, reach[1].high);
    if (count == 0 || !(low < right + 1.0 && high > left)) return;
    const int x0 = floor_of(std::max(low, double(left))), x1 = ceil_of(std::min(high, right + 1.0)) - 1;
    if (x0 > x1) return;
    const double centre = std::clamp(y + 0.5, polygon.y_low, polygon.y_high);
    if (vertex_floats > 2 && !edges_at(polygon, centre)) return;
    Span run = make_span(polygon, centre, argument);
    run.y = y;
    // Between the two chains of a row that the polygon crosses from bottom to top, pixels are covered whole.
    int s0 = x1 + 1, s1 = x1;
    if (polygon.two_chains && polygon.y_low <= y && polygon.y_high >= y + 1.0) {
        const int near = reach[0].low < reach[1].low ? 0 : 1;
        s0 = ceil_of(std::clamp(reach[near].high, double(x0), x1 + 1.0));
        s1 = floor_of(std::clamp(reach[1 - near].low, double(x0), x1 + 1.0)) - 1;
    }
    if (x1 - x0 < SHORT_RUN) return short_run(run, x0, x1, s0, s1, count);
    if (s0 > s1) return covered_run(run, x0, x1, count);
    covered_run(run, x0, s0 - 1, count);
    run.x0 = s0;
    run.x1 = s1;
    run.coverage = nullptr;
    span(run);
    covered_run(run, s1 + 1, x1, count);
}

void PolygonRasterizer::short_run(Span run, int x0, int x1, int solid_from, int solid_to, int crossing_count) {
    float coverage[SHORT_RUN + raster::ROW_PADDING];
    kernels->cover(coverage, x0, x1 - x0 + 1, crossings.data(), crossing_count);
    for (int x = solid_from; x <= solid_to; ++x) coverage[x - x0] = 1;
    run.coverage = coverage;
    run.x0 = x0;
    run.x1 = x1;
    span(run);
}

void PolygonRasterizer::covered_run(Span run, int x0, int x1, int crossing_count) {
    float coverage[RUN + raster::ROW_PADDING];
    run.coverage = coverage;
    for (int x = x0; x <= x1; x += RUN) {
        const int pixels = std::min(RUN, x1 - x + 1);
        kernels->cover(coverage, x, pixels, crossings.data(), crossing_count);
        run.x0 = x;
        run.x1 = x + pixels - 1;
        span(run);
    }
}

void PolygonRasterizer::span(const Span& run) {
    const auto stride = std::ptrdiff_t(vertex_floats) + 4;
    float *values = work.data() + 5 * stride, *step = values + stride;
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
