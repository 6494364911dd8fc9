// Clipping of polygons, shared by everything that clips one.
//
// A vertex is a record of `floats` floats; the first ones are its coordinates, all of them are interpolated where an
// edge is cut. I. Sutherland, G. Hodgman, "Reentrant polygon clipping", CACM 17 (1974). A vertex on a side is inside.
#pragma once

namespace polygon_clip {

struct Side {
    int axis;           // 0 for x, 1 for y, 2 for z
    float sign, limit;  // inside where coordinate * sign <= limit
};

// The part of a polygon on the inner side: its number of vertices, written to `to`, at most `room` (2 * count + 2 is
// always enough; vertices beyond the room are dropped). `from` and `to` are different records. An edge is cut from its
// inner to its outer end, so that two polygons that share an edge are cut at the same point.
int cut(const Side& side, const float* from, int count, int floats, float* to, int room);

constexpr int ALL_OUTSIDE = -1;
// The sides of a box with `axes` axes (up to 3) that some vertex lies beyond, in the order low x, high x, low y and so
// on, into `sides`: how many, or ALL_OUTSIDE when every vertex lies beyond one of them.
int crossed_sides(const float* vertices, int count, int floats, int axes, const float* low, const float* high,
                  Side sides[6]);

}  // namespace polygon_clip
