// StarField: stars where the camera must see them, light that streaks keep, the way flown, the same bits in any order.
#include "effects/sky/StarField.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/sky/StarExposure.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<StarField>;

constexpr double DEGREE = M_PI / 180;

// Nothing but a cluster so small that it is one star.
void one_star(StarField& e, double heading, double pitch) {
    e.Stars.value = e.FarStars.value = 0;
    e.ClusterStars.value = 1, e.ClusterSize.value = 0.1, e.ClusterDistance.value = 100;
    e.ClusterHeading.value = heading, e.ClusterPitch.value = pitch;
    e.Glow.value = 0, e.Speed.value = 0, e.ShutterTime.value = 0, e.MagnitudeRange.value = 10;
    e.StarsOnly.value = true;
}

// What the picture's values stand for.
double light_of(float value) {
    const double share = double(value) * value;
    if (value == 0) return 0;
    double light = 0, low = 0, high = 1e4;
    for (int i = 0; i < 100; ++i) {
        light = 0.5 * (low + high);
        (1 - 1 / (1 + light * (1 + light * (0.5 + light / 6))) < share ? low : high) = light;
    }
    return light;
}

struct Spot {
    double x = 0, y = 0, light = 0;
};
Spot spot_of(const K7Image& image) {
    Spot spot;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const double light = light_of(at(image, x, y, 1));
            spot.x += (x + 0.5) * light, spot.y += (y + 0.5) * light, spot.light += light;
        }
    spot.x /= spot.light, spot.y /= spot.light;
    return spot;
}

TEST(StarField, ShowsAStarWhereTheCameraSeesIt) {
    Shot shot(flat(400, 300, 0));
    StarField& e = shot.effect;
    const double scale = 200 / std::tan(30 * DEGREE);
    for (const auto& [heading, pitch] : {std::pair{0.0, 0.0}, {12.0, 0.0}, {-20.0, 8.0}}) {
        one_star(e, heading, pitch);
        e.Heading.value = e.Pitch.value = e.Roll.value = 0;
        const double x = std::tan(heading * DEGREE), y = std::tan(pitch * DEGREE) / std::cos(heading * DEGREE);
        const Spot seen = spot_of(shot.render());
        EXPECT_NEAR(seen.x, 200 + scale * x, 0.5);
        EXPECT_NEAR(seen.y, 150 + scale * y, 0.5);
        // A camera that rolls clockwise sees it turn the other way; one that looks at it has it in the middle.
        e.Roll.value = 90;
        const Spot rolled = spot_of(shot.render());
        EXPECT_NEAR(rolled.x, 200 - scale * y, 0.5);
        EXPECT_NEAR(rolled.y, 150 + scale * x, 0.5);
        e.Roll.value = 33, e.Heading.value = heading, e.Pitch.value = pitch;
        const Spot middle = spot_of(shot.render());
        EXPECT_NEAR(middle.x, 200, 0.5);
        EXPECT_NEAR(middle.y, 150, 0.5);
    }
}

// A quarter of a turn about a pole in the picture's middle, counter-clockwise, and a flight past the star.
TEST(StarField, TurnsAndFlies) {
    Shot shot(flat(400, 300, 0));
    StarField& e = shot.effect;
    one_star(e, 10, 0);
    const double away = 200 / std::tan(30 * DEGREE) * std::tan(10 * DEGREE);
    e.TurnSpeed.value = 9;
    const Spot turned = spot_of(shot.render(10));
    EXPECT_NEAR(turned.x, 200, 0.5);
    EXPECT_NEAR(turned.y, 150 + away, 0.5);
    one_star(e, 0, 0);
    e.TurnSpeed.value = 0, e.SpeedX.value = 0.5, e.Speed.value = -1;
    const Spot flown = spot_of(shot.render(20));
    EXPECT_NEAR(flown.x, 200 - 200 / std::tan(30 * DEGREE) * 10 / 120, 0.5);
    EXPECT_NEAR(flown.y, 150, 0.5);
}

