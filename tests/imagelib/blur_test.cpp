// The blur against its definition: three box passes with explicitly clamped (or wrapped) indices in double.
#include "imagelib/imagelib_blur.h"

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "imagelib/imagelib.h"
#include "k7pi_baselib/cpu.h"
#include "support/row_threads.h"

namespace {

using Line = std::vector<double>;

Line box_pass(const Line& in, int radius, bool wrap) {
    const int n = static_cast<int>(in.size());
    Line out(in.size());
    for (int p = 0; p < n; ++p) {
        double sum = 0.0;
        for (int k = p - radius; k <= p + radius; ++k)
            sum += in[wrap ? ((k % n) + n) % n : std::min(std::max(k, 0), n - 1)];
        out[p] = sum / (2 * radius + 1);
    }
    return out;
}

Line three_boxes(const Line& in, int radius, bool wrap) {
    return box_pass(box_pass(box_pass(in, radius, wrap), radius, wrap), radius, wrap);
}

Line blurred(const Line& in, double radius, bool wrap) {
    const double r = std::min(radius, double(in.size() / 2));
    const int i = static_cast<int>(std::floor(r));
    const double f = r - i;
    Line out = three_boxes(in, i, wrap);
    if (f <= 0.01) return out;
    const Line larger = three_boxes(in, i + 1, wrap);
    for (std::size_t p = 0; p < out.size(); ++p) out[p] = (1.0 - f) * out[p] + f * larger[p];
    return out;
}

double sample_of(const K7Image* image, std::size_t index) {
    switch (image->sample_type) {
        case SAMPLE_U8:
            return static_cast<const std::uint8_t*>(image->pixels)[index];
        case SAMPLE_U16:
            return static_cast<const std::uint16_t*>(image->pixels)[index];
        case SAMPLE_U32:
            return static_cast<const std::uint32_t*>(image->pixels)[index];
        default:
            return static_cast<const float*>(image->pixels)[index];
    }
}

std::size_t sample_count(const K7Image* image) { return std::size_t(image->width) * image->height * image->channels; }

// All bits random for integers; floats over five decades, with some zeros.
ImagePtr random_image(int width, int height, int channels, int type, unsigned seed = 1) {
    ImagePtr image = make_image(width, height, channels, type);
    std::mt19937 random(seed);
    for (std::size_t i = 0; i < sample_count(image.get()); ++i) {
        const std::uint32_t bits = random();
        switch (type) {
            case SAMPLE_U8:
                static_cast<std::uint8_t*>(image->pixels)[i] = static_cast<std::uint8_t>(bits);
                break;
            case SAMPLE_U16:
                static_cast<std::uint16_t*>(image->pixels)[i] = static_cast<std::uint16_t>(bits);
                break;
            case SAMPLE_U32:
                static_cast<std::uint32_t*>(image->pixels)[i] = bits;
                break;
            default:
                static_cast<float*>(image->pixels)[i] =
                    bits % 7 == 0 ? 0.0f : std::pow(10.0f, static_cast<float>(bits >> 8) / (1 << 24) * 5.0f - 4.0f);
        }
    }
    return image;
}

// One axis of the definition over all samples; integer samples are written back rounded.
std::vector<double> blur_axis(const std::vector<double>& in, const K7Image* layout, bool columns, double radius,
                              int mask, bool wrap) {
    std::vector<double> out = in;
    const int n = columns ? layout->height : layout->width, lines = columns ? layout->width : layout->height;
    if (!(radius > 0.0)) return out;
    for (int line = 0; line < lines; ++line) {
        for (int c = 0; c < layout->channels; ++c) {
            if (!(mask >> c & 1)) continue;
            const auto index = [&](int k) {
                const int x = columns ? line : k, y = columns ? k : line;
                return (std::size_t(y) * layout->width + x) * layout->channels + c;
            };
            Line samples(n);
            for (int k = 0; k < n; ++k) samples[k] = in[index(k)];
            samples = blurred(samples, radius, wrap);
            for (int k = 0; k < n; ++k) out[index(k)] = samples[k];
        }
    }
    return out;
}

// What one axis may be off by: the rounding of the result and of the smaller box; for integers half a unit more.
double tolerance(const K7Image* image, double value) {
    return 1.3e-7 * std::abs(value) + (image->sample_type == SAMPLE_F32 ? 1e-37 : 0.5);
}

void expect_axis(const K7Image* before, bool columns, float radius, int mask, bool wrap) {
    std::vector<double> expected(sample_count(before));
    for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = sample_of(before, i);
    expected = blur_axis(expected, before, columns, radius, mask, wrap);
    const ImagePtr image(image_duplicate(before));
    const float x = columns ? 0.0f : radius, y = columns ? radius : 0.0f;
    ASSERT_TRUE(wrap ? image_wrap_blur(image.get(), x, y, mask) : image_gaussian_blur(image.get(), x, y, mask));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const double got = sample_of(image.get(), i);
        if (!(mask >> (i % before->channels) & 1)) {
            ASSERT_EQ(got, sample_of(before, i)) << "channel outside the mask";
        } else {
            ASSERT_NEAR(got, expected[i], tolerance(before, expected[i]))
                << before->width << "x" << before->height << "x" << before->channels << " type " << before->sample_type
                << (columns ? " columns" : " rows") << " radius " << radius << " wrap " << wrap << " sample " << i;
        }
    }
}

