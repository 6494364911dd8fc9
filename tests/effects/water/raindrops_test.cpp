// RainDrops: its drops one by one against a slow model, what is seen through them, and how far it is replayed.
#include "effects/water/RainDrops.h"

#include <gtest/gtest.h>

#include "noiselib/mtrandom.h"
#include "sight_lines.h"
#include "support/same_bits.h"

namespace {

constexpr int WIDTH = 120, HEIGHT = 80;

struct Window : EffectShot<RainDrops> {
    explicit Window(ImagePtr shown = smooth_picture(WIDTH, HEIGHT)) : EffectShot(std::move(shown)) {
        RainDrops& e = effect;
        e.PreRoll.value = 3;
        e.Fecundity.value = 4, e.FecundVar.value = 2;
        e.InitialVelocity.value = 40;
        e.LumpRad.value = 9;
        e.GravChance.value = 50, e.GravWait.value = 2, e.GravBoost.value = 3;
        e.Gravity.value = 9;
        e.DoTurbulence.value = false;
        e.FadeOut.value = 90;
        e.MonoVar.value = 30;
    }
};

// The thickness of the water after the steps of all frames up to this one.
std::vector<double> water_of(const RainDrops& e, int frame) {
    struct Drop {
        double x, y, vx, vy, age, life, size, thickness, wait, boost;
        bool dribbles;
    };
    std::vector<double> water(std::size_t(WIDTH) * HEIGHT);
    std::vector<Drop> drops;
    MTRandom random(std::uint32_t(e.Seed.value));
    const auto u = [&] { return double(random.next_float()); };
    const int steps = e.InterFrame.value + 1;
    const double life = e.Lifetime.value * steps, step = 1.0 / steps, way = -1;  // down
    for (int f = e.StartAt.value; f <= frame + e.PreRoll.value; ++f) {
        for (double& thickness : water) thickness *= e.DoSteam.value ? 1 : e.FadeOut.value / 100;
        const int count = int(e.Fecundity.value + (2 * u() - 1) * e.FecundVar.value + 0.5);
        for (int i = 0; i < count; ++i) {
            Drop d{};
            double fade = 0;
            do {
                d.life = 1 + life + (2 * u() - 1) * e.LifetimeVar.value * life;
                fade = 1 + life + (2 * u() - 1) * e.LifetimeVar.value * life;
            } while (d.life <= 0 || fade <= 0);
            d.x = u() * WIDTH, d.y = u() * HEIGHT * 1.05, u();
            double speed = e.InitialVelocity.value / 100 * step;
            speed *= 1 + u();
            speed *= 1 + u() * e.VelMagVar.value / 100 * step;
            d.vy = way * speed;
            d.size = std::clamp(e.LumpRad.value * (1 + (2 * u() - 1) * e.LumpRadVar.value / 100), 2.0, 40.0);
            d.thickness = 0.5 + (2 * u() - 1) * e.MonoVar.value / 100;
            if (e.DoSteam.value) d.thickness = 1;
            d.dribbles = u() < e.GravChance.value / 100;
            d.boost = e.GravBoost.value * u();
            drops.push_back(d);
        }
        for (int s = 0; s < steps; ++s) {
            std::erase_if(drops, [](const Drop& d) { return d.life < d.age; });
            for (Drop& d : drops) {
                if (d.dribbles && d.age > e.GravWait.value * steps) {
                    d.vy +=
                        way * e.Gravity.value * step * step * d.boost * d.size / 40 - e.Friction.value * step * d.vy;
                    d.vx -= e.Friction.value * step * d.vx;
                }
                const double from_x = d.x, from_y = d.y, radius = std::max(2.0, std::round(d.size) / 2 + 0.5);
                d.x += d.vx, d.y += d.vy;
                d.age += 1;
                const double squared = d.vx * d.vx + d.vy * d.vy;
                for (int y = 0; y < HEIGHT; ++y)
                    for (int x = 0; x < WIDTH; ++x) {
                        const double along = ((x - from_x) * d.vx + (y - from_y) * d.vy) / std::max(squared, 1e-30);
                        const double t = std::clamp(along, 0.0, 1.0);
                        const double away = std::hypot(x - from_x - t * d.vx, y - from_y - t * d.vy) / radius;
                        const double dome = std::max(1 - away * away, 0.0);
                        double& here = water[std::size_t(y * WIDTH + x)];
                        here = std::max(here, d.thickness * dome * dome);
                    }
            }
        }
    }
    return water;
}

// Before a white wall, with a mist that is black, the picture is the water itself.
TEST(RainDrops, ClearTheSteamWhereTheyRan) {
    Window window(flat(WIDTH, HEIGHT, 1.0f));
    RainDrops& e = window.effect;
    e.DoSteam.value = true;
    e.Brightness.value = e.Lift.value = e.Mix.value = 0;
    const ImagePtr result = same_bits_everywhere([&] { return window.copy(12); });
    const std::vector<double> water = water_of(e, 12);
    double wettest = 0, sum = 0;
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            const double expected = water[std::size_t(y * WIDTH + x)];
            ASSERT_NEAR(at(*result, x, y, 1), expected, 2e-4) << x << ' ' << y;
            ASSERT_NEAR(at(*result, x, y, 3), 1, 1e-6);
            wettest = std::max(wettest, expected);
            sum += expected;
        }
    EXPECT_GT(wettest, 0.95);
    EXPECT_LT(sum, 0.8 * WIDTH * HEIGHT);

