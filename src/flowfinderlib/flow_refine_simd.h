// Private to the flow finder: rows of the variational refinement. Plain data; all planes of a level have one stride.
#pragma once

#include "simdlib/cpu.h"

// Row y of the second picture, read where the flow leads.
struct FlowWarpRow {
    const float* first;   // the row of the first picture
    const float* second;  // pixel (0, 0)
    long stride;
    int width, height, y;
    const float* u;
    const float* v;
    float* mean;        // of first picture and warped second one
    float* difference;  // warped second picture less the first
    float* inside;      // 1 where the flow leads into the picture, 0 beyond its edge
};

// Derivatives along a row, and across it from two rows on either side.
struct FlowSlopeRow {
    const float* mean;
    const float* difference;
    long stride;
    int width;
    float *mean_x, *mean_y, *difference_x, *difference_y;
};

// The linearised problem of a row at pixels in their order. Pointers are to the row; neighbours lie `stride` away.
struct FlowSystemRow {
    const float *difference, *inside, *mean_x, *mean_y, *difference_x, *difference_y;
    const float *base_u, *base_v;  // the flow that the pictures were warped by
    const float *u, *v;            // the latest flow, which the robust weights are taken from
    const float* smoothness;       // of each pixel; between two pixels counts their mean
    long stride;
    int width;
    bool first_row, last_row;
    float brightness, gradient;  // weights of the two data terms
    float data_scale;            // squared: residuals below it count squared, above it by their size
};

// The same as the sweeps take it: pixels of one colour of a checkerboard side by side.
struct FlowSystem {
    float *a12, *b1, *b2, *inverse1, *inverse2, *right, *below;
};

// One colour of a row in a sweep of successive over-relaxation.
struct FlowSweepRow {
    const float *a12, *b1, *b2, *inverse1, *inverse2, *right, *below, *below_above;
    const float* right_of_left;  // what the pixel to the left has as `right`
    float *u, *v;
    const float *left_u, *left_v, *right_u, *right_v, *above_u, *above_v, *below_u, *below_v;
    int count;
    float relaxation;
};

struct FlowRefineTable {
    void (*warp)(const FlowWarpRow& row);
    void (*slopes)(const FlowSlopeRow& row);
    // How stiff the flow is at each pixel of a row: weight / sqrt(|gradient of the flow|^2 + scale).
    void (*smoothness)(const float* u, const float* v, long stride, int width, bool last_row, float weight, float scale,
                       float* out);
    // Rows of natural order into scratch, then into both colours. `scratch` has 8 rows of width + 16.
    void (*system)(const FlowSystemRow& row, float* scratch, const FlowSystem& even, const FlowSystem& odd);
    void (*sweep)(const FlowSweepRow& row);
    void (*split)(const float* row, int width, float* even, float* odd);
    void (*join)(const float* even, const float* odd, int width, float* row);
    // The median of 3 x 3; rows to the left and right of the first and last pixel are read.
    void (*median)(const float* above, const float* row, const float* below, int width, float* out);
};

QUILLON_SIMD_TABLE(FlowRefineTable, flow_refine);
