// Private to the library: planes of frequencies of real rows, and the way there and back.
#pragma once

#include "fftlib/fft_work.h"

inline constexpr int FFT_PAIR = 2 * FFT_LINES;

// Strips of columns (fft_lines_simd.h) for the frequencies 0 to length / 2 of each row.
struct HalfPlane {
    float* strips = nullptr;
    std::size_t strip_step = 0;  // floats
    float* at(int strip, int row) const {
        return strips + std::size_t(strip) * strip_step + std::size_t(row) * FFT_POINT;
    }
    HalfPlane from(int row) const { return {at(0, row), strip_step}; }
};

inline int fft_strips(int length) { return fft_groups(length / 2 + 1, FFT_LINES); }
// Rows are written in blocks, and single channels in pairs of blocks.
inline std::size_t fft_strip_step(int rows) { return std::size_t(fft_groups(rows, FFT_PAIR)) * FFT_PAIR * FFT_POINT; }

// Rows of plain numbers, or of RGBA pixels of which two channels are meant.
struct RealRows {
    float* data;
    std::size_t step;  // floats from one row to the next
    int rows, width;   // width in numbers, or pixels
    int channel;       // of pixels: 0 or 2; -1: plain numbers
    bool finite;       // what is not finite counts as 0
};

// Transforms rows to frequencies. Of pixels the first channel goes to `a` and the second to `b`; plain rows all go to
// `a`. A row begins at `place` of the transform's length; below 0, so many of its numbers are at that length's end. The
// results are twice the transform.
bool rows_to_half_planes(FFTWork& work, const FFTPlan& plan, const RealRows& rows, int place, HalfPlane a, HalfPlane b);
// Back, from frequencies as they are (once the transform); the inverse transform, unnormalised.
bool half_planes_to_rows(FFTWork& work, const FFTPlan& plan, HalfPlane a, HalfPlane b, const RealRows& rows);
