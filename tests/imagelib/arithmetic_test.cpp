#include "imagelib/imagelib_arithmetic.h"

#include <functional>

#include "pictures.h"

namespace {

using Formula = std::function<double(double s, double t, double full)>;
using Operation = std::function<bool(K7Image*, const K7Image*, int mask)>;

// Integers are limited, rounded and exact.
void expect_formula(const ImagePtr& before, const ImagePtr& other, const ImagePtr& after, int mask,
                    const Formula& formula) {
    const bool is_float = before->sample_type == SAMPLE_F32;
    const double full = double(image_full_value(before->sample_type)) - (before->sample_type == SAMPLE_U32);
    for (std::size_t i = 0; i < sample_count(before.get()); ++i) {
        const double s = sample_of(before.get(), i);
        double expected = s;
        if (static_cast<unsigned>(mask) >> (i % before->channels) & 1u) {
            expected = formula(s, sample_of(other.get(), i), is_float ? 1.0 : full);
            if (!is_float) expected = std::floor(std::clamp(expected, 0.0, full) + 0.5);
        }
        ASSERT_NEAR(sample_of(after.get(), i), expected, is_float ? 1e-6 * (1.0 + std::fabs(expected)) : 0.0)
            << i << " of " << s << ", mask " << mask << ", type " << before->sample_type;
    }
}

// Samples of up to 16 bits are computed in floats, which decides on which side of a half a product lies.
double scaled_product(double s, double t, double full) {
    if (full > 65535) return s * t / full;
    return double(float(s) * float(t) * (1 / float(full)));
}

double product(double s, double t, double) { return s * t; }

TEST(Arithmetic, OperatorsForAllTypesMasksAndChannelCounts) {
    const RowThreads threads(2);
    const auto constant = [](ConstantOperator op) {
        return [op](K7Image* a, const K7Image*, int mask) {
            return image_arithmetic_constant(a, op, 0.25f * image_full_value(a->sample_type), mask);
        };
    };
    const auto by_image = [](ImageOperator op) {
        return [op](K7Image* a, const K7Image* b, int mask) { return image_arithmetic_image(a, op, b, mask); };
    };
    const struct {
        Operation run;
        Formula formula;
    } cases[] = {
        {constant(ConstantOperator::add), [](double s, double, double full) { return s + 0.25f * full; }},
        {constant(ConstantOperator::subtract), [](double s, double, double full) { return s - 0.25f * full; }},
        {constant(ConstantOperator::reverse_subtract), [](double s, double, double full) { return 0.25f * full - s; }},
        {[](K7Image* a, const K7Image*, int mask) { return image_multiply_constant_masked(a, 1.5f, mask); },
         [](double s, double, double) { return s * 1.5; }},
        {by_image(ImageOperator::add), [](double s, double t, double) { return s + t; }},
        {by_image(ImageOperator::subtract), [](double s, double t, double) { return s - t; }},
        {by_image(ImageOperator::multiply), product},
        {[](K7Image* a, const K7Image* b, int mask) { return image_multiply_image_masked(a, b, mask); }, product},
        {by_image(ImageOperator::multiply_scaled), scaled_product},
        {[](K7Image* a, const K7Image* b, int mask) { return image_multiply_image_scaled_masked(a, b, mask); },
         scaled_product},
        {by_image(ImageOperator::divide), [](double s, double t, double) { return t > 0.000001 ? s / t : s; }}};
    for (const int type : SAMPLE_TYPES)
        for (const int channels : {1, 3, 4, 5})
            for (const int mask : {-1, 0, 9, 2, 5})
                for (const auto& test : cases) {
                    const ImagePtr before = noise_image(13, 9, channels, type, 1);
                    const ImagePtr other = noise_image(13, 9, channels, type, 2), after = copy_of(before);
                    std::memset(other->pixels, 0, 64);
                    ASSERT_TRUE(test.run(after.get(), other.get(), mask));
                    ASSERT_NO_FATAL_FAILURE(expect_formula(before, other, after, mask, test.formula));
                }
}

TEST(Arithmetic, ConstantsThatAreNothingRoundingAndWhite) {
    for (const int type : SAMPLE_TYPES) {
        const ImagePtr before = noise_image(17, 5, 4, type, 7), quarter = copy_of(before);
        EXPECT_TRUE(image_divide_constant(quarter.get(), 4.0f));
        expect_formula(before, before, quarter, -1, [](double s, double, double) { return s / 4.0; });
        for (const float nothing : {0.0f, -0.0000009f}) {
            const ImagePtr after = copy_of(before);
            EXPECT_TRUE(image_divide_constant(after.get(), nothing));
            EXPECT_TRUE(same_pixels(after, before));
        }
        const ImagePtr white = make_image(3, 3, 4, type), product = make_image(3, 3, 4, type);
        image_fill_level(white.get(), 1.0f);
        for (auto multiply : {image_multiply_image, image_multiply_image_scaled}) {
            image_fill_level(product.get(), 1.0f);
            EXPECT_TRUE(multiply(product.get(), white.get()));
            EXPECT_TRUE(same_pixels(product, white)) << type;
        }
    }
    const ImagePtr bytes = make_image(1, 1, 1, SAMPLE_U8);
    image_fill(bytes.get(), 5);
    EXPECT_TRUE(image_multiply_constant(bytes.get(), 0.5f));
    EXPECT_EQ(sample_of(bytes.get(), 0), 3);
    EXPECT_TRUE(image_add_constant(bytes.get(), NOT_A_NUMBER));
    EXPECT_TRUE(image_add_constant(bytes.get(), 1e30f));
    EXPECT_EQ(sample_of(bytes.get(), 0), 255);
    EXPECT_FALSE(image_add_image(make_image(3, 3, 4, SAMPLE_F32).get(), make_image(3, 3, 3, SAMPLE_F32).get()));
}

}  // namespace
