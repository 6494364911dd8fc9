// The shells of bubbles: their sprites against integrals, their painting against a slow reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/weather/BubbleSkin.h"
#include "simdlib/cpu.h"
#include "support/effect_shot.h"

namespace {

constexpr int WIDTH = 61, HEIGHT = 47;
constexpr double PI = 3.14159265358979;

TEST(BubbleSprites, SumToTheAreaOfTheirDiscs) {
    BubbleSprites sprites;
    EXPECT_EQ(sprites.get(NAN)->radius(), 2);
    EXPECT_EQ(sprites.get(-1e30f)->radius(), 2);
    EXPECT_EQ(sprites.get(1e30f)->radius(), 40.5f);
    for (const int entry : {0, 4, 9, 17, 40, 80}) {
        const BubbleSprite& sprite = *sprites.get(float(entry) + 0.7f);
        const double r = sprite.radius();
        EXPECT_EQ(r, std::max(entry * 0.5 + 0.5, 2.0));
        double cover = 0, skin = 0, x = 0, y = 0;
        for (int dy = -sprite.reach(); dy <= sprite.reach(); ++dy)
            for (int dx = -sprite.reach(); dx <= sprite.reach(); ++dx) {
                const float covered = sprite.at(BubbleSprite::Cover, dx, dy);
                cover += covered;
                skin += sprite.at(BubbleSprite::Skin, dx, dy);
                x += sprite.at(BubbleSprite::PlaceX, dx, dy), y += sprite.at(BubbleSprite::PlaceY, dx, dy);
                EXPECT_LE(sprite.at(BubbleSprite::Skin, dx, dy), covered + 1e-5f);
                if (std::hypot(dx, dy) > r + 0.71) {
                    EXPECT_EQ(covered, 0);
                }
                if (std::hypot(dx, dy) < r - 0.71) {
                    EXPECT_NEAR(covered, 1, 1e-6);
                }
                EXPECT_NEAR(sprite.at(BubbleSprite::Skin, dx, dy), sprite.at(BubbleSprite::Skin, -dx, dy), 1e-6);
                if (covered > 0) {
                    EXPECT_NEAR(sprite.at(BubbleSprite::PlaceX, dx, dy) / covered, dx / r, 0.5 / r);
                }
            }
        EXPECT_NEAR(cover / (PI * r * r), 1, 0.02) << r;
        EXPECT_NEAR(x, 0, 1e-3);
        EXPECT_NEAR(y, 0, 1e-3);
        // The ring lies a 41st of the radius inside the rim and is as wide; half of it at least 3/4 of a subpixel
        const double fine = std::floor(std::clamp(16 / r, 4.0, 16.0));
        const double half = std::max(1.0 / 82, 0.75 / (fine * r)), ring = 1 - 1.0 / 82;
        double integral = 0;
        constexpr int STEPS = 20000;
        for (int i = 0; i < STEPS; ++i) {
            const double t = (i + 0.5) / STEPS;
            integral += std::min(std::max(1 - std::fabs(t - ring) / half, 0.0) + 2 * std::pow(t, 2.3), 1.0) * t;
        }
        EXPECT_NEAR(skin / (2 * PI * r * r * integral / STEPS), 1, 0.025) << r;
    }
}

double bilinear(const BubbleSprite& sprite, BubbleSprite::Plane plane, double dx, double dy) {
    const auto at = [&](double x, double y) {
        const bool inside = std::max(std::fabs(x), std::fabs(y)) <= sprite.reach();
        return inside ? double(sprite.at(plane, int(x), int(y))) : 0.0;
    };
    const double x = std::floor(dx), y = std::floor(dy), fx = dx - x, fy = dy - y;
    return (1 - fy) * ((1 - fx) * at(x, y) + fx * at(x + 1, y)) +
           fy * ((1 - fx) * at(x, y + 1) + fx * at(x + 1, y + 1));
}

// A picture between its pixels; beyond it goes on as at its edge.
double between(const K7Image& picture, double x, double y, int c) {
    x = std::clamp(x, 0.0, picture.width - 1.0), y = std::clamp(y, 0.0, picture.height - 1.0);
    const int left = std::min(int(x), picture.width - 2), under = std::min(int(y), picture.height - 2);
    const double fx = x - left, fy = y - under;
    return (1 - fy) * ((1 - fx) * at(picture, left, under, c) + fx * at(picture, left + 1, under, c)) +
           fy * ((1 - fx) * at(picture, left, under + 1, c) + fx * at(picture, left + 1, under + 1, c));
}

struct Painting {
    ImagePtr picture = noise(WIDTH, HEIGHT, 3, 0, 0.6f);
    Bubble bubble;

