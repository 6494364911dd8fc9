// Bubbles and smoke in a host, where parameters are animated.
#include <gtest/gtest.h>

#include <vector>

#include "support/recording_host.h"

namespace {

using namespace support;

std::vector<float> last(TestEffect& effect, int frame) {
    std::vector<float> picture;
    for (int i = 0; i <= frame; ++i) picture = effect.render(i);
    return picture;
}

// The noise is that of the first frame's seed, from wherever the frames are entered.
TEST(BubblesInAHost, AnAnimatedSeedIsReplayed) {
    if (!RecordingHost::bundleAvailable()) GTEST_SKIP();
    RecordingHost host;
    const auto bubbles = [&]() -> TestEffect& {
        TestEffect& effect = host.effect("Q_Bubbles");
        effect.connect("Input", noiseImage(layoutOf(64, 48), 3));
        effect.setKeys("Seed", {{0.0, 10.0}, {14.0, 900.0}});
        effect.set("WithAnimation", 1.0);
        return effect;
    };
    TestEffect& ordered = bubbles();
    const std::vector<float> in_order = last(ordered, 14);
    EXPECT_EQ(bubbles().render(14), in_order);
    ordered.render(6);
    EXPECT_EQ(ordered.render(14), in_order);
    EXPECT_EQ(host.faults(), "");
}

TEST(BubblesInAHost, PresetsAreWrittenAndShown) {
    if (!RecordingHost::bundleAvailable()) GTEST_SKIP();
    RecordingHost host;
    for (const auto& [name, preset] : {std::pair("Q_Bubbles", "Flurry"), std::pair("Q_Smoke", "Chimney")}) {
        TestEffect& effect = host.effect(name);
        effect.connect("Input", noiseImage(layoutOf(64, 48), 3));
        const std::vector<float> before = effect.render(2);
        effect.choose("Demos", preset);
        const std::vector<float> chosen = effect.render(3);
        EXPECT_NE(chosen, before);
        TestEffect& alone = host.effect(name);
        alone.connect("Input", noiseImage(layoutOf(64, 48), 3));
        alone.choose("Demos", preset);
        EXPECT_EQ(alone.render(3), chosen);
    }
    EXPECT_EQ(host.faults(), "");
}

}  // namespace
