// Oklab against its definition in doubles; palettes on pictures whose colours are known, and against the error of
// other palettes.
#include "imagelib/imagelib_palette.h"

#include <random>
#include <set>

#include "pictures.h"

namespace {

struct Lab {
    double l, a, b;
};

Lab definition(double r, double g, double b) {
    const auto light = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    r = light(r), g = light(g), b = light(b);
    const double l = std::cbrt(0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b);
    const double m = std::cbrt(0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b);
    const double s = std::cbrt(0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b);
    return {0.2104542553 * l + 0.7936177850 * m - 0.0040720468 * s,
            1.9779984951 * l - 2.4285922050 * m + 0.4505937099 * s,
            0.0259040371 * l + 0.7827717662 * m - 0.8086757660 * s};
}

ImagePtr oklab_of(const ImagePtr& rgb) {
    return same_bits_everywhere([&] {
        ImagePtr lab = same_size(rgb);
        EXPECT_TRUE(image_to_oklab(rgb.get(), lab.get()));
        return lab;
    });
}

TEST(Oklab, IsItsDefinitionAndComesBack) {
    for (const int width : {1, 7, 16, 37}) {
        const ImagePtr rgb = float_noise(width, 40, 3, 0, 1);
        at(rgb, 0, 0, 0) = 0, at(rgb, 0, 0, 1) = 0, at(rgb, 0, 0, 2) = 0;  // black
        at(rgb, 0, 1, 0) = 1e-4f;
        for (int c = 0; c < 3; ++c) at(rgb, 0, 2, c) = 20.0f + float(c);
        const ImagePtr lab = oklab_of(rgb);
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < width; ++x) {
                const Lab expected =
                    definition(double(at(rgb, x, y, 0)), double(at(rgb, x, y, 1)), double(at(rgb, x, y, 2)));
                const double near = 3e-6 * std::max(1.0, expected.l);
                EXPECT_NEAR(double(at(lab, x, y, 0)), expected.l, near);
                EXPECT_NEAR(double(at(lab, x, y, 1)), expected.a, near);
                EXPECT_NEAR(double(at(lab, x, y, 2)), expected.b, near);
                EXPECT_EQ(at(lab, x, y, 3), at(rgb, x, y, 3));
            }
        const ImagePtr back = same_bits_everywhere([&] {
            ImagePtr image = copy_of(lab);
            EXPECT_TRUE(image_from_oklab(image.get(), image.get()));
            return image;
        });
        for (int c = 0; c < 3; ++c) at(back, 0, 2, c) *= 0.05f, at(rgb, 0, 2, c) *= 0.05f;  // errors go with the sample
        EXPECT_LT(largest_difference(back, rgb), 3e-5);
    }
    const ImagePtr hostile = picture(9, 1, [](int x, int, int) {
        return x < 2 ? NOT_A_NUMBER : x < 4 ? ENDLESS : x < 6 ? -ENDLESS : 1e-40f;
    });
    const ImagePtr lab = oklab_of(hostile);
    for (int x = 0; x < 9; ++x)
        for (int c = 0; c < 3; ++c) EXPECT_TRUE(std::isfinite(at(lab, x, 0, c)));
}

ImagePtr labels_of(const ImagePtr& lab, const Palette& palette) {
    return same_bits_everywhere([&] {
        ImagePtr labels = make_image(lab->width, lab->height, 1, SAMPLE_U32);
        EXPECT_TRUE(image_nearest_colours(lab.get(), palette, labels.get()));
        return labels;
    });
}

// Six colours of unequal areas under grain.
ImagePtr patches(float grain) {
    const float colours[6][3] = {{0.1f, 0.1f, 0.1f}, {0.9f, 0.1f, 0.1f}, {0.1f, 0.7f, 0.2f},
                                 {0.1f, 0.2f, 0.8f}, {0.9f, 0.8f, 0.1f}, {1, 1, 1}};
    const ImagePtr noise = float_noise(640, 480, 4, -0.5f, 0.5f);
    return picture(640, 480, [&](int x, int y, int c) {
        const int which = std::min(x * x / 70000 + (y < 160 ? 0 : 1), 5);
        return c == 3 ? 1.0f : colours[which][c] + grain * at(noise, x, y, c);
    });
}

TEST(Palette, FindsTheColoursThatThereAreWhateverTheSeed) {
    const ImagePtr clean = oklab_of(patches(0)), grainy = oklab_of(patches(0.05f));
    Palette exact;
    ASSERT_TRUE(image_palette(clean.get(), 20, 1, exact));
    EXPECT_EQ(exact.count, 6);  // no more than the picture has
    for (const std::uint32_t seed : {1u, 2u, 77u}) {
        Palette palette;
        ASSERT_TRUE(image_palette(grainy.get(), 6, seed, palette));
        ASSERT_EQ(palette.count, 6);
        float shares = 0;
        for (int i = 0; i < 6; ++i) {
            EXPECT_NEAR(palette.l[i], exact.l[i], 0.02f);
            EXPECT_NEAR(palette.a[i], exact.a[i], 0.02f);
            EXPECT_NEAR(palette.b[i], exact.b[i], 0.02f);
            EXPECT_NEAR(palette.share[i], exact.share[i], 0.01f);
            shares += palette.share[i];
        }
        EXPECT_NEAR(shares, 1, 1e-5);
    }
    // From the colours of a neighbouring frame the order of the palette stays.
    Palette moved;
    ASSERT_TRUE(image_palette(grainy.get(), 6, 5, moved, &exact));
    EXPECT_EQ(moved.count, 6);
    EXPECT_NEAR(moved.a[2], exact.a[2], 0.02f);
}

