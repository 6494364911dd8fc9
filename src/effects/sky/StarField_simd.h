// The loops of Q_StarField. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstddef>

#include "simdlib/cpu.h"

// A star that moved along a line with even speed, or a ray of a bright one. Places and lengths are in widths of a
// pixel, y upwards.
struct StarStreak {
    float x, y;          // its middle
    float cosine, sine;  // of its direction
    float half;          // of its length; 0: at rest
    float reach;         // beyond it to all sides; the light across falls to 0 there
    float colour[3];     // at its middle, were it at rest; at the middle of a ray
    bool ray;            // fades out towards its ends
};

// Rows of light, a plane for each of red, green and blue. Rows are as long as `pitch` says, so that a register may
// begin at any of the `width` pixels.
struct StarBand {
    float* light[3];  // of first_row
    int pitch, width, first_row, last_row;
    float row_height;  // of a pixel over its width
};

// A glow around a bright star, in a picture of light. Places and lengths are in widths of its pixels.
struct StarGlow {
    float x, y;
    float core;   // where it has fallen to a half
    float reach;  // where it ends
    float colour[3];
};

// Every cell of a small picture becomes `cell` columns.
struct StarHazeRow {
    const float* rows[3];  // of the small picture, RGBA, with one pixel more at each end
    float weights[3];      // of the rows
    const float* columns;  // weights of three neighbours for each column of a cell
    int cell, cells;
};

struct StarKernels {
    void (*draw)(const StarStreak& streak, const StarBand& band);
    // Row `y` of an RGBA picture of light.
    void (*glow)(const StarGlow& glow, float* row, int y, int width, float row_height);
    // cells * cell RGBA pixels.
    void (*spread)(const StarHazeRow& haze, float* scratch, float* out);
    // Brings light into pixels, which are dimmed first.
    void (*develop)(float* pixels, const float* const light[3], const float* haze, int count, float background);
};

QUILLON_SIMD_TABLE(StarKernels, star_kernels);

// Floats of scratch that `spread` needs.
inline std::size_t star_spread_scratch(int cells) { return 4 * (static_cast<std::size_t>(cells) + 2); }
