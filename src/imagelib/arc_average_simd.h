// Private: the hot loops of the averages along arcs. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// Entries of the filter table: one for each 512th of a pixel, and between two of them one for the fractions inside.
inline constexpr int ARC_FILTER_STEPS = 512;
inline constexpr int ARC_FILTER_ENTRIES = 2 * ARC_FILTER_STEPS + 1;

// The picture around the centre, float RGBA; beyond its edges the nearest pixel of the edge is seen.
struct ArcSource {
    const float* pixels;
    int width, height;
    float cx, cy;          // pixels
    const float* filter;   // ARC_FILTER_ENTRIES times the weights of the four pixels around a fraction
    const float* cosines;  // of each polar column, in pixels for one unit of radius
    const float* sines;
};

// The polar picture as running sums. Row i holds the circle of radius i; column c covers the positions c to c + 1
// along it, and a turn is `period` positions: `columns` whole ones and a fraction of one more, which repeats column 0.
// Entry c of a row is the sum of the columns before c, less c times the row's mean; entries 0 to columns + 1.
struct CircleSums {
    float* sums;
    float* means;  // four channels for each row
    long pitch;    // floats a row
    int columns, rows;
    double period;
    float last_position;  // less than columns + 1
};

// How the length of an arc changes with its distance from the centre.
enum class ArcProfile : int {
    Constant,
    Ring,     // nothing inside `inner` and outside `outer`
    Outward,  // the angle times (distance / max_distance)^exponent
    Inward,   // the angle times (1 - distance / max_distance)^exponent
};
struct ArcLengths {
    float angle;  // radians, at most one turn either way
    ArcProfile profile;
    float inner, outer, soft;  // Ring: where it begins and ends, and the width of the ramps within
    float exponent;            // Outward and Inward: 0 or more
    bool invert_matte;
};

struct ArcShape : ArcLengths {
    float cx, cy, pixel_width, pixel_height;
    float max_distance;
};

struct ArcKernels {
    // One row of the table. `scratch` holds 4 * (columns + 2) doubles.
    void (*unwrap_row)(const ArcSource& source, const CircleSums& table, int row, double* scratch);
    // Part of an output row, from column x on; the pointers are at its first pixel. No matte (null): 1 everywhere.
    void (*average_pixels)(const CircleSums& table, const ArcShape& arcs, int x, int y, int count, const float* source,
                           const float* matte, float* out);
};

QUILLON_SIMD_TABLE(ArcKernels, arc_kernels);
