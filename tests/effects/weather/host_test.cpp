// Weather in a host: animated parameters, presets and changes by hand reach the clock.
#include <gtest/gtest.h>

#include "support/recording_host.h"

namespace {

using namespace support;

class WeatherInAHost : public testing::Test {
  protected:
    TestEffect& effect(const char* name) {
        TestEffect& made = m_host.effect(name);
        made.connect("Input", gradientImage(layoutOf(64, 48)));
        return made;
    }
    static std::vector<float> last(TestEffect& effect, int frames) {
        std::vector<float> picture;
        for (int frame = 0; frame <= frames; ++frame) picture = effect.render(frame);
        return picture;
    }
    RecordingHost m_host;
};

TEST_F(WeatherInAHost, AnimationIsReplayed) {
    for (const int pre_roll : {0, 4}) {
        const auto animated = [&](bool replayed) -> TestEffect& {
            TestEffect& snow = effect("Q_Snow");
            snow.setKeys("Density", {{0.0, 20.0}, {12.0, 300.0}});
            snow.setKeys("GravAngle", {{0.0, 270.0}, {12.0, 200.0}});
            snow.set("PreRoll", pre_roll);
            snow.set("WithAnimation", replayed ? 1.0 : 0.0);
            return snow;
        };
        const std::vector<float> in_order = last(animated(true), 12);
        EXPECT_EQ(animated(true).render(12), in_order);
        EXPECT_NE(animated(false).render(12), in_order) << "without, all frames are those of the current parameters";
        // In order the parameters are those of each frame, replayed or not.
        if (pre_roll == 0) {
            EXPECT_EQ(last(animated(false), 12), in_order);
        }
    }
    EXPECT_EQ(m_host.faults(), "");
}

// A render leaves the controls as they are at its own time.
TEST_F(WeatherInAHost, DrawingReadsTheCurrentFrame) {
    TestEffect& faded = effect("Q_Rain");
    faded.setKeys("Opacity", {{0.0, 100.0}, {10.0, 0.0}});
    faded.set("WithAnimation", 1.0);
    TestEffect& plain = effect("Q_Rain");
    plain.set("Opacity", 0.0);
    EXPECT_EQ(faded.render(10), plain.render(10));
    EXPECT_NE(faded.render(5), plain.render(5));
}

// An edit in the past of a switch, of which the frames near the present show nothing.
TEST_F(WeatherInAHost, AnEarlierKeyOfASwitchIsSeen) {
    const auto snow = [&](double early) -> TestEffect& {
        TestEffect& made = effect("Q_Snow");
        made.setKeys("DoTurbulence", {{0.0, early}, {4.0, 1.0}});
        made.set("WithAnimation", 1.0);
        return made;
    };
    TestEffect& edited = snow(1.0);
    last(edited, 10);
    edited.setKeys("DoTurbulence", {{0.0, 0.0}});
    edited.instance().instanceChanged(ofx::type::Parameter, "DoTurbulence", ofx::change::UserEdited);
    EXPECT_EQ(edited.render(11), snow(0.0).render(11));
}

// While the pre-roll shrinks by half a frame a frame, every second frame follows the last one in the simulation.
TEST_F(WeatherInAHost, AJumpOverAMovingPreRollIsTheFrameAlone) {
    const auto snow = [&]() -> TestEffect& {
        TestEffect& made = effect("Q_Snow");
        made.setKeys("PreRoll", {{0.0, 30}, {20.0, 20}});
        made.setKeys("Density", {{-30.0, 300.0}, {0.0, 20.0}});
        made.set("WithAnimation", 1.0);
        return made;
    };
    TestEffect& jumping = snow();
    jumping.render(2);
    EXPECT_EQ(jumping.render(4), snow().render(4));
}

// The noise is that of the first frame's seed, from wherever the frames are entered.
TEST_F(WeatherInAHost, AnAnimatedSeedIsReplayed) {
    const auto bubbles = [&]() -> TestEffect& {
        TestEffect& made = effect("Q_Bubbles");
        made.setKeys("Seed", {{0.0, 10.0}, {14.0, 900.0}});
        made.set("WithAnimation", 1.0);
        return made;
    };
    TestEffect& ordered = bubbles();
    const std::vector<float> in_order = last(ordered, 14);
    EXPECT_EQ(bubbles().render(14), in_order);
    ordered.render(6);
    EXPECT_EQ(ordered.render(14), in_order);
}

TEST_F(WeatherInAHost, PresetsAndChangesBeginAnew) {
    for (const auto& [name, preset] : {std::pair("Q_Snow", "Blizzard"), std::pair("Q_Bubbles", "Flurry")}) {
        TestEffect &made = effect(name), &alone = effect(name);
        const std::vector<float> before = last(made, 6);
        made.choose("Demos", preset);
        const std::vector<float> chosen = made.render(7);
        EXPECT_NE(chosen, before);
        alone.choose("Demos", preset);
        EXPECT_EQ(alone.render(7), chosen);

        made.set("SwirlAmp", 3.0);
        alone.set("SwirlAmp", 3.0);
        alone.render(0);
        EXPECT_EQ(made.render(8), alone.render(8));
    }
    EXPECT_EQ(m_host.faults(), "");
}

}  // namespace
