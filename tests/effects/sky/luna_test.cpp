// Luna: dates against published moons, the shade against its definition, what must hold for any values.
#include "effects/sky/Luna.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/sky/SkyCalendar.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

// New and full moons in universal time, from the almanacs of the U.S. Naval Observatory and eclipse tables of NASA.
TEST(MoonPhase, MeetsPublishedMoons) {
    const struct {
        int year, month, day, hour, minute;
        double phase;
    } moons[] = {{1999, 8, 11, 11, 8, 0},    {2000, 1, 6, 18, 14, 0}, {2000, 1, 21, 4, 40, 0.5},
                 {2012, 1, 9, 7, 30, 0.5},   {2012, 1, 23, 7, 39, 0}, {2017, 8, 21, 18, 30, 0},
                 {2024, 1, 25, 17, 54, 0.5}, {2024, 4, 8, 18, 21, 0}, {1969, 7, 22, 12, 9, 0.25}};
    for (const auto& m : moons) {
        const double found = moon_phase(julian_date(m.year, m.month, m.day, m.hour + m.minute / 60.0));
        EXPECT_NEAR(std::remainder(found - m.phase, 1.0), 0, 0.002) << m.year << "-" << m.month << "-" << m.day;
    }
    EXPECT_EQ(julian_date(2000, 1, 1, 12), 2451545.0);
    EXPECT_EQ(julian_date(1900, 1, 1, 0), 2415020.5);
}

TEST(Luna, ShadeIsTheDefinition) {
    EffectShot<Luna> shot(flat(240, 240, 0.0f));
    Luna& e = shot.effect;
    e.DoGlow.value = false;
    e.MRadius.value = 0.8, e.Dark.value = 75, e.Phase.value = 50;
    const ImagePtr full = shot.copy();
    const double R = 96, band = 0.2 * R, k = 0.25;
    for (const double phase : {0.0, 10.0, 25.0, 37.0, 50.0, 63.0, 75.0, 90.0, 100.0})
        for (const double angle : {0.0, 35.0, 200.0, 360.0}) {
            e.Phase.value = phase, e.PhaseAngle.value = angle;
            const K7Image& moon = shot.render();
            const double C = std::cos(2 * M_PI * phase / 100), q = angle * M_PI / 180;
            for (int y = 0; y < 240; ++y)
                for (int x = 0; x < 240; ++x) {
                    const double dx = x - 119.5, dy = y - 119.5;
                    if (std::hypot(dx, dy) > 0.9 * R) continue;
                    const double u = dx * std::cos(q) + dy * std::sin(q), v = dy * std::cos(q) - dx * std::sin(q);
                    const double half = std::sqrt(R * R - v * v);
                    const double beyond = phase <= 50 ? u + C * half : C * half - u;
                    const double soft = std::min(band, (1 - C) * half);  // no wider than what is lit
                    const double light = beyond >= soft ? k : beyond <= 0 ? 1 : 1 - (1 - k) * beyond / soft;
                    ASSERT_NEAR(at(moon, x, y), light * at(*full, x, y), 1e-4)
                        << phase << ", " << angle << " at " << x << ", " << y;
                }
        }
    // North is up and west to the left: the bright rays of Tycho in the south, the dark Sea of Crises in the
    // north-east.
    EXPECT_GT(at(*full, 106, 52), 1.7f * at(*full, 197, 146));
}

TEST(Luna, CoversTheSkyAndLeavesTheRest) {
    EffectShot<Luna> shot(flat(160, 90, 0.3f, 0.4f, 0.5f, 1.0f));
    Luna& e = shot.effect;
    e.DoGlow.value = false;
    const ImagePtr over = same_bits_everywhere([&] { return shot.copy(); });
    const auto corner = [](const K7Image& image) { return image_row<float>(&image, 1) + 4; };
    EXPECT_EQ(corner(*over)[0], 0.3f);
    EXPECT_EQ(corner(*over)[3], 1.0f);

    e.DrawingMode.value = Luna::Transparent;
    const ImagePtr alone = shot.copy();
    for (int c = 0; c < 4; ++c) EXPECT_EQ(corner(*alone)[c], 0.0f);
    e.DrawingMode.value = Luna::Clip, e.DaylightMode.value = true;
    const ImagePtr added = shot.copy();
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) {
            const float cover = at(*alone, x, y, 3);
            for (int c = 0; c < 3; ++c) {
                const float sky = 0.3f + 0.1f * float(c), moon = at(*alone, x, y, c);
                ASSERT_NEAR(at(*over, x, y, c), moon + sky * (1 - cover), 1e-6);
                ASSERT_NEAR(at(*added, x, y, c), moon + sky, 1e-6);
            }
        }

    // A glow is brightest at GlowBright / 200 and a ring at its colour; both leave black to be added to.
    e.DoGlow.value = true, e.GlowBright.value = 60, e.DaylightMode.value = false, e.DoRing.value = true;
    e.RingBright.value = 50, e.RingRad.value = 0.2, e.RingCol.red = 0.5f;
    const ImagePtr lit = same_bits_everywhere([&] { return shot.copy(); });
    float brightest = 0, ring = 0;
    for (int x = 0; x < 160; ++x) {
        brightest = std::max(brightest, at(*lit, x, 45, 1) - at(*over, x, 45, 1));
        if (x > 125) ring = std::max(ring, (at(*lit, x, 45, 1) - at(*lit, x, 45, 0)) / 0.25f);
    }
    EXPECT_NEAR(brightest, 0.5f, 0.2f);
    EXPECT_GT(ring, 0.95f);
    e.Blend.value = 100;
    EXPECT_TRUE(shot.shows_source());
}

TEST(Luna, SurvivesAnyValues) {
    for (const double wild : {-1e12, 0.0, 1e12})
        for (const int width : {1, 33}) {
            EffectShot<Luna> shot(noise(width, 17));
            Luna& e = shot.effect;
            e.DoRing.value = true;
            for (ControlK7* control : e.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = wild;
            e.Blend.value = 0;
            e.Centre.x = wild;
            const ImagePtr result = shot.copy();
            EXPECT_LT(difference(*result, *shot.source), 100) << wild;
        }
}

}  // namespace
