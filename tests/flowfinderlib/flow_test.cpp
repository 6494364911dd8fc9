// Flow between pictures whose motion is known.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "flowfinderlib/flowfinderlib.h"
#include "flowfinderlib/moving_pairs.h"
#include "support/same_bits.h"

namespace {

ImagePtr flow_between_pictures(const K7Image& first, const K7Image& second, const FlowSettings& settings = {},
                               bool backward = false) {
    FlowFinder finder;
    EXPECT_TRUE(finder.set_pair(&first, &second, settings));
    ImagePtr flow = finder.find(backward);
    EXPECT_NE(flow, nullptr);
    return flow;
}

// Limits are a third above what was measured.
TEST(Flow, FindsKnownMotion) {
    const double limits[] = {0.011, 0.042, 0.035, 0.11, 0.052, 0.155};
    const std::vector<MovingPair> pairs = moving::moving_pairs();
    for (std::size_t n = 0; n < pairs.size(); ++n) {
        const ImagePtr flow = flow_between_pictures(*pairs[n].first, *pairs[n].second);
        EXPECT_LT(endpoint_error(*flow, *pairs[n].flow), limits[n]) << pairs[n].name;
    }
}

TEST(Flow, GoesBackToo) {
    constexpr int WIDTH = 200, HEIGHT = 150;
    const MovingPair there = moving::textured_pair("", WIDTH, HEIGHT, [](moving::Point p) {
        return moving::Point{p.x + 3.5, p.y - 1.25};
    });
    const MovingPair back = moving::textured_pair("", WIDTH, HEIGHT, [](moving::Point p) {
        return moving::Point{p.x - 3.5, p.y + 1.25};
    });
    const ImagePtr flow = flow_between_pictures(*there.first, *there.second, {}, true);
    EXPECT_LT(endpoint_error(*flow, *back.flow), 0.03);
}

// A change of light, long motion, and what the settings promise.
TEST(Flow, FollowsItsSettings) {
    constexpr int WIDTH = 320, HEIGHT = 200;
    MovingPair pair = moving::textured_pair("", WIDTH, HEIGHT, [](moving::Point p) {
        return moving::Point{p.x + 41, p.y + 7};
    });
    FlowSettings settings;
    EXPECT_LT(endpoint_error(*flow_between_pictures(*pair.first, *pair.second), *pair.flow), 0.05);
    settings.max_disp = 10;
    const ImagePtr limited = flow_between_pictures(*pair.first, *pair.second, settings);
    EXPECT_NEAR(std::hypot(image_get_sample(limited.get(), 100, 100, 0), image_get_sample(limited.get(), 100, 100, 1)),
                10, 0.001);
    settings = {};
    settings.oflow_res = 2;
    EXPECT_LT(endpoint_error(*flow_between_pictures(*pair.first, *pair.second, settings), *pair.flow), 0.5);

    pair = moving::textured_pair("", WIDTH, HEIGHT, [](moving::Point p) { return moving::Point{p.x + 7, p.y + 2}; });
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = 0; x < WIDTH; ++x) {
            for (K7Image* image : {pair.first.get(), pair.second.get()}) image_row<std::uint8_t>(image, y)[x] /= 2;
            image_row<std::uint8_t>(pair.second.get(), y)[x] += std::uint8_t(60 + x / 6);
        }
    settings = {};
    const double in_changed_light = endpoint_error(*flow_between_pictures(*pair.first, *pair.second), *pair.flow);
    settings.dc_fix = true;
    const double fixed = endpoint_error(*flow_between_pictures(*pair.first, *pair.second, settings), *pair.flow);
    EXPECT_LT(fixed, 0.2);
    EXPECT_LT(2 * fixed, in_changed_light);
}

TEST(Flow, IsTheSameToTheBitEverywhere) {
    const MovingPair turned = moving::textured_pair("", 147, 83, moving::turned(147, 83, 3, 1.02));
    const MovingPair jump = moving::jump_pair(330, 203);
    for (const MovingPair* pair : {&turned, &jump})
        same_bits_everywhere([&] { return flow_between_pictures(*pair->first, *pair->second); });
}

// Any size; samples that are not numbers; what is refused; nothing of an earlier pair is left.
TEST(Flow, TakesWhatItGets) {
    for (const int width : {1, 2, 7, 8, 17, 33})
        for (const int height : {1, 3, 9, 40}) {
            const ImagePtr noise = noise_image(width, height, 3, SAMPLE_F32);
            const ImagePtr flow = flow_between_pictures(*noise, *noise);
            for (int n = 0; n < 2 * width * height; ++n)
                ASSERT_LT(std::fabs(image_row<float>(flow.get(), 0)[n]), 1) << width << " " << height;
        }
    ImagePtr hostile = noise_image(60, 40, 4, SAMPLE_F32);
    const float bad[] = {NAN, INFINITY, -INFINITY, std::numeric_limits<float>::max(), 0};
    for (int n = 0; n < 60 * 40 * 4; n += 7) image_row<float>(hostile.get(), 0)[n] = bad[n % 5];
    const ImagePtr other = noise_image(60, 40, 4, SAMPLE_F32, 5);
    const ImagePtr flow = flow_between_pictures(*hostile, *other);
    for (int n = 0; n < 60 * 40 * 2; ++n) ASSERT_TRUE(std::isfinite(image_row<float>(flow.get(), 0)[n]));

    FlowFinder finder;
    EXPECT_EQ(finder.find(), nullptr);
    EXPECT_FALSE(finder.set_pair(nullptr, other.get(), {}));
    EXPECT_FALSE(finder.set_pair(noise_image(59, 40, 4, SAMPLE_F32).get(), other.get(), {}));
    FlowSettings settings;
    settings.smoothness = NAN;
    EXPECT_FALSE(finder.set_pair(hostile.get(), other.get(), settings));
    const ImagePtr again = noise_image(60, 40, 4, SAMPLE_F32, 6);
    ASSERT_TRUE(finder.set_pair(hostile.get(), other.get(), {}) && finder.find());
    ASSERT_TRUE(finder.set_pair(other.get(), again.get(), {}));
    EXPECT_EQ(finder.find(false, [] { return true; }), nullptr);
    EXPECT_TRUE(same_pixels(finder.find().get(), flow_between_pictures(*other, *again).get()));
}

}  // namespace
