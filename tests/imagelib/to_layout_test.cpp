// Conversions that change the size, the channels and the sample type at once.
#include <gtest/gtest.h>

#include "imagelib/imagelib.h"
#include "imagelib/imagelib_resample.h"
#include "support/images.h"

namespace {

TEST(ToLayout, ChangesSizeChannelsAndTypeTogether) {
    const ImagePtr matte = make_image(40, 30, 1, SAMPLE_U8);
    image_fill(matte.get(), 255.0f);
    constexpr double TABLE_STEP = 1.0 / 512.0;  // what the two weights of an axis may add up to beside 1
    for (int mode : {0, 1, 3}) {
        const ImagePtr picture = make_image(17, 61, 4, SAMPLE_F32);
        ASSERT_TRUE(image_to_layout(matte.get(), picture.get(), true, KERNEL_TRIANGLE, mode));
        for (int channel = 0; channel < 4; ++channel)
            EXPECT_NEAR(image_get_sample(picture.get(), 9, 33, channel), channel > 0 && mode == 0 ? 0.0f : 1.0f,
                        2.5 * TABLE_STEP)
                << "mode " << mode << " channel " << channel;
    }
}

TEST(ToLayout, OnlyASizeIsAScaleThatKeepsNegativeFloats) {
    const ImagePtr source = noise_image(33, 21, 4, SAMPLE_F32, 5, -2.0f, 2.0f);
    const ImagePtr result = make_image(50, 40, 4, SAMPLE_F32), scaled = make_image(50, 40, 4, SAMPLE_F32);
    ASSERT_TRUE(image_to_layout(source.get(), result.get()));
    ASSERT_TRUE(image_scale(source.get(), scaled.get(), KERNEL_BSPLINE, false));
    EXPECT_TRUE(same_pixels(result.get(), scaled.get()));
    image_compute_minmax(result.get());
    EXPECT_LT(result->min_value, -0.2f);
}

TEST(ToLayout, RefusesWhatIsNotThere) {
    const ImagePtr image = make_image(4, 4, 4, SAMPLE_F32);
    EXPECT_FALSE(image_to_layout(nullptr, image.get()));
    EXPECT_FALSE(image_to_layout(image.get(), nullptr));
}

}  // namespace
