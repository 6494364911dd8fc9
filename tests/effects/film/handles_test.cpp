// The film kit in a host: handles in the viewer, greyed controls, and a render from end to end.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/core/interact.h"
#include "support/recording_host.h"

namespace {

using support::Depth;
using support::RecordingHost;
using support::TestEffect;

double number(TestEffect& effect, const char* name, std::size_t i = 0) { return effect.param(name).value().numbers[i]; }

void drag(TestEffect& effect, OfxPointD from, OfxPointD to) {
    const auto viewer = ofxhost::Interact::create(effect.instance(), {});
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(viewer->penDown(from), ofx::status::OK);
    viewer->penMotion(to);
    viewer->penUp(to);
}

TEST(FilmKit, EdgesAndTheCoreAreDragged) {
    RecordingHost host;
    host.project.width = 200, host.project.height = 100;
    TestEffect& edge = host.effect("Q_EdgeLeak");
    drag(edge, {100, 25}, {150, 90});
    drag(edge, {80, 50}, {-20, 50});
    EXPECT_DOUBLE_EQ(number(edge, "RedXE"), 0.75);
    EXPECT_DOUBLE_EQ(number(edge, "YellowXE"), -0.1);
    EXPECT_DOUBLE_EQ(number(edge, "WhiteXE"), 0.3) << "not held";
    drag(edge, {60, 75}, {20, 75});
    EXPECT_DOUBLE_EQ(number(edge, "WhiteXE"), 0.1);

    TestEffect& light = host.effect("Q_LightLeak");
    drag(light, {80, 40}, {20, 90});
    EXPECT_DOUBLE_EQ(number(light, "CorePosB", 0), 0.1);
    EXPECT_DOUBLE_EQ(number(light, "CorePosB", 1), 0.9);
    EXPECT_EQ(host.faults(), "");
}

TEST(FilmKit, ControlsThatAreNotReadAreGreyed) {
    RecordingHost host;
    TestEffect& burn = host.effect("Q_Burn");
    using Names = std::initializer_list<const char*>;
    const auto count = [](TestEffect& effect, Names names, int enabled) {
        return std::ranges::count_if(names, [&](const char* name) {
            return effect.param(name).properties().getInt(ofx::prop::ParamEnabled) == enabled;
        });
    };
    const auto greyed = [&](TestEffect& effect, Names names) { return count(effect, names, 0) == std::ssize(names); };
    const auto open = [&](TestEffect& effect, Names names) { return count(effect, names, 1) == std::ssize(names); };
    EXPECT_TRUE(open(burn, {"Starts", "Duration", "Direction", "BurnTo", "Red", "Green", "Blue", "Colour"}));
    EXPECT_TRUE(greyed(burn, {"Tred", "Tgreen", "Tblue"}));
    burn.choose("FilmType", "Tinted");
    EXPECT_TRUE(greyed(burn, {"Red", "Green", "Blue", "Colour"}));
    EXPECT_TRUE(open(burn, {"Tred", "Tgreen", "Tblue", "Contrast", "Brightness"}));
    burn.choose("FilmType", "Black+White");
    EXPECT_TRUE(greyed(burn, {"Red", "Green", "Blue", "Colour", "Tred", "Tgreen", "Tblue"}));
    burn.set("Burn", 0.0);
    EXPECT_TRUE(greyed(burn, {"Starts", "Duration", "Direction", "BurnTo"}));

    TestEffect& light = host.effect("Q_LightLeak");
    EXPECT_TRUE(greyed(light, {"WobbleSizeB", "WobbleSpotB"}));
    light.set("AddRandB", 1.0);
    EXPECT_TRUE(open(light, {"WobbleSizeB", "WobbleSpotB"}));
}

TEST(FilmKit, RendersInAHost) {
    RecordingHost host;
    const auto source = support::gradientImage(support::layoutOf(64, 48, Depth::Byte));
    for (const char* name : {"Q_Burn", "Q_EdgeLeak", "Q_LightLeak"}) {
        TestEffect& effect = host.effect(name);
        effect.connect("Input", source);
        const std::vector<float> before = effect.render(3.0), during = effect.render(16.0),
                                 behind = effect.render(40.0);
        EXPECT_EQ(before, effect.render(3.0)) << name << ": no memory of other frames";
        EXPECT_EQ(before == during, std::string_view(name) == "Q_LightLeak") << name;
        EXPECT_EQ(behind == std::vector<float>(behind.size(), 1.0F), std::string_view(name) == "Q_Burn") << name;
    }
    EXPECT_EQ(host.faults(), "");
    // An abort leaves the render early and clean.
    TestEffect& aborted = host.effect("Q_LightLeak");
    aborted.connect("Input", source);
    host.abortAt(5);
    aborted.renderStatus(3.0);
    EXPECT_TRUE(aborted.imagesBalanced());
}

}  // namespace
