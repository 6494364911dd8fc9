#include "imagelib/imagelib_solvers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::HasSubstr;

std::string stderr_of(void (*work)()) {
    testing::internal::CaptureStderr();
    work();
    return testing::internal::GetCapturedStderr();
}

TEST(K7Vector, CountsFromOneOrZeroAndTracesMistakes) {
    K7Vector from_one(3), from_zero(3, true, true);
    for (int i = 0; i < 3; ++i) from_one[i + 1] = from_zero[i] = i * 1.5;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(from_one.data()[i], from_zero.data()[i]);
    K7Vector copy(from_one), moved(std::move(from_zero));
    copy[2] = 7;
    EXPECT_EQ(from_one[2], 1.5);
    EXPECT_EQ(moved[2], 3.0);
    K7Matrix m(2, 3), z(2, 3, true, true);
    m(2, 1) = z(1, 0) = 5;
    EXPECT_TRUE(m.data()[3] == 5 && z.data()[3] == 5);
    // A wrong index answers the first element.
    const std::string traced = stderr_of([] {
        K7Vector v(4), bad(-3);
        K7Matrix matrix(2, 3);
        v[1] = matrix(1, 1) = 42;
        EXPECT_TRUE(v[0] == 42 && v[5] == 42 && matrix(3, 1) == 42 && matrix(1, 0) == 42);
        EXPECT_FALSE(bad.valid() || K7Vector(bad).valid() || K7Matrix(2147483647, 2147483647).valid());
    });
    for (const char* line :
         {"K7Vector index operator passed invalid index (5 for 4).\n", "K7Vector::alloc_ard(-3) failed.\n",
          "K7Matrix 2D index operator passed invalid index ((3,1) for (2,3)).\n"})
        EXPECT_THAT(traced, HasSubstr(line));
}

TEST(LeastSquares, NormalEquationsHoldAndTheShortestSolutionIsTaken) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> value(-1, 1);
    const int shapes[][2] = {{1, 1}, {5, 5}, {12, 8}, {30, 3}, {3, 7}};
    for (const auto& [m, n] : shapes) {
        SCOPED_TRACE(testing::Message() << m << "x" << n);
        K7Matrix a(m, n);
        K7Vector b(m), x(n);
        for (int i = 0; i < m * n; ++i) a.data()[i] = value(random);
        for (int i = 1; i <= m; ++i) b[i] = value(random);
        ASSERT_TRUE(solve_least_squares(a, b, x, 0));
        for (int c = 1; c <= n; ++c) {
            double slope = 0;
            for (int r = 1; r <= m; ++r) {
                double residual = -b[r];
                for (int k = 1; k <= n; ++k) residual += a(r, k) * x[k];
                slope += a(r, c) * residual;
            }
            EXPECT_NEAR(slope, 0, 1e-12);
        }
    }
    K7Matrix wide(1, 2);
    wide(1, 1) = 3, wide(1, 2) = 4;
    K7Vector rhs(1), x(2);
    rhs[1] = 50;
    ASSERT_TRUE(solve_least_squares(wide, rhs, x, 0));
    EXPECT_NEAR(x[1], 6, 1e-12);
    EXPECT_NEAR(x[2], 8, 1e-12);
}

TEST(LeastSquares, ThresholdDropsSmallSingularValuesAndMisfitsAreRefused) {
    K7Matrix a(2, 2);
    a(1, 1) = 1, a(2, 2) = 1e-8;
    K7Vector b(2), x(2), three(3);
    b[1] = 3, b[2] = 1;
    ASSERT_TRUE(solve_least_squares(a, b, x, 0));
    EXPECT_NEAR(x[2], 1e8, 1);
    ASSERT_TRUE(solve_least_squares(a, b, x, 1e-6));
    EXPECT_NEAR(x[1], 3, 1e-12);
    EXPECT_EQ(x[2], 0);
    EXPECT_FALSE(solve_least_squares(a, three, x, 0));
    EXPECT_FALSE(solve_least_squares(a, b, three, 0));
    a(1, 2) = NAN;
    EXPECT_FALSE(solve_least_squares(a, b, x, 0));
    EXPECT_NEAR(x[1], 3, 1e-12);
}

// ---- Homography -----------------------------------------------------------------------------------------------

void expect_identity(const float* m) {
    for (int i = 0; i < 16; ++i) EXPECT_EQ(m[i], i % 5 == 0 ? 1.0f : 0.0f);
}

std::pair<double, double> mapped(const float* m, double x, double y) {
    double result[4];
    for (int row = 0; row < 4; ++row) result[row] = m[4 * row] * x + m[4 * row + 1] * y + m[4 * row + 3];
    EXPECT_EQ(result[2], 0.0) << "z stays";
    return {result[0] / result[3], result[1] / result[3]};
}

TEST(Homography, TakesFourPointsToFour) {
    const float ratio = 1920.0f / 1080.0f;
    const std::vector<float> unit = {0, 0, 0, ratio, 1, ratio, 1, 0};
    const std::vector<float> quad = {0.1f, 0.2f, 0.25f, 1.5f, 0.8f, 1.3f, 1.1f, 0.05f};
    for (float size : {1.0f, 1920.0f, 1e-3f}) {
        std::vector<float> target = quad;
        for (float& v : target) v *= size;
        float there[16], back[16];
        ASSERT_EQ(solve_homography(unit.data(), target.data(), 4, there), 0);
        ASSERT_EQ(solve_homography(target.data(), unit.data(), 4, back), 0);
        for (int i = 0; i < 4; ++i) {
            const auto [u, v] = mapped(there, unit[2 * i], unit[2 * i + 1]);
            EXPECT_NEAR(u, target[2 * i], 2e-6 * size);
            EXPECT_NEAR(v, target[2 * i + 1], 2e-6 * size);
        }
        const auto [u, v] = mapped(there, 0.4, 0.7);
        const auto [x, y] = mapped(back, u, v);
        EXPECT_NEAR(x, 0.4, 5e-6);
        EXPECT_NEAR(y, 0.7, 5e-6);
    }
}

TEST(Homography, IdentityWhenThereIsNoMap) {
    float points[8] = {0, 0, 1, 0, 1, 1, 0, 1}, m[16];
    EXPECT_EQ(solve_homography(points, points, 3, m), 1);
    expect_identity(m);
    EXPECT_EQ(solve_homography(nullptr, points, 4, m), 2);
    const float zeros[8] = {};
    for (float v : m) EXPECT_TRUE(std::isfinite(v));
    points[3] = NAN;
    EXPECT_EQ(solve_homography(points, zeros, 4, m), 2);
    expect_identity(m);
}

}  // namespace
