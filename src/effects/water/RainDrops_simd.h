// The water of RainDrops, row by row. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// The way of a drop in one step: a round brush along a line. Lengths are in widths of a pixel, those up the picture
// too.
struct DropStroke {
    float x, y;       // one end
    float dx, dy;     // to the other
    float radius;     // above 0
    float thickness;  // in its middle
};

struct RainDropsKernels {
    // Raises pixels [first, last) of the row at y to the stroke's thickness, where it is the higher one.
    void (*stroke)(const DropStroke& stroke, float y, int first, int last, float* row);
    void (*dry)(float kept, int count, float* row);
    // Heights of the water's surface above the glass from its thickness in this row and in the one below.
    void (*heights)(int count, const float* here, const float* below, float* out);
    // Mist over RGBA pixels: `mist` is the blurred picture, `source` the sharp one, of which `mix` is left. Where there
    // is water (null: nowhere) it is clear.
    void (*steam)(int count, const float* mist, const float* source, const float* water, float brightness, float lift,
                  float mix, float* pixels);
};

QUILLON_SIMD_TABLE(RainDropsKernels, raindrops_kernels);
