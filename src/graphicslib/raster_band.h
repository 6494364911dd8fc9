// Private: what one thread renders with. Bands share nothing but the target, of which each writes its own part.
#pragma once

#include <cstddef>
#include <vector>

#include "graphicslib/raster_graphics.h"
#include "graphicslib/raster_spans_simd.h"

struct PixelRect {  // both ends inclusive
    int x0, y0, x1, y1;
};

// The part of the picture that a band is drawing, in memory of its own that the second-level cache holds.
class RasterTile {
  public:
    static constexpr int WIDTH = 512, HEIGHT = 32;

    // For tiles of pictures within `rect`. May throw std::bad_alloc.
    void reserve(const PixelRect& rect, bool with_sums);
    // `with_depths` where something may lie behind what was drawn before it.
    void begin(const PixelRect& rect, bool with_depths);
    void clear(const raster::Kernels& kernels);

    float* sample(int x, int y) { return m_samples + std::ptrdiff_t(y - rect.y0) * 4 * m_stride + 4 * (x - rect.x0); }
    float* sum(int x, int y) { return m_sums + std::ptrdiff_t(y - rect.y0) * 4 * m_stride + 4 * (x - rect.x0); }
    // Null in a tile without depths.
    float* depth(int x, int y) {
        return m_deep ? m_depths + std::ptrdiff_t(y - rect.y0) * m_stride + (x - rect.x0) : nullptr;
    }
    bool has_depths() const { return m_deep; }

    PixelRect rect{};

  private:
    // Rows are not a power of two apart, so that those of a tall shape do not meet in the same set of the cache.
    int m_stride = 0;  // pixels
    std::vector<float> m_memory;
    float *m_samples = nullptr, *m_sums = nullptr, *m_depths = nullptr;
    bool m_deep = true;
};

class RasterGraphicsPolygonRasterizer final : public PolygonRasterizer {
  public:
    explicit RasterGraphicsPolygonRasterizer(RasterGraphics* owner) : m_graphics(owner) {
        set_vertex_floats(RasterGraphics::vertex_floats);
    }
    // Floats of the vertices of a polygon with the default shading: its shape, depth and colour. One that has the same
    // colour everywhere and lies in a tile without depths needs no more than its shape.
    static constexpr int INK_FLOATS = 7, SHAPE_FLOATS = 2;

    void pixel(void* user, int x, int y, float coverage, const float* attributes, int count, void* argument,
               const float* step, const float* left_step) override;
    void span(const Span& span) override;

    const raster::Kernels* kernels = nullptr;
    RasterTile* tile = nullptr;

  private:
    RasterGraphics* m_graphics;
};

class RasterGraphicsLineRasterizer final : public LineRasterizer {
  public:
    explicit RasterGraphicsLineRasterizer(RasterGraphics* owner) : m_graphics(owner) { set_mode(ANTIALIASED); }
    void pixel(void* user, int x, int y, float coverage, const float* attributes, void* argument) override;

    RasterTile* tile = nullptr;

  private:
    RasterGraphics* m_graphics;
};

// One picture: its samples, and the part of the device that may change.
struct RasterGraphics::Render {
    struct Sample {
        float dx, dy, weight;
    };
    struct Reach {  // of a node, in pixels
        float x0, y0, x1, y1;
    };
    std::vector<Sample> samples;
    float total_weight = 0;
    std::vector<Reach> reaches;  // of the sorted nodes
    PixelRect drawn{};
    int band_count = 1;
    bool streamed = false;  // the target is too large for the caches

    PixelRect band(int index) const;
};

struct RasterGraphics::Band {
    explicit Band(RasterGraphics* owner) : graphics(owner), polygons(owner), lines(owner) {
        polygons.tile = lines.tile = &tile;
    }

    void render(const Render& picture, const PixelRect& rect);

    RasterGraphics* graphics;
    RasterTile tile;
    RasterGraphicsPolygonRasterizer polygons;
    RasterGraphicsLineRasterizer lines;
    PolygonClipRect polygon_clip;
    LineClipRect line_clip;
    std::vector<float> moved;                    // the node being drawn, with its offset
    std::vector<int> row_nodes;                  // those that reach into a row of tiles
    std::vector<const DisplayNode*> tile_nodes;  // and into a tile

  private:
    void render_tile(const Render& picture, const PixelRect& rect);
    void write_tile(const Render& picture);
    void draw(const DisplayNode& node, const Render::Sample& sample);
    void draw_polygon(const DisplayNode& node, const Render::Sample& sample);
    void draw_disc(const DisplayNode& node, const Render::Sample& sample);
    int place_polygon(const DisplayNode& node, const Render::Sample& sample);
    void clip_to_device(const Render::Sample& sample);
    bool inside_device(const DisplayNode& node, const Render::Sample& sample) const;
};
