// Snow: the steps follow their rules.
#include "effects/weather/Snow.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/weather/weather_support.h"

namespace {

using namespace weather_test;

TEST(Snow, NothingFallsBeforeTheStart) {
    Shot<Snow> scene(0);
    scene.effect.start.at.value = 5;
    EXPECT_TRUE(same_pixels(scene.render(4).get(), scene.source.get()));
    const ImagePtr fifth = scene.render(5);
    EXPECT_FALSE(same_pixels(fifth.get(), scene.source.get()));
    scene.render(6);
    EXPECT_TRUE(same_pixels(scene.render(2).get(), scene.source.get()));
    scene.render(7);
    EXPECT_EQ(scene.effect.clock().steps_taken(), 1) << "a frame before the start leaves the simulation alone";
    // The pre-roll is life before the start.
    Shot<Snow> rolled(0);
    rolled.effect.start.at.value = 5, rolled.effect.start.preRoll.value = 3;
    rolled.render(5);
    EXPECT_EQ(rolled.effect.clock().steps_taken(), 4);

    scene.effect.BlackBG.value = true;
    EXPECT_TRUE(same_pixels(scene.render(1).get(), flat(96, 64, 0.0f).get()));
}

TEST(Snow, WhatOnlyDrawsCostsNoReplay) {
    Shot<Snow> scene(0);
    scene.render(40);
    scene.effect.Opacity.value = 50, scene.effect.glint.on.value = true, scene.effect.start.shutter.value = 80;
    const ImagePtr changed = scene.render(40);
    EXPECT_LE(scene.effect.clock().steps_taken(), 1);
    Shot<Snow> alone(0);
    alone.effect.Opacity.value = 50, alone.effect.glint.on.value = true, alone.effect.start.shutter.value = 80;
    EXPECT_TRUE(same_pixels(changed.get(), alone.render(40).get()));
    scene.effect.emitter.density.value = 30;
    scene.render(41);
    EXPECT_EQ(scene.effect.clock().steps_taken(), 42);
}

// Still air: births on the line at the mean speed, and gravity and drag as the integrator has them.
TEST(Snow, FallsAsGravityAndFrictionSay) {
    const auto height = [](int frames, double gravity, double friction) {
        Shot<Snow> scene(0, 200, 400);
        Snow& snow = scene.effect;
        snow.turbulence.on.value = false, snow.emitter.spread.value = 0, snow.VelocityVar.value = 0;
        snow.emitter.density.value = 40, snow.emitter.lifetime.value = 1000, snow.InitialVelocity.value = -20;
        snow.gravity.strength.value = gravity, snow.friction.amount.value = friction, snow.FlakeSizeVar.value = 0;
        snow.BlackBG.value = true;
        const ImagePtr image = scene.render(frames);
        for (int y = 0; y < image->height; ++y)  // the lowest flake, from the bottom
            for (int x = 0; x < image->width; ++x)
                if (image_row<float>(image.get(), y)[4 * x + 3] > 0.3f) return y;
        return -1;
    };
    constexpr int REACH = 2;  // of a flake below its centre, as bright as that
    EXPECT_NEAR(height(40, 0, 0), 320 - 2 * 40 - REACH, 2);
    double y = 320, v = -2;
    for (int i = 0; i < 40; ++i) y += v, v -= v * 0.1 + 0.2;
    EXPECT_NEAR(height(40, 0.2, 0.1), y - REACH, 2);
}

TEST(Snow, WindIsAConeOrABlast) {
    K7Image like{};
    like.width = 100, like.height = 100, like.pixel_width = like.pixel_height = like.unit_scale = 1;
    const FrameShape frame(like);
    particles::Wind wind;
    wind.set(frame, true, 0.2, 0.5, 0.8, 0.5, 90, 10, false);
    float ahead[2] = {60, 50}, beside[2] = {60, 95}, behind[2] = {5, 50};
    wind.blow(ahead, 10), wind.blow(beside, 10), wind.blow(behind, 10);
    EXPECT_FLOAT_EQ(ahead[0], 70);
    EXPECT_FLOAT_EQ(ahead[1], 50);
    EXPECT_EQ(beside[1], 95);
    EXPECT_EQ(beside[0], 60);
    EXPECT_EQ(behind[0], 5);
    wind.set(frame, true, 0.5, 0.5, 0.9, 0.5, 90, 10, true);
    float near[2] = {50, 60}, far[2] = {50, 95}, middle[2] = {50, 50};
    wind.blow(near, 10), wind.blow(far, 10), wind.blow(middle, 10);
    EXPECT_FLOAT_EQ(near[1], 60 + 10 * 0.75f);
    EXPECT_FLOAT_EQ(far[1], 95);
    EXPECT_EQ(middle[0], 50);
    EXPECT_EQ(middle[1], 50);
    wind.set(frame, true, 0.5, 0.5, 0.5, 0.5, 90, 10, false);
    EXPECT_FLOAT_EQ(wind.length, 0.0001f);
}

TEST(Snow, LightFallsOffInsideItsZone) {
    K7Image like{};
    like.width = 100, like.height = 100, like.pixel_width = like.pixel_height = like.unit_scale = 1;
    particles::LightCone light;
    light.set(FrameShape(like), 0, 0.5, 1, 0.5, 90);
    EXPECT_FLOAT_EQ(light.inside(std::cos(0.1f)), 1);
    EXPECT_NEAR(light.inside(std::cos(0.85f * 0.785398f)), 0.5, 1e-4);
    EXPECT_NEAR(light.inside(std::cos(0.79f)), 0, 1e-4);
    const float right[2] = {50, 50}, up[2] = {0, 90}, source[2] = {0, 50};
    EXPECT_FLOAT_EQ(light.cosine_to(right), 1);
    EXPECT_NEAR(light.cosine_to(up), 0, 1e-6);
    EXPECT_EQ(light.cosine_to(source), 0);
    light.set(FrameShape(like), 0, 0.5, 1, 0.5, 0);
    EXPECT_EQ(light.inside(1), 1);
    EXPECT_EQ(light.inside(0.5f), 0);
}

}  // namespace
