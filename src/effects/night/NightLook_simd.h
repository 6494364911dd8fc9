// The row passes of the night looks. Plain data, see cmake/QuillonSimd.cmake.
//
// Rows are float RGBA, `count` pixels of them. `out` may be the row that was read. Whatever is not a number counts as
// 0.
#pragma once

#include "simdlib/cpu.h"

// Entries of a film table, one more than are addressed so that each has a neighbour; four floats each.
inline constexpr int FILM_ENTRIES = 4096;
// Entries of a palette, four floats each.
inline constexpr int PALETTE_ENTRIES = 16384;
inline constexpr int TUBE_STEPS = 65536;

// How a night-vision tube turns light into brightness.
struct TubeResponse {
    const float* powers;  // of TUBE_STEPS numbers in [0, 1)
    double exponent;
    float (*power)(double base, double exponent);  // of any other number
    float gain, lift;
};

struct NightLookRows {
    // The channel of `working` in which `source` is largest (red before green before blue) indexes the film, linearly
    // between entries. Alpha is the source's.
    void (*film)(const float* table, const float* source, const float* working, float* out, int count);
    // The luminance of `working` times `boost` indexes the palette. Alpha is the source's.
    void (*palette)(const float* table, float boost, const float* source, const float* working, float* out, int count);

    // Luminance through the response, into R, G and B.
    void (*develop)(const TubeResponse& response, const float* source, float* out, int count);
    // R times the tint.
    void (*tint)(const float* tint, float* row, int count);
    // `developed` where the source's luminance is above the threshold, elsewhere nothing.
    void (*highlights)(float threshold, const float* source, const float* developed, float* out, int count);
    // Adds highlights times `boost`, in all four channels.
    void (*bloom)(float boost, const float* highlights, float* row, int count);
    // Amplitudes, smaller where the picture is light; without a picture as they are.
    void (*grain_amounts)(const float* amplitudes, const float* picture, float* out, int count);
    // One channel: sum + amount, limited to 0 to 1.
    void (*grain_sums)(const float* amounts, float* sums, int count);
    // Adds twice the difference between the grain, one channel, and a half.
    void (*grain)(const float* grain, float* row, int count);
};

QUILLON_SIMD_TABLE(NightLookRows, night_look_rows);
