// Compositing, fades and dissolves.
#pragma once

#include "imagelib/imagelib.h"

enum CompositeMode : int {
    COMPOSITE_OVER = 1,
    COMPOSITE_UNDER = 2,
    COMPOSITE_IN = 3,
    COMPOSITE_STENCIL_IN = 4,
    COMPOSITE_OUT = 5,
    COMPOSITE_STENCIL_OUT = 6,
    COMPOSITE_ATOP = 7,
    COMPOSITE_REVERSE_ATOP = 8,
    COMPOSITE_XOR = 9,
};

// Combines a and b into dest, which may be either of them; all of one layout with at least 4 channels, of which the
// fourth is alpha. The rectangle is [xl, xh) by [yl, yh): all four negative mean the whole
// image, a single negative one the image's own side; a reversed pair is swapped. Integers are truncated.
bool image_composite(K7Image* dest, const K7Image* a, int mode, const K7Image* b, bool premultiplied, int xl, int yl,
                     int xh, int yh);

enum UnaryOperation : int {
    UNARY_DARKEN = 10,    // every channel but the fourth
    UNARY_DISSOLVE = 11,  // every channel
    UNARY_OPAQUE = 12,    // the fourth channel only
};

// Multiplies by f, limited to 0 to 1; the rectangle as above.
bool image_unary(K7Image* image, int op, float f, int xl, int yl, int xh, int yh);

// Float images. dest * (1 - f) + other * f, f limited to 0 to 1.
bool image_cross_dissolve(K7Image* dest, const K7Image* other, float f);
bool image_dissolve_to_colour(K7Image* dest, float f, float r, float g, float b, float a);
