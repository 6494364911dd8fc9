// TrailParticle in a host: where particles are born, what hides and feeds them, and that a frame is the same whatever
// came before.
#include "effects/trails/TrailParticle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

using support::imageOf;
using support::layoutOf;
using support::TestEffect;

constexpr int WIDTH = 192, HEIGHT = 108, FIRST = 100, SIZE = 14, STEP = 4, LATE = 22;
constexpr int BEHIND = 20 + STEP * LATE - 34;  // a place behind the disc, and within its trail

// A textured plate on which a dark disc moves to the right, the whole panned; grain of 1 %.
float plateAt(double x, double y, int c) {
    return static_cast<float>(0.25 + 0.08 * std::sin(x * 0.31 + c) + 0.08 * std::sin(y * 0.37 + 0.11 * x));
}
float sceneAt(int frame, int x, int y, int c, int pan = 0, bool disc = true) {
    if (c == 3) return 1.0F;
    const double px = x + pan * frame, dx = px - 20 - STEP * frame, dy = y - 54;
    const auto mixed = static_cast<unsigned>(frame * 7919 + y * 263 + x) * 2654435761U;
    const float grain = 0.01F * (static_cast<float>(mixed >> 16) / 32768.0F - 1.0F);
    if (!disc || dx * dx + dy * dy > SIZE * SIZE) return plateAt(px, y, c) + grain;
    return static_cast<float>(0.1 + 0.04 * std::sin(dx * 0.9) + 0.04 * std::sin(dy * 0.8 + dx * 0.3)) + grain;
}
support::ImagePtr sceneOf(int frame, int pan = 0, bool disc = true) {
    return imageOf(layoutOf(WIDTH, HEIGHT), [=](int x, int y, int c) { return sceneAt(frame, x, y, c, pan, disc); });
}

class ParticleTrail : public testing::Test {
  protected:
    ParticleTrail() {
        host.project.width = WIDTH, host.project.height = HEIGHT;
        host.project.firstFrame = FIRST, host.project.lastFrame = FIRST + 40;
    }
    TestEffect& effect(int pan = 0, bool disc = true) {
        TestEffect& trail = host.effect("Q_TrailParticle");
        trail.connect(
            "Input", [=](double time) { return sceneOf(int(time) - FIRST, pan, disc); }, FIRST, FIRST + 40);
        trail.set("Rate", 300.0), trail.set("Lifetime", 14), trail.set("Size", 12.0), trail.set("Inherit", 0.0);
        trail.set("Gravity", 0.0), trail.set("Swirl", 0.0), trail.set("FadeOut", 0.0), trail.set("Speed", 0.0);
        trail.set("Scatter", 0.0), trail.set("LifeVar", 0.0);
        return trail;
    }
    static std::vector<float> render(TestEffect& trail, int frame) { return trail.render(FIRST + frame); }
    // How much brighter the picture is than the shot around a place.
    static float left(const std::vector<float>& pixels, int x, int y, int frame = LATE, int pan = 0) {
        float sum = 0;
        for (int j = y - 3; j <= y + 3; ++j)
            for (int i = x - 3; i <= x + 3; ++i)
                sum += pixels[std::size_t(4 * (j * WIDTH + i))] - sceneAt(frame, i, j, 0, pan);
        return sum / 49;
    }
    support::RecordingHost host;
};

constexpr float SEEN = 0.1F, NOTHING = 0.02F;

TEST_F(ParticleTrail, LiesWhereThingsWereAndNowhereElse) {
    TestEffect& trail = effect();
    const std::vector<float> pixels = render(trail, LATE);
    EXPECT_GT(left(pixels, BEHIND, 54), SEEN);
    for (const auto& [x, y] : {std::pair(20 + STEP * (LATE - 14) - 24, 54), {BEHIND, 20}, {BEHIND, 90}, {170, 54}})
        EXPECT_LT(left(pixels, x, y), NOTHING) << x << " " << y;
    EXPECT_TRUE(trail.imagesBalanced());
    EXPECT_GT(left(render(effect(), 2), 8, 54, 2), SEEN) << "lead in";
    EXPECT_EQ(host.faults(), "");

    const std::vector<float> still = render(effect(0, false), LATE);
    for (int i = 0; i < 4 * WIDTH * HEIGHT; ++i)
        ASSERT_EQ(still[std::size_t(i)], sceneAt(LATE, i / 4 % WIDTH, i / 4 / WIDTH, i % 4, 0, false)) << "grain";
}

TEST_F(ParticleTrail, StaysInTheSceneWhenTheCameraPans) {
    constexpr int PAN = 2;
    const int there = BEHIND - PAN * LATE;  // in the picture
    TestEffect& trail = effect(PAN);
    const std::vector<float> followed = render(trail, LATE);
    EXPECT_GT(left(followed, there, 54, LATE, PAN), SEEN);
    EXPECT_LT(left(followed, there, 20, LATE, PAN), NOTHING);
    trail.set("FollowCamera", 0.0);
    EXPECT_GT(left(render(trail, LATE), there, 20, LATE, PAN), NOTHING) << "then the plate leaves particles too";
}

