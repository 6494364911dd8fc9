// Paths through the velocity, many neighbouring ones abreast.
//
// Fields are finer than the velocity, so neighbouring paths mostly run through the same few cells: one load a
// coefficient brings a window of them, and each lane picks its own with a permutation. Where lanes part further than
// the window, coefficients are gathered. Both read the same numbers. Two groups of lanes run at once, to hide the
// latency of the chain from one stage of a path to the next.
#include "fluidlib/trace_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int GROUPS = 4;
constexpr int WINDOW = LANES / 2;  // cells of two rows in a register
constexpr float FAR = 4194304;     // cells: places further off count as being there

struct Place {
    Ints i, j;
    Floats fx, fy;
};

template <bool PERIODIC>
static inline void locate(Floats x, int size, Ints& cell, Floats& fraction) {
    if constexpr (PERIODIC) {
        x = limited(x, all<Floats>(-FAR), all<Floats>(FAR));
        const auto length = static_cast<float>(size);
        // Twice: the first may leave a place just outside.
        for (int pass = 0; pass < 2; ++pass) {
            const Floats turns = x / length;
            Ints whole = to_ints(turns);
            whole += to_floats(whole) > turns;  // a mask is -1
            x -= to_floats(whole) * length;
        }
        x = limited(x, Floats{}, all<Floats>(length));
        cell = to_ints(x);
        fraction = x - to_floats(cell);
        const Ints beyond = cell >= size;  // the length itself: the first cell again
        cell = beyond ? Ints{} : cell;
    } else {
        x = limited(x, Floats{}, all<Floats>(static_cast<float>(size - 1)));
        cell = to_ints(x);
        fraction = x - to_floats(cell);
    }
}

template <bool PERIODIC>
static inline Place place_of(Floats x, Floats y, int width, int height) {
    Place p;
    locate<PERIODIC>(x, width, p.i, p.fx);
    locate<PERIODIC>(y, height, p.j, p.fy);
    return p;
}

// ---- The velocity -------------------------------------------------------------------------------------------------

struct Velocity {
    Floats u, v;
};

static inline Floats polynomial(Floats a, Floats bx, Floats by, Floats c, const Place& p) {
    return (a + bx * p.fx) + (by + c * p.fx) * p.fy;
}

template <class Coefficient>
static inline Velocity evaluate(const Place& p, Coefficient k) {
    return {polynomial(k(0), k(1), k(2), k(3), p), polynomial(k(4), k(5), k(6), k(7), p)};
}

static inline Velocity read_velocity(const FluidTiles& tiles, const Place& p) {
    const int plane = 2 * tiles.stride;
    const int last = p.j[LANES - 1];
    const int row = p.j[0] < last ? p.j[0] : last;
    if constexpr (LANES > 4) {
        int left = p.i[0] - WINDOW / 4;
        left = left < 0 ? 0 : left;
        const Ints right_of = p.i - left, above = p.j - row;
        if (all_set((((right_of & ~(WINDOW - 1)) | (above & ~1)) == 0))) {
            const float* window = tiles.pairs + (std::ptrdiff_t(row) * FLUID_TILE_PLANES * tiles.stride + left) * 2;
            const Ints lane = right_of + right_of + above;
            return evaluate(p, [&](int k) { return picked(load(window + std::ptrdiff_t(k) * plane), lane); });
        }
    } else {
        const int column = p.i[0];
        if (all_set(((p.i - column) | (p.j - row)) == 0)) {
            const float* cell = tiles.pairs + (std::ptrdiff_t(row) * FLUID_TILE_PLANES * tiles.stride + column) * 2;
            return evaluate(p, [&](int k) { return all<Floats>(cell[std::ptrdiff_t(k) * plane]); });
        }
    }
    const Ints index = (p.j * (FLUID_TILE_PLANES * tiles.stride) + p.i) * 2;
    return evaluate(p, [&](int k) { return gather(tiles.pairs + std::ptrdiff_t(k) * plane, index); });
}

// ---- Cubic reading ------------------------------------------------------------------------------------------------

// Catmull-Rom: a Hermite spline whose tangents are half the difference of the neighbours.
static inline Floats spline(Floats a, Floats b, Floats c, Floats d, Floats t) {
    return b + 0.5F * t * ((c - a) + t * ((2.0F * a - 5.0F * b + 4.0F * c - d) + t * (3.0F * (b - c) + d - a)));
}

