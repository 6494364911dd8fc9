#include "noiselib/solidnoise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "noiselib/mtrandom.h"
#include "support/same_bits.h"

namespace {

constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

// Where a row form differs from the calls for each point, -1 where it does not.
int first_difference(const std::vector<float>& row, const std::vector<float>& points) {
    for (std::size_t i = 0; i < points.size(); ++i)
        if (std::bit_cast<uint32_t>(row[i]) != std::bit_cast<uint32_t>(points[i])) return static_cast<int>(i);
    return -1;
}

struct Points {
    std::vector<float> x, y, z;

    explicit Points(int count) : x(count), y(count), z(count) {}
    int count() const { return static_cast<int>(x.size()); }
};

// Coordinates of all sizes, on the lattice and off it, with everything that is not a number among them.
Points nasty_points(int count) {
    constexpr float SPECIAL[] = {
        0,      -0.0F,    1,       -1,       255,      256,          -256,          -1e-10F,
        1e-30F, 8388607,  8388609, -8388607, 16777216, 2e9F,         2147483648.0F, -2147483648.0F,
        3e9F,   -3.3e38F, 3.3e38F, INF,      -INF,     NOT_A_NUMBER, 0.5F,          -0.5F};
    MTRandom random(77);
    Points points(count);
    for (auto* axis : {&points.x, &points.y, &points.z})
        for (float& c : *axis) {
            const uint32_t kind = random.next_uint32() % 8;
            const float scale = std::pow(10.0F, static_cast<float>(random.next_uint32() % 11));
            c = kind == 0 ? SPECIAL[random.next_uint32() % std::size(SPECIAL)]
                          : random.next_float_in(-1, 1) * (kind < 5 ? 20.0F : scale);
        }
    return points;
}

}  // namespace

// Recorded from the weighted sum over the eight corners of a cell, in double precision; the sum of many points meets
// every entry of both copies of the permutation.
TEST(SolidNoise, IsTheNoiseOfItsDefinition) {
    for (const auto& [seed, single, sum] : {std::tuple{1U, -0.297272772, -34.2909794},
                                            {797U, 0.22479102, -8.88069147},
                                            {1234567U, 0.343445182, -32.3755258}}) {
        const SolidNoise noise(seed);
        MTRandom random(seed);
        double total = 0;
        for (int i = 0; i < 4000; ++i) {
            const float range = i % 3 ? 4 : 700;
            const float point[3] = {random.next_float_in(-range, range), random.next_float_in(-range, range),
                                    random.next_float_in(-range, range)};
            total += double(noise.noise(point)) * (1 + i % 7);
            ASSERT_EQ(noise.noise(point), noise.noise(point[0], point[1], point[2]));
        }
        EXPECT_NEAR(noise.noise(-1.3F, 2.7F, 300.4F), single, 2e-6) << seed;
        EXPECT_NEAR(total, sum, 1e-3) << seed;
        for (int i = 0; i < 1000; ++i) {
            const auto whole = [&] { return static_cast<float>(int(random.next_uint32() % 1001) - 500); };
            ASSERT_EQ(noise.noise(whole(), whole(), whole()), 0);
        }
    }
}

