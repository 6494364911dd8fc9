#include "effects/abstract/StoneSets.h"

#include <array>
#include <cstdint>
#include <initializer_list>

namespace {

// Red, green and blue of 8 bits, display-coded.
constexpr std::initializer_list<std::uint32_t> ROMAN = {0xF1ECE0, 0xE4D6B8, 0xC99B4A, 0xB4703A, 0xA5492E, 0x7D2E22,
                                                        0x4A2E22, 0x1E1B1A, 0x7E8468, 0x565C3C, 0x5F6E78, 0x38444C,
                                                        0xB3AFA3, 0xD9A88C, 0x2F3D30, 0xE6BE9A, 0x8A7358, 0x93A0A4};
constexpr std::initializer_list<std::uint32_t> BYZANTINE = {0xC98F2E, 0x8A5A1E, 0x12235E, 0x1F3F9C, 0x2F8FA0, 0x1F6B45,
                                                            0x6B9A3A, 0x5A1733, 0xA01F2C, 0xD24A24, 0xE08A4A, 0xD98C86,
                                                            0xF3D3AE, 0xE2B48C, 0xF7F0DE, 0x4E2A6B, 0x6B4526, 0x15111A,
                                                            0xC79A78, 0x5C6F8C, 0x3A2A24, 0xA8764E, 0xBFC4C8};
constexpr std::initializer_list<std::uint32_t> BLUE = {0xF8FAFA, 0xDCEAF0, 0xAECFE2, 0x7AABCF,
                                                       0x4A7FB8, 0x2B5698, 0x163268, 0x0C1C3E};
constexpr std::initializer_list<std::uint32_t> BRIGHT = {0xFAF6EC, 0x1C47A8, 0x5BB3DC, 0x1FA596, 0x1E8A4C, 0xA8C83A,
                                                         0xF6C92B, 0xEE7F22, 0xCF2E2A, 0xB4307A, 0x5F3B96, 0x7A4A2A,
                                                         0x1B1B22, 0xF4BE98, 0x9AA4AA, 0x14284E};
constexpr std::initializer_list<std::uint32_t> FIELD = {0xD6CDBB, 0xB9AC95, 0x9A8B74, 0x7B6E5C, 0x5D5548, 0x403C36,
                                                        0x27262A, 0xA9A7A2, 0x83868A, 0x5E656D, 0xA47A58, 0x7E5A42,
                                                        0x6F7560, 0x4A5246, 0xC4A888, 0x93604A};
constexpr std::initializer_list<std::uint32_t> FLOOR = {0xF2F0EA, 0xC9C8C2, 0x8E9092, 0x55585C, 0x1C1C1F,
                                                        0x9A4A34, 0xD9BE92, 0x7A8A72, 0x4F6A86, 0x5A2622};

Palette made_of(std::initializer_list<std::uint32_t> colours) {
    Palette set;
    for (const std::uint32_t colour : colours) {
        float rgba[4] = {0, 0, 0, 1}, laba[4];
        for (int c = 0; c < 3; ++c) rgba[c] = static_cast<float>(colour >> (16 - 8 * c) & 0xFF) / 255.0f;
        oklab_from_rgb(rgba, laba, 1);
        const int i = set.count++;
        set.l[i] = laba[0], set.a[i] = laba[1], set.b[i] = laba[2];
    }
    return set;
}

}  // namespace

const Palette& stone_set(int choice) {
    static const std::array<Palette, 6> sets = {made_of(ROMAN),  made_of(BYZANTINE), made_of(BLUE),
                                                made_of(BRIGHT), made_of(FIELD),     made_of(FLOOR)};
    return sets[static_cast<std::size_t>(choice - STONES_ROMAN)];
}
