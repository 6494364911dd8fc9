// The blur against its definition: three box passes with explicitly clamped (or wrapped) indices in double.
#include "imagelib/imagelib_blur.h"

#include <random>

#include "pictures.h"

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

// All bits random for integers; floats over five decades, with some zeros.
ImagePtr random_image(int width, int height, int channels, int type, unsigned seed = 1) {
    ImagePtr image = noise_image(width, height, channels, type, seed, -4.0f, 1.0f);
    if (type == SAMPLE_F32)
        for (std::size_t i = 0; i < sample_count(image.get()); ++i) {
            float& sample = static_cast<float*>(image->pixels)[i];
            sample = i % 7 == 0 ? 0.0f : std::pow(10.0f, sample);
        }
    return image;
}

bool blur(K7Image* image, float x, float y, int mask, bool wrap) {
    return wrap ? image_wrap_blur(image, x, y, mask) : image_gaussian_blur(image, x, y, mask);
}

// Along one axis. The result may be off by its rounding and that of the smaller box; for integers half a unit more.
void expect_axis(const ImagePtr& before, bool columns, float radius, int mask, bool wrap) {
    const int channels = before->channels, width = before->width, height = before->height;
    const ImagePtr image = same_bits_everywhere([&] {
        ImagePtr copy = copy_of(before);
        EXPECT_TRUE(blur(copy.get(), columns ? 0.0f : radius, columns ? radius : 0.0f, mask, wrap));
        return copy;
    });
    const int n = columns ? height : width, lines = columns ? width : height;
    for (int line = 0; line < lines; ++line)
        for (int c = 0; c < channels; ++c) {
            const auto index = [&](int k) {
                const int x = columns ? line : k, y = columns ? k : line;
                return (std::size_t(y) * width + x) * channels + c;
            };
            const bool selected = mask >> c & 1;
            Line expected(n);
            for (int k = 0; k < n; ++k) expected[k] = sample_of(before.get(), index(k));
            if (selected) expected = blurred(expected, radius, wrap);
            for (int k = 0; k < n; ++k) {
                const double value = expected[k];
                const double tolerance =
                    selected ? 1.3e-7 * std::abs(value) + (before->sample_type == SAMPLE_F32 ? 1e-37 : 0.5) : 0;
                ASSERT_NEAR(sample_of(image.get(), index(k)), value, tolerance)
                    << width << "x" << height << "x" << channels << " type " << before->sample_type
                    << (columns ? " columns" : " rows") << " radius " << radius << " wrap " << wrap << " mask " << mask
                    << " sample " << k;
            }
        }
}

TEST(Blur, FollowsTheDefinitionForEverySizeAndRadius) {
    for (const int length : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 67}) {
        const ImagePtr wide = random_image(length, 6, 4, SAMPLE_F32, length);
        const ImagePtr tall = random_image(6, length, 4, SAMPLE_F32, length);
        for (const float radius : {0.005f, 0.5f, 1.0f, 1.99f, 2.0f, 3.3f, 6.0f, 11.5f, 400.0f})
            for (const bool wrap : {false, true}) {
                ASSERT_NO_FATAL_FAILURE(expect_axis(wide, false, radius, 15, wrap));
                ASSERT_NO_FATAL_FAILURE(expect_axis(tall, true, radius, 15, wrap));
            }
    }
    // Rings wrap at 128 slots for small boxes and at the window for larger ones.
    const ImagePtr wide = random_image(701, 5, 4, SAMPLE_F32), tall = random_image(5, 701, 4, SAMPLE_F32);
    for (const float radius : {1.0f, 5.5f, 63.0f, 64.0f, 100.25f, 350.5f}) {
        ASSERT_NO_FATAL_FAILURE(expect_axis(wide, false, radius, 15, false));
        ASSERT_NO_FATAL_FAILURE(expect_axis(tall, true, radius, 15, false));
        ASSERT_NO_FATAL_FAILURE(expect_axis(wide, false, radius, 15, true));
    }
    // Samples of up to 10,000, bright and dark side by side: within 1e-5, and by far.
    const ImagePtr longest = random_image(8192, 1, 1, SAMPLE_F32);
    for (int k = 0; k < 8192; ++k) at(longest, k, 0, 0) *= k % 3000 < 40 ? 1000.0f : 1e-3f;
    for (const float radius : {2.0f, 50.5f, 700.0f})
        ASSERT_NO_FATAL_FAILURE(expect_axis(longest, false, radius, 1, false));
}

