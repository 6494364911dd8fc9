// What goes on around transforms of blocks of 16 lines (fft_simd.h): rows of pictures into blocks and back, blocks into
// columns of frequencies and back, products. Plain data, see cmake/QuillonSimd.cmake.
//
// Frequencies of a plane stand in strips of 16 columns: strip s holds columns 16 s to 16 s + 15, row after row, each
// row as 16 real and 16 imaginary parts. So a strip is a block whose lines are columns, and transforms as it lies.
#pragma once

#include <cstddef>

#include "fftlib/fft_simd.h"

// Rows of floats in memory. A number of theirs that is not finite is taken as 0 where `finite` says so.
struct FFTRows {
    float* first;      // of the first row
    std::size_t step;  // floats from one row to the next
    int rows;          // 0 to 16; missing ones are zeros, and are not written
    int count;         // numbers (pixels) of a row
    bool finite;
};

struct FFTLineKernels {
    // Rows of plain numbers into one part of the block's points (`part`: the address of its first real, or first
    // imaginary number) and back, multiplied by `scale`. Loading writes up to 15 points behind `count`.
    void (*load_rows)(const FFTRows& rows, float* part);
    void (*store_rows)(const FFTRows& rows, const float* part, float scale);
    // Rows of RGBA pixels, of which two channels that lie side by side become the real and the imaginary parts.
    // `first` is the address of a pixel, `channel` 0 or 2. Storing leaves the other two channels as they are.
    void (*load_pixels)(const FFTRows& rows, int channel, float* block);
    void (*store_pixels)(const FFTRows& rows, int channel, const float* block);
    // Of a transformed block of `length` points: the frequencies 0 to length / 2 of its real parts into strips at `a`,
    // of its imaginary parts into strips at `b`; each is twice what the transform gives. `a` and `b` are where the
    // first of the 16 rows lies in the first strip, `strip` the floats from one strip to the next.
    void (*split)(const float* block, const int* positions, int length, float* a, float* b, std::size_t strip);
    // The reverse, of frequencies that are not doubled: a block whose inverse transform has the rows of `a` in its real
    // parts and those of `b` in its imaginary ones.
    void (*join)(float* block, const int* positions, int length, const float* a, const float* b, std::size_t strip);

    void (*clear_points)(float* points, int count);
    void (*scale_points)(float* to, const float* from, float by, int count);
    // Each point of `count` times a number, and times a point.
    void (*multiply_points)(float* real, float* imaginary, const FFTRoot* by, int count);
    void (*multiply_blocks)(float* points, const float* by, int count);
};

QUILLON_SIMD_TABLE(FFTLineKernels, fft_line_kernels);
