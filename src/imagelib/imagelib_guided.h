// Smoothing that keeps edges: the guided filter, each channel its own guide.
//
// K. He, J. Sun, X. Tang, "Guided image filtering", 2010; its coefficients are found on a picture of down to a
// quarter of the size (K. He, J. Sun, "Fast guided filter", 2015), so that it costs little more than reading the
// picture.
#pragma once

#include "imagelib/imagelib.h"

// In place, channels 0 to 2 of a float RGBA image; the fourth stays. `radius`: of the window, in pixels along rows;
// `row_height`: of a pixel in widths of it. What varies much less than `tolerance` within a window (a standard
// deviation, in sample units) becomes its mean, what varies much more stays. A radius or tolerance of 0 or less, or one
// that is not a number, changes nothing. False also without memory and when an end was asked for.
bool image_guided_smooth(K7Image* image, float radius, float row_height, float tolerance,
                         const StopRequested& stop = {});

// `source` shrunk by a whole factor: each pixel of the result is the mean of a square of `factor` pixels, fewer at the
// right and upper edges. The result is float RGBA of (width + factor - 1) / factor by (height + factor - 1) / factor
// pixels; null where that can't be.
ImagePtr image_shrunk(const K7Image* source, int factor);
