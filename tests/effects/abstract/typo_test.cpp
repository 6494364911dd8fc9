// Typo: letters where the text is, tones that run evenly, and pictures that stand still.
#include "effects/abstract/Typo.h"

#include <gtest/gtest.h>

#include "effects/abstract/TypoText.h"
#include "graphicslib/glyph_field.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<Typo>;

void set_text(Typo& effect, const char* text, double size) {
    effect.Message.text = text;
    effect.Size.value = size;
    effect.Origin.x = 0, effect.Origin.y = 1;
}

double mean_of(const K7Image& image, int channel = 1) {
    double sum = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) sum += double(at(image, x, y, channel));
    return sum / (double(image.width) * image.height);
}

void black_on_white(Typo& effect) {
    effect.Ink.red = effect.Ink.green = effect.Ink.blue = 0;
    effect.Paper.red = effect.Paper.green = effect.Paper.blue = 1;
}

// The largest one as GlyphCache, which works its shapes out exactly, draws it.
TEST(Typo, LettersAreThoseOfTheFontWhereTheTextIs) {
    constexpr int WIDTH = 220, HEIGHT = 150;
    constexpr float CAPITAL = 88;
    Shot shot(flat(WIDTH, HEIGHT, 0.5F, 0.5F, 0.5F, 1.0F));
    set_text(shot.effect, "R&", 2.0 * double(CAPITAL) / WIDTH);
    black_on_white(shot.effect);
    shot.effect.Tone.value = TypoInfo::NoTone;
    shot.effect.Weight.value = 12;
    const K7Image& result = shot.render();
    GlyphCache glyphs({HersheyFont::SIMPLEX, CAPITAL, 0.12F, 0});
    ImagePtr expected = flat(WIDTH, HEIGHT, 1.0F);
    ShapeBatch batch;
    batch.begin(WIDTH, HEIGHT);
    glyphs.draw(batch, "R& R& R&", 0, HEIGHT - CAPITAL, {0, 0, 0, 1});
    ASSERT_TRUE(batch.draw(expected.get()));
    int apart = 0, inked = 0;
    for (int y = 60; y < HEIGHT; ++y)  // above the second line
        for (int x = 0; x < WIDTH; ++x) {
            const double difference = std::fabs(double(at(result, x, y)) - double(at(*expected, x, y)));
            apart += difference > 0.12;
            inked += at(*expected, x, y) < 0.5F;
        }
    EXPECT_GT(inked, 3000);
    EXPECT_LT(apart, inked / 50);
}

// Each step of the plate takes the same step of ink, from the lightest pen to the boldest, by weight, size and ink.
TEST(Typo, TonesRunEvenly) {
    for (const int tone : {TypoInfo::ByWeight, TypoInfo::BySize, TypoInfo::ByInk})
        for (const int font : {TypoInfo::Plain, TypoInfo::RomanBold, TypoInfo::DotMatrix}) {
            SCOPED_TRACE(testing::Message() << "tone " << tone << ", font " << font);
            double means[5];
            for (int i = 0; i < 5; ++i) {
                Shot shot(flat(400, 300, float(i) / 4, float(i) / 4, float(i) / 4, 1.0F));
                set_text(shot.effect, "", 0.1);
                black_on_white(shot.effect);
                shot.effect.Wording.value = 8;
                shot.effect.Tone.value = tone, shot.effect.Font.value = font;
                shot.effect.Weight.value = font == TypoInfo::DotMatrix ? 10 : 22;
                shot.effect.Smallest.value = 10, shot.effect.Fade.value = 100, shot.effect.Lightest.value = 3;
                means[i] = mean_of(shot.render());
            }
            const double range = means[4] - means[0];
            EXPECT_GT(range, 0.07);
            EXPECT_GT(means[4], 0.985);
            for (int i = 1; i < 4; ++i) EXPECT_NEAR((means[i] - means[0]) / range, i / 4.0, 0.06) << i;
        }
}

TEST(Typo, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(noise(160, 90, 3));
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(40); });
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(40)));
    }
}