TEST(SolidNoise, TurbulenceSumsItsOctaves) {
    const SolidNoise noise(5);
    const float x = 0.37F, y = -2.11F, z = 9.53F;
    const auto octave = [&](float f) { return noise.noise(f * x, f * y, f * z) / f; };
    EXPECT_EQ(noise.turbulence(x, y, z, 1, 1.05F), octave(1));
    EXPECT_EQ(noise.turbulence(x, y, z, 1, 2.17F), octave(1));  // the limit is not reached itself
    EXPECT_EQ(noise.turbulence(x, y, z, 1, 2.18F), octave(1) + octave(2.17F));
    EXPECT_EQ(noise.turbulence(x, y, z, 0.5F, 5), octave(0.5F) + octave(1.085F) + octave(1.085F * 2.17F));
    for (const auto& [low, high] : {std::pair{2.0F, 2.0F}, {2.0F, 1.0F}, {1.0F, NOT_A_NUMBER}, {NOT_A_NUMBER, 1.0F}})
        EXPECT_EQ(noise.turbulence(x, y, z, low, high), 0);
    EXPECT_EQ(noise.turbulence(x, y, z, 0, 3), noise.turbulence(x, y, z, 1e-7F, 3));
    EXPECT_EQ(noise.turbulence(x, y, z, -4, 3), noise.turbulence(x, y, z, 1e-7F, 3));
    EXPECT_NE(noise.turbulence(x, y, z, 1e-7F, 3), 0);
    EXPECT_TRUE(std::isfinite(noise.turbulence(1e30F, y, z, 1, INF)));  // octaves go on until f overflows
    EXPECT_EQ(noise.noise(INF, y, z), 0);
    EXPECT_EQ(noise.noise(x, NOT_A_NUMBER, z), 0);
}

TEST(SolidNoise, RowsOfAnyLengthGiveTheBitsOfSinglePoints) {
    constexpr float SENTINEL = 123;
    const SolidNoise noise(31);
    const Points points = nasty_points(5002);
    at_every_level([&] {
        for (int n = -1; n <= 41; ++n) {
            const int count = n < 41 ? n : 5000;
            std::array<std::vector<float>, 3> rows, expected;
            for (int i = 0; i < count; ++i) {
                const float x = points.x[i + 1], y = points.y[i + 1], z = points.z[i + 1];
                expected[0].push_back(noise.noise(x, y, z));
                expected[1].push_back(noise.turbulence(x, y, z, 0.7F, 6));
            }
            expected[2] = expected[1];
            rows.fill(std::vector<float>(std::max(count, 0) + 1, SENTINEL));
            std::copy_n(&points.y[1], std::max(count, 0), rows[2].data());
            for (auto& row : expected) row.push_back(SENTINEL);
            noise.noise_row(&points.x[1], &points.y[1], &points.z[1], rows[0].data(), count);
            noise.turbulence_row(&points.x[1], &points.y[1], &points.z[1], 0.7F, 6, rows[1].data(), count);
            noise.turbulence_row(&points.x[1], rows[2].data(), &points.z[1], 0.7F, 6, rows[2].data(), count);
            for (int form = 0; form < 3; ++form)
                ASSERT_EQ(first_difference(rows[form], expected[form]), -1) << "form " << form << ", count " << count;
        }
    });
}

TEST(SolidNoise, LinesGiveTheBitsOfSinglePoints) {
    const SolidNoise noise(797);
    constexpr double STARTS[] = {0, -3.7, 255.5, -70000.25, 4e6, -2.1e9, 1e38, INF, NOT_A_NUMBER};
    constexpr double STEPS[] = {0, 0.02, -0.02, 0.13, 0.31, 1, -1.5, 37.7, 1e7, 1e36, NOT_A_NUMBER};
    const auto check = [&](const NoiseLine& line, int count) {
        std::vector<float> row(count), expected(count), sums(count);
        for (int i = 0; i < count; ++i) {
            const float x = line.x_at(i - 90);
            expected[i] = noise.noise(x, line.y, line.z);
            sums[i] = noise.turbulence(x, line.y, line.z, 1, 5.05F);
        }
        noise.noise_row(line, -90, row.data(), count);
        ASSERT_EQ(first_difference(row, expected), -1) << line.x << " step " << line.step << " y " << line.y;
        noise.turbulence_row(line, -90, 1, 5.05F, row.data(), count);
        ASSERT_EQ(first_difference(row, sums), -1) << line.x << " step " << line.step << " y " << line.y;
    };
    at_every_level([&] {
        for (int count = 0; count < 41; ++count) check({-1.3, 0.11, 4.4F, 5.5F}, count);
        for (const double start : STARTS)
            for (const double step : STEPS)
                for (const float y : {0.25F, 3.0F, 1e30F, NOT_A_NUMBER}) check({start, step, y, 0.5F * y + 0.3F}, 700);
    });
}
