// Private to completion: a block of patches compared with all of the same shift. Plain data, see
// cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int SHIFT_PATCH = 3;  // reach of a patch from its middle
inline constexpr float SHIFT_VOTE = 65536.0F;
inline constexpr int SHIFT_SLACK = 32;  // floats behind rows

struct ShiftBlock {
    const float* planes[4];  // the block's first patch is at `start`
    const float* barred;     // 0 where a patch may be taken from, else something larger than any cost
    int pitch;               // floats from a row to the next
    int start;
    int width, height;  // of the block, in patches
    float* scratch;     // (height + 2 * SHIFT_PATCH + 1) * row floats
    int row;            // floats to a row of the scratch: at least width + 2 * SHIFT_PATCH + SHIFT_SLACK
    // For each patch, in rows of `row` floats: the least cost, sum and number of the costs; then weight and limit.
    float *least, *sums, *counts;
    const float *weights, *limits;
};

struct ShiftStatisticsKernels {
    // What lies `offset` floats away.
    void (*compare)(const ShiftBlock& block, int offset);
    // How many patches that offset suits, each by its weight times 1 - cost / limit, in SHIFT_VOTE parts.
    int (*vote)(const ShiftBlock& block, int offset);
};

QUILLON_SIMD_TABLE(ShiftStatisticsKernels, shift_statistics_kernels);
