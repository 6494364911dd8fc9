#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_coverage.h"
#include "k7pi_baselib/in_memory.h"
#include "simdlib/cpu.h"

void PolygonCoverage::begin(const PixelWindow& window) {
    const auto within = [](int place) { return std::clamp(place, -FARTHEST, FARTHEST); };
    m_window = {within(window.x0), within(window.y0), within(window.x1), within(window.y1)};
    m_x_low = m_y_low = INFINITY;
    m_x_high = m_y_high = -INFINITY;
    m_count = 0;
    m_chains[0] = m_chains[1] = {};
    m_two_chains = m_sorted = false;
}

// Takes a contour into the bounds, and finds its lowest and highest vertex. False when a coordinate is not finite.
bool PolygonCoverage::widen(int count, const float* vertices, int stride, int& lowest, int& highest) {
    float x_low = vertices[0], x_high = x_low, y_low = vertices[1], y_high = y_low;
    lowest = highest = 0;
    for (int i = 0; i < count; ++i) {
        const float* v = vertices + std::ptrdiff_t(i) * stride;
        if (!std::isfinite(v[0]) || !std::isfinite(v[1])) return false;
        x_low = std::min(x_low, v[0]), x_high = std::max(x_high, v[0]);
        if (v[1] < y_low) y_low = v[1], lowest = i;
        if (v[1] > y_high) y_high = v[1], highest = i;
    }
    m_x_low = std::min(m_x_low, double(x_low)), m_x_high = std::max(m_x_high, double(x_high));
    m_y_low = std::min(m_y_low, double(y_low)), m_y_high = std::max(m_y_high, double(y_high));
    return true;
}

void PolygonCoverage::add_edge(const float* p, const float* q, double sign) {
    if (!(p[1] < q[1])) return;
    if (m_count == m_edges.size()) m_edges.resize(std::max<std::size_t>(2 * m_count, 16));
    Edge& edge = m_edges[m_count++];
    edge.p = p, edge.q = q;
    edge.x = p[0], edge.y = p[1], edge.top = q[1];
    edge.width = double(q[0]) - p[0];
    edge.height = double(q[1]) - p[1];
    edge.slope = edge.width / edge.height;
    edge.low = std::min(p[0], q[0]), edge.high = std::max(p[0], q[0]);
    edge.sign = sign;
}

// Without the edges that end below the window or begin above it, which change nothing within it.
void PolygonCoverage::add_ring(int count, const float* vertices, int stride) {
    const auto low = static_cast<float>(m_window.y0), high = static_cast<float>(m_window.y1) + 1;
    for (int i = 0; i < count; ++i) {
        const float* p = vertices + std::ptrdiff_t(i) * stride;
        const float* q = vertices + std::ptrdiff_t(i + 1 == count ? 0 : i + 1) * stride;
        if ((p[1] < low && q[1] < low) || (p[1] > high && q[1] > high)) continue;
        add_edge(p, q, 1);
        add_edge(q, p, -1);
    }
}

bool PolygonCoverage::set_polygon(int count, const float* vertices, int stride, const PixelWindow& window) {
    begin(window);
    int lowest, highest;
    if (count < 3 || !vertices || !widen(count, vertices, stride, lowest, highest)) return false;
    if (m_x_high < m_window.x0 || m_x_low > m_window.x1 + 1.0 || m_y_high < m_window.y0 || m_y_low > m_window.y1 + 1.0)
        return true;
    const bool room = in_memory([&] {
        if (m_edges.size() < std::size_t(count)) m_edges.resize(std::size_t(count));
        if (m_crossings.size() < std::size_t(count)) m_crossings.resize(std::size_t(count));
    });
    if (!room) return false;
    const auto vertex = [&](int i) { return vertices + std::ptrdiff_t(i) * stride; };
    m_two_chains = true;
    for (int chain = 0; chain < 2; ++chain) {  // backwards, then forwards
        const std::size_t start = m_count;
        for (int i = lowest, j; i != highest; i = j) {
            j = chain == 1 ? (i + 1 == count ? 0 : i + 1) : (i == 0 ? count - 1 : i - 1);
            m_two_chains &= vertex(i)[1] <= vertex(j)[1];
            add_edge(vertex(i), vertex(j), chain == 1 ? 1 : -1);
        }
        m_chains[chain] = {start, m_count};
    }
    if (m_two_chains) return true;
    m_count = 0;
    add_ring(count, vertices, stride);
    return true;
}

