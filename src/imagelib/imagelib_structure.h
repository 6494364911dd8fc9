// Which way the picture's edges run, and how clearly.
//
// The structure tensor (W. Foerstner and E. Guelch 1987; of all colour channels: S. Di Zenzo, "A note on the gradient
// of a multi-image", 1986) of gradients taken with the operator of B. Jaehne (3, 10, 3), smoothed as in H. Kang, S. Lee
// and C. Chui, "Flow-based image abstraction", 2009, and J. Kyprianidis and H. Kang, "Image and video abstraction by
// coherence-enhancing filtering", 2011. Its lesser eigenvector is the tangent of the edges.
#pragma once

#include <cmath>

#include "imagelib/imagelib.h"

struct StructureShape {
    float sigma = 2.0f;     // of the smoothing, in pixels of the source along a row; 0: none
    float wide_sigma = 0;   // above sigma: flat places take their direction from so far around them
    bool half_size = true;  // each pixel of the field stands for 2 x 2 of the source: four times as fast
};

// A float image of four channels, of the source's size or of half of it rounded up:
//   0, 1  the tangent, a unit vector in widths of a source pixel (rows count as 1 / pixel_aspect). v and -v are the
//         same tangent; (1, 0) where the picture is flat
//   2     coherence, 0 (no direction, or as many of one as of another) to 1 (a straight edge)
//   3     strength: root of the mean squared gradient, levels a pixel of the source
// Samples are taken within 0 to 8, a NaN as 0; alpha plays no part. Null also when there is no memory or an end was
// asked for.
ImagePtr image_structure(const K7Image* source, const StructureShape& shape, const StopRequested& stop = {});

struct Tangent {
    float x, y, coherence, strength;
};

// The field at a place in pixels of the source, pixel centres at halves; edge pixels repeat. `scale`: the field's
// pixels for each of the source, 1 or 0.5. Neighbours are turned to one side before they are mixed.
inline Tangent tangent_at(const K7Image* field, float x, float y, float scale) {
    const auto last_x = static_cast<float>(field->width - 1), last_y = static_cast<float>(field->height - 1);
    const float px = std::fmin(std::fmax(x * scale - 0.5f, 0.0f), last_x);
    const float py = std::fmin(std::fmax(y * scale - 0.5f, 0.0f), last_y);
    const int x0 = static_cast<int>(px), y0 = static_cast<int>(py);
    const float fx = px - static_cast<float>(x0), fy = py - static_cast<float>(y0);
    const int right = x0 + 1 < field->width ? 4 : 0;
    const float* low = image_row<float>(field, y0) + 4L * x0;
    const float* high = image_row<float>(field, y0 + 1 < field->height ? y0 + 1 : y0) + 4L * x0;
    const float* const corners[4] = {low, low + right, high, high + right};
    const float weights[4] = {(1 - fx) * (1 - fy), fx * (1 - fy), (1 - fx) * fy, fx * fy};
    const float* nearest = corners[(fx > 0.5f ? 1 : 0) + (fy > 0.5f ? 2 : 0)];
    Tangent sum{0, 0, 0, 0};
    for (int i = 0; i < 4; ++i) {
        const float* c = corners[i];
        const float turned = c[0] * nearest[0] + c[1] * nearest[1] < 0 ? -weights[i] : weights[i];
        sum.x += c[0] * turned;
        sum.y += c[1] * turned;
        sum.coherence += c[2] * weights[i];
        sum.strength += c[3] * weights[i];
    }
    const float length = std::sqrt(sum.x * sum.x + sum.y * sum.y);
    return length > 0 ? Tangent{sum.x / length, sum.y / length, sum.coherence, sum.strength}
                      : Tangent{1, 0, sum.coherence, sum.strength};
}
