// Private: the hot loops of the median filter. Plain data, see cmake/QuillonSimd.cmake.
//
// Sums of samples are exact, so that no order of summation can change them: samples are rounded to multiples of one
// quantum and counted from the lower end of their bin, and no window's sum reaches 2^53 quanta.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

inline constexpr int MEDIAN_BINS = 4096;
inline constexpr int MEDIAN_MOST_RADIUS = 80;
inline constexpr int MEDIAN_SMALL_WINDOW = 121;  // the most samples that small_row is for
inline constexpr int MEDIAN_STRIP = 256;         // columns of a strip, with those that its windows reach
inline constexpr int MEDIAN_WORK_PITCH = MEDIAN_STRIP + 64;
inline constexpr int MEDIAN_WORK_LISTS = 10 * 11;            // one, two, four and three columns of the highest window
inline constexpr int MEDIAN_LANES = 32;                      // what rows of bins and offsets are padded to
inline constexpr std::int16_t MEDIAN_OUTSIDE = 0x7fff;       // instead of a bin, beyond the picture
inline constexpr std::int16_t MEDIAN_NOWHERE = MEDIAN_BINS;  // the same where bins are counted
inline constexpr int MEDIAN_HISTOGRAM = MEDIAN_BINS + 64;    // with MEDIAN_NOWHERE, and padded to a cache line
inline constexpr int MEDIAN_ROWS_AT_ONCE = 8;

// How one channel's samples fall into bins. What is not a number counts as the smallest sample.
struct MedianBins {
    float min, max, scale;
    double rounding;  // 1.5 * 2^52 quanta: adding and subtracting it rounds to multiples of the quantum
    double base;      // lower end of bin 0, and the distance of the bins: multiples of the quantum
    double step;
};

// The rows of the windows of a strip, as bins and as offsets from their lower ends. The pointers are at column 0; 60
// columns before it and behind the last one can be read. Beyond the picture they hold MEDIAN_OUTSIDE and 0.
struct MedianRows {
    const std::int16_t* bins[MEDIAN_SMALL_WINDOW];
    const double* offsets[MEDIAN_SMALL_WINDOW];
    int count;                   // of rows inside the picture
    int radius;                  // in columns
    int left, right;             // how many columns of the picture are beside the strip, at most the radius
    const std::int16_t* inside;  // for each column, how many of its window's columns are inside the picture
    std::int16_t* work;          // MEDIAN_WORK_LISTS * MEDIAN_WORK_PITCH
};

// The columns of a band of rows, for windows of many samples. Rows beyond the picture hold MEDIAN_NOWHERE and 0. Behind
// the last column is one more such one.
struct MedianBand {
    const std::int16_t* bins;  // [columns + 1][pitch]: first the uppermost window's rows, then those of the next ones
    const double* offsets;     // [columns][pitch]
    long columns, pitch;
    int radius_x, radius_y;
    int rows;                         // of medians that are wanted
    int inside[MEDIAN_ROWS_AT_ONCE];  // how many rows of each window are inside the picture
    std::int16_t* counts;             // [rows + 1][MEDIAN_HISTOGRAM]
    double* sums;                     // [rows + 1][MEDIAN_HISTOGRAM]
};

// A few rows of medians at once, into every fourth float. What their windows have in common is in one histogram, and
// what each has besides in one of its own: the window of a row is the sum of two.
struct MedianHistogramKernels {
    using Rows = void (*)(const MedianBins& bins, const MedianBand& band, float* const* out);
    Rows four, eight;
};

struct MedianKernels {
    // `range` holds the smallest and the largest sample of each channel so far.
    void (*find_range)(const float* pixels, long count, float (*range)[2]);
    void (*sort_into_bins)(const MedianBins& bins, const float* pixels, int channel, int count, std::int16_t* bin,
                           double* offset);
    void (*join)(const float* channels, long pitch, int count, float* pixels);
    // One row of medians, many pixels abreast. `out` is padded to MEDIAN_LANES.
    void (*small_row)(const MedianBins& bins, const MedianRows& rows, int count, float* out);
};

QUILLON_SIMD_TABLE(MedianKernels, median_kernels);
QUILLON_SIMD_TABLE(MedianHistogramKernels, median_histogram_kernels);
