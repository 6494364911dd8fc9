// The rows of a mosaic, built for each instruction set.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int STONE_EDGES = 12;  // of a stone, at most
inline constexpr int STONE_SLACK = 16;  // floats behind the arrays of a row

// One side of a stone. Straight: the stone lies where x * nx + y * ny <= c, with a unit vector pointing out of it.
// Round: within c of (nx, ny), or beyond -c of it where c is below 0. Lengths are in widths of a pixel.
struct StoneEdge {
    float nx, ny, c;
};

struct StoneLook {
    float colour[3];
    float alpha;
    float gleam[3];          // what the lamp's reflection adds at its brightest
    float tilt_x, tilt_y;    // slope of the whole face
    float lamp[3];           // direction to it, over its third component
    float half[3];           // unit vector between the lamp and the viewer
    float roughness;         // of the slopes; 0 without texture
    const float* texture_x;  // slopes and tone at each pixel of the row, counted like the pixels
    const float* texture_y;
    const float* texture_tone;
};

struct MosaicShape {
    float corner;       // radius of corners
    float bevel;        // width of the bevel
    float relief;       // slope at its foot
    float gloss;        // how fast reflections fall off: (1 - gloss (1 - cosine))^8
    float grout_reach;  // how far from a stone grout is darkened, above 0
    float grout_depth;  // how much, 0 to 1
    float alpha_reach;  // how far around it a stone's alpha counts, above 0
};

// Sums over the stones that a pixel meets; each with `width` + STONE_SLACK values.
struct MosaicRow {
    float *red, *green, *blue;  // of light, times coverage
    float* lit;                 // shade times coverage
    float* cover;
    float* grout;  // what is left of its light
    float *alpha, *alpha_weight;
};

struct MosaicFinish {
    float grout[3];
    float print;          // how much of the picture shows on the stones
    float mix;            // of the mosaic with the picture
    bool clear_grout;     // its place stays transparent
    float mortar_grain;   // how much the texture changes the grout's tone
    const float* mortar;  // tone at each pixel; null: none
};

struct MosaicKernels {
    // Adds a stone to the pixels [first, last); what it adds to others is nothing. y: the row's middle.
    void (*straight)(const MosaicRow& row, const MosaicShape& shape, const StoneLook& look, const StoneEdge* edges,
                     int count, float y, int first, int last);
    void (*round)(const MosaicRow& row, const MosaicShape& shape, const StoneLook& look, const StoneEdge* edges,
                  int count, float y, int first, int last);
    void (*finish)(const MosaicRow& row, const MosaicFinish& how, const float* picture, float* out, int width);
};

QUILLON_SIMD_TABLE(MosaicKernels, mosaic_kernels);
