// Shifts, shears, placing and rotation.
#include <numbers>

#include "imagelib/imagelib_geometry.h"
#include "imagelib/imagelib_resample.h"
#include "pictures.h"

namespace {

double source_sample(const K7Image* image, int i, int across, int c, bool rows, int edge) {
    const int n = rows ? image->width : image->height;
    if (i < 0 || i >= n) {
        if (edge == EDGE_BLACK) return 0;
        if (edge == EDGE_CLAMP) i = i < 0 ? 0 : n - 1;
        if (edge == EDGE_WRAP) i = ((i % n) + n) % n;
        if (edge == EDGE_MIRROR)
            i = std::abs(i) % (2 * n) < n ? std::abs(i) % (2 * n) : 2 * n - 1 - std::abs(i) % (2 * n);
    }
    return rows ? image_get_sample(image, i, across, c) : image_get_sample(image, across, i, c);
}

// Every sample on its own: position, window, weights.
ImagePtr sheared(const ImagePtr& source, int size, bool rows, double shear, double offset,
                 const ImagelibKernel& kernel) {
    const int width = rows ? size : source->width, height = rows ? source->height : size;
    ImagePtr result = make_image(width, height, source->channels, source->sample_type);
    std::vector<float> pixel(source->channels);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int along = rows ? x : y, across = rows ? y : x;
            const double p = along + (offset - across * shear);
            for (int c = 0; c < source->channels; ++c) {
                float sum = 0;
                std::int64_t fixed = 0;
                for (int j = int(std::ceil(p - kernel.radius)); j <= std::floor(p + kernel.radius); ++j) {
                    const int index = int(std::min(std::fabs(j - p) * 512, 512.0 * kernel.radius));
                    const double s = source_sample(source.get(), j, across, c, rows, kernel.edge_mode);
                    sum += kernel.weights[index] * float(s);
                    fixed += kernel.fixed_weights[index] * std::int64_t(s);
                }
                pixel[c] = source->sample_type == SAMPLE_F32 ? sum : float(fixed >> 10);
            }
            image_put_pixel(result.get(), x, y, pixel.data());
        }
    return result;
}

ImagePtr rotated(const ImagePtr& source, float degrees, int type, int edge) {
    return ImagePtr(image_rotate(source.get(), degrees, type, edge));
}

TEST(Shear, FollowsTheDefinitionForAllFiltersEdgesAndSampleTypes) {
    for (const int sample_type : SAMPLE_TYPES)
        for (const auto& [w, h] : {std::pair{1, 1}, {3, 9}, {41, 17}})
            for (const int channels : {1, 3, 4}) {
                const ImagePtr source = noise_image(w, h, channels, sample_type, 21, -0.2f, 1.2f);
                for (int way = 0; way < 4 * 6 * 2; ++way) {
                    const int edge = way % 4, type = way / 4 % 6;
                    const bool rows = way / 24;
                    const ImagelibKernel kernel(type, edge);
                    const int size = (rows ? w : h) + 7;
                    const ImagePtr result = make_image(rows ? size : w, rows ? h : size, channels, sample_type);
                    auto pass = rows ? shear_row_pass : shear_column_pass;
                    ASSERT_TRUE(pass(source.get(), result.get(), 0.37, -2.3, &kernel));
                    // Integers agree exactly, but for what a float holds of 32 bits.
                    const double tolerance = sample_type == SAMPLE_F32 ? 1e-6 : sample_type == SAMPLE_U32 ? 512 : 0;
                    ASSERT_LE(largest_difference(result, sheared(source, size, rows, 0.37, -2.3, kernel)), tolerance)
                        << "samples " << sample_type << " type " << type << " edge " << edge << " rows " << rows;
                }
            }
}

TEST(Shift, WholeNumbersMovePixelsAndZeroCopies) {
    const ImagePtr source = float_noise(23, 14), moved = same_size(source), larger = make_image(30, 20, 4, SAMPLE_F32);
    ASSERT_TRUE(image_translate_subpixel(source.get(), moved.get(), 3, -2, KERNEL_CUBIC, EDGE_WRAP));
    EXPECT_TRUE(same_pixels(
        moved, picture(23, 14, [&](int x, int y, int c) { return at(source, (x + 3) % 23, (y + 12) % 14, c); })));
    ASSERT_TRUE(image_translate_subpixel(source.get(), moved.get(), 0, 0, KERNEL_BSPLINE, EDGE_BLACK));
    EXPECT_TRUE(same_pixels(source, moved));
    for (const int edge : {int(EDGE_CLAMP), 9}) {  // the second is none: black
        ASSERT_TRUE(image_translate_subpixel(source.get(), larger.get(), 0, 0, KERNEL_BSPLINE, edge));
        EXPECT_EQ(at(larger, 29, 19, 2), edge == 9 ? 0 : at(source, 22, 13, 2));
    }
}

TEST(Place, PastesAndCompositesAboutTheMiddle) {
    const ImagePtr spot = picture(4, 2, [](int, int, int c) { return c == 3 ? 0.25 : 0.5; });
    const ImagePtr frame = picture(12, 10, [](int, int, int) { return 1; });
    ASSERT_TRUE(image_paste_at(spot.get(), frame.get(), 6, 5, KERNEL_CUBIC));
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 12; ++x) EXPECT_EQ(at(frame, x, y, 0), x >= 4 && x < 8 && y >= 4 && y < 6 ? 0.5f : 0.0f);
    image_fill(frame.get(), 1);
    ASSERT_TRUE(image_composite_at(spot.get(), frame.get(), 1, 5, KERNEL_CUBIC, false));
    EXPECT_FLOAT_EQ(at(frame, 2, 4, 0), 0.75f + 0.125f);
    EXPECT_EQ(at(frame, 3, 4, 0), 1);
    image_fill(frame.get(), 1);
    ASSERT_TRUE(image_composite_at(spot.get(), frame.get(), 11.5f, 5, KERNEL_TRIANGLE, true));
    EXPECT_FLOAT_EQ(at(frame, 10, 5, 0), 0.75f + 0.5f);
    EXPECT_FLOAT_EQ(at(frame, 9, 5, 0), 1 - 0.125f + 0.25f);  // half a pixel of the spot
}