TEST(Palette, SteadyOneStaysUnderGrain) {
    const auto soft = [](unsigned seed) {
        const ImagePtr noise = float_noise(640, 480, seed, -0.01f, 0.01f);
        return oklab_of(picture(640, 480, [&](int x, int y, int c) {
            const float u = float(x) / 640, v = float(y) / 480, wave = u * (1 - v) + float(c) * v * (u - 0.5f);
            return c == 3 ? 1.0f : 0.2f + 0.6f * wave + at(noise, x, y, c);
        }));
    };
    const ImagePtr first = soft(1), second = soft(2);
    for (const std::uint32_t seed : {1u, 9u}) {
        Palette p, q;
        ASSERT_TRUE(image_steady_palette(first.get(), 9, seed, p));
        ASSERT_TRUE(image_steady_palette(second.get(), 9, seed, q));
        ASSERT_EQ(p.count, 9);
        ASSERT_EQ(q.count, 9);
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(p.l[i], q.l[i], 0.01f) << seed << ' ' << i;
    }
    Palette found;
    ASSERT_TRUE(image_steady_palette(oklab_of(patches(0)).get(), 20, 1, found));
    EXPECT_EQ(found.count, 6);
}

double error_of(const ImagePtr& lab, const Palette& palette, const ImagePtr& labels) {
    double error = 0;
    for (int y = 0; y < lab->height; ++y)
        for (int x = 0; x < lab->width; ++x) {
            double least = 1e9;
            int nearest = 0;
            for (int i = 0; i < palette.count; ++i) {
                const float l = at(lab, x, y, 0) - palette.l[i], a = at(lab, x, y, 1) - palette.a[i],
                            b = at(lab, x, y, 2) - palette.b[i];
                const double distance = double(l * l + a * a + b * b);
                if (distance < least) least = distance, nearest = i;
            }
            EXPECT_EQ(image_row<std::uint32_t>(labels.get(), y)[x], std::uint32_t(nearest));
            error += least;
        }
    return error;
}

TEST(Palette, StandsForAPictureBetterThanColoursDrawnFromIt) {
    const ImagePtr lab = oklab_of(picture(211, 97, [](int x, int y, int c) {
        return c == 3 ? 1.0 : 0.5 + 0.5 * std::sin(0.02 * x * (c + 1) + 0.05 * y);
    }));
    Palette palette;
    ASSERT_TRUE(image_palette(lab.get(), 12, 3, palette));
    const double error = error_of(lab, palette, labels_of(lab, palette));
    std::mt19937 random(8);
    for (int i = 0; i < 5; ++i) {
        Palette drawn = palette;
        for (int k = 0; k < 12; ++k) {
            const int x = int(random() % 211), y = int(random() % 97);
            drawn.l[k] = at(lab, x, y, 0), drawn.a[k] = at(lab, x, y, 1), drawn.b[k] = at(lab, x, y, 2);
        }
        EXPECT_LT(error, 0.8 * error_of(lab, drawn, labels_of(lab, drawn)));
    }
    for (int i = 1; i < palette.count; ++i) EXPECT_LE(palette.l[i - 1], palette.l[i]);
}

TEST(Palette, SmallClearAndHostilePictures) {
    Palette palette;
    const ImagePtr one = picture(1, 1, [](int, int, int) { return 0.5; });
    ASSERT_TRUE(image_palette(one.get(), 5, 1, palette));
    EXPECT_EQ(palette.count, 1);
    const ImagePtr clear = picture(30, 9, [](int, int, int c) { return c == 3 ? 0.0 : 0.5; });
    ASSERT_TRUE(image_palette(clear.get(), 5, 1, palette));
    EXPECT_EQ(palette.count, 0);
    const ImagePtr labels = make_image(30, 9, 1, SAMPLE_U32);
    EXPECT_FALSE(image_nearest_colours(clear.get(), palette, labels.get()));
    const ImagePtr hostile = picture(30, 9, [](int x, int, int c) {
        return c == 3 ? ENDLESS : x < 10 ? NOT_A_NUMBER : x < 20 ? ENDLESS : -ENDLESS;
    });
    ASSERT_TRUE(image_palette(hostile.get(), 4, 1, palette));
    for (int i = 0; i < palette.count; ++i) EXPECT_TRUE(std::isfinite(palette.l[i] + palette.a[i] + palette.b[i]));
    EXPECT_FALSE(image_palette(one.get(), 0, 1, palette));
    EXPECT_FALSE(image_palette(one.get(), PALETTE_MOST + 1, 1, palette));
}

}  // namespace
