// Private: the Fourier transform of the random vector fields, and the kernels it is built from.
#pragma once

#include <cstddef>

#include "simdlib/cpu.h"

constexpr std::size_t MAX_TRANSFORM = 512;

// Transforms along one axis of an array of complex numbers, in place and unscaled. The array has `total` numbers in
// split form, the axis has `size` (a power of two up to MAX_TRANSFORM), and all axes up to and with it make `span`
// numbers: neighbours along the axis are span / size apart. The exponent has the sign of `sign`. False when the sizes
// do not fit.
bool fft_radix2(double* real, double* imag, std::size_t total, std::size_t size, std::size_t span, int sign);

// Amplitudes and phases, in radians from 0 to 2 pi, become real and imaginary parts.
void from_polar(double* amplitude, double* phase, std::size_t count);

struct TransformKernels {
    // count butterflies of the same twiddle factor c + i s: a, b become a + (c + i s) b, a - (c + i s) b
    void (*butterflies)(double* a_real, double* a_imag, double* b_real, double* b_imag, double c, double s,
                        std::size_t count);
    void (*from_polar)(double* amplitude, double* phase, std::size_t count);
};

QUILLON_SIMD_TABLE(TransformKernels, transform_kernels);
