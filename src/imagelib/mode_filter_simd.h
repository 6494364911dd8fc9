// Private: the hot loops of the mode filter. Plain data, see cmake/QuillonSimd.cmake.
//
// A picture of bins is RGBA bytes, 0 to 127. The count of a bin in a window stands above a few low bits that are larger
// for smaller bins, so that the largest of all entries names the most frequent bin, and of several such the smallest.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int MODE_BINS = 128;
inline constexpr float MODE_SCALE = 127.99f;        // from samples to bins
inline constexpr float MODE_LEVEL = 1.0f / 127.0f;  // and back

// Counts in 16 bits, 4 of which tell which group of eight bins an entry is in: enough for MODE_SMALL_WINDOW pixels.
using ModeCount = short;
inline constexpr int MODE_COUNT_ONE = 16;
inline constexpr int MODE_SMALL_WINDOW = 2047;

// Counts in 32 bits, 7 of which tell the bin.
using ModeWideCount = int;
inline constexpr int MODE_WIDE_COUNT_ONE = MODE_BINS;

inline constexpr int MODE_SLACK = 64;  // bytes that the 3x3 loop may read past the end of a row, and scratch of a row

struct ModeKernels {
    // trunc(sample * 127.99) limited to 0 to 127; what is not a number is 0.
    void (*quantise)(const float* samples, unsigned char* bins, long count);
    // bin / 127. `streamed`: past the caches where the place allows it.
    void (*restore)(const unsigned char* bins, float* samples, long count, bool streamed);
    // The mode of 3x3 pixels for a row of `count` samples. The three rows begin one pixel to the left and are eight
    // bins longer; `scratch` holds three times count + 8 + MODE_SLACK bytes.
    void (*mode_3x3)(const unsigned char* above, const unsigned char* row, const unsigned char* below,
                     unsigned char* scratch, float* samples, long count, bool streamed);
    // Modes of `count` windows side by side, four bytes apart. Window i is made up of `window` columns from column i
    // on; a column is MODE_BINS counts, 64-byte aligned.
    void (*slide)(const ModeCount* columns, int window, int count, unsigned char* modes);
    void (*slide_wide)(const ModeWideCount* columns, int window, int count, unsigned char* modes);
};

QUILLON_SIMD_TABLE(ModeKernels, mode_kernels);
