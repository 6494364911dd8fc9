// NightSky: stars of a catalogue of our own, where they must stand and how they are drawn.
#include "effects/sky/NightSky.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "effects/sky/SkyCalendar.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr double DEGREE = M_PI / 180;

CatalogueStar star(double ra, double dec, float magnitude, char letter = 'A', int digit = 0) {
    return {star_position(ra, dec, 0, 0, 0, 0), 10001, magnitude, letter, digit, false};
}

// All over the sky.
std::vector<CatalogueStar> scattered(int count) {
    std::mt19937 generator(3);
    const auto between = [&](double low, double high) { return low + (high - low) * (generator() / 4294967296.0); };
    std::vector<CatalogueStar> stars;
    for (int i = 0; i < count; ++i)
        stars.push_back(star(between(0, 24), std::asin(between(-1, 1)) / DEGREE, float(between(-1, 8)),
                             "OBAFGKMCSWN? "[generator() % 13], int(generator() % 10)));
    return stars;
}

struct Lit {
    int x, y;
};
std::vector<Lit> litPixels(const K7Image& image) {
    std::vector<Lit> lit;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            if (at(image, x, y, 3) > 0) lit.push_back({x, y});
    return lit;
}

// The place's signs: minutes go away from the equator, and the longitude turns with a southern latitude. The month is
// that before. Azimuth grows to the right.
TEST(NightSky, PutsEachStarWhereItStands) {
    const std::vector<CatalogueStar> stars = scattered(60);
    for (const int latitude : {52, -33, 0}) {
        int seen = 0;
        for (const CatalogueStar& one : stars) {
            EffectShot<NightSky> shot(flat(320, 240, 0.0f));
            NightSky& e = shot.effect;
            e.useStars({one});
            e.LatitudeD.value = latitude, e.LatitudeM.value = latitude ? 30 : -30;
            e.LongitudeD.value = -151, e.LongitudeM.value = -12;
            e.Month.value = 8, e.Day.value = 3, e.Hour.value = 4.9, e.Minute.value = 30, e.UTOffset.value = -10;
            e.VField.value = 120, e.Altitude.value = 20, e.Azimuth.value = 350, e.DrawStyle.value = NightSky::Points;
            e.OverTime.value = 50;
            const double julian = julian_date(2001, 7, 3, 4.5) - 10 / 24.0 + 7 * 0.000695 * 5;
            const double site = latitude > 0 ? 52.5 : latitude < 0 ? -33.5 : -0.5;
            const double west = latitude < 0 ? 151.2 : -151.2;
            const Horizontal h = StarPlaces(julian, site, west).place(one.position);
            const double across = std::remainder(h.azimuth - 350, 360), up = h.altitude - 20;
            const double scale = 320 / 1.5 / std::tan(60 * DEGREE);
            const double x = 160 + std::tan(across * DEGREE) * scale, y = 120 + std::tan(up * DEGREE) * scale;
            const bool inside =
                std::fabs(across) <= 60 && std::fabs(up) <= 60 && x >= 0 && x < 320 && y >= 0 && y < 240;
            const std::vector<Lit> lit = litPixels(shot.render(7));
            ASSERT_EQ(lit.size(), inside ? 1u : 0u);
            if (!inside) continue;
            ++seen;
            EXPECT_NEAR(lit[0].x + 0.5, x, 0.51);
            EXPECT_NEAR(lit[0].y + 0.5, y, 0.51);
        }
        EXPECT_GT(seen, 4) << latitude;
    }
}

// A blob is a tent of Scale times the brightness; a hot star is bluer than a cool one.
TEST(NightSky, DrawsTentsAndColours) {
    const auto redness = [](char letter, int digit) {
        EffectShot<NightSky> shot(flat(200, 150, 0.0f));
        NightSky& e = shot.effect;
        e.useStars({star(0, 90, 3, letter, digit)});
        e.Altitude.value = 52.35, e.Azimuth.value = 0, e.BlobScale.value = 20;
        const K7Image& result = shot.render();
        const std::vector<Lit> lit = litPixels(result);
        const double radius = 20 / std::pow(1.1512, 3);
        EXPECT_NEAR(double(lit.size()), 4 * radius * radius, 8 * radius);
        float most[3] = {};
        for (const Lit& p : lit)
            for (int c = 0; c < 3; ++c) most[c] = std::max(most[c], at(result, p.x, p.y, c));
        EXPECT_GT(std::max(most[0], most[1]), 0.4f);
        return most[0] / std::max(most[2], 1e-3f);
    };
    EXPECT_LT(redness('O', 0), redness('A', 0));
    EXPECT_LT(redness('A', 0), redness('G', 2));
    EXPECT_LT(redness('G', 2), redness('M', 5));
    EXPECT_EQ(redness('C', 3), redness('M', 3));
}

TEST(NightSky, IsTheSameOnAllThreadsAndOverAPlate) {
    const ImagePtr plate = noise(161, 97, 4);
    for (const int style : {NightSky::Points, NightSky::SoftStars, NightSky::BrightPoint}) {
        EffectShot<NightSky> shot(ImagePtr(image_duplicate(plate.get())));
        NightSky& e = shot.effect;
        e.useStars(scattered(3000));
        e.DrawStyle.value = style, e.OnBlack.value = false, e.VField.value = 150;
        e.DoStreaks.value = true, e.StreakLen.value = 30;
        const ImagePtr twinkling = same_bits_everywhere([&] { return shot.copy(3); });
        EXPECT_GT(difference(*twinkling, *plate), 0.2);
        e.Streaks.value = 0;
        const ImagePtr without = shot.copy(3);
        EXPECT_GT(difference(*twinkling, *without), 0.01);
        e.DoStreaks.value = false;
        EXPECT_EQ(difference(*shot.copy(3), *without), 0);
        e.useStars({});
        EXPECT_TRUE(shot.shows_source());
    }
}

TEST(NightSky, SurvivesAnyValues) {
    for (const double wild : {-1e12, 0.0, 1e12})
        for (const int width : {1, 40}) {
            EffectShot<NightSky> shot(noise(width, 23));
            NightSky& e = shot.effect;
            e.useStars(scattered(400));
            for (ControlK7* control : e.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = wild;
            e.DoStreaks.value = true;
            EXPECT_LT(difference(*shot.copy(1000000), *flat(width, 23, 0.0f)), 1e4) << wild;
        }
}

}  // namespace
