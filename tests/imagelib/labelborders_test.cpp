// Votes against their definition, depths against the distance to a border that is known, and the guided filter against
// its formula.
#include "imagelib/imagelib_labelborders.h"

#include <map>

#include "imagelib/imagelib_guided.h"
#include "pictures.h"

namespace {

ImagePtr labels_of(int width, int height, const std::function<std::uint32_t(int x, int y)>& label) {
    ImagePtr image = make_image(width, height, 1, SAMPLE_U32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image_row<std::uint32_t>(image.get(), y)[x] = label(x, y);
    return image;
}

TEST(LabelBorders, AreWhatThePyramidVotesFor) {
    const int width = 83, height = 71;
    const ImagePtr random = float_noise(width, height, 5, 0, 1);
    const ImagePtr labels = labels_of(width, height, [&](int x, int y) {
        return (std::uint32_t(at(random, x / 5, y / 4, 0) * 4.0f) * 60 + (x > 60 ? 75 : 0)) & 255u;
    });
    const LabelSmoothing smoothing{.half_x = 3, .half_y = 1};
    const ImagePtr depth = make_image(width, height, 1, SAMPLE_F32);
    const ImagePtr smooth = same_bits_everywhere([&] {
        ImagePtr result = make_image(width, height, 1, SAMPLE_U32);
        EXPECT_TRUE(image_smooth_labels(labels.get(), smoothing, result.get(), depth.get()));
        return result;
    });
    const auto share = [](int off, int half) { return 2 * half + 1 - std::abs(off); };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::map<std::uint32_t, int> votes;
            for (int dy = -2; dy <= 2; ++dy)
                for (int dx = -6; dx <= 6; ++dx)
                    votes[image_row<std::uint32_t>(
                        labels.get(), std::clamp(y + dy, 0, height - 1))[std::clamp(x + dx, 0, width - 1)]] +=
                        share(dx, 3) * share(dy, 1);
            std::uint32_t best = 0;
            int most = 0;
            for (const auto& [label, count] : votes)
                if (count > most) best = label, most = count;
            ASSERT_EQ(image_row<std::uint32_t>(smooth.get(), y)[x], best) << x << ' ' << y;
        }
    const ImagePtr beyond = labels_of(9, 9, [](int, int) { return 256u; });
    const ImagePtr small = make_image(9, 9, 1, SAMPLE_U32);
    EXPECT_FALSE(image_smooth_labels(beyond.get(), smoothing, small.get(), nullptr));
}

TEST(LabelBorders, TellTheDistanceOfStraightOnes) {
    const int side = 120;
    for (const double turn : {0.0, 0.3, 0.7, 1.2}) {
        const auto beyond = [&](double x, double y) {
            return (x - side / 2) * std::cos(turn) + (y - side / 2) * std::sin(turn);
        };
        const ImagePtr labels = labels_of(side, side, [&](int x, int y) { return beyond(x, y) > 0 ? 7u : 3u; });
        const ImagePtr smooth = make_image(side, side, 1, SAMPLE_U32), depth = make_image(side, side, 1, SAMPLE_F32);
        ASSERT_TRUE(image_smooth_labels(labels.get(), {.half_x = 3, .half_y = 3}, smooth.get(), depth.get()));
        for (int y = 30; y < 90; ++y)
            for (int x = 30; x < 90; ++x) {
                const double off = std::fabs(beyond(x, y));
                if (off < 5) {
                    EXPECT_NEAR(at(depth, x, y, 0), off, 0.55 + 0.15 * off) << turn << ' ' << x << ' ' << y;
                } else if (off > 9.5) {
                    EXPECT_EQ(at(depth, x, y, 0), 7) << turn;
                }
            }
    }
}

TEST(GuidedSmooth, TakesGrainAndLeavesEdges) {
    const ImagePtr grain = float_noise(200, 120, 8, -0.02f, 0.02f);
    const ImagePtr smooth = same_bits_everywhere([&] {
        ImagePtr image = picture(200, 120, [&](int x, int y, int c) {
            return c == 3 ? 0.7f : (x < 100 ? 0.2f : 0.8f) + at(grain, x, y, c);
        });
        EXPECT_TRUE(image_guided_smooth(image.get(), 8, 1, 0.08f));
        return image;
    });
    for (int y = 20; y < 100; ++y) {
        EXPECT_GT(at(smooth, 100, y, 1) - at(smooth, 99, y, 1), 0.45f);
        for (int x = 20; x < 70; ++x) EXPECT_NEAR(at(smooth, x, y, 1), 0.2f, 0.006f);
        EXPECT_EQ(at(smooth, 5, y, 3), 0.7f);
    }
    const ImagePtr shrunk = image_shrunk(smooth.get(), 7);
    ASSERT_EQ(shrunk->width, 29);
    EXPECT_NEAR(at(shrunk, 28, 17, 0), at(smooth, 198, 119, 0), 0.02f);
    EXPECT_FALSE(image_shrunk(smooth.get(), 0));
}

}  // namespace
