// What is done to quilted patches as such: joints and relief of bricks, and the light of a guide.
#pragma once

#include "imagelib/imagelib_quilt.h"

struct BrickLook {
    float joint;      // width, in pixels upwards
    float aspect;     // of pixels: joints are as wide across as upwards on the screen
    float colour[3];  // of the joints
    float relief;     // 0 to 1
    float variation;  // 0 to 1
    std::uint32_t seed;
    float unit;  // pixels of this picture to one of the full size

    bool shows() const { return joint > 0.0F || relief > 0.0F || variation > 0.0F; }
};

// Pixels whose state is QUILT_FIXED stay.
bool shade_bricks(K7Image& canvas, const K7Image& state, const QuiltGrid& grid, const BrickLook& look,
                  const StopRequested& stop);

// Luminance of a picture of four channels as one channel.
ImagePtr luminance_of(const K7Image& picture, int width, int height);
// Maps the guide's tones to those of a part of the sample, so that as much of both is darker.
bool match_tones(K7Image& guide, const K7Image& sample, const QuiltBox& from);
// Takes the light of the canvas to that of a picture where it changes slowly; `radius` in pixels.
bool shade_like(K7Image& canvas, const K7Image& light, float radius_x, float radius_y, float strength);
// Takes slow changes of light, and of its colour, out of a part of a picture.
bool even_light(K7Image& picture, const QuiltBox& part, float radius_x, float radius_y, float strength);
