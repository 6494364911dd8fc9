// Sprites and their drawing against slow references in double precision, on every vector unit and number of threads.
#include "effects/engines/sprites/Splats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "graphicslib/line_draw.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr float BLUE[3] = {0.1f, 0.4f, 2.0f};

// A sample of a sprite between its pixels; 0 outside.
double bilinear(const K7Image* sprite, double u, double v) {
    const auto sample = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < sprite->width && y < sprite->height ? double(at(*sprite, x, y)) : 0.0;
    };
    const int x = int(std::floor(u)), y = int(std::floor(v));
    const double fx = u - x, fy = v - y;
    return (1 - fy) * ((1 - fx) * sample(x, y) + fx * sample(x + 1, y)) +
           fy * ((1 - fx) * sample(x, y + 1) + fx * sample(x + 1, y + 1));
}

// Every pixel of the picture, whether it can be reached or not.
void slow_sprite(std::vector<double>& picture, int width, int height, const K7Image* sprite, double x, double y,
                 double opacity, double angle) {
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            const double dx = i - x, dy = j - y;
            const double u = std::cos(angle) * dx + std::sin(angle) * dy + 0.5 * (sprite->width - 1);
            const double v = std::cos(angle) * dy - std::sin(angle) * dx + 0.5 * (sprite->height - 1);
            const double c = bilinear(sprite, u, v) * opacity;
            for (int k = 0; k < 4; ++k) {
                double& out = picture[4 * (std::size_t(j) * width + i) + k];
                out = c * (k < 3 ? BLUE[k] : 1) + (1 - c) * out;
            }
        }
}

TEST(Sprites, BlobsAreGaussiansOfAThirdOfTheRadius) {
    for (const float r : {0.5f, 3.5f, 12.0f}) {
        const ImagePtr blob = make_soft_blob(r);
        ASSERT_TRUE(blob);
        ASSERT_EQ(blob->width, 2 * int(std::ceil(r)) + 3);
        const int c = blob->width / 2;
        EXPECT_EQ(at(*blob, c, c), 1);
        for (int x = 0; x < blob->width; ++x)
            EXPECT_NEAR(at(*blob, x, c + 1), std::exp(-((x - c) * (x - c) + 1) / (2 * r * r / 9)), 1e-6);
    }
    EXPECT_EQ(make_soft_blob(-5)->width, 5);
    const ImagePtr soft = make_soft_blob(9), grainy = make_textured_blob(9), again = make_textured_blob(9);
    EXPECT_TRUE(same_pixels(grainy.get(), again.get()));
    EXPECT_FALSE(same_pixels(grainy.get(), soft.get()));
    for (int y = 0; y < soft->height; ++y)
        for (int x = 0; x < soft->width; ++x) EXPECT_LE(at(*grainy, x, y), at(*soft, x, y));
}

TEST(Sprites, TablesClampSizesAndVariants) {
    SpriteTables tables(1);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(tables.soft_blob(-3), tables.soft_blob(0.9f));
    EXPECT_EQ(tables.soft_blob(nan), tables.soft_blob(0));
    EXPECT_EQ(tables.soft_blob(1e30f), tables.soft_blob(80));
    EXPECT_EQ(tables.soft_blob(4)->width(), 2 * 5 + 3);
}

TEST(Splats, SpritesAreBilinearOnEveryVectorUnit) {
    constexpr int W = 70, H = 45;
    const ImagePtr sprites[] = {make_soft_blob(6), make_textured_blob(9.5f), make_star(12, 30), make_soft_blob(40)};
    struct Place {
        float x, y, angle;
    };
    const Place places[] = {{20, 20, 0},       {20.25f, 19.75f, 0},  {-3.5f, 2.2f, 0},   {69.9f, 44.1f, 0},
                            {30, 17, 0.3f},    {55.3f, 21.7f, 2.5f}, {-2, 40.5f, -1.2f}, {66, -4.25f, 100.1f},
                            {35.5f, 20.5f, 0}, {1e9f, 3, 0}};
    for (const ImagePtr& picture : sprites) {
        const Sprite sprite(picture.get());
        const ImagePtr begin = noise(W, H, 3);
        std::vector<double> expected(image_row<float>(begin.get(), 0), image_row<float>(begin.get(), 0) + 4 * W * H);
        for (const Place& p : places)
            if (p.x < 1e6f) slow_sprite(expected, W, H, picture.get(), p.x, p.y, 0.7, p.angle);
        const ImagePtr drawn = same_bits_everywhere([&] {
            ImagePtr image(image_duplicate(begin.get()));
            Splats splats;
            splats.begin(W, H);
            for (const Place& p : places) splats.sprite_rotated(BLUE, &sprite, p.x, p.y, 0.7f, p.angle);
            splats.draw(image.get());
            return image;
        });
        const float* pixels = image_row<float>(drawn.get(), 0);
        for (int i = 0; i < 4 * W * H; ++i) ASSERT_NEAR(pixels[i], expected[std::size_t(i)], 3e-5) << i;
    }
}

