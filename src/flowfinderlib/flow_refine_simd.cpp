// The variational refinement: brightness and gradient constancy after Brox, Bruhn, Papenberg and Weickert, "High
// Accuracy Optical Flow Estimation Based on a Theory for Warping" (2004), normalised by the gradients as in Zimmer,
// Bruhn and Weickert, "Optic Flow in Harmony" (2011), with the median between warps of Sun, Roth and Black, "A
// Quantitative Analysis of Current Practices in Optical Flow Estimation" (2014).
#include "flowfinderlib/flow_refine_simd.h"

#include <utility>

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// Of the squared gradient, in grey levels of 255: below it a slope is taken for noise.
constexpr float SLOPE_FLOOR = 0.5F;
// Least weight of a pixel: one without neighbours and without a slope has none.
constexpr float ALONE = 1e-12F;

// Weights of four neighbours of a place f behind the second one: Keys' cubic, a = -1/2.
struct Cubic {
    Floats w[4];
    QUILLON_VECTOR Cubic of(Floats f) {
        const Floats f2 = f * f, f3 = f2 * f;
        return {{-0.5F * f3 + f2 - 0.5F * f, 1.5F * f3 - 2.5F * f2 + 1.0F, -1.5F * f3 + 2.0F * f2 + 0.5F * f,
                 0.5F * f3 - 0.5F * f2}};
    }
};

QUILLON_VECTOR Ints floors(Floats v) {
    const Ints cut = to_ints(v);
    return cut + (to_floats(cut) > v);
}

static void warp(const FlowWarpRow& row) {
    const Floats right = all<Floats>(float(row.width - 1)), top = all<Floats>(float(row.height - 1));
    for (int x = 0; x < row.width; x += LANES) {
        const Floats px = to_floats(counting<Ints>() + x) + load(row.u + x);
        const Floats py = all<Floats>(float(row.y)) + load(row.v + x);
        const Ints in = (px >= 0.0F) & (px <= right) & (py >= 0.0F) & (py <= top);
        // The border repeats the edge, so that a place beyond it may be read a little outside
        const Floats cx = limited(px, all<Floats>(-2.0F), right + 2.0F),
                     cy = limited(py, all<Floats>(-2.0F), top + 2.0F);
        const Ints ix = floors(cx), iy = floors(cy);
        const Cubic wx = Cubic::of(cx - to_floats(ix)), wy = Cubic::of(cy - to_floats(iy));
        const Ints corner = (iy - 1) * int(row.stride) + (ix - 1);
        Floats sum = {};
#pragma GCC unroll 4
        for (int r = 0; r < 4; ++r) {
            Floats line = {};
#pragma GCC unroll 4
            for (int c = 0; c < 4; ++c) line += wx.w[c] * gather(row.second + r * row.stride + c, corner);
            sum += wy.w[r] * line;
        }
        const Floats first = load(row.first + x);
        store(row.mean + x, (sum + first) * 0.5F);
        store(row.difference + x, sum - first);
        store(row.inside + x, (Floats)(in & (Ints)all<Floats>(1.0F)));
    }
}

QUILLON_VECTOR Floats slope(const float* at, long step) {
    return ((load(at + step) - load(at - step)) * 8.0F - (load(at + 2 * step) - load(at - 2 * step))) * (1.0F / 12.0F);
}

static void slopes(const FlowSlopeRow& row) {
    for (int x = 0; x < row.width; x += LANES) {
        store(row.mean_x + x, slope(row.mean + x, 1));
        store(row.mean_y + x, slope(row.mean + x, row.stride));
        store(row.difference_x + x, slope(row.difference + x, 1));
        store(row.difference_y + x, slope(row.difference + x, row.stride));
    }
}

static void smoothness(const float* u, const float* v, long stride, int width, bool last_row, float weight, float scale,
                       float* out) {
    const long down = last_row ? 0 : stride;
    for (int x = 0; x < width; x += LANES) {
        const Floats here_u = load(u + x), here_v = load(v + x);
        const Floats ux = load(u + x + 1) - here_u, uy = load(u + x + down) - here_u;
        const Floats vx = load(v + x + 1) - here_v, vy = load(v + x + down) - here_v;
        store(out + x, weight / square_root((ux * ux + uy * uy) + (vx * vx + vy * vy) + scale));
    }
}