static inline Ints stored(Ints i, int size, bool periodic) {
    const Ints low = Ints{} + (periodic ? size : 0), high = periodic ? Ints{} - size : Ints{};
    if (periodic) return i < 0 ? i + low : (i >= size ? i + high : i);
    return i < 0 ? Ints{} : (i >= size ? Ints{} + (size - 1) : i);
}

static inline Floats read_cubic(const FluidPlane& plane, const Place& p) {
    Ints column[4];
    for (int k = 0; k < 4; ++k) column[k] = stored(p.i + (k - 1), plane.width, plane.periodic);
    Floats rows[4];
    for (int k = 0; k < 4; ++k) {
        const Ints row = stored(p.j + (k - 1), plane.height, plane.periodic) * plane.stride;
        rows[k] = spline(gather(plane.cells, row + column[0]), gather(plane.cells, row + column[1]),
                         gather(plane.cells, row + column[2]), gather(plane.cells, row + column[3]), p.fx);
    }
    return spline(rows[0], rows[1], rows[2], rows[3], p.fy);
}

static inline Floats read_bilinear(const FluidPlane& plane, const Place& p) {
    const Ints right = stored(p.i + 1, plane.width, plane.periodic);
    const Ints row = p.j * plane.stride, above = stored(p.j + 1, plane.height, plane.periodic) * plane.stride;
    const Floats a = gather(plane.cells, row + p.i), b = gather(plane.cells, row + right);
    const Floats c = gather(plane.cells, above + p.i), d = gather(plane.cells, above + right);
    const Floats low = a + (b - a) * p.fx, high = c + (d - c) * p.fx;
    return low + (high - low) * p.fy;
}

// ---- Paths --------------------------------------------------------------------------------------------------------

template <bool PERIODIC, bool CUBIC>
static inline Velocity velocity_at(const FluidTiles& tiles, Floats x, Floats y) {
    const Place p = place_of<PERIODIC>(x, y, tiles.width, tiles.height);
    if constexpr (CUBIC)
        return {read_cubic(tiles.u, p) * tiles.scale_x, read_cubic(tiles.v, p) * tiles.scale_y};
    else
        return read_velocity(tiles, p);
}

// GROUPS groups of lanes, of which each stage is done for all before the next one begins.
struct Paths {
    Floats x[GROUPS], y[GROUPS];    // where they end
    Floats dx[GROUPS], dy[GROUPS];  // how far back they have come
};

template <class Work>
QUILLON_VECTOR void each_group(Work work) {
#pragma GCC unroll 8
    for (int g = 0; g < GROUPS; ++g) work(g);
}

template <bool PERIODIC, bool CUBIC>
static inline void step_rk4(const FluidTiles& tiles, Paths& paths) {
    Floats x[GROUPS], y[GROUPS];
    Velocity first[GROUPS], second[GROUPS], third[GROUPS], fourth[GROUPS];
    each_group([&](int g) { x[g] = paths.x[g] - paths.dx[g], y[g] = paths.y[g] - paths.dy[g]; });
    each_group([&](int g) { first[g] = velocity_at<PERIODIC, CUBIC>(tiles, x[g], y[g]); });
    each_group([&](int g) {
        second[g] = velocity_at<PERIODIC, CUBIC>(tiles, x[g] - 0.5F * first[g].u, y[g] - 0.5F * first[g].v);
    });
    each_group([&](int g) {
        third[g] = velocity_at<PERIODIC, CUBIC>(tiles, x[g] - 0.5F * second[g].u, y[g] - 0.5F * second[g].v);
    });
    each_group([&](int g) { fourth[g] = velocity_at<PERIODIC, CUBIC>(tiles, x[g] - third[g].u, y[g] - third[g].v); });
    constexpr float SIXTH = 1.0F / 6.0F, THIRD = 1.0F / 3.0F;
    each_group([&](int g) {
        paths.dx[g] += (first[g].u + fourth[g].u) * SIXTH + (second[g].u + third[g].u) * THIRD;
        paths.dy[g] += (first[g].v + fourth[g].v) * SIXTH + (second[g].v + third[g].v) * THIRD;
    });
}

