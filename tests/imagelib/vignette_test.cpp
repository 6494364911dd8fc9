// The vignette against its definition, at every width past a vector and on every processor.
#include "imagelib/imagelib_vignette.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

double factor(const VignetteShape& v, int x, int y) {
    const double dx = std::fabs(x + 0.5 - double(v.centre_x)) - double(v.offset);
    const double d = std::hypot(dx, (y + 0.5 - double(v.centre_y)) * double(v.row_height));
    const double part = v.radius > 0 ? std::fmin(d / double(v.radius), 1) : 1;
    return std::fmin((1 - part) * double(v.slope), 1);
}

TEST(Vignette, DarkensByTheDistanceFromTheNearerCircle) {
    const VignetteShape cases[] = {
        {20, 15, 0, 14, 4, 1}, {13, 4, 6, 9, 1, 0.5f}, {-3, 40, 2, 60, 19, 2}, {20, 15, 0, 0, 4, 1}};
    for (const VignetteShape& v : cases)
        for (const int width : {1, 3, 4, 16, 17, 45}) {
            const ImagePtr source = noise_image(width, 31, 4, SAMPLE_F32, 3, -0.2f, 1.5f);
            image_row<float>(source.get(), 9)[0] = std::numeric_limits<float>::quiet_NaN();
            ImagePtr first;
            for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512})
                for (const int threads : {1, 3}) {
                    set_cpu_level_limit(level);
                    const RowThreads rows(threads);
                    ImagePtr result(image_duplicate(source.get()));
                    ASSERT_TRUE(image_vignette(result.get(), v));
                    if (!first)
                        first = std::move(result);
                    else
                        EXPECT_TRUE(same_pixels(first.get(), result.get())) << int(level) << ", " << threads;
                }
            set_cpu_level_limit(CpuLevel::avx512);
            for (int y = 0; y < 31; ++y)
                for (int i = 0; i < 4 * width; ++i) {
                    const float before = image_row<float>(source.get(), y)[i],
                                after = image_row<float>(first.get(), y)[i];
                    const double dark =
                        std::isnan(before) ? 0 : std::clamp(double(before) * factor(v, i / 4, y), 0.0, 1.0);
                    if (i % 4 == 3)
                        ASSERT_EQ(after, before);
                    else
                        ASSERT_NEAR(after, dark, 4e-6) << i / 4 << ", " << y;
                }
        }
}

TEST(Vignette, TakesFloatColourOnlyAndEndsWhenAsked) {
    const ImagePtr image = noise_image(8, 8, 4, SAMPLE_F32), copy(image_duplicate(image.get()));
    EXPECT_FALSE(image_vignette(nullptr, {}));
    EXPECT_FALSE(image_vignette(noise_image(8, 8, 3, SAMPLE_F32).get(), {}));
    EXPECT_FALSE(image_vignette(image.get(), {}, [] { return true; }));
    EXPECT_TRUE(same_pixels(image.get(), copy.get()));
}

}  // namespace
