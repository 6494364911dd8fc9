// The inner loops of scaling and shearing on float rows, built for every instruction set. All levels sum the taps of
// a sample in order, so they give the same bits.
#pragma once

#include <cstddef>

#include "simdlib/cpu.h"

struct ResampleKernels {
    // out[i] = sum over k of weights[k] * rows[k][i]. `stream`: the result is not read again soon.
    void (*sum_rows)(float* out, const float* const* rows, const float* weights, int taps, std::size_t count,
                     bool stream);
    // RGBA pixels first to last of some rows: out[r][o] = sum over k of weights[o * taps + k] * in[r][start[o] + k].
    // Rows go by fours best.
    void (*scale_rgba)(float* const* out, const float* const* in, int rows, const int* start, const float* weights,
                       int taps, int first, int last);
    // Samples: out[i] = sum over k of weights[k] * in[i + k * step].
    void (*filter_row)(float* out, const float* in, const float* weights, int taps, std::size_t step, std::size_t count,
                       bool stream);
    // RGBA pixels first to last: out[x] = sum over k of weights[x * taps + k] * in[(row[x] + k) * stride + 4 * x].
    void (*shear_columns_rgba)(float* out, const float* in, std::size_t stride, const int* row, const float* weights,
                               int taps, int first, int last);
    // RGBA pixels first to last: out[place[x]] = sum over k of weights[k] * in[x + k], four taps.
    void (*scatter_row_rgba)(float* out, const std::ptrdiff_t* place, const float* in, const float* weights, int first,
                             int last);
    // RGBA pixels 0 to pixels - 1 of some rows: out[y][x] = sum over k of weights[4 * x + k] * in[y + k][x], four taps.
    void (*sum_slanted_rgba)(float* out, std::size_t out_stride, const float* in, std::size_t stride,
                             const float* weights, int rows, int pixels);
};

QUILLON_SIMD_TABLE(ResampleKernels, resample_kernels);
