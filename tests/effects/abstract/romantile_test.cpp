// RomanTile: stones fill the plane, follow edges, lie still under grain, and are lit from where the lamp is.
#include "effects/abstract/RomanTile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<RomanTile>;

// Colours alone: no light, no random choices.
void plain(RomanTile& effect) {
    for (FloatControlK7* control : {&effect.Disorder, &effect.GroutDepth, &effect.Corners, &effect.Relief, &effect.Tilt,
                                    &effect.Roughness, &effect.Glaze, &effect.ColourJitter})
        control->value = 0;
    effect.Contrast.value = effect.Saturation.value = 100;
}

// A bright disc on a dark ground.
ImagePtr disc(int width, int height, float alpha = 1) {
    return picture(width, height, [=](int x, int y, int c) {
        const float dx = float(x) + 0.5f - 0.5f * float(width), dy = float(y) + 0.5f - 0.5f * float(height);
        const float inside = std::clamp(0.3f * float(height) + 0.5f - std::sqrt(dx * dx + dy * dy), 0.0f, 1.0f);
        return c == 3 ? alpha : 0.1f + (0.6f - 0.15f * float(c)) * inside;
    });
}

double share_above(const K7Image& a, const K7Image& b, double limit) {
    int count = 0;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x) {
            double most = 0;
            for (int c = 0; c < 4; ++c) most = std::max(most, std::fabs(double(at(a, x, y, c)) - at(b, x, y, c)));
            count += most > limit;
        }
    return double(count) / (a.width * a.height);
}

TEST(RomanTile, StonesWithoutGroutFillThePicture) {
    Shot shot(flat(200, 150, 0.7f, 0.5f, 0.3f));
    plain(shot.effect);
    shot.effect.GroutWidth.value = 0;
    shot.effect.GroutColour.red = shot.effect.GroutColour.green = shot.effect.GroutColour.blue = 0;
    for (const int layout : {1, 2, 3, 4, 5, 6})
        for (const double angle : {0.0, 27.0}) {
            shot.effect.Layout.value = layout, shot.effect.Angle.value = angle, shot.effect.TileSize.value = 0.06;
            const K7Image& result = shot.render();
            double sum = 0;
            for (int y = 0; y < 150; ++y)
                for (int x = 0; x < 200; ++x) {
                    // Where three corners meet, a pixel may lose a little.
                    ASSERT_GT(at(result, x, y, 0), 0.45f) << layout << ", " << angle << " at " << x << ", " << y;
                    ASSERT_LT(at(result, x, y, 0), 0.701f);
                    sum += double(at(result, x, y, 1));
                }
            EXPECT_NEAR(sum / 30000, 0.5, 0.005) << layout;
        }
}

// Around a disc the sides of stones lie along its rim; without Follow Edges they lie along the rows.
TEST(RomanTile, TesseraeFollowEdges) {
    const ImagePtr source = disc(400, 300);
    StoneShape shape{.pattern = STONES_TESSERAE,
                     .width = 400,
                     .height = 300,
                     .pixel_aspect = 1,
                     .size = 12,
                     .angle = 0,
                     .disorder = 0,
                     .grout = 1,
                     .seed = 1};
    for (const bool follows : {true, false}) {
        EdgeField field;
        ASSERT_TRUE(edge_field(source.get(), 1, shape.size, 2.5f, follows ? 1 : 0, field, {}));
        std::vector<Stone> stones;
        ASSERT_TRUE(lay_stones(shape, field, stones, {}));
        int turned = 0, near_rim = 0;
        for (const Stone& stone : stones) {
            const float dx = stone.x - 200, dy = stone.y - 150, distance = std::sqrt(dx * dx + dy * dy);
            if (std::fabs(distance - 90) > 14) continue;
            ++near_rim;
            float best = 0;
            for (int i = 0; i < stone.count; ++i) {
                const StoneEdge& side = stone.edges[std::size_t(i)];
                best = std::max(best, std::fabs(side.nx * dx + side.ny * dy) / distance);
            }
            turned += best > 0.98f;  // 11 degrees
        }
        ASSERT_GT(near_rim, 60);
        if (follows)
            EXPECT_GT(turned, near_rim * 8 / 10);
        else
            EXPECT_LT(turned, near_rim * 6 / 10);
    }
}

