// The loops over pixels, built for each instruction set.
#pragma once

#include "simdlib/cpu.h"

// A part of a row of pixels through a letter.
struct LetterSpan {
    const float* field;    // distances, in heights of a capital
    int stride;            // of the field's rows
    float last_u, last_v;  // its last column and row
    float u, v, du, dv;    // place of the first pixel's centre in the field, and the step from pixel to pixel
    float pixels;          // of a unit of the field
    float half_pen;        // pixels
    float footprint;       // pixels over which an edge is blurred
    float opacity;
    float ink[3];
    float alpha_share;  // 1 where alpha is painted as well, 0 where it stays
};

struct TypoRows {
    // Paints RGBA pixels. Further rows, from the same pixel on, or null: what is added to the half pen, to the distance
    // (both in pixels, readable a register past the end), and RGBA pixels that take the ink's place.
    void (*letter)(const LetterSpan& span, const float* pens, const float* ragged, const float* window, float* rgba,
                   int count);
    // Between two rows of means, `up` of the way: out[i] at column x0 + i * step, all columns within 0 and last.
    void (*between)(const float* low, const float* high, float up, float x0, float step, int last, float factor,
                    float* out, int count);
};
constexpr int TYPO_PADDING = 16;  // floats that rows may be read and written past their end
QUILLON_SIMD_TABLE(TypoRows, typo_rows);
