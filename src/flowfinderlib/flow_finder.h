// Private to the flow finder: the levels of a pair of pictures and the search through them.
#pragma once

#include <memory>
#include <vector>

#include "flowfinderlib/flow_plane.h"
#include "flowfinderlib/flow_refine_simd.h"
#include "flowfinderlib/flowfinderlib.h"

// A grey picture at one size, with its derivatives.
struct FlowGrey {
    FlowPlane grey, x, y;  // levels of 255, levels a pixel
    bool make(int width, int height) {
        return grey.make(width, height) && x.make(width, height) && y.make(width, height);
    }
};

// Half of the pixels of a plane, those of one colour of a checkerboard: column n of row y is pixel 2n or 2n + 1.
struct FlowCheckers {
    FlowPlane u, v, a12, b1, b2, inverse1, inverse2, right, below;
    bool make(int width, int height);
};

// Work memory for one level, kept for the next ones.
struct FlowWork {
    FlowPlane u, v;            // the flow of this level
    FlowPlane base_u, base_v;  // what the pictures were warped by; also scratch
    FlowPlane mean, difference, inside, mean_x, mean_y, difference_x, difference_y, smoothness;
    FlowCheckers even, odd;  // pixels with an even and an odd column; which colour that is alternates by rows
    std::vector<float> patch_u, patch_v, patch_error;
    std::vector<unsigned char> claimed;
    std::vector<unsigned char> far;  // pixels whose flow was found far off, at this level or a coarser one; or empty
    bool make(int width, int height);
};

// One level's refinement.
struct FlowRefinement {
    const FlowGrey& first;
    const FlowGrey& second;
    FlowWork& work;
    const FlowSettings& settings;
    float data_scale, edge_scale;  // sigma1 and sigma2 of the level
    int warps;                     // of the second picture; each gives one linear system
};
bool flow_refine_level(const FlowRefinement& refinement, const StopRequested& stop);

// Each pixel takes on the flow of a pixel some way off where that fits much better around it, so that motion ends where
// the thing that moves ends.
void flow_sharpen_edges(const FlowGrey& first, const FlowGrey& second, FlowWork& work, int reach);
