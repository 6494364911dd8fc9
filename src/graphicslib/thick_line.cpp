#include "graphicslib/thick_line.h"

#include <algorithm>
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

// Both corners of a segment's end.
struct End {
    Point left, right;
};

// What closes the wedge on the outer side of a join, or makes a cap.
struct Fan {
    int count = 0;
    Point points[MOST_CORNERS];

    void add(Point p) {
        if (count < MOST_CORNERS) points[count++] = p;
    }
    // From centre + h from to centre + h to, both ends included: unit vectors less than half a turn apart.
    void add_arc(Point centre, double h, Point from, Point to) {
        add(centre + h * from);
        // Halved until a chord lies close enough to the arc: 1 - cos of half its angle.
        double cosine = std::clamp(from.x * to.x + from.y * to.y, -1.0, 1.0);
        int halvings = 0;
        for (; halvings < 5; ++halvings) {
            cosine = std::sqrt((1 + cosine) / 2);
            if (h * (1 - cosine) <= double{FLATNESS}) break;
        }
        bisect(centre, h, from, to, halvings);
        add(centre + h * to);
    }

  private:
    void bisect(Point centre, double h, Point from, Point to, int halvings) {
        if (halvings == 0) return;
        const Point sum = from + to, middle = (1 / length(sum)) * sum;
        bisect(centre, h, from, middle, halvings - 1);
        add(centre + h * middle);
        bisect(centre, h, middle, to, halvings - 1);
    }
};

// To the left of the segment, of unit length.
Point normal_of(Point a, Point b) {
    const Point d = b - a;
    const double size = length(d);
    if (size < 1e-10) return {0, 0};
    return {-d.y / size, d.x / size};
}

End butt(Point p, Point normal, double h) { return {p + h * normal, p - h * normal}; }

// A half disc beyond p, around from the left to the right of a line that ends there.
void half_disc(Point p, Point normal, double h, Fan& fan) {
    const Point ahead{normal.y, -normal.x};
    fan.add_arc(p, h, normal, ahead);
    --fan.count;  // the next arc begins there
    fan.add_arc(p, h, ahead, -1 * normal);
}

// The free end of a line that arrives with this normal.
End cap(Point p, Point normal, double h, StrokeStyle::Cap style, Fan& fan) {
    if (style == StrokeStyle::SQUARE) return butt(p + h * Point{normal.y, -normal.x}, normal, h);
    if (style == StrokeStyle::ROUND_CAP && (normal.x != 0 || normal.y != 0)) half_disc(p, normal, h, fan);
    return butt(p, normal, h);
}

// The corners at b of both segments a-b and b-c. `room0` and `room1`: how much of each the inner corner may take.
void join(Point a, Point b, Point c, double h, double room0, double room1, StrokeStyle::Join style, End& before,
          End& after, Fan& fan) {
    const Point d0 = b - a, d1 = c - b, n0 = normal_of(a, b), n1 = normal_of(b, c);
    const double turn = cross(d0, d1), l0 = length(d0), l1 = length(d1);
    before = butt(b, n0, h);
    after = butt(b, n1, h);
    if (!(turn * turn > 1e-9 * l0 * l0 * l1 * l1)) {  // straight on, or straight back
        if (style == StrokeStyle::ROUND && n0.x * n1.x + n0.y * n1.y < 0) half_disc(b, n0, h, fan);
        return;
    }
    // The offset lines of both meet at b + h m and b - h m.
    const Point sum = n0 + n1;
    const double square = sum.x * sum.x + sum.y * sum.y;
    const Point m = (2 / square) * sum;
    const double reach = length(m);                                         // half widths from b to a corner
    const double along = h * std::sqrt(std::fmax(reach * reach - 1, 0.0));  // how far the inner corner lies back
    const bool left_turn = turn > 0;
    const bool inner_fits = along <= room0 * l0 && along <= room1 * l1;
    const bool mitre = style == StrokeStyle::MITRE && reach <= MITRE_LIMIT;
    Point &inner0 = left_turn ? before.left : before.right, &inner1 = left_turn ? after.left : after.right;
    Point &outer0 = left_turn ? before.right : before.left, &outer1 = left_turn ? after.right : after.left;
    const Point corner = (left_turn ? h : -h) * m;
    if (inner_fits) inner0 = inner1 = b + corner;
    if (inner_fits && mitre) {
        outer0 = outer1 = b - corner;
        return;
    }
    fan.add(inner_fits ? inner0 : b);
    const double side = left_turn ? -1 : 1;
    if (style == StrokeStyle::ROUND) return fan.add_arc(b, h, side * n0, side * n1);
    fan.add(outer0);
    if (mitre) fan.add(b - corner);
    fan.add(outer1);
}

}  // namespace

bool thicken(const std::vector<Vertex>& line, bool ring, float half_width, StrokeStyle style, Emit emit,
             void* context) {
    const std::size_t segments = line.size() < 2 ? 0 : line.size() - 1;
    if (segments == 0) return true;
    ring = ring && segments >= 3;
    const double h = half_width;
    const auto corner = [&](std::size_t i) { return at(line[i]); };
    // Half a segment for each of its joins, as both may turn the same way.
    const auto room = [&](std::size_t i) { return ring || (i > 0 && i + 1 < segments) ? 0.5 : 1; };
    Fan fan;
    const auto emit_fan = [&](const Vertex& v) {
        Vertex corners[MOST_CORNERS];
        for (int i = 0; i < fan.count; ++i) corners[i] = moved(v, fan.points[i]);
        const bool done = fan.count == 0 || emit(fan.count, corners, context);
        fan.count = 0;
        return done;
    };
    End start{}, closing{};
    if (ring) {
        join(corner(segments - 1), corner(0), corner(1), h, 0.5, 0.5, style.join, closing, start, fan);
    } else {  // a cap of the line that goes the other way
        const End end = cap(corner(0), -1 * normal_of(corner(0), corner(1)), h, style.cap, fan);
        start = {end.right, end.left};
    }
    if (!emit_fan(line[0])) return false;
    for (std::size_t i = 0; i < segments; ++i) {
        const bool last = i + 1 == segments;
        End end, next{};
        if (!last)
            join(corner(i), corner(i + 1), corner(i + 2), h, room(i), room(i + 1), style.join, end, next, fan);
        else
            end = ring ? closing : cap(corner(i + 1), normal_of(corner(i), corner(i + 1)), h, style.cap, fan);
        const Vertex quad[4] = {moved(line[i], start.left), moved(line[i + 1], end.left), moved(line[i + 1], end.right),
                                moved(line[i], start.right)};
        if (!emit(4, quad, context) || !emit_fan(line[i + 1])) return false;
        start = next;
    }
    return true;
}

}  // namespace thick
