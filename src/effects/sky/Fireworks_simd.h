// The loops of Q_Fireworks over pixels. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

inline constexpr int LIGHT_ROOM = 16;  // numbers behind the end of a row that kernels may read and write

// A line of light from a to b, as soft as its radius, or a spot where the two are one. Lengths are in widths of a
// pixel; y runs upwards from the lower edge of the picture. The light of all pixels adds up to `light`.
struct LightStroke {
    float ax, ay, bx, by;
    float radius;
    float light[3];
};

// Rows of the picture in three planes, the first of which is `first_row`.
struct FireworkBand {
    float* planes[3];
    int width, pitch;
    int first_row, last_row;
    float row_height;  // in widths of a pixel
};

// One row of the picture and what falls on it.
struct LitRow {
    const float* sharp[3];   // light of each pixel; null: none
    const float* soft[3];    // of each cell of the grid, with twice the room behind them
    const float* ground[3];  // how much brighter the background becomes, of each cell; null: not at all
    const int* cells;        // of each pixel: the cell to its left; a cell is at least a pixel wide
    const float* parts;      // and how far it is from that to the next one
    float* pixels;           // RGBA, in and out
    int count;
};

struct FireworkKernels {
    // The strokes that `order` names, in that order. Strokes add exactly: the pieces of a line are the line.
    void (*strokes)(const FireworkBand& band, const LightStroke* strokes, const std::uint32_t* order, int count);
    // Screens the light onto the pixels, with a shoulder: no light makes more than white. Alpha is screened with the
    // brightest of the three.
    void (*compose)(const LitRow& row);
};

QUILLON_SIMD_TABLE(FireworkKernels, firework_kernels);
