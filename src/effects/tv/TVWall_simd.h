// The hot loops of the wall, built for each instruction set.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

// A wall of columns x rows screens, the lower left corner at (0, 0), the upper right at (1, 1).
struct WallShape {
    float to_wall[9];  // from fractions of the picture, row by row
    int columns, rows;
    int width, height;                      // of the picture, in pixels
    float tallness;                         // height of a cell over its width
    float gap, bezel;                       // in half widths of a cell
    float casing_rounding, glass_rounding;  // radii, in half widths of a cell
    float bleed;  // how far casings and glass reach beyond their edges: screens without any border have no seams
    float curvature;
};

// What lies behind the pixels of a row; each array has as many values as a row has pixels, and a register more.
struct WallRow {
    int* cell;       // of the screen, row by row from the bottom; -1 beside the wall
    float *u, *v;    // on the glass, 0 to 1
    float *du, *dv;  // extent of the pixel there
    float* rack;     // how much of the pixel lies on the wall, on a casing, on glass
    float* casing;
    float* glass;
};

// How a screen's picture looks.
struct ScreenLook {
    float gain[4];  // of red, green, blue; the fourth is 1
    float snow;     // 0 or 1
    std::uint32_t seed;
};

struct WallLight {
    const ScreenLook* screens;
    const float* samples;  // four channels for each pixel
    int lines;
    float scan_lines;
    float reflection;
    const float* wave;  // a period of a cosine in WAVE_ENTRIES + 1 entries
};
constexpr int WAVE_ENTRIES = 256;

struct WallRows {
    void (*locate)(const WallShape& shape, int y, const WallRow& row);
    // The light of the screens where there is glass, before `glass` fades it; out has four channels.
    void (*shine)(const WallLight& light, const WallRow& row, int width, float* out);
};
QUILLON_SIMD_TABLE(WallRows, wall_rows);
