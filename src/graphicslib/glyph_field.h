// Fields of the distance to a glyph: one small picture from which a glyph is drawn at any size, angle and weight.
//
// A value is the distance from the middle lines of the strokes, so a round pen of width w covers what lies nearer than
// w / 2. Between values it is interpolated linearly, which rounds ends and corners a little where values are far apart.
// All lengths are in heights of a capital, y goes up, and (0, 0) is where the left margin meets the base line.
//
// The idea of drawing type from sampled distances: C. Green, "Improved Alpha-Tested Magnification for Vector Textures
// and Special Effects", 2007.
#pragma once

#include <vector>

#include "graphicslib/stroke_text.h"

struct GlyphField {
    float x = 0, y = 0;         // of the first value
    float per_capital = 0;      // values a height of a capital
    int width = 0, height = 0;  // 0: blank, and characters without a glyph
    std::vector<float> values;  // row after row, none above `reach`
};

struct GlyphFieldSize {
    float per_capital = 24;  // above 0
    float reach = 0.3F;      // the farthest distance that is told, above 0, and how far the field extends
};

// Height of a capital in bits of the bitmap font, and how far its next character lies.
constexpr float BITMAP_CAPITAL = 9;
constexpr float BITMAP_ADVANCE = 8 / BITMAP_CAPITAL;

// Memory that can't be had throws std::bad_alloc.
// A stroke glyph; `size` and `weight` of the look do not matter. `squeeze` makes it narrower, margins and all.
GlyphField stroke_glyph_field(int code, const TextLook& look, float squeeze, const GlyphFieldSize& size);
// A glyph of the bitmap font: squares that grow together, or as round dots by the distance from their middles.
GlyphField bitmap_glyph_field(int code, bool as_dots, float slant, const GlyphFieldSize& size);