TEST(Blur, FollowsTheDefinitionForEveryLayoutAndMask) {
    for (const int type : SAMPLE_TYPES)
        for (const int channels : {1, 2, 3, 4, 5})
            for (const int mask : {-1, 1, 6, 8}) {
                const ImagePtr image = random_image(21, 19, channels, type, channels);
                for (const float radius : {1.0f, 2.4f})
                    for (const bool columns : {false, true})
                        for (const bool wrap : {false, true})
                            ASSERT_NO_FATAL_FAILURE(expect_axis(image, columns, radius, mask, wrap));
            }
}

TEST(Blur, BothAxesAreRowsThenColumnsInPlaceOrIntoAnotherImage) {
    for (const ImagePtr& source : {random_image(123, 77, 4, SAMPLE_F32), random_image(53, 41, 3, SAMPLE_U16)})
        for (const int mask : {15, 5})
            for (const float radius : {0.5f, 1.0f, 4.6f, 60.0f})
                for (const bool wrap : {false, true}) {
                    const ImagePtr first = same_bits_everywhere([&] {
                        ImagePtr copy = copy_of(source);
                        blur(copy.get(), radius, radius * 0.7f, mask, wrap);
                        return copy;
                    });
                    const ImagePtr apart = copy_of(source), into = same_size(source);
                    blur(apart.get(), radius, 0, mask, wrap);
                    blur(apart.get(), -1, radius * 0.7f, mask, wrap);
                    EXPECT_TRUE(same_pixels(apart, first)) << "rows, then columns";
                    (wrap ? image_wrap_blur_to : image_gaussian_blur_to)(source.get(), into.get(), radius,
                                                                         radius * 0.7f, mask);
                    EXPECT_TRUE(same_pixels(into, first)) << "into another image";
                }
}

// A flat area stays flat to the bit beside anything, and no rest of the sums is negative where the picture is 0.
TEST(Blur, FlatAreasStayFlatToTheBit) {
    for (const float value : {0.1f, 1.0f, 9999.9f, 1e-30f, 3.4028235e38f, -0.7f})
        for (const float radius : {0.5f, 1.0f, 7.3f, 333.0f, 5000.0f}) {
            const ImagePtr image = picture(8192, 5, [&](int, int, int) { return value; }), before = copy_of(image);
            ASSERT_TRUE(image_gaussian_blur(image.get(), radius, radius, 15));
            ASSERT_TRUE(same_pixels(image, before)) << value << " " << radius;
        }
    std::mt19937 random(7);
    const ImagePtr spots = picture(4000, 4, [&](int x, int, int c) {
        const float value = static_cast<float>(random() >> 8) * (x % 5 ? 1e-3f : 1e-9f);
        if (c == 2) return x % 997 == 0 ? value : 0.0f;
        if (c == 3) return x < 1800 ? static_cast<float>(x % 256) / 255.0f : 1.0f;
        return x < 900 ? value : c == 0 ? 0.0f : 0.3f;
    });
    for (const float radius : {1.0f, 6.5f, 90.0f, 250.0f}) {
        const ImagePtr image = copy_of(spots);
        ASSERT_TRUE(image_gaussian_blur(image.get(), radius, 0.0f, -1));
        for (std::size_t i = 0; i < sample_count(image.get()); ++i) ASSERT_GE(sample_of(image.get(), i), 0.0);
        for (int x = 2600; x < 4000; ++x) {
            ASSERT_LT(at(image, x, 0, 0), 1e-9f);
            ASSERT_EQ(at(image, x, 0, 1), 0.3f);
            ASSERT_EQ(at(image, x, 0, 3), 1.0f);
        }
    }
}

TEST(Blur, RefusalsAndNothingToDo) {
    for (const int type : {SAMPLE_U8, SAMPLE_U32, SAMPLE_F32}) {
        const ImagePtr image = random_image(12, 9, 4, type), before = copy_of(image), limited = copy_of(image);
        for (const auto& [x, y, mask] : {std::tuple{5.0f, 5.0f, 0},
                                         {0.0f, -3.0f, 15},
                                         {NOT_A_NUMBER, -ENDLESS, 15},
                                         {0.005f, 0.005f, 15},
                                         {5.0f, 5.0f, 0x70}}) {  // no such channels
            EXPECT_TRUE(image_gaussian_blur(image.get(), x, y, mask));
            EXPECT_TRUE(same_pixels(image, before)) << x << ", " << y << " mask " << mask;
        }
        EXPECT_TRUE(image_gaussian_blur(image.get(), ENDLESS, 1e30f, 15));
        EXPECT_TRUE(image_gaussian_blur(limited.get(), 6.0f, 4.0f, 15));
        EXPECT_TRUE(same_pixels(image, limited)) << "limited to half the line's pixels, rounded down";
    }
}

}  // namespace
