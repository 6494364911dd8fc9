// TrailLive in a host: where trails lie, what leaves and hides them, and that a frame is the same whatever came before.
#include "effects/trails/TrailLive.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

#include "effects/engines/motion/ClipMotion.h"
#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

using support::imageOf;
using support::layoutOf;
using support::TestEffect;

constexpr int WIDTH = 192, HEIGHT = 108, FIRST = 100, SIZE = 14, STEP = 5;

// A textured plate on which a speckled disc moves to the right, the whole panned.
float plateAt(double x, double y, int c) {
    return static_cast<float>(0.25 + 0.08 * std::sin(x * 0.31 + c) + 0.08 * std::sin(y * 0.37 + 0.11 * x));
}
float sceneAt(int frame, int x, int y, int c, int pan = 0) {
    if (c == 3) return 1.0F;
    const double px = x + pan * frame, dx = px - 20 - STEP * frame, dy = y - 54;
    if (dx * dx + dy * dy > SIZE * SIZE) return plateAt(px, y, c);
    return static_cast<float>(0.8 + 0.12 * std::sin(dx * 0.9) + 0.12 * std::sin(dy * 0.8 + dx * 0.3));
}
support::ImagePtr sceneOf(int frame, int pan = 0) {
    return imageOf(layoutOf(WIDTH, HEIGHT), [=](int x, int y, int c) { return sceneAt(frame, x, y, c, pan); });
}

class LiveTrail : public testing::Test {
  protected:
    LiveTrail() {
        host.project.width = WIDTH, host.project.height = HEIGHT;
        host.project.firstFrame = FIRST, host.project.lastFrame = FIRST + 40;
    }
    TestEffect& effect(int pan = 0) {
        TestEffect& trail = host.effect("Q_TrailLive");
        trail.connect(
            "Input", [=](double time) { return sceneOf(int(time) - FIRST, pan); }, FIRST, FIRST + 40);
        trail.set("Length", 8), trail.set("Fade", 0.0), trail.set("Opacity", 100.0);
        return trail;
    }
    static std::vector<float> render(TestEffect& trail, int frame) { return trail.render(FIRST + frame); }
    // How far the picture differs from the plate around a place.
    static float left(const std::vector<float>& pixels, int x, int y, int frame = 0, int pan = 0) {
        float sum = 0;
        for (int j = y - 2; j <= y + 2; ++j)
            for (int i = x - 2; i <= x + 2; ++i)
                sum += std::fabs(pixels[std::size_t(4 * (j * WIDTH + i))] - plateAt(i + pan * frame, j, 0));
        return sum / 25;
    }
    support::RecordingHost host;
};

constexpr float SEEN = 0.25F, NOTHING = 0.05F;
constexpr int LATE = 20, BEHIND = 20 + STEP * LATE - 30;  // a place behind the disc, and within the trail

TEST_F(LiveTrail, LiesWhereThingsWereAndNowhereElse) {
    for (const char* style : {"Smear", "Lines", "Echoes"}) {
        TestEffect& trail = effect();
        trail.choose("Style", style);
        trail.set("Spacing", 1), trail.set("LineSpacing", 1.0), trail.set("LineWidth", 2.0);
        trail.set("LineVariety", 0.0);
        const std::vector<float> pixels = render(trail, LATE);
        EXPECT_GT(left(pixels, BEHIND, 54), std::string(style) == "Lines" ? 0.1F : SEEN) << style;
        for (const auto& [x, y] : {std::pair(20 + STEP * LATE - 70, 54), {BEHIND, 20}, {BEHIND, 90}, {170, 54}})
            EXPECT_LT(left(pixels, x, y), NOTHING) << style << " " << x << " " << y;
        EXPECT_TRUE(trail.imagesBalanced());
    }
}

TEST_F(LiveTrail, StaysInTheSceneWhenTheCameraPans) {
    constexpr int PAN = 2;
    TestEffect& trail = effect(PAN);
    const int there = BEHIND - PAN * LATE;  // in the picture
    const auto followed = render(trail, LATE);
    EXPECT_GT(left(followed, there, 54, LATE, PAN), SEEN);
    EXPECT_LT(left(followed, there, 20, LATE, PAN), NOTHING);
    trail.set("FollowCamera", 0.0), trail.choose("Live", "Beneath");
    EXPECT_GT(left(render(trail, LATE), there, 20, LATE, PAN), 0.005F) << "then the plate smears too";
}

