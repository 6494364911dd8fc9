#include "graphicslib/thick_line.h"

#include <cmath>

namespace thick {
namespace {

struct Point {
    double x, y;
};

Point at(const Vertex& v) { return {v[0], v[1]}; }
Point operator+(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }
Point operator-(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
Point operator*(double s, Point a) { return {s * a.x, s * a.y}; }
double cross(Point a, Point b) { return a.x * b.y - a.y * b.x; }
double length(Point a) { return std::sqrt(a.x * a.x + a.y * a.y); }

Vertex moved(const Vertex& v, Point place) {
    Vertex result = v;
    result[0] = static_cast<float>(place.x);
    result[1] = static_cast<float>(place.y);
    return result;
}

// Both corners of a segment's end, and what closes the wedge on the outer side of the join there.
struct End {
    Point left, right;
    int wedge_count = 0;
    Point wedge[4]{};
};

// To the left of the segment, of unit length.
Point normal_of(Point a, Point b) {
    const Point d = b - a;
    const double size = length(d);
    if (size < 1e-10) return {0, 0};
    return {-d.y / size, d.x / size};
}

End butt(Point p, Point normal, double h) { return {p + h * normal, p - h * normal}; }

// The corners at b of both segments a-b and b-c.
void join(Point a, Point b, Point c, double h, End& before, End& after) {
    const Point d0 = b - a, d1 = c - b, n0 = normal_of(a, b), n1 = normal_of(b, c);
    const double turn = cross(d0, d1), l0 = length(d0), l1 = length(d1);
    before = butt(b, n0, h);
    after = butt(b, n1, h);
    if (!(turn * turn > 1e-9 * l0 * l0 * l1 * l1)) return;  // straight on, or straight back
    // The offset lines of both meet at b + h m and b - h m.
    const Point sum = n0 + n1;
    const double square = sum.x * sum.x + sum.y * sum.y;
    const Point m = (2 / square) * sum;
    const double reach = length(m);                                         // half widths from b to a corner
    const double along = h * std::sqrt(std::fmax(reach * reach - 1, 0.0));  // how far the inner corner lies back
    const bool left_turn = turn > 0;
    // Half a segment for each of its ends, as both may turn the same way.
    const bool inner_fits = along <= 0.5 * l0 && along <= 0.5 * l1;
    const bool mitre = reach <= MITRE_LIMIT;
    Point &inner0 = left_turn ? before.left : before.right, &inner1 = left_turn ? after.left : after.right;
    Point &outer0 = left_turn ? before.right : before.left, &outer1 = left_turn ? after.right : after.left;
    const Point corner = (left_turn ? h : -h) * m;
    if (inner_fits) inner0 = inner1 = b + corner;
    if (inner_fits && mitre) {
        outer0 = outer1 = b - corner;
        return;
    }
    before.wedge[before.wedge_count++] = inner_fits ? inner0 : b;
    before.wedge[before.wedge_count++] = outer0;
    if (mitre) before.wedge[before.wedge_count++] = b - corner;
    before.wedge[before.wedge_count++] = outer1;
}

bool emit_wedge(const Vertex& v, const End& end, Emit emit, void* context) {
    Vertex corners[4];
    for (int i = 0; i < end.wedge_count; ++i) corners[i] = moved(v, end.wedge[i]);
    return emit(end.wedge_count, corners, context);
}

}  // namespace

bool thicken(const std::vector<Vertex>& line, bool ring, float half_width, Emit emit, void* context) {
    const std::size_t segments = line.size() < 2 ? 0 : line.size() - 1;
    if (segments == 0) return true;
    ring = ring && segments >= 3;
    const double h = half_width;
    const auto corner = [&](std::size_t i) { return at(line[i]); };
    End start = butt(corner(0), normal_of(corner(0), corner(1)), h), closing{};
    if (ring) join(corner(segments - 1), corner(0), corner(1), h, closing, start);
    for (std::size_t i = 0; i < segments; ++i) {
        const bool last = i + 1 == segments;
        End end, next{};
        if (!last)
            join(corner(i), corner(i + 1), corner(i + 2), h, end, next);
        else
            end = ring ? closing : butt(corner(i + 1), normal_of(corner(i), corner(i + 1)), h);
        const Vertex quad[4] = {moved(line[i], start.left), moved(line[i + 1], end.left), moved(line[i + 1], end.right),
                                moved(line[i], start.right)};
        if (!emit(4, quad, context)) return false;
        if (end.wedge_count > 0 && !emit_wedge(line[i + 1], end, emit, context)) return false;
        start = next;
    }
    return true;
}

}  // namespace thick
