// Transposition, flips and fields against their plain definitions, for all pixel sizes.
#include "imagelib/imagelib_geometry.h"

#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/row_threads.h"

namespace {

ImagePtr noise(int width, int height, int channels, int type, unsigned seed = 3) {
    ImagePtr image = make_image(width, height, channels, type);
    std::mt19937 random(seed);
    auto* bytes = static_cast<std::uint8_t*>(image->pixels);
    for (std::size_t i = 0; i < std::size_t(image->row_bytes) * height; ++i) bytes[i] = random() & 0x3f;  // no NaN
    return image;
}

const std::byte* pixel(const K7Image* image, int x, int y) {
    return image_row<std::byte>(image, y) + std::size_t(x) * image->pixel_bytes;
}

// True if every pixel (x, y) of `got` is pixel where(x, y) of `source`.
bool is_moved(const K7Image* got, const K7Image* source, const std::function<std::pair<int, int>(int, int)>& where) {
    for (int y = 0; y < got->height; ++y) {
        for (int x = 0; x < got->width; ++x) {
            const auto [sx, sy] = where(x, y);
            if (std::memcmp(pixel(got, x, y), pixel(source, sx, sy), got->pixel_bytes) != 0) return false;
        }
    }
    return true;
}

struct Layout {
    int width, height, channels, type;
};
const Layout LAYOUTS[] = {{1, 1, 4, SAMPLE_F32},    {7, 5, 1, SAMPLE_U8},     {65, 70, 1, SAMPLE_U16},
                          {33, 129, 1, SAMPLE_F32}, {64, 64, 2, SAMPLE_F32},  {130, 67, 3, SAMPLE_F32},
                          {97, 131, 4, SAMPLE_F32}, {40, 66, 4, SAMPLE_U8},   {31, 17, 5, SAMPLE_U8},
                          {2048, 3, 4, SAMPLE_F32}, {3, 2048, 4, SAMPLE_F32}, {19, 90, 30, SAMPLE_U32}};

TEST(Geometry, MovesEveryPixelOnAnyThreads) {
    for (const int threads : {1, 2, 3, 7}) {
        const RowThreads dispatcher(threads);
        for (const Layout& l : LAYOUTS) {
            const ImagePtr image = noise(l.width, l.height, l.channels, l.type);
            SCOPED_TRACE(testing::Message() << l.width << "x" << l.height << "x" << l.channels << " type " << l.type);
            const ImagePtr across(image_transposed_copy(image.get()));
            ASSERT_TRUE(across);
            EXPECT_TRUE(across->width == l.height && across->height == l.width);
            EXPECT_TRUE(is_moved(across.get(), image.get(), [](int x, int y) { return std::pair(y, x); }));
            const ImagePtr half_turn(image_rotated_180_copy(image.get()));
            const auto upside_down = [&](int x, int y) { return std::pair(x, l.height - 1 - y); };
            EXPECT_TRUE(is_moved(half_turn.get(), image.get(), upside_down));
            const ImagePtr flipped(image_duplicate(image.get()));
            ASSERT_TRUE(image_flip_vertical(flipped.get()));
            EXPECT_TRUE(is_moved(flipped.get(), image.get(), upside_down));
            ASSERT_TRUE(image_flip_horizontal(flipped.get()));
            EXPECT_TRUE(is_moved(flipped.get(), image.get(),
                                 [&](int x, int y) { return std::pair(l.width - 1 - x, l.height - 1 - y); }));
        }
    }
}

TEST(Geometry, TransposedCopyTurnsTheAttributes) {
    const ImagePtr image = noise(8, 4, 4, SAMPLE_F32);
    image_set_pixel_size(image.get(), 2.0f, 1.0f, 2);
    image_set_origin(image.get(), 3.0f, 5.0f);
    const ImagePtr across(image_transposed_copy(image.get()));
    EXPECT_EQ(across->pixel_width, 1.0f);
    EXPECT_EQ(across->pixel_height, 2.0f);
    EXPECT_EQ(across->pixel_aspect, 0.5f);
    EXPECT_EQ(across->physical_width, 4.0f);
    EXPECT_EQ(across->physical_height, 16.0f);
    EXPECT_EQ(across->origin_x, 5.0f);
    EXPECT_EQ(across->units, 2u);
}

TEST(Geometry, WeavesFields) {
    for (const int height : {1, 2, 5, 8}) {
        const ImagePtr a = noise(9, height, 3, SAMPLE_U16, 1), b = noise(9, height, 3, SAMPLE_U16, 2);
        const ImagePtr woven(image_clone_layout(a.get()));
        for (const bool a_first : {true, false}) {
            for (const bool swap : {false, true}) {
                ASSERT_TRUE(image_weave_fields(a.get(), b.get(), woven.get(), a_first, swap));
                for (int y = 0; y < height; ++y) {
                    const int from_y = !swap || (height % 2 == 1 && y == height - 1) ? y : y % 2 == 0 ? y + 1 : y - 1;
                    const K7Image* from = (from_y % 2 == 0) == a_first ? a.get() : b.get();
                    EXPECT_EQ(std::memcmp(pixel(woven.get(), 0, y), pixel(from, 0, from_y), a->row_bytes), 0) << y;
                }
            }
        }
    }
}

TEST(Geometry, InterpolatesTheOtherField) {
    const ImagePtr source = make_image(1, 5, 1, SAMPLE_U8), result = make_image(1, 5, 1, SAMPLE_U8);
    const std::uint8_t rows[] = {10, 200, 21, 3, 255};
    std::memcpy(source->pixels, rows, sizeof rows);
    const auto expect_rows = [&](std::initializer_list<int> expected) {
        const auto* got = static_cast<const std::uint8_t*>(result->pixels);
        EXPECT_EQ(std::vector<int>(got, got + 5), std::vector<int>(expected));
    };
    ASSERT_TRUE(image_interpolate_field(source.get(), result.get(), 0));
    expect_rows({10, 15, 21, 138, 255});
    ASSERT_TRUE(image_interpolate_field(source.get(), result.get(), 1));
    expect_rows({200, 200, 101, 3, 3});
    ASSERT_TRUE(image_interpolate_field(source.get(), result.get(), 1, false));
    expect_rows({10, 15, 21, 138, 255});
    const ImagePtr single = noise(4, 1, 4, SAMPLE_F32), copy(image_clone_layout(single.get()));
    ASSERT_TRUE(image_interpolate_field(single.get(), copy.get(), 1));
    EXPECT_EQ(std::memcmp(single->pixels, copy->pixels, single->row_bytes), 0);
}

TEST(Geometry, Refusals) {
    const ImagePtr image = noise(4, 6, 4, SAMPLE_F32);
    const ImagePtr same = noise(4, 6, 4, SAMPLE_F32), other_type = noise(6, 4, 4, SAMPLE_U32),
                   fewer = noise(6, 4, 3, SAMPLE_F32), square = noise(5, 5, 4, SAMPLE_F32);
    EXPECT_FALSE(image_transpose(image.get(), same.get()));
    EXPECT_FALSE(image_transpose(image.get(), other_type.get()));
    EXPECT_FALSE(image_transpose(image.get(), fewer.get()));
    EXPECT_FALSE(image_transpose(square.get(), square.get()));
    EXPECT_FALSE(image_transpose(nullptr, nullptr));
    EXPECT_EQ(image_transposed_copy(nullptr), nullptr);
    EXPECT_EQ(image_rotated_180_copy(nullptr), nullptr);
    EXPECT_FALSE(image_flip_vertical(nullptr));
    EXPECT_FALSE(image_flip_horizontal(nullptr));
    EXPECT_FALSE(image_weave_fields(image.get(), fewer.get(), same.get(), true));
    EXPECT_FALSE(image_interpolate_field(image.get(), fewer.get(), 0));
    EXPECT_FALSE(image_interpolate_field(nullptr, image.get(), 0));
}

}  // namespace
