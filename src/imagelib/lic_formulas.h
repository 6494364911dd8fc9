// Private to line integral convolution: what is done for one pixel, in plain numbers, for the row kernels and for CUDA
// devices. Static and inlined, for files that are built once for each instruction set.
#pragma once

#include "imagelib/lic_frame.h"

#ifdef __CUDACC__
#define LIC_FORMULA [[maybe_unused]] __host__ __device__ static __forceinline__
#else
#define LIC_FORMULA [[maybe_unused, gnu::always_inline]] static inline
#endif

namespace lic {

using Fixed = long long;  // 32.32

constexpr int BLOCK = 32;  // samples summed before they join the total: keeps long sums accurate
constexpr Fixed ONE = Fixed(1) << 32;
constexpr Fixed NUDGE = Fixed(1) << 16;  // 2^-16 pixel, more than 2^16 steps can lose to rounding
constexpr double MAX_STEPS = 1 << 20;

// The nearest 32.32 number, for |v| below 2^18: adding 1.5 * 2^20 leaves 32 binary places in the mantissa.
LIC_FORMULA Fixed to_fixed(double v) {
    const double magic = 1.5 * (1 << 20);
    return __builtin_bit_cast(Fixed, v + magic) - __builtin_bit_cast(Fixed, magic);
}

LIC_FORMULA double magnitude(double v) { return v < 0 ? -v : v; }

LIC_FORMULA bool within(Fixed position, int size) { return position >= 0 && position < size * ONE; }

LIC_FORMULA int clamped_pixel(Fixed position, int size) {
    const Fixed pixel = position >> 32;
    return int(pixel < 0 ? 0 : pixel < size ? pixel : size - 1);
}

// How many steps a coordinate takes until it is at or beyond `limit` in the direction of its step (never: `none`).
LIC_FORMULA Fixed steps_to(Fixed position, Fixed step, Fixed limit, Fixed none) {
    if (step == 0) return none;
    const Fixed gap = step > 0 ? limit - position : position - limit;
    const Fixed stride = step > 0 ? step : -step;
    return gap <= 0 ? 0 : (gap + stride - 1) / stride;
}

// `count` samples from (x, y) onwards.
struct Line {
    Fixed x, y, step_x, step_y;
    int count;
};
struct LineOfPixel : Line {
    int samples;  // of the whole line; 0: the pixel stays
    float mix;    // of the mean over the source
};

LIC_FORMULA double distance(const LicFrame& frame, double dx, double dy) {
    const double ax = dx * frame.x_unit, ay = dy * frame.y_unit;
    return __builtin_sqrt(ax * ax + ay * ay);
}

// A convex polygon's extent in a direction is its inner radius over the largest cosine between the direction and the
// normals of its sides: no angles needed. `nearest` is the largest projection on a normal, or 0.
LIC_FORMULA double projection(const LicFrame& frame, int side, double dx, double dy) {
    return dx * (frame.normals[2 * side] * frame.x_unit) + frame.normals[2 * side + 1] * (dy * frame.y_unit);
}
LIC_FORMULA double polygon_extent(const LicFrame& frame, double nearest, double distance) {
    return nearest > 0 ? frame.clear * distance / nearest : frame.clear;
}

LIC_FORMULA LineOfPixel line_of_pixel(const LicFrame& frame, int x, int y, double dx, double dy, double distance,
                                      double clear) {
    const double width = magnitude(dx), height = magnitude(dy);
    const double longest = width > height ? width : height;
    const double inverse_soft = frame.soft > 0 ? 1 / frame.soft : 0;
    double d = distance - clear;
    d = d < 0.0001 ? 0 : d;
    const bool moves = d > 0 && longest > 0 && frame.reach != 0;
    const double length = magnitude(frame.reach * (d / (moves ? distance : 1)) * longest);
    const int samples = 1 + int(length < MAX_STEPS ? length : MAX_STEPS);
    const double stride = (frame.reach < 0 ? -1 : 1) / (moves ? longest * frame.samples : 1);
    const double t = d * inverse_soft;
    LineOfPixel line;
    line.x = x * ONE + NUDGE;
    line.y = y * ONE + NUDGE;
    line.step_x = to_fixed(moves ? dx * stride : 0);
    line.step_y = to_fixed(moves ? dy * stride : 0);
    line.count = line.samples = moves ? samples : 0;
    line.mix = d >= frame.soft ? 1.0f : float((3 - 2 * t) * t * t);
    return line;
}

LIC_FORMULA bool stays_inside(const LicFrame& frame, const Line& line) {
    const Fixed last = line.count - 1;
    return line.count == 0 ||
           (within(line.x + last * line.step_x, frame.width) && within(line.y + last * line.step_y, frame.height));
}
// A line that leaves the image ends up on one border pixel: what is left of it there need not be walked. Answers how
// many samples were cut off.
LIC_FORMULA int cut_tail(const LicFrame& frame, Line& line) {
    const Fixed rest_x = steps_to(line.x, line.step_x, line.step_x > 0 ? (frame.width - 1) * ONE : ONE - 1, 0);
    const Fixed rest_y = steps_to(line.y, line.step_y, line.step_y > 0 ? (frame.height - 1) * ONE : ONE - 1, 0);
    const Fixed rest = (rest_x > rest_y ? rest_x : rest_y) + 1;
    if (rest >= line.count) return 0;
    const int tail = line.count - int(rest);
    line.count = int(rest);
    return tail;
}

// The walk over the screen from the centre to a pixel. None where the centre lies outside.
LIC_FORMULA bool has_screen_line(const LicFrame& frame) {
    return frame.cx > -1 && frame.cx < frame.screen.width && frame.cy > -1 && frame.cy < frame.screen.height;
}
LIC_FORMULA Line screen_line(const LicFrame& frame, double dx, double dy) {
    const double width = magnitude(dx), height = magnitude(dy);
    const double longer = (width > height ? width : height) * frame.samples;
    const double inverse = longer > 0 ? 1 / longer : 0;
    return {to_fixed(frame.cx) + NUDGE, to_fixed(frame.cy) + NUDGE, to_fixed(dx * inverse), to_fixed(dy * inverse),
            1 + int(longer < MAX_STEPS ? longer : MAX_STEPS)};
}
// Ends a line where it leaves the screen. Truncation counts positions down to -1 as pixel 0. Whether it was all inside.
LIC_FORMULA bool end_at_border(const LicScreen& screen, Line& line) {
    const Fixed end_x = line.x + (line.count - 1) * line.step_x, end_y = line.y + (line.count - 1) * line.step_y;
    if (within(line.x, screen.width) && within(line.y, screen.height) && within(end_x, screen.width) &&
        within(end_y, screen.height))
        return true;
    const Fixed leave_x = steps_to(line.x, line.step_x, line.step_x > 0 ? screen.width * ONE : -ONE, ONE);
    const Fixed leave_y = steps_to(line.y, line.step_y, line.step_y > 0 ? screen.height * ONE : -ONE, ONE);
    const Fixed leave = leave_x < leave_y ? leave_x : leave_y;
    if (leave < line.count) line.count = int(leave);
    return false;
}

}  // namespace lic

#undef LIC_FORMULA
