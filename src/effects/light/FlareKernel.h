// What one bright pixel looks like through a lens: a halo, streaks and a glow. A flare is a picture's lights convolved
// with it.
#pragma once

#include "imagelib/imagelib.h"
#include "noiselib/mtrandom.h"

struct FlareShape {
    int width, height;      // of the kernel, pixels
    double scale;           // pixels that the halo's table of 1024 entries spans
    double row_height;      // of a row, in widths of a pixel
    double line_width;      // of a pixel of the full size, in pixels: below 1 in proxies
    double slit;            // millimetres: the narrower, the larger the halo
    double halo_reach;      // pixels, where it has faded away; 0: it goes on to the kernel's edges
    double halo_energy;     // light that the halo holds, as a part of the pixel's
    int spokes;             // dark rays in the halo
    double spoke_contrast;  // up to how dark they are, 0 to 1
    int streaks;            // pairs of rays
    double streak_length;   // of a ray, in widths of a pixel
    double streak_turn;     // radians
    double streak_energy;   // of all together
    double streak_chroma;   // 0 grey to 1
    double glow_radius;     // in widths of a pixel
    double glow_energy;
};

struct FlareKernel {
    ImagePtr planes[3];  // red, green, blue; one channel each
    double unit = 1.0;   // what an energy of 1 is in them: the sum of all samples over 3
};

// The pixel lies in the middle, at half the size rounded down. The numbers are drawn in the order of the parts, so a
// seed gives the same flare. Throws without memory.
FlareKernel make_flare_kernel(const FlareShape& shape, MTRandom& random, const StopRequested& stop);