// Every second number of two registers, and the numbers of halves of two registers in turn.
using Lanes = std::make_integer_sequence<int, LANES>;
template <int FIRST, int... lane>
QUILLON_VECTOR Floats every_second(Floats a, Floats b, std::integer_sequence<int, lane...>) {
    return in_order<(2 * lane + FIRST)...>(a, b);
}
template <int FIRST, int... lane>
QUILLON_VECTOR Floats alternating(Floats a, Floats b, std::integer_sequence<int, lane...>) {
    return in_order<(FIRST + lane / 2 + lane % 2 * LANES)...>(a, b);
}

static void split(const float* row, int width, float* even, float* odd) {
    for (int x = 0; x < width; x += 2 * LANES) {
        const Floats a = load(row + x), b = load(row + x + LANES);
        store(even + x / 2, every_second<0>(a, b, Lanes{}));
        store(odd + x / 2, every_second<1>(a, b, Lanes{}));
    }
}

static void join(const float* even, const float* odd, int width, float* row) {
    for (int x = 0; x < width; x += 2 * LANES) {
        const Floats e = load(even + x / 2), o = load(odd + x / 2);
        store(row + x, alternating<0>(e, o, Lanes{}));
        store(row + x + LANES, alternating<LANES / 2>(e, o, Lanes{}));
    }
}

static void system_row(const FlowSystemRow& row, float* scratch, const FlowSystem& even, const FlowSystem& odd) {
    const long width = row.width, pitch = width + 2 * LANES;
    float* a12 = scratch;
    float *b1 = a12 + pitch, *b2 = b1 + pitch, *inverse1 = b2 + pitch, *inverse2 = inverse1 + pitch,
          *right = inverse2 + pitch, *below = right + pitch;
    const long up = row.first_row ? 0 : -row.stride, down = row.last_row ? 0 : row.stride;
    const Floats up_weight = all<Floats>(row.first_row ? 0.0F : 0.5F);
    const Floats down_weight = all<Floats>(row.last_row ? 0.0F : 0.5F);
    for (int x = 0; x < row.width; x += LANES) {
        const Floats mx = load(row.mean_x + x), my = load(row.mean_y + x), t = load(row.difference + x);
        const Floats xx = slope(row.mean_x + x, 1), yy = slope(row.mean_y + x, row.stride);
        const Floats xy = slope(row.mean_y + x, 1);
        const Floats tx = load(row.difference_x + x), ty = load(row.difference_y + x);
        const Floats u0 = load(row.base_u + x), v0 = load(row.base_v + x);
        const Floats du = load(row.u + x) - u0, dv = load(row.v + x) - v0, in = load(row.inside + x);
        // Brightness constancy
        const Floats n = 1.0F / (mx * mx + my * my + SLOPE_FLOOR);
        const Floats r = t + mx * du + my * dv;
        Floats w = in * row.brightness * n / square_root(r * r * n + row.data_scale);
        Floats a11 = w * mx * mx, m12 = w * mx * my, a22 = w * my * my;
        Floats c1 = w * mx * t, c2 = w * my * t;
        // Gradient constancy
        const Floats nx = 1.0F / (xx * xx + xy * xy + SLOPE_FLOOR), ny = 1.0F / (xy * xy + yy * yy + SLOPE_FLOOR);
        const Floats rx = tx + xx * du + xy * dv, ry = ty + xy * du + yy * dv;
        w = in * row.gradient / square_root(rx * rx * nx + ry * ry * ny + row.data_scale);
        const Floats wx = w * nx, wy = w * ny;
        a11 += wx * xx * xx + wy * xy * xy;
        m12 += wx * xx * xy + wy * xy * yy;
        a22 += wx * xy * xy + wy * yy * yy;
        c1 += wx * xx * tx + wy * xy * ty;
        c2 += wx * xy * tx + wy * yy * ty;
        // Smoothness: half the sum of both pixels' weights on the edge between them
        const float* s = row.smoothness + x;
        const Floats here = load(s);
        const Ints place = counting<Ints>() + x;
        const Floats to_right = place < row.width - 1 ? (here + load(s + 1)) * 0.5F : Floats{};
        const Floats to_left = place > 0 ? (here + load(s - 1)) * 0.5F : Floats{};
        const Floats to_above = (here + load(s + up)) * up_weight, to_below = (here + load(s + down)) * down_weight;
        const Floats sum = (to_left + to_right) + (to_above + to_below);
        const auto keep = [&](float* to, Floats v) { store(to + x, place < row.width ? v : Floats{}); };
        keep(a12, m12);
        keep(b1, a11 * u0 + m12 * v0 - c1);
        keep(b2, m12 * u0 + a22 * v0 - c2);
        keep(inverse1, 1.0F / larger(a11 + sum, all<Floats>(ALONE)));
        keep(inverse2, 1.0F / larger(a22 + sum, all<Floats>(ALONE)));
        keep(right, to_right);
        keep(below, to_below);
    }
    split(a12, row.width, even.a12, odd.a12);
    split(b1, row.width, even.b1, odd.b1);
    split(b2, row.width, even.b2, odd.b2);
    split(inverse1, row.width, even.inverse1, odd.inverse1);
    split(inverse2, row.width, even.inverse2, odd.inverse2);
    split(right, row.width, even.right, odd.right);
    split(below, row.width, even.below, odd.below);
}

