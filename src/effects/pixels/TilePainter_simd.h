// Private: the pixels of a tile's face, one table for each instruction set.
#pragma once

#include <cstddef>

#include "simdlib/cpu.h"

namespace tiles {

// One size of the picture, of two columns at least, read between its pixels; beyond its edges they go on.
struct Level {
    const float* samples;         // r, g, b, a
    std::ptrdiff_t pitch;         // floats
    std::ptrdiff_t up;            // floats to the row above; 0 where there is none
    float scale;                  // to its pixels from those of the full size
    float last_x, last_y;         // its last column and row
    float last_column, last_row;  // the last ones that have a neighbour
};

struct Ink {
    Level fine, coarse;
    float mix;                 // of the coarse one
    float shade[4], gloss[4];  // texel * shade + its alpha * gloss
    float weight;
    // Place in the picture of the run's pixel i: (u + i * du) / (w + i * dw), ...
    float u, v, w, du, dv, dw;
};

struct Kernels {
    // Coverage null: all 1.
    void (*add)(float* out, const float* coverage, int count, const Ink& ink);
    void (*over)(float* out, const float* coverage, int count, const Ink& ink);
};

QUILLON_SIMD_TABLE(Kernels, kernels);

}  // namespace tiles
