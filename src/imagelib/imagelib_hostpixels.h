// The edge between the host's pixels and float images: the only code that touches host memory.
#pragma once

#include "imagelib/imagelib.h"

// Half open, in pixels of the frame: (0, 0) is the first pixel of the float image.
struct HostRect {
    int x1, y1, x2, y2;
};

// One picture in host memory. `data` is the pixel at (bounds.x1, bounds.y1); row_bytes may be negative or padded.
struct HostPixels {
    const void* data = nullptr;
    HostRect bounds{};
    bool has_bounds = false;  // false: the bounds are 0, 0 and the wanted size
    int depth = 0;            // bits a sample: 8, 16, 32; with any other the image keeps its pixels (new: zero)
    std::ptrdiff_t row_bytes = 0;
};

// Creates (or, with `existing` and `reuse`, fills) the float RGBA image of width x height that shows the host pixels
// at their place in the frame, transparent black around them. Negative samples and NaN become 0, positive infinity
// 65504; finite values pass without an upper limit. 8-bit codes are divided by 255, 16-bit codes by 65535, in single
// precision, so that storing them again gives the same codes.
// With no data: a copy of `existing` (of that size) under the same rule, or all zero. Sizes of 0 or below mean those of
// `existing`. Null where there is no size, where `existing` is to be reused and is no float RGBA image of the size, and
// where memory is short. An aspect that is no positive number counts as 1.
K7Image* make_float_image(const HostPixels& host, K7Image* existing, int width, int height, double aspect, bool reuse,
                          double render_scale, const RowRunner& runner = {});

// The image that the above gives, without pixels: for a picture that lies elsewhere.
K7Image* make_frame_record(int width, int height, double aspect, double render_scale);

// The same host pixels into two images at once: the input of an effect and the first state of its output.
bool make_float_image_pair(const HostPixels& host, int width, int height, double aspect, double render_scale,
                           K7Image** first, K7Image** second, const RowRunner& runner = {});

// Writes the region, clipped to the host's bounds and to the image, into host memory: 8-bit (int)(s * 255), 16-bit
// (int)(s * 65535), limited to the range and truncated (NaN is 0); 32-bit floats as they are. Does nothing for a null
// image or null data, or for another depth.
struct HostTarget {
    void* data = nullptr;
    HostRect bounds{};
    int depth = 0;
    std::ptrdiff_t row_bytes = 0;
};
void store_float_image(const K7Image* image, const HostTarget& host, HostRect region, const RowRunner& runner = {});
