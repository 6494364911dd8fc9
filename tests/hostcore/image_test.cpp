// Images: addresses of pixels in every layout, conversion of samples, and the pattern around the pixels.
#include <cmath>
#include <limits>
#include <stdexcept>

#include "fixture.h"

using ofxhost::Depth;
using ofxhost::Guard;
using ofxhost::Image;
using ofxhost::ImageLayout;

namespace {

TEST(ImageTest, LimitsAndRoundsIntegerSamples) {
    Image image(support::layoutOf(1, 1, Depth::Byte));
    const auto stored = [&](float value) {
        image.setSample(0, 0, 0, value);
        return static_cast<int>(image.data()[0]);
    };
    EXPECT_EQ(stored(0.5f), 128);
    EXPECT_EQ(stored(-3.0f), 0);
    EXPECT_EQ(stored(7.0f), 255);
    EXPECT_EQ(stored(std::nanf("")), 0);
    EXPECT_EQ(stored(std::numeric_limits<float>::infinity()), 255);
}

TEST(ImageTest, RefusesImpossibleSizes) {
    EXPECT_THROW(Image(support::layoutOf(0, 4)), std::length_error);
    EXPECT_THROW(Image(support::layoutOf(4, -1)), std::length_error);
    EXPECT_THROW(Image(support::layoutOf(2000000000, 1)), std::length_error);
    ImageLayout layout;
    layout.bounds = {-2000000000, 0, 2000000000, 1};
    EXPECT_THROW(Image{layout}, std::length_error);
    EXPECT_THROW(Image(support::layoutOf(2, 2)).fromFloats({1.0f}), std::length_error);
}

}  // namespace
