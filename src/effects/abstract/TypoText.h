// The words of Q_Typo: what is typed, as characters that the fonts have, and as strips of letters with their places.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// A message as ASCII: UTF-8 letters of the Latin alphabet lose their accents, typographic marks become plain ones, what
// has no likeness becomes a space, and a written "\n" is a line break. The result is at most LONGEST_MESSAGE long.
constexpr std::size_t LONGEST_MESSAGE = 1 << 16;
std::string plain_ascii(std::string_view message, bool capitals);

// The built-in texts, in the order of the choice "Wording".
constexpr int WORDINGS = 8;
const char* wording(int index);

// A line of letters that repeats for ever. Lengths are in heights of a capital.
struct TextStrip {
    struct Letter {
        int code;
        float at;       // its left margin
        float advance;  // to the next one's
    };
    std::vector<Letter> letters;  // blanks have none
    float length = 0;             // after which it repeats; at least SHORTEST
    int characters = 0;           // with the blanks
    static constexpr float SHORTEST = 0.25F;
};

// One strip of the whole message, or one for each line of it. `advance(code)` tells how far the next letter lies.
template <class Advance>
std::vector<TextStrip> text_strips(std::string_view ascii, bool line_by_line, Advance&& advance) {
    std::vector<TextStrip> strips(1);
    const auto put = [&](char c) {
        TextStrip& strip = strips.back();
        const int code = static_cast<unsigned char>(c);
        const float wide = advance(code);
        if (c != ' ') strip.letters.push_back({code, strip.length, wide});
        strip.length += wide;
        ++strip.characters;
    };
    const auto finish = [&](int blanks) {
        while (blanks-- > 0) put(' ');
        if (!(strips.back().length >= TextStrip::SHORTEST)) strips.back().length = TextStrip::SHORTEST;
    };
    while (!ascii.empty() && ascii.back() == '\n') ascii.remove_suffix(1);
    for (const char c : ascii) {
        if (c != '\n') {
            put(c);
        } else if (line_by_line) {
            finish(3);
            strips.emplace_back();
        } else {
            put(' ');
        }
    }
    finish(line_by_line ? 3 : 1);
    return strips;
}
