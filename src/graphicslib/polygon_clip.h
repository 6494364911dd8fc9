// Polygons with attributes, clipped to a box or a rectangle.
//
// A vertex is x, y and further floats (a box reads the third as z); all of them are interpolated where an edge is cut.
// The method is that of imagelib/polygon_clip.h; a vertex on a side counts as inside.
#pragma once

#include <vector>

enum class PolygonClip : int {
    inside = 1,   // the result is the input itself
    outside = 2,  // nothing is left
    clipped = 3,
};

class PolygonClipper {
  public:
    virtual ~PolygonClipper() = default;

    // Floats of a vertex beyond x and y, 0 or more.
    bool set_extra_floats(int count);
    int extra_floats() const { return m_vertex_floats - 2; }

    // Fewer than three vertices and coordinates that are not finite leave nothing, as a failed allocation does.
    PolygonClip clip(int count, const float* vertices);
    int result_count() const { return m_count_left; }
    // Valid until the next clip; the input when nothing was cut.
    const float* result() const { return m_left; }
    bool box_valid() const { return m_valid; }

  protected:
    PolygonClipper(int axes, int extra);
    bool set_limits(const float* low, const float* high);

  private:
    bool finite(int count, const float* vertices) const;

    int m_axes;
    int m_vertex_floats;
    float m_minimum[3], m_maximum[3];
    bool m_valid = true;
    std::vector<float> m_buffers[2];
    const float* m_left = nullptr;
    int m_count_left = 0;
};

class PolygonClipBox : public PolygonClipper {
  public:
    PolygonClipBox() : PolygonClipper(3, 1) {}
    // x, y, z; initially -1 to 1. False, and a box that refuses, when a minimum lies above its maximum.
    bool set_box(const float low[3], const float high[3]) { return set_limits(low, high); }
};

class PolygonClipRect : public PolygonClipper {
  public:
    PolygonClipRect() : PolygonClipper(2, 0) {}
    bool set_rect(float x0, float y0, float x1, float y1) {
        const float low[2] = {x0, y0}, high[2] = {x1, y1};
        return set_limits(low, high);
    }
};
