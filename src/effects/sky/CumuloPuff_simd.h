// The loops that shade puffs of cloud, one table for each vector unit.
#pragma once

#include "simdlib/cpu.h"

// Densities over the squared distance from the middle of a puff of radius 1, in equal steps; the last one is 0.
inline constexpr int PUFF_STEPS = 4096;
// Pixels of a row that are shaded at once.
inline constexpr int PUFF_CHUNK = 256;

// What kernels write and read beyond the end of their arrays, in floats.
inline constexpr int PUFF_BEYOND = 16;

struct PuffShading {
    const float* profile;  // PUFF_STEPS + 1
    float light[3];        // towards the light, length 1; z towards the eye
    float dark, slope;     // shade = (cosine of the angle to the light - dark) * slope, within 0 to 1
    float even;            // added to the shade: 1 where there is no light
    float shadow[4];       // colour of shade 0; alpha 1
    float lit[4];          // what shade 1 adds to it; alpha 0
    const float* repeats;  // weights of stamps that lie on the first one
    int repeat_count;
};

// A part of a row of a puff. Places count from its middle, in radii.
struct PuffRow {
    float first, middle, step;     // of pixel i: (first + i - middle) * step
    float up;                      // of the row
    const float *push_u, *push_v;  // how far away the texture reads, in radii; null: no texture
    float amount;                  // of the puff where it is densest, 0 to 1
    int count;                     // at most PUFF_CHUNK
};

struct PuffKernels {
    // Lays the row over pixels of float RGBA.
    void (*row)(const PuffShading& shading, const PuffRow& row, float* pixels);
    // out[i] is ends[i / size], and towards ends[i / size + 1] in `size` equal steps, for size = 1 << shift, at
    // most 16. Up to PUFF_BEYOND values more are written, and read.
    void (*spread)(const float* ends, int shift, float* out, int count);
    // out[i] = a[i] + t * (b[i] - a[i])
    void (*between)(const float* a, const float* b, float t, float* out, int count);
};

QUILLON_SIMD_TABLE(PuffKernels, puff_kernels);
