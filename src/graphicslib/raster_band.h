// Private: what one thread renders with. Bands share nothing but the images, of which each writes its own part.
#pragma once

#include <vector>

#include "graphicslib/raster_graphics.h"
#include "graphicslib/raster_spans.h"

class RasterGraphicsPolygonRasterizer final : public PolygonRasterizer {
  public:
    explicit RasterGraphicsPolygonRasterizer(RasterGraphics* owner) : graphics(owner) {
        set_vertex_floats(RasterGraphics::vertex_floats);
    }
    void pixel(void* user, int x, int y, float coverage, const float* attributes, int count, void* argument,
               const float* step, const float* left_step) override;
    void span(const Span& span) override;

    const raster::Kernels* kernels = nullptr;

  private:
    RasterGraphics* graphics;
};

class RasterGraphicsLineRasterizer final : public LineRasterizer {
  public:
    explicit RasterGraphicsLineRasterizer(RasterGraphics* owner) : graphics(owner) { set_mode(ANTIALIASED); }
    void pixel(void* user, int x, int y, float coverage, const float* attributes, void* argument) override;

  private:
    RasterGraphics* graphics;
};

struct PixelRect {  // both ends inclusive
    int x0, y0, x1, y1;
};

// One picture: its samples, and the part of the device that may change.
struct RasterGraphics::Render {
    struct Sample {
        float dx, dy, weight;
    };
    std::vector<Sample> samples;
    float total_weight = 0;
    PixelRect drawn{};
    int band_count = 1;
    std::size_t largest_node = 0;  // vertices

    PixelRect band(int index) const;
};

struct RasterGraphics::Band {
    explicit Band(RasterGraphics* owner) : graphics(owner), polygons(owner), lines(owner) {}

    void render(const Render& picture, const PixelRect& rect);

    RasterGraphics* graphics;
    RasterGraphicsPolygonRasterizer polygons;
    RasterGraphicsLineRasterizer lines;
    PolygonClipRect polygon_clip;
    LineClipRect line_clip;
    std::vector<float> moved;                               // the node being drawn, with its offset
    std::vector<const DisplayNode*> row_nodes, tile_nodes;  // those that reach into a row of tiles, and into a tile

  private:
    void render_tile(const Render& picture, const PixelRect& tile);
    void draw(const DisplayNode& node, const Render::Sample& sample, const PixelRect& tile);
    void draw_disc(const DisplayNode& node, const Render::Sample& sample, const PixelRect& tile);
    void clip_to_device(const Render::Sample& sample);
    bool inside_device(const DisplayNode& node, const Render::Sample& sample) const;
};
