// The hot loops of Burn. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

struct FilmGrade {
    enum Stock { COLOUR, BLACK_AND_WHITE, TINTED };
    Stock stock;
    float gain, lift;
    float factors[3];  // of the channels: balance, or tint
    float saturation;
};

// How the film looks at a depth behind the rim: a factor and an offset for each channel, in equal steps from where it
// begins to warm to where it is gone.
inline constexpr int SCORCH_ENTRIES = 512;
struct ScorchTable {
    alignas(32) float values[SCORCH_ENTRIES + 1][8];  // keep r g b a, add r g b a
    float first, scale;                               // entry = (depth - first) * scale
    bool grey;                                        // all channels follow the red one
};

struct BurnKernels {
    void (*grade)(const FilmGrade& grade, float* pixels, int count);
    // In place: the picture gives way to the molten one by the heat (0 to 1), and is scorched by the depth.
    void (*scorch)(const ScorchTable& table, const float* depth, const float* heat, const float* molten, float* pixels,
                   int count);
};

QUILLON_SIMD_TABLE(BurnKernels, burn_kernels);
