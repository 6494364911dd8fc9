// Private: the loops over many noise points, built for each instruction set.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

// What a lattice point's hash looks up, in the order of the hash: entry h of `corners` holds the gradients of h and of
// h + 1 (x, y, z and a gap each), the two ends of a cell's edge along x; entry h of `pairs` holds the permutation of h
// and, in the next eight bits, of h + 1.
struct NoiseTables {
    const float* corners;
    const uint32_t* pairs;
};

constexpr int NOISE_CORNER_FLOATS = 8;

// Points of a row that are worked on at once; their coordinates and sums stay in the first-level cache.
constexpr int NOISE_CHUNK = 256;

struct SolidNoiseKernels {
    // out[i] = noise(x[i], y[i], z[i])
    void (*points)(const NoiseTables& tables, const float* x, const float* y, const float* z, float* out, int count);
    // sum[i] += noise(f x[i], f y[i], f z[i]) / f
    void (*add_points)(const NoiseTables& tables, const float* x, const float* y, const float* z, float f, float* sum,
                       int count);
    // The same with one y and one z for all. The x are those of positions() and no more than NOISE_CHUNK.
    void (*line)(const NoiseTables& tables, const float* x, float y, float z, double step, float* out, int count);
    void (*add_line)(const NoiseTables& tables, const float* x, float y, float z, double step, float f, float* sum,
                     int count);
    // x[i] = start + (first + i) * step
    void (*positions)(double start, double step, int first, float* x, int count);
};

QUILLON_SIMD_TABLE(SolidNoiseKernels, solid_noise_kernels);