const float RADII[] = {0.005f, 0.5f, 1.0f, 1.99f, 2.0f, 3.3f, 6.0f, 11.5f, 400.0f};

std::vector<std::byte> bytes_of(const K7Image* image) {
    const auto* first = static_cast<const std::byte*>(image->pixels);
    return {first, first + std::size_t(image->row_bytes) * image->height};
}

class Blur : public testing::Test {
  protected:
    void TearDown() override { set_cpu_level_limit(CpuLevel::avx512); }
};

TEST_F(Blur, FollowsTheDefinitionForEverySizeAndRadius) {
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        for (const int length : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 67}) {
            const ImagePtr wide = random_image(length, 6, 4, SAMPLE_F32, length);
            const ImagePtr tall = random_image(6, length, 4, SAMPLE_F32, length);
            for (const float radius : RADII) {
                for (const bool wrap : {false, true}) {
                    ASSERT_NO_FATAL_FAILURE(expect_axis(wide.get(), false, radius, 15, wrap));
                    ASSERT_NO_FATAL_FAILURE(expect_axis(tall.get(), true, radius, 15, wrap));
                }
            }
        }
    }
}

TEST_F(Blur, FollowsTheDefinitionForEveryLayoutAndMask) {
    for (const int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_U32, SAMPLE_F32}) {
        for (const int channels : {1, 2, 3, 4, 5}) {
            for (const int mask : {-1, 1, 6, 8}) {
                const ImagePtr image = random_image(21, 19, channels, type, channels);
                for (const float radius : {1.0f, 2.4f})
                    for (const bool columns : {false, true})
                        for (const bool wrap : {false, true})
                            ASSERT_NO_FATAL_FAILURE(expect_axis(image.get(), columns, radius, mask, wrap));
            }
        }
    }
}

// Rings wrap at 128 slots for small boxes and at the window for larger ones.
TEST_F(Blur, FollowsTheDefinitionPastTheRings) {
    const ImagePtr wide = random_image(701, 5, 4, SAMPLE_F32), tall = random_image(5, 701, 4, SAMPLE_F32);
    for (const float radius : {1.0f, 5.5f, 63.0f, 64.0f, 100.25f, 350.5f}) {
        ASSERT_NO_FATAL_FAILURE(expect_axis(wide.get(), false, radius, 15, false));
        ASSERT_NO_FATAL_FAILURE(expect_axis(tall.get(), true, radius, 15, false));
        ASSERT_NO_FATAL_FAILURE(expect_axis(wide.get(), false, radius, 15, true));
    }
}

TEST_F(Blur, BothAxesAreRowsThenColumns) {
    const ImagePtr image = random_image(37, 23, 4, SAMPLE_F32);
    const ImagePtr both(image_duplicate(image.get())), apart(image_duplicate(image.get()));
    ASSERT_TRUE(image_gaussian_blur(both.get(), 3.5f, 2.0f, 15));
    ASSERT_TRUE(image_gaussian_blur(apart.get(), 3.5f, 0.0f, 15));
    ASSERT_TRUE(image_gaussian_blur(apart.get(), -1.0f, 2.0f, 15));
    EXPECT_EQ(bytes_of(both.get()), bytes_of(apart.get()));
}

// 8192 samples of up to 10,000, bright and dark side by side: within 1e-5, and by far.
TEST_F(Blur, LongLinesStayAccurate) {
    const ImagePtr image = random_image(8192, 1, 1, SAMPLE_F32);
    float* samples = static_cast<float*>(image->pixels);
    for (int k = 0; k < 8192; ++k) samples[k] *= k % 3000 < 40 ? 1000.0f : 1e-3f;
    for (const float radius : {2.0f, 50.5f, 700.0f})
        ASSERT_NO_FATAL_FAILURE(expect_axis(image.get(), false, radius, 1, false));
}

