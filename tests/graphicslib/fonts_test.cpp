#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <set>
#include <string>

#include "graphicslib/bit_text.h"
#include "graphicslib/graphics_path.h"
#include "graphicslib/hershey_font.h"

namespace {

// Counts and places as published; each entry as long as it says.
TEST(HersheyFont, HoldsThePublishedGlyphsInTheirSlots) {
    int set = 0;
    for (int i = 0; i < HersheyFont::SLOTS; ++i) {
        const char* glyph = HersheyFont::slot(i);
        if (!glyph) continue;
        ++set;
        ASSERT_EQ(std::strlen(glyph), 3 + 2 * std::size_t(std::atoi(std::string(glyph, 3).c_str()))) << i;
        EXPECT_LE(glyph[3], glyph[4]) << i;  // the left margin is left of the right one
    }
    EXPECT_EQ(set, 1597);
    EXPECT_STREQ(HersheyFont::glyph(1), "  9MWRMNV RRMVV RPSTS");
    EXPECT_EQ(HersheyFont::slot(-1), nullptr);
    EXPECT_EQ(HersheyFont::slot(HersheyFont::SLOTS), nullptr);
}

TEST(HersheyFont, EveryCharacterAndSymbolHasAGlyphOfItsOwn) {
    for (int style = 0; style < HersheyFont::STYLES; ++style) {
        std::set<int> numbers;
        for (int code = 0x21; code <= 0x7E; ++code) {
            const int number = HersheyFont::number_for(code, style);
            EXPECT_NE(HersheyFont::glyph(number), nullptr) << style << " " << char(code) << " " << number;
            EXPECT_TRUE(numbers.insert(number).second) << style << " " << char(code) << " " << number;
        }
        EXPECT_EQ(HersheyFont::number_for(' ', style), 999);
    }
    EXPECT_EQ(HersheyFont::number_for('?', HersheyFont::COMPLEX), 2215);
    EXPECT_EQ(HersheyFont::number_for('!', HersheyFont::STYLES), 999);
    EXPECT_LT(HersheyFont::ascii(-5), 0);
    for (int i = 0; i < HersheyFont::symbol_count(); ++i) {
        const auto& symbol = HersheyFont::symbol(i);
        EXPECT_EQ(HersheyFont::symbol_number(symbol.name), symbol.number);  // no name comes twice
        EXPECT_NE(HersheyFont::glyph(symbol.number), nullptr) << symbol.name;
    }
    EXPECT_EQ(HersheyFont::symbol_number("ZODIAC_PISCES"), 2312);
    EXPECT_EQ(HersheyFont::symbol_number("ZODIAC_WHALE"), -1);
}

// Reads the glyph rows back from a picture drawn at the font's own size.
TEST(BitText, CellsHoldTheGlyphsWithABlankColumnOnEachSide) {
    const std::string text = "Ag\x01_";
    ImagePtr image = make_image(60, 30, 4, SAMPLE_F32);
    BitText writer;
    const float colour[4] = {0.5F, 2, -1, 1};
    ASSERT_TRUE(writer.set_text_colour(colour, 4));
    EXPECT_EQ(writer.text_colour(1), 1);
    EXPECT_EQ(writer.text_colour(2), 0);
    writer.set_transparent(true);
    EXPECT_EQ(writer.draw(text.c_str(), image.get(), 4, 10.5F, 13, TextAnchor::left), 40);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 60; ++x) {
            const int cell = x >= 4 ? (x - 4) / 10 : 99, column = x - 4 - 10 * cell - 1, row = y - 4;
            bool set = false;
            if (cell < 4 && column >= 0 && column < 8 && row >= 0 && row < 13)
                if (const auto* glyph = BitText::glyph(static_cast<unsigned char>(text[std::size_t(cell)])))
                    set = (glyph[row] >> (7 - column) & 1) != 0;
            ASSERT_NEAR(image_get_sample(image.get(), x, y, 0), set ? 0.5F : 0, 1e-6F) << x << ", " << y;
            ASSERT_NEAR(image_get_sample(image.get(), x, y, 3), set, 1e-6F) << x << ", " << y;
        }
}

TEST(BitText, TheBackgroundFillsTheGlyphsUnlessItIsTransparent) {
    for (const int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_F32}) {
        const float full = image_full_value(type);
        ImagePtr image = make_image(40, 20, 4, type);
        image_fill_level(image.get(), 0.5F);
        BitText writer;
        const float ink[4] = {1, 1, 1, 1}, paper[4] = {0, 0, 1, 1};
        writer.set_text_colour(ink, 4);
        writer.set_background_colour(paper, 4);
        ASSERT_EQ(writer.draw("-", image.get(), 20, 10.5F, 13), 10);  // columns 15 to 24, rows 4 to 16
        EXPECT_NEAR(image_get_sample(image.get(), 16, 15, 2), full, full / 200);
        EXPECT_NEAR(image_get_sample(image.get(), 16, 15, 0), 0, full / 200);
        EXPECT_NEAR(image_get_sample(image.get(), 20, 10, 0), full, full / 200);      // on the dash
        EXPECT_NEAR(image_get_sample(image.get(), 15, 15, 0), full / 2, full / 200);  // the blank column
        image_fill_level(image.get(), 0.5F);
        writer.set_transparent(true);
        writer.draw("-", image.get(), 20, 10.5F, 13);
        EXPECT_NEAR(image_get_sample(image.get(), 16, 15, 0), full / 2, full / 200);
    }
}

// Each mode with x = 8, p = 50, q = 100.
TEST(Remap, FollowsItsModes) {
    const float table[3] = {1, 3, 4};
    const float expected[] = {0, 0.16F, 4, 4, 8.0F / 1.5F, 16, 16, 8, 400, 4, 0};
    for (int mode = 0; mode < 11; ++mode)
        EXPECT_FLOAT_EQ(remap_value(8, 50, 100, mode, table, 3), expected[mode]) << mode;
    EXPECT_EQ(remap_value(1.5F, 0, 0, 2, table, 3), 3.5F);
    for (const float low : {-4.0F, NAN}) EXPECT_EQ(remap_value(low, 0, 0, 2, table, 3), 1);
    EXPECT_EQ(remap_value(1, 0, 0, 2, nullptr, 3), 0);
    EXPECT_TRUE(std::isfinite(remap_value(8, 100, 0, 5, nullptr, 0)));
}

}  // namespace
