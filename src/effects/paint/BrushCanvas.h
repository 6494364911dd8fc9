// What Q_Brush paints from: the canvas at every scale, and which way strokes run.
#pragma once

#include <vector>

#include "imagelib/imagelib.h"
#include "simdlib/vectors.h"

// A picture with copies of half, quarter and so on the size. Colours are multiplied by their alpha.
class BrushCanvas {
  public:
    // Throws std::bad_alloc.
    explicit BrushCanvas(const K7Image& picture);

    // The mean over a square about `size` pixels of the picture wide, round a place in its pixels.
    simd::Pixel mean(float x, float y, float size) const;
    struct Copy {
        const K7Image* image;
        float scale;  // its pixels for each of the picture
    };
    // The largest copy that is at most this wide.
    Copy copy(int width) const;

  private:
    void add(const K7Image& from, bool halved, bool straight);
    simd::Pixel sample(std::size_t copy, float x, float y) const;

    std::vector<ImagePtr> m_copies;
    std::vector<float> m_scales;  // pixels of the copy for each of the picture
};

struct BrushDirections {
    double follow;         // 0 to 1: how strictly strokes follow edges
    double angle;          // radians: of strokes where there are no edges
    double wander;         // radians that this angle swings
    double wander_length;  // of a swing, as a fraction of the width
    double turn;           // radians: added to the direction of edges
    double smooth;         // reach of the smoothing, as a fraction of the width
    enum Control { NONE, LUMINANCE, HUE, EDGES } control;
    double control_angle;  // radians: for white, or all round the hues
    unsigned seed;
};

// Which way strokes run at each place, as an axis without arrows. Where edges are weak the free direction takes over
// smoothly, so that grain turns nothing.
class BrushField {
  public:
    // `control` may be null. Throws std::bad_alloc.
    BrushField(const BrushCanvas& canvas, const BrushCanvas* control, const BrushDirections& directions);

    struct Axis {
        float x, y;  // of length 1, in widths of a pixel of the canvas
    };
    // At a place in pixels of the canvas; of the two senses that nearer to `before`.
    Axis at(float x, float y, Axis before) const;

  private:
    void fill(const K7Image* structure, const K7Image* control, const BrushDirections& directions);

    ImagePtr m_axes;    // two channels: cosine and sine of twice the angle
    float m_scale = 1;  // its pixels for each of the canvas
};
