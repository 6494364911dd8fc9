// Rows of rainbows. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int MOST_BOWS = 10;
inline constexpr int RAINBOW_ROWS = 256;  // of the colour table

// A table of colours over a bow, from its inner border to its outer one.
struct RainbowColours {
    float red[RAINBOW_ROWS], green[RAINBOW_ROWS], blue[RAINBOW_ROWS];
    float cover[RAINBOW_ROWS];  // how much of what is behind it a colour hides, 0 to 1
};

struct RainbowBow {
    const RainbowColours* colours;
    float middle;         // distance from the centre, in widths of a pixel
    float inverse_width;  // 1 / (outer radius - inner radius)
    float gain, density;  // of the colours and of their cover
};

// Where bows are seen, as angles in radians, 0 to 2 pi, counter-clockwise from the right.
struct RainbowArc {
    bool full;    // all round; the rest is not read then
    bool smooth;  // the ends ease in and out
    float start, end, span;
    float inverse_fade;  // 1 / angle over which an end fades; 0: hard ends
};

struct RainbowShape {
    float centre_x, centre_y;  // pixels
    float row_height;          // of a row, in widths of a pixel
    float widening;            // how much wider a bow is on its right side
    float darkening;           // of what is behind, outside all bows, for each bow
    bool black;                // nothing is behind
    RainbowArc arc;
    int count;
    RainbowBow bows[MOST_BOWS];
};

// Row y. `atmosphere` (null: clear air) is a row of pixels whose luminance scales the bows; `source` may be `out`.
using RainbowRow = void (*)(const RainbowShape& shape, int y, const float* source, const float* atmosphere, float* out,
                            int count);
QUILLON_SIMD_TABLE(RainbowRow, rainbow_row);
