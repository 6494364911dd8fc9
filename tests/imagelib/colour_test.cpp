#include "imagelib/imagelib_colour.h"

#include "imagelib/imagelib_curves.h"
#include "pictures.h"

namespace {

ImagePtr one_pixel(float r, float g, float b, float a) {
    const float pixel[] = {r, g, b, a};
    return picture(1, 1, [&](int, int, int c) { return pixel[c]; });
}

void expect_pixel(const ImagePtr& image, float r, float g, float b, float a) {
    EXPECT_LT(largest_difference(image, one_pixel(r, g, b, a)), 1e-6) << r << ", " << g << ", " << b << ", " << a;
}

TEST(Colour, ChannelsAndLuminance) {
    const ImagePtr source = one_pixel(0.2f, 0.4f, 0.8f, 0.6f);
    const ImagePtr result = one_pixel(9, 9, 9, 9);
    EXPECT_TRUE(image_select_channel(source.get(), result.get(), 7));
    expect_pixel(result, 9, 9, 9, 9);
    EXPECT_TRUE(image_select_channel(source.get(), result.get(), 2));
    expect_pixel(result, 0.8f, 0.8f, 0.8f, 0.6f);
    EXPECT_TRUE(image_select_channel(source.get(), result.get(), 4));
    expect_pixel(result, 0.42f, 0.42f, 0.42f, 0.6f);
    EXPECT_TRUE(image_select_channel(result.get(), result.get(), 3)) << "in place";
    expect_pixel(result, 0.6f, 0.6f, 0.6f, 0.6f);

    const ImagePtr matte = make_image(1, 1, 1, SAMPLE_F32);
    EXPECT_TRUE(image_luminance_to_matte(source.get(), matte.get(), true));
    EXPECT_NEAR(image_get_sample(matte.get(), 0, 0, 0), 0.58f, 1e-6);
    const ImagePtr grey(image_duplicate(source.get())), bright = one_pixel(4, 4, 4, 1);
    EXPECT_TRUE(image_luminance_in_place(grey.get(), false));
    expect_pixel(grey, 0.42f, 0.42f, 0.42f, 0.42f);
    EXPECT_TRUE(image_luminance_in_place(bright.get(), true));
    expect_pixel(bright, 0, 0, 0, 0);
}

TEST(Colour, GammaIsTheTableInsideAndThePowerOutside) {
    const RowThreads threads(2);
    const ImagePtr source = float_noise(50, 40, 3, -0.5f, 3.0f);
    float* samples = image_row<float>(source.get(), 0);
    samples[0] = 0.0f, samples[1] = 1.0f, samples[2] = NOT_A_NUMBER, samples[4] = ENDLESS, samples[5] = 0.99999999f;
    for (float gamma : {0.5f, 1.0f, 2.2f}) {
        const ImagePtr result = make_image(50, 40, 4, SAMPLE_F32);
        ASSERT_TRUE(image_apply_gamma(source.get(), result.get(), gamma));
        for (int i = 0; i < 50 * 40 * 4; ++i) {
            const float s = samples[i];
            const bool is_inside = s >= 0.0f && s < 1.0f;
            double expected = std::pow(is_inside ? std::floor(double(s) * 65536.0) / 65536.0 : double(s), 1.0 / gamma);
            if (std::isnan(expected)) expected = 0.0;
            if (i % 4 == 3) expected = s;
            ASSERT_FLOAT_EQ(static_cast<const float*>(result->pixels)[i], static_cast<float>(expected)) << s;
        }
    }
    for (float bad : {0.0f, -1.0f, NOT_A_NUMBER, ENDLESS})
        EXPECT_FALSE(image_apply_gamma(source.get(), source.get(), bad));
}

TEST(Colour, InversionBandPassAndWindows) {
    const ImagePtr image = one_pixel(0.25f, 2.0f, -1.0f, 0.3f);
    EXPECT_TRUE(image_invert_rgb(image.get()));
    expect_pixel(image, 0.75f, 0.0f, 2.0f, 0.3f);
    for (float level : {0.2f, 0.5f, 0.8f}) {
        const ImagePtr band = one_pixel(level, level, level, 1.0f);
        EXPECT_TRUE(image_band_pass(band.get(), 0.4f, 0.6f));
        EXPECT_EQ(at(band, 0, 0, 1), level == 0.5f ? 0.5f : 0.0f);
    }
    const ImagePtr source = float_noise(10, 8), window = make_image(4, 3, 4, SAMPLE_F32);
    EXPECT_TRUE(image_copy_rect(source.get(), window.get(), 6, 5));
    EXPECT_TRUE(same_pixels(window, picture(4, 3, [&](int x, int y, int c) { return at(source, x + 6, y + 5, c); })));
    EXPECT_FALSE(image_copy_rect(source.get(), window.get(), 7, 5) ||
                 image_copy_rect(source.get(), window.get(), -1, 0));
}

TEST(Colour, YuvAndBackIsTheIdentity) {
    for (float curve : {1.0f, 3.0f, 20.0f, 50.0f, 80.0f}) {
        const ImagePtr source = float_noise(33, 9, 5, 0, 1), yuv = same_size(source), back = same_size(source);
        ASSERT_TRUE(image_rgb_to_yuv_curve(source.get(), yuv.get(), curve));
        ASSERT_TRUE(image_yuv_curve_to_rgb(yuv.get(), back.get(), curve));
        // The steep end of the curve magnifies rounding; the published coefficients have six digits.
        EXPECT_LT(largest_difference(back, source), curve > 50.0f ? 0.02 : 1e-3) << curve;
    }
    const ImagePtr white = one_pixel(1, 1, 1, 0.5f);
    ASSERT_TRUE(image_rgb_to_yuv_curve(white.get(), white.get(), 1.0f));
    expect_pixel(white, 1.0f, 0.5f, 0.485734f, 0.5f);
}

TEST(Curves, EndsIdentitiesAndInverses) {
    const float steps[][4] = {{2, 2, 5, 0}, {3.5f, 2, 5, 0.5f}, {6, 2, 5, 1}, {1, 1, 1, 0}, {1.5f, 1, 1, 1}};
    for (const auto& [x, low, high, expected] : steps) EXPECT_EQ(smooth_step(x, low, high), expected) << x;
    // The last is a step, where the ramp has no width.
    const float bands[][4] = {{0.5f, 1.5f, 1, 0}, {1, 1.5f, 1, 0.5f}, {1.6f, 1.5f, 1, 1}, {1, 2, 1, 0}};
    for (const auto& [x, a, b, expected] : bands) EXPECT_EQ(linear_band(x, a, b), expected) << x;
    for (float k : {-3.0f, 0.0f, 1.0f, 1.001f, NOT_A_NUMBER}) {
        EXPECT_EQ(hyperbolic_tone(7.0f, k), 7.0f);
        EXPECT_EQ(hyperbolic_tone_inverse(-7.0f, k), -7.0f);
    }
    for (float k : {1.01f, 2.0f, 50.0f, 75.0f, 100.0f, 1e9f, ENDLESS}) {
        EXPECT_NEAR(hyperbolic_tone(-1.0f, k), 0.0f, 1e-5) << k;
        EXPECT_NEAR(hyperbolic_tone(2.0f, k), 1.0f, 1e-5) << k;
        for (float x : {0.3f, 0.6f, 0.9f}) {
            const float y = hyperbolic_tone(x, k);
            EXPECT_NEAR(hyperbolic_tone_inverse(y, k), x, 0.01f) << k;
            EXPECT_LT(y, x + 1e-6f) << "highlights are lifted from the shadows";
        }
    }
}

}  // namespace
