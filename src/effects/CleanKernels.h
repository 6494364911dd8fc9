// The hot loops of Clean. Plain data, see cmake/QuillonSimd.cmake.
//
// Sums of samples are exact, so that no order of summation can change them: samples are rounded to multiples of one
// quantum and counted from the lower end of their bin, and no window's sum reaches 2^53 quanta.
#pragma once

#include <cstdint>

inline constexpr int CLEAN_BINS = 4096;
inline constexpr int CLEAN_MOST_RADIUS = 80;
inline constexpr int CLEAN_SMALL_WINDOW = 121;         // the most samples that small_row is for
inline constexpr int CLEAN_LANES = 32;                 // what rows of bins and offsets are padded to
inline constexpr std::int16_t CLEAN_OUTSIDE = 0x7fff;  // instead of a bin, beyond the picture

// How one channel's samples fall into bins. What is not a number counts as the smallest sample.
struct CleanBins {
    float min, max, scale;
    double rounding;  // 1.5 * 2^52 quanta: adding and subtracting it rounds to multiples of the quantum
    double base;      // lower end of bin 0, and the distance of the bins: multiples of the quantum
    double step;
};

// The rows of a window, as bins and as offsets from their lower ends. The pointers are at column 0; 80 columns before
// it and 80 + CLEAN_LANES behind the last one can be read and hold CLEAN_OUTSIDE and 0.
struct CleanRows {
    const std::int16_t* bins[CLEAN_SMALL_WINDOW];
    const double* offsets[CLEAN_SMALL_WINDOW];
    int count;                   // of rows inside the picture
    int radius;                  // in columns
    const std::int16_t* inside;  // for each column, how many of its window's columns are inside the picture
};

// Histograms of the columns of a strip, over the rows of a window: counts in three levels of 16 parts each, every part
// with those before it, and the sum of the offsets in each bin. Columns of one part lie beside each other, since rows
// of the picture are walked along them.
struct CleanColumns {
    std::int16_t* coarse;  // [column][16]
    std::int16_t* middle;  // [16][column][16]
    std::int16_t* fine;    // [256][column][16]
    double* sums;          // [4096][column]
    long columns;
    std::int16_t (*window)[16];  // 1 + 16 + 256 histograms of the window
    int* reached;                // 16 + 256: the pixel that they were last valid for
};

struct CleanKernels {
    // RGBA to four planes and back. `range` holds the smallest and the largest sample of each channel so far.
    void (*split)(const float* pixels, long count, float* const* planes, float (*range)[2]);
    void (*join)(const float* const* planes, long count, float* pixels);
    void (*sort_into_bins)(const CleanBins& bins, const float* samples, int count, std::int16_t* bin, double* offset);
    // One row of medians by trial and error, bit by bit, many pixels abreast. `out` is padded to CLEAN_LANES.
    void (*small_row)(const CleanBins& bins, const CleanRows& rows, int count, float* out);
    // Adds (sign 1) or removes (-1) one sample a column.
    void (*update_columns)(const CleanColumns& columns, const std::int16_t* bin, const double* offset, int count,
                           int sign);
    // The window of pixel i is columns i to i + 2 * radius.
    void (*large_row)(const CleanBins& bins, const CleanColumns& columns, int radius, int count, float* out);
};

namespace baseline {
extern const CleanKernels clean_kernels;
}
namespace avx2 {
extern const CleanKernels clean_kernels;
}
namespace avx512 {
extern const CleanKernels clean_kernels;
}
