// Kernel images: their sizes and shapes.
#include "imagelib/imagelib_kernels.h"

#include "pictures.h"

namespace {

// From the middle on.
float weight(const ImagePtr& kernel, int dx, int dy) {
    return image_get_sample(kernel.get(), kernel->width / 2 + dx, kernel->height / 2 + dy, 0);
}

void expect_symmetric(const ImagePtr& kernel) {
    const int reach = kernel->width / 2;
    ASSERT_EQ(kernel->height, kernel->width);
    for (int y = 0; y <= reach; ++y)
        for (int x = 0; x <= reach; ++x) {
            const float value = weight(kernel, x, y);
            ASSERT_TRUE(value >= 0.0f && value <= 1.0f);
            for (const float other : {weight(kernel, -x, y), weight(kernel, x, -y), weight(kernel, y, x)})
                ASSERT_EQ(value, other);
        }
}

TEST(KernelImages, Gaussian) {
    for (const float radius : {-ENDLESS, -1.0f, 0.0f, 0.5f, 3.0f, 7.2f}) {
        const ImagePtr kernel(image_make_gaussian_kernel(radius));
        const double r = std::max(radius, 0.01f), s = r / 3.0;
        ASSERT_EQ(kernel->width, 2 * static_cast<int>(std::ceil(r)) + 3);
        expect_symmetric(kernel);
        const int reach = kernel->width / 2;
        for (int y = 0; y <= reach; ++y)
            for (int x = 0; x <= reach; ++x)
                ASSERT_NEAR(weight(kernel, x, y), std::exp(-(x * x + y * y) / (2.0 * s * s)), 1e-7);
    }
}

TEST(KernelImages, Star) {
    const ImagePtr star(image_make_star_kernel(4.0f, 0.00005f)), large(image_make_star_kernel(100.0f, 0.0f));
    for (const ImagePtr* kernel : {&star, &large}) expect_symmetric(*kernel);
    ASSERT_EQ(star->width, 9);
    // Size 4: exponent 2 + 3 / 35; the exponent stops at 7.5.
    EXPECT_NEAR(weight(star, 1, 1), 1.5 * std::pow(0.75 * 0.75, 2.0 + 3.0 / 35.0), 1e-6);
    EXPECT_EQ(weight(star, 1, 0), 1.0f) << "limited";
    EXPECT_NEAR(weight(star, 3, 0), 1.5 * std::pow(0.25, 2.0 + 3.0 / 35.0) + 0.25, 1e-6);
    EXPECT_EQ(weight(star, 4, 2), 0.0f);
    EXPECT_NEAR(weight(large, 20, 10), 1.5 * std::pow(0.8 * 0.9, 7.5), 1e-6);

    const ImagePtr upright(image_make_star_kernel(8.0f, 0.0f)), turned(image_make_star_kernel(8.0f, 45.0f)),
        quarter(image_make_star_kernel(8.0f, 90.0f));
    double light[2] = {};
    for (int y = -10; y <= 10; ++y)
        for (int x = -10; x <= 10; ++x) light[0] += weight(upright, x, y), light[1] += weight(turned, x, y);
    EXPECT_NEAR(light[1], light[0], 0.02 * light[0]);
    EXPECT_GT(weight(turned, 3, 3), 2.0f * weight(turned, 4, 0));  // the rays are on the diagonals now
    EXPECT_TRUE(same_pixels(quarter, upright));
}

}  // namespace
