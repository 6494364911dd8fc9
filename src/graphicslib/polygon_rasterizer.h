// Polygons with attributes, with exact coverage or by pixel centres.
//
// Pixel (x, y) is the square from (x, y) to (x + 1, y + 1). A vertex is a record of floats whose first two are x and y.
// Attributes run evenly along edges and across rows; where the centre of a partly covered pixel lies outside the
// polygon, they are those of the nearest place inside its row. All values follow from the pixel alone, never from the
// window, so that windows side by side give the picture of one large window to the bit.
//
// Vertices go round either way. Rows are solid between the outermost edges unless the coverage is exact: that is the
// area of the polygon within the pixel, for any polygon that does not overlap itself.
#pragma once

#include <vector>

#include "imagelib/imagelib_coverage.h"

class PolygonRasterizer {
  public:
    enum Mode { EXACT = 1, PLAIN = 2 };

    PolygonRasterizer() { set_vertex_floats(4); }
    virtual ~PolygonRasterizer() = default;

    // A run of pixels of one row. Attribute k of pixel x is start[k] + t * change[k], with t the fraction of the way
    // from x_start to x_start + 1 / scale at which the centre x + 0.5 lies, limited to 0 to 1.
    struct Span {
        void* user;
        void* argument;
        int y, x0, x1;  // both inclusive
        float x_start, scale;
        const float* start;  // null, as the next two, where a vertex has no attributes
        const float* change;
        const float* left_step;  // change of the left edge a row
        const float* coverage;   // of each pixel from x0 on; null: 1
        int floats;
    };
    static float parameter(const Span& span, int x) {
        const float t = (static_cast<float>(x) + 0.5F - span.x_start) * span.scale;
        return t > 0 ? (t < 1 ? t : 1) : 0;
    }

    virtual void pixel(void* user, int x, int y, float coverage, const float* attributes, int count, void* argument,
                       const float* step, const float* left_step) = 0;
    // Calls `pixel` for each; for rasterisers that know a faster way.
    virtual void span(const Span& span);

    // Pixels x0 to x1, y0 to y1; crossed pairs are swapped and negatives count as 0.
    bool set_bounds(int x0, int y0, int x1, int y1);
    // Floats of a vertex, x and y included: 2 to 1024, initially 4. With 2 there is only the shape: spans and pixels
    // carry no attributes, not even their place on the edges, and cost less.
    bool set_vertex_floats(int count);
    bool set_mode(int mode);
    int mode() const { return m_polygon_mode; }
    void set_user(void* pointer) { m_user = pointer; }

    // False for fewer than three vertices, without bounds, and for coordinates that are not finite.
    bool draw_polygon(int count, const float* vertices, void* argument = nullptr);

  private:
    void set_edge(const PolygonCoverage::Edge& edge, double y, float* values, float* step) const;
    Span make_span(const PolygonCoverage::Outermost& sides, double y, void* argument);
    void draw_plain(void* argument);
    void draw_exact(void* argument);

    int m_left = -1, m_right = -1, m_bottom = -1, m_top = -1;  // inclusive
    bool m_bounds_set = false;
    int m_polygon_mode = PLAIN;
    void* m_user = nullptr;
    int m_vertex_floats = 0;
    // Left edge, change across the span, right edge, left and right steps, one pixel's values and steps.
    std::vector<float> m_work;
    PolygonCoverage m_polygon;
};
