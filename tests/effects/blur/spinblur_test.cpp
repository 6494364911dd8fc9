// SpinBlur: which arcs its controls stand for, and what an artist expects of them.
#include "effects/blur/SpinBlur.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "support/effect_shot.h"

namespace {

struct Spin : EffectShot<SpinBlur> {
    using EffectShot::EffectShot;
    Spin& speed(double degrees) { return effect.Speed.value = degrees, *this; }
    Spin& centre(double x, double y) { return effect.Centre.x = x, effect.Centre.y = y, *this; }
    Spin& style(int style) { return effect.BStyle.value = style, *this; }
};

// The picture averaged along these arcs around (0.3, 0.6) of its size.
bool follows(Spin& spin, const ArcLengths& lengths) {
    const K7Image& result = spin.centre(0.3, 0.6).render();
    const float width = result.width, height = result.height;
    const ImagePtr wanted(image_clone_layout(&result));
    ImagelibCircles circles(result, 0.3f * width, 0.6f * height);
    EXPECT_TRUE(circles.unwrap(*spin.source, TurnTable(), 0, circles.max_distance()));
    EXPECT_TRUE(circles.average(*spin.source, spin.effect.DoMatte.value ? spin.effect.matte.image.get() : nullptr,
                                lengths, *wanted));
    return same_pixels(wanted.get(), &result);
}

TEST(SpinBlur, ControlsStandForArcs) {
    constexpr float DEGREE = 0.017453292f;
    Spin spin(noise(80, 50));
    ArcLengths arcs{.angle = 25 * DEGREE,
                    .profile = ArcProfile::Constant,
                    .inner = 0.1f * 40,
                    .outer = 0.4f * 40,
                    .soft = 0.4f * 40 - 0.1f * 40,
                    .exponent = 2,
                    .invert_matte = false};
    arcs.soft *= 0.1f;
    EXPECT_TRUE(follows(spin.speed(25), arcs));
    arcs.profile = ArcProfile::Ring;
    EXPECT_TRUE(follows(spin.style(SpinBlur::Fade), arcs));
    std::swap(spin.effect.IRadius.value, spin.effect.ORadius.value);  // either order
    EXPECT_TRUE(follows(spin, arcs));
    arcs.profile = ArcProfile::Outward, arcs.exponent = 3.5f;
    spin.effect.Twirl.value = 3.5;
    EXPECT_TRUE(follows(spin.style(SpinBlur::TwirlIn), arcs));
    arcs.profile = ArcProfile::Inward, arcs.invert_matte = true;
    spin.effect.matte.image = noise(80, 50);
    spin.effect.DoMatte.value = spin.effect.InvertMatte.value = true;
    EXPECT_TRUE(follows(spin.style(SpinBlur::TwirlOut), arcs));
    arcs.angle = -270 * DEGREE;
    EXPECT_TRUE(follows(spin.speed(-350), arcs));
    arcs.angle = 359 * DEGREE;
    EXPECT_TRUE(follows(spin.speed(360), arcs));
}

TEST(SpinBlur, StandsUprightAndTurnsTheRightWay) {
    // A bright half above: a short arc leaves it above. A dot to the right is smeared upwards by a positive angle.
    Spin half(picture(80, 80, [](int, int y, int) { return y >= 40 ? 1.0f : 0.0f; }));
    const K7Image& above = half.speed(5).render();
    EXPECT_GT(at(above, 40, 65), 0.99f);
    EXPECT_LT(at(above, 40, 15), 0.01f);

    Spin dot(picture(80, 80, [](int x, int y, int) { return x == 70 && y == 40 ? 1.0f : 0.0f; }));
    const K7Image& smeared = dot.speed(20).render();
    EXPECT_GT(at(smeared, 69, 44), 0.01f);
    EXPECT_LT(at(smeared, 69, 36), 1e-4f);
}

TEST(SpinBlur, ShowsTheSourceAndMixesWithIt) {
    Spin spin(noise(50, 40));
    EXPECT_TRUE(spin.speed(0).shows_source());
    const ImagePtr full = spin.speed(60).copy();
    spin.effect.Blend.value = 25;
    const K7Image& mixed = spin.render();
    for (int c = 0; c < 4; ++c)
        EXPECT_NEAR(at(mixed, 20, 10, c), 0.75f * at(*full, 20, 10, c) + 0.25f * at(*spin.source, 20, 10, c), 1e-6);
    spin.effect.Blend.value = 100;
    EXPECT_TRUE(spin.shows_source());
    spin.effect.Blend.value = 0;
    spin.effect.matte.image = flat(50, 40, 0.0f);
    EXPECT_FALSE(spin.shows_source()) << "the matte is not in use";
    spin.effect.DoMatte.value = true;
    EXPECT_TRUE(spin.shows_source());
    spin.effect.InvertMatte.value = true;
    EXPECT_FALSE(spin.shows_source());
    EXPECT_TRUE(spin.centre(1e9, 0.5).shows_source());
}

}  // namespace
