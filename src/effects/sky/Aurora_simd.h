// The hot loops of Q_Aurora, built for each instruction set.
#pragma once

#include "simdlib/cpu.h"

// The light that hangs above one place, by the logarithm of its height: value i of a profile belongs to the height
// exp((lowest + i) * AURORA_STEP), in heights of the lower border.
inline constexpr float AURORA_STEP = 0.008F;
struct AuroraProfile {
    const float* values;
    int lowest, count;
};
enum AuroraLight { AURORA_BAND, AURORA_RAY, AURORA_RED, AURORA_FRINGE, AURORA_LIGHTS };
enum AuroraPlane { AURORA_GREEN_PLANE, AURORA_RED_PLANE, AURORA_FRINGE_PLANE, AURORA_PLANES };

// Azimuths and elevations of lines of sight as a table: a row for each azimuth, a column for each elevation e, where
// column j is that of ln(tan(e)) = (lowest + j) * AURORA_STEP.
struct AuroraTable {
    const float* texels;  // four channels
    long stride;          // floats from row to row
    int rows, columns;
};

// What a row of the picture needs to know. A line of sight is linear in the pixel's x.
struct AuroraPixels {
    float up, ahead, side;                 // of the row's first pixel's middle
    float up_step, ahead_step, side_step;  // from pixel to pixel
    float first_azimuth, rows_a_radian;
    float lowest;  // logarithm, of column 0
    float fine;    // which table: log2(fine / level part of the line of sight)
    int levels;    // tables, each with half of the rows of the one before
    const AuroraTable* tables;
    float dimming;       // of what is behind
    float ground[4];     // light on what the matte leaves out
    bool alone;          // nothing is behind
    const float* matte;  // a row of pixels, or null
    bool inverted;       // the matte
};

struct AuroraKernels {
    // Adds to planes, each of `columns` values, the light of `count` cells: four amounts each, of places whose
    // distance's logarithm is (nearest + cell) * AURORA_STEP. Plane columns begin at `lowest`.
    void (*add_cells)(const AuroraProfile* profiles, const float* cells, int count, int nearest, float* const* planes,
                      int lowest, int columns);
    // Texels = sum of planes times colours, times what the air lets through at each column.
    void (*colour)(const float* const* planes, const float colours[AURORA_PLANES][4], const float* air, float* texels,
                   int columns);
    // Adds glow, of one texel for AURORA_COARSE columns and one before and behind, and turns light into what is shown,
    // with alpha.
    void (*develop)(const float* glow, float* texels, int columns);
    // Pixels [first, end) of a row.
    void (*shade_row)(const AuroraPixels& pixels, float* picture, int first, int end);
};
inline constexpr int AURORA_COARSE = 4;
QUILLON_SIMD_TABLE(AuroraKernels, aurora_kernels);
