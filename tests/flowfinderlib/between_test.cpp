// Pictures between two others, and the fields of interlaced ones.
#include <gtest/gtest.h>

#include <cmath>

#include "flowfinderlib/flowfinderlib.h"
#include "flowfinderlib/moving_pairs.h"
#include "support/same_bits.h"

namespace {

constexpr int WIDTH = 240, HEIGHT = 160;

double mean_difference(const K7Image& a, const K7Image& b) {
    double sum = 0;
    for (int n = 0; n < a.width * a.height; ++n)
        sum += std::abs(int(image_row<std::uint8_t>(&a, 0)[n]) - int(image_row<std::uint8_t>(&b, 0)[n]));
    return sum / (a.width * a.height);
}

struct Scene {
    MovingPair pair;
    FlowFields fields;
    explicit Scene(MovingPair shown) : pair(std::move(shown)) {
        EXPECT_TRUE(find_flow(pair.first.get(), pair.second.get(), {}, true, fields));
    }
    ImagePtr at(float time, const BetweenSettings& settings = {}) const {
        FlowBetween between;
        EXPECT_TRUE(between.set_pair(pair.first.get(), pair.second.get(), fields, settings));
        ImagePtr picture(image_clone_layout(pair.first.get()));
        EXPECT_TRUE(between.at(time, time, picture.get()));
        return picture;
    }
};

TEST(Between, ShowsTheMotionHalfway) {
    const Scene scene(moving::textured_pair("", WIDTH, HEIGHT, [](moving::Point p) {
        return moving::Point{p.x + 8, p.y - 4};
    }));
    EXPECT_TRUE(same_pixels(scene.at(0).get(), scene.pair.first.get()));
    EXPECT_TRUE(same_pixels(scene.at(1).get(), scene.pair.second.get()));
    const ImagePtr half = moving::grey_picture(WIDTH, HEIGHT, [](moving::Point p) {
        return moving::texture({p.x + 4, p.y - 2}, 1);
    });
    EXPECT_LT(mean_difference(*scene.at(0.5F), *half), 1.0);
}

// What one picture covers comes from the other; a plain mix of both would be off by 20 levels and more.
TEST(Between, LeavesNoGhostsWhereThingsAreCovered) {
    const Scene scene(moving::disc_pair(WIDTH, HEIGHT));
    EXPECT_LT(mean_difference(*scene.at(0.5F), *moving::disc_picture(WIDTH, HEIGHT, 0.5)), 1.6);
    const ImagePtr covered = flow_covered(scene.fields.forward.get(), scene.fields.backward.get(), 1);
    ASSERT_NE(covered, nullptr);
    double missed = 0, wrong = 0, hidden = 0;
    for (int y = 8; y < HEIGHT - 8; ++y)
        for (int x = 8; x < WIDTH - 8; ++x) {
            const bool is = std::isnan(image_get_sample(scene.pair.flow.get(), x, y, 0));
            const bool found = image_get_sample(covered.get(), x, y, 0) > 0.5F;
            hidden += is, missed += is && !found, wrong += !is && found;
        }
    EXPECT_GT(hidden, 300);
    EXPECT_LT(missed, 0.15 * hidden);
    EXPECT_LT(wrong, 2.0 * hidden);  // a rim of a pixel or two all around the disc
}

TEST(Between, IsTheSameToTheBitEverywhere) {
    const Scene scene(moving::disc_pair(131, 77));
    same_bits_everywhere([&] { return scene.at(0.3F); });
}

TEST(Between, TakesWhatItGets) {
    const Scene scene(moving::disc_pair(64, 48));
    FlowBetween between;
    ImagePtr picture(image_clone_layout(scene.pair.first.get()));
    EXPECT_FALSE(between.at(0, 0, picture.get()));
    EXPECT_FALSE(between.set_pair(scene.pair.first.get(), nullptr, scene.fields, {}));
    EXPECT_FALSE(between.set_pair(scene.pair.first.get(), scene.pair.second.get(), {}, {}));
    FlowFields hostile;
    hostile.forward.reset(image_duplicate(scene.fields.forward.get()));
    const float bad[] = {NAN, INFINITY, 1e30F, -5000, 0};
    for (int n = 0; n < 2 * 64 * 48; n += 3) image_row<float>(hostile.forward.get(), 0)[n] = bad[n % 5];
    ASSERT_TRUE(between.set_pair(scene.pair.first.get(), scene.pair.second.get(), hostile, {}));
    EXPECT_TRUE(between.at(0.5F, 0.5F, picture.get()));
    EXPECT_FALSE(between.at(NAN, 0.5F, picture.get()));
    EXPECT_FALSE(between.at(0.5F, 1.5F, picture.get()));
}

TEST(Fields, ComeApartAndTogether) {
    for (const int height : {2, 7, 10}) {
        const ImagePtr picture = noise_image(9, height, 3, SAMPLE_U16);
        const ImagePtr even = flow_take_field(picture.get(), false), odd = flow_take_field(picture.get(), true);
        ASSERT_TRUE(even && odd);
        EXPECT_EQ(even->height + odd->height, height);
        EXPECT_EQ(image_get_sample(odd.get(), 4, 0, 1), image_get_sample(picture.get(), 4, 1, 1));
        const ImagePtr joined(image_clone_layout(picture.get()));
        EXPECT_TRUE(flow_put_field(odd.get(), true, joined.get()) && flow_put_field(even.get(), false, joined.get()));
        EXPECT_TRUE(same_pixels(joined.get(), picture.get()));
    }
    EXPECT_EQ(flow_take_field(noise_image(9, 1, 3, SAMPLE_U8).get(), true), nullptr);
}

}  // namespace
