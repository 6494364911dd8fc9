// Smoke: where it rises to, how it comes and goes, and the layer of its points.
#include "effects/weather/Smoke.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/weather/weather_support.h"
#include "imagelib/imagelib_blur.h"

namespace {

using namespace weather_test;

// Points at rest on a line, alone in the picture.
struct Calm : Shot<Smoke> {
    explicit Calm(int width = 400, int height = 40) : Shot(0, width, height) {
        effect.BlackBG.value = true;
        effect.turbulence.on.value = effect.friction.on.value = false;
        effect.emitter.spread.value = 0, effect.PointBlur.value = 0;
        effect.emitter.left.x = 0.02, effect.emitter.right.x = 0.98;
        effect.emitter.lifetime.value = 800;
    }
};

// On black and without blur a frame is the layer itself; softened and laid over the plate it is the other frame.
TEST(Smoke, PointsAreALayerSoftenedAndLaidOver) {
    for (const double scale : {1.0, 2.0}) {
        const auto render = [&](double blur, bool black, const K7Image* plate) {
            Shot<Smoke> shot(0);
            shot.source->unit_scale = static_cast<float>(scale);
            if (plate) shot.source.reset(image_duplicate(plate));
            shot.effect.start.preRoll.value = 30;
            shot.effect.PointBlur.value = blur, shot.effect.BlackBG.value = black;
            return shot.render(2);
        };
        const ImagePtr plate = std::move(Shot<Smoke>(0).source);
        plate->unit_scale = static_cast<float>(scale);
        const ImagePtr layer = render(0, true, nullptr);
        constexpr int ALL = 15;
        ASSERT_TRUE(image_gaussian_blur(layer.get(), float(3 / scale), float(3 / scale), ALL));
        const ImagePtr result = render(3, false, plate.get());
        double changed = 0;
        for (int y = 0; y < plate->height; ++y)
            for (int i = 0; i < 4 * plate->width; ++i) {
                const float below = image_row<float>(plate.get(), y)[i];
                const float over = image_row<float>(layer.get(), y)[i] + (1 - alpha(layer.get(), i / 4, y)) * below;
                ASSERT_NEAR(image_row<float>(result.get(), y)[i], over, 1e-5) << i << ' ' << y;
                changed = std::max(changed, std::fabs(double(over) - below));
            }
        EXPECT_GT(changed, 0.05);
    }
}

TEST(Smoke, HeatRisesAgainstGravitysArrow) {
    const auto centre = [](double degrees, double heat, bool gravity) {
        Calm shot(200, 200);
        Smoke& smoke = shot.effect;
        smoke.emitter.left.x = smoke.emitter.right.x = 0.5;
        smoke.gravity.angle.value = degrees, smoke.InitialHeat.value = heat;
        smoke.gravity.on.value = gravity, smoke.gravity.strength.value = 0;
        const ImagePtr image = shot.render(20);
        double sum = 0, x = 0, y = 0;
        for (int j = 0; j < 200; ++j)
            for (int i = 0; i < 200; ++i) {
                sum += alpha(image.get(), i, j);
                x += i * alpha(image.get(), i, j), y += j * alpha(image.get(), i, j);
            }
        return std::pair(x / sum - 100, y / sum - 100);
    };
    for (const bool gravity : {false, true}) {
        EXPECT_GT(centre(270, 100, gravity).second, 15);
        EXPECT_NEAR(centre(270, 100, gravity).first, 0, 1);
        EXPECT_LT(centre(90, 100, gravity).second, -15);
        EXPECT_LT(centre(0, 100, gravity).first, -15);
        EXPECT_LT(centre(270, -100, gravity).second, -15);
        EXPECT_NEAR(centre(270, 0, gravity).second, 0, 1);
    }
}

// Evenly from none to all of the density, less up to a tenth of it; out of sight there are none.
TEST(Smoke, IsBornInGustsWhereItIsSeen) {
    Calm shot, elsewhere;
    shot.effect.emitter.density.value = 100;
    for (int frame = 0; frame < 40; ++frame) shot.render(frame);
    EXPECT_NEAR(shot.effect.liveParticles(), 40 * 45, 600);
    elsewhere.effect.UseBirthMatte.value = true;
    elsewhere.effect.emitter.left.y = elsewhere.effect.emitter.right.y = 1.5;
    elsewhere.render(3);
    EXPECT_EQ(elsewhere.effect.liveParticles(), 0);
}

TEST(Smoke, AloneOnBlackTheSourceIsClearedToo) {
    Shot<Smoke> shot(0);
    shot.effect.BlackBG.value = true, shot.effect.start.at.value = 9;
    const ImagePtr image = shot.render(3);
    const ImagePtr nothing = flat(96, 64, 0.0f);
    EXPECT_TRUE(same_pixels(image.get(), nothing.get()));
    EXPECT_TRUE(same_pixels(shot.effect.input.image.get(), nothing.get()));
}

}  // namespace
