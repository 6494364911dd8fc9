// Laying one picture over another, built for each instruction set.
#pragma once

#include "simdlib/cpu.h"

struct LayerKey {
    int kind;         // as the effect's choice counts, from 1
    float low, high;  // of differences and brightness
};

struct LayerLook {
    int mode;  // as the effect's choice counts, from 1
    float opacity;
    float colours[3][3];  // red, green and blue of the copy from those of the frame
};

// All rows have four channels.
struct LayerRows {
    // The picture times what of it is laid down, which becomes its alpha.
    void (*key)(const LayerKey& key, const float* plate, float* picture, int count);
    // A keyed copy over the result; `matte` may be null.
    void (*lay)(const LayerLook& look, const float* copy, const float* matte, float* result, int count);
};
QUILLON_SIMD_TABLE(LayerRows, layer_rows);
