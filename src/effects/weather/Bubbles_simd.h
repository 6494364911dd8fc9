// The loops that paint the shells of bubbles into rows of a float RGBA picture, one table for each vector unit.
#pragma once

#include "simdlib/cpu.h"

// Four planes, `plane` floats apart, of rows `pitch` floats apart. A frame of zeroes one pixel wide goes around, and
// some columns more can be read beyond it.
struct ShellSprite {
    const float* middle;  // the pixel in the middle, first plane
    long plane, pitch;
    int reach;     // pixels from the middle one to the last
    float radius;  // beyond it is nothing
};

// Powers of 0 to 1 in that many equal steps, and one more.
inline constexpr int GLOSS_STEPS = 4096;

struct ShellLook {
    float colour[4];  // alpha is 1
    float coverage;
    float half[3];          // of the highlight: between the directions to light and eye, length 1
    float strength[4];      // its colour; alpha is the largest of them
    const float* powers;    // null: no highlight
    const float* mirrored;  // float RGBA, rows without gaps; null: none
    int mirrored_width, mirrored_height;
    long mirrored_right, mirrored_up;  // floats to the neighbours; 0 where there is only one column or row
    float mirror[4];                   // strength; alpha is 0
};

struct ShellTarget {
    float* pixels;  // of row 0
    long pitch;     // floats a row
    int width, first_row, last_row;
};

struct ShellKernels {
    // At rest, centred on (x, y); whole numbers are pixel centres.
    void (*still)(const ShellTarget& target, const ShellSprite& sprite, const ShellLook& look, float x, float y);
    // Stretched along the line from (tail_x, tail_y): every place shows the shell at its nearest point of the line.
    void (*drawn_out)(const ShellTarget& target, const ShellSprite& sprite, const ShellLook& look, float x, float y,
                      float tail_x, float tail_y);
    // One pixel of the sprite each into pixels anywhere, in order.
    void (*droplets)(const ShellSprite& sprite, const ShellLook& look, const long* samples, float* const* pixels,
                     int count);
};

QUILLON_SIMD_TABLE(ShellKernels, shell_kernels);
