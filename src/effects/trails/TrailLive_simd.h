// The rows of a live trail, built for each instruction set. Pictures are float RGBA, colours premultiplied.
#pragma once

#include "simdlib/cpu.h"

// One moment within a frame, from the frame itself to the one before it: what moves lies `x` and `y` pixels of the
// layer beside where it lies in the frame.
struct TrailMoment {
    const float* motion;  // (x, y) for each column of the shrunk picture, made for this row
    int first, last;      // pixels of the layer that may show anything
    float part;           // of the way to the frame before, 0 to 1
};

struct TrailSmear {
    const float* source;  // what moves, times what of it leaves trails, which is its alpha
    const float* depth;   // 0 at its edge to 1 at its middle; null: not wanted
    int width, height;
    float cells_per_pixel;  // of the shrunk picture
    int cells;              // its width
    const TrailMoment* moments;
    int count;
    bool brightest;  // of all moments, else their mean
};

// What of a layer is laid down; each pair is for the frame itself and for the frame before it.
struct TrailLook {
    float strength[2];
    float worn[2];  // depth below which nothing is left
    float tint[2][3];
    float tinted;      // 0 to 1
    float saturation;  // of its own colours
    float gain;
    bool lighten;  // else over what is there
};

// A level of the trail, as far as a row of the result needs it.
struct TrailLevelRow {
    const float *low, *high;  // the rows around it
    float between;            // 0: all of the low one
    int width;
    float pixels_per_pixel;  // of the level, for one of the result
    float share;
    bool adds;  // light beside the trail, else over what was there
};

struct TrailFrame {
    int mode;  // as the effect's choice counts, from 1
    const TrailLevelRow* levels;
    int count;
    const float* live;   // the frame, laid down where `key` says so; null: not at all
    bool live_on_top;    // after the trails, else before them
    TrailLevelRow key;   // one float a pixel
    const float* hides;  // null: nothing does
};

struct TrailRows {
    // Row y of a layer, from its pixel `first` to `last`: colours (4 floats) and extras (part of the way to the frame
    // before, depth, alpha in the frame itself).
    void (*smear)(const TrailSmear& smear, int y, int first, int last, float* colours, float* extras);
    // Pixels of a layer onto those of the trail.
    void (*add)(const TrailLook& look, const float* colours, const float* extras, float* trail, int count);
    // A row of the result, which holds what is beneath. Scratch: a row of the widest level and one of the result, both
    // RGBA.
    void (*compose)(const TrailFrame& frame, float* scratch, float* result, int count);
};
QUILLON_SIMD_TABLE(TrailRows, trail_rows);
