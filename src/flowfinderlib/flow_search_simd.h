// Private to the flow finder: the dense inverse search of one row of patches. Plain data.
#pragma once

#include "simdlib/cpu.h"

constexpr int FLOW_PATCH = 8;  // pixels across
constexpr int FLOW_GRID = 4;   // from patch to patch
constexpr int FLOW_COLOUR_PLANES = 3;
constexpr int FLOW_FAR = 12;  // pixels that lost patches look around, along either side
constexpr float FLOW_FOUND_FAR = -1.0F;

// Planes of one size with FLOW_BORDER pixels around them, which repeat the edge of the pictures. A picture is one plane
// or, in colour, FLOW_COLOUR_PLANES.
struct FlowSearch {
    struct Plane {
        const float* first;
        const float* first_x;  // derivatives of the first picture, a pixel
        const float* first_y;
        const float* second;
    };
    Plane planes[FLOW_COLOUR_PLANES];
    bool in_colour;
    const float* guess_u;  // where patches begin their search, from the coarser level
    const float* guess_v;
    long stride;
    int width, height;
    int columns, rows;  // of patches
    float* patch_u;     // what they find, columns x rows
    float* patch_v;
    int iterations;
    // Only where patches that are lost look far around, in colour:
    float* patch_error;            // their mean squared difference, a pixel
    const unsigned char* claimed;  // pixels of the second picture that a patch has found, width x height
};

// The corner of a patch: a multiple of the grid, the last one at the edge.
[[maybe_unused]] static inline int flow_patch_corner(int index, int size) {
    return index * FLOW_GRID < size - FLOW_PATCH ? index * FLOW_GRID : size - FLOW_PATCH;
}
[[maybe_unused]] static inline int flow_patch_count(int size) {
    return (size - FLOW_PATCH + FLOW_GRID - 1) / FLOW_GRID + 1;
}

// A row of a flow tried at other pixels than those that it was found for.
struct FlowTrialRow {
    const float* first;   // the row
    const float* second;  // pixel (0, 0)
    const float *u, *v;   // the row's flow, already moved: that of pixel (x + dx, y + dy) stands at x
    long stride;
    int width, height, y;
};
// How well a trial fits around each pixel, against the best so far.
struct FlowChoiceRow {
    const float* misfits[5];  // rows y - 2 to y + 2
    const float *u, *v;       // as in the trial
    int width;
    bool first_trial;
    float *best, *best_u, *best_v;
};

// Whether a patch has not found its place, by its error.
[[maybe_unused]] static inline bool flow_patch_is_lost(float error) { return !(error < 300.0F); }

struct FlowSearchTable {
    void (*search_row)(const FlowSearch& search, int patch_row);
    // How well the patches fit where they have come to, by colour and brightness.
    void (*judge_row)(const FlowSearch& search, int patch_row);
    // Patches that are lost look among the places that no other patch has found.
    void (*look_far_row)(const FlowSearch& search, int patch_row);
    // A row of pixels: the mean of the patches that cover each, weighted by how well they fit there. `sums` has three
    // rows of the width and FLOW_PATCH more.
    void (*spread_row)(const FlowSearch& search, int y, float* u, float* v, float* sums);
    void (*try_row)(const FlowTrialRow& row, float* misfit);
    void (*choose_row)(const FlowChoiceRow& row);
};

QUILLON_SIMD_TABLE(FlowSearchTable, flow_search);
