#include "noiselib/mtrandom.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

TEST(MTRandom, AgreesWithTheStandardGenerator) {
    for (const uint32_t seed : {0U, 1U, 797U, 1234567U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        MTRandom random(seed);
        std::mt19937 standard(seed);
        for (int i = 0; i < 3 * 624 + 5; ++i) ASSERT_EQ(random.next_uint32(), standard()) << seed << ' ' << i;
    }
}

TEST(MTRandom, ReadsWordsOut) {
    MTRandom random(12);
    std::mt19937 words(12);
    for (int i = 0; i < 500; ++i) {
        EXPECT_DOUBLE_EQ(random.next_double(), words() / 4294967295.0);
        EXPECT_EQ(random.next_float(), std::ldexp(float(words()), -32));
        const float word = float(words());
        EXPECT_EQ(random.next_float_in(-3, 5.5F), 8.5F * word * 0x1p-32F - 3);
    }
    // One of the rare words that a float rounds up to 2^32.
    MTRandom large(199406);
    for (int i = 1; i < 566; ++i) large.next_uint32();
    MTRandom copy = large;
    EXPECT_GE(copy.next_uint32(), 0xFFFFFF80U);
    EXPECT_EQ(large.next_float(), 1.0F);
}

TEST(MTRandom, GaussianFormsKeepTheirOwnSpares) {
    constexpr bool IS_DOUBLE[] = {true, false, false, false, true, true, false, true, true, true, false, false, false};
    MTRandom random(2024);
    std::mt19937 words(2024);
    double spare[2] = {};
    bool has_spare[2] = {};
    for (int i = 0; i < 2000; ++i) {
        const bool is_double = IS_DOUBLE[i % std::size(IS_DOUBLE)];
        double expected = spare[is_double];
        if (!has_spare[is_double]) {
            double v1, v2, r;
            do {
                v1 = 2 * std::ldexp(is_double ? double(words()) : double(float(words())), -32) - 1;
                v2 = 2 * std::ldexp(is_double ? double(words()) : double(float(words())), -32) - 1;
                r = v1 * v1 + v2 * v2;
            } while (r >= 1 || r == 0);
            const double f = std::sqrt(-2 * std::log(r) / r);
            expected = v2 * f;
            spare[is_double] = v1 * f;
        }
        has_spare[is_double] = !has_spare[is_double];
        if (is_double)
            ASSERT_NEAR(random.next_gaussian(), expected, 1e-13) << i;
        else
            ASSERT_NEAR(random.next_gaussian_float(), expected, 4e-5) << i;
    }
    EXPECT_EQ(random.next_uint32(), words());
    MTRandom same = random;
    EXPECT_EQ(random.next_gaussian_scaled(3, 2), 3 + same.next_gaussian() * 2);
}
