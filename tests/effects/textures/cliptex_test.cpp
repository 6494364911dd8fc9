// ClipTex: which texture is seen where, how it lies, and what must not move.
#include "effects/textures/ClipTex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>

#include "effects/textures/ClipTexPatterns.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<ClipTex>;

const std::atomic<OfxImageClipHandle> NOT_CONNECTED{nullptr};

ClipRecord* texture_of(ClipTex& e, int i) {
    ClipRecord* const clips[] = {&e.textureA, &e.textureB, &e.textureC, &e.textureD};
    return clips[i];
}
void connect_only(ClipTex& e, std::initializer_list<int> connected) {
    for (int i = 0; i < 4; ++i)
        texture_of(e, i)->wire(
            std::find(connected.begin(), connected.end(), i) == connected.end() ? &NOT_CONNECTED : nullptr, &e);
}

// Grey, rising from 0 at the left to 1 at the right.
ImagePtr ramp(int width, int height, float grain = 0, unsigned seed = 1) {
    const ImagePtr speckle = noise(width, height, seed, -grain, grain);
    return picture(width, height, [&](int x, int y, int c) {
        return c == 3 ? 0.25F + 0.5F * float(y) / float(height)
                      : (float(x) + 0.5F) / float(width) + at(*speckle, x, y, c);
    });
}

TEST(ClipTex, ShowsEachTextureInItsBandAndTheNextOneForMissingOnes) {
    const float levels[] = {0.15F, 0.35F, 0.55F, 0.8F};
    const struct {
        std::initializer_list<int> connected;
        int shown[4];
    } cases[] = {{{0, 1, 2, 3}, {0, 1, 2, 3}}, {{1, 3}, {1, 1, 3, 3}}, {{2}, {2, 2, 2, 2}}, {{0, 2}, {0, 2, 2, 0}}};
    for (const auto& c : cases) {
        Shot shot(ramp(400, 20));
        ClipTex& e = shot.effect;
        connect_only(e, c.connected);
        for (int i = 0; i < 4; ++i) texture_of(e, i)->image = flat(400, 20, levels[i], 0.5F, 1 - levels[i]);
        e.ThresholdAB.value = 75, e.ThresholdBC.value = 50, e.ThresholdCD.value = 25;  // any order
        e.Bite.value = e.ToneSmoothing.value = 0;
        e.Softness.value = 4;
        const K7Image& result = shot.render();
        for (int band = 0; band < 4; ++band)
            EXPECT_NEAR(at(result, 50 + 100 * band, 10, 0), levels[c.shown[band]], 1e-5) << band;
        EXPECT_EQ(difference(result, *shot.source, 3), 0) << "alpha is that of the input";
    }
}

TEST(ClipTex, LaysTexturesTurnedScaledAndMirrored) {
    Shot shot(flat(200, 200, 0.0F, 0.0F, 0.0F));
    ClipTex& e = shot.effect;
    connect_only(e, {0});
    const ImagePtr texture = picture(200, 200, [](int x, int y, int c) {
        return c == 3 ? 1.0F : 0.5F + 0.4F * (c == 0 ? std::sin(float(x) * 0.08F) : std::cos(float(y) * 0.06F));
    });
    const auto rendered = [&](double size, double angle, int tiling) {
        e.textureA.image.reset(image_duplicate(texture.get()));
        e.Size.value = size, e.AngleA.value = angle, e.Tiling.value = tiling;
        return shot.copy();
    };
    EXPECT_LT(difference(*rendered(100, 0, 1), *texture, 0), 1e-5);
    const ImagePtr turned = rendered(100, 90, 1), doubled = rendered(200, 0, 1), tiled = rendered(50, 0, 1),
                   mirrored = rendered(50, 0, 2);
    for (int i = 10; i < 190; i += 7) {
        EXPECT_NEAR(at(*turned, 199 - i, 60, 0), at(*texture, 60, i, 0), 2e-4) << "counter-clockwise";
        EXPECT_NEAR(at(*doubled, i, 100, 0), at(*texture, 50 + i / 2, 100, 0), 0.02);
        EXPECT_NEAR(at(*tiled, i, 20, 0), at(*tiled, (i + 100) % 200, 20, 0), 1e-4);
        EXPECT_NEAR(at(*mirrored, 49 - i / 4, 20, 0), at(*mirrored, 50 + i / 4, 20, 0), 1e-4) << "about a seam";
    }
    EXPECT_GT(difference(*tiled, *mirrored), 0.1);
}

TEST(ClipTex, PatternsRepeatAndGetDarkerFromBandToBand) {
    const PatternColours colours{{0, 0, 0}, {1, 1, 1}};
    for (int pattern = 1; pattern <= 6; ++pattern) {
        double before = -1;
        for (int band = 0; band < 4; ++band) {
            SCOPED_TRACE(10 * pattern + band);
            const ImagePtr tile = draw_pattern(pattern, band, 512, colours);
            double sum = 0, steps = 0, seam = 0;
            for (int y = 0; y < 512; ++y) {
                for (int x = 0; x < 512; ++x) sum += double(at(*tile, x, y, 1));
                steps += std::fabs(double(at(*tile, 255, y, 1)) - at(*tile, 256, y, 1));
                seam += std::fabs(double(at(*tile, 511, y, 1)) - at(*tile, 0, y, 1));
            }
            EXPECT_LT(seam, 2 * steps + 30) << "no seam";
            if (pattern == ClipTexInfo::Canvas || pattern == ClipTexInfo::Collage) continue;
            EXPECT_GT(sum, before) << "brighter than the band below";
            before = sum;
        }
    }
}

TEST(ClipTex, IsTheSameEverywhereWithEveryPresetAndGrainChangesLittle) {
    Shot shot(ramp(320, 180, 0.01F, 1)), other(ramp(320, 180, 0.01F, 2));
    connect_only(shot.effect, {}), connect_only(other.effect, {});
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset), other.choose_preset(preset);
        const ImagePtr result = same_bits_everywhere([&] { return shot.copy(); });
        const K7Image& grainy = other.render(12);
        int changed = 0;
        for (int y = 0; y < 180; ++y)
            for (int x = 0; x < 320; ++x) changed += std::fabs(at(*result, x, y, 1) - at(grainy, x, y, 1)) > 0.06F;
        EXPECT_LT(changed, 320 * 180 * 4 / 100);
    }
    connect_only(shot.effect, {0, 1, 2, 3});
    shot.effect.Relief.value = 100;
    shot.effect.Angle.value = 33;
    same_bits_everywhere([&] { return shot.copy(); });
}

TEST(ClipTex, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 200}, {200, 2}, {97, 33}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5, 0, 65504));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            for (const bool pictures : {false, true})
                for (const int blend : {1, 4, 5, 6}) {
                    if (pictures)
                        connect_only(shot.effect, {1, 3});
                    else
                        connect_only(shot.effect, {});
                    shot.effect.Blend.value = blend;
                    shot.effect.Pattern.value = 1 + blend % 6;
                    const K7Image& result = shot.render();
                    for (int i = 0; i < 4 * width; ++i) EXPECT_TRUE(std::isfinite(image_row<float>(&result, 0)[i]));
                }
        }
}

}  // namespace
