// Aurora: light hangs where the geometry says, frames follow from their number, each clip does its part.
#include "effects/sky/Aurora.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<Aurora>;

// One even curtain without folds, in the air of a laboratory.
void plain(Aurora& effect) {
    effect.Curtains.value = 1;
    for (FloatControlK7* control :
         {&effect.Rays, &effect.Patches, &effect.Folds, &effect.Ripples, &effect.Curls, &effect.Upper, &effect.Fringe,
          &effect.Glow, &effect.Veil, &effect.HorizonHaze, &effect.Shutter, &effect.TallRays, &effect.Ends})
        control->value = 0;
}
void alone(Shot& shot) {
    shot.effect.AuroraOnly.value = true;
    shot.effect.matte.image = flat(shot.source->width, shot.source->height, 1.0F);
}

// ---- Where light hangs ----------------------------------------------------------------------------------------

TEST(AuroraCamera, PlanAndPictureAreOneView) {
    for (const AuroraPoint zenith :
         {AuroraPoint{0.0F, 1.5F}, {0.2F, -0.9F}, {0.0F, 0.0F}, {0.05F, 0.1F}, {-3.0F, 9.0F}})
        for (const float x : {-0.5F, 0.0F, 0.31F})
            for (const float y : {-0.05F, 0.1F, 0.28F}) {
                const AuroraCamera camera(zenith, 0.6F);
                if (camera.sight({x, y}).up < 0.05F) continue;
                AuroraPoint back{};
                ASSERT_TRUE(camera.to_picture(camera.to_plan({x, y}), back));
                EXPECT_NEAR(back.x, x, 1e-4F);
                EXPECT_NEAR(back.y, y, 1e-4F);
            }
}

// The lower border is the base line, and what hangs above it is all on the way to the vanishing point.
TEST(Aurora, HangsFromItsLineTowardsTheVanishingPoint) {
    Shot shot(flat(400, 225, 0.0F));
    plain(shot.effect);
    alone(shot);
    shot.effect.PointCount.value = 1;
    shot.effect.VanishPoint.x = 0.5, shot.effect.VanishPoint.y = 2.5;
    shot.effect.Point1.x = -0.3, shot.effect.Point2.x = 1.3;
    shot.effect.Point1.y = shot.effect.Point2.y = 0.4;  // row 90
    const ImagePtr line = shot.copy();
    for (int x = 5; x < 395; ++x) {
        EXPECT_LT(at(*line, x, 87, 1), 0.02F) << x;
        EXPECT_GT(at(*line, x, 98, 1), 0.15F) << x;
        EXPECT_GT(at(*line, x, 98, 1), 2.5F * at(*line, x, 145, 1)) << x;
    }
    // The end of a short line: its edge leans towards the vanishing point.
    shot.effect.Point2.x = 0.8;
    const K7Image& edge = shot.render();
    const auto end_of = [&](int y) {
        int x = 399;
        while (x > 0 && at(edge, x, y, 1) < 0.5F * at(edge, 200, y, 1)) --x;
        return double(x);
    };
    EXPECT_NEAR(end_of(96), 320 - 120 * 6 / 472.0, 2.0);
    EXPECT_NEAR(end_of(140), 320 - 120 * 50 / 472.0, 2.0);
}

