// The loop of Q_TrailPath over all pixels. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// A row of the picture and what falls on it: pixels of four floats.
struct PathLightRow {
    const float* glow;    // a line of the grid and its last cell again; null: none
    const int* cells;     // of each pixel: the cell to its left
    const float* parts;   // and how far it is from that to the next one
    const float* sparks;  // of each pixel; null: none
    float* pixels;
    int count;
};

struct PathKernels {
    // Screens the light onto the pixels, with a shoulder: no light makes more than white. Alpha is screened with the
    // brightest of the three. Half of the glow is haze, the rest falls on what is there and shows its texture.
    void (*light)(const PathLightRow& row);
};

QUILLON_SIMD_TABLE(PathKernels, path_kernels);
