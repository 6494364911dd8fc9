// The refraction of HeatHaze, row by row. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int HAZE_REACH = 2;  // pixels from a pixel to the corners that its slope is taken from

struct HazeSheet {
    int width;
    float max_x, max_y;                  // width - 1, height - 1; above 0
    float dx, dy;                        // HAZE_REACH pixels, as fractions of the picture
    float strength;                      // height of the sheet for one unit of noise
    float low_x, high_x, low_y, high_y;  // limits of places, in pixels
};

struct HazeKernels {
    // Where the lines of sight of row y arrive, in pixels, v one pixel less than its place. Heights are those of the
    // rows HAZE_REACH above, here, and HAZE_REACH below, with HAZE_REACH more at both ends of the outer rows.
    void (*refract_row)(const HazeSheet& sheet, const float* above, const float* here, const float* below, int y,
                        float* u, float* v);
};

QUILLON_SIMD_TABLE(HazeKernels, haze_kernels);
