// The control curve against the textbook form of the spline.
#include "effects/engines/curves/ControlCurve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using Points = std::array<CurvePoint, 6>;

std::vector<float> table_of(const Points& points, int entries) {
    std::vector<float> table;
    ControlCurve(points).tabulate(entries, [&](int i, float y) {
        EXPECT_EQ(i, int(table.size()));
        table.push_back(y);
    });
    return table;
}

// Catmull-Rom by its blending functions; `y` holds the eight heights in order.
double blended(const std::vector<double>& y, double u) {
    const int k = int(u);
    const double f = u - k;
    const auto p = [&](int i) { return y[std::size_t(i < 0 ? 0 : i > 7 ? 7 : i)]; };
    return 0.5 * (p(k - 1) * (-f + 2 * f * f - f * f * f) + p(k) * (2 - 5 * f * f + 3 * f * f * f) +
                  p(k + 1) * (f + 4 * f * f - 3 * f * f * f) + p(k + 2) * (-f * f + f * f * f));
}

TEST(ControlCurve, WalksAlongTheSplineByItsParameter) {
    const Points points{{{0.9, 0.3}, {0.1, 0.2}, {0.3, 0.8}, {0.2, 0.55}, {0.7, 0.1}, {0.5, 0.9}}};
    const std::vector<double> heights{0.2, 0.2, 0.55, 0.8, 0.9, 0.1, 0.3, 0.3};  // in order of x, ends doubled
    for (const int entries : {8, 3201, 4096}) {
        const std::vector<float> table = table_of(points, entries);
        ASSERT_EQ(table.size(), std::size_t(entries));
        for (int i = 0; i < entries; ++i) {
            const double wanted = blended(heights, i * 7 / (entries - 0.99999));
            ASSERT_NEAR(table[std::size_t(i)], std::fmin(std::fmax(wanted, 0), 1), 1e-6) << i << " of " << entries;
        }
    }
}

TEST(ControlCurve, ThePictureOfItPassesThroughItsPoints) {
    const Points points{{{0.05, 0.1}, {0.2, 0.4}, {0.4, 0.2}, {0.6, 0.9}, {0.8, 0.5}, {0.9, 0.7}}};
    const ControlCurve curve(points);
    for (int i = 0; i < 6; ++i) {
        EXPECT_NEAR(curve.at(i + 1).x, points[std::size_t(i)].x, 1e-12);
        EXPECT_NEAR(curve.at(i + 1).y, points[std::size_t(i)].y, 1e-12);
    }
    EXPECT_NEAR(curve.at(0).x, 0, 1e-12);
    EXPECT_NEAR(curve.at(7).x, 1, 1e-12);
    EXPECT_NEAR(curve.at(7).y, 0.7, 1e-12);
}

}  // namespace
