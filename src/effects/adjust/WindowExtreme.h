// What Darken and Lighten share: a box minimum or maximum that is gated by the pixel's own luminance.
#pragma once

#include "Library2/Controls.h"
#include "imagelib/imagelib_morphology.h"

enum class Extreme { Darkest, Lightest };

struct ExtremeControls {
    const FloatControlK7& cutOff;    // percent
    const IntegerControlK7& size;    // of all channels together
    const CheckboxControlK7& split;  // instead: of each channel
    const IntegerControlK7& red;
    const IntegerControlK7& green;
    const IntegerControlK7& blue;
    const IntegerControlK7& alpha;
};

// The window of a size parameter: 2 * size - 1 rows at full scale, and as many columns as look square.
WindowSize extremeWindow(int size, const K7Image& output);

void spreadExtreme(Extreme extreme, const ExtremeControls& controls, const K7Image* input, K7Image* output);
