// Rows of the fluid effects' pictures. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// Colours over a scale, linear between knots. The first knot (from the lowest index) that lies above a place ends its
// bracket: so knots need not be sorted. Below the first one its colour holds, beyond all the last one's.
struct FluidRamp {
    static constexpr int MOST = 8;
    struct Knot {
        float position;
        float colour[4];  // red, green, blue, alpha
    };
    int count = 0;  // 1 to MOST
    Knot knots[MOST] = {};

    // A value v of the fluid stands at (v - low) * scale, not below 0, raised to `exponent`.
    float low = 0, scale = 1;
    float exponent = 1;
    // Alpha: the ramp's, or (d - alpha_low) * alpha_scale of another field's value d, 0 to 1.
    bool alpha_of_ramp = false;
    float alpha_low = 0, alpha_scale = 1;
};

// Samples below `low` are 0, the others (s - low) * scale.
struct FluidThreshold {
    float low, scale;
};

struct FluidColourKernels {
    // `count` values of both fields to RGBA pixels.
    void (*colours)(const FluidRamp& ramp, const float* values, const float* alphas, int count, float* pixels);
    // foreground + source * (1 - alpha of the foreground, 0 to 1), the foreground multiplied by that alpha first unless
    // it is `premultiplied`. The source is taken as it stands; null is black and transparent. The pixels may
    // be either's.
    void (*over)(const float* foreground, const float* source, bool premultiplied, int count, float* pixels);
    // pixels + light * brightness, alpha up to 1; and pixels * light * brightness, alpha as it was.
    void (*add_light)(const float* light, float brightness, int count, float* pixels);
    void (*multiply_light)(const float* light, float brightness, int count, float* pixels);
    // Adds the mean of the three colours of each pixel behind the threshold, times amount, to cells of two fields.
    void (*burn)(const FluidThreshold& threshold, const float* pixels, float amount, int count, float* heat,
                 float* density);
};

QUILLON_SIMD_TABLE(FluidColourKernels, fluid_colours);
