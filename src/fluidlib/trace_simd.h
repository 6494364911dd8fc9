// Private to the fluid: paths traced backwards through the velocity, and fields read at their ends, a row at a time.
// Plain data, see QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// A plane of cells to read between them. Positions count stored cells.
struct FluidPlane {
    const float* cells;
    int stride;         // cells a stored row
    int width, height;  // stored
    bool periodic;      // false: positions beyond the outermost cells read these
};

// The velocity as polynomials, in cells a step of the path: within the cell that begins at (i, j)
//     u(fx, fy) = a + bx fx + (by + c fx) fy,
// likewise v. Row j holds eight planes (a, bx, by, c of u, then of v) of `stride` pairs each; a pair is the coefficient
// of cell (i, j) and of cell (i, j + 1). So one load brings a window of cells of two rows, from which lanes pick
// theirs.
struct FluidTiles {
    const float* pairs;
    int stride;         // pairs of a plane's row: a multiple of 8, with 8 more than there are cells
    int width, height;  // of the stored velocity
    bool periodic;
    // The velocity itself with its factors, for cubic reading.
    FluidPlane u, v;
    float scale_x, scale_y;
};

constexpr int FLUID_TILE_PLANES = 8;

// Cells of a row whose paths are traced together: the length of the arrays of displacements.
constexpr int FLUID_SPAN = 512;

// Of what fields hold.
inline constexpr float FLUID_MOST_KEPT = 1e12F;    // FLUID_MAX_VALUE
inline constexpr float FLUID_LEAST_KEPT = 1e-30F;  // what is left of one that has died away; slow numbers begin below

struct FluidTrace {
    float x, y;    // where the first path ends, in stored cells of the velocity
    float x_step;  // from path to path
    int count;     // up to FLUID_SPAN
    int steps;
    bool rk4, cubic;
};

struct FluidRead {
    float x, y;              // of the first cell, in stored cells of the plane; the others follow at 1
    float scale_x, scale_y;  // displacements are multiplied by these
    int count;
    bool cubic;
    float divisor;  // results are divided by it; those below 1e-30, and what is not a number, become 0
};

struct FluidTraceTable {
    // Goes on along the paths from the displacements dx, dy (in cells of the velocity), which are updated.
    void (*trace)(const FluidTiles& tiles, const FluidTrace& trace, float* dx, float* dy);
    // The plane at the places less their displacements.
    void (*read)(const FluidPlane& plane, const FluidRead& read, const float* dx, const float* dy, float* out);
};

QUILLON_SIMD_TABLE(FluidTraceTable, fluid_trace);