TEST_F(LiveTrail, ObeysEveryClip) {
    const auto half = [](bool upper) {
        return imageOf(layoutOf(WIDTH, HEIGHT), [=](int, int y, int) { return (y >= 54) == upper ? 1.0F : 0.0F; });
    };
    TestEffect& masked = effect();
    masked.connect("Matte", half(true));
    EXPECT_GT(left(render(masked, LATE), BEHIND, 60), SEEN);
    EXPECT_LT(left(render(masked, LATE), BEHIND, 46), NOTHING);
    TestEffect& hidden = effect();
    hidden.connect("ObscureClip", half(true));
    EXPECT_LT(left(render(hidden, LATE), BEHIND, 60), NOTHING);
    EXPECT_GT(left(render(hidden, LATE), BEHIND, 46), SEEN);

    TestEffect& elsewhere = effect();
    elsewhere.connect("Bck", imageOf(layoutOf(WIDTH, HEIGHT), [](int, int, int) { return 0.5F; }));
    const auto at = [](const std::vector<float>& pixels, int x) { return pixels[std::size_t(4 * (54 * WIDTH + x))]; };
    EXPECT_EQ(at(render(elsewhere, LATE), 20), 0.5F);
    EXPECT_GT(at(render(elsewhere, LATE), BEHIND), 0.6F);
    elsewhere.set("Opacity", 0.0);
    EXPECT_NEAR(at(render(elsewhere, LATE), 20 + STEP * LATE), sceneAt(LATE, 20 + STEP * LATE, 54, 0), 0.02F);
    elsewhere.choose("Live", "Hidden");
    EXPECT_EQ(at(render(elsewhere, LATE), 20 + STEP * LATE), 0.5F);
}

// Alone, in order, backwards, and after the clip has changed behind its back.
TEST_F(LiveTrail, IsTheSameWhateverWasRenderedBefore) {
    for (const char* style : {"Smear", "Lines", "Echoes"}) {
        const auto set = [&](TestEffect& trail) -> TestEffect& {
            trail.choose("Style", style);
            trail.set("Curl", 3.0), trail.set("Taper", 50.0), trail.set("Spread", 1.0), trail.set("DriftY", 0.5);
            return trail;
        };
        const std::vector<float> alone = render(set(effect()), LATE);
        TestEffect& ordered = set(effect());
        for (const int frame : {0, 1, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}) render(ordered, frame);
        EXPECT_EQ(render(ordered, LATE), alone) << style;
        render(ordered, LATE + 3), render(ordered, 40), render(ordered, 12);
        EXPECT_EQ(render(ordered, LATE), alone) << style;
        ordered.set("SpeedLow", 1.5);
        render(ordered, LATE);
        ordered.set("SpeedLow", 0.2);
        EXPECT_EQ(render(ordered, LATE), alone) << style;
        TestEffect& other = set(effect(3));
        for (int frame = 14; frame < LATE; ++frame) render(other, frame);
        other.connect(
            "Input", [=](double time) { return sceneOf(int(time) - FIRST); }, FIRST, FIRST + 40);
        EXPECT_EQ(render(other, LATE), alone) << style;
    }
}

// Frames of its own without a host.
class Shot final : public TrailLive {
  public:
    float poison = 0.0F;
    ImagePtr frameOf(int frame) const {
        ImagePtr image = make_image(WIDTH, HEIGHT, 4, SAMPLE_F32);
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x)
                for (int c = 0; c < 4; ++c)
                    at(*image, x, y, c) = sceneAt(frame, x, y, c) + (x == 30 + frame && c < 3 ? poison : 0.0F);
        return image;
    }

  private:
    const K7Image* pictureOf(int frame) override {
        if (frame < 0) return nullptr;
        ImagePtr& picture = m_frames[frame];
        if (!picture) picture = frameOf(frame);
        return picture.get();
    }
    std::map<int, ImagePtr> m_frames;
};

ImagePtr shot_of(int style, int mode, float poison = 0.0F) {
    EffectShot<Shot> shot(nullptr);
    shot.effect.poison = poison;
    shot.source = shot.effect.frameOf(12);
    shot.effect.Style.value = style, shot.effect.Mode.value = mode;
    shot.effect.Length.value = 4, shot.effect.Spacing.value = 2;
    shot.effect.Curl.value = 2, shot.effect.Spread.value = 1, shot.effect.Taper.value = 40;
    shot.effect.Glow.value = 30;
    return shot.copy(12);
}

TEST(LiveTrailShot, IsTheSameEverywhere) {
    for (const auto& [style, mode] : {std::pair(1, 1), {1, 3}, {2, 4}, {3, 5}})
        same_bits_everywhere([&] { return shot_of(style, mode); });
}

TEST(LiveTrailShot, BearsAnySamples) {
    for (const float poison : {std::numeric_limits<float>::infinity(), std::nanf(""), 65504.0F, -1e30F})
        for (int style = 1; style <= 3; ++style) EXPECT_NE(shot_of(style, 3, poison), nullptr);
}

// A lamp of four pixels jumps by four times its size.
TEST(ClipMotion, FollowsSmallThingsThatJump) {
    const auto lamp = [](int frame) {
        return picture(WIDTH, HEIGHT, [=](int x, int y, int c) {
            return c == 3                                                          ? 1.0F
                   : std::hypot(x - 40.0 - 16 * frame, y - 50.0 - 6 * frame) < 3.0 ? 1.5F
                                                                                   : plateAt(x, y, c);
        });
    };
    ClipMotion motion;
    const ImagePtr now = lamp(3);
    motion.begin(*now, 3);
    ImagePtr held;
    const FrameMotion* found = motion.at(3, [&](int frame) { return (held = lamp(frame)).get(); }, {});
    ASSERT_NE(found, nullptr);
    EXPECT_NEAR(at(*found->back, 88, 68, 0), -16, 1.5);
    EXPECT_NEAR(at(*found->back, 88, 68, 1), -6, 1.5);
    EXPECT_NEAR(at(*found->back, 20, 20, 0), 0, 0.3);
}

}  // namespace