    void paint(const K7Image* mirrored, int split = HEIGHT) {
        int first = 0, last = 0;
        if (!bubble.rows(HEIGHT, &first, &last)) return;
        paint_bubble(bubble, mirrored, 0.7f, picture.get(), first, std::min(last, split));
        if (split < last) paint_bubble(bubble, mirrored, 0.7f, picture.get(), std::max(split + 1, first), last);
    }
};

// Every pixel, from the definition.
std::vector<double> slowly(const Painting& painting, const K7Image* mirrored, double exponent) {
    const Bubble& b = painting.bubble;
    std::vector<double> out;
    const double wx = b.x - b.tail_x, wy = b.y - b.tail_y, way = wx * wx + wy * wy;
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            const double t = way > 0 ? std::clamp(((x - b.tail_x) * wx + (y - b.tail_y) * wy) / way, 0.0, 1.0) : 0;
            const double dx = x - b.tail_x - t * wx, dy = y - b.tail_y - t * wy;
            double pixel[4];
            for (int c = 0; c < 4; ++c) pixel[c] = at(*painting.picture, x, y, c);
            const double covered = bilinear(*b.sprite, BubbleSprite::Cover, dx, dy);
            if (covered > 0) {
                const double nx = bilinear(*b.sprite, BubbleSprite::PlaceX, dx, dy) / covered;
                const double ny = bilinear(*b.sprite, BubbleSprite::PlaceY, dx, dy) / covered;
                const double nz = std::sqrt(std::max(1 - nx * nx - ny * ny, 0.0));
                const double cover = bilinear(*b.sprite, BubbleSprite::Skin, dx, dy) * b.coverage;
                for (int c = 0; c < 3; ++c) {
                    double colour = b.colour[c];
                    if (mirrored) {
                        const double slope = 0.3 / std::max(nz, 0.01);
                        colour +=
                            0.7 * between(*mirrored, (0.5 + slope * nx) * 9 - 0.5, (0.5 + slope * ny) * 5 - 0.5, c);
                    }
                    pixel[c] = cover * colour + (1 - cover) * pixel[c];
                }
                pixel[3] = cover + (1 - cover) * pixel[3];
                const double cosine = nx * b.gloss.half[0] + ny * b.gloss.half[1] + nz * b.gloss.half[2];
                const double level = cosine > 0 ? std::pow(cosine, exponent) * covered * b.coverage : 0;
                for (int c = 0; c < 3; ++c) pixel[c] += level * b.gloss.strength[c];
                pixel[3] = std::min(pixel[3] + level * 0.9, std::max(pixel[3], 1.0));
            }
            out.insert(out.end(), pixel, pixel + 4);
        }
    return out;
}

