// Text drawn with a round pen along the strokes of the Hershey glyphs, at any size and weight.
//
// A place (x, y) is where a character's left margin meets the base line, in pixels; y goes up. Characters outside
// ASCII, and those without a glyph, are blanks.
#pragma once

#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "graphicslib/flat_path.h"
#include "graphicslib/hershey_font.h"
#include "graphicslib/shape_batch.h"

struct TextLook {
    HersheyFont::Style style = HersheyFont::SIMPLEX;
    float size = 20;       // height of a capital, above 0, in pixels
    float weight = 0.08F;  // width of the pen, above 0, in heights of a capital
    float slant = 0;       // how far a capital's top leans to the right, in its heights
};

// How far the next character lies to the right.
float glyph_advance(int code, const TextLook& look);
float text_width(std::string_view text, const TextLook& look);
// Appends the middle lines of the strokes, one contour each, and answers the advance. ShapeBatch::stroke with round
// joins and caps, and the pen's width size * weight, draws them.
float append_glyph(int code, const TextLook& look, float x, float y, FlatPath& path);
float append_text(std::string_view text, const TextLook& look, float x, float y, FlatPath& path);

// The coverage of characters in one look, worked out once for each and for each quarter of a pixel at which it lies.
// For one thread at a time, and it outlives the batch's draw().
class GlyphCache {
  public:
    explicit GlyphCache(const TextLook& of) : m_text_look(of) {}
    const TextLook& look() const { return m_text_look; }

    // To the nearest quarter of a pixel. False when nothing of it is seen.
    bool draw(ShapeBatch& batch, int code, float x, float y, const GraphicsColour& colour);
    // Its width.
    float draw(ShapeBatch& batch, std::string_view text, float x, float y, const GraphicsColour& colour);
    // Null for blanks. `quarter_x` and `quarter_y`: 0 to 3.
    const CoverageMask* mask(int code, int quarter_x, int quarter_y);

  private:
    static constexpr int CODES = 128, PHASES = 16;
    std::unique_ptr<CoverageMask> make(int code, float x, float y) const;

    TextLook m_text_look;
    std::array<std::array<std::unique_ptr<CoverageMask>, PHASES>, CODES> m_masks;
};
