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

// With Animation on, a frame is the same however it is come to.
TEST_F(WeatherInAHost, AnimationIsReplayed) {
    using Keys = std::vector<std::pair<double, double>>;
    const struct {
        const char* effect;
        std::vector<std::pair<const char*, Keys>> keys;
        std::vector<int> before;
        int frame;
    } cases[] = {
        {"Q_Snow", {{"Density", {{0.0, 20.0}, {12.0, 300.0}}}, {"PreRoll", {{0.0, 4.0}}}}, {0, 1, 2, 3, 4, 5}, 6},
        {"Q_Snow", {{"GravAngle", {{0.0, 270.0}, {12.0, 200.0}}}}, {0, 1, 2, 9}, 6},
        // While the pre-roll shrinks by half a frame a frame, every second frame follows the last one there.
        {"Q_Snow", {{"PreRoll", {{0.0, 30.0}, {20.0, 20.0}}}, {"Density", {{-30.0, 300.0}, {0.0, 20.0}}}}, {2}, 4},
        // The noise is that of the first frame's seed, from wherever the frames are entered.
        {"Q_Bubbles", {{"Seed", {{0.0, 10.0}, {14.0, 900.0}}}}, {0, 1, 2, 12, 13}, 14},
        {"Q_Bubbles", {{"Seed", {{0.0, 10.0}, {14.0, 900.0}}}}, {14, 6}, 14},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.effect << " " << test.keys.front().first);
        const auto animated = [&](double replayed) -> TestEffect& {
            TestEffect& made = effect(test.effect);
            for (const auto& [name, keys] : test.keys)
                for (const auto& [time, value] : keys) made.param(name).setKey(time, value);
            made.set("WithAnimation", replayed);
            return made;
        };
        TestEffect& led = animated(1);
        for (const int frame : test.before) led.render(frame);
        const std::vector<float> picture = led.render(test.frame);
        EXPECT_EQ(animated(1).render(test.frame), picture);
        EXPECT_NE(animated(0).render(test.frame), picture) << "without, all frames are of the current parameters";
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
