// Rows of ghosts. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

struct GhostLook {
    float x, y;                      // of its centre, pixels
    float inverse_radius;            // of its radius in widths of a pixel
    float row_height;                // of a row, in widths of a pixel
    float direction_x, direction_y;  // of the whiter side; 0, 0: none
    float fade_scale, fade_offset;   // distance in radii to how far it has faded, 0 to 1
    float red, green, blue, white;
};

enum class GhostMode { over, add, screen, alone };

struct GhostKernels {
    // Adds `count` pixels of a row from x on; `coverage` is that of each; null: all 1.
    void (*shade)(const GhostLook& ghost, int x, int y, int count, const float* coverage, float* layer);
    // Puts a row of the layer onto a row of pixels.
    void (*composite)(GhostMode mode, const float* layer, float* pixels, int count);
};

QUILLON_SIMD_TABLE(GhostKernels, ghost_kernels);
