// Where Q_Brush puts its strokes: seeds on fixed grids from coarse to fine, paths along the field, colours, and the
// order in which they are painted.
#pragma once

#include <cstdint>
#include <vector>

#include "effects/paint/BrushCanvas.h"
#include "effects/paint/Brush_simd.h"

enum BrushColouring { BRUSH_PAINT, BRUSH_PIGMENT, BRUSH_ONE_INK };
enum BrushOrder { BRUSH_AT_RANDOM, BRUSH_LEFT_TO_RIGHT, BRUSH_TOP_TO_BOTTOM, BRUSH_FROM_MIDDLE };

struct BrushSettings {
    int width, height;  // of the picture
    float row_height;   // widths of a pixel
    // Lengths in pixels of a row
    double largest, smallest;  // widths of strokes
    int layers;
    double length;    // in widths
    double density;   // 1: each layer would cover the picture about three times
    double detail;    // the least difference of colours that finer strokes are painted for
    double stop;      // the difference of colours at which strokes end
    float curvature;  // 0 straight to 1
    double jitter;    // radians
    float opacity;
    float dryness;
    // Colours
    int colouring;
    float paper[3], ink[3];
    float hue_jitter, saturation_jitter, value_jitter, saturation;
    // Progress
    double progress;  // 0 to 1
    int order;
    std::uint32_t seed;
};

// All strokes that are seen, in the order in which they are painted. `matte`, if not null, keeps strokes from places
// where its luminance is 0. Throws std::bad_alloc.
std::vector<BrushStroke> brush_strokes(const BrushSettings& settings, const BrushCanvas& canvas,
                                       const BrushField& field, const BrushCanvas* matte, const StopRequested& stop);

// The marks of bristles for a stroke of this half width: a copy that suits it, for BrushStroke::bristles.
struct BristleMarks {
    const std::uint32_t* marks;
    int columns;
};
BristleMarks bristle_marks(int kind, float half_width);
