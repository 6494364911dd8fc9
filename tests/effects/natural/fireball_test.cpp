// FireBall: where the tail is, what hides and lights, and that any frame is one picture.
#include "effects/natural/FireBall.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<FireBall>;
using support::imageOf;
using support::layoutOf;
using support::TestEffect;

TEST(FirePath, GoesThroughFramesAndCountsGas) {
    const FirePath path(-40, 40, 0.01, [](int frame) {
        const double x = frame < 0 ? 0.0 : 0.02 * frame;
        return FireSource{x, 0.5, 0.05};
    });
    EXPECT_NEAR(path.at(10).x, 0.2, 1e-12);
    EXPECT_NEAR(path.at(10.5).x, 0.21, 1e-12);
    EXPECT_NEAR(path.at(10).vx, 0.02, 1e-12);
    EXPECT_EQ(path.at(0).along, 0);
    EXPECT_NEAR(path.at(-20).along, -20 * 0.01 / 0.05, 1e-9) << "a ball that stands sheds gas at its own pace";
    EXPECT_NEAR(path.at(20).along, 20 * std::hypot(0.02, 0.01) / 0.05, 1e-9);
}

// Places among rings, found by trying every moment.
TEST(FireGrid, GivesEachPlaceTheYoungestGasThatCoversIt) {
    const FirePath path(-60, 10, 0.002, [](int frame) {
        return FireSource{0.5 + 0.01 * frame, 0.3 + 0.0002 * frame * frame, 0.04};
    });
    const FireWind wind{0.001, 0, 0.002, 0.3, 8, 30, 1.5, 1.6, 0.5};
    const FireTrail trail(path, 0, wind);
    const SolidNoise noise(1);
    const FireGrid grid(trail, FireAir{0, 1, 0, 0, 0, 0.04F}, noise, 0.005F, 0, 1, 0, 0.6F);
    const FireGridView view = grid.view();
    const FireRingList& rings = trail.all;
    int inside = 0;
    for (int j = 0; j < view.height; j += 3)
        for (int i = 0; i < view.width; i += 3) {
            const float x = view.left + float(i) / view.cells_a_width, y = view.bottom + float(j) / view.cells_a_width;
            double youngest = 1e9, depth = -1e9;
            for (std::size_t k = 1; k < rings.x.size(); ++k)
                for (double t = 0; t <= 1; t += 0.01) {
                    const auto mix = [&](const std::vector<float>& v) { return v[k - 1] + t * (v[k] - v[k - 1]); };
                    const double r = mix(rings.radius);
                    const double here = 1 - std::hypot(x - mix(rings.x), y - mix(rings.y)) / r;
                    if (here >= 0) youngest = std::min(youngest, mix(rings.age));
                    depth = std::max(depth, here);
                }
            const float* cell = view.cells + (std::size_t(j) * std::size_t(view.width) + std::size_t(i)) * FIRE_FIELDS;
            EXPECT_NEAR(cell[FIRE_DEPTH], depth, 0.02 + 0.02 * std::fabs(depth));
            if (depth < 0.01) continue;
            ++inside;
            ASSERT_NEAR(cell[FIRE_AGE], youngest, 0.01) << x << ' ' << y;
            EXPECT_LT(std::hypot(cell[FIRE_NX], cell[FIRE_NY]), 1.001);
        }
    EXPECT_GT(inside, 200);
}

TEST(FireBall, IsTheSameEverywhereAndAtAnyTime) {
    Shot shot(noise(131, 77, 3, -0.2F, 1.6F));
    shot.effect.Embers.value = 20;
    for (const int mode : {FireBallInfo::Hide, FireBallInfo::Occlude}) {
        shot.effect.MatteMode.value = mode;
        const ImagePtr picture = same_bits_everywhere([&] { return shot.copy(22); });
        shot.copy(90), shot.copy(3);
        EXPECT_TRUE(same_pixels(shot.copy(22).get(), picture.get()));
        EXPECT_GT(difference(*shot.copy(23), *picture), 0.1);
    }
}

TEST(FireBall, ProxiesShowTheSameFire) {
    Shot whole(flat(640, 360, 0.0F)), proxy(flat(320, 180, 0.0F));
    proxy.source->unit_scale = 2.0F;
    for (Shot* shot : {&whole, &proxy})
        shot->effect.matte.image = flat(shot->source->width, shot->source->height, 1.0F);
    const K7Image &large = whole.render(20), &small = proxy.render(20);
    double sum = 0, light = 0;
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320; ++x) {
            const double four = at(large, 2 * x, 2 * y) + at(large, 2 * x + 1, 2 * y) + at(large, 2 * x, 2 * y + 1) +
                                at(large, 2 * x + 1, 2 * y + 1);
            sum += std::fabs(four / 4 - double(at(small, x, y))), light += four / 4;
        }
    EXPECT_GT(light / (320 * 180), 0.01);
    EXPECT_LT(sum, 0.06 * light);
}

