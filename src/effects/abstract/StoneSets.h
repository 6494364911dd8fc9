// Stones, glass and ceramics as they are sold: the few colours that a mosaic is made of.
#pragma once

#include "imagelib/imagelib_palette.h"

enum StoneChoice {
    STONES_OF_PICTURE = 1,
    STONES_FEW = 2,  // colours taken from the picture
    STONES_ROMAN,
    STONES_BYZANTINE,
    STONES_BLUE,
    STONES_BRIGHT,
    STONES_FIELD,
    STONES_FLOOR
};

// From STONES_ROMAN on.
const Palette& stone_set(int choice);
