// Connected regions of a picture of labels: their areas, specks, and where a label would stand in each.
//
// Pixels that share a side and a label are connected. Pictures of labels and of regions have one channel of 32 bits.
#pragma once

#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"

struct PictureRegion {
    std::uint32_t label;           // of its pixels
    std::int64_t area;             // pixels
    int left, bottom, right, top;  // first and last column and row
    float centre_x, centre_y;      // mean place, in pixels from the lower left corner, pixel centres at halves
    // Set by image_region_poles: a place well inside, and how far the nearest border is from there. It is no nearer
    // than nine tenths of what any place of the region has, and of these the one next to the mean place: so it moves
    // little when the border does.
    float pole_x, pole_y, pole_radius;
};

// The regions in the order of their first pixels, rows from below; into `regions` the index of each pixel's own.
bool image_regions(const K7Image* labels, K7Image* regions, std::vector<PictureRegion>& found);

// Regions of fewer than `least_area` pixels take the label that has the longest border with them (the lowest of
// several), the smallest first, until there are none. In place. A picture of one region stays.
bool image_merge_specks(K7Image* labels, int least_area);

// The poles of inaccessibility (D. Garcia-Castellanos and U. Lombardo, 2007) from exact distances; the picture's edge
// is a border. `regions` and `found` as image_regions made them.
bool image_region_poles(const K7Image* regions, std::vector<PictureRegion>& found, const StopRequested& stop = {});