// Kinds mixed and overlapping: what is drawn later lies on top, whatever the bands.
TEST(Splats, TheOrderIsThatOfCollection) {
    constexpr int W = 90, H = 100;
    const Sprite blob(make_soft_blob(14).get()), star(make_star(20, 0).get());
    const auto collect = [&](auto&& draw) {
        unsigned r = 1;
        const auto next = [&](float range) {
            r = r * 1664525u + 1013904223u;
            return float(r >> 8) / 16777216.0f * range;
        };
        for (int i = 0; i < 120; ++i) {
            const float colour[3] = {next(1), next(1), next(1)};
            draw(i % 4, colour, next(W + 20) - 10, next(H + 20) - 10, next(W), next(H));
        }
    };
    ImagePtr one_at_once = noise(W, H, 8);
    K7Image* target = one_at_once.get();
    collect([&](int kind, const float* colour, float x, float y, float a, float b) {
        if (kind == 0) draw_point(target, colour, x, y, 0.9f);
        if (kind == 1) {
            const float rgba[4] = {colour[0], colour[1], colour[2], 0.8f};
            draw_line(target, rgba, x, y, a, b);
        }
        if (kind == 2) draw_sprite(target, colour, &blob, x, y, 0.9f);
        if (kind == 3) draw_sprite_rotated(target, colour, &star, x, y, 0.9f, a);
    });
    for (const int threads : {1, 3}) {
        const RowThreads rows(threads);
        const ImagePtr together = noise(W, H, 8);
        Splats splats;
        splats.begin(W, H);
        collect([&](int kind, const float* colour, float x, float y, float a, float b) {
            if (kind == 0) splats.point(colour, x, y, 0.9f);
            if (kind == 1) splats.line(colour, x, y, a, b, 0.8f);
            if (kind == 2) splats.sprite(colour, &blob, x, y, 0.9f);
            if (kind == 3) splats.sprite_rotated(colour, &star, x, y, 0.9f, a);
        });
        splats.draw(together.get());
        EXPECT_TRUE(same_pixels(together.get(), one_at_once.get())) << threads;
    }
}

// A sprite with something to see in each channel, and no two sides alike.
ImagePtr feather() {
    return picture(37, 24, [](int x, int y, int c) {
        const float alpha = 0.2f + 0.8f * float(x) / 36 * float((x / 6 + y / 5) % 2);
        const float colour[] = {float(x) / 36, float(y) / 23, 0.5f, 1};
        return alpha * colour[c];
    });
}

// The mean of the sprite under a square of the picture of this size, by brute force.
std::vector<double> slow_mean(const K7Image* sprite, double x, double y, double size, double cx, double cy,
                              const Splats::Look& look) {
    constexpr int FINE = 24;
    std::vector<double> sum(4);
    for (int j = 0; j < FINE; ++j)
        for (int i = 0; i < FINE; ++i) {
            const double dx = x + ((i + 0.5) / FINE - 0.5) * size - cx, dy = y + ((j + 0.5) / FINE - 0.5) * size - cy;
            const double cosine = std::cos(double(look.radians)), sine = std::sin(double(look.radians));
            const double u = (0.5 + 0.5 * (cosine * dx + sine * dy) / look.half_width) * sprite->width;
            const double v = (0.5 + 0.5 * (cosine * dy - sine * dx) / look.half_height) * sprite->height;
            if (!(u >= 0 && v >= 0 && u < sprite->width && v < sprite->height)) continue;
            for (int c = 0; c < 4; ++c) sum[std::size_t(c)] += double(at(*sprite, int(u), int(v), c)) / (FINE * FINE);
        }
    return sum;
}

TEST(Splats, StampsAreTheSpriteAtAnySizeTurnAndStretch) {
    constexpr int W = 120, H = 100;
    const ImagePtr picture = feather();
    const MipPicture sprite(picture.get());
    double total[4] = {};
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 37; ++x)
            for (int c = 0; c < 4; ++c) total[c] += double(at(*picture, x, y, c)) / (37 * 24);
    for (const Splats::Look& look : {Splats::Look{37, 24},
                                     {18.5f, 12},
                                     {45, 9, 0.7f},
                                     {12, 8, -2},
                                     {6, 4, 1},
                                     {40, 1.5f, 0.4f},
                                     {1, 30, 0.2f},
                                     {0.7f, 0.5f},
                                     {0.3f, 0.1f},
                                     {3, 0.01f, 3}}) {
        SCOPED_TRACE(testing::Message() << look.half_width << " x " << look.half_height << ", " << look.radians);
        const ImagePtr image = make_image(W, H, 4, SAMPLE_F32);
        Splats splats;
        splats.begin(W, H);
        splats.stamp(&sprite, 58.3f, 49.6f, look);
        splats.draw(image.get());
        double sums[4] = {};
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                for (int c = 0; c < 4; ++c) sums[c] += double(at(*image, x, y, c));
        const double area = 4.0 * look.half_width * look.half_height;
        for (int c = 0; c < 4; ++c)
            EXPECT_NEAR(sums[c], total[c] * area, (area < 4 ? 0.08 : 0.03) * total[c] * area) << c;
        // Filters differ within a few pixels, so blocks of them are compared.
        for (int y = 12; y < H - 12; y += 5)
            for (int x = 12; x < W - 12; x += 5) {
                double mean[4] = {};
                for (int j = -2; j <= 2; ++j)
                    for (int i = -2; i <= 2; ++i)
                        for (int c = 0; c < 4; ++c) mean[c] += double(at(*image, x + i, y + j, c)) / 25;
                const auto expected = slow_mean(picture.get(), x, y, 5, double(58.3f), double(49.6f), look);
                for (int c = 0; c < 4; ++c) ASSERT_NEAR(mean[c], expected[std::size_t(c)], 0.06) << x << ", " << y;
            }
    }
}

