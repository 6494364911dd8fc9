// The rings of Puddle3D, row by row. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int PUDDLE_BEYOND = 16;  // floats behind a row of places or heights that are read and written

struct PuddleRing {
    float x, y;    // centre, on the plane
    float aspect;  // of the plane: a unit of x in units of y
    float front;   // radius, in units of y
    float waves;   // for a unit of y
    float strength;
};

struct PuddleKernels {
    // Places on the plane of a row of pixels, which lies at y. What is behind the horizon is far away.
    void (*places)(const float* to_plane, int width, float step, float y, float* px, float* py);
    // Adds a ring to pixels [first, last) of a row.
    void (*add_ring)(const PuddleRing& ring, const float* px, const float* py, int first, int last, const float* table,
                     float* heights);
};

QUILLON_SIMD_TABLE(PuddleKernels, puddle_kernels);
