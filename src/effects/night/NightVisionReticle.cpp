#include "effects/night/NightVisionReticle.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "k7pi_baselib/portable_math.h"

namespace {

using Shapes = std::vector<ReticleShape>;

// ---- Designs --------------------------------------------------------------------------------------------------

void add_bar(Shapes& shapes, double x0, double y0, double x1, double y1) {
    shapes.push_back({ReticleShape::Bar, std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1), 0, 0});
}

void add_stroke(Shapes& shapes, double x0, double y0, double x1, double y1, double thick) {
    shapes.push_back({ReticleShape::Stroke, x0, y0, x1, y1, 0, thick / 2});
}

void add_ring(Shapes& shapes, double radius, double thick) {
    shapes.push_back({ReticleShape::Ring, 0, 0, 0, 0, radius, thick / 2});
}

void add_dot(Shapes& shapes, double radius) { add_ring(shapes, radius / 2, radius); }

// Four arms from one distance of the centre to another.
void add_cross(Shapes& shapes, double from, double to, double thick) {
    const double h = thick / 2;
    add_bar(shapes, from, -h, to, h);
    add_bar(shapes, -to, -h, -from, h);
    add_bar(shapes, -h, from, h, to);
    add_bar(shapes, -h, -to, h, -from);
}

// Marks across all four arms, every other one longer.
void add_ticks(Shapes& shapes, int count, double spacing, double length, double thick) {
    for (int i = 1; i <= count; ++i) {
        const double at = i * spacing, h = thick / 2, reach = (i % 2 == 0 ? length : length * 0.6) / 2;
        for (const double side : {-1.0, 1.0}) {
            add_bar(shapes, side * at - h, -reach, side * at + h, reach);
            add_bar(shapes, -reach, side * at - h, reach, side * at + h);
        }
    }
}

void add_brackets(Shapes& shapes, double half_width, double half_height, double arm, double thick) {
    for (const double sx : {-1.0, 1.0}) {
        for (const double sy : {-1.0, 1.0}) {
            const double x = sx * half_width, y = sy * half_height;
            add_bar(shapes, x, y, x - sx * arm, y - sy * thick);
            add_bar(shapes, x, y, x - sx * thick, y - sy * arm);
        }
    }
}

// Two strokes down from the centre at 45 degrees, each beginning so far beyond it that their outlines meet in a point.
void add_chevron(Shapes& shapes, double reach, double thick) {
    const double beyond = thick / 2 * std::numbers::sqrt2 / 2;
    add_stroke(shapes, beyond, beyond, -reach, -reach, thick);
    add_stroke(shapes, -beyond, beyond, reach, -reach, thick);
}

// ---- Coverage -------------------------------------------------------------------------------------------------

double limited(double v) { return v > 0.0 ? (v < 1.0 ? v : 1.0) : 0.0; }

// One row: columns' centres run from `left` on, in the reticle's own coordinates.
struct Row {
    double left, y;
    double below, above;  // its edges
    int width;
    float* coverage;
    ReticleSpan span;

    // `cover(x)` for the columns whose centres lie between two places.
    template <class Cover>
    void paint(double from, double to, Cover&& cover) {
        const double first = std::max(std::ceil(from - left), 0.0), last = std::min(std::floor(to - left), width - 1.0);
        if (!(first <= last)) return;
        const int begin = static_cast<int>(first), end = static_cast<int>(last) + 1;
        for (int i = begin; i < end; ++i)
            coverage[i] = std::max(coverage[i], static_cast<float>(limited(cover(left + i))));
        span = {std::min(span.first, begin), std::max(span.last, end)};
    }
};

double overlap(double a0, double a1, double b0, double b1) { return std::min(a1, b1) - std::max(a0, b0); }

void cover_bar(const ReticleShape& s, Row& row) {
    const double share = overlap(row.below, row.above, s.y0, s.y1) / (row.above - row.below);
    if (!(share > 0.0)) return;
    row.paint(s.x0 - 0.5, s.x1 + 0.5,
              [&](double x) { return share * std::max(overlap(x - 0.5, x + 0.5, s.x0, s.x1), 0.0); });
}

