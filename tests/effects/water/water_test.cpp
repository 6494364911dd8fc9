// Water: its waves step by step, frames in any order, and what it shows of them.
#include "effects/water/Water.h"

#include <gtest/gtest.h>

#include "imagelib/imagelib_blur.h"
#include "sight_lines.h"
#include "support/same_bits.h"

namespace {

constexpr int WIDTH = 60, HEIGHT = 44;

float luminance(const K7Image& image, int x, int y) {
    return 0.3f * at(image, x, y, 0) + 0.5f * at(image, x, y, 1) + 0.2f * at(image, x, y, 2);
}

// The heights after so many steps, pushed by the drips between the walls.
ImagePtr waves_of(const Water& e, int steps) {
    ImagePtr now = make_image(WIDTH, HEIGHT, 1, SAMPLE_F32), before = make_image(WIDTH, HEIGHT, 1, SAMPLE_F32);
    const auto open = [&](int x, int y) {
        const double low = e.WallMin.value, high = e.WallMax.value;
        return (std::clamp(double(luminance(*e.walls.image, x, y)), low, high) - low) / (high - low);
    };
    const float radius = float(e.RippleWavelength.value) / 2;
    for (int step = 0; step < steps; ++step) {
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) at(*now, x, y) += float(luminance(*e.drips.image, x, y) * open(x, y));
        const ImagePtr blurred(image_duplicate(now.get()));
        EXPECT_TRUE(image_gaussian_blur(blurred.get(), radius, radius, 1));
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) {
                const double next =
                    (2 * double(at(*blurred, x, y)) - double(at(*before, x, y))) * (1 - e.RippleDamping.value);
                at(*before, x, y) = float(std::clamp(next, -1.0, 1.0) * open(x, y));
            }
        std::swap(now, before);
    }
    return now;
}

struct Pushed : EffectShot<Water> {
    Pushed() : EffectShot(smooth_picture(WIDTH, HEIGHT)) {
        effect.drips.image =
            picture(WIDTH, HEIGHT, [](int x, int y, int) { return std::hypot(x - 20, y - 15) < 4 ? 0.2f : 0.0f; });
        effect.walls.image = picture(WIDTH, HEIGHT, [](int x, int, int) { return float(WIDTH - x) / WIDTH; });
        effect.UseDrips.value = effect.UseWalls.value = true;
        effect.WallMin.value = 0.2, effect.WallMax.value = 0.5;
        effect.PreRoll.value = 3;
        effect.RippleWavelength.value = 5;
        effect.RippleDamping.value = 0.05;
    }
};

TEST(Water, RipplesByTheWaveEquation) {
    Pushed shot;
    shot.effect.OutType.value = Water::RippleMap;
    for (const int frame : {0, 1, 9}) {
        const ImagePtr expected = waves_of(shot.effect, frame + 4);
        const ImagePtr map = same_bits_everywhere([&] { return shot.copy(frame); });
        double worst = 0, highest = 0;
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) {
                const double height = double(at(*expected, x, y)) * double(at(*shot.source, x, y, 3));
                worst = std::max(worst, std::abs(double(at(*map, x, y, 1)) - height));
                highest = std::max(highest, height);
            }
        EXPECT_LT(worst, 1e-5) << frame;
        EXPECT_GT(highest, 0.05) << frame;
    }
}

TEST(Water, IsSeenThroughByTheLawOfRefraction) {
    Pushed shot;
    Water& e = shot.effect;
    EXPECT_TRUE(shot.shows_source(5));  // an index of 1
    e.OutType.value = Water::RippleMap;
    const ImagePtr map = shot.copy(5);
    e.OutType.value = Water::FullRender;
    e.RefractiveIndex.value = 1.4;
    e.surface.DoLight.value = true;
    e.LightSoftness.value = 0;
    e.surface.Contrast.value = 80;
    const ImagePtr result = shot.copy(5);
    const SightLines lines{WIDTH, HEIGHT, 1.004, true, [&](int x, int y) { return double(at(*map, x, y)); }};
    const auto pyramid = pyramid_of(*shot.source);
    for (int y = 1; y < HEIGHT - 1; y += 3)
        for (int x = 1; x < WIDTH - 1; x += 3)
            ASSERT_NEAR(at(*result, x, y),
                        0.8 * double(lines.seen(*pyramid, x, y)[0]) + lines.highlight(x, y, 0.75, 0.75, 0.5, 45), 2e-3)
                << x << ' ' << y;
}

TEST(Water, RainIsTheSameInAnyOrder) {
    const auto raining = [] {
        auto shot = std::make_unique<EffectShot<Water>>(smooth_picture(WIDTH, HEIGHT));
        shot->effect.OutType.value = Water::RippleMap;
        return shot;
    };
    const auto forwards = raining(), lone = raining(), rolled = raining();
    std::vector<ImagePtr> frames;
    for (int frame = 0; frame < 14; ++frame) frames.push_back(forwards->copy(frame));
    for (const int frame : {13, 4, 4, 9})
        EXPECT_TRUE(same_pixels(&lone->render(frame), frames[std::size_t(frame)].get())) << frame;
    EXPECT_GT(difference(*frames[13], *frames[12]), 0.001);
    lone->effect.RainSeed.value = 0.7;
    EXPECT_FALSE(same_pixels(&lone->render(9), frames[9].get()));
    rolled->effect.RainFreq.value = 0;
    EXPECT_EQ(at(rolled->render(9), 20, 20, 0), 0.0f);
}

// Drops of a few frames lie all over the picture, not on one stripe of it.
TEST(Water, RainFallsEverywhere) {
    constexpr int STRIPS = 100, PARTS = 5;
    EffectShot<Water> shot(flat(32, 16 * STRIPS, 1.0f));
    shot.effect.OutType.value = Water::RippleMap;
    shot.effect.RainFreq.value = 10;
    const ImagePtr map = shot.copy(3);
    for (int part = 0; part < PARTS; ++part) {
        float highest = 0;
        for (int y = part * map->height / PARTS; y < (part + 1) * map->height / PARTS; ++y)
            for (int x = 0; x < map->width; ++x) highest = std::max(highest, at(*map, x, y));
        EXPECT_GT(highest, 0.001f) << part;
    }
}

}  // namespace
