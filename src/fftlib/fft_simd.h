// Fourier transforms of 16 lines side by side. Plain data, see cmake/QuillonSimd.cmake.
//
// A block of such lines holds its points one after another, each as 16 real and 16 imaginary parts; transforms take the
// addresses of the first real and of the first imaginary part. Lanes never mix, so that the width of a register changes
// no result. Forward means exp(-2 pi i ...) throughout; with the two addresses swapped it is the inverse.
#pragma once

#include "simdlib/cpu.h"

constexpr int FFT_LINES = 16;
constexpr int FFT_POINT = 2 * FFT_LINES;  // floats from one point of a block to the next

struct FFTRoot {
    float real, imaginary;
};

// One level of the transform: every part of `length` points is cut into `radix` parts.
struct FFTStage {
    int radix, length;
    const FFTRoot* twiddles;  // exp(-2 pi i j k / length): for each j below length / radix, k from 1 to radix - 1
    const FFTRoot* roots;     // exp(-2 pi i j / radix) for each j; only radices without a routine of their own read it
};
struct FFTStages {
    const FFTStage* stage;
    int count;  // none for a length of 1
};

constexpr int FFT_LARGEST_RADIX = 61;

struct FFTKernels {
    // From natural order to the order that the stages leave (FFTPlan::positions), in place.
    void (*to_frequencies)(const FFTStages& stages, float* real, float* imaginary);
    // From that order to natural order, with the same sign of the exponent.
    void (*from_frequencies)(const FFTStages& stages, float* real, float* imaginary);
};

QUILLON_SIMD_TABLE(FFTKernels, fft_kernels);
