// The reticles: symmetry, areas, and coverage against fine sampling.
#include "effects/night/NightVisionReticle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

constexpr double THICKNESS[3] = {2, 6, 8};

struct Drawn {
    int width, height;
    std::vector<float> coverage;
    Drawn(const std::vector<ReticleShape>& shapes, int w, int h, ReticlePlace place)
        : width(w), height(h), coverage(std::size_t(w * h)) {
        for (int y = 0; y < h; ++y) {
            const ReticleSpan span = reticle_coverage(shapes, place, y, w, &coverage[std::size_t(y * w)]);
            for (int x = 0; x < w; ++x) {
                const float c = at(x, y);
                EXPECT_TRUE(c >= 0 && c <= 1);
                EXPECT_TRUE(c == 0 || (x >= span.first && x < span.last));
            }
        }
    }
    Drawn(const std::vector<ReticleShape>& shapes, int side) : Drawn(shapes, side, side, {side / 2.0, side / 2.0, 1}) {}
    float at(int x, int y) const { return coverage[std::size_t(y * width + x)]; }
    double sum() const {
        double total = 0;
        for (const float c : coverage) total += double(c);
        return total;
    }
};

TEST(Reticle, IsSymmetric) {
    for (int type = 1; type <= 5; ++type) {
        SCOPED_TRACE(type);
        const Drawn drawn(reticle_shapes(type, 90, THICKNESS), 201);
        EXPECT_GT(drawn.sum(), 100);
        for (int y = 0; y < 201; ++y)
            for (int x = 0; x < 201; ++x) {
                ASSERT_NEAR(drawn.at(x, y), drawn.at(200 - x, y), 1e-6) << x << ", " << y;
                ASSERT_TRUE(type == 4 || std::fabs(drawn.at(x, y) - drawn.at(x, 200 - y)) < 1e-6f) << x << ", " << y;
                ASSERT_TRUE(type > 3 || std::fabs(drawn.at(x, y) - drawn.at(y, x)) < 1e-6f) << x << ", " << y;
            }
    }
}

TEST(Reticle, CoversItsArea) {
    // Wherever it lies, and however thin its lines are.
    for (const double shift : {0.0, 0.25, 0.61}) {
        for (const double thin : {0.3, 1.0, 2.7}) {
            const double thickness[3] = {thin, 3 * thin, 4 * thin};
            const auto area = [&](int type) {
                return Drawn(reticle_shapes(type, 90, thickness), 240, 240, {120 + shift, 119 - shift, 1}).sum();
            };
            EXPECT_NEAR(area(1), 4 * 81 * thin, 0.01 * 81 * thin);
            const double ring = 2 * std::numbers::pi * 45 * thin, posts = 4 * 45 * 3 * thin;
            EXPECT_NEAR(area(2), ring + posts, 0.03 * (ring + posts));
            const double corners = 4 * (2 * 18 * 3 * thin - 9 * thin * thin);
            const double dot = std::numbers::pi * 16 * thin * thin;
            EXPECT_NEAR(area(5), corners + dot, 0.02 * (corners + dot) + 0.5);
        }
    }
}

TEST(Reticle, PixelsThatAreNotSquareStretchItUpwards) {
    const auto shapes = reticle_shapes(2, 40, THICKNESS);
    const Drawn drawn(shapes, 100, 200, {50, 100, 2});
    EXPECT_EQ(drawn.at(50, 100 + 81), 0);
    EXPECT_EQ(drawn.at(50, 100 + 79), 1);
    EXPECT_EQ(drawn.at(50 + 39, 100), 1);
    EXPECT_EQ(drawn.at(50 + 40, 100), 0);
}

}  // namespace