// A line thinner than a pixel covers less than a whole one.
double band(double distance, double half) { return std::min(distance + 0.5, half) - std::max(distance - 0.5, -half); }

void cover_ring(const ReticleShape& s, Row& row) {
    const double dy = row.y - s.y0, outer = s.radius + s.half + 1, inner = std::max(s.radius - s.half - 1, 0.0);
    if (!(std::fabs(dy) < outer)) return;
    const double reach = std::sqrt(outer * outer - dy * dy);
    const double hollow = std::fabs(dy) < inner ? std::sqrt(inner * inner - dy * dy) : 0.0;
    const bool disc = s.half >= s.radius;
    const auto cover = [&](double x) {
        const double d = k7_hypot(x - s.x0, dy);
        return disc ? s.radius + s.half - d + 0.5 : band(d - s.radius, s.half);
    };
    row.paint(s.x0 - reach, s.x0 - hollow, cover);
    row.paint(s.x0 + hollow, s.x0 + reach, cover);
}

void cover_stroke(const ReticleShape& s, Row& row) {
    const double dx = s.x1 - s.x0, dy = s.y1 - s.y0, length = k7_hypot(dx, dy);
    if (!(length > 0.0)) return;
    const double ux = dx / length, uy = dy / length, reach = s.half + 1;
    const auto cover = [&](double x) {
        const double px = x - s.x0, py = row.y - s.y0;
        const double along = px * ux + py * uy, across = px * uy - py * ux;
        return band(across, s.half) * limited(std::min(along, length - along) + 0.5);
    };
    if (row.y < std::min(s.y0, s.y1) - reach || row.y > std::max(s.y0, s.y1) + reach) return;
    // Where the row crosses the line, and how wide it does.
    const double middle = std::fabs(uy) > 1e-9 ? s.x0 + (row.y - s.y0) * ux / uy : (s.x0 + s.x1) / 2;
    const double wide = std::fabs(uy) > 1e-9 ? std::min(reach / std::fabs(uy), length + reach) : length / 2 + reach;
    row.paint(middle - wide, middle + wide, cover);
}

}  // namespace

std::vector<ReticleShape> reticle_shapes(int type, double size, const double (&thickness)[3]) {
    Shapes shapes;
    switch (type) {
        case 1:  // a full cross with a gap
            add_cross(shapes, 0.1 * size, size, thickness[0]);
            break;
        case 2:  // a circle, and posts outside it
            add_ring(shapes, 0.5 * size, thickness[0]);
            add_cross(shapes, 0.5 * size, size, thickness[1]);
            break;
        case 3:  // a graduated cross
            add_cross(shapes, 0.0, size, thickness[0]);
            add_ticks(shapes, 8, size / 9, 0.07 * size, thickness[2]);
            break;
        case 4:  // a chevron over a post
            add_chevron(shapes, 0.3 * size, thickness[1]);
            add_bar(shapes, -thickness[2] / 2, -size, thickness[2] / 2, -0.4 * size);
            break;
        case 5:  // corners and a dot
            add_brackets(shapes, size, 0.75 * size, 0.2 * size, thickness[1]);
            add_dot(shapes, thickness[2]);
            break;
        default:
            break;
    }
    return shapes;
}

ReticleSpan reticle_coverage(const std::vector<ReticleShape>& shapes, const ReticlePlace& place, int y, int width,
                             float* coverage) {
    const double high = 1.0 / place.pixel_aspect;  // of a row of pixels
    Row row{0.5 - place.x, (y + 0.5 - place.y) * high, (y - place.y) * high, (y + 1 - place.y) * high, width, coverage,
            {width, 0}};
    for (const ReticleShape& shape : shapes) {
        switch (shape.kind) {
            case ReticleShape::Bar:
                cover_bar(shape, row);
                break;
            case ReticleShape::Ring:
                cover_ring(shape, row);
                break;
            case ReticleShape::Stroke:
                cover_stroke(shape, row);
                break;
        }
    }
    return row.span;
}
