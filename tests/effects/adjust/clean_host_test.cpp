// Clean in a host: which radii can be set, and the lock between them.
#include <gtest/gtest.h>

#include "support/recording_host.h"

namespace {

using support::RecordingHost;
using support::TestEffect;

struct CleanInHost : testing::Test {
    RecordingHost host;
    TestEffect& effect = host.effect("Q_Clean");
    bool open(const char* name) { return effect.param(name).properties().getInt(ofx::prop::ParamEnabled) == 1; }
    std::vector<float> render() { return effect.render(); }
    void SetUp() override { effect.connect("Input", support::noiseImage(support::layoutOf(64, 48), 3)); }
};

TEST_F(CleanInHost, RadiiThatAreNotReadAreGreyed) {
    for (const bool split : {false, true})
        for (const bool locked : {true, false}) {
            effect.set("DoRGB", split);
            effect.set("DoSync", locked);
            EXPECT_EQ(open("XRad"), !split);
            EXPECT_EQ(open("YRad"), !split && !locked);
            for (const char* x : {"XRadR", "XRadG", "XRadB", "XRadA"}) EXPECT_EQ(open(x), split) << x;
            for (const char* y : {"YRadR", "YRadG", "YRadB", "YRadA"}) EXPECT_EQ(open(y), split && !locked) << y;
        }
    EXPECT_EQ(host.faults(), "");
}

TEST_F(CleanInHost, ALockedRadiusFollows) {
    effect.set("XRad", 7);
    const std::vector<float> square = render();
    effect.set("DoSync", false);
    EXPECT_EQ(render(), square);  // Y became 7
    effect.set("XRad", 3);
    effect.set("YRad", 9);
    const std::vector<float> tall = render();
    effect.set("XRad", 9);
    const std::vector<float> large = render();
    EXPECT_NE(tall, large);
    effect.set("YRad", 2);
    effect.set("DoSync", true);
    EXPECT_EQ(render(), large);
    effect.setSilently("YRad", 1);  // a host that does not tell
    EXPECT_EQ(render(), large);
    EXPECT_EQ(host.faults(), "");
}

}  // namespace
