// Lines clipped to a box in homogeneous coordinates, or to a rectangle.
//
// Outcodes after D. Cohen and I. Sutherland; parameters after Y. Liang and B. Barsky, "A new concept and method for
// line clipping", ACM TOG 3 (1984). A point on a side counts as inside.
#pragma once

// A pen: points are moved and drawn to, and the parts inside the box arrive at on_move and on_draw.
class LineClipBox {
  public:
    static constexpr unsigned ALL_PLANES = 0x3F;  // bit 2 * axis: the low side; bit 2 * axis + 1: the high side

    LineClipBox() = default;
    virtual ~LineClipBox() = default;

    // Initially -1 to 1 in x, y and z, all times w. False, and a box that refuses, when a minimum is above its maximum.
    bool set_box(const float low[3], const float high[3]);
    void set_planes(unsigned mask) { m_planes = mask & ALL_PLANES; }
    bool box_valid() const { return m_valid; }

    // Point x, y, z, w. `visible` tells whether anything was passed on. A draw before any move fails, and so does a
    // point that is not finite, after which the pen needs a move.
    virtual bool clip_point(const float point[4], bool draw, bool& visible);
    bool clip_point_no_result(const float point[4], bool draw) {
        bool visible;
        return clip_point(point, draw, visible);
    }
    virtual void on_move(const float*) {}
    virtual void on_draw(const float*) {}

    // The part of a segment that lies inside, 0 <= t0 <= t1 <= 1; false when there is none.
    bool clip_segment(const float a[4], const float b[4], float& t0, float& t1) const;
    unsigned outcode(const float point[4]) const;
    void forget_point() { m_first_point_pending = true; }

  private:
    float distance(int plane, const float point[4]) const;

    float m_minimum[3] = {-1, -1, -1}, m_maximum[3] = {1, 1, 1};
    bool m_valid = true;
    unsigned m_planes = ALL_PLANES;
    float m_previous[4] = {0, 0, 0, 1};
    bool m_first_point_pending = true;
};

// Blocks of two points, `floats` each, of which the first two are x and y.
class LineClipRect {
  public:
    virtual ~LineClipRect() = default;

    bool set_rect(float x0, float y0, float x1, float y1);
    bool rect_valid() const { return m_valid; }
    void set_planes(unsigned mask) { m_planes = mask & 0x0F; }

    // False when nothing is left. `clipped` may be `line`.
    bool clip(const float* line, float* clipped, int floats) const;
    // The same for the line moved by (dx, dy).
    bool offset_and_clip(const float* line, float dx, float dy, float* clipped, int floats) const;

  private:
    float m_minimum[2] = {-1, -1}, m_maximum[2] = {1, 1};
    bool m_valid = true;
    unsigned m_planes = 0x0F;
};