TEST(RomanTile, GrainMovesNoStones) {
    for (int preset = 0; preset < Shot::preset_count(); ++preset) {
        Shot clean(disc(480, 270)), grainy(disc(480, 270));
        const ImagePtr grain = noise(480, 270, 3, -0.0173f, 0.0173f);  // deviation 0.01
        for (int y = 0; y < 270; ++y)
            for (int x = 0; x < 480; ++x)
                for (int c = 0; c < 3; ++c) at(*grainy.source, x, y, c) += at(*grain, x, y, c);
        for (Shot* shot : {&clean, &grainy}) {
            if (preset > 0) shot->choose_preset(preset);
            shot->effect.TileSize.value = std::max(shot->effect.TileSize.value, 0.02);
        }
        EXPECT_LT(share_above(clean.render(), grainy.render(), 0.05), 0.02) << preset;
    }
}

TEST(RomanTile, ProxiesShowTheSameStones) {
    Shot full(disc(480, 270)), half(disc(240, 135));
    for (const int layout : {1, 2, 5, 6}) {
        for (Shot* shot : {&full, &half}) shot->effect.Layout.value = layout, shot->effect.TileSize.value = 0.05;
        const K7Image &large = full.render(), &small = half.render();
        double off = 0;
        for (int y = 0; y < 135; ++y)
            for (int x = 0; x < 240; ++x)
                off += std::fabs(double(0.25f * (at(large, 2 * x, 2 * y) + at(large, 2 * x + 1, 2 * y) +
                                                 at(large, 2 * x, 2 * y + 1) + at(large, 2 * x + 1, 2 * y + 1)) -
                                        at(small, x, y)));
        EXPECT_LT(off / (240 * 135), 0.015) << layout;
    }
}

TEST(RomanTile, BevelsFaceTheLamp) {
    Shot shot(flat(120, 120, 0.5f));
    plain(shot.effect);
    shot.effect.Layout.value = 3, shot.effect.TileSize.value = 0.25, shot.effect.Bevel.value = 60;
    shot.effect.Relief.value = 80, shot.effect.Light.y = 0.5;
    for (const bool right : {false, true}) {
        shot.effect.Light.x = right ? 3 : -2;
        const K7Image& result = shot.render();  // a stone lies in the middle, 30 wide
        const float low = at(result, 49, 60), high = at(result, 71, 60);
        EXPECT_GT(right ? high - low : low - high, 0.2f);
        EXPECT_NEAR(at(result, 60, 60), 0.5f, 1e-3f);
    }
}

TEST(RomanTile, AlphaPrintAndLaying) {
    Shot shot(disc(160, 90, 0.5f));
    plain(shot.effect);
    shot.effect.TileSize.value = 0.05;
    shot.effect.Layout.value = 3;
    EXPECT_NEAR(at(shot.render(), 80, 45, 3), 0.5f, 1e-4f);
    shot.effect.Print.value = 100;
    EXPECT_NEAR(at(shot.render(), 80, 45, 1), at(*shot.source, 80, 45, 1), 1e-3f);
    shot.effect.Laid.value = 0;
    shot.effect.ClearGrout.value = true;
    EXPECT_EQ(at(shot.render(), 80, 45, 3), 0.0f);
    shot.effect.Laid.value = 50;
    shot.effect.LayingOrder.value = RomanTileInfo::FromLeft;
    const K7Image& half = shot.render();
    EXPECT_GT(at(half, 40, 45, 3), 0.4f);
    EXPECT_EQ(at(half, 130, 45, 3), 0.0f);
    shot.effect.Mix.value = 0;
    EXPECT_TRUE(shot.shows_source());
}

TEST(RomanTile, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(disc(157, 91));
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        shot.effect.TileSize.value = 0.06;
        const ImagePtr here = same_bits_everywhere([&] { return shot.copy(40); });
        shot.render(3);
        EXPECT_TRUE(same_pixels(here.get(), &shot.render(40)));
    }
}

TEST(RomanTile, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 1e12})
            for (const int layout : {1, 2, 4, 6}) {
                Shot shot(noise(width, height, 5, 0, 60000));
                for (ControlK7* control : shot.effect.controls())
                    if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
                shot.effect.Light.x = shot.effect.Light.y = value;
                shot.effect.Layout.value = layout;
                shot.effect.StoneColours.value = layout;
                const K7Image& result = shot.render();
                for (int c = 0; c < 4; ++c) EXPECT_TRUE(std::isfinite(at(result, 0, 0, c)));
            }
}

}  // namespace
