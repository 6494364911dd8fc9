// Shifts, shears, placing and rotation.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "imagelib/imagelib_geometry.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/cpu.h"
#include "tests/imagelib/resample_support.h"
#include "tests/support/row_threads.h"

namespace {

using resample_test::image_of;
using resample_test::largest_difference;
using resample_test::random_image;
using resample_test::same_pixels;

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
ImagePtr sheared(const K7Image* source, int size, bool rows, double shear, double offset,
                 const ImagelibKernel& kernel) {
    const int width = rows ? size : source->width, height = rows ? source->height : size;
    ImagePtr result = make_image(width, height, source->channels, source->sample_type);
    std::vector<float> pixel(source->channels);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int along = rows ? x : y, across = rows ? y : x;
            const double p = along + (offset - across * shear);
            for (int c = 0; c < source->channels; ++c) {
                float sum = 0;
                std::int64_t fixed = 0;
                for (int j = int(std::ceil(p - kernel.radius)); j <= std::floor(p + kernel.radius); ++j) {
                    const int index = int(std::min(std::fabs(j - p) * 512, 512.0 * kernel.radius));
                    const double s = source_sample(source, j, across, c, rows, kernel.edge_mode);
                    sum += kernel.weights[index] * float(s);
                    fixed += kernel.fixed_weights[index] * std::int64_t(s);
                }
                pixel[c] = source->sample_type == SAMPLE_F32 ? sum : float(fixed >> 10);
            }
            image_put_pixel(result.get(), x, y, pixel.data());
        }
    }
    return result;
}

TEST(Shear, FollowsTheDefinitionForAllFiltersEdgesAndSampleTypes) {
    for (int sample_type = SAMPLE_U8; sample_type <= SAMPLE_F32; ++sample_type) {
        for (const auto& [w, h] : {std::pair{1, 1}, {3, 9}, {41, 17}}) {
            for (int channels : {1, 3, 4}) {
                ImagePtr source = random_image(w, h, channels, sample_type, 21);
                for (int edge = 0; edge <= 3; ++edge) {
                    for (int type = 0; type <= 5; ++type) {
                        const ImagelibKernel kernel(type, edge);
                        for (bool rows : {true, false}) {
                            const int size = (rows ? w : h) + 7;
                            ImagePtr result = rows ? make_image(size, h, channels, sample_type)
                                                   : make_image(w, size, channels, sample_type);
                            auto pass = rows ? shear_row_pass : shear_column_pass;
                            ASSERT_TRUE(pass(source.get(), result.get(), 0.37, -2.3, &kernel));
                            ImagePtr expected = sheared(source.get(), size, rows, 0.37, -2.3, kernel);
                            // Integers agree exactly, but for what a float holds of 32 bits.
                            const double tolerance = sample_type == SAMPLE_F32   ? 1e-6
                                                     : sample_type == SAMPLE_U32 ? 512
                                                                                 : 0;
                            ASSERT_LE(largest_difference(result.get(), expected.get()), tolerance)
                                << "samples " << sample_type << " type " << type << " edge " << edge << " rows "
                                << rows;
                        }
                    }
                }
            }
        }
    }
}

TEST(Shift, WholeNumbersMovePixelsAndZeroCopies) {
    ImagePtr source = random_image(23, 14, 4, SAMPLE_F32, 2);
    ImagePtr moved = make_image(23, 14, 4, SAMPLE_F32), larger = make_image(30, 20, 4, SAMPLE_F32);
    ASSERT_TRUE(image_translate_subpixel(source.get(), moved.get(), 3, -2, KERNEL_CUBIC, EDGE_WRAP));
    for (int y = 0; y < 14; ++y) {
        for (int x = 0; x < 23; ++x) {
            ASSERT_EQ(image_get_sample(moved.get(), x, y, 1),
                      image_get_sample(source.get(), (x + 3) % 23, (y + 12) % 14, 1));
        }
    }
    ASSERT_TRUE(image_translate_subpixel(source.get(), moved.get(), 0, 0, KERNEL_BSPLINE, EDGE_BLACK));
    EXPECT_TRUE(same_pixels(source.get(), moved.get()));
    ASSERT_TRUE(image_translate_subpixel(source.get(), larger.get(), 0, 0, KERNEL_BSPLINE, EDGE_CLAMP));
    EXPECT_EQ(image_get_sample(larger.get(), 29, 19, 2), image_get_sample(source.get(), 22, 13, 2));
    ASSERT_TRUE(image_translate_subpixel(source.get(), larger.get(), 0, 0, KERNEL_BSPLINE, 9));
    EXPECT_EQ(image_get_sample(larger.get(), 29, 19, 2), 0);
    EXPECT_FALSE(image_translate_subpixel(source.get(), larger.get(), NAN, 0, KERNEL_BSPLINE, 1));
    EXPECT_TRUE(image_translate_subpixel(source.get(), larger.get(), 1e30f, -1e30f, KERNEL_BSPLINE, EDGE_MIRROR));
}

