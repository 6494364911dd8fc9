// The hot loops of Clean. Plain data, see cmake/QuillonSimd.cmake.
//
// Sums of samples are exact, so that no order of summation can change them: samples are rounded to multiples of one
// quantum and counted from the lower end of their bin, and no window's sum reaches 2^53 quanta.
#pragma once

#include <cstdint>

inline constexpr int CLEAN_BINS = 4096;
inline constexpr int CLEAN_MOST_RADIUS = 80;
inline constexpr int CLEAN_SMALL_WINDOW = 121;  // the most samples that small_row is for
inline constexpr int CLEAN_STRIP = 256;         // columns of a strip, with those that its windows reach
inline constexpr int CLEAN_WORK_PITCH = CLEAN_STRIP + 64;
inline constexpr int CLEAN_WORK_LISTS = 10 * 11;           // one, two, four and three columns of the highest window
inline constexpr int CLEAN_LANES = 32;                     // what rows of bins and offsets are padded to
inline constexpr std::int16_t CLEAN_OUTSIDE = 0x7fff;      // instead of a bin, beyond the picture
inline constexpr std::int16_t CLEAN_NOWHERE = CLEAN_BINS;  // the same where bins are counted
inline constexpr int CLEAN_HISTOGRAM = CLEAN_BINS + 64;    // with CLEAN_NOWHERE, and padded to a cache line
inline constexpr int CLEAN_MOST_ROWS = 8;

// How one channel's samples fall into bins. What is not a number counts as the smallest sample.
struct CleanBins {
    float min, max, scale;
    double rounding;  // 1.5 * 2^52 quanta: adding and subtracting it rounds to multiples of the quantum
    double base;      // lower end of bin 0, and the distance of the bins: multiples of the quantum
    double step;
};

// The rows of the windows of a strip, as bins and as offsets from their lower ends. The pointers are at column 0; 60
// columns before it and behind the last one can be read. Beyond the picture they hold CLEAN_OUTSIDE and 0.
struct CleanRows {
    const std::int16_t* bins[CLEAN_SMALL_WINDOW];
    const double* offsets[CLEAN_SMALL_WINDOW];
    int count;                   // of rows inside the picture
    int radius;                  // in columns
    int left, right;             // how many columns of the picture are beside the strip, at most the radius
    const std::int16_t* inside;  // for each column, how many of its window's columns are inside the picture
    std::int16_t* work;          // CLEAN_WORK_LISTS * CLEAN_WORK_PITCH
};

// The columns of a band of rows, for windows of many samples. Rows beyond the picture hold CLEAN_NOWHERE and 0. Behind
// the last column is one more such one.
struct CleanBand {
    const std::int16_t* bins;  // [columns + 1][pitch]: first the uppermost window's rows, then those of the next ones
    const double* offsets;     // [columns][pitch]
    long columns, pitch;
    int radius_x, radius_y;
    int rows;                     // of medians that are wanted
    int inside[CLEAN_MOST_ROWS];  // how many rows of each window are inside the picture
    std::int16_t* counts;         // [rows + 1][CLEAN_HISTOGRAM]
    double* sums;                 // [rows + 1][CLEAN_HISTOGRAM]
};

// A few rows of medians at once, into every fourth float. What their windows have in common is in one histogram, and
// what each has besides in one of its own: the window of a row is the sum of two.
struct CleanBandKernels {
    using Rows = void (*)(const CleanBins& bins, const CleanBand& band, float* const* out);
    Rows four, eight;
};

struct CleanKernels {
    // `range` holds the smallest and the largest sample of each channel so far.
    void (*find_range)(const float* pixels, long count, float (*range)[2]);
    void (*sort_into_bins)(const CleanBins& bins, const float* pixels, int channel, int count, std::int16_t* bin,
                           double* offset);
    void (*join)(const float* channels, long pitch, int count, float* pixels);
    // One row of medians, many pixels abreast. `out` is padded to CLEAN_LANES.
    void (*small_row)(const CleanBins& bins, const CleanRows& rows, int count, float* out);
};

namespace baseline {
extern const CleanKernels clean_kernels;
extern const CleanBandKernels clean_band_kernels;
}  // namespace baseline
namespace avx2 {
extern const CleanKernels clean_kernels;
extern const CleanBandKernels clean_band_kernels;
}  // namespace avx2
namespace avx512 {
extern const CleanKernels clean_kernels;
extern const CleanBandKernels clean_band_kernels;
}  // namespace avx512
