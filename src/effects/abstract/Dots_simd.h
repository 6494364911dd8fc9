// The row pass of Q_Dots: levels, screens and inks in one go. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

enum DotPattern {
    DOTS_ROUND,
    DOTS_ELLIPTICAL,
    DOTS_DIAMOND,
    DOTS_SQUARE,
    DOTS_LINE,
    DOTS_CROSS,
    DOTS_RINGS,
    DOTS_SPIRAL,
    DOTS_BLUE_NOISE,
    DOT_PATTERNS
};

enum DotColouring { DOTS_ONE_INK, DOTS_PICTURE_COLOURS, DOTS_FOUR_INKS };
enum DotPaper { PAPER_COLOUR, PAPER_BACKGROUND, PAPER_CLEAR };

// A pattern has a height at each place of its cell. Ink covers what is lower than a size that follows from the level.
inline constexpr int SIZE_STEPS = 1024;

struct DotScreen {
    float cosine, sine;  // of the screen's angle
    const float* sizes;  // of the levels i / SIZE_STEPS, SIZE_STEPS + 2 of them
    float ink[3];
};

struct DotsFrame {
    // Places. A pixel is `samples` by `samples` boxes; the part of each that is covered is exact for straight edges.
    float centre_x, centre_y;  // of the screen, in pixels
    float row_height;          // in widths of a pixel
    float cell;                // in widths of a pixel
    float travel;              // cells
    int samples;
    float box_width, box_height;  // that edges are averaged over, in widths of a pixel
    float visible;                // 0 to 1: of cells as small as pixels only the level is left
    // Patterns
    float wave, waves;        // swing of lines in cells; so many of them a cell
    const float* thresholds;  // of the blue noise, a square of NOISE_SIDE
    float grains;             // of the blue noise on the side of a cell
    // Levels
    int colouring;
    bool negative;
    bool levels_apart;  // the level is not that of the colours
    bool light_ink;     // one ink, lighter than the paper
    float contrast, brightness, gain, black;
    // Result
    int paper;
    float paper_colour[3];
    bool matte_sizes;  // the matte makes dots smaller; else it mixes
    bool matte_inverted;
    float mix;
    int screens;
    DotScreen screen[4];
};

inline constexpr int NOISE_SIDE = 128;

struct DotsRow {
    const float *levels, *colours, *background, *matte;  // float RGBA; matte may be null
    float* out;
    int y, count;
};

using DotsRowPass = void (*)(const DotsFrame& frame, const DotsRow& row);
// Sum over `count` places, in cells, of what is covered at this size, in units of 2^-20.
using DotsMeasure = std::int64_t (*)(const DotsFrame& frame, const DotScreen& screen, const float* u, const float* v,
                                     int count, float size);

struct DotsKernels {
    DotsRowPass row[DOT_PATTERNS];
    DotsMeasure measure[DOT_PATTERNS];
};

QUILLON_SIMD_TABLE(DotsKernels, dots_kernels);