TEST(Place, PastesAndCompositesAboutTheMiddle) {
    ImagePtr spot = image_of(4, 2, 4, [](int, int, int c) { return c == 3 ? 0.25 : 0.5; });
    ImagePtr frame = image_of(12, 10, 4, [](int, int, int) { return 1; });
    ASSERT_TRUE(image_paste_at(spot.get(), frame.get(), 6, 5, KERNEL_CUBIC));
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 12; ++x) {
            const bool inside = x >= 4 && x < 8 && y >= 4 && y < 6;
            EXPECT_EQ(image_get_sample(frame.get(), x, y, 0), inside ? 0.5f : 0.0f);
        }
    }
    image_fill(frame.get(), 1);
    ASSERT_TRUE(image_composite_at(spot.get(), frame.get(), 1, 5, KERNEL_CUBIC, false));
    EXPECT_FLOAT_EQ(image_get_sample(frame.get(), 2, 4, 0), 0.75f + 0.125f);
    EXPECT_EQ(image_get_sample(frame.get(), 3, 4, 0), 1);
    image_fill(frame.get(), 1);
    ASSERT_TRUE(image_composite_at(spot.get(), frame.get(), 11.5f, 5, KERNEL_TRIANGLE, true));
    EXPECT_FLOAT_EQ(image_get_sample(frame.get(), 10, 5, 0), 0.75f + 0.5f);
    EXPECT_FLOAT_EQ(image_get_sample(frame.get(), 9, 5, 0), 1 - 0.125f + 0.25f);  // half a pixel of the spot
    ImagePtr before(image_duplicate(frame.get()));
    EXPECT_TRUE(image_composite_at(spot.get(), frame.get(), 1e30f, 5, KERNEL_TRIANGLE, true));
    EXPECT_TRUE(same_pixels(before.get(), frame.get()));
    EXPECT_TRUE(image_paste_at(spot.get(), frame.get(), -100, 5, KERNEL_TRIANGLE));
    EXPECT_EQ(image_get_sample(frame.get(), 5, 5, 0), 0);
    EXPECT_FALSE(image_paste_at(spot.get(), frame.get(), NAN, 5, KERNEL_TRIANGLE));
}

