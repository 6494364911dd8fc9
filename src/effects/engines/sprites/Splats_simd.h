// The loops that lay sprites into rows of a float RGBA picture, one table for each vector unit.
#pragma once

#include "simdlib/cpu.h"

// Rows of the picture from first_row to last_row, of which `width` pixels count.
struct SplatTarget {
    float* pixels;  // of row 0
    long pitch;     // floats a row
    int width, first_row, last_row;
};

// Samples have a frame of zeroes one pixel wide, and some columns more that may be read.
struct SplatSprite {
    const float* samples;
    int width, height, pitch;
};

struct SplatPlace {
    float colour[4];  // alpha is 1
    float opacity;
    float x, y;                                          // the sprite's centre; whole numbers are pixel centres
    float cosine, sine;                                  // of the turn
    int first_column, last_column, first_row, last_row;  // pixels that it can reach, inside the picture
};

struct SplatKernels {
    void (*upright)(const SplatTarget& target, const SplatSprite& sprite, const SplatPlace& place);
    void (*turned)(const SplatTarget& target, const SplatSprite& sprite, const SplatPlace& place);
};

QUILLON_SIMD_TABLE(SplatKernels, splat_kernels);
