// Which of many sites is nearest to each pixel, and sites that spread themselves evenly.
//
// Each site is compared with the pixels near it, as if it were a cone seen from above (K. Hoff and others, "Fast
// computation of generalized Voronoi diagrams using graphics hardware", 1999). Where cells are square, the cone is a
// pyramid turned to the site's direction; relaxed together with a field of directions, such sites lie like the stones
// of a mosaic (A. Hausner, "Simulating decorative mosaics", 2001).
#pragma once

#include <functional>
#include <span>

#include "imagelib/imagelib.h"

struct VoronoiSite {
    float x, y;    // pixels from the lower left corner, pixel centres at halves; may lie outside of the picture
    float ux, uy;  // unit vector along a side of the cell, in widths of a pixel; round cells have no use for it
};

enum class VoronoiMetric {
    ROUND,  // Euclidean distance
    SQUARE  // the greater one of the distances along the site's direction and across it
};

// Into `labels` (one channel of 32 bits) the index of the nearest site, the first of several; into `nearest` and
// `second`, unless null (one float channel), the distances of the two nearest sites in widths of a pixel. Half of their
// difference is about the distance to the border of the cell. `second` is exact up to 1.25 times the mean spacing of
// the sites and limited to that; `nearest` is exact. Rows count as 1 / labels->pixel_aspect.
// At least one site; all finite and within 1e6. False also when there is no memory or an end was asked for.
bool voronoi_labels(std::span<const VoronoiSite> sites, VoronoiMetric metric, K7Image* labels,
                    K7Image* nearest = nullptr, K7Image* second = nullptr, const StopRequested& stop = {});

struct RelaxationShape {
    int width, height;  // of the picture, in pixels
    float pixel_aspect = 1;
    VoronoiMetric metric = VoronoiMetric::ROUND;
    int rounds = 10;
    float detail = 6;  // points on a side of a mean cell where cells are measured
    // One float channel over the whole picture, of any size; limited to 0 to 1. Sites move towards what weighs more
    // within their cell: off bands of weight 0 that are narrower than a cell. Null: 1 everywhere.
    const K7Image* weights = nullptr;
};

// Lloyd's method: each round moves each site to the mean place of its cell, then asks `turn` (unless empty) for its
// direction there. A site whose cell is empty or without weight stays.
bool voronoi_relax(std::span<VoronoiSite> sites, const RelaxationShape& shape,
                   const std::function<void(VoronoiSite&)>& turn = {}, const StopRequested& stop = {});
