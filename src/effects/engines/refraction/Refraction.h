// A picture seen through a refracting surface: water, glass.
//
// The surface is a plane of heights over the picture. Each pixel's line of sight, straight from above, is bent by
// Snell's law where it passes the surface's slope, and the picture is read where it arrives, through a pyramid with the
// footprint that the neighbours' lines of sight span. Highlights of one light (Blinn's half-way vector, to a power) lie
// on top. A flat surface shows the picture itself, to the bit, but for the outermost column on either side and the last
// row, which repeat their neighbours.
#pragma once

#include "Library2/Made.h"
#include "effects/engines/refraction/PlaneMap.h"
#include "imagelib/imagelib.h"

struct SurfaceLight {
    float x = 0, y = 0, z = 0;  // fractions of the picture; z above it
    float brightness = 0;       // 0: no light, and the contrast does not count
    float contrast = 1;         // factor of the picture's colours
    float gloss = 1;            // exponent
    float red = 1, green = 1, blue = 1;
    float softness = 0;  // radius of the blur of the highlights, pixels
};

struct RefractingSurface {
    float base = 0;       // what the heights of the plane count from
    float index = 1;      // refractive index; within 0.01 of 0 it counts as 0.01
    float chromatic = 0;  // height above the surface that each of red, green and blue has more than the one before
    bool axial = false;   // slopes along the axes count beside those along the diagonals
    int edge = 0;         // of the picture: EDGE_CLAMP and so on
    SurfaceLight light;
    // Where the surface lies in perspective: the map from the picture, whose y counts times `row_scale`.
    PlaneMap to_plane;
    float row_scale = 1;
};

// The choices of edges in the order of the controls: the picture's edge repeats, black, the picture repeats.
int edge_of_choice(int choice);

// Heights: one channel of floats, of the size of the pictures. Without `alpha` the result's alpha is not written where
// colours are read apart. False: `stop` asked for an end.
bool refract_through(const K7Image& heights, const K7Image& source, const RefractingSurface& surface, bool alpha,
                     const StopRequested& stop, K7Image& result);

// Heights times a matte's mean of red, green and blue.
void weigh_by_matte(const K7Image& matte, bool inverted, K7Image& heights);
// Heights times the picture's alpha.
void weigh_by_alpha(const K7Image& picture, K7Image& heights);
