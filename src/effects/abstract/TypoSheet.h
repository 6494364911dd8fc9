// How Q_Typo sets a page: the letters that are seen, where they lie, and how much ink each takes.
//
// Text coordinates (u, v) count heights of a capital from the origin: u along a line, v upwards.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "effects/abstract/Typo.h"
#include "effects/abstract/TypoText.h"
#include "graphicslib/glyph_field.h"

// The letters of a font in one look.
class Typeface {
  public:
    // `finest`: pixels of a capital in the smallest letter.
    Typeface(const TypoInfo& info, const std::string& ascii, float capital, float finest);

    float advance(int code) const { return m_advances[index(code)]; }
    // Where the middle of a letter's cell lies, from the glyph's own left margin.
    float middle(int code) const { return m_middles[index(code)]; }
    const GlyphField& field(int code) const { return m_fields[index(code)]; }
    float reach() const { return m_reach; }

  private:
    static constexpr int CODES = 128;
    static std::size_t index(int code) { return static_cast<std::size_t>(code & (CODES - 1)); }
    void measure(const TypoInfo& info, int code);
    GlyphField make_field(const TypoInfo& info, int code, const GlyphFieldSize& size) const;

    TextLook m_look;
    float m_reach;
    std::array<float, CODES> m_advances{}, m_middles{}, m_squeezes{};
    std::array<GlyphField, CODES> m_fields;
};

// How the text lies over the picture.
struct TypeSheet {
    TypeSheet(const TypoInfo& info, const K7Image& frame, double frame_number);

    double capital;                 // in columns
    double rows;                    // of a column: the pixel aspect
    double x, y;                    // of the origin, in pixels
    double cosine, sine;            // of the lines' direction
    double pitch;                   // of the lines, in capitals
    double left, right, low, high;  // of the picture, in text coordinates
    double scrolled, climbed;       // in capitals
    double width() const { return right - left; }
};

// How much of the paper pens cover: from the picture's tone to a pen.
class PenCurve {
  public:
    PenCurve(const TypoInfo& info, const Typeface& face, const std::vector<TextStrip>& strips, double pitch);
    // Half the width of the pen, in capitals; `ink` is how much is wanted, 0 to 1.
    float half_pen(float ink) const;
    float boldest() const { return m_boldest; }             // half its width
    float cover_of_boldest() const { return m_covers[1]; }  // 0 to 1 of the paper
    float cover(float ink) const { return m_covers[0] + ink * (m_covers[1] - m_covers[0]); }

  private:
    static constexpr int STEPS = 256;
    float m_boldest;
    std::array<float, 2> m_covers{};  // of the lightest and the boldest
    std::array<float, STEPS + 1> m_pens{};
};

// The clip's mean over small blocks, and the ink that its tones ask for.
struct ToneMap {
    ToneMap(const TypoInfo& info, const K7Image& clip, const TypeSheet& sheet);

    int block;                             // pixels a side
    ImagePtr means;                        // RGB weighted by alpha
    bool light_ink;                        // bright parts take the most ink
    float ink_of(const float* rgb) const;  // 0 to 1
    // Mean over a box of pixels.
    void mean(double x0, double y0, double x1, double y1, float* rgb) const;

  private:
    static constexpr int STEPS = 1024;
    std::array<float, STEPS + 1> m_inks{};  // of luminances from 0 to 1
};

struct SetLetter {
    const GlyphField* field;
    float middle;        // of its cell, from the glyph's left margin
    float x, y;          // pixel of the cell's middle, half a capital above the base line
    float cosine, sine;  // of its own direction
    float wide;          // its cell, in capitals
    float scale;
    float half_pen;  // pixels
    float opacity;
    float ink[3];
    int first_row, last_row;  // that it can reach, inside the picture; crossed: none
};

// All letters in sight, from the top left on, without their ink.
std::vector<SetLetter> set_letters(const TypoInfo& info, const Typeface& face, const std::vector<TextStrip>& strips,
                                   const TypeSheet& sheet, int height);
// What the letter takes of the picture's tone.
void ink_letter(const TypoInfo& info, const PenCurve& curve, const ToneMap& tones, const TypeSheet& sheet,
                SetLetter& letter);
