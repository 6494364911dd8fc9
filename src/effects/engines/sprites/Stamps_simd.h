// The loop that lays colour sprites into rows of a float RGBA picture, one table for each instruction set.
#pragma once

#include "effects/engines/sprites/Splats_simd.h"
#include "simdlib/cpu.h"

struct StampLevel {
    const float* samples;  // r, g, b, a times alpha, in a frame of clear pixels: one before, two after
    int width, height, pitch;
    float scale;  // 1 over the number of the sprite's pixels that one of this level covers along an axis
};

struct StampPlace {
    StampLevel fine, coarse;  // and how much of the coarse one: 0 to below 1
    float mix;
    float tint[4];  // of r, g, b and alpha
    float x, y;     // the centre; whole numbers are pixel centres
    // The place in the sprite, in its pixels from its lower left corner: u = u0 + ux * dx + uy * dy, and v likewise,
    // with dx and dy from the centre.
    float u0, ux, uy, v0, vx, vy;
    float reach_u, reach_v;  // how far from the sprite's middle anything is seen
    // Places read for a pixel, a step apart and balanced about its centre: where the sprite is squeezed in one
    // direction much more than in the other.
    int taps;
    float tap_u, tap_v;
    int first_column, last_column, first_row, last_row;  // pixels that it can reach, inside the picture
};

struct StampKernels {
    void (*over)(const SplatTarget& target, const StampPlace& place);
    void (*add)(const SplatTarget& target, const StampPlace& place);
    void (*screen)(const SplatTarget& target, const StampPlace& place);
};

QUILLON_SIMD_TABLE(StampKernels, stamp_kernels);
