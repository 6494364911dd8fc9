// Private to colours and palettes: the row kernels. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

struct PaletteKernels {
    void (*to_oklab)(const float* rgba, float* laba, int count);
    void (*to_rgb)(const float* laba, float* rgba, int count);
    // The nearest of `colours` colours in planes l, a, b for each of `count` pixels; its squared distance unless null.
    void (*nearest)(const float* laba, int count, const float* l, const float* a, const float* b, int colours,
                    std::uint32_t* labels, float* distances);
};

QUILLON_SIMD_TABLE(PaletteKernels, palette_kernels);
