// PatchTex: each clip steers, what is outside the area stays, grain moves little, any frame stands by itself.
#include "effects/textures/PatchTex.h"

#include <gtest/gtest.h>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<PatchTex>;

// Pebbles: smooth enough that grain of a hundredth does not hide them.
ImagePtr pebbles(int width, int height, double grain = 0.0) {
    const ImagePtr random = noise(width, height, 9);
    return picture(width, height, [&](int x, int y, int c) {
        if (c == 3) return 1.0F;
        const double wave = std::sin(x * 0.31 + 2 * std::sin(y * 0.13)) * std::sin(y * 0.37 + 1.7 * std::sin(x * 0.11));
        return float(0.5 + (0.3 - 0.04 * c) * wave + grain * (double(at(*random, x, y, c)) - 0.5));
    });
}

double share_changed(const K7Image& a, const K7Image& b, double by) {
    double changed = 0;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x) changed += std::fabs(at(a, x, y) - at(b, x, y)) > by;
    return changed / (a.width * a.height);
}

TEST(PatchTex, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(pebbles(160, 90));
    shot.source->unit_scale = 9;
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        shot.effect.Area.value = preset == 5 ? PatchTexInfo::Ellipse : PatchTexInfo::Everywhere;
        shot.effect.Renew.value = 10;
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(40); });
        EXPECT_GT(difference(*late, shot.render(3)), 0.0);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(49)));
    }
}

// One patch in eight or so chooses anew; most of the picture holds still.
TEST(PatchTex, GrainMovesLittle) {
    for (const bool hole : {false, true}) {
        Shot clean(pebbles(480, 270)), grainy(pebbles(480, 270, 0.02));
        for (Shot* shot : {&clean, &grainy}) {
            shot->effect.PatchSize.value = 40;
            shot->effect.Area.value = hole ? PatchTexInfo::Ellipse : PatchTexInfo::Everywhere;
        }
        EXPECT_LT(share_changed(clean.render(), grainy.render(), 0.06), hole ? 0.1 : 0.25);
    }
}

TEST(PatchTex, FillsByTheMaskAndStaysOutside) {
    Shot shot(picture(200, 120, [](int x, int y, int c) {
        if (c == 3) return 1.0F;
        const bool object = std::hypot(x - 90, y - 60) < 24;
        return object ? 1.0F : 0.3F + 0.1F * std::sin(float(x) * 0.6F) * std::cos(float(y) * 0.5F);
    }));
    shot.effect.matte.image =
        picture(200, 120, [](int x, int y, int) { return std::hypot(x - 90, y - 60) < 27 ? 1.0F : 0.01F; });
    shot.effect.Source.value = PatchTexInfo::Surroundings;
    shot.effect.PatchSize.value = 20;
    for (const double join : {0.0, 6.0}) {
        shot.effect.Join.value = join;
        const K7Image& filled = shot.render();
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 200; ++x) {
                ASSERT_LT(at(filled, x, y), 0.5) << "the object is gone";
                if (std::hypot(x - 90, y - 60) > 28 + join) {
                    ASSERT_EQ(at(filled, x, y), at(*shot.source, x, y)) << x << ", " << y;
                }
            }
    }
    // Where the mask leaves no place to take patches from, the picture stays.
    shot.effect.matte.image = flat(200, 120, 0.5F);
    EXPECT_TRUE(shot.shows_source());
}

TEST(PatchTex, FollowsTheGuide) {
    const auto light = [](int x) { return x < 120 ? 0.15F : 0.85F; };
    Shot shot(noise(240, 136, 4));
    shot.effect.matte.image = picture(240, 136, [&](int x, int, int) { return light(x); });
    shot.effect.GuideFrom.value = PatchTexInfo::ByMaskClip;
    shot.effect.Guide.value = 60, shot.effect.Shade.value = 100, shot.effect.PatchSize.value = 16;
    const K7Image& result = shot.render();
    double sums[2] = {};
    for (int y = 0; y < 136; ++y)
        for (int x = 0; x < 240; ++x)
            sums[x / 120] +=
                (0.3 * at(result, x, y, 0) + 0.5 * at(result, x, y, 1) + 0.2 * at(result, x, y, 2)) / (120 * 136);
    EXPECT_NEAR(sums[0], 0.15, 0.06);
    EXPECT_NEAR(sums[1], 0.85, 0.12);
}

TEST(PatchTex, MirrorsTheWholePicture) {
    Shot shot(pebbles(161, 90));
    shot.effect.Area.value = PatchTexInfo::Everywhere;
    shot.effect.PatchSize.value = 30;
    shot.effect.Symmetry.value = PatchTexInfo::BothWays;
    const K7Image& result = shot.render();
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 161; ++x) ASSERT_EQ(at(result, x, y), at(result, 160 - x, 89 - y));
}

TEST(PatchTex, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 60}, {70, 2}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            shot.effect.Centre.x = shot.effect.HoleCentre.y = value;
            for (const int choice : {1, 2, 3}) {
                shot.effect.Source.value = shot.effect.Area.value = shot.effect.Pattern.value = choice;
                shot.render(11);
            }
        }
}

}  // namespace
