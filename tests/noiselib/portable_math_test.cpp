#include "noiselib/portable_math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

// Against extended precision, in units in the last place of the result.
TEST(PortableMath, IsRightToAboutAUnitInTheLastPlace) {
    const auto error = [](double got, long double exact) {
        const auto unit = std::nextafter(std::abs(double(exact)), 1e300) - std::abs(double(exact));
        return double(std::abs(got - exact) / unit);
    };
    constexpr int STEPS = 200000;
    for (int i = 0; i <= STEPS; ++i) {
        const double angle = 2 * std::numbers::pi * i / STEPS;
        const SineCosine got = sine_cosine(angle);
        ASSERT_LT(error(got.sine, std::sin((long double)angle)), 1.1) << angle;
        ASSERT_LT(error(got.cosine, std::cos((long double)angle)), 1.1) << angle;
        const double x = std::exp((i - STEPS / 2) * 0.006);  // 1e-260 to 1e260
        ASSERT_LT(error(natural_logarithm(x), std::log((long double)x)), 1.1) << x;
        const double near_one = 1 + (i - STEPS / 2) * 1e-6;
        ASSERT_LT(error(natural_logarithm(near_one), std::log((long double)near_one)), 1.1) << near_one;
    }
    EXPECT_EQ(sine_cosine(0).sine, 0);
    EXPECT_EQ(sine_cosine(0).cosine, 1);
    EXPECT_EQ(natural_logarithm(1), 0);
}
