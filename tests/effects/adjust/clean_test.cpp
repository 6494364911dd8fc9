// Clean: which window each channel's median gets, and the lock between the radii.
#include "effects/adjust/Clean.h"

#include <gtest/gtest.h>

#include "imagelib/imagelib_median.h"
#include "support/effect_shot.h"
#include "support/recording_host.h"

namespace {

struct Cleaner : EffectShot<Clean> {
    Cleaner() : EffectShot(noise(50, 40)) {
        for (int i = 0; i < 5; ++i) effect.pairs[i].x.value = 2 + i, effect.pairs[i].y.value = 7 - i;
    }
    // The result is the source's medians with these windows.
    void expect(const MedianRadii (&radii)[4]) {
        const ImagePtr wanted(image_clone_layout(source.get()));
        ASSERT_TRUE(image_window_median(source.get(), wanted.get(), radii));
        EXPECT_TRUE(same_pixels(&render(), wanted.get()));
    }
};

TEST(Clean, EachChannelHasTheWindowOfItsRadii) {
    Cleaner cleaner;
    cleaner.expect({{2, 2}, {2, 2}, {2, 2}, {2, 2}});
    cleaner.effect.DoSync.value = false;
    cleaner.expect({{2, 7}, {2, 7}, {2, 7}, {2, 7}});
    cleaner.effect.DoRGB.value = true;
    cleaner.expect({{3, 6}, {4, 5}, {5, 4}, {6, 3}});
    cleaner.effect.DoSync.value = true;
    cleaner.expect({{3, 3}, {4, 4}, {5, 5}, {6, 6}});
}

TEST(Clean, ALockedRadiusFollowsInTheHost) {
    support::RecordingHost host;
    support::TestEffect& effect = host.effect("Q_Clean");
    effect.connect("Input", support::noiseImage(support::layoutOf(64, 48), 3));
    effect.set("XRad", 7);
    const std::vector<float> square = effect.render();
    effect.set("DoSync", false);
    EXPECT_EQ(effect.render(), square);  // Y became 7
    effect.set("XRad", 9);
    effect.set("YRad", 9);
    const std::vector<float> large = effect.render();
    effect.set("YRad", 2);
    EXPECT_NE(effect.render(), large);
    effect.set("DoSync", true);
    EXPECT_EQ(effect.render(), large);
    effect.setSilently("YRad", 1);  // a host that does not tell
    EXPECT_EQ(effect.render(), large);
    EXPECT_EQ(host.faults(), "");
}

}  // namespace
