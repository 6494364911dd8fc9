#include "effects/abstract/TypoText.h"

#include <cstdint>
#include <iterator>

namespace {

// What the letters of Latin-1, from U+00C0 on, and of Latin Extended-A, from U+0100 on, are without their accents.
constexpr std::string_view LATIN_1 = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo/ouuuuyty";
constexpr std::string_view LATIN_A =
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiIiJjKkkLlLlLlLlLlNnNnNnnNnOoOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUuUu"
    "UuWwYyYZzZzZzs";

struct Likeness {
    std::uint32_t from;
    const char* to;
};
constexpr Likeness LIKENESSES[] = {
    {0x00A1, "!"},  {0x00A9, "(c)"}, {0x00AB, "\""}, {0x00AE, "(r)"}, {0x00B4, "'"},  {0x00B7, "."},  {0x00BB, "\""},
    {0x00BF, "?"},  {0x00C6, "AE"},  {0x00DF, "ss"}, {0x00E6, "ae"},  {0x0152, "OE"}, {0x0153, "oe"}, {0x2010, "-"},
    {0x2011, "-"},  {0x2012, "-"},   {0x2013, "-"},  {0x2014, "-"},   {0x2018, "'"},  {0x2019, "'"},  {0x201A, ","},
    {0x201C, "\""}, {0x201D, "\""},  {0x201E, "\""}, {0x2022, "*"},   {0x2026, "..."}};

std::string likeness(std::uint32_t code) {
    for (const Likeness& one : LIKENESSES)
        if (one.from == code) return one.to;
    if (code >= 0x00C0 && code < 0x00C0 + LATIN_1.size()) return std::string(1, LATIN_1[code - 0x00C0]);
    if (code >= 0x0100 && code < 0x0100 + LATIN_A.size()) return std::string(1, LATIN_A[code - 0x0100]);
    if (code >= 0x0300 && code < 0x0370) return {};  // accents that follow their letter
    return " ";
}

// The character at `at`, which moves behind it. A byte that begins none counts as one character without a glyph.
std::uint32_t next_character(std::string_view text, std::size_t& at) {
    const auto byte = static_cast<unsigned char>(text[at++]);
    const int more = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
    if (byte < 0x80 || more == 0) return byte < 0x80 ? byte : 0xFFFD;
    std::uint32_t code = byte & (0x3FU >> more);
    for (int i = 0; i < more; ++i) {
        if (at >= text.size() || (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80) return 0xFFFD;
        code = code << 6 | (static_cast<unsigned char>(text[at++]) & 0x3FU);
    }
    return code;
}

constexpr const char* TEXTS[WORDINGS] = {
    "Harbour reopens after the great storm. Ferries sail again from Monday, and the fish market rings its bell at six. "
    "The council has voted for a new lighthouse by nine to four. Our correspondent writes from the pier: the nets are "
    "mended, the kettles are on, and nobody talks of anything but the weather. Prices of rope and tar rose again. "
    "Weather tomorrow: bright early, showers later, wind from the west. ",
    "login: operator\nLast login on console\n$ mount /dev/tape0 /archive\n$ ls -l /archive/plates\n"
    "-rw-r--r-- 1 art comp 33177600 plate_0001\n-rw-r--r-- 1 art comp 33177600 plate_0002\n"
    "$ for f in plate_*; do grade $f; done\nreading header ... ok\n0x3F80 0x0000 0x41C8 0x7FFF\n"
    "samples 2073600, clipped 0\nwriting 100% [##########] done\n$ checksum plate_0001\n9e3779b9 7f4a7c15 85ebca6b\n"
    "$ make all && echo READY\nREADY\n",
    "Dear Sir, I have the honour to acknowledge your letter of the 3rd, and enclose the report on the missing "
    "negatives. "
    "The witness was asked three times and gave three answers. I remain of the opinion that the camera was in the "
    "library all along. Kindly return the key of cabinet No. 12 at your earliest convenience. Yours faithfully, ",
    "LIGHT * CAMERA * ACTION * SOUND * SPEED * CUT * PRINT * ",
    "QLN 41.20 +0.35   KES 118.75 -2.10   OAK 9.84 +0.02\nNORTH LINE: GOOD SERVICE   SOUTH LINE: DELAYS OF 5 MINUTES\n"
    "FINAL SCORE: HOME 3 - 2 AWAY\nGOLD 2041.60 UP   COPPER 3.92 DOWN   WHEAT 611.25 UP\n"
    "NEXT TRAIN: PLATFORM 4 IN 2 MIN\nTEMPERATURE 18 C   WIND 12 KNOTS WEST\n",
    "My dearest, the garden is full of roses and not one of them knows your name, so I tell it to them every morning. "
    "I count the days as a miser counts his gold. Write to me soon, write of nothing, only write. The moon was on the "
    "river tonight and I thought that you might be looking at it too. Ever and always yours. ",
    "In the beginning of the book stand the names of those who carried the stones, and of the masters who set them one "
    "upon another. And in the seventh year the tower was seen from the sea, and the bells were hung in it, and there "
    "was "
    "great gladness in the valley. He who copies this page asks the reader for a good word. ",
    "The quick brown fox jumps over the lazy dog. Pack my box with five dozen liquor jugs. How vexingly quick daft "
    "zebras jump! 0123456789 ",
};

}  // namespace

std::string plain_ascii(std::string_view message, bool capitals) {
    std::string plain;
    for (std::size_t at = 0; at < message.size() && plain.size() < LONGEST_MESSAGE;) {
        const std::uint32_t code = next_character(message, at);
        if (code == '\\' && at < message.size() && message[at] == 'n') {
            plain += '\n';
            ++at;
        } else if (code == '\n' || (code >= 0x20 && code < 0x7F)) {
            plain += static_cast<char>(code);
        } else if (code == '\t') {
            plain += ' ';
        } else if (code >= 0x7F) {
            plain += likeness(code);
        }
    }
    if (capitals)
        for (char& c : plain)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return plain;
}

const char* wording(int index) { return TEXTS[index < 0 || index >= WORDINGS ? 0 : index]; }
