// Bubbles: growth, gathering on a matte and bursting.
#include "effects/weather/Bubbles.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/weather/weather_support.h"

namespace {

using namespace weather_test;

ImagePtr halves() { return matte(96, 64, 0, 0, 0.5, 1); }

// Nothing moves by itself.
void calm(Bubbles& bubbles) {
    bubbles.turbulence.on.value = bubbles.friction.on.value = bubbles.gravity.on.value = false;
    bubbles.InitialVelocity.value = 0;
}

// All in one place: the largest of them shows.
TEST(Bubbles, GrowOrShrinkOverTheirTime) {
    const auto radius = [](int mode, int frame) {
        Shot<Bubbles> shot(0, 101, 101);
        Bubbles& bubbles = shot.effect;
        calm(bubbles);
        bubbles.BlackBG.value = true, bubbles.DoReflections.value = bubbles.light.beam.on.value = false;
        bubbles.emitter.left.x = bubbles.emitter.left.y = bubbles.emitter.right.x = bubbles.emitter.right.y =
            50.0 / 101;
        bubbles.emitter.spread.value = 0, bubbles.BubbleSizeVar.value = 0;
        bubbles.emitter.lifetime.value = 1000, bubbles.GrowthMode.value = mode, bubbles.TimeMaxSize.value = 20;
        const ImagePtr image = shot.render(frame);
        int reach = 50;
        while (reach > 0 && !(alpha(image.get(), 50 + reach, 50) > 0.1f)) --reach;
        return reach;
    };
    // Sizes are truncated, and half of them and a half is the radius
    EXPECT_NEAR(radius(Bubbles::Assorted, 30), 5.5, 0.6);
    EXPECT_NEAR(radius(Bubbles::Shrinking, 0), 20.5, 0.6);
    EXPECT_NEAR(radius(Bubbles::VariableGrowth, 1), 5.5, 0.6);
    EXPECT_NEAR(radius(Bubbles::VariableGrowth, 30), 15.5, 0.6);
    EXPECT_NEAR(radius(Bubbles::LinearGrowth, 0), 2, 0.6);
    EXPECT_NEAR(radius(Bubbles::LinearGrowth, 30), 6.5, 0.6);
}

TEST(Bubbles, GatherOnTheMatteAndDieSoonAfterLeavingIt) {
    Shot<Bubbles> shot(0);
    Bubbles& bubbles = shot.effect;
    calm(bubbles);
    bubbles.Congregate.value = true, bubbles.Afterlife.value = 7;
    bubbles.burst_clip.image = halves();
    shot.render(0);
    BubblesParticle p;
    p.life = 100, p.age = 10, p.fade = 8, p.size = 5;
    p.position[0] = 70, p.position[1] = 30, p.velocity[0] = 2;
    bubbles.renderParticle(p);
    EXPECT_EQ(p.stuck, 0);
    EXPECT_EQ(p.velocity[0], 2);
    p.position[0] = 20;
    bubbles.renderParticle(p);
    EXPECT_EQ(p.stuck, 1);
    EXPECT_FLOAT_EQ(p.velocity[0], 0.02f);
    p.position[0] = -20;  // outside the picture there is no matte
    bubbles.renderParticle(p);
    EXPECT_EQ(p.stuck, 1);
    EXPECT_EQ(p.age, 10);
    p.position[0] = 70;
    bubbles.renderParticle(p);
    EXPECT_EQ(p.stuck, 2);
    EXPECT_EQ(p.age, 93);
    p.age = 95;
    bubbles.renderParticle(p);
    EXPECT_EQ(p.age, 95) << "released once";
}

TEST(Bubbles, BurstOnceOnTheMatteOrAtTheirEnd) {
    Shot<Bubbles> shot(0);
    Bubbles& bubbles = shot.effect;
    calm(bubbles);
    bubbles.BubblesBurst.value = true, bubbles.BurstProbability.value = 100, bubbles.Afterlife.value = 20;
    bubbles.burst_clip.image = halves();
    const auto at = [](float x, float age) {
        BubblesParticle p;
        p.life = 100, p.age = age, p.fade = 8, p.size = 5;
        p.position[0] = x, p.position[1] = 30;
        return p;
    };
    const auto after = [&](BubblesParticle p) {
        shot.render(0);
        bubbles.renderParticle(p);
        return p;
    };
    EXPECT_EQ(after(at(70, 10)).phase, 0);
    EXPECT_EQ(after(at(-1, 10)).phase, 0);
    EXPECT_EQ(after(at(70, 99)).phase, 1);
    EXPECT_EQ(after(at(70, 98.5f)).phase, 0);
    BubblesParticle p = after(at(20, 10));
    EXPECT_EQ(p.phase, 1);
    EXPECT_GE(p.age, 80);
    EXPECT_LE(p.age, 99);
    EXPECT_EQ(p.age, std::floor(p.age));
    p.age = 85.25f;
    EXPECT_EQ(after(p).age, 85.25f) << "bursting bubbles do not burst again";
    bubbles.BurstProbability.value = 0;
    EXPECT_EQ(after(at(20, 10)).phase, 0);
    bubbles.BurstProbability.value = 100, bubbles.Congregate.value = true;
    EXPECT_EQ(after(at(20, 10)).phase, 1);
    EXPECT_EQ(after(at(-1, 99)).phase, 0) << "gathering, only those on the matte burst";
}

// One bubble at rest that bursts at its birth: a spray that fades and does not jump about.
TEST(Bubbles, DropletsStayWhereTheyAre) {
    Shot<Bubbles> shot(0);
    Bubbles& bubbles = shot.effect;
    calm(bubbles);
    bubbles.BlackBG.value = bubbles.UseBirthMatte.value = bubbles.BubblesBurst.value = true;
    bubbles.GrowthMode.value = Bubbles::Assorted, bubbles.emitter.density.value = 1;
    bubbles.emitter.left.x = bubbles.emitter.right.x = 0.3, bubbles.emitter.left.y = bubbles.emitter.right.y = 0.5;
    bubbles.BurstProbability.value = 100, bubbles.BurstExtent.value = 10, bubbles.Afterlife.value = 60;
    bubbles.birth.image = halves(), bubbles.burst_clip.image = halves();
    const ImagePtr first = shot.render(0);
    image_clear(bubbles.birth.image.get());
    const ImagePtr second = shot.render(1), third = shot.render(2);
    int droplets = 0;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 96; ++x) {
            droplets += alpha(first.get(), x, y) > 0;
            EXPECT_EQ(alpha(second.get(), x, y) > 0, alpha(first.get(), x, y) > 0) << x << ' ' << y;
            EXPECT_EQ(alpha(third.get(), x, y) > 0, alpha(first.get(), x, y) > 0) << x << ' ' << y;
        }
    EXPECT_GT(droplets, 20);
}

}  // namespace
