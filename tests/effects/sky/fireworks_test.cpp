// Fireworks: strokes are exact, stars fly as integrated in small steps, shows are read from tempo and triggers alone.
#include "effects/sky/Fireworks.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<Fireworks>;

ImagePtr drawn(const std::vector<LightStroke>& strokes, int width, int height, float row_height = 1.0F) {
    const int pitch = width + LIGHT_ROOM;
    std::vector<float> planes[3];
    for (auto& plane : planes) plane.assign(static_cast<std::size_t>(pitch * height), 0.0F);
    std::vector<std::uint32_t> order;
    for (std::size_t i = 0; i < strokes.size(); ++i) order.push_back(static_cast<std::uint32_t>(i));
    firework_kernels().strokes(
        {{planes[0].data(), planes[1].data(), planes[2].data()}, width, pitch, 0, height - 1, row_height},
        strokes.data(), order.data(), static_cast<int>(order.size()));
    return picture(width, height, [&](int x, int y, int c) {
        return c == 3 ? 0.0F : planes[c][static_cast<std::size_t>(y * pitch + x)];
    });
}
double sum(const K7Image& image, int channel) {
    double total = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) total += double(at(image, x, y, channel));
    return total;
}

TEST(Fireworks, StrokesKeepTheirLightAndJoinSeamlessly) {
    at_every_level([] {
        const LightStroke spot{31.3F, 20.7F, 31.3F, 20.7F, 2.5F, {8.0F, 4.0F, 2.0F}};
        EXPECT_NEAR(sum(*drawn({spot}, 64, 40), 0), 8.0, 0.1);
        // Twice as many rows for the same height see twice the light.
        EXPECT_NEAR(sum(*drawn({spot}, 64, 80, 0.5F), 2), 4.0, 0.05);
        for (const auto& [bx, by] : {std::pair{50.0F, 33.0F}, {12.0F, 36.5F}, {50.0F, 10.0F}, {12.0F, 4.0F}}) {
            const LightStroke whole{12.0F, 10.0F, bx, by, 2.2F, {9.0F, 9.0F, 9.0F}};
            LightStroke first = whole, second = whole;
            first.bx = second.ax = 12.0F + 0.3F * (bx - 12.0F), first.by = second.ay = 10.0F + 0.3F * (by - 10.0F);
            for (float& light : first.light) light *= 0.3F;
            for (float& light : second.light) light *= 0.7F;
            const ImagePtr one = drawn({whole}, 64, 40);
            EXPECT_NEAR(sum(*one, 1), 9.0, 0.1);
            EXPECT_LT(difference(*one, *drawn({first, second}, 64, 40)), 2e-4);
        }
    });
}

// The heads of a peony under strong gravity, wind and drag, against steps of a millisecond.
TEST(Fireworks, StarsFlyUnderGravityAndDrag) {
    FireworkLook look;
    look.radius = 200, look.wind = 40, look.gravity = 2, look.ragged = 0, look.rockets = look.trails = look.flash = 0;
    FireworkPlan plan;
    FireworkLaunch launch = launch_to(plan, look, 5, 0.0, {500, 400});
    launch.shell = Shell::Palm;
    const auto heads = [&](double age) {
        FireworkLight light;
        light_of(launch, look, launch.burst + age, light);
        return light.strokes;
    };
    const double small = 0.02, later = 1.2;
    const auto early = heads(small), late = heads(later);
    ASSERT_EQ(early.size(), 15U);
    ASSERT_EQ(late.size(), early.size());
    for (std::size_t i = 0; i < early.size(); ++i) {
        // From the first stroke's two ends the speed at birth, with a drag of 1.5 and 0.24 * 1.1 radii of gravity.
        double x = 500, y = 400, vx = (double(early[i].bx) - 500) / (small - 0.5 * 1.5 * small * small),
               vy = (double(early[i].by) - 400) / (small - 0.5 * 1.5 * small * small);
        for (int step = 0; step < 1200; ++step) {
            vx += 0.001 * 1.5 * (40 - vx), vy += 0.001 * (-1.5 * vy - 2 * 0.24 * 1.1 * 200);
            x += 0.001 * vx, y += 0.001 * vy;
        }
        EXPECT_NEAR(late[i].bx, x, 2.5) << i;
        EXPECT_NEAR(late[i].by, y, 2.5) << i;
    }
}

