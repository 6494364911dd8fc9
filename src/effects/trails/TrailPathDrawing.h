// Q_TrailPath on its picture: strokes, stamps, sparks and glow, band by band.
#pragma once

#include <functional>
#include <vector>

#include "effects/trails/TrailPathBrush.h"
#include "effects/trails/TrailPathStroke.h"
#include "imagelib/imagelib_pyramid.h"

// One print of the Brush clip.
struct BrushStamp {
    float x, y, s;
    float ux, uy;  // the clip's x axis
    float half;    // half its height, in pixels
};

struct BrushStamps {
    std::vector<BrushStamp> places;
    const ImagelibPyramid* picture = nullptr;  // premultiplied
    bool own_colours = false;
};

struct BrushGlow {
    float strength = 0.0F, radius = 1.0F;  // pixels
};

class PathDrawing {
  public:
    PathDrawing(K7Image& picture, const BrushLook& look, StopRequested stop);
    // All on top of the picture. Without `line` vertices nothing is swept.
    void draw(const StrokeLine& line, const BrushStamps& stamps, const std::vector<SparkLine>& sparks,
              const BrushGlow& glow);

  private:
    struct Bins;
    struct Grid;
    struct Band;
    void drawBand(int band, Band& scratch) const;
    void stampRows(const Band& band) const;
    void lightRows(Band& band) const;
    void put(const BrushPixel& pixel, float* under) const;

    K7Image& m_picture;
    const BrushLook& m_look;
    StopRequested m_stop;
    float m_row_height;
    const StrokeLine* m_line = nullptr;
    const BrushStamps* m_stamps = nullptr;
    const std::vector<SparkLine>* m_sparks = nullptr;
    const Bins *m_pieces = nullptr, *m_prints = nullptr, *m_flying = nullptr;
    const Grid* m_glow = nullptr;
};
