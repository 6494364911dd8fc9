// The lights of a picture: its bright places, thinned out, spread and mirrored.
#pragma once

#include <optional>

#include "fftlib/fftlib.h"
#include "imagelib/imagelib.h"

// Part of a picture; empty when crossed.
struct PixelBox {
    int x0, y0, x1, y1;  // inclusive
    bool empty() const { return x0 > x1 || y0 > y1; }
};

struct LightMap {
    ImagePtr planes[3];  // red, green, blue; one channel each
    PixelBox lit;        // what is outside of it is 0

    LightMap(int width, int height);  // black; throws without memory
    int width() const { return planes[0]->width; }
    int height() const { return planes[0]->height; }
    float* row(int plane, int y) { return image_row<float>(planes[plane].get(), y); }
    const float* row(int plane, int y) const { return image_row<float>(planes[plane].get(), y); }
    // Makes the box as small as it can be.
    void tighten();
};

// An ellipse in pixels.
struct LightPlace {
    double x, y, radius_x, radius_y;
};

// The pixels inside the box whose mean of red, green and blue lies above `level`.
void take_bright(LightMap& map, const K7Image& picture, const PixelBox& box, float level);
// Clears such a part of the box, 0 to 1, the same pixels whatever the picture.
void thin_out(LightMap& map, const PixelBox& box, double part, int seed);
// A white spot, brightest in the middle of the place and soft all over.
void add_spot(LightMap& map, const LightPlace& place);
// The picture inside the place, fading from its middle to its edge.
void take_area(LightMap& map, const K7Image& picture, const LightPlace& place);
// Spreads the lights, by radii in pixels.
void spread(LightMap& map, float x_radius, float y_radius);
// Images of all lights mirrored at the middle of the picture, the i-th of `count` at i / count of `size` as far and as
// large, with strength / i of their light, but not more than all of it.
void add_reflections(LightMap& map, int count, double size, double strength);
