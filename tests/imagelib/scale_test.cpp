// image_scale against the definition, written out sample by sample in double-precision positions.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/cpu.h"
#include "tests/imagelib/resample_support.h"
#include "tests/support/row_threads.h"

namespace {

using resample_test::image_of;
using resample_test::random_image;
using resample_test::same_pixels;

// One line of one channel, as the filter is defined. Integer lines of up to 16 bits are summed in fixed point.
std::vector<double> scale_line(const std::vector<double>& in, int n_out, int type, int sample_type, bool clamp) {
    const int n = static_cast<int>(in.size());
    if (n == n_out) return in;
    const ImagelibKernel kernel(type, EDGE_CLAMP);
    const bool fixed = sample_type <= SAMPLE_U16;
    const double full = sample_type == SAMPLE_F32 ? FLT_MAX : double(image_full_value(sample_type));
    std::vector<double> out(n_out);
    for (int i = 0; i < n_out; ++i) {
        const double p = n_out == 1 ? 0 : double(i) * (n - 1) / (n_out - 1);
        double v = 0;
        if (type == KERNEL_BOX) {
            v = in[static_cast<int>(p + 0.5)];
            if (n_out < n && v < 0) v = 0;
        } else if (n_out == 1) {
            v = in[0];
        } else {
            const double scale = n_out < n ? double(n - 1) / (n_out - 1) : 1;
            float total = 0, sum = 0;
            long long fixed_total = 0, fixed_sum = 0;
            std::vector<float> weights;
            for (int j = int(std::ceil(p - kernel.radius * scale)); j <= int(std::floor(p + kernel.radius * scale));
                 ++j) {
                const int index = int(std::min(std::fabs((j - p) / scale * 512), 512.0 * kernel.radius));
                const double s = in[std::min(std::max(j, 0), n - 1)];
                total += kernel.weights[index];
                fixed_total += kernel.fixed_weights[index];
                fixed_sum += kernel.fixed_weights[index] * static_cast<long long>(s);
                sum += kernel.weights[index] * float(s);
            }
            const bool divide = n_out < n || type == KERNEL_LANCZOS;
            if (fixed) {
                v = double(divide ? fixed_sum / fixed_total : fixed_sum >> 10);
            } else {
                v = divide ? sum / total : sum;
            }
        }
        if (sample_type != SAMPLE_F32 || clamp) v = std::min(std::max(v, 0.0), full);
        if (sample_type == SAMPLE_U32) v = std::floor(v);
        out[i] = v;
    }
    return out;
}

ImagePtr reference(const K7Image* source, int width, int height, int type, bool clamp) {
    auto pass = [&](const K7Image* in, int w, int h, bool rows) {
        ImagePtr out = make_image(w, h, in->channels, in->sample_type);
        std::vector<float> pixel(in->channels);
        for (int c = 0; c < in->channels; ++c) {
            for (int line = 0; line < (rows ? h : w); ++line) {
                std::vector<double> samples(rows ? in->width : in->height);
                for (std::size_t i = 0; i < samples.size(); ++i) {
                    samples[i] = rows ? image_get_sample(in, int(i), line, c) : image_get_sample(in, line, int(i), c);
                }
                const auto scaled = scale_line(samples, rows ? w : h, type, in->sample_type, clamp);
                for (int i = 0; i < int(scaled.size()); ++i) {
                    const int x = rows ? i : line, y = rows ? line : i;
                    image_get_pixel(out.get(), x, y, pixel.data());
                    pixel[c] = float(scaled[i]);
                    image_put_pixel(out.get(), x, y, pixel.data());
                }
            }
        }
        return out;
    };
    if (source->height * width <= source->width * height) {
        ImagePtr wide = pass(source, width, source->height, true);
        return pass(wide.get(), width, height, false);
    }
    ImagePtr tall = pass(source, source->width, height, false);
    return pass(tall.get(), width, height, true);
}

struct Case {
    int width, height, to_width, to_height;
};
constexpr Case CASES[] = {{1, 1, 5, 4},    {7, 5, 1, 1},    {5, 1, 9, 1},    {2, 2, 7, 3},
                          {17, 9, 34, 18}, {33, 18, 16, 9}, {13, 40, 29, 7}, {40, 13, 7, 29},
                          {9, 8, 9, 15},   {64, 3, 5, 3},   {31, 31, 30, 32}};

TEST(Scale, FollowsTheDefinitionForAllFiltersSampleTypesAndSizes) {
    for (const Case& c : CASES) {
        for (int sample_type = SAMPLE_U8; sample_type <= SAMPLE_F32; ++sample_type) {
            for (int channels : {1, 2, 3, 4, 5}) {
                ImagePtr source = random_image(c.width, c.height, channels, sample_type, 7);
                for (int type = 0; type <= 5; ++type) {
                    for (bool clamp : {false, true}) {
                        ImagePtr result = make_image(c.to_width, c.to_height, channels, sample_type);
                        ASSERT_TRUE(image_scale(source.get(), result.get(), type, clamp));
                        ImagePtr expected = reference(source.get(), c.to_width, c.to_height, type, clamp);
                        // Integers of up to 16 bits are exact; the others differ in the rounding of the division.
                        const double tolerance = sample_type <= SAMPLE_U16   ? 0
                                                 : sample_type == SAMPLE_U32 ? 4096
                                                                             : 3e-6;
                        ASSERT_LE(resample_test::largest_difference(result.get(), expected.get()), tolerance)
                            << c.width << "x" << c.height << " to " << c.to_width << "x" << c.to_height << " type "
                            << type << " samples " << sample_type << " channels " << channels << " clamp " << clamp;
                    }
                }
            }
        }
    }
}

TEST(Scale, GivesTheSameBitsForAnyThreadsAndProcessor) {
    for (const Case& c : {Case{67, 41, 134, 83}, Case{134, 83, 67, 41}, Case{50, 90, 131, 21}, Case{90, 20, 33, 77},
                          Case{1200, 700, 1300, 500}}) {
        ImagePtr source = random_image(c.width, c.height, 4, SAMPLE_F32, 3);
        for (int type = 0; type <= 5; ++type) {
            ImagePtr first;
            for (CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
                set_cpu_level_limit(level);
                for (int threads : {1, 2, 5}) {
                    RowThreads row_threads(threads);
                    ImagePtr result = make_image(c.to_width, c.to_height, 4, SAMPLE_F32);
                    ASSERT_TRUE(image_scale(source.get(), result.get(), type, type == 2));
                    if (!first)
                        first = std::move(result);
                    else
                        ASSERT_TRUE(same_pixels(first.get(), result.get())) << type << " threads " << threads;
                }
            }
            set_cpu_level_limit(CpuLevel::avx512);
        }
    }
}

TEST(Scale, KeepsFlatImagesFlat) {
    for (int type = 0; type <= 5; ++type) {
        ImagePtr source = make_image(40, 30, 4, SAMPLE_F32);
        image_fill(source.get(), 0.7f);
        ImagePtr half = make_image(20, 15, 4, SAMPLE_F32), twice = make_image(80, 60, 4, SAMPLE_F32);
        ASSERT_TRUE(image_scale(source.get(), half.get(), type, false));
        ASSERT_TRUE(image_scale(source.get(), twice.get(), type, false));
        // Enlarging does not divide by the weights, whose table steps by 1/512 of a pixel.
        for (int y = 0; y < 15; ++y) {
            for (int x = 0; x < 20; ++x) ASSERT_NEAR(image_get_sample(half.get(), x, y, 1), 0.7f, 1e-6f) << type;
        }
        for (int y = 0; y < 60; ++y) {
            for (int x = 0; x < 80; ++x) ASSERT_NEAR(image_get_sample(twice.get(), x, y, 2), 0.7f, 0.006f) << type;
        }
    }
}

TEST(Scale, CornersStayOnCornersWhenEnlarging) {
    ImagePtr source = random_image(9, 6, 4, SAMPLE_F32, 5);
    for (int type : {0, 1}) {
        ImagePtr result = make_image(25, 31, 4, SAMPLE_F32);
        ASSERT_TRUE(image_scale(source.get(), result.get(), type, false));
        for (int c = 0; c < 4; ++c) {
            EXPECT_EQ(image_get_sample(result.get(), 0, 0, c), image_get_sample(source.get(), 0, 0, c));
            EXPECT_EQ(image_get_sample(result.get(), 24, 0, c), image_get_sample(source.get(), 8, 0, c));
            EXPECT_EQ(image_get_sample(result.get(), 0, 30, c), image_get_sample(source.get(), 0, 5, c));
            EXPECT_EQ(image_get_sample(result.get(), 24, 30, c), image_get_sample(source.get(), 8, 5, c));
        }
    }
}

TEST(Scale, CopiesEqualSizesAndRefusesWhatDoesNotMatch) {
    ImagePtr source = random_image(19, 11, 4, SAMPLE_F32, 9);
    ImagePtr same = make_image(19, 11, 4, SAMPLE_F32), three = make_image(30, 20, 3, SAMPLE_F32);
    ImagePtr bytes = make_image(30, 20, 4, SAMPLE_U8), other = make_image(30, 20, 4, SAMPLE_F32);
    EXPECT_TRUE(image_scale(source.get(), same.get(), 4, true));
    EXPECT_TRUE(same_pixels(source.get(), same.get()));
    EXPECT_FALSE(image_scale(source.get(), three.get(), 4, false));
    EXPECT_FALSE(image_scale(source.get(), bytes.get(), 4, false));
    EXPECT_FALSE(image_scale(source.get(), other.get(), 6, false));
    EXPECT_FALSE(image_scale(source.get(), other.get(), -1, false));
    EXPECT_FALSE(image_scale(nullptr, other.get(), 1, false));
    EXPECT_FALSE(image_scale(source.get(), nullptr, 1, false));
}

TEST(Scale, KeepsThePhysicalSizeOfAPixel) {
    ImagePtr source = make_image(40, 30, 4, SAMPLE_F32), result = make_image(20, 90, 4, SAMPLE_F32);
    image_set_pixel_size(source.get(), 2, 1, 2);
    image_set_unit_scale(source.get(), 3);
    image_set_origin(source.get(), 5, 6);
    result->stats_valid = 1;
    ASSERT_TRUE(image_scale(source.get(), result.get(), 2, false));
    EXPECT_EQ(result->physical_width, 40);
    EXPECT_EQ(result->physical_height, 90);
    EXPECT_EQ(result->pixel_width, 2);
    EXPECT_EQ(result->pixel_height, 1);
    EXPECT_EQ(result->units, 2u);
    EXPECT_EQ(result->unit_scale, 3);
    EXPECT_EQ(result->origin_y, 6);
    EXPECT_EQ(result->stats_valid, 0u);
}

}  // namespace
