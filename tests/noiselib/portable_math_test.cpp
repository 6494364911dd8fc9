#include "noiselib/portable_math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

// Against extended precision, in units in the last place of the result.
TEST(PortableMath, IsRightToAUnitAndAHalf) {
    const auto error = [](double got, long double exact) {
        const auto unit = std::nextafter(std::abs(double(exact)), 1e300) - std::abs(double(exact));
        const auto distance = double(std::abs(got - exact));
        return distance < 1e-22 ? 0 : distance / unit;  // next to a zero other than that at 0
    };
    constexpr int STEPS = 200000;
    for (int i = 0; i <= STEPS; ++i) {
        const double angle = 2 * std::numbers::pi * i / STEPS;
        const SineCosine got = sine_cosine(angle);
        ASSERT_LT(error(got.sine, std::sin((long double)angle)), 1.5) << angle;
        ASSERT_LT(error(got.cosine, std::cos((long double)angle)), 1.5) << angle;
        const double x = std::exp((i - STEPS / 2) * 0.006);  // 1e-260 to 1e260
        ASSERT_LT(error(natural_logarithm(x), std::log((long double)x)), 1.5) << x;
        const double near_one = 1 + (i - STEPS / 2) * 1e-6;
        ASSERT_LT(error(natural_logarithm(near_one), std::log((long double)near_one)), 1.5) << near_one;
    }
    EXPECT_EQ(sine_cosine(0).sine, 0);
    EXPECT_EQ(sine_cosine(0).cosine, 1);
    EXPECT_EQ(natural_logarithm(1), 0);
}
