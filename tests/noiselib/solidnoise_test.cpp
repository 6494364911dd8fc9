#include "noiselib/solidnoise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "noiselib/mtrandom.h"
#include "simdlib/cpu.h"

namespace {

constexpr float INF = std::numeric_limits<float>::infinity();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

// Calls check() at every instruction set; what the processor lacks falls back to what it has.
template <class Check>
void at_every_level(Check check) {
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        SCOPED_TRACE(int(level));
        set_cpu_level_limit(level);
        check();
    }
    set_cpu_level_limit(CpuLevel::avx512);
}

// Where a row form differs from the calls for each point, -1 where it does not.
int first_difference(const std::vector<float>& row, const std::vector<float>& points) {
    for (std::size_t i = 0; i < points.size(); ++i)
        if (std::bit_cast<uint32_t>(row[i]) != std::bit_cast<uint32_t>(points[i])) return static_cast<int>(i);
    return -1;
}

// ---- The noise by its definition, slowly ------------------------------------------------------------------------

// The fixed permutation in hexadecimal, so that a slip in one of its two copies shows.
constexpr char PERMUTATION[] =
    "e19bd26cafc7dd90cb7446d5459e21fc0552ad85de8bae1b09475af64b825bbfa98a0297c2eb51071971e49fcdfd868ef841e0d91679e53f"
    "596760689c11c9812408a56eed75e73884d39814b56fefdaaaa333ac9d2f50d4b0fa573163f288bda2732c2b7c5e96108df7200ac6dfff48"
    "35835439dcc53a32d00bf11c03c03eca12d799184c290fb3272e370680a717bc6a22bb8ca44970b6f4c3e30d234dc4b91ac8e2771f7ba87d"
    "f944b7e6b187a0b40c01f39466a626eefb25f07e404aa128b895abb265421d3b923dfe6b2a569a04ece87815e9d12d62c1724e13ce0e767f"
    "304f93551ecfdb3658eabe7a5f438f6d89d6915d5c64f500d8ba3c536961cc34";

int permuted(int h) {
    const std::string digits(PERMUTATION + 2 * (h & 255), 2);
    return std::stoi(digits, nullptr, 16);
}

struct SlowNoise {
    double gradients[256][3];

    explicit SlowNoise(uint32_t seed) {
        std::mt19937 words(seed);
        for (auto& g : gradients) {
            g[2] = 2.0 * std::ldexp(double(float(words())), -32) - 1;
            const double angle = 6.2831854820251465 * std::ldexp(double(float(words())), -32);
            const double r = std::sqrt(1 - g[2] * g[2]);
            g[0] = r * std::cos(angle);
            g[1] = r * std::sin(angle);
        }
    }

    // The weighted sum over the eight corners of the cell.
    double at(double x, double y, double z) const {
        const double point[3] = {x, y, z};
        double sum = 0;
        for (int corner = 0; corner < 8; ++corner) {
            int lattice[3];
            double offset[3], weight = 1;
            for (int axis = 0; axis < 3; ++axis) {
                const int side = corner >> axis & 1;
                const double fraction = point[axis] - std::floor(point[axis]);
                const double s = (3 - 2 * fraction) * fraction * fraction;
                lattice[axis] = int(std::floor(point[axis])) + side;
                offset[axis] = fraction - side;
                weight *= side ? s : 1 - s;
            }
            const int hash = permuted(permuted(permuted(lattice[2]) + lattice[1]) + lattice[0]);
            const double* g = gradients[hash];
            sum += weight * (g[0] * offset[0] + g[1] * offset[1] + g[2] * offset[2]);
        }
        return sum;
    }
};

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