TEST_F(Blur, FlatStaysFlatToTheBit) {
    for (const float value : {0.1f, 1.0f, 9999.9f, 1e-30f, 3.4028235e38f, -0.7f}) {
        for (const float radius : {0.5f, 1.0f, 7.3f, 333.0f, 5000.0f}) {
            const ImagePtr image = make_image(8192, 5, 4, SAMPLE_F32);
            image_fill(image.get(), value);
            const ImagePtr before(image_duplicate(image.get()));
            ASSERT_TRUE(image_gaussian_blur(image.get(), radius, radius, 15));
            ASSERT_EQ(bytes_of(image.get()), bytes_of(before.get())) << value << " " << radius;
        }
    }
}

// A flat area stays flat to the bit beside anything, and no rest of the sums is negative where the picture is 0.
TEST_F(Blur, NothingRemainsBehindBrightSpots) {
    for (const float radius : {1.0f, 6.5f, 90.0f, 250.0f}) {
        const ImagePtr image = make_image(4000, 4, 4, SAMPLE_F32);
        std::mt19937 random(7);
        float* samples = static_cast<float*>(image->pixels);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4000; ++x) {
                float* pixel = samples + (y * 4000 + x) * 4;
                const float value = static_cast<float>(random() >> 8) * (x % 5 ? 1e-3f : 1e-9f);
                pixel[0] = x < 900 ? value : 0.0f;
                pixel[1] = x < 900 ? value : 0.3f;
                pixel[2] = x % 997 == 0 ? value : 0.0f;
                pixel[3] = x < 1800 ? static_cast<float>(x % 256) / 255.0f : 1.0f;
            }
        }
        ASSERT_TRUE(image_gaussian_blur(image.get(), radius, 0.0f, -1));
        for (int i = 0; i < 4 * 4000 * 4; ++i) ASSERT_GE(samples[i], 0.0f);
        for (int x = 2600; x < 4000; ++x) {
            ASSERT_LT(samples[x * 4], 1e-9f);
            ASSERT_EQ(samples[x * 4 + 1], 0.3f);
            ASSERT_EQ(samples[x * 4 + 3], 1.0f);
        }
    }
}

TEST_F(Blur, SameBitsFromAnyThreadsAndProcessor) {
    const ImagePtr source = random_image(123, 77, 4, SAMPLE_F32);
    const ImagePtr narrow = random_image(53, 41, 3, SAMPLE_U16);
    const auto blur_all = [&] {
        std::vector<std::byte> all;
        for (const K7Image* image : {source.get(), narrow.get()}) {
            for (const int mask : {15, 5}) {
                for (const float radius : {1.0f, 4.6f, 60.0f}) {
                    const ImagePtr copy(image_duplicate(image));
                    image_gaussian_blur(copy.get(), radius, radius * 0.7f, mask);
                    const ImagePtr wrapped(image_duplicate(image));
                    image_wrap_blur(wrapped.get(), radius, radius * 0.7f, mask);
                    for (const K7Image* result : {copy.get(), wrapped.get()}) {
                        const auto bytes = bytes_of(result);
                        all.insert(all.end(), bytes.begin(), bytes.end());
                    }
                }
            }
        }
        return all;
    };
    const auto expected = blur_all();
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        EXPECT_TRUE(blur_all() == expected) << static_cast<int>(level);
        for (const int threads : {1, 2, 3, 7}) {
            const RowThreads dispatcher(threads);
            EXPECT_TRUE(blur_all() == expected) << threads << " threads, level " << static_cast<int>(level);
        }
    }
}

TEST_F(Blur, KnownValues) {
    const ImagePtr image = make_image(9, 1, 1, SAMPLE_F32);
    float* samples = static_cast<float*>(image->pixels);
    samples[4] = 2.0f;
    ASSERT_TRUE(image_gaussian_blur(image.get(), 0.5f, 0.0f, 1));
    // Half the pixel, and half of the box of three folded with itself twice: 1 3 6 7 6 3 1 / 27.
    const double boxes[] = {0, 1, 3, 6, 7, 6, 3, 1, 0};
    for (int x = 0; x < 9; ++x) EXPECT_FLOAT_EQ(samples[x], static_cast<float>(boxes[x] / 27.0 + (x == 4 ? 1.0 : 0.0)));

    // 255 / 3 = 85 after one pass of one axis would be the sum of three; rounding is to the nearest.
    const ImagePtr bytes = make_image(7, 1, 1, SAMPLE_U8);
    static_cast<std::uint8_t*>(bytes->pixels)[3] = 100;
    ASSERT_TRUE(image_gaussian_blur(bytes.get(), 1.0f, 0.0f, 1));
    const int rounded[] = {4, 11, 22, 26, 22, 11, 4};  // 100 / 27 = 3.7, and so on
    for (int x = 0; x < 7; ++x) EXPECT_EQ(static_cast<std::uint8_t*>(bytes->pixels)[x], rounded[x]);
}

