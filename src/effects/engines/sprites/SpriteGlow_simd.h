// The loop that screens a quarter-size layer of light over a row, one table for each vector unit.
#pragma once

#include "simdlib/cpu.h"

struct GlowKernels {
    // `below` and `above`: rows of the layer, which begin two of its pixels before the picture's first; `t`: how far
    // the row lies towards `above`. Rows with no light leave the picture as it is.
    void (*screen)(const float* below, const float* above, float t, float* row, int width);
};

QUILLON_SIMD_TABLE(GlowKernels, glow_kernels);
