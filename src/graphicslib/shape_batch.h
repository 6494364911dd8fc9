// Shapes with smooth edges, straight into float RGBA pictures: collected first, then drawn on all threads. Made for
// hundreds of thousands of small ones.
//
// Pixel (x, y) is the square from (x, y) to (x + 1, y + 1). A pixel takes of a shape's ink what the shape covers of it,
// exactly. Shapes are drawn in the order in which they are given, or by depth, whatever the number of threads: the same
// bits always. Two shapes that share an edge each cover a part of the pixels along it, so that a little of what is
// behind shows through there; where they tile the picture, add them onto black.
//
// The calls answer false, and draw nothing, for coordinates that are not finite, too few points, and where nothing can
// be seen. Memory that can't be had throws std::bad_alloc.
#pragma once

#include <cstdint>
#include <vector>

#include "graphicslib/draw_blend.h"
#include "graphicslib/flat_path.h"
#include "graphicslib/image_dev.h"
#include "graphicslib/mip_picture.h"
#include "graphicslib/thick_line.h"
#include "imagelib/imagelib_coverage.h"

// A small picture of how much of each pixel is covered, 0 to 1: a glyph.
struct CoverageMask {
    int x = 0, y = 0;  // of its first column and row, from the place at which it is drawn
    int width = 0, height = 0;
    std::vector<float> values;  // row after row
};

// Corner of a polygon that is not of one colour.
struct ShapeVertex {
    float x, y;                            // pixels
    float u = 0, v = 0;                    // place in the texture, in its pixels from its lower left corner
    float w = 1;                           // depth in perspective, above 0; 1: u and v run evenly over the picture
    GraphicsColour colour = {1, 1, 1, 1};  // times the texture's
};

class ShapeBatch {
  public:
    // Forgets what was collected and begins anew for pictures of this size.
    void begin(int width, int height);
    // Of the shapes that follow; larger ones are drawn first when sorted. Initially 0.
    void set_depth(float depth) { m_current_depth = depth; }
    void set_blend(DrawBlend blend) { m_current_blend = blend; }  // initially over

    // Colours are not multiplied by their alpha, and not limited.
    // x, y, x, y; any polygon that does not overlap itself.
    bool polygon(int count, const float* xy, const GraphicsColour& colour);
    // The inside of all contours of a path; holes go round the other way than what surrounds them.
    bool fill(const FlatPath& path, const GraphicsColour& colour);
    // A pen of this width, in pixels, along a path. Where the stroke crosses itself it is inked once.
    bool stroke(const FlatPath& path, float width, StrokeStyle style, const GraphicsColour& colour);
    // A convex polygon whose colour and texture place run from corner to corner. The texture, null for none, lives
    // until draw().
    bool mesh(int count, const ShapeVertex* vertices, const MipPicture* texture = nullptr);
    // At whole pixels. The mask lives until draw().
    bool mask(const CoverageMask& mask, int x, int y, const GraphicsColour& colour);

    void sort_by_depth();  // those of equal depth keep their order
    // False for anything but a float RGBA picture of the size that was begun.
    bool draw(K7Image* image) const;
    std::size_t count() const { return m_items.size(); }

    // The polygons of a stroke, all counter-clockwise, so that together they cover what the pen touches: x, y after
    // x, y; `ends` holds where each polygon ends, in points.
    static void outline(const FlatPath& path, float width, StrokeStyle style, std::vector<float>& xy,
                        std::vector<std::uint32_t>& ends);

  private:
    enum class Kind : std::uint8_t { POLYGON, CONTOURS, MESH, MASK };
    struct Item {
        Kind kind = Kind::POLYGON;
        DrawBlend blend = DrawBlend::over;
        float ink[4] = {};  // colour times alpha, alpha
        float depth = 0;
        int first_row = 0, last_row = 0;   // that it can reach, inside the picture
        std::uint32_t begin = 0, end = 0;  // of its floats; or of its contours
        std::uint32_t points = 0;          // of contours: their first float
        int x = 0, y = 0;                  // of a mask
        MipPicture::Reading reading;       // of a texture
        const void* source = nullptr;      // the texture, or the mask
    };
    struct Bounds {
        float x0, y0, x1, y1;
    };
    struct Contour {
        std::uint32_t end;  // points of the shape up to it
        float low, high;    // in y
    };
    class MeshRasterizer;

    bool reach(Item& item, const Bounds& bounds) const;
    Item make_item(Kind kind, const GraphicsColour& colour) const;
    bool add_contours(std::size_t first_float, const GraphicsColour& colour);
    static void choose_level(Item& item, const MipPicture& texture, int count, const ShapeVertex* vertices);
    void draw_item(const Item& item, K7Image* image, int first, int last, PolygonCoverage& coverage,
                   MeshRasterizer& meshes) const;

    int m_width = 0, m_height = 0;
    float m_current_depth = 0;
    DrawBlend m_current_blend = DrawBlend::over;
    std::vector<Item> m_items;
    std::vector<float> m_floats;
    std::vector<Contour> m_contours;
    std::vector<std::uint32_t> m_ends;   // of the contours of a shape that is being added
    std::vector<std::uint32_t> m_order;  // empty: that of the items
};
