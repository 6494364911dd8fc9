// The arithmetic between files, host images and floats.

#include "host/cli/picture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "host/cli/input_source.h"

namespace quillon {
namespace {

TEST(Levels, EveryCodeComesBackAndRoundingIsToNearest) {
    for (int code = 0; code <= 255; ++code)
        ASSERT_EQ(quantise<std::uint8_t>(sampleOf(static_cast<std::uint8_t>(code))), code);
    for (int code = 0; code <= 65535; ++code)
        ASSERT_EQ(quantise<std::uint16_t>(sampleOf(static_cast<std::uint16_t>(code))), code);
    EXPECT_EQ(quantise<std::uint8_t>(0.49f / 255.0f), 0);
    EXPECT_EQ(quantise<std::uint8_t>(0.51f / 255.0f), 1);
    EXPECT_EQ(quantise<std::uint8_t>(254.4f / 255.0f), 254);
    EXPECT_EQ(quantise<std::uint16_t>(100.6f / 65535.0f), 101);
    for (const float low : {-1.0f, -0.0f, -HUGE_VALF, std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(quantise<std::uint16_t>(low), 0) << low;
    for (const float high : {1.0f, 1.5f, 3e38f, HUGE_VALF}) EXPECT_EQ(quantise<std::uint8_t>(high), 255) << high;
}

Picture randomPicture(int width, int height) {
    Picture picture(width, height);
    std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
    std::uniform_real_distribution<float> values(-2.0f, 5.0f);
    for (float& sample : picture.rgba) sample = values(random);
    return picture;
}

// From the definition: the integral of the source, constant over each pixel, over the area of the scaled pixel.
double boxMean(const Picture& source, double scale, int x, int y, std::size_t c) {
    const auto overlap = [](double a1, double a2, double b1, double b2) {
        return std::fmax(0.0, std::fmin(a2, b2) - std::fmax(a1, b1));
    };
    double sum = 0.0, area = 0.0;
    for (int sy = 0; sy < source.height; ++sy)
        for (int sx = 0; sx < source.width; ++sx) {
            const double part =
                overlap(x / scale, (x + 1) / scale, sx, sx + 1) * overlap(y / scale, (y + 1) / scale, sy, sy + 1);
            sum += part * static_cast<double>(source.row(sy)[static_cast<std::size_t>(sx) * 4 + c]);
            area += part;
        }
    return sum / area;
}

TEST(BoxScale, IsTheMeanOfTheAreaCovered) {
    for (const double scale : {0.5, 0.25, 1.0 / 3.0, 0.4, 0.77, 0.999, 0.05})
        for (const auto& [width, height] : {std::pair(1, 1), {7, 5}, {8, 8}, {13, 2}, {40, 3}}) {
            const Picture source = randomPicture(width, height);
            const Picture scaled = boxScaled(source, scale);
            ASSERT_EQ(scaled.width, std::max(1, static_cast<int>(width * scale)));
            ASSERT_EQ(scaled.height, std::max(1, static_cast<int>(height * scale)));
            for (int y = 0; y < scaled.height; ++y)
                for (int x = 0; x < scaled.width; ++x)
                    for (std::size_t c = 0; c < 4; ++c)
                        ASSERT_NEAR(scaled.row(y)[static_cast<std::size_t>(x) * 4 + c], boxMean(source, scale, x, y, c),
                                    1e-5)
                            << width << "x" << height << " at " << scale << ", pixel " << x << "," << y;
        }
}

TEST(HostImages, HoldThePictureAtEachDepth) {
    Picture picture = randomPicture(5, 3);
    picture.rgba[0] = 7.25f;
    picture.rgba[1] = std::numeric_limits<float>::quiet_NaN();
    const auto image = toHostImage(picture, {ofxhost::Depth::Float, 2.0, 0.5});
    EXPECT_EQ(image->layout().pixelAspect, 2.0);
    EXPECT_EQ(image->layout().renderScale.x, 0.5);
    const Picture back = fromHostImage(*image);
    EXPECT_TRUE(std::isnan(back.rgba[1]));
    picture.rgba[1] = 0.3f;
    EXPECT_EQ(fromHostImage(*toHostImage(picture, {})).rgba, picture.rgba);
    for (const auto depth : {ofxhost::Depth::Byte, ofxhost::Depth::Short}) {
        const float white = depth == ofxhost::Depth::Byte ? 255.0f : 65535.0f;
        const Picture rounded = fromHostImage(*toHostImage(picture, {depth, 1.0, 1.0}));
        for (std::size_t i = 0; i < picture.rgba.size(); ++i) {
            const double limited = std::fmin(std::fmax(static_cast<double>(picture.rgba[i]), 0.0), 1.0);
            const double level = std::floor(limited * static_cast<double>(white) + 0.5);
            ASSERT_EQ(rounded.rgba[i], static_cast<float>(level) / white) << i;
        }
    }
    EXPECT_EQ(toHostImage(picture, {})->sample(2, 1, 3), picture.row(1)[2 * 4 + 3]) << "rows keep their order";
}

}  // namespace
}  // namespace quillon
