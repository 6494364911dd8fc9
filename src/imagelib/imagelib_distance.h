// Exact Euclidean distances, of masks and of labelled areas.
//
// P. Felzenszwalb and D. Huttenlocher, "Distance transforms of sampled functions", 2012: nearest pixels down the
// columns first, then the lower envelope of their parabolas along each row. Here along each run of one label in a row:
// whatever lies behind the end of a run is farther than the end.
//
// Distances are in pixels, between pixel centres; pixel aspect plays no part.
#pragma once

#include "imagelib/imagelib.h"

inline constexpr float DISTANCE_NONE = 1e6f;  // where there is nothing to be far from

// From each pixel to the nearest one of another label: 1 at borders, never less. Labels: one channel of 32 bits;
// distances: one float channel of the same size. With `edge_counts` all beyond the picture is another label.
// False also when there is no memory or an end was asked for.
bool image_label_distance(const K7Image* labels, K7Image* distance, bool edge_counts, const StopRequested& stop = {});

// Of a mask: inside are the pixels whose sample in `channel` of a float image is at least `level`. Negative inside; 0
// is the border, midway between pixels, so that no pixel is nearer than half a pixel to it. The picture's edge is none.
bool image_signed_distance(const K7Image* mask, int channel, float level, K7Image* distance,
                           const StopRequested& stop = {});
