// Blue noise by its spectrum, and points by their distances and gaps.
#include "imagelib/imagelib_bluenoise.h"

#include "pictures.h"

namespace {

// Mean power of waves of up to `most` periods a tile, relative to noise without any order.
double low_power(const std::vector<char>& set, double level, int most) {
    constexpr int SIDE = BlueNoiseTile::SIDE;
    double power = 0;
    int waves = 0;
    for (int v = -most; v <= most; ++v)
        for (int u = 0; u <= most; ++u) {
            if ((u == 0 && v <= 0) || u * u + v * v > most * most) continue;
            double re = 0, im = 0;
            for (int i = 0; i < BlueNoiseTile::PIXELS; ++i)
                if (set[std::size_t(i)]) {
                    const double angle = 2 * 3.14159265358979 * (u * (i % SIDE) + v * (i / SIDE)) / SIDE;
                    re += std::cos(angle), im += std::sin(angle);
                }
            power += re * re + im * im;
            ++waves;
        }
    return power / waves / (BlueNoiseTile::PIXELS * level * (1 - level));
}

TEST(BlueNoise, HoldsEachRankOnceAndNoLowFrequencies) {
    const BlueNoiseTile& tile = blue_noise_tile();
    std::vector<char> seen(BlueNoiseTile::PIXELS);
    for (const auto rank : tile.ranks) seen[rank] = 1;
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), BlueNoiseTile::PIXELS);
    for (const double level : {0.03, 0.25, 0.5, 0.9}) {
        std::vector<char> set;
        for (int y = 0; y < BlueNoiseTile::SIDE; ++y)
            for (int x = 0; x < BlueNoiseTile::SIDE; ++x) set.push_back(double(tile.threshold(x, y - 256)) < level);
        EXPECT_EQ(std::count(set.begin(), set.end(), 1), std::lround(level * BlueNoiseTile::PIXELS));
        EXPECT_LT(low_power(set, level, 8), 0.1) << level;
    }
}

TEST(PoissonPoints, KeepTheirDistanceAndLeaveNoGap) {
    for (const auto& [width, height, apart] :
         {std::tuple{90.0f, 50.0f, 4.0f}, {300.0f, 2.0f, 3.0f}, {1.0f, 1.0f, 7.0f}}) {
        std::vector<PoissonPoint> points, again, other;
        ASSERT_TRUE(poisson_points(width, height, apart, 5, points));
        ASSERT_TRUE(poisson_points(width, height, apart, 5, again));
        ASSERT_EQ(points.size(), again.size());
        EXPECT_EQ(std::memcmp(points.data(), again.data(), points.size() * sizeof points[0]), 0);
        ASSERT_TRUE(poisson_points(width, height, apart, 6, other));
        EXPECT_NE(points[0].x, other[0].x);
        for (std::size_t i = 0; i < points.size(); ++i) {
            EXPECT_TRUE(points[i].x >= 0 && points[i].x < width && points[i].y >= 0 && points[i].y < height);
            for (std::size_t k = 0; k < i; ++k)
                EXPECT_GE(std::hypot(points[i].x - points[k].x, points[i].y - points[k].y), apart * 0.9999f);
        }
        int gaps = 0, places = 0;
        for (float y = 0.3f; y < height; y += 0.8f)
            for (float x = 0.3f; x < width; x += 0.8f, ++places)
                gaps += std::none_of(points.begin(), points.end(), [&, apart = apart](const PoissonPoint& p) {
                    return std::hypot(p.x - x, p.y - y) < apart * 1.02f;
                });
        EXPECT_LE(gaps, places / 100);
    }
    std::vector<PoissonPoint> none;
    EXPECT_FALSE(poisson_points(1e6f, 1e6f, 0.1f, 1, none));
    EXPECT_FALSE(poisson_points(10, 10, 0, 1, none));
    EXPECT_FALSE(poisson_points(NOT_A_NUMBER, 10, 1, 1, none));
    EXPECT_FALSE(poisson_points(ENDLESS, 10, ENDLESS, 1, none));
}

}  // namespace