// A ring around the zenith is equally bright all round, over the seam of the azimuths too.
TEST(AuroraMap, ARingHasNoSeam) {
    const AuroraCamera camera({0.0F, 0.0F}, 0.3F);
    const AuroraFrame frame{300, 300, 1.0F};
    AuroraAir air{.height = 1,
                  .brightness = 0.4F,
                  .colours = {},
                  .haze = 0,
                  .near_glow = 0.3F,
                  .far_glow = 0.3F,
                  .thickness = 0.01F};
    for (float& part : air.colours[0]) part = 1.0F;
    AuroraMap map(camera, frame, air);
    std::vector<AuroraStrand> ring(24 * (AuroraCurtains::BLOCK + 1));
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const auto n = i / (AuroraCurtains::BLOCK + 1) * AuroraCurtains::BLOCK + i % (AuroraCurtains::BLOCK + 1);
        const double turn = 2 * M_PI * double(n) / AuroraCurtains::STRANDS;
        ring[i] = {.azimuth = static_cast<float>(std::remainder(turn, 2 * M_PI)),
                   .distance = 0.8F,
                   .log_distance = std::log(0.8F),
                   .length = float(0.8 * 2 * M_PI / AuroraCurtains::STRANDS),
                   .lift = 0,
                   .light = {1, 0, 0, 0}};
    }
    ASSERT_TRUE(map.fill(ring, {}));
    const ImagePtr picture = flat(300, 300, 0.0F);
    for (int y = 0; y < 300; ++y) aurora_kernels().shade_row(map.row(y), image_row<float>(picture.get(), y), 0, 300);
    for (const double radius : {40.0, 60.0, 80.0}) {
        float least = 1e6F, most = 0;
        for (int n = 0; n < 360; ++n) {
            const double x = 149.5 + radius * std::cos(n * M_PI / 180), y = 149.5 + radius * std::sin(n * M_PI / 180);
            float value = 0;  // bilinear
            for (const int j : {0, 1})
                for (const int i : {0, 1}) {
                    const double wx = 1 - std::fabs(x - std::floor(x) - i), wy = 1 - std::fabs(y - std::floor(y) - j);
                    value += float(wx * wy) * at(*picture, int(x) + i, int(y) + j, 1);
                }
            least = std::min(least, value), most = std::max(most, value);
        }
        EXPECT_GT(least, 0.01F) << radius;
        EXPECT_LT(most, 1.03F * least) << radius;
    }
}

double share_within(const K7Image& picture, int x, int y, int radius) {
    double inside = 0, all = 0;
    for (int j = 0; j < picture.height; ++j)
        for (int i = 0; i < picture.width; ++i) {
            all += double(at(picture, i, j, 1));
            if ((i - x) * (i - x) + (j - y) * (j - y) < radius * radius) inside += double(at(picture, i, j, 1));
        }
    return inside / all;
}

TEST(Aurora, SuctionDrawsCurtainsToIt) {
    Shot shot(flat(320, 180, 0.0F));
    plain(shot.effect);
    alone(shot);
    shot.effect.Suction2.x = 0.6, shot.effect.Suction2.y = 0.75, shot.effect.Radius2.value = 0.5;
    const double before = share_within(shot.render(), 192, 135, 30);
    shot.effect.Strength2.value = 70;
    EXPECT_GT(share_within(shot.render(), 192, 135, 30), 1.5 * before + 0.02);
    shot.effect.Strength2.value = 0, shot.effect.Twist2.value = 200;
    const ImagePtr wound = shot.copy();
    shot.effect.Twist2.value = 0;
    EXPECT_GT(difference(*wound, shot.render()), 0.2);
}

// ---- Frames and clips -----------------------------------------------------------------------------------------

TEST(Aurora, EveryPresetHasItsBitsInAnyOrder) {
    for (int preset = 0; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        Shot shot(noise(97, 61));
        shot.choose_preset(preset);
        const ImagePtr first = same_bits_everywhere([&] { return shot.copy(37); });
        EXPECT_GT(difference(*first, shot.render(-500)), 0.02);
        EXPECT_TRUE(same_pixels(first.get(), &shot.render(37)));
    }
}

// Patterns go on evenly where frames count from, and far from there.
TEST(Aurora, NothingJumps) {
    Shot shot(flat(160, 90, 0.0F));
    alone(shot);
    for (const double frame : {-1.0, 0.0, 1.0, 500.0, 20000.0, 163840.0}) {
        const ImagePtr before = shot.copy(frame);
        const K7Image& after = shot.render(frame + 1);
        double moved = 0;
        for (int y = 0; y < 90; ++y)
            for (int x = 0; x < 160; ++x) moved += std::fabs(double(at(after, x, y, 1)) - at(*before, x, y, 1));
        EXPECT_GT(moved / (160 * 90), 1e-4) << frame;
        EXPECT_LT(moved / (160 * 90), 0.01) << frame;
    }
}