TEST(Rotate, QuarterTurnsMovePixelsExactly) {
    for (int sample_type : {SAMPLE_U8, SAMPLE_F32}) {
        ImagePtr source = random_image(9, 6, 3, sample_type, 31);
        for (int quarter = -4; quarter <= 8; ++quarter) {
            ImagePtr turned(image_rotate(source.get(), float(quarter * 90), KERNEL_BSPLINE, EDGE_BLACK));
            const int turns = ((quarter % 4) + 4) % 4;
            ASSERT_EQ(turned->width, turns & 1 ? 6 : 9);
            ASSERT_EQ(turned->height, turns & 1 ? 9 : 6);
            for (int y = 0; y < 6; ++y) {
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
}

TEST(Rotate, IsContinuousAcrossAQuarterTurn) {
    ImagePtr source = image_of(40, 31, 4, [](int x, int y, int) { return std::sin(x * 0.2) + std::cos(y * 0.15) + 2; });
    for (float quarter : {90.0f, 180.0f, 270.0f}) {
        ImagePtr exact(image_rotate(source.get(), quarter, KERNEL_CUBIC, EDGE_CLAMP));
        ImagePtr below(image_rotate(source.get(), quarter - 0.002f, KERNEL_CUBIC, EDGE_CLAMP));
        ImagePtr above(image_rotate(source.get(), quarter + 0.002f, KERNEL_CUBIC, EDGE_CLAMP));
        ASSERT_EQ(below->width, exact->width);
        ASSERT_EQ(below->height, exact->height);
        // The table's steps of 1/512 pixel lift the sum of the weights by up to 0.6 % a shear.
        for (int y = 4; y < exact->height - 4; ++y) {
            for (int x = 4; x < exact->width - 4; ++x) {
                ASSERT_NEAR(image_get_sample(below.get(), x, y, 0), image_get_sample(exact.get(), x, y, 0), 0.04);
                ASSERT_NEAR(image_get_sample(above.get(), x, y, 0), image_get_sample(exact.get(), x, y, 0), 0.04);
            }
        }
    }
}

TEST(Rotate, TurnsALinearRampAboutItsMiddle) {
    ImagePtr source = image_of(61, 43, 4, [](int x, int y, int) { return 1 + (x - 30) * 0.004 + (y - 21) * 0.007; });
    for (float degrees : {13.0f, 45.0f, 80.0f, 100.0f, 200.0f, -20.0f}) {
        ImagePtr turned(image_rotate(source.get(), degrees, KERNEL_BSPLINE, EDGE_BLACK));
        const double a = degrees * std::numbers::pi / 180, cx = (turned->width - 1) / 2.0,
                     cy = (turned->height - 1) / 2.0;
        for (int y = 0; y < turned->height; ++y) {
            for (int x = 0; x < turned->width; ++x) {
                const double dx = x - cx, dy = y - cy;
                const double sx = std::cos(a) * dx - std::sin(a) * dy, sy = std::sin(a) * dx + std::cos(a) * dy;
                if (std::fabs(sx) > 24 || std::fabs(sy) > 15) continue;
                ASSERT_NEAR(image_get_sample(turned.get(), x, y, 2), 1 + sx * 0.004 + sy * 0.007, 0.01) << degrees;
            }
        }
    }
}

TEST(Rotate, HoldsTheWholePicture) {
    ImagePtr source = image_of(50, 20, 1, [](int, int, int) { return 1; });
    for (float degrees = 1; degrees < 360; degrees += 17) {
        ImagePtr turned(image_rotate(source.get(), degrees, KERNEL_TRIANGLE, EDGE_BLACK));
        double sum = 0;
        for (int y = 0; y < turned->height; ++y) {
            for (int x = 0; x < turned->width; ++x) sum += image_get_sample(turned.get(), x, y, 0);
        }
        EXPECT_NEAR(sum, 1000, 25) << degrees;
    }
}

TEST(Rotate, IsTheThreeShearsInOrderForAnyThreadsAndProcessor) {
    ImagePtr source = random_image(131, 77, 4, SAMPLE_F32, 8);
    const ImagelibKernel kernel(KERNEL_BSPLINE, EDGE_BLACK);
    ImagePtr first;
    for (CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        for (int threads : {1, 2, 5}) {
            RowThreads row_threads(threads);
            ImagePtr turned(image_rotate(source.get(), 33, KERNEL_BSPLINE, EDGE_BLACK));
            if (!first)
                first = std::move(turned);
            else
                ASSERT_TRUE(same_pixels(first.get(), turned.get()));
        }
    }
    set_cpu_level_limit(CpuLevel::avx512);

    const double a = 33 * std::numbers::pi / 180, t = std::tan(a / 2), s = std::sin(a);
    const int w2 = first->width, h2 = first->height, w1 = 131 + int(std::ceil(77 * t)) + 1;
    ImagePtr one = sheared(source.get(), w1, true, t, (131 - w1) / 2.0 + 38 * t, kernel);
    ImagePtr two = sheared(one.get(), h2, false, -s, (77 - h2) / 2.0 - (w1 - 1) / 2.0 * s, kernel);
    ImagePtr three = sheared(two.get(), w2, true, t, (w1 - w2) / 2.0 + (h2 - 1) / 2.0 * t, kernel);
    EXPECT_LE(largest_difference(first.get(), three.get()), 0.01);
}

// Float RGBA has a way of its own; one channel alone goes the plain one.
TEST(Rotate, TurnsEachChannelOfRgbaAsAPictureOfItsOwn) {
    for (const auto& [w, h] : {std::pair{1, 1}, {2, 7}, {64, 1}, {37, 23}, {30, 90}}) {
        ImagePtr source = random_image(w, h, 4, SAMPLE_F32, 12), single = make_image(w, h, 1, SAMPLE_F32);
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                const float sample = float(image_get_sample(source.get(), x, y, 2));
                image_put_pixel(single.get(), x, y, &sample);
            }
        }
        for (float degrees : {0.01f, 1.0f, 13.0f, 45.0f, 89.9f, 200.0f}) {
            for (int type = 0; type <= 5; ++type) {
                for (int edge = 0; edge <= 3; ++edge) {
                    RowThreads row_threads(1 + edge);
                    ImagePtr four(image_rotate(source.get(), degrees, type, edge));
                    ImagePtr one(image_rotate(single.get(), degrees, type, edge));
                    ASSERT_EQ(four->width, one->width);
                    ASSERT_EQ(four->height, one->height);
                    for (int y = 0; y < one->height; ++y) {
                        for (int x = 0; x < one->width; ++x) {
                            ASSERT_EQ(image_get_sample(four.get(), x, y, 2), image_get_sample(one.get(), x, y, 0))
                                << degrees << " type " << type << " edge " << edge;
                        }
                    }
                }
            }
        }
    }
}

TEST(Rotate, RefusesWhatItCannotTurn) {
    ImagePtr source = random_image(8, 8, 4, SAMPLE_F32, 1);
    EXPECT_EQ(image_rotate(nullptr, 10, 4, 1), nullptr);
    EXPECT_EQ(image_rotate(source.get(), NAN, 4, 1), nullptr);
    EXPECT_EQ(image_rotate(source.get(), INFINITY, 4, 1), nullptr);
    EXPECT_EQ(image_rotate(source.get(), 10, 6, 1), nullptr);
    EXPECT_EQ(image_rotate(source.get(), 10, 4, 4), nullptr);
    ImagePtr same(image_rotate(source.get(), 720.0005f, 4, 1));
    EXPECT_TRUE(same_pixels(source.get(), same.get()));
    ImagePtr tall = make_image(2, 65535, 1, SAMPLE_U8);
    EXPECT_EQ(ImagePtr(image_rotate(tall.get(), 90, 4, 1))->width, 65535);
}

}  // namespace
