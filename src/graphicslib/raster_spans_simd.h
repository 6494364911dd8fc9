// Private: the inner loops of rendering, one table for each instruction set.
#pragma once

#include "simdlib/cpu.h"

namespace raster {

// Colour r, g, b, a and depth along a run of pixels: value + t * change, with t the place of a pixel's centre between
// x_start and x_start + 1 / scale, limited to 0 to 1.
struct SpanShade {
    float colour[4], colour_change[4];
    float z, z_change;
    float x_start, scale;
};

// Sample and depth rows may be read, and rewritten with what they hold, up to ROW_PADDING pixels beyond the run;
// coverage may be read and written as far beyond it.
constexpr int ROW_PADDING = 8;

struct Kernels {
    // Source-over with depth test of `count` pixels from pixel x on. Where coverage (null: 1) is 0 nothing happens.
    // Without depths everything is in front.
    void (*shade)(float* sample, float* depth, const float* coverage, int x, int count, const SpanShade& span);
    // The same with one colour and without depths.
    void (*paint)(float* sample, const float* coverage, int count, const float* colour);
    void (*fill)(float* values, int count, float value);
    void (*weigh)(float* sums, const float* values, int count, float weight);  // sums = values * weight
    void (*add_weighted)(float* sums, const float* values, int count, float weight);
};

QUILLON_SIMD_TABLE(Kernels, kernels);

}  // namespace raster