TEST(Aurora, ProxiesShowTheSame) {
    Shot full(flat(640, 360, 0.0F)), half(flat(320, 180, 0.0F));
    for (Shot* shot : {&full, &half}) alone(*shot);
    half.source->unit_scale = 2;
    const K7Image &large = full.render(30), &small = half.render(30);
    double off = 0;
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320; ++x)
            off += std::fabs(double(0.25F * (at(large, 2 * x, 2 * y, 1) + at(large, 2 * x + 1, 2 * y, 1) +
                                             at(large, 2 * x, 2 * y + 1, 1) + at(large, 2 * x + 1, 2 * y + 1, 1)) -
                                    at(small, x, y, 1)));
    EXPECT_LT(off / (320 * 180), 0.012);
}

TEST(Aurora, EachClipDoesItsPart) {
    Shot shot(flat(160, 90, 0.2F, 0.1F, 0.3F));
    Aurora& e = shot.effect;
    e.matte.image = picture(160, 90, [](int x, int, int) { return x < 80 ? 1.0F : 0.0F; });
    e.GroundLight.value = 0;
    const ImagePtr held = shot.copy();
    // The sky is lit, never darkened; what the matte leaves out stays.
    float most = 0;
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x)
            for (int c = 0; c < 4; ++c) {
                const float was = at(*shot.source, x, y, c), now = at(*held, x, y, c);
                ASSERT_GE(now, was);
                if (x >= 80) {
                    ASSERT_EQ(now, was) << x << ", " << y;
                }
                most = std::max(most, now - was);
            }
    EXPECT_GT(most, 0.3F);
    e.GroundLight.value = 100;  // green light on it
    const K7Image& lit = shot.render();
    EXPECT_GT(at(lit, 150, 3, 1) / 0.1F, 1.05F);
    EXPECT_GT(at(lit, 150, 3, 1) / 0.1F, at(lit, 150, 3, 2) / 0.3F);
    e.InvertMatte.value = true;
    EXPECT_EQ(at(shot.render(), 20, 85, 0), at(lit, 150, 85, 0));
    e.InvertMatte.value = false, e.DimSky.value = 100, e.AuroraOnly.value = true;
    const ImagePtr only = shot.copy();
    e.AuroraOnly.value = false;
    const K7Image& dimmed = shot.render();
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 80; ++x) {
            for (int c = 0; c < 3; ++c) {
                ASSERT_EQ(at(dimmed, x, y, c), at(*only, x, y, c));
                ASSERT_LE(at(*only, x, y, c), at(*only, x, y, 3));  // multiplied by its alpha
            }
            ASSERT_LE(at(*only, x, y, 3), 1.0F);
        }
}

TEST(Aurora, SurvivesAnyValues) {
    for (const double wild : {-1e12, 0.0, 1e-9, 1e12})
        for (const int width : {1, 33}) {
            Shot shot(noise(width, 17));
            Aurora& e = shot.effect;
            for (ControlK7* control : e.controls()) {
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = wild;
                if (auto* place = dynamic_cast<PositionControlK7*>(control)) place->x = wild, place->y = -wild;
            }
            const ImagePtr all = shot.copy(1e9);
            EXPECT_LT(difference(*all, *shot.source), 1.0001) << wild << ", " << width;
            for (PositionControlK7* place : {&e.Point1, &e.Point2, &e.Point3, &e.Point4, &e.Point5, &e.VanishPoint})
                place->x = place->y = 0.5;
            EXPECT_LT(difference(shot.render(), *shot.source), 1.0001) << wild << ", " << width;
        }
}

}  // namespace
