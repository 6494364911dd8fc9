// The vignette against its definition, at every width past a vector.
#include "imagelib/imagelib_vignette.h"

#include "pictures.h"

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
            const ImagePtr source = float_noise(width, 31);
            at(source, 0, 9, 0) = NOT_A_NUMBER;
            const ImagePtr result = same_bits_everywhere([&] {
                ImagePtr dark = copy_of(source);
                EXPECT_TRUE(image_vignette(dark.get(), v));
                return dark;
            });
            const ImagePtr expected = picture(width, 31, [&](int x, int y, int c) {
                const double before = at(source, x, y, c);
                if (c == 3) return before;
                return std::isnan(before) ? 0 : std::clamp(before * factor(v, x, y), 0.0, 1.0);
            });
            EXPECT_LT(largest_difference(result, expected), 4e-6) << width;
        }
}

TEST(Vignette, TakesFloatColourOnlyAndEndsWhenAsked) {
    const ImagePtr image = float_noise(8, 8), before = copy_of(image);
    EXPECT_FALSE(image_vignette(nullptr, {}));
    EXPECT_FALSE(image_vignette(noise_image(8, 8, 3, SAMPLE_F32).get(), {}));
    EXPECT_FALSE(image_vignette(image.get(), {}, [] { return true; }));
    EXPECT_TRUE(same_pixels(image, before));
}

}  // namespace