TEST(Rotate, QuarterTurnsMovePixelsExactly) {
    for (const int sample_type : {SAMPLE_U8, SAMPLE_F32}) {
        const ImagePtr source = noise_image(9, 6, 3, sample_type, 31);
        for (int quarter = -4; quarter <= 8; ++quarter) {
            const ImagePtr turned = rotated(source, float(quarter * 90), KERNEL_BSPLINE, EDGE_BLACK);
            const int turns = ((quarter % 4) + 4) % 4;
            ASSERT_EQ(turned->width, turns & 1 ? 6 : 9);
            ASSERT_EQ(turned->height, turns & 1 ? 9 : 6);
            for (int y = 0; y < 6; ++y)
                for (int x = 0; x < 9; ++x) {
                    // A quarter turn brings the x axis to falling rows and the y axis to rising columns.
                    const int to_x[] = {x, y, 8 - x, 5 - y}, to_y[] = {y, 8 - x, 5 - y, x};
                    ASSERT_EQ(image_get_sample(turned.get(), to_x[turns], to_y[turns], 1),
                              image_get_sample(source.get(), x, y, 1))
                        << quarter;
                }
        }
    }
}

TEST(Rotate, TurnsALinearRampAboutItsMiddleAndHoldsTheWholePicture) {
    const ImagePtr ramp = picture(61, 43, [](int x, int y, int) { return 1 + (x - 30) * 0.004 + (y - 21) * 0.007; });
    for (const float degrees : {13.0f, 45.0f, 80.0f, 100.0f, 200.0f, -20.0f}) {
        const ImagePtr turned = rotated(ramp, degrees, KERNEL_BSPLINE, EDGE_BLACK);
        const double a = degrees * std::numbers::pi / 180;
        for (int y = 0; y < turned->height; ++y)
            for (int x = 0; x < turned->width; ++x) {
                const double dx = x - (turned->width - 1) / 2.0, dy = y - (turned->height - 1) / 2.0;
                const double sx = std::cos(a) * dx - std::sin(a) * dy, sy = std::sin(a) * dx + std::cos(a) * dy;
                if (std::fabs(sx) > 24 || std::fabs(sy) > 15) continue;
                ASSERT_NEAR(at(turned, x, y, 2), 1 + sx * 0.004 + sy * 0.007, 0.01) << degrees;
            }
    }
}

TEST(Rotate, IsTheThreeShearsInOrder) {
    const ImagePtr source = float_noise(131, 77);
    const ImagelibKernel kernel(KERNEL_BSPLINE, EDGE_BLACK);
    const ImagePtr turned = same_bits_everywhere([&] { return rotated(source, 33, KERNEL_BSPLINE, EDGE_BLACK); });
    const double a = 33 * std::numbers::pi / 180, t = std::tan(a / 2), s = std::sin(a);
    const int w2 = turned->width, h2 = turned->height, w1 = 131 + int(std::ceil(77 * t)) + 1;
    const ImagePtr one = sheared(source, w1, true, t, (131 - w1) / 2.0 + 38 * t, kernel);
    const ImagePtr two = sheared(one, h2, false, -s, (77 - h2) / 2.0 - (w1 - 1) / 2.0 * s, kernel);
    const ImagePtr three = sheared(two, w2, true, t, (w1 - w2) / 2.0 + (h2 - 1) / 2.0 * t, kernel);
    EXPECT_LE(largest_difference(turned, three), 0.01);
}

// Float RGBA has a way of its own; one channel alone goes the plain one.
TEST(Rotate, TurnsEachChannelOfRgbaAsAPictureOfItsOwn) {
    for (const auto& [w, h] : {std::pair{1, 1}, {2, 7}, {64, 1}, {37, 23}, {30, 90}}) {
        const ImagePtr source = float_noise(w, h, 12);
        const ImagePtr single = picture(
            w, h, [&](int x, int y, int) { return at(source, x, y, 2); }, 1);
        for (const float degrees : {0.01f, 1.0f, 13.0f, 45.0f, 89.9f, 200.0f})
            for (int type = 0; type <= 5; ++type)
                for (int edge = 0; edge <= 3; ++edge) {
                    const RowThreads row_threads(1 + edge);
                    const ImagePtr four = rotated(source, degrees, type, edge),
                                   one = rotated(single, degrees, type, edge);
                    ASSERT_TRUE(four->width == one->width && four->height == one->height);
                    for (int y = 0; y < one->height; ++y)
                        for (int x = 0; x < one->width; ++x)
                            ASSERT_EQ(at(four, x, y, 2), at(one, x, y, 0))
                                << degrees << " type " << type << " edge " << edge;
                }
    }
}

TEST(Rotate, RefusesWhatItCannotTurn) {
    const ImagePtr source = float_noise(8, 8), tall = make_image(2, 65535, 1, SAMPLE_U8);
    EXPECT_FALSE(rotated(source, NOT_A_NUMBER, 4, 1) || rotated(source, 10, 6, 1) || rotated(source, 10, 4, 4));
    EXPECT_TRUE(same_pixels(source, rotated(source, 720.0005f, 4, 1)));
    EXPECT_EQ(rotated(tall, 90, 4, 1)->width, 65535);
}

}  // namespace
