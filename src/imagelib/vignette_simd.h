// The darkness around a lens, and its hot loop. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// One circle, or two side by side of which each pixel takes the nearer one. At distance d from a circle's centre the
// picture is multiplied by (1 - d / radius) * slope, limited to 0 to 1.
struct VignetteShape {
    float centre_x, centre_y;  // between the circles; pixels from the lower left corner of the picture
    float offset;              // of each circle from there, in pixels; 0: one circle
    float radius;              // pixels along a row; 0 or less: black everywhere
    float slope;               // above 1 there is a clear disc inside
    float row_height;          // of one pixel, in widths of a pixel
};

// R, G and B of row y, limited to 0 to 1; a NaN becomes 0.
using VignetteRow = void (*)(const VignetteShape& vignette, int y, float* row, int count);

QUILLON_SIMD_TABLE(VignetteRow, vignette_row);
