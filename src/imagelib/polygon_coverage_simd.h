// The inner loop of exact coverage, one table for each instruction set.
#pragma once

#include "simdlib/cpu.h"

namespace coverage {

// A piece of a polygon's edge within one row of pixels.
struct Crossing {
    double x0, x1;
    double height;  // signed by the direction of the edge
    double scale;   // 1 / (x0 - x1); 0 for an upright piece, where the quotient would lose its digits
};

constexpr int PADDING = 8;  // values beyond a run that may be written, and read

struct Kernels {
    // The area between the crossings within each of `count` pixels from pixel x on.
    void (*cover)(float* values, int x, int count, const Crossing* crossings, int crossing_count);
};

QUILLON_SIMD_TABLE(Kernels, kernels);

}  // namespace coverage
