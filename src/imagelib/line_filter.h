// One-dimensional resampling at a constant distance between samples: the lines of shifts and shears.
//
// All positions of a line have the same fraction, so a line has one set of tap weights. Offsets are held in double
// precision, in which a pixel index plus an offset is exact enough that the weights are those of each single position.
#pragma once

#include <memory>

#include "imagelib/imagelib_resample.h"
#include "imagelib/resample_simd.h"

namespace resample {

inline constexpr int MAX_LINE_TAPS = 4;

// Reads source[i + first + k] for k from 0 to taps - 1.
struct LineFilter {
    int first = 0;
    int taps = 0;
    float weights[MAX_LINE_TAPS] = {};
    int fixed_weights[MAX_LINE_TAPS] = {};
};

LineFilter make_line_filter(double offset, const ImagelibKernel& kernel);

// The range of outputs whose windows lie inside the source; empty when first > last.
struct InnerRange {
    int first, last;
};
InnerRange inner_range(int first_tap, int taps, int inputs, int outputs);

// A row of T (the four sample types).
template <class T>
void filter_line(const T* in, int inputs, T* out, int outputs, int channels, const LineFilter& filter, int edge,
                 const ResampleKernels& kernels, bool stream);

// A filter for each column, for shears along y.
struct ColumnFilters {
    int columns = 0, taps = 0;
    std::unique_ptr<int[]> first;
    std::unique_ptr<float[]> weights;      // [columns][taps]
    std::unique_ptr<int[]> fixed_weights;  // [columns][taps]
};
// Column x reads at offset - x * shear. False when memory is wanting.
bool make_column_filters(int columns, double shear, double offset, const ImagelibKernel& kernel,
                         ColumnFilters& filters);

// Row y of the sheared picture.
template <class T>
void filter_columns(const K7Image* source, const ColumnFilters& filters, int y, T* out, int edge,
                    const ResampleKernels& kernels);

}  // namespace resample
