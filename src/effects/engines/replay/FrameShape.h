// The picture that a simulation runs in. A plain record of 4-byte fields, so that it can be fingerprinted as bytes.
#pragma once

#include "imagelib/imagelib.h"

struct FrameShape {
    float width, height;              // pixels
    float pixel_width, pixel_height;  // of one pixel
    float unit_scale;                 // above 1 in proxies: sizes in pixels are divided by it

    explicit FrameShape(const K7Image& image)
        : width(image.width),
          height(image.height),
          pixel_width(image.pixel_width > 0 ? image.pixel_width : 1),
          pixel_height(image.pixel_height > 0 ? image.pixel_height : 1),
          unit_scale(image.unit_scale > 0 ? image.unit_scale : 1) {}
    float aspect() const { return pixel_height / pixel_width; }
};
