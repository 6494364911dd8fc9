// TVWall: a wall of plain screens is the clip, faults are the same everywhere, late screens ask for their frames.
#include "effects/tv/TVWall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<TVWall>;

void plain(TVWall& effect) {
    for (FloatControlK7* control : {&effect.Gap, &effect.Bezel, &effect.Rounding, &effect.Curvature, &effect.ScanLines,
                                    &effect.Reflection, &effect.Glow, &effect.ColourSpread, &effect.LightSpread})
        control->value = 0;
    effect.Brightness.value = 100;
}

ImagePtr gradient(int width, int height) {
    return picture(width, height, [&](int x, int y, int c) {
        return c == 3 ? 1.0F : 0.1F + 0.8F * float(c == 1 ? x : y) / float(c == 1 ? width : height);
    });
}

void expect_near(const K7Image& a, const K7Image& b, int border, double tolerance) {
    for (int y = border; y < a.height - border; ++y)
        for (int x = border; x < a.width - border; ++x)
            for (int c = 0; c < 3; ++c) ASSERT_NEAR(at(a, x, y, c), at(b, x, y, c), tolerance) << x << ", " << y;
}

TEST(TVWall, PlainScreensShowTheClip) {
    Shot shot(flat(160, 90, 0.5F));
    shot.effect.clipA.image = gradient(160, 90);
    plain(shot.effect);
    // A black screen is not quite black.
    const ImagePtr wanted =
        picture(160, 90, [&](int x, int y, int c) { return at(*shot.effect.clipA.image, x, y, c) + 0.012F; });
    shot.effect.Columns.value = shot.effect.Rows.value = 1;
    expect_near(shot.render(), *wanted, 1, 2e-3);
    shot.effect.Columns.value = 5, shot.effect.Rows.value = 4;
    shot.effect.Layout.value = TVWallInfo::AcrossAll;
    expect_near(shot.render(), *wanted, 1, 1e-2);
}

TEST(TVWall, StandsWhereItsCornersAre) {
    Shot shot(noise(160, 90, 2));
    shot.effect.clipA.image = flat(160, 90, 0.9F, 0.1F, 0.1F);
    plain(shot.effect);
    auto& quad = shot.effect.quad;
    quad.TL.x = 0.25, quad.TL.y = 0.9, quad.TR.x = 0.75, quad.TR.y = 0.7;
    quad.BL.x = 0.25, quad.BL.y = 0.1, quad.BR.x = 0.75, quad.BR.y = 0.3;
    const K7Image& wall = shot.render();
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) {
            const double px = (x + 0.5) / 160, py = (y + 0.5) / 90, half = 0.4 - 0.4 * (px - 0.25);
            const double inside = std::min({px - 0.25, 0.75 - px, half - std::fabs(py - 0.5)}) * 90;
            if (inside < -1.5) {
                ASSERT_EQ(at(wall, x, y, 0), at(*shot.source, x, y, 0)) << x << ", " << y;
            } else if (inside > 1.5) {
                ASSERT_NEAR(at(wall, x, y, 0), 0.912, 1e-2) << x << ", " << y;
            }
        }
}

TEST(TVWall, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(noise(160, 90, 3));
    shot.effect.clipA.image = gradient(160, 90);
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(40); });
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(40)));
    }
}

TEST(TVWall, SnowMovesOnlyWhenAnimated) {
    Shot shot(gradient(160, 90));
    shot.effect.Snow.value = shot.effect.Rolling.value = 60;
    const ImagePtr first = shot.copy(1);
    EXPECT_GT(difference(*first, shot.render(2)), 0.1);
    shot.effect.Animate.value = false;
    const ImagePtr still = shot.copy(1);
    EXPECT_TRUE(same_pixels(still.get(), &shot.render(2)));
}

TEST(TVWall, LateScreensAskForTheirFrames) {
    TVWall effect;
    const auto wanted = [&](ClipRecord& clip) {
        effect.clipA.frameCount = effect.clipB.frameCount = 0;
        static_cast<PluginK7&>(effect).prepareFrames(effect.info(), {0, 200, 100});
        return std::vector<int>(clip.frames.begin() + 1, clip.frames.begin() + 1 + clip.frameCount);
    };
    effect.Columns.value = 3, effect.Rows.value = 2;
    EXPECT_THAT(wanted(effect.clipA), testing::ElementsAre(100));
    effect.Delay.value = 4;
    EXPECT_THAT(wanted(effect.clipA), testing::ElementsAre(100, 96, 92, 88, 84, 80));
    effect.Programme.value = TVWallInfo::Alternating;
    EXPECT_THAT(wanted(effect.clipB), testing::ElementsAre(100, 92, 84));
    effect.DelayOrder.value = TVWallInfo::Outwards;
    EXPECT_THAT(wanted(effect.clipA), testing::ElementsAre(100, 96));
}

TEST(TVWall, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            shot.effect.quad.TL.x = shot.effect.quad.BR.y = value;
            for (const int layout : {1, 2, 3}) {
                shot.effect.Layout.value = layout;
                shot.render(11);
            }
        }
}

}  // namespace
