#include "graphicslib/polygon_rasterizer.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace {

constexpr int FARTHEST = (1 << 24) - 1;  // where floats stop telling pixels apart
constexpr int RUN = 256;                 // pixels of partial coverage worked out at a time

// The integral of clamp(u, 0, 1).
double ramp_integral(double u) {
    const double c = u < 0 ? 0 : (u < 1 ? u : 1);
    return 0.5 * c * c + (u > 1 ? u - 1 : 0);
}

// Adds, for pixels first, first + 1, ..., the area right of an edge segment within the pixel's column: the mean of how
// far the column's far side lies beyond the segment, limited to the column, times the segment's height.
void add_area(double* areas, int count, double first, double x0, double x1, double height) {
    const double change = x0 - x1;
    if (std::fabs(change) < 1e-7) {  // where the quotient below would lose its digits; the middle is off by 1e-8
        const double middle = 0.5 * (x0 + x1);
        for (int i = 0; i < count; ++i) {
            const double u = first + i + 1 - middle;
            areas[i] += height * (u < 0 ? 0 : (u < 1 ? u : 1));
        }
        return;
    }
    const double scale = 1 / change, low = std::min(x0, x1), high = std::max(x0, x1);
    for (int i = 0; i < count; ++i) {
        const double u = first + i + 1;
        const double mean = (ramp_integral(u - x1) - ramp_integral(u - x0)) * scale;
        areas[i] += height * (u - high >= 1 ? 1 : (u - low <= 0 ? 0 : mean));
    }
}

}  // namespace

// The vertices and, for a polygon that goes down once and up once, where both chains from its first vertex have got to.
struct PolygonRasterizer::Polygon {
    struct Chain {
        int at = 0, left = 0;  // vertex that the current edge starts at; edges not passed yet
    };
    const float* vertices;
    int count, floats;
    double x_low, x_high, y_low, y_high;
    bool two_chains = false;
    Chain chains[2];  // backwards, forwards
    struct Edge {
        const float* p;
        const float* q;
        double x;
    };
    Edge left_edge{}, right_edge{};

    const float* vertex(int i) const { return vertices + std::ptrdiff_t(i) * floats; }
    int next(int i, int chain) const {
        if (chain == 1) return i + 1 == count ? 0 : i + 1;
        return i == 0 ? count - 1 : i - 1;
    }
    double y(int i) const { return vertex(i)[1]; }

    bool prepare() {
        x_low = x_high = vertices[0], y_low = y_high = vertices[1];
        int first = 0, last = 0;
        for (int i = 0; i < count; ++i) {
            const float* v = vertex(i);
            if (!std::isfinite(v[0]) || !std::isfinite(v[1])) return false;
            x_low = std::min(x_low, double(v[0])), x_high = std::max(x_high, double(v[0]));
            if (v[1] < y_low) y_low = v[1], first = i;
            if (v[1] > y_high) y_high = v[1], last = i;
        }
        two_chains = true;
        for (int chain = 0; chain < 2; ++chain) {
            chains[chain].at = first;
            for (int i = first; i != last; i = next(i, chain)) {
                two_chains &= y(i) <= y(next(i, chain));
                ++chains[chain].left;
            }
        }
        return true;
    }

    // Drops the edges that end below y_from.
    void advance(double y_from) {
        if (!two_chains) return;
        for (int c = 0; c < 2; ++c)
            while (chains[c].left > 0 && y(next(chains[c].at, c)) < y_from) {
                chains[c].at = next(chains[c].at, c);
                --chains[c].left;
            }
    }