bool PolygonCoverage::add_contour(int count, const float* vertices, int stride) {
    int lowest, highest;
    if (count < 3 || !vertices) return false;
    const double bounds[4] = {m_x_low, m_x_high, m_y_low, m_y_high};
    const std::size_t before = m_count;
    const bool added = in_memory([&] {
        if (!widen(count, vertices, stride, lowest, highest)) return false;
        add_ring(count, vertices, stride);
        return true;
    });
    if (added) return true;
    m_count = before;
    m_x_low = bounds[0], m_x_high = bounds[1], m_y_low = bounds[2], m_y_high = bounds[3];
    return false;
}

// Edges that are no chains: by where they begin; those that begin level keep their order.
void PolygonCoverage::sort_edges() {
    if (m_two_chains || m_sorted) return;
    std::stable_sort(m_edges.begin(), m_edges.begin() + static_cast<std::ptrdiff_t>(m_count),
                     [](const Edge& a, const Edge& b) { return a.y < b.y; });
    m_chains[0] = {0, m_count};
    m_chains[1] = {};
    m_sorted = true;
}

void PolygonCoverage::advance(double y) {
    sort_edges();
    for (Chain& chain : m_chains)
        while (chain.at != chain.end && m_edges[chain.at].top < y) ++chain.at;
}

// visit(edge, chain) for the edges that reach into low..high.
template <class Visit>
void PolygonCoverage::for_edges(double low, double high, Visit&& visit) const {
    for (int c = 0; c < 2; ++c)
        for (std::size_t i = m_chains[c].at; i != m_chains[c].end && m_edges[i].y <= high; ++i)
            if (m_edges[i].top >= low) visit(m_edges[i], c);
}

bool PolygonCoverage::outermost(double y, Outermost& result) const {
    bool found = false;
    for_edges(y, y, [&](const Edge& edge, int) {
        const double x = edge.x + (y - edge.y) / edge.height * edge.width;
        if (!found || x < result.left_x) result.left = &edge, result.left_x = x;
        if (!found || x > result.right_x) result.right = &edge, result.right_x = x;
        found = true;
    });
    return found;
}

// The pieces of edges within a row, and how far each chain reaches there.
int PolygonCoverage::gather_crossings(int y, Reach reach[2]) {
    const double low = y, high = y + 1.0;
    std::size_t count = 0;
    reach[0] = reach[1] = {INFINITY, -INFINITY};
    for_edges(low, high, [&](const Edge& edge, int chain) {
        const double y0 = std::max(low, edge.y), y1 = std::min(high, edge.top);
        const double x0 = std::clamp(edge.x + (y0 - edge.y) * edge.slope, edge.low, edge.high);
        const double x1 = std::clamp(edge.x + (y1 - edge.y) * edge.slope, edge.low, edge.high);
        reach[chain].low = std::min({reach[chain].low, x0, x1});
        reach[chain].high = std::max({reach[chain].high, x0, x1});
        if (!(y1 > y0)) return;
        const double change = x0 - x1;
        m_crossings[count++] = {x0, x1, edge.sign * (y1 - y0), std::fabs(change) < 1e-7 ? 0 : 1 / change};
    });
    return static_cast<int>(count);
}

bool PolygonCoverage::plan_row(int y) {
    Reach reach[2];
    if (m_crossings.size() < m_count) m_crossings.resize(m_count);
    m_crossing_count = gather_crossings(y, reach);
    const double low = std::min(reach[0].low, reach[1].low), high = std::max(reach[0].high, reach[1].high);
    const double right = m_window.x1 + 1.0;
    if (m_crossing_count == 0 || !(low < right && high > m_window.x0)) return false;
    const auto pixel_above = [](double value) { return -pixel_below(-value); };
    m_x0 = pixel_below(std::max(low, double(m_window.x0)));
    m_x1 = pixel_above(std::min(high, right)) - 1;
    if (m_x0 > m_x1) return false;
    m_solid0 = m_x1 + 1, m_solid1 = m_x1;
    // Between the two chains of a row that the polygon crosses from bottom to top, pixels are covered whole.
    if (m_two_chains && m_y_low <= y && m_y_high >= y + 1.0) {
        const int near = reach[0].low < reach[1].low ? 0 : 1;
        m_solid0 = pixel_above(std::clamp(reach[near].high, double(m_x0), m_x1 + 1.0));
        m_solid1 = pixel_below(std::clamp(reach[1 - near].low, double(m_x0), m_x1 + 1.0)) - 1;
    }
    return true;
}

