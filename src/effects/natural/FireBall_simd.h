// The loops of FireBall over rows, built for each instruction set. Plain data.
#pragma once

#include "simdlib/cpu.h"

// What a place in the gas is told by. Of a grid's corners, one after another; of rows, each in an array of its own.
enum FireField : int {
    FIRE_ALONG,  // gas that has left the ball since frame 0, in radii
    FIRE_NX,     // direction from the middle of the ring; its length is 1 but within the ball
    FIRE_NY,
    FIRE_AGE,    // in lives
    FIRE_DEPTH,  // within the gas, in radii of its ring; below 0 outside
    FIRE_CORE,   // distance from the middle of the ball, in radii
    FIRE_FIELDS = 8
};

struct FireGridView {
    const float* cells;  // FIRE_FIELDS floats each
    int width, height;
    float left, bottom;  // of the first corner, in widths
    float cells_a_width;
};

// Rings, and a row of places to be found among them.
struct FireRings {
    const float *x, *y, *radius, *along, *age;
    int count;
};

struct FireRow {
    float* field[FIRE_FIELDS];
    float *u, *v, *w;  // places in the noise
    float *noise, *sum;
    float* pixels;  // r, g, b and opacity
};

struct FireOctave {
    float amount;
    float ridge;  // 0: lumps, 1: filaments
    float scale;  // of the next octave's places
    float warp;   // how far this one displaces them
    float slide;  // added along the gas
};

struct FireLook {
    float turbulence, break_up, softness, cooling, core, core_reach;
    float contrast;  // exponent of heat
    float brightness;
    float opacity;
    float flame[3], edge[3];
};

struct FireSmoke {
    float last;   // age at which it is gone, in lives
    float lumps;  // how uneven it is
    float opacity;
};

// What is laid over a row of the picture.
struct FireCover {
    const float* fire;   // light and opacity of each pixel of a part of the row; null: none
    int first, count;    // the part
    const float* smoke;  // colour and opacity of every second pixel, smoke_first the first of them
    int smoke_first, smoke_count;
    const float* glow;  // light of each `block` pixels, and of one such block more at both ends; null: none
    int block, blocks;
    float light;  // how much the glow brightens what is there
};

// A part of a picture, four floats a pixel, row 0 and column 0 of it.
struct FirePixels {
    const float* pixels;
    long pitch;  // floats a row
    int width, height;
};

// Arrays of places and fields are read and written up to the next multiple of FIRE_STRIDE.
inline constexpr int FIRE_STRIDE = 16;
constexpr int fire_stride(int count) { return (count + FIRE_STRIDE - 1) / FIRE_STRIDE * FIRE_STRIDE; }

struct FireKernels {
    // The first five fields of `count` places.
    void (*find)(const FireRings& rings, const float* x, const float* y, int count, float* const* fields);
    // All fields of places a step apart.
    void (*read)(const FireGridView& grid, float x, float step, float y, int count, const FireRow& row);
    // Places in the noise of a first octave; then, with its noise, the sum and the places of the next one.
    void (*begin)(float scale, float along_scale, float slide, int count, const FireRow& row);
    void (*octave)(const FireOctave& octave, int count, const FireRow& row);
    void (*shade)(const FireLook& look, int count, const FireRow& row);
    void (*thicken)(const FireSmoke& look, int count, const FireRow& row, float* density);
    // The mean of `taps` places along a line around each pixel of row y, (dx, dy) times its weight long.
    void (*smear)(const FirePixels& from, int y, int first, int count, const float* weights, float dx, float dy,
                  int taps, float* to);
    void (*compose)(const FireCover& cover, float* picture, int width);
    // picture = without + matte (picture - without), of `width` pixels
    void (*hide)(const float* without, const float* matte, float* picture, int width);
};

QUILLON_SIMD_TABLE(FireKernels, fire_kernels);