TEST(FireBall, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}, {64, 36}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls()) {
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
                if (auto* place = dynamic_cast<PositionControlK7*>(control)) place->x = value, place->y = -value;
            }
            for (const int motion : {1, 2})
                for (const double frame : {-5.0, 11.0}) {
                    shot.effect.Motion.value = motion;
                    const K7Image& fire = shot.render(frame);
                    for (int x = 0; x < width; ++x)
                        for (int c = 0; c < 4; ++c) ASSERT_TRUE(std::isfinite(at(fire, x, 0, c)));
                }
        }
}

// ---- In a host ------------------------------------------------------------------------------------------------

constexpr int WIDTH = 320, HEIGHT = 180, FIRST = 100;

class FireBallInHost : public testing::Test {
  protected:
    FireBallInHost() {
        host.project.width = WIDTH, host.project.height = HEIGHT;
        host.project.firstFrame = FIRST, host.project.lastFrame = FIRST + 100;
    }
    TestEffect& effect() {
        TestEffect& ball = host.effect("Q_FireBall");
        ball.connect("Input", grey(0.1F));
        ball.choose("Motion", "Handle");
        ball.set("Embers", 0.0), ball.set("Smoke", 0.0), ball.set("Rise", 0.0), ball.set("Glow", 0.0);
        return ball;
    }
    static support::ImagePtr grey(float value) {
        return imageOf(layoutOf(WIDTH, HEIGHT), [=](int, int, int c) { return c == 3 ? 1.0F : value; });
    }
    static float red(const std::vector<float>& pixels, double x, double y, int c = 0) {
        return pixels[std::size_t(4 * (int(y * HEIGHT) * WIDTH + int(x * WIDTH)) + c)];
    }
    // The brightest within a twentieth of the width.
    static float near(const std::vector<float>& pixels, double x, double y) {
        float most = 0;
        for (double dx = -0.05; dx <= 0.05; dx += 0.01)
            for (double dy = -0.08; dy <= 0.08; dy += 0.01) most = std::max(most, red(pixels, x + dx, y + dy));
        return most;
    }
    support::RecordingHost host;
};

TEST_F(FireBallInHost, TailFollowsWhereTheHandleHasBeen) {
    TestEffect& ball = effect();
    ball.set("Momentum", 0.0), ball.set("Cooling", 0.0), ball.set("BreakUp", 0.0);
    ball.setKeys("Centre", {{FIRST, {0.2, 0.2}}, {FIRST + 15, {0.2, 0.8}}, {FIRST + 30, {0.8, 0.8}}});
    const std::vector<float> turned = ball.render(FIRST + 30);
    EXPECT_GT(near(turned, 0.8, 0.8), 0.9F) << "the ball";
    EXPECT_GT(near(turned, 0.5, 0.8), 0.4F) << "where it was 7 frames ago";
    EXPECT_GT(near(turned, 0.2, 0.5), 0.4F) << "before it turned";
    EXPECT_NEAR(near(turned, 0.5, 0.5), 0.1F, 0.01F) << "not on the straight line";
    EXPECT_NEAR(near(ball.render(FIRST), 0.2, 0.8), 0.1F, 0.01F) << "not before it is there";
    EXPECT_TRUE(ball.imagesBalanced());
    EXPECT_EQ(host.faults(), "");
}

TEST_F(FireBallInHost, MattesHideFireAndGlowOrFireAlone) {
    TestEffect& ball = effect();
    ball.set("Radius", 0.2), ball.set("Glow", 100.0);
    const std::vector<float> open = ball.render(FIRST);
    ball.connect("Matte",
                 imageOf(layoutOf(WIDTH, HEIGHT), [](int x, int, int) { return x < WIDTH / 2 ? 1.0F : 0.0F; }));
    const std::vector<float> hidden = ball.render(FIRST);
    ball.choose("MatteMode", "Occlude");
    const std::vector<float> occluded = ball.render(FIRST);
    EXPECT_EQ(red(hidden, 0.47, 0.5), red(open, 0.47, 0.5));
    EXPECT_EQ(red(occluded, 0.47, 0.5), red(open, 0.47, 0.5));
    EXPECT_GT(red(open, 0.53, 0.5), 0.9F);
    EXPECT_NEAR(red(hidden, 0.53, 0.5), 0.1F, 1e-6F);
    EXPECT_GT(red(occluded, 0.53, 0.5), 0.2F) << "the glow falls over what is in front";
    EXPECT_LT(red(occluded, 0.53, 0.5), red(open, 0.53, 0.5) - 0.1F);
}

TEST_F(FireBallInHost, WithoutABackgroundTheLightHasItsOpacity) {
    TestEffect& ball = host.effect("Q_FireBall", ofx::context::Generator);
    ball.choose("Motion", "Handle");
    const std::vector<float> alone = ball.render(FIRST);
    EXPECT_GT(red(alone, 0.5, 0.5, 3), 0.9F);
    EXPECT_GT(red(alone, 0.5, 0.5), 0.9F);
    EXPECT_EQ(red(alone, 0.02, 0.05, 3), 0.0F);
    for (std::size_t i = 0; i < alone.size(); i += 4) ASSERT_LE(alone[i], alone[i + 3] + 1e-3F) << "premultiplied";
}

}  // namespace
