#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_exactpoly.h"
#include "imagelib/polygon_clip.h"

namespace {

// Twice the capacity: a polygon that is not convex may gain more vertices than one a side.
using Shape = exactpoly::Polygon<double, 2 * ClipPolygon::CAPACITY>;

bool count_in_range(const ClipPolygon& polygon) { return polygon.count >= 0 && polygon.count <= ClipPolygon::CAPACITY; }

bool usable(const ClipPolygon& polygon) {
    if (polygon.count < 3 || !count_in_range(polygon)) return false;
    return std::all_of(&polygon.vertices[0][0], &polygon.vertices[0][0] + 2 * polygon.count,
                       [](float v) { return std::isfinite(v); });
}

// Shoelace about the first vertex, where the products are small.
double area_of(const Shape& shape) {
    double twice = 0;
    const double* origin = shape.vertices[0];
    for (int i = 1; i + 1 < shape.count; ++i) {
        const double *a = shape.vertices[i], *b = shape.vertices[i + 1];
        twice += (a[0] - origin[0]) * (b[1] - origin[1]) - (b[0] - origin[0]) * (a[1] - origin[1]);
    }
    return std::fabs(twice) * 0.5;
}

// All turns one way, and the x direction of the edges changes sign no more than twice: once round.
bool is_convex(const ClipPolygon& polygon) {
    bool left = false, right = false;
    int reversals = 0;
    double last_dx = 0, first_dx = 0;
    const int n = polygon.count;
    for (int i = 0; i < n; ++i) {
        const float *a = polygon.vertices[i], *b = polygon.vertices[(i + 1) % n], *c = polygon.vertices[(i + 2) % n];
        const double dx = double(b[0]) - a[0], dy = double(b[1]) - a[1];
        const double turn = dx * (double(c[1]) - b[1]) - dy * (double(c[0]) - b[0]);
        left |= turn > 0;
        right |= turn < 0;
        if (dx == 0) continue;
        if (first_dx == 0) first_dx = dx;
        if (last_dx * dx < 0) ++reversals;
        last_dx = dx;
    }
    if (last_dx * first_dx < 0) ++reversals;
    return !(left && right) && reversals <= 2;
}

struct Span {
    double low, high;
    bool empty() const { return !(low < high); }
};

Span extent(const Shape& shape, int axis) {
    Span span = {shape.vertices[0][axis], shape.vertices[0][axis]};
    for (int i = 1; i < shape.count; ++i) {
        span.low = std::min(span.low, shape.vertices[i][axis]);
        span.high = std::max(span.high, shape.vertices[i][axis]);
    }
    return span;
}

// Where the boundary of a strip's shape runs along the line y: the columns between are inside a convex shape there.
Span chord(const Shape& strip, double y) {
    Span span = {INFINITY, -INFINITY};
    for (int i = 0; i < strip.count; ++i) {
        if (strip.vertices[i][1] != y) continue;
        span.low = std::min(span.low, strip.vertices[i][0]);
        span.high = std::max(span.high, strip.vertices[i][0]);
    }
    return span;
}

constexpr double FAR = 1e9;  // no pixel lies as far out; keeps casts and loops within int

int first_pixel(double low, int limit) { return int(std::clamp(std::floor(low), std::max(-FAR, double(limit)), FAR)); }
int last_pixel(double high, int limit) {
    return int(std::clamp(std::ceil(high) - 1, -FAR, std::max(-FAR, std::min(FAR, double(limit)))));
}

// Clips to low..high along one axis.
void cut_to(Shape& shape, Shape& spare, int axis, double low, double high) {
    double lows[2] = {-INFINITY, -INFINITY}, highs[2] = {INFINITY, INFINITY};
    lows[axis] = low;
    highs[axis] = high;
    exactpoly::clip_to_box(shape, spare, lows, highs);
}

// One row of the polygon: `strip` is what lies between y and y + 1.
void draw_row(ExactPoly& poly, const Shape& strip, bool convex, int y, int x_first, int x_last) {
    Span whole = {0, 0};  // pixels whose four corners lie inside
    if (convex) {
        const Span bottom = chord(strip, y), top = chord(strip, y + 1.0);
        whole = {std::ceil(std::max(bottom.low, top.low)), std::floor(std::min(bottom.high, top.high))};
    }
    const Span columns = extent(strip, 0);
    const int last = last_pixel(columns.high, x_last);
    Shape piece, spare;
    for (int x = first_pixel(columns.low, x_first); x <= last; ++x) {
        if (!whole.empty() && x >= whole.low && x + 1 <= whole.high) {
            poly.shade(x, y, 1.0f);
            continue;
        }
        piece = strip;
        cut_to(piece, spare, 0, x, x + 1.0);
        if (piece.count < 3) continue;
        const float area = std::min(float(area_of(piece)), 1.0f);
        if (area > 0) poly.shade(x, y, area);
    }
}

}  // namespace

void clip_half_plane(const ClipPolygon& in, ClipPolygon& out, int axis, float sign, float limit) {
    out.count = 0;
    if (count_in_range(in)) exactpoly::clip_half_plane(in, out, axis == 0 ? 0 : 1, sign, limit);
}

ClipResult clip_to_box(ClipPolygon& polygon, const ClipBox& box) {
    if (!count_in_range(polygon) || polygon.count == 0) {
        polygon.count = 0;
        return CLIP_NOTHING_LEFT;
    }
    ClipPolygon spare;
    const float low[2] = {box.x_low, box.y_low}, high[2] = {box.x_high, box.y_high};
    return ClipResult(exactpoly::clip_to_box(polygon, spare, low, high));
}

ExactPoly::~ExactPoly() = default;

void ExactPoly::shade(int, int, float) {}

bool ExactPoly::draw(const ClipPolygon& polygon, int x_first, int x_last, int y_first, int y_last) {
    if (!usable(polygon)) return false;
    const bool convex = is_convex(polygon);
    Shape whole, strip, spare;
    for (int i = 0; i < polygon.count; ++i) whole.add(polygon.vertices[i][0], polygon.vertices[i][1]);
    const Span rows = extent(whole, 1);
    const int last = last_pixel(rows.high, y_last);
    for (int y = first_pixel(rows.low, y_first); y <= last; ++y) {
        strip = whole;
        cut_to(strip, spare, 1, y, y + 1.0);
        if (strip.count >= 3) draw_row(*this, strip, convex, y, x_first, x_last);
    }
    return true;
}