    // visit(lower vertex, upper vertex, sign, chain) for the edges that reach into low..high; level edges do not count.
    template <class Visit>
    void for_edges(double low, double high, Visit&& visit) const {
        if (two_chains) {
            for (int c = 0; c < 2; ++c) {
                int i = chains[c].at;
                for (int left = chains[c].left; left > 0 && y(i) <= high; --left, i = next(i, c)) {
                    const int j = next(i, c);
                    if (y(i) < y(j) && y(j) >= low) visit(vertex(i), vertex(j), c == 1 ? 1 : -1, c);
                }
            }
            return;
        }
        for (int i = 0; i < count; ++i) {
            const int j = next(i, 1);
            const bool up = y(i) < y(j);
            const int a = up ? i : j, b = up ? j : i;
            if (y(a) < y(b) && y(a) <= high && y(b) >= low) visit(vertex(a), vertex(b), up ? 1 : -1, 0);
        }
    }
};

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
    if (count == vertex_floats) return true;
    try {
        work.assign(7 * std::size_t(count + 4), 0.0F);
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
    polygon.vertices = vertices;
    polygon.count = count;
    polygon.floats = vertex_floats;
    if (!polygon.prepare()) return false;
    if (polygon.x_high < left || polygon.x_low > right + 1.0 || polygon.y_high < bottom || polygon.y_low > top + 1.0)
        return true;
    if (polygon_mode == PLAIN) {
        draw_plain(polygon, argument);
        return true;
    }
    if (segments.size() < std::size_t(count)) {
        try {
            segments.resize(std::size_t(count));
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    draw_exact(polygon, argument);
    return true;
}

// The outermost edges at a height; false when there are none.
bool PolygonRasterizer::edges_at(Polygon& polygon, double y) {
    bool found = false;
    polygon.for_edges(y, y, [&](const float* p, const float* q, int, int) {
        const double x = p[0] + (y - p[1]) / (double(q[1]) - p[1]) * (double(q[0]) - p[0]);
        if (!found || x < polygon.left_edge.x) polygon.left_edge = {p, q, x};
        if (!found || x > polygon.right_edge.x) polygon.right_edge = {p, q, x};
        found = true;
    });
    return found;
}

void PolygonRasterizer::set_edge(const float* p, const float* q, double y, float* values, float* step) const {
    const double height = double(q[1]) - p[1];
    const auto t = static_cast<float>((y - p[1]) / height), scale = static_cast<float>(1 / height);
    for (int k = 0; k < vertex_floats; ++k) {
        const float change = q[k] - p[k];
        values[k] = p[k] + t * change;
        step[k] = scale * change;
    }
}

PolygonRasterizer::Span PolygonRasterizer::make_span(Polygon& polygon, double y, void* argument) {
    const auto stride = std::ptrdiff_t(vertex_floats) + 4;
    float *start = work.data(), *change = start + stride, *end = change + stride, *left_step = end + stride;
    set_edge(polygon.left_edge.p, polygon.left_edge.q, y, start, left_step);
    set_edge(polygon.right_edge.p, polygon.right_edge.q, y, end, left_step + stride);
    for (int k = 0; k < vertex_floats; ++k) change[k] = end[k] - start[k];
    const double width = polygon.right_edge.x - polygon.left_edge.x;
    const auto x_start = static_cast<float>(polygon.left_edge.x);
    const auto scale = width > 0 ? static_cast<float>(1 / width) : 1;
    return {user, argument, 0, 0, -1, x_start, scale, start, change, left_step, nullptr, vertex_floats};
}

void PolygonRasterizer::draw_plain(Polygon& polygon, void* argument) {
    const double first = std::max(std::ceil(polygon.y_low - 0.5), double(bottom));
    const double last = std::min(std::floor(polygon.y_high - 0.5), double(top));
    for (double y = first; y <= last; ++y) {
        polygon.advance(y + 0.5);
        if (!edges_at(polygon, y + 0.5)) continue;
        const double from = std::max(std::ceil(polygon.left_edge.x - 0.5), double(left));
        const double to = std::min(std::floor(polygon.right_edge.x - 0.5), double(right));
        if (!(from <= to)) continue;
        Span run = make_span(polygon, y + 0.5, argument);
        run.y = static_cast<int>(y);
        run.x0 = static_cast<int>(from);
        run.x1 = static_cast<int>(to);
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
int PolygonRasterizer::gather_segments(Polygon& polygon, int y, Reach reach[2]) {
    const double low = y, high = y + 1.0;
    int count = 0;
    reach[0] = reach[1] = {INFINITY, -INFINITY};
    polygon.for_edges(low, high, [&](const float* p, const float* q, int sign, int chain) {
        const double y0 = std::max(low, double(p[1])), y1 = std::min(high, double(q[1]));
        const double slope = (double(q[0]) - p[0]) / (double(q[1]) - p[1]);
        const double x_low = std::min(p[0], q[0]), x_high = std::max(p[0], q[0]);
        const double x0 = std::clamp(p[0] + (y0 - p[1]) * slope, x_low, x_high);
        const double x1 = std::clamp(p[0] + (y1 - p[1]) * slope, x_low, x_high);
        reach[chain].low = std::min({reach[chain].low, x0, x1});
        reach[chain].high = std::max({reach[chain].high, x0, x1});
        if (y1 > y0) segments[std::size_t(count++)] = {x0, x1, sign * (y1 - y0)};
    });
    return count;
}

void PolygonRasterizer::exact_row(Polygon& polygon, int y, void* argument) {
    Reach reach[2];
    const int count = gather_segments(polygon, y, reach);
    const double low = std::min(reach[0].low, reach[1].low), high = std::max(reach[0].high, reach[1].high);
    const double from = std::max(std::floor(low), double(left)), to = std::min(std::ceil(high) - 1, double(right));
    const double centre = std::clamp(y + 0.5, polygon.y_low, polygon.y_high);
    if (count == 0 || !(from <= to) || !edges_at(polygon, centre)) return;
    Span run = make_span(polygon, centre, argument);
    run.y = y;
    const int x0 = static_cast<int>(from), x1 = static_cast<int>(to);
    // Between the two chains of a row that the polygon crosses from bottom to top, pixels are covered whole.
    double solid_from = to + 1, solid_to = to;
    if (polygon.two_chains && polygon.y_low <= y && polygon.y_high >= y + 1.0) {
        const int near = reach[0].low < reach[1].low ? 0 : 1;
        solid_from = std::clamp(std::ceil(reach[near].high), from, to + 1);
        solid_to = std::min(std::floor(reach[1 - near].low) - 1, to);
    }
    if (!(solid_from <= solid_to)) {
        covered_run(run, x0, x1, count);
        return;
    }
    const int s0 = static_cast<int>(solid_from), s1 = static_cast<int>(solid_to);
    covered_run(run, x0, s0 - 1, count);
    run.x0 = s0;
    run.x1 = s1;
    span(run);
    covered_run(run, s1 + 1, x1, count);
}

void PolygonRasterizer::covered_run(Span run, int x0, int x1, int count) {
    double areas[RUN];
    float coverage[RUN];
    run.coverage = coverage;
    for (int x = x0; x <= x1; x += RUN) {
        const int pixels = std::min(RUN, x1 - x + 1);
        std::fill_n(areas, pixels, 0.0);
        for (int s = 0; s < count; ++s) {
            const Segment& segment = segments[std::size_t(s)];
            add_area(areas, pixels, x, segment.x0, segment.x1, segment.height);
        }
        for (int i = 0; i < pixels; ++i) {
            const double area = std::min(std::fabs(areas[i]), 1.0);
            coverage[i] = area > 1e-12 ? static_cast<float>(area) : 0;  // below: what rounding leaves of nothing
        }
        run.x0 = x;
        run.x1 = x + pixels - 1;
        span(run);
    }
}

void PolygonRasterizer::span(const Span& run) {
    const auto stride = std::ptrdiff_t(vertex_floats) + 4;
    float *values = work.data() + 5 * stride, *step = values + stride;
    for (int k = 0; k < vertex_floats; ++k) step[k] = run.change[k] * run.scale;
    for (int x = run.x0; x <= run.x1; ++x) {
        const float coverage = run.coverage ? run.coverage[x - run.x0] : 1;
        if (coverage == 0) continue;
        const float t = parameter(run, x);
        for (int k = 0; k < vertex_floats; ++k) values[k] = run.start[k] + t * run.change[k];
        pixel(run.user, x, run.y, coverage, values, vertex_floats, run.argument, step, run.left_step);
    }
}