TEST_F(ParticleTrail, ObeysEveryClip) {
    const auto half = [](bool upper) {
        return imageOf(layoutOf(WIDTH, HEIGHT), [=](int, int y, int) { return (y >= 54) == upper ? 1.0F : 0.0F; });
    };
    TestEffect& masked = effect();
    masked.connect("Matte", half(true));
    EXPECT_GT(left(render(masked, LATE), BEHIND, 61), SEEN);
    EXPECT_LT(left(render(masked, LATE), BEHIND, 45), NOTHING);
    TestEffect& hidden = effect();
    hidden.connect("ObscureClip", half(true));
    EXPECT_NEAR(left(render(hidden, LATE), BEHIND, 60), 0, 1e-5);
    EXPECT_GT(left(render(hidden, LATE), BEHIND, 46), SEEN);

    TestEffect& behind = effect();
    const int middle = 20 + STEP * LATE;
    behind.set("InFront", 100.0);
    EXPECT_LT(left(render(behind, LATE), middle, 54), 0.3F * left(render(effect(), LATE), middle, 54));

    TestEffect& elsewhere = effect();
    elsewhere.connect("Bck", imageOf(layoutOf(WIDTH, HEIGHT), [](int, int, int) { return 0.5F; }));
    const auto at = [](const std::vector<float>& pixels, int x, int c = 0) {
        return pixels[std::size_t(4 * (54 * WIDTH + x) + c)];
    };
    EXPECT_EQ(at(render(elsewhere, LATE), 8), 0.5F);
    EXPECT_GT(at(render(elsewhere, LATE), BEHIND), 0.55F);
    elsewhere.set("OwnColours", 1.0), elsewhere.set("ColourChange", 0.0), elsewhere.choose("Blend", "Over");
    EXPECT_LT(at(render(elsewhere, LATE), BEHIND), 0.4F) << "the disc's own dark";

    TestEffect& pictures = effect();
    pictures.choose("Look", "Particle Image");
    const std::vector<float> blobs = render(pictures, LATE);
    pictures.connect("Input6", imageOf(layoutOf(WIDTH, HEIGHT), [](int, int, int c) { return c % 2 ? 1.0F : 0.0F; }));
    EXPECT_GT(at(blobs, BEHIND), at(render(pictures, LATE), BEHIND) + 0.05F) << "green only";
    EXPECT_EQ(host.faults(), "");
}

// Alone, in order, backwards, after other controls, and after the clip has changed behind its back.
TEST_F(ParticleTrail, IsTheSameWhateverWasRenderedBefore) {
    for (const char* preset : {"Stardust", "Sparks", "Pixel Wake"}) {
        const auto set = [&](TestEffect& trail) -> TestEffect& {
            trail.choose("Demos", preset);
            trail.set("Lifetime", 14);
            return trail;
        };
        const std::vector<float> alone = render(set(effect()), LATE);
        TestEffect& ordered = set(effect());
        for (const int frame : {0, 1, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21}) render(ordered, frame);
        EXPECT_EQ(render(ordered, LATE), alone) << preset;
        render(ordered, LATE + 3), render(ordered, 40), render(ordered, 12);
        EXPECT_EQ(render(ordered, LATE), alone) << preset;
        ordered.set("SpeedLow", 1.5);
        render(ordered, LATE);
        ordered.set("SpeedLow", 0.2);
        EXPECT_EQ(render(ordered, LATE), alone) << preset;
        TestEffect& other = set(effect(3));
        for (int frame = 14; frame < LATE; ++frame) render(other, frame);
        other.connect(
            "Input", [=](double time) { return sceneOf(int(time) - FIRST); }, FIRST, FIRST + 40);
        EXPECT_EQ(render(other, LATE), alone) << preset;
    }
}

// Frames of its own without a host.
class Shot final : public TrailParticle {
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
    const K7Image* pictureOf(int frame) override { return frame < 0 ? nullptr : (m_frame = frameOf(frame)).get(); }
    ImagePtr m_frame;
};

struct TrailShot : EffectShot<Shot> {
    explicit TrailShot(int preset, float poison = 0.0F) : EffectShot(nullptr) {
        effect.poison = poison;
        source = effect.frameOf(12);
        choose_preset(preset);
        effect.Lifetime.value = 4;
    }
};

TEST(ParticleTrailShot, EveryPresetIsTheSameEverywhere) {
    for (int preset = 0; preset < TrailShot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        same_bits_everywhere([&] { return TrailShot(preset).copy(12); });
    }
}

TEST(ParticleTrailShot, BearsAnyValues) {
    for (const float poison : {std::numeric_limits<float>::infinity(), std::nanf(""), 65504.0F, -1e30F})
        EXPECT_NE(TrailShot(7, poison).copy(12), nullptr);
    for (const double value : {-1e12, 0.0, 1e12}) {
        TrailShot shot(0);
        for (ControlK7* control : shot.effect.controls()) {
            const double four[4] = {value, -value, value, 1};
            if (dynamic_cast<ListControlK7*>(control) || dynamic_cast<IntegerControlK7*>(control)) continue;
            set_control(*control, four);
        }
        const K7Image& image = shot.render(12);
        for (int y = 0; y < image.height; ++y)
            for (int i = 0; i < 4 * image.width; ++i) ASSERT_TRUE(std::isfinite(image_row<float>(&image, y)[i]));
    }
}

}  // namespace
