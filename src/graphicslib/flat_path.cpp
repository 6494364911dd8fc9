#include "graphicslib/flat_path.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace {

constexpr int MOST_PIECES = 1024;  // of a curve

bool finite(std::initializer_list<float> values) {
    return std::all_of(values.begin(), values.end(), [](float v) { return std::isfinite(v); });
}

// Chords of equal parameter that keep a Bezier curve within the tolerance, from its largest second difference: G. Wang,
// "The subdivision method for finding the intersection between two Bezier curves or surfaces", 1984.
int pieces(double second_difference, int degree, double tolerance) {
    const double count = std::sqrt(degree * (degree - 1) / 8.0 * second_difference / tolerance);
    return static_cast<int>(std::clamp(std::ceil(count), 1.0, double(MOST_PIECES)));
}

double length_of(double x, double y) { return std::sqrt(x * x + y * y); }

struct Point {
    double x, y;
};

Point point(const float* xy) { return {double(xy[0]), double(xy[1])}; }
double apart(Point a, Point b) { return length_of(b.x - a.x, b.y - a.y); }

// The inner Bezier point beside p1 of a Catmull-Rom piece from p1 to p2, whose outer neighbour is p0. Knots lie the
// square roots of the distances apart.
Point beside(Point p0, Point p1, Point p2) {
    const double before = apart(p0, p1), length = apart(p1, p2);
    if (!(before > 1e-12) || !(length > 1e-12)) return p1;
    const double a = std::sqrt(before), b = std::sqrt(length), scale = 1 / (3 * a * (a + b));
    const double own = 2 * before + 3 * a * b + length;
    return {(before * p2.x - length * p0.x + own * p1.x) * scale, (before * p2.y - length * p0.y + own * p1.y) * scale};
}

}  // namespace

void FlatPath::clear() {
    m_coordinates.clear();
    m_distances.clear();
    m_parts.clear();
}

void FlatPath::push(float x, float y) {
    Part& last = m_parts.back();
    double distance = 0;
    if (last.end > last.begin) {
        const float* before = m_coordinates.data() + 2 * (last.end - 1);
        distance = m_distances.back() + length_of(double(x) - before[0], double(y) - before[1]);
    }
    m_coordinates.push_back(x);
    m_coordinates.push_back(y);
    m_distances.push_back(distance);
    ++last.end;
}

void FlatPath::last_point(float& x, float& y) const {
    const float* last = m_coordinates.data() + m_coordinates.size() - 2;
    x = last[0], y = last[1];
}

bool FlatPath::move_to(float x, float y) {
    if (!finite({x, y})) return false;
    m_parts.push_back({m_distances.size(), m_distances.size(), false});
    push(x, y);
    return true;
}

bool FlatPath::line_to(float x, float y) {
    if (!has_point()) return move_to(x, y);
    if (!finite({x, y})) return false;
    push(x, y);
    return true;
}

bool FlatPath::quad_to(float cx, float cy, float x, float y) {
    if (!finite({cx, cy, x, y})) return false;
    if (!has_point()) move_to(cx, cy);
    float x0, y0;
    last_point(x0, y0);
    const double bend = length_of(double(x0) - 2.0 * cx + x, double(y0) - 2.0 * cy + y);
    const int count = pieces(bend, 2, double(m_tolerance));
    for (int i = 1; i < count; ++i) {
        const double t = double(i) / count, s = 1 - t;
        push(static_cast<float>(s * s * x0 + 2 * s * t * cx + t * t * x),
             static_cast<float>(s * s * y0 + 2 * s * t * cy + t * t * y));
    }
    push(x, y);
    return true;
}

bool FlatPath::cubic_to(float cx0, float cy0, float cx1, float cy1, float x, float y) {
    if (!finite({cx0, cy0, cx1, cy1, x, y})) return false;
    if (!has_point()) move_to(cx0, cy0);
    float x0, y0;
    last_point(x0, y0);
    const double bend = std::max(length_of(double(x0) - 2.0 * cx0 + cx1, double(y0) - 2.0 * cy0 + cy1),
                                 length_of(double(cx0) - 2.0 * cx1 + x, double(cy0) - 2.0 * cy1 + y));
    const int count = pieces(bend, 3, double(m_tolerance));
    for (int i = 1; i < count; ++i) {
        const double t = double(i) / count, s = 1 - t;
        const double a = s * s * s, b = 3 * s * s * t, c = 3 * s * t * t, d = t * t * t;
        push(static_cast<float>(a * x0 + b * cx0 + c * cx1 + d * x),
             static_cast<float>(a * y0 + b * cy0 + c * cy1 + d * y));
    }
    push(x, y);
    return true;
}