TEST(SolidNoise, IsTheNoiseOfItsDefinition) {
    for (const uint32_t seed : {1U, 797U, 1234567U}) {
        const SolidNoise noise(seed);
        const SlowNoise slow(seed);
        MTRandom random(seed);
        for (int i = 0; i < 3000; ++i) {
            const float range = i % 3 ? 4 : 700;
            const float point[3] = {random.next_float_in(-range, range), random.next_float_in(-range, range),
                                    random.next_float_in(-range, range)};
            ASSERT_NEAR(noise.noise(point), slow.at(point[0], point[1], point[2]), 2e-6);
            ASSERT_EQ(noise.noise(point), noise.noise(point[0], point[1], point[2]));
        }
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
    const NoiseLine line{-1.3, 0.11, 4.4F, 5.5F};
    at_every_level([&] {
        for (int n = -1; n <= 41; ++n) {
            const int count = n < 41 ? n : 5000;
            std::array<std::vector<float>, 5> rows, expected;
            for (int i = 0; i < count; ++i) {
                const float x = points.x[i + 1], y = points.y[i + 1], z = points.z[i + 1];
                expected[0].push_back(noise.noise(x, y, z));
                expected[1].push_back(noise.turbulence(x, y, z, 0.7F, 6));
                expected[2].push_back(noise.noise(line.x_at(i + 3), line.y, line.z));
                expected[3].push_back(noise.turbulence(line.x_at(i + 3), line.y, line.z, 1, 6));
            }
            expected[4] = expected[1];
            rows.fill(std::vector<float>(std::max(count, 0) + 1, SENTINEL));
            std::copy_n(&points.y[1], std::max(count, 0), rows[4].data());
            for (auto& row : expected) row.push_back(SENTINEL);
            noise.noise_row(&points.x[1], &points.y[1], &points.z[1], rows[0].data(), count);
            noise.turbulence_row(&points.x[1], &points.y[1], &points.z[1], 0.7F, 6, rows[1].data(), count);
            noise.noise_row(line, 3, rows[2].data(), count);
            noise.turbulence_row(line, 3, 1, 6, rows[3].data(), count);
            noise.turbulence_row(&points.x[1], rows[4].data(), &points.z[1], 0.7F, 6, rows[4].data(), count);
            for (int form = 0; form < 5; ++form)
                ASSERT_EQ(first_difference(rows[form], expected[form]), -1) << "form " << form << ", count " << count;
        }
    });
}

TEST(SolidNoise, LinesGiveTheBitsOfSinglePoints) {
    const SolidNoise noise(797);
    constexpr int COUNT = 700;
    constexpr double STARTS[] = {0, -3.7, 1e-9, 255.5, -70000.25, 1e6, 4e6, -2.1e9, 5e9, 1e38, INF, NOT_A_NUMBER};
    constexpr double STEPS[] = {0, 0.02, -0.02, 0.13, -0.29, 0.31, 1, -1.5, 37.7, 1e7, 1e36, INF, NOT_A_NUMBER};
    constexpr float OTHERS[] = {0.25F, -11.9F, 3, 1e30F, INF, NOT_A_NUMBER};
    const auto check = [&](const NoiseLine& line) {
        std::vector<float> row(COUNT), expected(COUNT), sums(COUNT);
        for (int i = 0; i < COUNT; ++i) {
            const float x = line.x_at(i - 90);
            expected[i] = noise.noise(x, line.y, line.z);
            sums[i] = noise.turbulence(x, line.y, line.z, 1, 5.05F);
        }
        noise.noise_row(line, -90, row.data(), COUNT);
        ASSERT_EQ(first_difference(row, expected), -1) << line.x << " step " << line.step << " y " << line.y;
        noise.turbulence_row(line, -90, 1, 5.05F, row.data(), COUNT);
        ASSERT_EQ(first_difference(row, sums), -1) << line.x << " step " << line.step << " y " << line.y;
    };
    at_every_level([&] {
        for (const double start : STARTS)
            for (const double step : STEPS)
                for (const float y : OTHERS) check({start, step, y, 0.5F * y + 0.3F});
    });
}
