// The table of Hershey stroke glyphs; stroke_text.h draws with it.
//
// The Hershey Fonts were originally created by Dr. A. V. Hershey while working at the U. S. National Bureau of
// Standards; the format of the font data was originally created by James Hurt, Cognition, Inc.
//
// A glyph is text: three characters with the count of pairs, then pairs of letters, each an offset from 'R', x to the
// right and y down. The first pair is the left and right margin; the pair " R" lifts the pen.
#pragma once

#include <string_view>

class HersheyFont {
  public:
    static constexpr int SLOTS = 4000;
    static constexpr int PUNCTUATION = 34;  // entries of a punctuation table
    enum Style { COMPLEX = 0, SIMPLEX = 1, DUPLEX = 2, TRIPLEX = 3, ITALIC = 4, SCRIPT = 5, BLACKLETTER = 6 };
    static constexpr int STYLES = 7;

    struct Symbol {
        std::string_view name;
        int number;  // Hershey's
    };

    HersheyFont() = default;
    virtual ~HersheyFont() = default;

    // Hershey's glyph of number n stands in slot n + 1. Null where no glyph is.
    static const char* slot(int index);
    static const char* glyph(int number) { return slot(number + 1); }

    // What an ASCII code stands for: 1 to 26 capitals, 101 to 126 lower case, 200 to 209 digits, and below 0 the entry
    // -code - 1 of the punctuation tables. Codes outside 0 to 127 are as empty as control codes.
    static int ascii(int code);
    // A Hershey number; 999, a blank underline, outside the tables. Italic, script and blackletter have the marks of
    // the upright alphabets.
    static int punctuation(int style, int entry);
    static int digit(int value);  // a Hershey number, for 200 to 209
    // The Hershey number for a character in a style.
    static int number_for(int code, int style);

    static int symbol_count();
    static const Symbol& symbol(int index);
    static int symbol_number(std::string_view name);  // -1 when there is none
};