// ---- Rows of many edges ---------------------------------------------------------------------------------------------

namespace {

// Areas are summed in fixed point, where the order does not matter: a window that leaves out the edges beside it gets
// the same sums. Rounding errors at 0 and at a whole pixel are far below NEARLY.
constexpr double ONE = 17592186044416.0;  // 2 to the 44
constexpr std::int64_t NEARLY = 64;

std::int64_t fixed(double area) { return static_cast<std::int64_t>(area * ONE); }

float value_of(std::int64_t sum) {
    const std::int64_t size = sum < 0 ? -sum : sum;
    if (size <= NEARLY) return 0;
    if (size >= fixed(1) - NEARLY) return 1;
    return static_cast<float>(static_cast<double>(size) / ONE);
}

double limited(double u) { return u > 0 ? (u < 1 ? u : 1) : 0; }
double ramp_integral(double u) {
    const double c = limited(u);
    return 0.5 * c * c + (u > 1 ? u - 1 : 0);
}

// The area right of an edge's piece within the pixel whose far side is given, as in polygon_coverage_simd.cpp.
std::int64_t area_beside(const coverage::Crossing& edge, double side) {
    if (edge.scale == 0) return fixed(edge.height * limited(side - 0.5 * (edge.x0 + edge.x1)));
    return fixed(edge.height * ((ramp_integral(side - edge.x1) - ramp_integral(side - edge.x0)) * edge.scale));
}

}  // namespace

void PolygonCoverage::begin_groups() {
    const auto pixel = [this](double x) {
        return pixel_below(std::clamp(x, m_window.x0 - 1.0, m_window.x1 + 1.0));  // all beyond the window is alike
    };
    m_pieces.clear();
    for (int i = 0; i < m_crossing_count; ++i) {
        const coverage::Crossing& crossing = m_crossings[static_cast<std::size_t>(i)];
        m_pieces.push_back(
            {pixel(std::min(crossing.x0, crossing.x1)), pixel(std::max(crossing.x0, crossing.x1)), crossing});
    }
    std::sort(m_pieces.begin(), m_pieces.end(), [](const Piece& a, const Piece& b) { return a.first < b.first; });
    m_next_piece = 0;
    m_sum = 0;
}

bool PolygonCoverage::next_group(Group& group) {
    if (m_next_piece == m_pieces.size()) return false;
    const std::size_t begin = m_next_piece;
    int last = m_pieces[begin].last;
    while (m_next_piece < m_pieces.size() && m_pieces[m_next_piece].first <= last + 1)
        last = std::max(last, m_pieces[m_next_piece++].last);
    group.x0 = std::max(m_pieces[begin].first, m_window.x0);
    group.x1 = std::min(last, m_window.x1);
    const bool seen = group.x0 <= group.x1;
    if (seen) m_changes.assign(static_cast<std::size_t>(group.x1 - group.x0 + 1), 0);
    // Each crossing changes the coverage of the pixels that it runs through, and of all that follow by its height.
    const std::int64_t before = m_sum;
    for (std::size_t i = begin; i < m_next_piece; ++i) {
        const Piece& piece = m_pieces[i];
        const std::int64_t whole = fixed(piece.crossing.height);
        m_sum += whole;
        if (!seen) continue;
        std::int64_t done = 0;
        for (int x = std::max(piece.first, group.x0); x <= std::min(piece.last, group.x1); ++x) {
            const std::int64_t area = area_beside(piece.crossing, x + 1.0);
            m_changes[static_cast<std::size_t>(x - group.x0)] += area - done;
            done = area;
        }
        const int after = std::max(piece.last + 1, group.x0);
        if (after <= group.x1) m_changes[static_cast<std::size_t>(after - group.x0)] += whole - done;
    }
    if (seen) {
        m_values.resize(m_changes.size() + coverage::PADDING);
        std::int64_t sum = before;
        for (std::size_t i = 0; i < m_changes.size(); ++i) m_values[i] = value_of(sum += m_changes[i]);
    }
    const int next = m_next_piece < m_pieces.size() ? m_pieces[m_next_piece].first : m_window.x1 + 1;
    if (!seen) {  // beside the window: what follows begins there
        group.x1 = std::max(last, m_window.x0 - 1);
        group.x0 = group.x1 + 1;
    }
    group.next = std::clamp(next, m_window.x0, m_window.x1 + 1);
    group.beyond = value_of(m_sum);
    return true;
}
