// Rain: puddles, condensing, and the light.
#include "effects/weather/Rain.h"

#include <gtest/gtest.h>

#include "effects/weather/weather_support.h"

namespace {

using namespace weather_test;

TEST(Rain, BouncesOnPuddles) {
    const auto upward = [](bool puddles, double damping, int bounces) {
        Shot<Rain> shot(0, 160, 160);
        Rain& rain = shot.effect;
        rain.BlackBG.value = true, rain.PuddleBounce.value = puddles, rain.PuddleDamping.value = damping;
        rain.Bounces.value = bounces, rain.InitialVelocity.value = -5, rain.emitter.density.value = 200;
        rain.bounce.image = matte(160, 160, 0, 0, 1, 0.3);
        return light_in(shot.render(60).get(), 0, 0, 1, 0.29);
    };
    const double through = upward(false, 80, 3);
    EXPECT_GT(through, 50);
    // A drop that bounces away is not in the puddle; with more bounces it stays above it.
    EXPECT_LT(upward(true, 200, 200), 0.8 * through);
    EXPECT_NE(upward(true, 80, 1), upward(true, 80, 20));
}

// A host that has no matte: drops bounce at the frame's bottom, and not wherever the background is bright.
TEST(Rain, BouncesAtTheBottomWithoutAMatte) {
    const auto lit = [](bool bounces, double low, double high) {
        const std::atomic<OfxImageClipHandle> nothing{nullptr};
        Shot<Rain> shot(0, 160, 160);
        Rain& rain = shot.effect;
        rain.bounce.wire(&nothing, nullptr);
        rain.BlackBG.value = true, rain.PuddleBounce.value = bounces, rain.PuddleDamping.value = 60;
        rain.InitialVelocity.value = -5, rain.emitter.density.value = 200;
        return light_in(shot.render(60).get(), 0, low, 1, high);
    };
    EXPECT_GT(lit(true, 0.5, 1), 0.5 * lit(false, 0.5, 1)) << "above the bottom, rain falls";
    EXPECT_GT(lit(true, 0, 0.1), 1.2 * lit(false, 0, 0.1));
}

// A matte that differs is other rain, so that states made with the first one are not used.
TEST(Rain, MattesTellTheClock) {
    const auto first = matte(64, 40, 0, 0, 0.5, 0.5), second = matte(64, 40, 0, 0, 0.5, 0.5);
    EXPECT_EQ(particles::matte_fingerprint(first.get()), particles::matte_fingerprint(second.get()));
    at(*second, 63, 39) = 0.001f;
    EXPECT_NE(particles::matte_fingerprint(first.get()), particles::matte_fingerprint(second.get()));
    at(*first, 20, 3, 1) = 0.7f;  // another channel
    const auto third = matte(64, 40, 0, 0, 0.5, 0.5);
    EXPECT_EQ(particles::matte_fingerprint(first.get()), particles::matte_fingerprint(third.get()));
    EXPECT_EQ(particles::matte_fingerprint(nullptr), 0u);
}

}  // namespace
