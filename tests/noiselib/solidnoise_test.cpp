#include "noiselib/solidnoise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "k7pi_baselib/cpu.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr CpuLevel LEVELS[] = {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512};
constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

// Runs the rest of a test at a level; what the processor lacks falls back to what it has.
class AtLevel {
  public:
    explicit AtLevel(CpuLevel level) { set_cpu_level_limit(level); }
    ~AtLevel() { set_cpu_level_limit(CpuLevel::avx512); }
};

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
    constexpr float SPECIAL[] = {0,       -0.0F,    1,        -1,      255,    256,          -256,   -1e-10F, 1e-30F,
                                 8388607, 8388609,  -8388607, 16777216, 2e9F,   2147483648.0F, -2147483648.0F,
                                 3e9F,    -3.3e38F, 3.3e38F,  INF,     -INF,   NOT_A_NUMBER, 0.5F,   -0.5F};
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

TEST(SolidNoise, RowsGiveTheBitsOfSinglePoints) {
    const SolidNoise noise(1234567);
    const Points points = nasty_points(5000);
    std::vector<float> expected(5000), sums(5000);
    for (int i = 0; i < 5000; ++i) {
        expected[i] = noise.noise(points.x[i], points.y[i], points.z[i]);
        sums[i] = noise.turbulence(points.x[i], points.y[i], points.z[i], 0.7F, 12);
    }
    for (const CpuLevel level : LEVELS) {
        const AtLevel limit(level);
        std::vector<float> row(5000);
        noise.noise_row(points.x.data(), points.y.data(), points.z.data(), row.data(), 5000);
        EXPECT_EQ(first_difference(row, expected), -1);
        noise.turbulence_row(points.x.data(), points.y.data(), points.z.data(), 0.7F, 12, row.data(), 5000);
        EXPECT_EQ(first_difference(row, sums), -1);
        std::vector<float> in_place = points.y;
        noise.turbulence_row(points.x.data(), in_place.data(), points.z.data(), 0.7F, 12, in_place.data(), 5000);
        EXPECT_EQ(first_difference(in_place, sums), -1);
    }
}

TEST(SolidNoise, LinesGiveTheBitsOfSinglePoints) {
    const SolidNoise noise(797);
    constexpr int COUNT = 700;
    constexpr double STARTS[] = {0, -3.7, 1e-9, 255.5, -70000.25, 1e6, 4e6, -2.1e9, 5e9, 1e38, INF, NOT_A_NUMBER};
    constexpr double STEPS[] = {0, 0.02, -0.02, 0.13, -0.29, 0.31, 1, -1.5, 37.7, 1e7, 1e36, INF, NOT_A_NUMBER};
    constexpr float OTHERS[] = {0.25F, -11.9F, 3, 1e30F, INF, NOT_A_NUMBER};
    for (const CpuLevel level : LEVELS) {
        const AtLevel limit(level);
        for (const double start : STARTS)
            for (const double step : STEPS)
                for (const float y : OTHERS) {
                    const NoiseLine line{start, step, y, 0.5F * y + 0.3F};
                    std::vector<float> row(COUNT), expected(COUNT), sums(COUNT);
                    for (int i = 0; i < COUNT; ++i) {
                        const float x = line.x_at(i - 90);
                        expected[i] = noise.noise(x, line.y, line.z);
                        sums[i] = noise.turbulence(x, line.y, line.z, 1, 5.05F);
                    }
                    noise.noise_row(line, -90, row.data(), COUNT);
                    ASSERT_EQ(first_difference(row, expected), -1) << start << " step " << step << " y " << y;
                    noise.turbulence_row(line, -90, 1, 5.05F, row.data(), COUNT);
                    ASSERT_EQ(first_difference(row, sums), -1) << start << " step " << step << " y " << y;
                }
    }
}