void FlatPath::close() {
    if (!has_point()) return;
    const float* first = xy(contours() - 1);
    float x, y;
    last_point(x, y);
    if (x != first[0] || y != first[1]) push(first[0], first[1]);
    m_parts.back().closed = true;
}

bool FlatPath::spline_through(int count, const float* points, bool ring) {
    if (count < 1 || !points ||
        !std::all_of(points, points + 2 * std::ptrdiff_t(count), [](float v) { return std::isfinite(v); }))
        return false;
    ring = ring && count > 2;
    const auto neighbour = [&](int i) {
        const int place = ring ? (i + count) % count : std::clamp(i, 0, count - 1);
        return point(points + 2 * std::ptrdiff_t(place));
    };
    move_to(points[0], points[1]);
    for (int i = 0; i < (ring ? count : count - 1); ++i) {
        const Point p0 = neighbour(i - 1), p1 = neighbour(i), p2 = neighbour(i + 1), p3 = neighbour(i + 2);
        const Point c0 = beside(p0, p1, p2), c1 = beside(p3, p2, p1);
        cubic_to(static_cast<float>(c0.x), static_cast<float>(c0.y), static_cast<float>(c1.x), static_cast<float>(c1.y),
                 static_cast<float>(p2.x), static_cast<float>(p2.y));
    }
    if (ring) close();
    return true;
}

float FlatPath::length(int contour) const {
    const Part& of = part(contour);
    return of.end > of.begin ? static_cast<float>(m_distances[of.end - 1]) : 0;
}

float FlatPath::length() const {
    double sum = 0;
    for (const Part& of : m_parts) sum += m_distances[of.end - 1];
    return static_cast<float>(sum);
}

FlatPath::Place FlatPath::at(int contour, float distance) const {
    const Part& of = part(contour);
    const auto begin = m_distances.begin() + std::ptrdiff_t(of.begin),
               end = m_distances.begin() + std::ptrdiff_t(of.end);
    const double wanted = distance > 0 ? std::min(double(distance), *(end - 1)) : 0;
    // The piece that ends at or beyond the place, but not one without length.
    auto far = std::lower_bound(begin, end, wanted);
    if (far == begin) far = std::upper_bound(begin, end, 0.0);
    if (far == end) return {m_coordinates[2 * of.begin], m_coordinates[2 * of.begin + 1], 0, 0};
    const auto index = static_cast<std::size_t>(far - m_distances.begin());
    const float *a = m_coordinates.data() + 2 * (index - 1), *b = a + 2;
    const double piece = m_distances[index] - m_distances[index - 1], t = (wanted - m_distances[index - 1]) / piece;
    const double dx = double(b[0]) - a[0], dy = double(b[1]) - a[1];
    return {static_cast<float>(a[0] + t * dx), static_cast<float>(a[1] + t * dy), static_cast<float>(dx / piece),
            static_cast<float>(dy / piece)};
}

FlatPath FlatPath::between(float from, float to) const {
    FlatPath result(m_tolerance);
    double before = 0;
    for (int contour = 0; contour < contours(); ++contour) {
        const Part& of = part(contour);
        const double length_here = m_distances[of.end - 1];
        const double first = std::max(double(from) - before, 0.0), last = std::min(double(to) - before, length_here);
        before += length_here;
        if (!(first < last)) continue;
        const Place begin = at(contour, static_cast<float>(first)), end = at(contour, static_cast<float>(last));
        result.move_to(begin.x, begin.y);
        for (std::size_t i = of.begin; i < of.end; ++i)
            if (m_distances[i] > first && m_distances[i] < last)
                result.push(m_coordinates[2 * i], m_coordinates[2 * i + 1]);
        result.push(end.x, end.y);
    }
    return result;
}
