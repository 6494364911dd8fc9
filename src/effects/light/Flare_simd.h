// The hot parts of a flare. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int FLARE_SHORTEST = 400, FLARE_LONGEST = 700;  // wavelengths that it is made of, nanometres
inline constexpr int FLARE_LINES = FLARE_LONGEST - FLARE_SHORTEST + 1;
inline constexpr int FLARE_ROOM = 16;  // floats behind the end of an array that kernels may read and write

// Light that falls through slits side by side.
struct FlareSlits {
    double width, distance;  // millimetres
    int count;
};

inline constexpr int HALO_ENTRIES = 1024;
struct HaloTable {
    float red[HALO_ENTRIES + 1], green[HALO_ENTRIES + 1], blue[HALO_ENTRIES + 1];  // the last two are equal
};

struct FlareTone {
    float scale, power, gain;  // (light * scale) ^ power * gain
    bool screen;
};

struct FlareKernels {
    // The intensities at one angle to the axis, for each wavelength: FLARE_LINES numbers, and room behind them.
    void (*diffraction)(const FlareSlits& slits, double sine_of_angle, float* spectrum);
    // Colours at `count` distances from the centre: those of the pixels 0, 1, ... of a row that passes it at `dy`.
    void (*halo)(const HaloTable& table, float entries_a_pixel, float dy, int count, float* red, float* green,
                 float* blue);
    // Multiplies a row by 1 - darkness, limited to 0 and 1, and answers the sum of its three colours.
    double (*darken)(float* red, float* green, float* blue, const float* darkness, int count);
    // Light onto a row of pixels, alpha as it is.
    void (*tone)(const FlareTone& tone, const float* red, const float* green, const float* blue, float* pixels,
                 int count);
};

QUILLON_SIMD_TABLE(FlareKernels, flare_kernels);
