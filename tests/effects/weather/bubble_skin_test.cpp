// The shells of bubbles: their sprites against integrals, their painting against a slow reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/weather/BubbleSkin.h"
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
        double cover = 0, x = 0, y = 0;
        for (int dy = -sprite.reach(); dy <= sprite.reach(); ++dy)
            for (int dx = -sprite.reach(); dx <= sprite.reach(); ++dx) {
                const float covered = sprite.at(BubbleSprite::Cover, dx, dy);
                cover += covered;
                x += sprite.at(BubbleSprite::PlaceX, dx, dy), y += sprite.at(BubbleSprite::PlaceY, dx, dy);
                EXPECT_NEAR(sprite.at(BubbleSprite::Skin, dx, dy), sprite.at(BubbleSprite::Skin, -dx, dy), 1e-6);
                if (covered > 0) {
                    EXPECT_NEAR(sprite.at(BubbleSprite::PlaceX, dx, dy) / covered, dx / r, 0.5 / r);
                }
            }
        EXPECT_NEAR(cover / (PI * r * r), 1, 0.02) << r;
        EXPECT_NEAR(x, 0, 1e-3);
        EXPECT_NEAR(y, 0, 1e-3);
    }
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
