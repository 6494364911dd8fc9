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

TEST(ImageTest, AddressesPixelsInEveryLayout) {
    for (const Depth depth : {Depth::Byte, Depth::Short, Depth::Float}) {
        for (const int padding : {0, 3, 40}) {
            for (const bool negative : {false, true}) {
                ImageLayout layout = support::layoutOf(5, 3, depth);
                layout.bounds = {-2, 7, 3, 10};
                layout.padding = padding;
                layout.negativeRows = negative;
                Image image(layout);
                EXPECT_EQ(image.rowBytes() < 0, negative);
                EXPECT_EQ(image.rowBytes() % (static_cast<int>(depth) / 8), 0) << "samples stay aligned";
                EXPECT_GE(std::abs(image.rowBytes()), 5 * 4 * static_cast<int>(depth) / 8 + padding);
                EXPECT_EQ(image.pixel(-2, 8) - image.data(), image.rowBytes());
                EXPECT_EQ(image.pixel(0, 7) - image.data(), 2 * 4 * static_cast<int>(depth) / 8);
                std::vector<float> samples(5 * 3 * 4);
                for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(i * 4 % 256) / 255.0f;
                image.fromFloats(samples);
                EXPECT_TRUE(image.guardsIntact());
                EXPECT_LE(support::largestDifference(image.toFloats(), samples), depth == Depth::Short ? 1e-5 : 0.0);
                EXPECT_EQ(image.sample(-1, 8, 2), image.toFloats()[(5 + 1) * 4 + 2]);
            }
        }
    }
}

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

TEST(ImageTest, NoticesWritesOutsideThePixels) {
    ImageLayout layout = support::layoutOf(4, 4, Depth::Byte);
    layout.padding = 8;
    for (const std::ptrdiff_t offset : {-1, 16, 23, 4 * 24}) {
        Image image(layout);
        image.data()[offset] = std::byte{1};
        EXPECT_FALSE(image.guardsIntact()) << offset;
    }
    Image image(layout);
    const auto before = image.checksum();
    image.data()[15] = std::byte{1};
    EXPECT_TRUE(image.guardsIntact());
    EXPECT_NE(image.checksum(), before);
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

// Pixels reach up to the page that nobody may touch, on one side; on the other a pattern fills up the last page.
TEST(ImageTest, BetweenGuardPagesTheNextByteIsAFault) {
    for (const Guard guard : {Guard::PageBehind, Guard::PageBefore}) {
        for (const bool negative : {false, true}) {
            ImageLayout layout = support::layoutOf(13, 7, Depth::Short);
            layout.guard = guard;
            layout.negativeRows = negative;
            layout.padding = 6;
            Image image(layout);
            std::vector<float> samples(13 * 7 * 4, 0.25f);
            image.fromFloats(samples);
            EXPECT_TRUE(image.guardsIntact());
            EXPECT_LE(support::largestDifference(image.toFloats(), samples), 1e-5);
            auto* first = const_cast<std::byte*>(image.firstByte());
            std::byte* const outside = guard == Guard::PageBehind ? first + image.pixelMemory() : first - 1;
            EXPECT_DEATH(*static_cast<volatile std::byte*>(outside) = std::byte{1}, "");
            std::byte* const padded = guard == Guard::PageBehind ? first - 1 : first + image.pixelMemory();
            *padded = std::byte{1};
            EXPECT_FALSE(image.guardsIntact());
            image.makeReadOnly();
            EXPECT_DEATH(*static_cast<volatile std::byte*>(first) = std::byte{1}, "");
        }
    }
}

}  // namespace