// More tempo adds shells and moves none; what has been lit stays when it changes later.
TEST(Fireworks, TempoThinsOneShow) {
    FireworkLook look;
    FireworkPlan plan;
    plan.first_frame = -100000, plan.last_frame = 100000;
    const auto lifts = [&](auto tempo) {
        std::vector<FireworkLaunch> launches;
        add_show(plan, look, tempo, 0.0, 100.0, launches);
        std::vector<double> times;
        for (const FireworkLaunch& launch : launches) times.push_back(launch.lift);
        return times;
    };
    const auto slow = lifts([](int) { return 1.0; }), fast = lifts([](int) { return 4.0; });
    EXPECT_NEAR(double(slow.size()), 100.0, 3.0);
    EXPECT_NEAR(double(fast.size()), 400.0, 4.0);
    EXPECT_TRUE(std::includes(fast.begin(), fast.end(), slow.begin(), slow.end()));
    for (std::size_t i = 1; i < slow.size(); ++i) EXPECT_LT(slow[i] - slow[i - 1], 2.2);  // no pause
    const auto rising = lifts([](int frame) { return frame < 1250 ? 1.0 : 4.0; });
    const auto changed = std::find_if(rising.begin(), rising.end(), [](double t) { return t >= 50.0; });
    ASSERT_GT(changed - rising.begin(), 40);
    EXPECT_TRUE(std::equal(rising.begin(), changed, slow.begin()));
}

TEST(Fireworks, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(noise(160, 90, 3, 0.0F, 0.3F));
    shot.effect.GroundLight.value = 100;
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(140); });
        EXPECT_GT(difference(*late, *shot.source), 0.1);
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(140)));
    }
}

TEST(Fireworks, LightIsScreenedOntoTheBackground) {
    Shot shot(flat(320, 180, 0.4F, 0.1F, 0.1F, 0.5F));
    shot.effect.GroundLight.value = 200;
    const ImagePtr lit = shot.copy(60);
    shot.effect.BlackBG.value = true;
    const ImagePtr alone = shot.copy(60);
    bool ground = false;
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320; ++x) {
            const float most = std::max({at(*alone, x, y, 0), at(*alone, x, y, 1), at(*alone, x, y, 2)});
            ASSERT_FLOAT_EQ(at(*alone, x, y, 3), most);
            ASSERT_LE(most, 1.0F);
            ASSERT_NEAR(at(*lit, x, y, 3), 0.5F + 0.5F * most, 1e-5);
            const float screened = 0.4F + 0.6F * at(*alone, x, y, 0);
            ASSERT_GE(at(*lit, x, y, 0), screened - 1e-5F);
            if (y > 90)
                ASSERT_NEAR(at(*lit, x, y, 0), screened, 1e-5) << x << ", " << y;
            else
                ground |= at(*lit, x, y, 0) > screened + 0.02F;
        }
    EXPECT_TRUE(ground);
}

TEST(Fireworks, NothingBeforeItsFirstFrameAndWithoutTriggers) {
    Shot shot(noise(80, 45, 4));
    shot.effect.StartAt.value = 10;
    EXPECT_TRUE(shot.shows_source(9));
    EXPECT_FALSE(shot.shows_source(80));
    shot.effect.Show.value = FireworksInfo::ByTriggers;
    EXPECT_TRUE(shot.shows_source(80));
}

// Triggers and tempo are read from their curves: also those of frames to come.
TEST(Fireworks, FollowsKeys) {
    support::RecordingHost host;
    host.project.width = 160, host.project.height = 90;
    support::TestEffect& effect = host.effect("Q_Fireworks", ofx::context::Generator);
    const auto light = [&](double time) {
        double total = 0;
        for (const float sample : effect.render(time)) total += double(sample);
        return total;
    };
    effect.choose("Show", "By Triggers");
    effect.set("Trigger", 5.0);
    EXPECT_EQ(light(40), 0.0);  // it stands high and does not rise
    effect.setKeys("Trigger", {{39.0, 0.0}, {40.0, 2.0}});
    EXPECT_EQ(light(0), 0.0);
    EXPECT_GT(light(10), 0.0);  // rockets on their way, to burst in time
    EXPECT_GT(light(40), 20 * light(39));
    effect.choose("TriggerIs", "Lift-Off");
    EXPECT_EQ(light(39), 0.0);
    EXPECT_GT(light(78), 20 * light(60));
    effect.choose("Show", "By Seed");
    effect.setKeys("Tempo", {{0.0, 0.0}, {1000.0, 0.0}, {1001.0, 3.0}});
    EXPECT_EQ(light(1000), 0.0);
    EXPECT_GT(light(1100), 0.0);
}

TEST(Fireworks, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls()) {
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
                if (auto* place = dynamic_cast<PositionControlK7*>(control)) place->x = place->y = value;
                if (auto* box = dynamic_cast<CheckboxControlK7*>(control)) box->value = box != &shot.effect.BlackBG;
            }
            // Few shells, but all of them at their limits
            shot.effect.Tempo.value = 0.7;
            shot.effect.StarCount.value = 30;
            shot.effect.Brightness.value = std::max(value, 100.0);
            shot.effect.Gravity.value = shot.effect.Wind.value = value;
            const K7Image& shown = shot.render(2000);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) ASSERT_TRUE(std::isfinite(at(shown, x, y)));
        }
}

}  // namespace
