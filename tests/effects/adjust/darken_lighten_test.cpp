// Darken and Lighten: which windows their sizes stand for, and which pixels they spare.
#include <gtest/gtest.h>

#include "effects/adjust/Darken.h"
#include "effects/adjust/Lighten.h"
#include "imagelib/imagelib_morphology.h"
#include "support/effect_shot.h"
#include "support/recording_host.h"

namespace {

template <class EffectClass>
struct DarkenLighten : testing::Test {
    static constexpr bool LIGHTEN = std::is_same_v<EffectClass, Lighten>;
    EffectShot<EffectClass> shot{noise(40, 20)};

    // The result is the source's extremes with these windows, spared on the far side of the threshold.
    void expect(float threshold, const WindowSize (&windows)[4]) {
        const ExtremeGate gate{threshold, !LIGHTEN};
        const ImagePtr wanted(image_clone_layout(shot.source.get()));
        ASSERT_TRUE(image_window_extreme(shot.source.get(), wanted.get(), LIGHTEN, windows, &gate));
        EXPECT_TRUE(same_pixels(&shot.render(), wanted.get()));
    }
    void expect(float threshold, WindowSize all) { expect(threshold, {all, all, all, all}); }
};
using Both = testing::Types<Darken, Lighten>;
TYPED_TEST_SUITE(DarkenLighten, Both);

TYPED_TEST(DarkenLighten, SizesStandForWindows) {
    TypeParam& effect = this->shot.effect;
    for (const auto& [cut, size, rows] : {std::tuple{20.0, 1, 1}, {0.0, 2, 3}, {50.0, 7, 13}, {100.0, 30, 59}}) {
        effect.CutOff.value = cut, effect.Rad.value = size;
        this->expect(float(cut * 0.01), {rows, rows, std::max(1, rows / 2)});
    }
    effect.CutOff.value = 50, effect.Rad.value = 8;
    image_set_unit_scale(this->shot.source.get(), 4);  // a quarter of the full size
    this->expect(0.5f, {3, 3, 1});
    image_set_unit_scale(this->shot.source.get(), 1);
    image_set_pixel_size(this->shot.source.get(), 2, 1, 2);  // a column is as wide as two rows are high
    this->expect(0.5f, {15, 7, 7});
    effect.channels.split.value = true;
    effect.channels.red.value = 1, effect.channels.green.value = 2, effect.channels.blue.value = 9;
    effect.channels.alpha.value = 30;
    this->expect(0.5f, {{1, 1, 1}, {3, 1, 1}, {17, 8, 8}, {59, 29, 29}});
}

TEST(Lighten, GammaLiftsThePicture) {
    support::RecordingHost host;
    support::TestEffect& effect = host.effect("Q_Lighten");
    effect.setSilently("CutOff", 0.0);
    effect.connect("Input", support::constantImage(support::layoutOf(64, 48), 0.25f, 0.25f, 0.25f));
    EXPECT_EQ(effect.render()[0], 0.25f);
    effect.setSilently("Gamma", 2.0);
    EXPECT_NEAR(effect.render()[0], 0.5f, 1e-5);
}

}  // namespace
