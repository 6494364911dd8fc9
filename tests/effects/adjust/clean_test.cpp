// Clean: which window each channel's median gets, alpha, and pictures that it leaves alone.
#include "effects/adjust/Clean.h"

#include <gtest/gtest.h>

#include "imagelib/imagelib_median.h"
#include "support/images.h"

namespace {

struct Cleaner {
    Clean effect;
    ImagePtr source = noise_image(50, 40, 4, SAMPLE_F32);
    Cleaner() {
        effect.input.image.reset(image_duplicate(source.get()));
        effect.output.image.reset(image_clone_layout(source.get()));
        for (int i = 0; i < 5; ++i) effect.pairs[i].x.value = 2 + i, effect.pairs[i].y.value = 7 - i;
    }
    // The result is the source's medians with these windows.
    void expect(const MedianRadii (&radii)[4]) {
        effect.ProcessFrame();
        const ImagePtr wanted(image_clone_layout(source.get()));
        ASSERT_TRUE(image_window_median(source.get(), wanted.get(), radii));
        EXPECT_TRUE(same_pixels(effect.output.image.get(), wanted.get()));
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

}  // namespace
