#include "flowfinderlib/flow_between_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr float LONG_FLOW = 0.01F;  // of its squared length: longer flow may miss by more
constexpr float UNSEEN = 1e-3F;     // weight of a picture that does not show a thing, for what neither does

QUILLON_VECTOR Ints floors(Floats v) {
    const Ints cut = to_ints(v);
    return cut + (to_floats(cut) > v);
}

struct Flow {
    Floats u, v;
};

// Bilinear; what is beyond the edge is read at the edge.
QUILLON_VECTOR Flow flow_at(const FlowPair& flow, Floats x, Floats y) {
    x = limited(x, Floats{}, all<Floats>(float(flow.width - 1)));
    y = limited(y, Floats{}, all<Floats>(float(flow.height - 1)));
    const Ints ix = floors(x), iy = floors(y), at = iy * int(flow.stride) + ix;
    const Floats fx = x - to_floats(ix), fy = y - to_floats(iy);
    const auto read = [&](const float* plane) {
        const Floats a = gather(plane, at), b = gather(plane + 1, at);
        const Floats c = gather(plane + flow.stride, at), d = gather(plane + flow.stride + 1, at);
        const Floats upper = a + (b - a) * fx, lower = c + (d - c) * fx;
        return upper + (lower - upper) * fy;
    };
    return {read(flow.u), read(flow.v)};
}

// 1 where two flows are one, 1/2 where they differ by the threshold, soon 0 beyond.
QUILLON_VECTOR Floats agree(Flow a, Flow b, float threshold) {
    const Floats du = a.u - b.u, dv = a.v - b.v;
    const Floats part = (du * du + dv * dv) / (threshold + LONG_FLOW * (b.u * b.u + b.v * b.v));
    return 1.0F / (1.0F + part * part);
}

QUILLON_VECTOR Ints within(const FlowPair& flow, Floats x, Floats y) {
    const Floats slack = all<Floats>(0.5F);
    return (x >= -slack) & (y >= -slack) & (x <= float(flow.width - 1) + slack) & (y <= float(flow.height - 1) + slack);
}

static void agreement(const FlowPair& flow, const FlowPair& back, int y, float threshold, float* out) {
    const long row = long(y) * flow.stride;
    for (int x = 0; x < flow.width; x += LANES) {
        const Flow here = {load(flow.u + row + x), load(flow.v + row + x)};
        const Floats px = to_floats(counting<Ints>() + x) + here.u, py = float(y) + here.v;
        const Flow there = flow_at(back, px, py);
        const Floats part = agree({-there.u, -there.v}, here, threshold);
        store(out + x, within(flow, px, py) ? part : Floats{});
    }
}

// Weights of the two pictures and where they are read, for a row.
static void weigh(const BetweenRow& row, float* weight, float* ax, float* ay, float* bx, float* by) {
    const float rest = 1.0F - row.scale;
    for (int x = 0; x < row.forward.width; x += LANES) {
        const Flow motion = {load(row.u + x), load(row.v + x)};
        const Floats column = to_floats(counting<Ints>() + x), y = all<Floats>(float(row.y));
        const Floats first_x = column - row.scale * motion.u, first_y = y - row.scale * motion.v;
        const Floats second_x = column + rest * motion.u, second_y = y + rest * motion.v;
        Floats in_first = agree(flow_at(row.forward, first_x, first_y), motion, row.threshold);
        Floats in_second = all<Floats>(1.0F);
        if (row.both_ways) {
            const Flow back = flow_at(row.backward, second_x, second_y);
            in_second = agree({-back.u, -back.v}, motion, row.threshold);
        } else {
            in_first = in_second;
        }
        in_first = within(row.forward, first_x, first_y) ? in_first : Floats{};
        in_second = within(row.forward, second_x, second_y) ? in_second : Floats{};
        const Floats first = (1.0F - row.mix) * (in_first + UNSEEN), second = row.mix * (in_second + UNSEEN);
        store(weight + x, second / (first + second));
        store(ax + x, first_x);
        store(ay + x, first_y);
        store(bx + x, second_x);
        store(by + x, second_y);
    }
}

// Keys' cubic, a = -1/2, or the linear one.
struct Taps {
    float w[4];
};
QUILLON_VECTOR Taps taps_of(float f, bool cubic) {
    if (!cubic) return {{0.0F, 1.0F - f, f, 0.0F}};
    const float f2 = f * f, f3 = f2 * f;
    return {{-0.5F * f3 + f2 - 0.5F * f, 1.5F * f3 - 2.5F * f2 + 1.0F, -1.5F * f3 + 2.0F * f2 + 0.5F * f,
             0.5F * f3 - 0.5F * f2}};
}

// Limited to the pixels that are read: no halo along hard edges.
QUILLON_VECTOR Pixel read(const BetweenPicture& picture, float x, float y, int width, int height, bool cubic) {
    x = limited(x, -1.0F, float(width));
    y = limited(y, -1.0F, float(height));
    const int ix = floor_of(x), iy = floor_of(y);
    const Taps wx = taps_of(x - float(ix), cubic), wy = taps_of(y - float(iy), cubic);
    const float* at = picture.pixels + long(iy - 1) * picture.stride + 4L * (ix - 1);
    Pixel sum = {}, low = load<Pixel>(at + picture.stride + 4), high = low;
#pragma GCC unroll 4
    for (int r = 0; r < 4; ++r, at += picture.stride) {
        Pixel line = {};
#pragma GCC unroll 4
        for (int c = 0; c < 4; ++c) {
            const Pixel p = load<Pixel>(at + 4 * c);
            line += wx.w[c] * p;
            low = smaller(low, p);
            high = larger(high, p);
        }
        sum += wy.w[r] * line;
    }
    return limited(sum, low, high);
}

static void mix_row(const BetweenRow& row) {
    const int width = row.forward.width, height = row.forward.height;
    const long pitch = width + 16;
    float *weight = row.weights, *ax = weight + pitch, *ay = ax + pitch, *bx = ay + pitch, *by = bx + pitch;
    weigh(row, weight, ax, ay, bx, by);
    for (int x = 0; x < width; ++x) {
        const float w = weight[x];
        Pixel mixed = {};
        if (w < 1.0F) mixed = (1.0F - w) * read(row.first, ax[x], ay[x], width, height, row.cubic);
        if (w > 0.0F) mixed += w * read(row.second, bx[x], by[x], width, height, row.cubic);
        store(row.out + 4L * x, mixed);
    }
}

}  // namespace

extern const FlowBetweenTable flow_between = {agreement, mix_row};

}  // namespace QUILLON_SIMD
