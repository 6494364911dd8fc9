// Lines of sight through a surface, row by row. Plain data, see cmake/QuillonSimd.cmake.
//
// A row of heights has one more float at both ends: the pixel beside it, at the picture's edge the edge again.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int SIGHT_BLOCK = 32;

struct RefractingGrid {
    int width;
    float max_x, max_y;          // width - 1, height - 1; above 0
    float dx, dy;                // one pixel, as a fraction of the picture
    float index_squared_less_1;  // of the refractive index
    bool axial;                  // slopes along the axes count beside those along the diagonals
};

struct ShiningLight {
    float to_plane[9];         // projective map from the picture to the plane that is lit, row by row
    float row_scale;           // of a pixel's y before the map
    float centre_x, centre_y;  // of the picture, on the plane
    float light[3];            // half-way vector above the centre
    float brightness;
    float gloss;  // exponent
};

// Limits of the places that are read, in pixels.
struct FootprintLimits {
    int width;
    float low_x, high_x, low_y, high_y;
};

struct RefractionKernels {
    // By how many pixels the line of sight of each pixel is bent for a unit of height: rows above (one less), here and
    // below (one more).
    void (*bends)(const RefractingGrid& grid, const float* above, const float* here, const float* below, float* x,
                  float* y);
    // Whether any line of sight is bent in each block of SIGHT_BLOCK pixels, the last of which may be shorter.
    void (*find_bent)(int width, const float* x, const float* y, unsigned char* blocks);
    // Highlights of row y.
    void (*shine)(const RefractingGrid& grid, const ShiningLight& light, const float* above, const float* here,
                  const float* below, int y, float* out);
    // Where lines of sight of row y arrive from `base` above the heights, in pixels, v one pixel less than its place.
    void (*places)(int width, float base, const float* heights, const float* bend_x, const float* bend_y, int y,
                   float* u, float* v);
    // The centre and the area of each pixel's footprint, for pixels 1 to width - 2, from the places of its row and of
    // the next. Horizontally a cell lies before its pixel, vertically behind it: what makes up for the pixel less.
    void (*footprints)(const FootprintLimits& limits, const float* u, const float* v, const float* next_u,
                       const float* next_v, float* x, float* y, float* area);
    // RGBA pixels in place: colours times the contrast, and highlights in the light's colour on top.
    void (*light_up)(int count, float contrast, const float* shine, const float* colour, float* pixels);
};

QUILLON_SIMD_TABLE(RefractionKernels, refraction_kernels);