    e.StartAt.value = 20;  // the dry window before is misted all over
    EXPECT_EQ(difference(window.render(12), *flat(WIDTH, HEIGHT, 0, 0, 0)), 0);
    e.Lift.value = 30, e.Mix.value = 50;
    EXPECT_NEAR(at(window.render(12), 60, 40, 0), 0.65, 1e-6);
}

TEST(RainDrops, AreSeenThroughByTheLawOfRefraction) {
    Window window;
    RainDrops& e = window.effect;
    e.LightOn.value = true;
    e.LightBright.value = 50;
    const ImagePtr result = same_bits_everywhere([&] { return window.copy(7); });
    const std::vector<double> water = water_of(e, 7);
    const SightLines lines{WIDTH, HEIGHT, e.Distortion.value, false, [&](int x, int y) {
                               const double here = water[std::size_t(y * WIDTH + x)];
                               const double below = water[std::size_t(std::max(y - 1, 0) * WIDTH + x)];
                               return 0.1 + 0.02 * std::clamp((here + below) / 6, 0.0, 1.0);
                           }};
    const auto pyramid = pyramid_of(*window.source);
    for (int y = 1; y < HEIGHT - 1; y += 3)
        for (int x = 1; x < WIDTH - 1; x += 3)
            ASSERT_NEAR(at(*result, x, y, 0),
                        double(lines.seen(*pyramid, x, y)[0]) + 0.5 * lines.highlight(x, y, 0.75, 0.75, 0.5, 45), 3e-3)
                << x << ' ' << y;
    e.LightOn.value = false;
    EXPECT_GT(difference(window.render(7), *window.source), 0.1);
    e.Distortion.value = 1;
    EXPECT_TRUE(window.shows_source(7));
}

TEST(RainDrops, FramesAreTheSameInAnyOrder) {
    const auto make = [] {
        auto window = std::make_unique<Window>();
        window->effect.DoTurbulence.value = window->effect.UseBirthMatte.value = true;
        window->effect.birth.image =
            picture(WIDTH, HEIGHT, [](int x, int, int c) { return c == 0 && x < WIDTH / 2 ? 0.1f : 0.0f; });
        return window;
    };
    const auto forwards = make(), lone = make();
    std::vector<ImagePtr> frames;
    for (int frame = 0; frame < 20; ++frame) frames.push_back(forwards->copy(frame));
    for (const int frame : {19, 5, 5, 12})
        EXPECT_TRUE(same_pixels(&lone->render(frame), frames[std::size_t(frame)].get())) << frame;
    EXPECT_FALSE(same_pixels(frames[19].get(), frames[18].get()));
    lone->effect.Seed.value = 3;
    EXPECT_FALSE(same_pixels(&lone->render(12), frames[12].get()));
    lone->effect.Seed.value = 127;  // with the noise of that seed again
    EXPECT_TRUE(same_pixels(&lone->render(12), frames[12].get()));
}

// What lies within the limit is replayed; farther frames need those before them.
TEST(RainDrops, FarFramesAreReachedInOrderOnly) {
    const auto shows_message = [](const K7Image& image) {
        int paper = 0;
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) paper += at(image, x, y, 1) > 0.1f;
        return paper > 300;
    };
    // On pure red, where the message alone brings green.
    Window window(flat(WIDTH, HEIGHT, 1.0f, 0.0f, 0.0f));
    EXPECT_FALSE(shows_message(window.render(66)));
    Window far(flat(WIDTH, HEIGHT, 1.0f, 0.0f, 0.0f));
    EXPECT_TRUE(shows_message(far.render(67)));
    EXPECT_EQ(far.effect.liveDrops(), 0);
    for (int frame = 67; frame < 140; ++frame) ASSERT_FALSE(shows_message(window.render(frame))) << frame;
    EXPECT_FALSE(shows_message(window.render(137)));  // kept from the way
    window.effect.ButtonPressed(window.effect.ClearCache);
    EXPECT_TRUE(shows_message(window.render(138)));
    EXPECT_FALSE(shows_message(window.render(0)));

    far.effect.InterFrame.value = 0;
    EXPECT_FALSE(shows_message(far.render(200)));
    far.effect.Seed.value = 5;
    EXPECT_TRUE(shows_message(far.render(201)));
    far.effect.StartAt.value = 201;  // the first frame is always drawn
    EXPECT_FALSE(shows_message(far.render(201)));
}

}  // namespace