TEST(Splats, StampsCoverAddOrScreen) {
    const ImagePtr white = make_image(8, 8, 1, SAMPLE_F32);
    image_fill(white.get(), 1);
    const MipPicture sprite(white.get());
    Splats::Look look{.half_width = 4, .half_height = 4, .colour = {0.5f, 1, 2}, .opacity = 0.5f};
    for (const DrawBlend blend : {DrawBlend::over, DrawBlend::add, DrawBlend::screen}) {
        const ImagePtr image = make_image(9, 9, 4, SAMPLE_F32);
        image_fill(image.get(), 0.6f);
        Splats splats;
        splats.begin(9, 9);
        look.blend = blend;
        splats.stamp(&sprite, 4, 4, look);
        splats.draw(image.get());
        for (int c = 0; c < 3; ++c) {
            const float ink = 0.5f * look.colour[c], there = 0.6f;
            const float expected = blend == DrawBlend::over  ? ink + 0.5f * there
                                   : blend == DrawBlend::add ? there + ink
                                                             : std::max({there + ink - there * ink, there, ink});
            EXPECT_FLOAT_EQ(at(*image, 4, 4, c), expected) << int(blend) << " " << c;
        }
        EXPECT_FLOAT_EQ(at(*image, 4, 4, 3), 0.8f);
    }
}

TEST(Splats, StampsAndTheirNeighboursHaveTheSameBitsEverywhere) {
    constexpr int W = 150, H = 70;
    const MipPicture sprite(feather().get());
    const Sprite blob(make_soft_blob(9).get());
    same_bits_everywhere([&] {
        ImagePtr image = noise(W, H, 4);
        Splats splats;
        splats.begin(W, H);
        for (int i = 0; i < 90; ++i) {
            const float x = float(i * 37 % 170) - 10, y = float(i * 53 % 90) - 10, size = 0.2f + float(i % 30);
            splats.stamp(&sprite, x, y, {size, 31 - size, 0.1f * float(i), {1, 0.5f, 0.2f}, 0.7f, DrawBlend(i % 3)});
            splats.sprite(BLUE, &blob, y, x, 0.5f);
        }
        splats.draw(image.get());
        return image;
    });
}

// What lies too far away, or nowhere, is refused.
TEST(Splats, PointsCoverOnePixelByAQuarter) {
    const ImagePtr image = make_image(8, 6, 4, SAMPLE_F32);
    EXPECT_TRUE(draw_point(image.get(), BLUE, 2.6f, 4.4f, 0.8f));
    EXPECT_FLOAT_EQ(at(*image, 3, 4, 2), 0.2f * 2);
    EXPECT_FLOAT_EQ(at(*image, 3, 4, 3), 0.2f);
    float sum = 0;
    for (int i = 0; i < 8 * 6; ++i) sum += image_row<float>(image.get(), 0)[4 * i + 3];
    EXPECT_FLOAT_EQ(sum, 0.2f);
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const Sprite sprite(make_soft_blob(3).get());
    for (const float bad : {-1e30f, 3e9f, inf, -inf, nan}) {
        EXPECT_FALSE(draw_point(image.get(), BLUE, bad, 3, 1)) << bad;
        EXPECT_FALSE(draw_sprite(image.get(), BLUE, &sprite, bad, 3, 1));
        EXPECT_FALSE(draw_sprite_rotated(image.get(), BLUE, &sprite, 3, bad, 1, 1));
    }
    EXPECT_FALSE(draw_sprite_rotated(image.get(), BLUE, &sprite, 3, 3, 1, nan));
    EXPECT_FALSE(draw_sprite(image.get(), BLUE, &sprite, 3, 3, nan));
    EXPECT_FLOAT_EQ(at(*image, 3, 4, 3), 0.2f);
}

}  // namespace
