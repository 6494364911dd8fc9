// Private to the structure tensor: its row kernels. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

struct StructureKernels {
    // Samples limited to 0 to 8 into `row`, which has room for one pixel more on either side, where edge pixels repeat.
    void (*whole)(const float* source, float* row, int count);
    // The same of 2 x 2 means: `count` pixels of the result, of `source_count` pixels in each of two rows.
    void (*halved)(const float* low, const float* high, int source_count, float* row, int count);
    // Products xx, xy, yy of the gradients between three such rows, and 0. Their room goes on for STRUCTURE_SLACK
    // floats. x_unit and y_unit turn differences into levels a pixel.
    void (*products)(const float* const rows[3], float* tensor, int count, float x_unit, float y_unit);
    // Smoothed products, plus `wide` times those of wide_tensor if there is one, to the field; in place.
    void (*directions)(float* tensor, const float* wide_tensor, float wide, int count);
};

inline constexpr int STRUCTURE_SLACK = 4 * 16;

QUILLON_SIMD_TABLE(StructureKernels, structure_kernels);
