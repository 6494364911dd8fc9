#include "imagelib/imagelib_composite.h"

#include "pictures.h"

namespace {

double clamp01(double v) { return std::clamp(v, 0.0, 1.0); }

// The table of the nine modes, in double precision.
double combine(int mode, double a, double b, double aa, double ab) {
    const double forms[] = {a + b * (1 - aa),
                            b + a * (1 - ab),
                            a * ab,
                            b * aa,
                            a * (1 - ab),
                            b * (1 - aa),
                            a * ab + b * (1 - aa),
                            b * aa + a * (1 - ab),
                            a * (1 - ab) + b * (1 - aa)};
    return forms[mode - 1];
}

double expected_sample(int mode, bool premultiplied, const K7Image* a, const K7Image* b, int x, int y, int c) {
    const double full = image_full_value(a->sample_type);
    const double s = image_get_sample(a, x, y, c), t = image_get_sample(b, x, y, c);
    const double raw_a = image_get_sample(a, x, y, 3), raw_b = image_get_sample(b, x, y, 3);
    const double aa = clamp01(raw_a / full), ab = clamp01(raw_b / full);
    double result = combine(mode, s, t, aa, ab);
    if (!premultiplied && c != 3) {
        const double out = combine(mode, raw_a, raw_b, aa, ab) / full;
        result = combine(mode, s * aa, t * ab, aa, ab) * (out > 0.000001 ? 1.0 / out : out);
    }
    return a->sample_type == SAMPLE_F32 ? result : std::min(result, full);
}

TEST(Composite, NineModesInBothFormsForEveryType) {
    for (int type : SAMPLE_TYPES)
        for (int channels : {4, 5})
            for (bool premultiplied : {false, true})
                for (int mode = 1; mode <= 9; ++mode) {
                    const ImagePtr a = noise_image(11, 7, channels, type, 1, -0.1f, 1.2f);
                    const ImagePtr b = noise_image(11, 7, channels, type, 2, -0.1f, 1.2f);
                    const ImagePtr dest = make_image(11, 7, channels, type);
                    ASSERT_TRUE(image_composite(dest.get(), a.get(), mode, b.get(), premultiplied, -1, -1, -1, -1));
                    for (int y = 0; y < 7; ++y)
                        for (int x = 0; x < 11; ++x)
                            for (int c = 0; c < channels; ++c) {
                                const double expected = expected_sample(mode, premultiplied, a.get(), b.get(), x, y, c);
                                const double got = image_get_sample(dest.get(), x, y, c);
                                // Truncation loses up to one step; a quotient by a small alpha magnifies rounding.
                                const double step = type == SAMPLE_F32 ? 1e-4 : type == SAMPLE_U32 ? 2048.0 : 1.001;
                                ASSERT_NEAR(got, expected, step + 1e-5 * std::fabs(expected))
                                    << "mode " << mode << " type " << type << " at " << x << "," << y << "," << c;
                            }
                    const ImagePtr in_place = copy_of(b);
                    image_composite(in_place.get(), a.get(), mode, in_place.get(), premultiplied, -1, -1, -1, -1);
                    EXPECT_TRUE(same_pixels(in_place, dest));
                }
}

TEST(Composite, RectanglesAndThreads) {
    const RowThreads threads(3);
    const ImagePtr a = noise_image(16, 10, 4, SAMPLE_F32, 1), b = noise_image(16, 10, 4, SAMPLE_F32, 2);
    const struct {
        int xl, yl, xh, yh;            // as given
        int left, bottom, right, top;  // as meant
    } cases[] = {{-1, -1, -1, -1, 0, 0, 16, 10}, {3, -1, -5, 4, 3, 0, 16, 4},    {9, 8, 2, 1, 2, 1, 9, 8},
                 {4, 4, 4, 9, 0, 0, 0, 0},       {5, 5, 900, 900, 5, 5, 16, 10}, {40, 2, 50, 5, 0, 0, 0, 0}};
    for (const auto& test : cases) {
        const ImagePtr dest = noise_image(16, 10, 4, SAMPLE_F32, 3), before = copy_of(dest);
        ASSERT_TRUE(
            image_composite(dest.get(), a.get(), COMPOSITE_OVER, b.get(), true, test.xl, test.yl, test.xh, test.yh));
        const ImagePtr expected = picture(16, 10, [&](int x, int y, int c) {
            const bool is_inside = x >= test.left && x < test.right && y >= test.bottom && y < test.top;
            return is_inside ? expected_sample(1, true, a.get(), b.get(), x, y, c) : at(before, x, y, c);
        });
        EXPECT_LT(largest_difference(dest, expected), 1e-6) << test.xl << ", " << test.yl;
    }
    // Large pictures are written past the caches, but not in place.
    const ImagePtr wide_a = float_noise(1101, 500, 1), wide_b = float_noise(1101, 500, 2);
    for (bool premultiplied : {false, true})
        for (int mode = 1; mode <= 9; ++mode) {
            const ImagePtr apart = same_size(wide_a), in_place = copy_of(wide_a);
            for (const ImagePtr* from : {&wide_a, &in_place})
                image_composite(from == &wide_a ? apart.get() : in_place.get(), from->get(), mode, wide_b.get(),
                                premultiplied, -1, -1, -1, -1);
            EXPECT_TRUE(same_pixels(apart, in_place)) << mode;
        }
}

TEST(Composite, TransparentPixelsDivideByNothing) {
    const ImagePtr a = make_image(2, 1, 4, SAMPLE_F32), b = make_image(2, 1, 4, SAMPLE_F32);
    image_fill(a.get(), 0.7f);
    image_fill_channel(a.get(), 0.0f, 3);
    image_copy(a.get(), b.get());
    for (int mode = 1; mode <= 9; ++mode) {
        const ImagePtr dest = noise_image(2, 1, 4, SAMPLE_F32);
        EXPECT_TRUE(image_composite(dest.get(), a.get(), mode, b.get(), false, -1, -1, -1, -1));
        for (int c = 0; c < 4; ++c) EXPECT_EQ(image_get_sample(dest.get(), 1, 0, c), 0.0f);
    }
    EXPECT_FALSE(image_composite(a.get(), a.get(), 10, b.get(), true, -1, -1, -1, -1));
}

TEST(Unary, ScalesItsChannelsWithinTheRectangle) {
    for (int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_F32})
        for (int op : {UNARY_DARKEN, UNARY_DISSOLVE, UNARY_OPAQUE})
            for (float f : {0.37f, 0.0f, -3.0f, 7.0f, std::numeric_limits<float>::quiet_NaN()}) {
                const ImagePtr before = noise_image(9, 8, 5, type);
                const ImagePtr after(image_duplicate(before.get()));
                ASSERT_TRUE(image_unary(after.get(), op, f, 2, 1, 7, 6));
                const float amount = std::isnan(f) ? 0.0f : std::clamp(f, 0.0f, 1.0f);
                for (int y = 0; y < 8; ++y)
                    for (int x = 0; x < 9; ++x)
                        for (int c = 0; c < 5; ++c) {
                            float expected = image_get_sample(before.get(), x, y, c);
                            const bool is_meant = op == UNARY_DISSOLVE || (op == UNARY_OPAQUE) == (c == 3);
                            if (is_meant && x >= 2 && x < 7 && y >= 1 && y < 6) expected *= amount;
                            if (type != SAMPLE_F32) expected = std::trunc(expected);
                            ASSERT_EQ(image_get_sample(after.get(), x, y, c), expected);
                        }
            }
}