TEST(Bubbles, ArePaintedAsTheyAreDefined) {
    BubbleSprites sprites;
    GlossPowers powers;
    const ImagePtr mirrored = noise(9, 5, 8);
    const float places[][4] = {{30.25f, 20.75f, 30.25f, 20.75f}, {30, 20, 30, 20},       {-3.4f, 44.9f, -3.4f, 44.9f},
                               {58.5f, 2.5f, 58.5f, 2.5f},       {36, 22, 18.5f, 30.1f}, {9, -4, 9, 12}};
    for (const float* place : places)
        for (const float radius : {3.0f, 13.0f, 33.0f})
            for (const K7Image* seen :
                 {static_cast<const K7Image*>(nullptr), static_cast<const K7Image*>(mirrored.get())}) {
                const auto painted = [&](CpuLevel level, int split) {
                    set_cpu_level_limit(level);
                    Painting painting;
                    Bubble& b = painting.bubble;
                    b.sprite = sprites.get(radius);
                    b.x = place[0], b.y = place[1], b.tail_x = place[2], b.tail_y = place[3];
                    b.colour[0] = 0.8f, b.colour[1] = 0.4f, b.colour[2] = 0.1f;
                    b.coverage = 0.6f;
                    b.gloss = {.half = {0.6f, 0.48f, 0.64f}, .powers = powers.of(12), .strength = {0.9f, 0.5f, 0.2f}};
                    const std::vector<double> expected = slowly(painting, seen, 12);
                    painting.paint(seen, split);
                    for (std::size_t i = 0; i < expected.size(); ++i)
                        EXPECT_NEAR(image_row<float>(painting.picture.get(), 0)[i], expected[i], 2e-4)
                            << place[0] << ' ' << radius << ' ' << i;
                    return std::move(painting.picture);
                };
                const ImagePtr whole = painted(CpuLevel::baseline, HEIGHT);
                EXPECT_TRUE(same_pixels(painted(CpuLevel::avx2, 21).get(), whole.get()));
                EXPECT_TRUE(same_pixels(painted(CpuLevel::avx512, 22).get(), whole.get()));
            }
    set_cpu_level_limit(CpuLevel::avx512);
}

TEST(Bubbles, BurstIntoDropletsNearby) {
    BubbleSprites sprites;
    const auto burst = [&](std::uint32_t seed, float droplets, float scatter, int split) {
        Painting painting;
        image_clear(painting.picture.get());
        Bubble& b = painting.bubble;
        b.sprite = sprites.get(17);  // 9 pixels
        b.x = b.tail_x = 30, b.y = b.tail_y = 22;
        b.coverage = 1, b.colour[0] = b.colour[1] = b.colour[2] = 1;
        b.bursting = true, b.seed = seed, b.droplets = droplets, b.scatter = scatter;
        painting.paint(nullptr, split);
        return std::move(painting.picture);
    };
    const auto lit = [](const K7Image* picture, double beyond) {
        int count = 0;
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) {
                const bool far = std::max(std::abs(x - 30), std::abs(y - 22)) > beyond;
                count += far && at(*picture, x, y, 3) > 0;
            }
        return count;
    };
    const ImagePtr spray = burst(7, 0.8f, 5, HEIGHT);
    EXPECT_TRUE(same_pixels(burst(7, 0.8f, 5, 20).get(), spray.get()));
    EXPECT_FALSE(same_pixels(burst(8, 0.8f, 5, HEIGHT).get(), spray.get()));
    EXPECT_GT(lit(spray.get(), 10), 10);
    EXPECT_EQ(lit(spray.get(), 10 + 5), 0);
    EXPECT_EQ(lit(burst(7, 0, 5, HEIGHT).get(), -1), 0);
    EXPECT_EQ(lit(burst(7, 1, 0, HEIGHT).get(), 10), 0);
    EXPECT_GT(lit(burst(7, 0.9f, 0, HEIGHT).get(), -1), 2 * lit(burst(7, 0.3f, 0, HEIGHT).get(), -1));
}

TEST(Bubbles, MirrorASmallPictureAsItIsAndALargeOneInMeans) {
    const ImagePtr small = noise(200, 31), large = noise(1000, 333);
    EXPECT_TRUE(same_pixels(mirrored_picture(small.get(), 128).get(), small.get()));
    const ImagePtr cells = mirrored_picture(large.get(), 128);
    ASSERT_EQ(cells->width, 143);  // of 7 pixels, the last narrower
    ASSERT_EQ(cells->height, 48);
    for (const auto& [column, row] : {std::pair(0, 0), std::pair(142, 47), std::pair(40, 20)})
        for (int c = 0; c < 4; ++c) {
            double sum = 0;
            int count = 0;
            for (int y = 7 * row; y < std::min(7 * row + 7, 333); ++y)
                for (int x = 7 * column; x < std::min(7 * column + 7, 1000); ++x, ++count) sum += at(*large, x, y, c);
            EXPECT_NEAR(at(*cells, column, row, c), sum / count, 1e-5);
        }
}

}  // namespace
