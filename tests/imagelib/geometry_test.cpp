// Transposition, flips and fields against their plain definitions, for all pixel sizes.
#include "imagelib/imagelib_geometry.h"

#include <functional>

#include "pictures.h"

namespace {

ImagePtr noise(int width, int height, int channels, int type, unsigned seed = 3) {
    return noise_image(width, height, channels, type, seed);
}

// True if every pixel (x, y) of `got` is pixel where(x, y) of `source`.
bool is_moved(const ImagePtr& got, const ImagePtr& source, const std::function<std::pair<int, int>(int, int)>& where) {
    const auto pixel = [](const ImagePtr& image, int x, int y) {
        return image_row<std::byte>(image.get(), y) + std::size_t(x) * image->pixel_bytes;
    };
    for (int y = 0; y < got->height; ++y)
        for (int x = 0; x < got->width; ++x) {
            const auto [sx, sy] = where(x, y);
            if (std::memcmp(pixel(got, x, y), pixel(source, sx, sy), got->pixel_bytes) != 0) return false;
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
            SCOPED_TRACE(testing::Message() << l.width << "x" << l.height << "x" << l.channels << " type " << l.type);
            const ImagePtr image = noise(l.width, l.height, l.channels, l.type), flipped = copy_of(image);
            const ImagePtr across(image_transposed_copy(image.get())), turned(image_rotated_180_copy(image.get()));
            EXPECT_TRUE(across->width == l.height && across->height == l.width);
            EXPECT_TRUE(is_moved(across, image, [](int x, int y) { return std::pair(y, x); }));
            const auto upside_down = [&](int x, int y) { return std::pair(x, l.height - 1 - y); };
            EXPECT_TRUE(is_moved(turned, image, upside_down));
            ASSERT_TRUE(image_flip_vertical(flipped.get()));
            EXPECT_TRUE(is_moved(flipped, image, upside_down));
            ASSERT_TRUE(image_flip_horizontal(flipped.get()));
            EXPECT_TRUE(
                is_moved(flipped, image, [&](int x, int y) { return std::pair(l.width - 1 - x, l.height - 1 - y); }));
        }
    }
}

TEST(Geometry, TransposedCopyTurnsTheAttributes) {
    const ImagePtr image = noise(8, 4, 4, SAMPLE_F32);
    image_set_pixel_size(image.get(), 2.0f, 1.0f, 2);
    image_set_origin(image.get(), 3.0f, 5.0f);
    const ImagePtr across(image_transposed_copy(image.get()));
    EXPECT_EQ(across->pixel_height, 2.0f);
    EXPECT_EQ(across->pixel_aspect, 0.5f);
    EXPECT_EQ(across->physical_height, 16.0f);
    EXPECT_EQ(across->origin_x, 5.0f);
    EXPECT_EQ(across->units, 2u);
}

TEST(Geometry, WeavesAndInterpolatesFields) {
    for (const int height : {1, 2, 5, 8}) {
        const ImagePtr a = noise(9, height, 3, SAMPLE_U16, 1), b = noise(9, height, 3, SAMPLE_U16, 2);
        const ImagePtr woven = same_size(a);
        for (const bool a_first : {true, false})
            for (const bool swap : {false, true}) {
                ASSERT_TRUE(image_weave_fields(a.get(), b.get(), woven.get(), a_first, swap));
                for (int y = 0; y < height; ++y) {
                    const int from_y = !swap || (height % 2 == 1 && y == height - 1) ? y : y % 2 == 0 ? y + 1 : y - 1;
                    const ImagePtr& from = (from_y % 2 == 0) == a_first ? a : b;
                    EXPECT_EQ(std::memcmp(image_row<std::byte>(woven.get(), y),
                                          image_row<std::byte>(from.get(), from_y), a->row_bytes),
                              0)
                        << y;
                }
            }
    }
    const ImagePtr source = make_image(1, 5, 1, SAMPLE_U8), result = make_image(1, 5, 1, SAMPLE_U8);
    const std::uint8_t rows[] = {10, 200, 21, 3, 255};
    std::memcpy(source->pixels, rows, sizeof rows);
    const struct {
        int field;
        bool a_first;
        std::uint8_t rows[5];
    } cases[] = {
        {0, true, {10, 15, 21, 138, 255}}, {1, true, {200, 200, 101, 3, 3}}, {1, false, {10, 15, 21, 138, 255}}};
    for (const auto& test : cases) {
        ASSERT_TRUE(image_interpolate_field(source.get(), result.get(), test.field, test.a_first));
        EXPECT_EQ(std::memcmp(result->pixels, test.rows, 5), 0) << test.field << test.a_first;
    }
    const ImagePtr single = noise(4, 1, 4, SAMPLE_F32), copy = same_size(single);
    ASSERT_TRUE(image_interpolate_field(single.get(), copy.get(), 1));
    EXPECT_TRUE(same_pixels(single, copy));
}

}  // namespace