// Grain of 1 % of white changes hardly any of the picture; without Scroll and Climb other frames do not at all.
TEST(Typo, GrainDoesNotMakeItBoil) {
    const auto plate = [](unsigned seed) {
        const ImagePtr grain = noise(480, 270, seed, -0.01F, 0.01F);
        return picture(480, 270, [&](int x, int y, int c) {
            return c == 3 ? 1.0F : 0.1F + 0.8F * float(x) / 480 + at(*grain, x, y, c);
        });
    };
    Shot one(plate(1)), other(plate(2));
    for (const int preset : {1, 3, 4, 6}) {
        SCOPED_TRACE(preset);
        for (Shot* shot : {&one, &other}) shot->choose_preset(preset), shot->effect.Size.value *= 2;
        const ImagePtr first = one.copy(), second = other.copy();
        int changed = 0;
        for (int y = 0; y < 270; ++y)
            for (int x = 0; x < 480; ++x) changed += std::fabs(double(at(*first, x, y) - at(*second, x, y))) > 0.05;
        EXPECT_LT(changed, 480 * 270 / 200);
        EXPECT_TRUE(same_pixels(first.get(), &one.render(77)));
    }
}

TEST(Typo, ScrollsByPartsOfThePicture) {
    Shot shot(flat(200, 100, 0.3F, 0.3F, 0.3F, 1.0F));
    set_text(shot.effect, "moving", 0.2);
    shot.effect.Scroll.value = 2, shot.effect.Climb.value = 3;  // 4 and 3 pixels
    const ImagePtr first = shot.copy(10), second = shot.copy(11);
    double worst = 0;
    for (int y = 3; y < 100; ++y)
        for (int x = 0; x < 196; ++x)
            worst = std::max(worst, std::fabs(double(at(*second, x, y)) - double(at(*first, x + 4, y - 3))));
    EXPECT_LT(worst, 0.02);
    EXPECT_GT(difference(*first, *second), 0.5);
}

TEST(Typo, AlphaIsTheClipsOrThatOfTheLetters) {
    Shot shot(flat(160, 90, 0.2F, 0.6F, 0.3F, 0.5F));
    set_text(shot.effect, "alpha", 0.3);
    const ImagePtr sheet = shot.copy();
    EXPECT_EQ(difference(*sheet, *shot.source, 3), 0.0);
    shot.effect.Transparent.value = true;
    shot.effect.InkFrom.value = TypoInfo::ClipByPixel;
    const K7Image& letters = shot.render();
    double most = 0, least = 1;
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) {
            const float alpha = at(letters, x, y, 3);
            most = std::max(most, double(alpha)), least = std::min(least, double(alpha));
            if (!(alpha > 0.01F)) continue;
            ASSERT_NEAR(at(letters, x, y, 1), 0.6F, 1e-3F);  // the clip, not what is mixed with black
        }
    EXPECT_NEAR(most, 0.5, 1e-5);
    EXPECT_EQ(least, 0.0);
}

TEST(Typo, MessagesBecomeWhatTheFontsHave) {
    EXPECT_EQ(plain_ascii("Caf\xC3\xA9 \xE2\x80\x9Eno\xC3\xABl\xE2\x80\x9C \xE2\x80\x93 Stra\xC3\x9F"
                          "e",
                          false),
              "Cafe \"noel\" - Strasse");
    EXPECT_EQ(plain_ascii("a\\nb\nc\r\td\x01", true), "A\nB\nC D");
    EXPECT_EQ(plain_ascii("\xE6\x97\xA5 \xF0\x9F\x98\x80 \xC3", false).find_first_not_of(' '), std::string::npos);
    EXPECT_LE(plain_ascii(std::string(1 << 20, 'x'), false).size(), LONGEST_MESSAGE);
    const auto even = [](int) { return 1.0F; };
    EXPECT_EQ(text_strips("ab\ncd\n", false, even).size(), 1U);
    const auto lines = text_strips("ab\n\ncd\n", true, even);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[2].letters[1].at, 1.0F);
    EXPECT_TRUE(lines[1].letters.empty());
    EXPECT_GT(lines[1].length, 0.0F);
}

TEST(Typo, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 1e12})
            for (const int tone : {1, 2, 3}) {
                Shot shot(noise(width, height, 5));
                for (ControlK7* control : shot.effect.controls())
                    if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
                shot.effect.Origin.x = value, shot.effect.Origin.y = -value;
                shot.effect.Tone.value = tone;
                shot.effect.Font.value = 3 * tone;
                shot.effect.Layout.value = 1 + tone % 2;
                shot.effect.Message.text = "\n\n.";
                shot.render(1e9);
            }
}

}  // namespace
