// Labels and warnings in a fixed bitmap font, 8 x 13 pixels in a cell of 10 x 13.
#pragma once

#include <array>
#include <cstdint>

#include "imagelib/imagelib.h"

enum class TextAnchor { centre, left };

class BitText {
  public:
    static constexpr int CHANNELS = 64;
    static constexpr int CELL_WIDTH = 10, CELL_HEIGHT = 13;
    static constexpr int FIRST_GLYPH = 0x20, GLYPHS = 95;

    BitText();

    // Up to CHANNELS values, limited to 0 to 1 of the full value; the fourth is how opaque the colour is. Initially
    // all text values are 1 and all background values 0.
    bool set_text_colour(const float* values, int count);
    bool set_background_colour(const float* values, int count);
    float text_colour(int channel) const { return m_text[std::size_t(channel)]; }
    // Leaves out the background.
    void set_transparent(bool on) { m_transparent = on; }

    // Lays the text over the image, `size` pixels high, with its middle (or the middle of its left side) at (x, y).
    // Characters without a glyph are blank cells. Gives the width in pixels, 0 when nothing could be drawn.
    float draw(const char* string, K7Image* destination, float x, float y, float size,
               TextAnchor anchor = TextAnchor::centre) const;

    // Rows of a glyph from the bottom up, the leftmost pixel in the highest bit; null for characters without one.
    static const std::uint8_t* glyph(unsigned char character);

  private:
    void draw_cells(const char* string, int length, K7Image* cells) const;

    std::array<float, CHANNELS> m_text, m_background;
    bool m_transparent = false;
};
