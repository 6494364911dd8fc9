// What the brushes of Q_TrailPath look like: the colour of a pixel from its place along and across the stroke.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "effects/trails/TrailPathStroke.h"
#include "imagelib/imagelib_pyramid.h"

// What a pixel gets: paint that covers, then light, which adds up with no limit.
struct BrushPixel {
    float cover = 0.0F;
    float paint[3] = {};
    float light[3] = {};
};

// Everything that the pixels of a stroke share. Lengths are in pixels.
struct BrushLook {
    int kind = 1, blend = 1;  // as in TrailPathInfo
    float radius = 1.0F;
    float length = 1.0F;           // of the whole path
    float from = 0.0F, to = 0.0F;  // what is drawn of it
    float pen_opens = 0.0F;        // where the pen is when the shutter opens; it closes at `to`
    float start_opens = 0.0F;      // and where the stroke begins then; it closes at `from`
    float fade = 0.0F;             // of the beginning
    float opacity = 1.0F, softness = 0.0F, grain = 0.0F, brightness = 1.0F;
    float grain_size = 1.0F;  // pixels
    float dash = 1.0F, period = 2.0F, dash_offset = 0.0F;
    std::uint32_t seed = 1;
    const ImagelibPyramid* ribbon = nullptr;  // premultiplied
    bool own_colours = false;                 // of the ribbon
    bool closed = false;

    static constexpr int COLOURS = 256;
    std::array<float, 3 * (COLOURS + 1)> colours{};  // along the path

    void colour_at(float s, float* colour) const;
    // How much of the stroke there is at a place of the path: its fading, and the ends that move.
    // `cap` is how far a brush there reaches beyond an end.
    float present(float s, float cap = 0.0F) const;
    BrushPixel pixel(const StrokeHit& hit, float x, float y) const;

  private:
    float present(const StrokeHit& hit) const;
    float edge(const StrokeHit& hit) const;
    float flat(const StrokeHit& hit, float& tone) const;
    float chalk(const StrokeHit& hit, float x, float y) const;
    float dashes(const StrokeHit& hit) const;
    BrushPixel neon(const StrokeHit& hit) const;
};

// A straight spark, brightest at its beginning.
struct SparkLine {
    float ax, ay, bx, by;
    float radius;
    float light[3];
};
// The sparks of a sparkler's stroke, and those that fly at its pen in a frame.
std::vector<SparkLine> stroke_sparks(const std::vector<PathVertex>& piece, const BrushLook& look, float amount,
                                     float reach, int frame);
