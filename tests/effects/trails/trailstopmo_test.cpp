// TrailStopMo in a host: which frames stand where, and what of them.
#include "effects/trails/TrailStopMo.h"

#include <gtest/gtest.h>

#include <set>

#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

using support::imageOf;
using support::layoutOf;
using support::TestEffect;

constexpr int WIDTH = 160, HEIGHT = 8, FIRST = 100;

// A white column that moves by three pixels a frame, over grey.
support::ImagePtr frameOf(int frame) {
    return imageOf(layoutOf(WIDTH, HEIGHT),
                   [frame](int x, int, int c) { return c == 3 || x == 3 * frame ? 1.0F : 0.2F; });
}

class StopMo : public testing::Test {
  protected:
    StopMo() {
        host.project.width = WIDTH, host.project.height = HEIGHT;
        host.project.firstFrame = FIRST, host.project.lastFrame = FIRST + 50;
    }
    TestEffect& effect() {
        TestEffect& trail = host.effect("Q_TrailStopMo");
        trail.connect(
            "Input", [](double time) { return frameOf(int(time) - FIRST); }, FIRST, FIRST + 50);
        trail.choose("Key", "Difference");
        trail.choose("Mode", "Over");
        trail.set("Opacity", 100), trail.set("Fade", 0.0);
        trail.connect(
            "Bck", [](double) { return frameOf(-1); }, FIRST, FIRST + 50);
        return trail;
    }
    // Frames whose column is seen.
    static std::set<int> seen(TestEffect& trail, int frame) {
        const std::vector<float> pixels = trail.render(FIRST + frame);
        std::set<int> frames;
        for (int x = 0; x < WIDTH; ++x)
            if (pixels[std::size_t(4 * x)] > 0.3F) frames.insert(x / 3);
        return frames;
    }
    support::RecordingHost host;
};

TEST_F(StopMo, ShowsFramesAStepApart) {
    TestEffect& trail = effect();
    trail.set("Copies", 3), trail.set("Step", 5);
    using Frames = std::set<int>;
    EXPECT_EQ(seen(trail, 12), (Frames{0, 5, 10, 12}));
    EXPECT_EQ(seen(trail, 14), (Frames{0, 5, 10, 14})) << "held copies stand";
    EXPECT_EQ(seen(trail, 20), (Frames{10, 15, 20}));
    EXPECT_EQ(seen(trail, 3), (Frames{0, 3})) << "there is nothing before the first frame";
    trail.set("Hold", 0.0);
    EXPECT_EQ(seen(trail, 12), (Frames{2, 7, 12}));
    trail.choose("Direction", "Ahead");
    EXPECT_EQ(seen(trail, 12), (Frames{12, 17, 22, 27}));
    trail.choose("Direction", "Both");
    EXPECT_EQ(seen(trail, 12), (Frames{2, 7, 12, 17}));
    trail.choose("Live", "Hidden");
    EXPECT_EQ(seen(trail, 12), (Frames{2, 7, 17}));
    EXPECT_TRUE(trail.imagesBalanced());
}

TEST_F(StopMo, ShiftsWhatIsKeyedAndNothingElse) {
    TestEffect& trail = effect();
    trail.set("Copies", 2), trail.set("Step", 5), trail.set("ShiftX", 18.75);  // ten frames' way
    EXPECT_EQ(seen(trail, 22), (std::set<int>{15 + 10, 20, 22}));
}

TEST_F(StopMo, TakesTheMeanOfWholeFrames) {
    TestEffect& trail = effect();
    trail.connect(
        "Input",
        [](double time) {
            return imageOf(layoutOf(WIDTH, HEIGHT),
                           [=](int, int, int c) { return c == 3 ? 1.0F : float(time - FIRST) / 32; });
        },
        FIRST, FIRST + 50);
    trail.choose("Key", "Whole Frame");
    trail.choose("Mode", "Average");
    trail.set("Hold", 0.0), trail.set("Copies", 4), trail.set("Step", 2);
    EXPECT_NEAR(trail.render(FIRST + 20)[0], (12 + 14 + 16 + 18 + 20) / 5.0 / 32, 1e-6);
}

TEST(StopMoShot, IsTheSameEverywhere) {
    EffectShot<TrailStopMo> shot(noise(61, 17, 3, -0.2F, 1.6F));
    shot.effect.background.image = noise(61, 17, 4);
    shot.effect.UseMatte.value = true;
    shot.effect.HueShift.value = 40, shot.effect.Soften.value = 1, shot.effect.TintAmount.value = 30;
    shot.effect.Hold.value = true;
    for (int mode = 1; mode <= 6; ++mode)
        for (int key = 1; key <= 4; ++key) {
            shot.effect.Mode.value = mode, shot.effect.Key.value = key;
            same_bits_everywhere([&] { return shot.copy(10); });
        }
}

}  // namespace
