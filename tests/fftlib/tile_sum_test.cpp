// FFTTileSum against the blurs that it stands for.
#include <gtest/gtest.h>

#include <vector>

#include "fftlib/fftlib.h"
#include "imagelib/imagelib_blur.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

std::vector<float> gains_of(int size, float radius) {
    std::vector<float> gains;
    for (int k = 0; k <= size / 2; ++k) gains.push_back(float(image_wrap_blur_gain(radius, size, k)));
    return gains;
}

float* numbers(const ImagePtr& image) { return image_row<float>(image.get(), 0); }

TEST(TileSum, IsTheSumOfWrappedBlurs) {
    for (const int size : {1, 2, 3, 33, 96, 101, 134})
        for (const float radius : {0.004F, 0.5F, 2.0F, 7.3F, 80.0F}) {
            const ImagePtr first = noise_image(size, size, 1, SAMPLE_F32, 1, -1.0F);
            const ImagePtr second = noise_image(size, size, 1, SAMPLE_F32, 2, -1.0F);
            FFTTileSum sum(size);
            const auto blurred_sum = [&] {
                ImagePtr result(image_clone_layout(first.get()));
                EXPECT_TRUE(sum.add(numbers(first), gains_of(size, radius)));
                EXPECT_TRUE(sum.add(numbers(second), gains_of(size, 1.25F)));
                EXPECT_TRUE(sum.take(numbers(result)));
                return result;
            };
            const ImagePtr result = same_bits_everywhere(blurred_sum);
            ASSERT_TRUE(image_wrap_blur(first.get(), radius, radius, 1) &&
                        image_wrap_blur(second.get(), 1.25F, 1.25F, 1));
            for (int i = 0; i < size * size; ++i) numbers(first)[i] += numbers(second)[i];
            EXPECT_LT(difference(*first, *result), 3e-6) << size << ", radius " << radius;
        }
}

TEST(TileSum, LeavesWavesWithoutAGainOutAndRefusesTooMany) {
    const ImagePtr picture = noise_image(40, 40, 1, SAMPLE_F32);
    FFTTileSum sum(40);
    const float mean_only[] = {1.0F};
    ASSERT_TRUE(sum.add(numbers(picture), mean_only));
    const ImagePtr result(image_clone_layout(picture.get()));
    ASSERT_TRUE(sum.take(numbers(result)));
    double mean = 0;
    for (int i = 0; i < 1600; ++i) mean += numbers(picture)[i] / 1600.0;
    for (int i = 0; i < 1600; ++i) ASSERT_NEAR(numbers(result)[i], mean, 1e-6);
    EXPECT_FALSE(sum.add(numbers(picture), std::vector<float>(22)));
    EXPECT_FALSE(FFTTileSum(0).add(numbers(picture), mean_only));
}

}  // namespace
