// The pixel loops of Q_Brush: paper, strokes and light. Plain data, see cmake/QuillonSimd.cmake.
//
// Lengths are pixels of a row; a row above another is `row_height` of them away. The painting is kept in planes, so
// that a stroke is drawn many pixels abreast: each row of it is BRUSH_PLANES runs of `pitch` floats.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

enum BrushPlane {
    BRUSH_RED,
    BRUSH_GREEN,
    BRUSH_BLUE,
    BRUSH_ALPHA,   // the colours are multiplied by it
    BRUSH_HEIGHT,  // of the paint, pixels
    BRUSH_GRAIN,   // of the paper, 0 valleys to 1 peaks
    BRUSH_POOLS,   // slow noise, 0 to 1: where wet paint gathers
    BRUSH_PLANES
};
inline constexpr int BRUSH_PITCH_UNIT = 16;  // floats: the widest register. Rows are padded to whole ones, and one more

// The marks of bristles: rows along the stroke, columns across it. Finer copies are for wide strokes. Values spread
// evenly over 0 to 1, so that of a threshold's two sides it is known how large they are. A word holds four of them, as
// bytes: of its own place, the next column, the next row, and both; so one load is enough to read between them.
inline constexpr int BRISTLE_ROWS = 32;
inline constexpr int BRISTLE_COLUMNS = 64;  // of the finest copy
inline constexpr int BRISTLE_COPIES = 4;    // each of half as many columns as the one before
inline constexpr int BRISTLE_KINDS = 4;

struct BrushStroke {
    float x, y;           // of the seed, in pixels of a row
    float cosine, sine;   // of its direction
    float bend, twist;    // the spine is bend u^2 + twist u^3 off the straight line, at u along it
    float behind, ahead;  // where it begins and ends along the line: -behind to ahead
    float drawn;          // how far it has been drawn, -behind to ahead
    float half_width;
    float colour[3];
    float opacity;                  // 0 to 1
    float dryness;                  // of the paint, 0 to 1 and more: from 1 on there is none
    float rim;                      // 0 to 1: how much of its pigment gathers there
    const std::uint32_t* bristles;  // a copy of BRISTLE_ROWS rows
    int bristle_columns;
    float bristle_offset;  // rows
    float mirror;          // 1, or -1 with the marks the other way round
};

struct BrushLook {
    float row_height;
    float bristles;  // how much bristles show, 0 to 1
    float hardness;  // of the marks' edges: how fast paint begins where bristles touch
    float softness;  // of the outline, as a part of the half width
    float run_dry;   // how much drier a stroke ends than it begins
    float taper;     // 0 to 1: how much narrower the ends are
    float cap;       // length of the rounded ends, in half widths
    float streaks;   // differences in brightness between bristles
    float grain;     // how much the paper's valleys keep dry
    float wet;       // pigment that gathers at the rim and in pools, 0 to 1
    float rim;       // how wide the rim is, pixels
    float ragged;    // how far pools push the outline, in half widths
    float height;    // of the paint of a stroke whose half width is `thickness`; it grows as the root of that
    float thickness;
    float ridge;  // of paint pushed aside, as a part of the height
};

struct BrushLight {
    float x, y, z;  // direction to the light, of length 1
    float half_x, half_y, half_z;
    float shine;
    float flat_shine;  // what a flat place would reflect
    float grain_height;
    float fills;  // how fast paint fills the grain: one over the height that leaves half of it
    float row_height;
};

struct BrushKernels {
    // Draws rows first to last of a stroke; `planes` is row 0.
    void (*draw)(const BrushLook& look, const BrushStroke& stroke, float* planes, int pitch, int width, int first,
                 int last);
    // How bright each place of a row is in the light, where a flat one is 1, and what it reflects. `above` and `below`
    // are its neighbours in the painting.
    void (*light)(const BrushLight& light, const float* below, const float* here, const float* above, int pitch,
                  int width, float* shade, float* gloss);
};

QUILLON_SIMD_TABLE(BrushKernels, brush_kernels);
