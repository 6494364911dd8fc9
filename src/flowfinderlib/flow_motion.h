// Private to the in-betweens: what moves where at a time between two pictures.
#pragma once

#include "flowfinderlib/flow_between_simd.h"
#include "flowfinderlib/flow_plane.h"

// A flow field in planes, and how sure each pixel's flow is, 0 to 1.
struct FlowGround {
    FlowPlane u, v, sure;
    bool make(int width, int height) {
        return u.make(width, height) && v.make(width, height) && sure.make(width, height);
    }
    FlowPair pair() const { return {u.row(0), v.row(0), u.stride(), u.width, u.height}; }
};

// Covered pixels take on the flow of sure ones around them that look alike. False without memory.
bool flow_fill_covered(const K7Image* picture, FlowGround& ground, float radius, float likeness);

// The motion from the first picture to the second of what is at each pixel at the time `scale`: both grounds are moved
// there, the surest one is kept, and what nothing moves to is filled from around it. False without memory.
bool flow_motion_at(const FlowGround& forward, const FlowGround* backward, float scale, FlowPlane& u, FlowPlane& v);
