// Real lines before and after transforms of blocks (fft_simd.h): one in the real parts, another in the imaginary ones.
// Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstddef>

#include "fftlib/fft_simd.h"

// 1 to 32 columns of a plane as lines: the first 16 in the real parts, the others in the imaginary ones.
struct FFTColumns {
    float* first;
    std::size_t pitch;  // floats from one row to the next
    int columns, rows;
};

struct RealLineKernels {
    void (*load_columns)(const FFTColumns& columns, float* block);  // missing columns are zeros
    void (*store_columns)(const FFTColumns& columns, const float* block, float scale);

    // `width` points from the second one on, continued as an odd function over 2 (width + 1) points.
    void (*extend_odd)(float* block, int width);
    // The sine transforms in its frequencies: twice the sums.
    void (*take_sines)(const float* block, const int* positions, int width, float* lines);

    // Cosine transforms of `width` points through Fourier ones of the same length (Makhoul 1980): even points in order,
    // then odd ones backwards; frequencies turned by turns[k] = exp(-pi i k / 2 width). take_cosines gives twice the
    // sums.
    void (*fold_cosines)(const float* lines, int width, float* block);
    void (*take_cosines)(const float* block, const int* positions, const FFTRoot* turns, int width, float* lines);
    // And back.
    void (*place_cosines)(const float* lines, const FFTRoot* turns, int width, const int* positions, float* block);
    void (*unfold_cosines)(const float* block, int width, float* lines);
};

QUILLON_SIMD_TABLE(RealLineKernels, real_line_kernels);