static void sweep(const FlowSweepRow& row) {
    for (int n = 0; n < row.count; n += LANES) {
        const Floats left = load(row.right_of_left + n), right = load(row.right + n);
        const Floats above = load(row.below_above + n), below = load(row.below + n), a12 = load(row.a12 + n);
        const Floats around_u = (left * load(row.left_u + n) + right * load(row.right_u + n)) +
                                (above * load(row.above_u + n) + below * load(row.below_u + n));
        const Floats around_v = (left * load(row.left_v + n) + right * load(row.right_v + n)) +
                                (above * load(row.above_v + n) + below * load(row.below_v + n));
        Floats u = load(row.u + n), v = load(row.v + n);
        u += row.relaxation * ((load(row.b1 + n) - a12 * v + around_u) * load(row.inverse1 + n) - u);
        v += row.relaxation * ((load(row.b2 + n) - a12 * u + around_v) * load(row.inverse2 + n) - v);
        store(row.u + n, u);
        store(row.v + n, v);
    }
}

QUILLON_VECTOR void in_turn(Floats& a, Floats& b) {
    const Floats low = smaller(a, b);
    b = larger(a, b);
    a = low;
}

// Paeth's network of 19 exchanges, "Median Finding on a 3x3 Grid" (1990).
static void median(const float* above, const float* row, const float* below, int width, float* out) {
    for (int x = 0; x < width; x += LANES) {
        Floats p[9];
        const float* const rows[] = {above, row, below};
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) p[3 * r + c] = load(rows[r] + x + c - 1);
        in_turn(p[1], p[2]), in_turn(p[4], p[5]), in_turn(p[7], p[8]);
        in_turn(p[0], p[1]), in_turn(p[3], p[4]), in_turn(p[6], p[7]);
        in_turn(p[1], p[2]), in_turn(p[4], p[5]), in_turn(p[7], p[8]);
        in_turn(p[0], p[3]), in_turn(p[5], p[8]), in_turn(p[4], p[7]);
        in_turn(p[3], p[6]), in_turn(p[1], p[4]), in_turn(p[2], p[5]);
        in_turn(p[4], p[7]), in_turn(p[4], p[2]), in_turn(p[6], p[4]);
        in_turn(p[4], p[2]);
        store(out + x, p[4]);
    }
}

}  // namespace

extern const FlowRefineTable flow_refine = {warp, slopes, smoothness, system_row, sweep, split, join, median};

}  // namespace QUILLON_SIMD
