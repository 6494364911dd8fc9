// Kernel images: their sizes and shapes.
#include "imagelib/imagelib_kernels.h"

#include <cmath>

#include <gtest/gtest.h>

namespace {

float at(const ImagePtr& image, int dx, int dy) {
    return image_get_sample(image.get(), image->width / 2 + dx, image->height / 2 + dy, 0);
}

void expect_symmetric(const ImagePtr& image) {
    const int reach = image->width / 2;
    for (int y = 0; y <= reach; ++y) {
        for (int x = 0; x <= reach; ++x) {
            const float value = at(image, x, y);
            ASSERT_TRUE(value >= 0.0f && value <= 1.0f);
            ASSERT_EQ(value, at(image, -x, y));
            ASSERT_EQ(value, at(image, x, -y));
            ASSERT_EQ(value, at(image, y, x));
        }
    }
}

TEST(KernelImages, Gaussian) {
    for (const float radius : {-1.0f, 0.0f, 0.5f, 3.0f, 7.2f}) {
        const ImagePtr kernel(image_make_gaussian_kernel(radius));
        const double r = std::max(radius, 0.01f), s = r / 3.0;
        ASSERT_TRUE(kernel);
        ASSERT_EQ(kernel->width, 2 * static_cast<int>(std::ceil(r)) + 3);
        ASSERT_EQ(kernel->height, kernel->width);
        EXPECT_TRUE(kernel->channels == 1 && kernel->sample_type == SAMPLE_F32);
        expect_symmetric(kernel);
        const int reach = kernel->width / 2;
        for (int y = 0; y <= reach; ++y)
            for (int x = 0; x <= reach; ++x)
                ASSERT_NEAR(at(kernel, x, y), std::exp(-(x * x + y * y) / (2.0 * s * s)), 1e-7);
    }
}

TEST(KernelImages, Star) {
    const ImagePtr small(image_make_star_kernel(0.0f, 0.0f));
    ASSERT_EQ(small->width, 3);
    EXPECT_EQ(at(small, 0, 0), 1.0f);
    EXPECT_EQ(at(small, 1, 0), 0.0f);

    // Size 4: exponent 2 + 3 / 35.
    const ImagePtr star(image_make_star_kernel(4.0f, 0.00005f));
    ASSERT_EQ(star->width, 9);
    expect_symmetric(star);
    EXPECT_EQ(at(star, 0, 0), 1.0f);
    EXPECT_NEAR(at(star, 1, 1), 1.5 * std::pow(0.75 * 0.75, 2.0 + 3.0 / 35.0), 1e-6);
    EXPECT_EQ(at(star, 1, 0), 1.0f) << "limited";
    EXPECT_NEAR(at(star, 3, 0), 1.5 * std::pow(0.25, 2.0 + 3.0 / 35.0) + 0.25, 1e-6);
    EXPECT_EQ(at(star, 4, 2), 0.0f);

    // The exponent stops at 7.5.
    const ImagePtr large(image_make_star_kernel(100.0f, 0.0f));
    EXPECT_NEAR(at(large, 20, 10), 1.5 * std::pow(0.8 * 0.9, 7.5), 1e-6);
    expect_symmetric(large);
}

TEST(KernelImages, TurnedStarsKeepTheirCentreAndLightAndLookTheSameAfterAQuarter) {
    const auto sum = [](const ImagePtr& image) {
        double total = 0.0;
        for (int y = 0; y < image->height; ++y)
            for (int x = 0; x < image->width; ++x) total += image_get_sample(image.get(), x, y, 0);
        return total;
    };
    const ImagePtr upright(image_make_star_kernel(8.0f, 0.0f)), turned(image_make_star_kernel(8.0f, 45.0f)),
        quarter(image_make_star_kernel(8.0f, 90.0f));
    EXPECT_NEAR(sum(turned), sum(upright), 0.02 * sum(upright));
    EXPECT_GT(at(turned, 3, 3), 2.0f * at(turned, 4, 0));  // the rays are on the diagonals now
    for (int y = -8; y <= 8; ++y)
        for (int x = -8; x <= 8; ++x) EXPECT_EQ(at(quarter, x, y), at(upright, x, y));
}

TEST(KernelImages, Refusals) {
    for (const float size : {NAN, HUGE_VALF, 1e6f}) {
        EXPECT_EQ(image_make_gaussian_kernel(size), nullptr);
        EXPECT_EQ(image_make_star_kernel(size, 0.0f), nullptr);
    }
    EXPECT_EQ(image_make_star_kernel(3.0f, NAN), nullptr);
    const ImagePtr from_minus_infinity(image_make_gaussian_kernel(-HUGE_VALF));
    EXPECT_EQ(from_minus_infinity->width, 5);
}

}  // namespace
