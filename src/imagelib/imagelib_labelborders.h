// Borders between areas of labels, smoothed, with places between pixels.
//
// Each pixel takes the label that has most votes around it, weighed with a pyramid (two box filters of 2 half + 1
// pixels, along each axis): the majority filter of label images, whose repeated use moves borders by their curvature
// (B. Merriman, J. Bence, S. Osher, "Diffusion generated motion by mean curvature", 1992). How far the winner is ahead
// tells how far away the border is, to a fraction of a pixel, so that it can be drawn at any size without steps.
#pragma once

#include "imagelib/imagelib.h"

struct LabelSmoothing {
    static constexpr int MOST_HALF = 7;
    static constexpr int LABELS = 256;  // labels are below
    int half_x = 2, half_y = 2;         // pixels, 0 to MOST_HALF
    float row_height = 1;               // of a pixel, in widths of it, above 0

    float reach() const { return static_cast<float>(2 * half_x + 1); }
};

// Into `smooth` the winning labels (the lowest of several), into `depth` how far inside the area of its label each
// pixel's centre lies: from 0 to reach() widths of a pixel, reach() wherever the border is farther. Exact to about
// half a pixel and a sixth of the depth along straight borders. The picture's edge is no border. `labels` and `smooth`:
// one channel of 32 bits, two images; `depth`: one float channel, or null where it isn't wanted; all of one size. False
// also for labels out of range, without memory, and when an end was asked for.
bool image_smooth_labels(const K7Image* labels, const LabelSmoothing& smoothing, K7Image* smooth, K7Image* depth,
                         const StopRequested& stop = {});
