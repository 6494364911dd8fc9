// Private: the walk of an antialiased line, shared by LineDraw, draw_line and LineRasterizer.
//
// X. Wu, "An efficient antialiasing technique", SIGGRAPH 1991. Pixel centres lie at whole numbers. Every value is
// computed from the column, not from the column before, so that a walk cut short by bounds gives the same pixels.
#pragma once

#include <cmath>
#include <utility>

namespace wu {

struct Bounds {  // inclusive
    int x0, y0, x1, y1;
};

struct Line {
    bool swapped = false;   // the walk goes along y
    bool reversed = false;  // the walk goes from the second end to the first
    double a0 = 0, b0 = 0;  // first end of the walk: along, across
    double a1 = 0;
    double gradient = 0;
    double extent = 0;  // a1 - a0
    double length = 0;  // of the line itself
};

// False for ends that are not finite and for a line shorter than 1e-6.
inline bool prepare(float x0, float y0, float x1, float y1, Line& line) {
    if (!std::isfinite(x0) || !std::isfinite(y0) || !std::isfinite(x1) || !std::isfinite(y1)) return false;
    double from[2] = {x0, y0}, to[2] = {x1, y1};
    const double dx = to[0] - from[0], dy = to[1] - from[1];
    line.length = std::sqrt(dx * dx + dy * dy);
    if (!(line.length >= 1e-6)) return false;
    line.swapped = std::fabs(dy) > std::fabs(dx);
    if (line.swapped) {
        std::swap(from[0], from[1]);
        std::swap(to[0], to[1]);
    }
    line.reversed = from[0] > to[0];
    if (line.reversed) std::swap(from, to);
    line.a0 = from[0];
    line.b0 = from[1];
    line.a1 = to[0];
    line.extent = to[0] - from[0];
    line.gradient = (to[1] - from[1]) / line.extent;
    return true;
}

inline double fraction(double value) { return value - std::floor(value); }

// plot(x, y, coverage, t) for each pixel inside the bounds; t runs from 0 at the caller's first end to 1.
template <class Plot>
void walk(const Line& line, const Bounds& bounds, Plot&& plot) {
    const double low = line.swapped ? bounds.y0 : bounds.x0, high = line.swapped ? bounds.y1 : bounds.x1;
    const double across_low = line.swapped ? bounds.x0 : bounds.y0, across_high = line.swapped ? bounds.x1 : bounds.y1;
    const auto pair = [&](double column, double coverage, double t) {
        const double across = line.b0 + line.gradient * (column - line.a0);
        const double row = std::floor(across);
        if (!(row >= across_low - 1 && row <= across_high)) return;
        const double upper = across - row;
        const int a = static_cast<int>(column), b = static_cast<int>(row);
        const auto parameter = static_cast<float>(line.reversed ? 1 - t : t);
        const auto put = [&](int at, double share) {
            if (line.swapped)
                plot(at, a, static_cast<float>(share), parameter);
            else
                plot(a, at, static_cast<float>(share), parameter);
        };
        if (row >= across_low) put(b, coverage * (1 - upper));
        if (row + 1 <= across_high) put(b + 1, coverage * upper);
    };
    const double first = std::floor(line.a0 + 0.5), last = std::floor(line.a1 + 0.5);
    if (first >= low && first <= high) pair(first, 1 - fraction(line.a0 + 0.5), 0);
    const double from = first + 1 > low ? first + 1 : low, to = last - 1 < high ? last - 1 : high;
    for (double column = from; column <= to; ++column) pair(column, 1, (column - line.a0) / line.extent);
    if (last >= low && last <= high) pair(last, fraction(line.a1 + 0.5), 1);
}

}  // namespace wu
