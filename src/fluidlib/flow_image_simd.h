// Private to the fluid: a row of pixels read from a picture where the coordinate maps say. Plain data.
#pragma once

#include "simdlib/cpu.h"

constexpr int FLOW_SAMPLES = 4;          // of a pixel
constexpr float FLOW_FOOTPRINT = 0.35F;  // pixels that they are spread over
constexpr float FLOW_REACH = FLOW_FOOTPRINT / 2;

// The maps along one row of pixels: within cell i the source's column is
//     a + f (b + f (c + f d)), f from 0 to 1,
// likewise its row. Each of the eight arrays has `cells` numbers and FLOW_SLACK more that may be read.
struct FlowMapRow {
    const float* x[4];
    const float* y[4];
    int cells;
    float step;  // cells from pixel to pixel; the first pixel stands at the beginning of cell 0
};

struct FlowPicture {
    const float* pixels;  // RGBA
    long stride;          // floats from row to row
    int width, height;
    bool wrap_x, wrap_y;  // beyond an edge the picture begins again; otherwise its edge goes on
};

// Where the pixels of a row lie in the picture, in columns and rows. There is a number before the first one, and up to
// FLOW_SLACK more behind the last one may be written and read.
struct FlowPlaces {
    float* x;
    float* y;
};
constexpr int FLOW_SLACK = 16;

struct FlowTable {
    void (*find_places)(const FlowMapRow& maps, int count, const FlowPlaces& places);
    // `count` pixels to `out`. A pixel is the mean of samples at these offsets from its place in the picture, each
    // mixed from four pixels. Offsets are at most FLOW_REACH. Where neighbouring pixels, also those of the row `below`,
    // lie further apart it is the mean of samples all over the ground between them.
    void (*read_row)(const FlowPlaces& places, const FlowPlaces& below, const FlowPicture& picture,
                     const float (*offsets)[2], int count, float* out);
};

QUILLON_SIMD_TABLE(FlowTable, fluid_flow_image);
