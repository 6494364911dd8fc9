#include "imagelib/imagelib_arithmetic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "support/images.h"
#include "support/row_threads.h"

namespace {

constexpr int TYPES[] = {SAMPLE_U8, SAMPLE_U16, SAMPLE_U32, SAMPLE_F32};

double sample(const K7Image* image, int i) {
    switch (image->sample_type) {
        case SAMPLE_U8:
            return static_cast<const std::uint8_t*>(image->pixels)[i];
        case SAMPLE_U16:
            return static_cast<const std::uint16_t*>(image->pixels)[i];
        case SAMPLE_U32:
            return static_cast<const std::uint32_t*>(image->pixels)[i];
        default:
            return static_cast<const float*>(image->pixels)[i];
    }
}

// Integers are exact.
double tolerance(int type, double expected) { return type == SAMPLE_F32 ? 1e-6 * (1.0 + std::fabs(expected)) : 0.0; }

using Formula = std::function<double(double s, double t, double full)>;

void expect_formula(const K7Image* before, const K7Image* other, const K7Image* after, int mask,
                    const Formula& formula) {
    const bool is_float = before->sample_type == SAMPLE_F32;
    const double full = double(image_full_value(before->sample_type)) - (before->sample_type == SAMPLE_U32);
    for (int i = 0; i < before->width * before->height * before->channels; ++i) {
        const double s = sample(before, i);
        double expected = s;
        if (static_cast<unsigned>(mask) >> (i % before->channels) & 1u) {
            expected = formula(s, other ? sample(other, i) : 0.0, is_float ? 1.0 : full);
            if (!is_float) expected = std::floor(std::clamp(expected, 0.0, full) + 0.5);
        }
        ASSERT_NEAR(sample(after, i), expected, tolerance(before->sample_type, expected)) << i << " of " << s;
    }
}

// Samples of up to 16 bits are computed in floats, which decides on which side of a half a product lies.
double scaled_product(double s, double t, double full) {
    if (full > 65535) return s * t / full;
    return double(float(s) * float(t) * (1 / float(full)));
}

TEST(Arithmetic, ConstantOperatorsForAllTypesMasksAndChannelCounts) {
    const RowThreads threads(2);
    const struct {
        ConstantOperator op;
        Formula formula;
    } cases[] = {{ConstantOperator::add, [](double s, double, double full) { return s + 0.25f * full; }},
                 {ConstantOperator::subtract, [](double s, double, double full) { return s - 0.25f * full; }},
                 {ConstantOperator::reverse_subtract, [](double s, double, double full) { return 0.25f * full - s; }}};
    for (int type : TYPES)
        for (int channels : {1, 3, 4, 5})
            for (int mask : {-1, 0, 9, 2})
                for (const auto& test : cases) {
                    const ImagePtr before = noise_image(13, 9, channels, type);
                    const ImagePtr after(image_duplicate(before.get()));
                    const float c = 0.25f * image_full_value(type);
                    ASSERT_TRUE(image_arithmetic_constant(after.get(), test.op, c, mask));
                    expect_formula(before.get(), nullptr, after.get(), mask, test.formula);
                }
}

TEST(Arithmetic, ProductsAndQuotientsByConstants) {
    for (int type : TYPES) {
        const ImagePtr before = noise_image(17, 5, 4, type, 7);
        ImagePtr after(image_duplicate(before.get()));
        EXPECT_TRUE(image_multiply_constant_masked(after.get(), 1.5f, 6));
        expect_formula(before.get(), nullptr, after.get(), 6, [](double s, double, double) { return s * 1.5; });
        after.reset(image_duplicate(before.get()));
        EXPECT_TRUE(image_divide_constant(after.get(), 4.0f));
        expect_formula(before.get(), nullptr, after.get(), -1, [](double s, double, double) { return s / 4.0; });
        for (float nothing : {0.0f, -0.0000009f}) {
            after.reset(image_duplicate(before.get()));
            EXPECT_TRUE(image_divide_constant(after.get(), nothing));
            EXPECT_TRUE(same_pixels(after.get(), before.get()));
        }
    }
}

TEST(Arithmetic, ImageOperatorsForAllTypesAndMasks) {
    const struct {
        ImageOperator op;
        Formula formula;
    } cases[] = {{ImageOperator::add, [](double s, double t, double) { return s + t; }},
                 {ImageOperator::subtract, [](double s, double t, double) { return s - t; }},
                 {ImageOperator::multiply, [](double s, double t, double) { return s * t; }},
                 {ImageOperator::multiply_scaled, scaled_product},
                 {ImageOperator::divide, [](double s, double t, double) { return t > 0.000001 ? s / t : s; }}};
    for (int type : TYPES)
        for (int mask : {-1, 5})
            for (const auto& test : cases) {
                const ImagePtr before = noise_image(19, 6, 4, type, 1), other = noise_image(19, 6, 4, type, 2);
                std::memset(other->pixels, 0, 64);
                const ImagePtr after(image_duplicate(before.get()));
                ASSERT_TRUE(image_arithmetic_image(after.get(), test.op, other.get(), mask));
                expect_formula(before.get(), other.get(), after.get(), mask, test.formula);
            }
}

// Forms that the cases above do not call by name.
TEST(Arithmetic, NamedFormsAreTheirOperators) {
    constexpr int MASK = 6;
    const struct {
        std::function<bool(K7Image*, const K7Image*)> named;
        std::function<bool(K7Image*, const K7Image*)> by_operator;
    } cases[] = {
        {[](K7Image* a, const K7Image*) { return image_multiply_constant(a, 0.5f); },
         [](K7Image* a, const K7Image*) { return image_arithmetic_constant(a, ConstantOperator::multiply, 0.5f); }},
        {[](K7Image* a, const K7Image* b) { return image_multiply_image_masked(a, b, MASK); },
         [](K7Image* a, const K7Image* b) { return image_arithmetic_image(a, ImageOperator::multiply, b, MASK); }},
        {[](K7Image* a, const K7Image* b) { return image_multiply_image_scaled_masked(a, b, MASK); },
         [](K7Image* a, const K7Image* b) {
             return image_arithmetic_image(a, ImageOperator::multiply_scaled, b, MASK);
         }}};
    for (int type : TYPES)
        for (const auto& test : cases) {
            const ImagePtr a = noise_image(11, 4, 4, type, 1), b = noise_image(11, 4, 4, type, 2);
            const ImagePtr expected(image_duplicate(a.get())), before(image_duplicate(a.get()));
            EXPECT_TRUE(test.by_operator(expected.get(), b.get()));
            EXPECT_TRUE(test.named(a.get(), b.get()));
            EXPECT_TRUE(same_pixels(a.get(), expected.get())) << type;
            EXPECT_FALSE(same_pixels(a.get(), before.get())) << type;
        }
    const ImagePtr half = make_image(1, 1, 1, SAMPLE_U8);
    image_fill(half.get(), 5);
    image_multiply_constant(half.get(), 0.5f);
    EXPECT_EQ(image_get_sample(half.get(), 0, 0, 0), 3.0f);
}

TEST(Arithmetic, WhiteTimesWhiteIsWhiteAndMisfitsAreRefused) {
    for (int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_U32}) {
        const ImagePtr a = make_image(3, 3, 4, type), b = make_image(3, 3, 4, type);
        for (auto multiply : {image_multiply_image, image_multiply_image_scaled}) {
            image_fill_level(a.get(), 1.0f);
            image_fill_level(b.get(), 1.0f);
            a->stats_valid = 1;
            EXPECT_TRUE(multiply(a.get(), b.get()));
            EXPECT_TRUE(same_pixels(a.get(), b.get()));
            EXPECT_EQ(a->stats_valid, 0u);
        }
    }
    const ImagePtr a = make_image(3, 3, 4, SAMPLE_F32), b = make_image(3, 3, 3, SAMPLE_F32);
    EXPECT_FALSE(image_add_image(a.get(), b.get()));
    EXPECT_FALSE(image_subtract_image(a.get(), nullptr));
    EXPECT_FALSE(image_add_constant(nullptr, 1.0f));
    const ImagePtr bytes = make_image(2, 2, 4, SAMPLE_U8);
    EXPECT_TRUE(image_add_constant(bytes.get(), std::numeric_limits<float>::quiet_NaN()));
    EXPECT_TRUE(image_add_constant(bytes.get(), 1e30f));
    EXPECT_EQ(image_get_sample(bytes.get(), 1, 1, 1), 255.0f);
}

}  // namespace
