// Private to Q_ClipTex: the built-in patterns.
#pragma once

#include "imagelib/imagelib.h"

struct PatternColours {
    float ink[3], paper[3];
};

// Side of a pattern's tile in a picture 1920 pixels wide.
inline constexpr int PATTERN_SIDE = 512;

// The tile of a pattern (from 1, as the choice counts) for a band (0 the darkest, to 3): float RGBA, `side` pixels
// square, which repeats without seams. Alpha is its height, 0 to 1. Null without memory.
ImagePtr draw_pattern(int pattern, int band, int side, const PatternColours& colours);
