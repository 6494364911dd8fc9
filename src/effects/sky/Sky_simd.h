// The shader of Q_Sky, row by row. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

// A picture of the sky and all that its pixels need to know.
struct SkyView {
    // Camera: the line of sight of a pixel is forward + X * right + Y * up, X and Y linear in the pixel's middle.
    float forward[3], right[3], up[3];
    float x_scale, x_first, y_scale, y_first;
    float shell;  // constant term of the equation of the clouds' shell, below 0

    // Clouds
    int size;                    // of the maps
    const float* density;        // size * size
    const float* gradient;       // twice as many, or null: bumps that the sun lights
    float tile_scale;            // maps a unit of length
    float cover;                 // of a density of 1
    float bump, under_lighting;  // height of bumps; light that reaches their far sides, 0 to 1
    bool light_edges;
    float cloud_colour[3], cloud_brightness;

    // Sun
    float sun[3], sun_colour[3];  // direction, of length 1
    float sun_brightness, sun_stretch;
    float corona_brightness, corona_stretch;
    float red_shift;
    bool haze_corona;
    float sun_x, sun_y;  // of the flare, in pixels
    float flare;         // its brightness; 0: none
    float flare_sharpness, flare_stretch;
    int flare_spokes;
    float flare_cosine, flare_sine;  // of the turn of its cosine

    // Air
    float haze_distance, haze, haze_colour[3];
    float zenith[3], horizon[3], ambient;

    float exposure;
};

struct SkyKernels {
    // Row y of the picture. `over`: the sky is laid over what the pixels are.
    void (*shade_row)(const SkyView& view, int y, bool over, float* pixels, int count);
    // How much of the line of sight the clouds cover, 0 to 1; 1 where it meets no shell.
    float (*cover_along)(const SkyView& view, const float direction[3]);
};

QUILLON_SIMD_TABLE(SkyKernels, sky_kernels);
