// Burn: the grade against the definition, and what must hold while a hole eats its way through the picture.
#include "effects/film/Burn.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using BurnShot = EffectShot<Burn>;

// ---- The grade ------------------------------------------------------------------------------------------------

// Saturation through hue, saturation and value, the long way round.
void saturate(double (&c)[3], double factor) {
    const double value = std::max({c[0], c[1], c[2]}), least = std::min({c[0], c[1], c[2]}), range = value - least;
    if (range <= 0) return;
    double hue = value == c[0]   ? (c[1] - c[2]) / range
                 : value == c[1] ? 2 + (c[2] - c[0]) / range
                                 : 4 + (c[0] - c[1]) / range;
    if (hue < 0) hue += 6;
    const double s = std::clamp(range / value * factor, 0.0, 1.0);
    const int sector = std::min(int(hue), 5);
    const double f = hue - sector, p = value * (1 - s), q = value * (1 - s * f), t = value * (1 - s * (1 - f));
    const double table[6][3] = {{value, t, p}, {q, value, p}, {p, value, t},
                                {p, q, value}, {t, p, value}, {value, p, q}};
    std::copy_n(table[sector], 3, c);
}

void graded(const Burn& e, const float* pixel, double (&out)[3]) {
    double v[3];
    for (int c = 0; c < 3; ++c)
        v[c] = std::clamp(e.Brightness.value / 100 * pixel[c] + e.Contrast.value / 100, 0.0, 1.0);
    const double balance[] = {e.Red.value, e.Green.value, e.Blue.value},
                 tint[] = {e.Tred.value, e.Tgreen.value, e.Tblue.value};
    for (int c = 0; c < 3; ++c) {
        if (e.FilmType.value == Burn::BlackAndWhite) out[c] = v[0];
        if (e.FilmType.value == Burn::InColour) out[c] = std::min(1.0, v[c] * balance[c] / 100);
        if (e.FilmType.value == Burn::Tinted)
            out[c] = std::min(1.0, (0.3 * v[0] + 0.5 * v[1] + 0.2 * v[2]) * tint[c] / 100);
    }
    if (e.FilmType.value == Burn::InColour && e.Colour.value != 100) saturate(out, e.Colour.value / 100);
}

void expectGraded(BurnShot& shot, const char* what) {
    const ImagePtr result = same_bits_everywhere([&] { return shot.copy(1000); });
    for (int y = 0; y < result->height; ++y)
        for (int x = 0; x < result->width; ++x) {
            const float* pixel = image_row<float>(shot.source.get(), y) + 4 * x;
            double expected[3];
            graded(shot.effect, pixel, expected);
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(at(*result, x, y, c), expected[c], 1e-6) << what << " at " << x << ", " << y << ", " << c;
            ASSERT_EQ(at(*result, x, y, 3), pixel[3]);
        }
}

TEST(Burn, GradesTheWholeClip) {
    for (const int width : {1, 7, 77}) {
        BurnShot shot(noise(width, 9, 3, 0.0f, 1.3f));
        Burn& e = shot.effect;
        e.BurnInfo::Burn.value = false;
        expectGraded(shot, "default");
        for (const int film : {Burn::InColour, Burn::BlackAndWhite, Burn::Tinted}) {
            e.FilmType.value = film;
            e.Brightness.value = 160, e.Contrast.value = -20, e.Red.value = 130, e.Green.value = 80, e.Blue.value = 95;
            expectGraded(shot, "graded");
            for (const double saturation : {0.0, 200.0}) {
                e.Colour.value = saturation;
                expectGraded(shot, "saturated");
            }
            e.Contrast.value = 100;
            expectGraded(shot, "lifted");
        }
    }
}

// ---- The burn -------------------------------------------------------------------------------------------------

TEST(Burn, BeginsWithTheSourceAndLeavesNothingFromItsLastFrameOn) {
    for (const auto& [width, height] : {std::pair{160, 90}, {40, 200}, {2000, 3}}) {
        BurnShot shot(noise(width, height));
        Burn& e = shot.effect;
        e.Starts.value = 20, e.Duration.value = 7;
        for (int corner = Burn::BottomLeft; corner <= Burn::TopLeft; ++corner) {
            e.Direction.value = corner;
            for (const double frame : {-5.0, 19.0, 20.0}) EXPECT_TRUE(shot.shows_source(frame)) << frame;
            for (const double frame : {27.0, 27.5, 1e9})
                for (const int to : {Burn::White, Burn::Black}) {
                    e.BurnTo.value = to;
                    const ImagePtr nothing = flat(width, height, to == Burn::White ? 1.0f : 0.0f);
                    EXPECT_TRUE(same_pixels(&shot.render(frame), nothing.get())) << frame << " corner " << corner;
                }
        }
    }
}

TEST(Burn, EatsInwardsFromItsCorner) {
    const int width = 320, height = 180;
    BurnShot shot(flat(width, height, 0.5f, 0.4f, 0.3f));
    Burn& e = shot.effect;
    e.BurnTo.value = Burn::Black, e.Duration.value = 40;
    for (int corner = Burn::BottomLeft; corner <= Burn::TopLeft; ++corner) {
        const int x0 = corner == Burn::BottomRight || corner == Burn::TopRight ? width - 1 : 0;
        const int y0 = corner == Burn::TopRight || corner == Burn::TopLeft ? height - 1 : 0;
        e.Direction.value = corner;
        std::vector<bool> gone(std::size_t(width * height)), touched(gone);
        for (int frame = 10; frame <= 50; ++frame) {
            const K7Image& now = shot.render(frame);
            int count = 0;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const std::size_t i = std::size_t(y * width + x);
                    const bool whole = 0 == std::memcmp(image_row<float>(&now, y) + 4 * x,
                                                        image_row<float>(shot.source.get(), y) + 4 * x, 16);
                    const bool hole = at(now, x, y, 3) == 0;
                    ASSERT_FALSE(touched[i] && whole)
                        << "film that healed at " << x << ", " << y << ", frame " << frame;
                    ASSERT_FALSE(gone[i] && !hole) << "film that grew at " << x << ", " << y << ", frame " << frame;
                    touched[i] = !whole, gone[i] = hole;
                    count += hole;
                }
            if (frame == 30) {
                EXPECT_EQ(at(now, x0, y0, 3), 0) << "corner " << corner;
                EXPECT_FALSE(touched[std::size_t((height - 1 - y0) * width + width - 1 - x0)]) << "corner " << corner;
                EXPECT_GT(count, 4000);
                EXPECT_LT(count, width * height * 2 / 3);
            }
        }
    }
}

TEST(Burn, HasTheSameBitsOnEveryProcessorAndKnowsNothingOfFramesBefore) {
    BurnShot kept(noise(203, 117, 5, 0.0f, 1.2f)), fresh(noise(203, 117, 5, 0.0f, 1.2f));
    kept.render(25);
    kept.effect.Colour.value = fresh.effect.Colour.value = 140;
    EXPECT_FALSE(kept.shows_source(16));
    same_bits_everywhere([&] { return kept.copy(16); });
    EXPECT_TRUE(same_pixels(&kept.render(16), &fresh.render(16)));
    kept.effect.BurnTo.value = Burn::Black, kept.effect.Direction.value = Burn::TopRight;
    kept.effect.FilmType.value = Burn::Tinted;
    same_bits_everywhere([&] { return kept.copy(14); });
}

}  // namespace
