// The grain of NightVision: every pixel adds a square of light or shade.
#pragma once

#include "imagelib/imagelib.h"

class PluginK7;

struct NightGrain {
    unsigned seed;
    float amount;            // largest amplitude, of 1
    int size;                // pixels, 1 to LARGEST
    const K7Image* picture;  // grain is weaker where it is light; null: the same everywhere

    static constexpr int LARGEST = 10;
};

// One channel; a half where there is no grain.
ImagePtr night_grain(const PluginK7& effect, const NightGrain& grain, int width, int height);
