// The waves of Pool3D, row by row. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

struct PoolWaves {
    int width;
    double step;                // from pixel to pixel, as a fraction of the picture
    double to_plane[9];         // projective map from the picture to the plane, row by row
    double centre_x, centre_y;  // on the plane
    double along;               // waves for a unit of distance
    bool easing;                // fewer with distance
    double around;              // waves around the centre
    double offset;              // in waves
    double radius;              // from here the waves fade out, over 1.1 times as much
    float amplitude;
    const float* table;  // WAVE_STEPS + 1 heights of one wave
};

struct PoolKernels {
    // Heights of a row whose pixels lie at `y` before the map. `index` and `part` are scratch of `width` and 16 more.
    void (*pool_row)(const PoolWaves& waves, double y, int* index, float* part, float* out);
};

QUILLON_SIMD_TABLE(PoolKernels, pool_kernels);
