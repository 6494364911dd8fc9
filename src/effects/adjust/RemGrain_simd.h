// The hot loops of RemGrain. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int GRAIN_REACH = 2;              // pixels beside the centre of the edge kernel
inline constexpr int GRAIN_PAD = 4 * GRAIN_REACH;  // floats beside a row of scratch

// What a pixel of the result is made of. Patterns repeat after four floats and are given for 16.
struct GrainMix {
    float sharp[16];      // weight of the source where the edge is 1
    int mixed[16];        // all bits where the mix is wanted
    int from_source[16];  // all bits where the source is; neither: 0
};

struct RemGrainKernels {
    // Edge strengths of one RGBA row, from the rows 2 below to 2 above it; rows beyond the picture are zeros. `across`
    // and `along` are scratch of `floats` with GRAIN_PAD zeros on both sides.
    void (*edge_row)(const float* const* rows, long floats, float* across, float* along, float* edge);
    // `out` may be `blurred`.
    void (*mix_row)(const GrainMix& mix, const float* blurred, const float* edge, const float* source, long floats,
                    float* out);
};

QUILLON_SIMD_TABLE(RemGrainKernels, rem_grain_kernels);