// The way is the sum of a speed that moves along its curve, whatever was asked before; a turn of the sky turns it too.
TEST(StarField, SumsTheWayFlown) {
    const auto faster = [](double frame) { return StarDrive{{0, 0, frame}, {0, 0, 0}, 90, 0, 0, 0, 0, 0}; };
    for (const double frame : {0.0, 40.0, -40.0, 17.0}) {
        EXPECT_NEAR(StarFlight(faster, frame, frame).at(frame).place[0], 0.5 * frame * frame, 1e-6);
        EXPECT_EQ(StarFlight(faster, -50, 90).at(frame).place[0], StarFlight(faster, frame, frame).at(frame).place[0]);
    }
    const auto round = [](double) { return StarDrive{{0, 0, 1}, {0, 0, 0}, 0, 0, 0, 3, 0, 90}; };
    const StarPose once = StarFlight(round, 0, 120).at(120);
    for (const double part : once.place) EXPECT_NEAR(part, 0, 1e-9);
    EXPECT_NEAR(once.forward[2], -1, 1e-9);
    EXPECT_NEAR(std::fabs(StarFlight(round, 0, 60).at(60).place[0]), 120 / M_PI, 0.05);
}

// With no compensation a streak has the light of the star, spread along its way, and it is as long as that.
TEST(StarField, StreaksKeepTheirLight) {
    Shot shot(flat(400, 300, 0));
    StarField& e = shot.effect;
    one_star(e, 0, 0);
    e.StreakLight.value = 0;
    const double still = spot_of(shot.render()).light;
    e.ShutterTime.value = 20, e.SpeedX.value = 1;  // 20 of 100 light years: 69 pixels
    const ImagePtr streak = shot.copy();
    EXPECT_NEAR(spot_of(*streak).light, still, 0.03 * still);
    double across = 0;
    for (int x = 0; x < 400; ++x) across += at(*streak, x, 150, 1) > 0.7F * at(*streak, 200, 150, 1);
    EXPECT_NEAR(across, 0.2 * 200 / std::tan(30 * DEGREE), 3);
    e.SpeedX.value = 0, e.TurnSpeed.value = 2, e.ClusterHeading.value = 15;  // along an arc
    EXPECT_NEAR(spot_of(shot.render()).light, still, 0.03 * still);
}

// Light is added to the background, never taken away; black space without it has honest alpha.
TEST(StarField, LaysLightOverTheBackground) {
    Shot shot(noise(160, 90, 3));
    StarField& e = shot.effect;
    e.Nebula.value = 80, e.Background.value = 100;
    const ImagePtr over = shot.copy(3);
    EXPECT_GT(difference(*over, *shot.source), 0.1);
    e.StarsOnly.value = true;
    const ImagePtr alone = shot.copy(3);
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x)
            for (int c = 0; c < 3; ++c) {
                ASSERT_GE(at(*over, x, y, c), at(*shot.source, x, y, c));
                ASSERT_LE(at(*alone, x, y, c), at(*alone, x, y, 3) + 1e-6F);
            }
    e.StarsOnly.value = false;
    e.Nebula.value = 0, e.Stars.value = e.FarStars.value = 0;
    EXPECT_TRUE(shot.shows_source(3));
}

// Near stars come in from the far side of the box without being seen to.
TEST(StarField, NothingPopsAsTheBoxRepeats) {
    Shot shot(flat(320, 180, 0));
    StarField& e = shot.effect;
    e.FarStars.value = 0, e.StarsOnly.value = true, e.ShutterTime.value = 0, e.BoxSize.value = 20;
    e.Brightness.value = 20, e.Speed.value = 1e-4;
    for (const int frame : {0, 1000, 12345})
        EXPECT_LT(difference(*shot.copy(frame), *shot.copy(frame + 1)), 0.05) << frame;
}

TEST(StarField, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(noise(161, 90, 4));
    for (int preset = 0; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        for (IntegerControlK7* count : {&shot.effect.Stars, &shot.effect.FarStars, &shot.effect.ClusterStars})
            count->value = std::min(count->value, 5000);
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(40); });
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(40)));
        EXPECT_GT(difference(*late, *shot.source), 0.1);
    }
}

TEST(StarField, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}, {64, 36}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            shot.effect.ClusterStars.value = 100, shot.effect.Spikes.value = 3;
            shot.effect.Stars.value = shot.effect.FarStars.value = 2000;
            for (const double frame : {-1e9, 7.0, 1e9}) {
                const K7Image& result = shot.render(frame);
                for (int y = 0; y < height; ++y)
                    for (int i = 0; i < 4 * width; ++i)
                        ASSERT_TRUE(std::isfinite(image_row<float>(&result, y)[i])) << value << ", " << frame;
            }
        }
}

}  // namespace
