// Convex polygons with exact coverage: the area of the polygon within each pixel that it touches.
//
// Pixel (x, y) is the square from (x, y) to (x + 1, y + 1).
#pragma once

#include "imagelib/imagelib_coverage.h"

// Vertices in order, either way round. Clipping adds at most one vertex a side to a convex polygon.
struct ClipPolygon {
    static constexpr int CAPACITY = 256;
    int count = 0;
    int spare = 0;
    float vertices[CAPACITY][2];  // x, y

    bool add(float x, float y) {  // false when full
        if (count < 0 || count >= CAPACITY) return false;
        vertices[count][0] = x;
        vertices[count][1] = y;
        ++count;
        return true;
    }
};

struct ClipBox {
    float x_low, x_high, y_low, y_high;
};

enum ClipResult : int { CLIP_NOTHING_LEFT = 0, CLIP_CLIPPED = 1, CLIP_INSIDE = 2 };

// Keeps what has coordinate * sign - limit at or below 0; axis 0 is x, 1 is y (Sutherland and Hodgman, "Reentrant
// polygon clipping", 1974). Two different records; vertices beyond the capacity are dropped.
void clip_half_plane(const ClipPolygon& in, ClipPolygon& out, int axis, float sign, float limit);

// In place. A count outside 0 to CAPACITY counts as an empty polygon. A polygon with all vertices beyond one side of
// the box is answered with nothing left and a count of 0.
ClipResult clip_to_box(ClipPolygon& polygon, const ClipBox& box);

class ExactPoly {
  public:
    virtual ~ExactPoly();
    // Called once for each pixel that the polygon covers, with the covered area, above 0 and up to 1.
    virtual void shade(int x, int y, float area);

    // Walks the pixels x_first to x_last, y_first to y_last (inclusive): rows upwards, columns within a row. Bands of
    // rows may be walked apart, each by an object of its own: the areas do not depend on the band. A polygon that is
    // not convex keeps its area, unless it overlaps itself. False (and no call) for fewer than 3 vertices, more than
    // CAPACITY, a vertex that is not finite, and when memory runs out.
    bool draw(const ClipPolygon& polygon, int x_first, int x_last, int y_first, int y_last);

  private:
    PolygonCoverage m_coverage;
};
