#include "graphicslib/hershey_font.h"

#include <algorithm>
#include <array>

namespace {

struct Glyph {
    int number;
    const char* text;
};

constexpr Glyph GLYPHS[] = {
#include "graphicslib/hershey_glyphs.inc"
};

constexpr HersheyFont::Symbol SYMBOLS[] = {
#include "graphicslib/hershey_symbols.inc"
};

constexpr auto SLOT_TABLE = [] {
    std::array<const char*, HersheyFont::SLOTS> slots{};
    for (const Glyph& glyph : GLYPHS) slots[std::size_t(glyph.number) + 1] = glyph.text;
    return slots;
}();

constexpr int EMPTY = 999;
constexpr int STYLES = HersheyFont::STYLES;
constexpr int TABLES = 4;

// The characters of the punctuation tables' entries. The last two entries are empty: a space and what has no glyph.
constexpr std::string_view MARKS = "'!\"<>{}[]()$%^&*_+=-@;:.,/#~|\\`? ";

constexpr int PUNCTUATION_NUMBERS[TABLES][HersheyFont::PUNCTUATION] = {
    {2216, 2214, 2217, 2227, 2228, 2225, 2226, 2223, 2224, 2221, 2222, 2274, 2271, 2262, 2272, 2219, 999,
     2232, 2238, 2231, 2273, 2213, 2212, 2210, 2211, 2220, 2275, 2246, 2229, 799,  2249, 2215, 999,  999},
    {716, 714, 717, 2241, 2242, 2225, 2226, 2223, 2224, 721, 722,  719, 2271, 2262, 734, 728, 999,
     725, 726, 724, 2273, 713,  712,  710,  711,  720,  733, 2246, 723, 799,  2249, 715, 999, 999},
    {2716, 2714, 2717, 2241, 2242, 2225, 2226, 2223, 2224, 2721, 2722, 2719, 2271, 2262, 2718, 2723, 999,
     2725, 2726, 2724, 2273, 2713, 2712, 2710, 2711, 2720, 2275, 2246, 2229, 799,  2249, 2715, 999,  999},
    {3216, 3214, 3217, 2241, 2242, 2225, 2226, 2223, 2224, 3221, 3222, 3219, 2271, 2262, 3218, 3223, 999,
     3225, 3226, 3224, 2273, 3213, 3212, 3210, 3211, 3220, 2275, 2246, 2229, 799,  2249, 3215, 999,  999}};

constexpr int DIGITS[10] = {2200, 2201, 2202, 2203, 2204, 2205, 2206, 2207, 2208, 2209};

constexpr int STYLE_BASES[STYLES] = {2000, 500, 2500, 3000, 3050, 2550, 3500};  // added to letters and digits
constexpr int STYLE_MARKS[STYLES] = {0, 1, 2, 3, 3, 0, 3};                      // the table of punctuation

constexpr auto ASCII_MAP = [] {
    std::array<int, 128> map{};
    map.fill(-HersheyFont::PUNCTUATION);
    for (int i = 0; i < 26; ++i) {
        map[std::size_t('A') + std::size_t(i)] = 1 + i;
        map[std::size_t('a') + std::size_t(i)] = 101 + i;
    }
    for (int i = 0; i < 10; ++i) map[std::size_t('0') + std::size_t(i)] = 200 + i;
    for (std::size_t i = 0; i < MARKS.size(); ++i) map[std::size_t(MARKS[i])] = -int(i) - 1;
    return map;
}();

}  // namespace

const char* HersheyFont::slot(int index) {
    return index < 0 || index >= SLOTS ? nullptr : SLOT_TABLE[std::size_t(index)];
}

int HersheyFont::ascii(int code) { return code < 0 || code > 127 ? -PUNCTUATION : ASCII_MAP[std::size_t(code)]; }

int HersheyFont::punctuation(int style, int entry) {
    if (style < 0 || style >= STYLES || entry < 0 || entry >= PUNCTUATION) return EMPTY;
    return PUNCTUATION_NUMBERS[STYLE_MARKS[style]][entry];
}

int HersheyFont::digit(int value) { return value < 200 || value > 209 ? EMPTY : DIGITS[value - 200]; }

int HersheyFont::number_for(int code, int style) {
    if (style < 0 || style >= STYLES) return EMPTY;
    const int mapped = ascii(code);
    return mapped < 0 ? punctuation(style, -mapped - 1) : STYLE_BASES[style] + mapped;
}

int HersheyFont::symbol_count() { return static_cast<int>(std::size(SYMBOLS)); }

const HersheyFont::Symbol& HersheyFont::symbol(int index) { return SYMBOLS[std::clamp(index, 0, symbol_count() - 1)]; }

int HersheyFont::symbol_number(std::string_view name) {
    for (const Symbol& symbol : SYMBOLS)
        if (symbol.name == name) return symbol.number;
    return -1;
}