TEST(Dissolve, MixesAndLimitsTheAmount) {
    const ImagePtr a = noise_image(7, 5, 4, SAMPLE_F32, 1), b = noise_image(7, 5, 4, SAMPLE_F32, 2);
    const float colour[] = {0.1f, 0.2f, 3.0f, 1.0f};
    for (float f : {0.0f, 0.3f, 1.0f, 5.0f, -2.0f}) {
        const float amount = std::clamp(f, 0.0f, 1.0f);
        const ImagePtr crossed(image_duplicate(a.get())), tinted(image_duplicate(a.get()));
        ASSERT_TRUE(image_cross_dissolve(crossed.get(), b.get(), f));
        ASSERT_TRUE(image_dissolve_to_colour(tinted.get(), f, colour[0], colour[1], colour[2], colour[3]));
        for (int c = 0; c < 4; ++c) {
            const float s = image_get_sample(a.get(), 6, 4, c), t = image_get_sample(b.get(), 6, 4, c);
            EXPECT_NEAR(image_get_sample(crossed.get(), 6, 4, c), s + (t - s) * amount, 1e-6);
            EXPECT_NEAR(image_get_sample(tinted.get(), 6, 4, c), s + (colour[c] - s) * amount, 1e-6);
        }
    }
}

}  // namespace