template <bool PERIODIC, bool CUBIC>
static inline void step_rk2(const FluidTiles& tiles, Paths& paths) {
    Floats x[GROUPS], y[GROUPS];
    Velocity first[GROUPS], second[GROUPS];
    each_group([&](int g) { x[g] = paths.x[g] - paths.dx[g], y[g] = paths.y[g] - paths.dy[g]; });
    each_group([&](int g) { first[g] = velocity_at<PERIODIC, CUBIC>(tiles, x[g], y[g]); });
    each_group([&](int g) { second[g] = velocity_at<PERIODIC, CUBIC>(tiles, x[g] - first[g].u, y[g] - first[g].v); });
    each_group([&](int g) {
        paths.dx[g] += (first[g].u + second[g].u) * 0.5F;
        paths.dy[g] += (first[g].v + second[g].v) * 0.5F;
    });
}

template <bool PERIODIC, bool CUBIC>
static void trace_paths(const FluidTiles& tiles, const FluidTrace& trace, float* dx, float* dy) {
    constexpr int ABREAST = GROUPS * LANES;
    for (int at = 0; at < trace.count; at += ABREAST) {
        const int count = trace.count - at < ABREAST ? trace.count - at : ABREAST;
        float back[2][ABREAST] = {};
        __builtin_memcpy(back[0], dx + at, sizeof(float) * static_cast<unsigned>(count));
        __builtin_memcpy(back[1], dy + at, sizeof(float) * static_cast<unsigned>(count));
        Paths paths;
        each_group([&](int g) {
            const Floats number = counting<Floats>() + static_cast<float>(at + g * LANES);
            paths.x[g] = trace.x + number * trace.x_step;
            paths.y[g] = all<Floats>(trace.y);
            paths.dx[g] = load(back[0] + g * LANES), paths.dy[g] = load(back[1] + g * LANES);
        });
        if (trace.rk4)
            for (int n = 0; n < trace.steps; ++n) step_rk4<PERIODIC, CUBIC>(tiles, paths);
        else
            for (int n = 0; n < trace.steps; ++n) step_rk2<PERIODIC, CUBIC>(tiles, paths);
        each_group([&](int g) { store(back[0] + g * LANES, paths.dx[g]), store(back[1] + g * LANES, paths.dy[g]); });
        __builtin_memcpy(dx + at, back[0], sizeof(float) * static_cast<unsigned>(count));
        __builtin_memcpy(dy + at, back[1], sizeof(float) * static_cast<unsigned>(count));
    }
}

static void trace_row(const FluidTiles& tiles, const FluidTrace& trace, float* dx, float* dy) {
    if (tiles.periodic)
        trace.cubic ? trace_paths<true, true>(tiles, trace, dx, dy) : trace_paths<true, false>(tiles, trace, dx, dy);
    else
        trace.cubic ? trace_paths<false, true>(tiles, trace, dx, dy) : trace_paths<false, false>(tiles, trace, dx, dy);
}

// ---- Fields at their ends -----------------------------------------------------------------------------------------

template <bool PERIODIC>
static void read_places(const FluidPlane& plane, const FluidRead& read, const float* dx, const float* dy, float* out) {
    for (int at = 0; at < read.count; at += LANES) {
        const int count = read.count - at < LANES ? read.count - at : LANES;
        float back[2][LANES] = {};
        __builtin_memcpy(back[0], dx + at, sizeof(float) * static_cast<unsigned>(count));
        __builtin_memcpy(back[1], dy + at, sizeof(float) * static_cast<unsigned>(count));
        const Floats x = (counting<Floats>() + (read.x + static_cast<float>(at))) - load(back[0]) * read.scale_x;
        const Floats y = read.y - load(back[1]) * read.scale_y;
        const Place p = place_of<PERIODIC>(x, y, plane.width, plane.height);
        Floats value = (read.cubic ? read_cubic(plane, p) : read_bilinear(plane, p)) / read.divisor;
        const Ints there = (absolute(value) >= FLUID_LEAST_KEPT);  // not of what is not a number
        value = there ? limited(value, all<Floats>(-FLUID_MOST_KEPT), all<Floats>(FLUID_MOST_KEPT)) : Floats{};
        float some[LANES];
        store(some, value);
        __builtin_memcpy(out + at, some, sizeof(float) * static_cast<unsigned>(count));
    }
}

static void read_row(const FluidPlane& plane, const FluidRead& read, const float* dx, const float* dy, float* out) {
    plane.periodic ? read_places<true>(plane, read, dx, dy, out) : read_places<false>(plane, read, dx, dy, out);
}

}  // namespace

extern const FluidTraceTable fluid_trace = {trace_row, read_row};

}  // namespace QUILLON_SIMD