TEST_F(Blur, EdgesRepeatOrWrap) {
    const ImagePtr stripes = make_image(16, 2, 1, SAMPLE_F32);
    for (int y = 0; y < 2; ++y) image_row<float>(stripes.get(), y)[0] = 1.0f;
    const ImagePtr wrapped(image_duplicate(stripes.get()));
    ASSERT_TRUE(image_gaussian_blur(stripes.get(), 1.0f, 1.0f, 1));
    ASSERT_TRUE(image_wrap_blur(wrapped.get(), 1.0f, 1.0f, 1));
    EXPECT_EQ(image_get_sample(stripes.get(), 15, 0, 0), 0.0f);
    EXPECT_FLOAT_EQ(image_get_sample(wrapped.get(), 15, 0, 0), image_get_sample(wrapped.get(), 1, 1, 0));
    EXPECT_FLOAT_EQ(image_get_sample(wrapped.get(), 15, 0, 0), 6.0f / 27.0f);
}

TEST_F(Blur, RefusalsAndNothingToDo) {
    EXPECT_FALSE(image_gaussian_blur(nullptr, 1.0f, 1.0f, 15));
    EXPECT_FALSE(image_wrap_blur(nullptr, 1.0f, 1.0f, 15));
    EXPECT_FALSE(image_gaussian_blur_to(nullptr, nullptr, 1.0f, 1.0f, 15));
    const float nan = std::nanf(""), inf = HUGE_VALF;
    for (const int type : {SAMPLE_U8, SAMPLE_U32, SAMPLE_F32}) {
        const ImagePtr image = random_image(12, 9, 4, type);
        const auto before = bytes_of(image.get());
        EXPECT_TRUE(image_gaussian_blur(image.get(), 5.0f, 5.0f, 0));
        EXPECT_TRUE(image_gaussian_blur(image.get(), 0.0f, -3.0f, 15));
        EXPECT_TRUE(image_gaussian_blur(image.get(), nan, -inf, 15));
        EXPECT_TRUE(image_gaussian_blur(image.get(), 0.005f, 0.005f, 15));
        EXPECT_TRUE(image_gaussian_blur(image.get(), 5.0f, 5.0f, 0x70)) << "no such channels";
        EXPECT_EQ(bytes_of(image.get()), before);
        const ImagePtr limited(image_duplicate(image.get()));
        EXPECT_TRUE(image_gaussian_blur(image.get(), inf, 1e30f, 15));
        EXPECT_TRUE(image_gaussian_blur(limited.get(), 6.0f, 4.0f, 15));
        EXPECT_EQ(bytes_of(image.get()), bytes_of(limited.get())) << "limited to half the line's pixels, rounded down";
        image_compute_minmax(image.get());
        EXPECT_TRUE(image_gaussian_blur(image.get(), 1.0f, 0.0f, 1));
        EXPECT_FALSE(image->stats_valid);
    }
}

TEST_F(Blur, IntoAnotherImage) {
    const ImagePtr source = random_image(33, 21, 4, SAMPLE_F32);
    const ImagePtr blurred_copy(image_duplicate(source.get())), destination(image_clone_layout(source.get()));
    const auto before = bytes_of(source.get());
    for (const bool wrap : {false, true}) {
        const ImagePtr expected(image_duplicate(source.get()));
        if (wrap) {
            ASSERT_TRUE(image_wrap_blur(expected.get(), 2.5f, 1.0f, 7));
            ASSERT_TRUE(image_wrap_blur_to(source.get(), destination.get(), 2.5f, 1.0f, 7));
        } else {
            ASSERT_TRUE(image_gaussian_blur(expected.get(), 2.5f, 1.0f, 7));
            ASSERT_TRUE(image_gaussian_blur_to(source.get(), destination.get(), 2.5f, 1.0f, 7));
        }
        EXPECT_EQ(bytes_of(destination.get()), bytes_of(expected.get()));
    }
    EXPECT_EQ(bytes_of(source.get()), before);
    const ImagePtr integers = make_image(33, 21, 4, SAMPLE_U8), converted = make_image(33, 21, 4, SAMPLE_U8);
    ASSERT_TRUE(image_gaussian_blur_to(source.get(), integers.get(), 2.0f, 2.0f, 15));
    ASSERT_TRUE(image_convert(source.get(), converted.get(), true, 0));
    ASSERT_TRUE(image_gaussian_blur(converted.get(), 2.0f, 2.0f, 15));
    EXPECT_EQ(bytes_of(integers.get()), bytes_of(converted.get()));
}

}  // namespace
