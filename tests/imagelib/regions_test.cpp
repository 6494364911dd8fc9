// Distances, regions, specks and poles against slow definitions.
#include "imagelib/imagelib_regions.h"

#include <map>
#include <random>
#include <set>

#include "imagelib/imagelib_distance.h"
#include "pictures.h"

namespace {

std::uint32_t& label(const ImagePtr& image, int x, int y) { return image_row<std::uint32_t>(image.get(), y)[x]; }

template <class Label>
ImagePtr labelled(int width, int height, Label of) {
    ImagePtr image = make_image(width, height, 1, SAMPLE_U32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) label(image, x, y) = static_cast<std::uint32_t>(of(x, y));
    return image;
}

// Blobs, stripes, single pixels, one label only.
std::vector<ImagePtr> examples() {
    std::vector<ImagePtr> images;
    std::mt19937 random(4);
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 19}, {23, 1}, {37, 29}, {70, 33}}) {
        images.push_back(labelled(width, height, [](int x, int y) {
            return int(3 + 2 * std::sin(0.3 * x + 0.1 * y) + 1.5 * std::sin(0.4 * y - 0.2 * x));
        }));
        images.push_back(labelled(width, height, [&](int, int) { return random() % 3; }));
        images.push_back(labelled(width, height, [&](int, int) { return random() % 60 == 0; }));
        images.push_back(labelled(width, height, [](int, int) { return 7; }));
    }
    return images;
}

TEST(Distance, IsThatOfTheNearestPixelOfAnotherLabel) {
    for (const ImagePtr& labels : examples())
        for (const bool edge : {false, true}) {
            const ImagePtr found = same_bits_everywhere([&] {
                ImagePtr distance = make_image(labels->width, labels->height, 1, SAMPLE_F32);
                EXPECT_TRUE(image_label_distance(labels.get(), distance.get(), edge));
                return distance;
            });
            const ImagePtr expected = picture(
                labels->width, labels->height,
                [&](int x, int y, int) {
                    double nearest = 1e12;
                    for (int v = -1; v <= labels->height; ++v)
                        for (int u = -1; u <= labels->width; ++u) {
                            const bool inside = u >= 0 && v >= 0 && u < labels->width && v < labels->height;
                            if (inside ? label(labels, u, v) == label(labels, x, y) : !edge) continue;
                            nearest = std::min(nearest, double((u - x) * (u - x) + (v - y) * (v - y)));
                        }
                    return std::min(std::sqrt(nearest), double(DISTANCE_NONE));
                },
                1);
            EXPECT_EQ(largest_difference(found, expected), 0) << labels->width << "x" << labels->height;
        }
}

TEST(Distance, OfAMaskHasItsSignAndItsBorderBetweenPixels) {
    const ImagePtr mask = picture(40, 30, [](int x, int y, int c) { return c == 3 && x >= 10 && y < 20 ? 0.6 : 0.1; });
    const ImagePtr distance = make_image(40, 30, 1, SAMPLE_F32);
    ASSERT_TRUE(image_signed_distance(mask.get(), 3, 0.5f, distance.get()));
    EXPECT_EQ(at(distance, 9, 5, 0), 0.5f);
    EXPECT_EQ(at(distance, 10, 5, 0), -0.5f);
    EXPECT_EQ(at(distance, 15, 0, 0), -5.5f);
    EXPECT_FLOAT_EQ(at(distance, 6, 23, 0), std::sqrt(32.0f) - 0.5f);
    EXPECT_FALSE(image_signed_distance(mask.get(), 4, 0.5f, distance.get()));
    EXPECT_FALSE(image_signed_distance(mask.get(), 3, 0.5f, nullptr));
}

// Regions by spreading from pixel to pixel.
std::vector<std::vector<int>> flooded(const ImagePtr& labels) {
    const int width = labels->width, height = labels->height;
    std::vector<char> seen(std::size_t(width) * height);
    std::vector<std::vector<int>> regions;
    for (int start = 0; start < width * height; ++start) {
        if (seen[std::size_t(start)]) continue;
        std::vector<int> open{start}, members;
        seen[std::size_t(start)] = 1;
        while (!open.empty()) {
            const int place = open.back(), x = place % width, y = place / width;
            open.pop_back();
            members.push_back(place);
            for (const auto& [u, v] : {std::pair{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}}) {
                if (u < 0 || v < 0 || u >= width || v >= height || seen[std::size_t(v * width + u)]) continue;
                if (label(labels, u, v) != label(labels, x, y)) continue;
                seen[std::size_t(v * width + u)] = 1;
                open.push_back(v * width + u);
            }
        }
        regions.push_back(members);
    }
    return regions;
}

TEST(Regions, AreThoseOfAFloodAndHoldTheirPoles) {
    for (const ImagePtr& labels : examples()) {
        const auto expected = flooded(labels);
        const ImagePtr regions = make_image(labels->width, labels->height, 1, SAMPLE_U32);
        std::vector<PictureRegion> found;
        ASSERT_TRUE(image_regions(labels.get(), regions.get(), found));
        ASSERT_EQ(found.size(), expected.size());
        ASSERT_TRUE(image_region_poles(regions.get(), found));
        const ImagePtr distance = make_image(labels->width, labels->height, 1, SAMPLE_F32);
        ASSERT_TRUE(image_label_distance(regions.get(), distance.get(), true));
        for (std::size_t i = 0; i < found.size(); ++i) {
            ASSERT_EQ(found[i].area, std::int64_t(expected[i].size()));
            double sum_x = 0, widest = 0;
            int top = 0;
            for (const int place : expected[i]) {
                const int x = place % labels->width, y = place / labels->width;
                EXPECT_EQ(label(regions, x, y), i);
                EXPECT_EQ(label(labels, x, y), found[i].label);
                sum_x += x + 0.5, top = std::max(top, y);
                widest = std::max(widest, double(at(distance, x, y, 0)));
            }
            EXPECT_NEAR(double(found[i].centre_x), sum_x / double(found[i].area), 1e-4);
            EXPECT_EQ(found[i].top, top);
            EXPECT_EQ(label(regions, int(found[i].pole_x), int(found[i].pole_y)), i);
            EXPECT_GE(double(found[i].pole_radius) + 0.5, 0.9 * widest - 1e-4);
        }
    }
}

TEST(Regions, SpecksJoinTheLabelAroundThem) {
    // A speck of two pixels in label 1 that touches label 5 on one side only; its hole would make 1 one region again.
    const ImagePtr small =
        labelled(20, 10, [](int x, int y) { return x > 15 ? 5 : (y == 4 && (x == 14 || x == 15) ? 9 : 1); });
    ASSERT_TRUE(image_merge_specks(small.get(), 3));
    EXPECT_EQ(label(small, 14, 4), 1u);
    EXPECT_EQ(label(small, 15, 4), 1u);
    EXPECT_EQ(label(small, 16, 4), 5u);
    for (const ImagePtr& labels : examples())
        for (const int least : {2, 9, 60}) {
            const ImagePtr merged = same_bits_everywhere([&] {
                ImagePtr image = copy_of(labels);
                EXPECT_TRUE(image_merge_specks(image.get(), least));
                return image;
            });
            const auto before = flooded(labels), after = flooded(merged);
            for (const auto& region : after) EXPECT_TRUE(after.size() == 1 || int(region.size()) >= least);
            for (const auto& region : before)  // what is no speck keeps its label
                for (const int place : region) {
                    const int x = place % labels->width, y = place / labels->width;
                    EXPECT_TRUE(int(region.size()) < least || label(merged, x, y) == label(labels, x, y));
                }
        }
}

}  // namespace
