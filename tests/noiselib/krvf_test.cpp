#include "noiselib/krvf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "support/same_bits.h"

namespace {

using Vector = std::array<double, 3>;

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

Vector sample_at(const KRVF& field, double x, double y, double z) {
    Vector v;
    EXPECT_TRUE(field.sample(x, y, z, &v[0], &v[1], &v[2]));
    return v;
}

Vector sample_at(KRVFT& field, double x, double y, double z, double time) {
    Vector v;
    EXPECT_EQ(field.sample(x, y, z, time, &v[0], &v[1], &v[2]), 1);
    return v;
}

}  // namespace

// Recorded from the sum of its waves, taken one by one in double precision.
TEST(Krvf, IsTheFieldOfItsDefinition) {
    const struct {
        int n;
        double k_min;
        Vector at_three_eighths, weighted;  // there, and over all grid points with a weight that no two share
    } fields[] = {{2,
                   1,
                   {-0.113454054751922, 0.0624415480026433, 0.0628953370788358},
                   {-83.8668475519591, -12.4781092780515, -15.1080754346991}},
                  {4,
                   2.5,
                   {0.0374376578887805, 0.235815504919522, -0.0133810476974438},
                   {396.551707873554, -106.068036977206, -166.009900506791}},
                  {8,
                   4,
                   {-0.0051639685474933, 0.0355824838978482, -0.396859787495491},
                   {-6696.99304315266, -5549.41752859416, -120.259059478468}}};
    for (const auto& expected : fields) {
        KRVF field;
        ASSERT_TRUE(field.generate(4711, expected.n, expected.k_min, 1.3));
        const int edge = field.grid_edge();
        Vector weighted = {};
        for (int i = 0; i < edge * edge * edge; ++i) {
            const Vector v = sample_at(field, double(i % edge) / edge, double(i / edge % edge) / edge,
                                       double(i / edge / edge) / edge);
            for (int c = 0; c < 3; ++c) weighted[c] += v[c] * (1 + i);
        }
        const Vector single = sample_at(field, 0.375, 0.375, 0.375);
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(single[c], expected.at_three_eighths[c], 1e-12) << expected.n;
            EXPECT_NEAR(weighted[c], expected.weighted[c], 1e-8) << expected.n;
        }
    }
}

TEST(Krvf, RefusesWhatItCannotBuildAndKeepsWhatItHas) {
    KRVF field;
    double u = 1, v = 1, w = 1;
    EXPECT_FALSE(field.sample(0.1, 0.2, 0.3, &u, &v, &w));
    EXPECT_EQ(u * u + v * v + w * w, 0);
    ASSERT_TRUE(field.generate(1, 4, 1, 1));
    const Vector before = sample_at(field, 0.1, 0.2, 0.3);
    for (const int n : {3, 512, 1, 0, -4, std::numeric_limits<int>::min()}) EXPECT_FALSE(field.generate(2, n, 4, 1));
    for (const double k_min : {0.5, -1.0, NOT_A_NUMBER, -INF}) EXPECT_FALSE(field.generate(2, 4, k_min, 1));
    EXPECT_EQ(field.grid_edge(), 8);
    EXPECT_EQ(sample_at(field, 0.1, 0.2, 0.3), before);
}

TEST(Krvf, IsZeroWithoutWaves) {
    KRVF field;
    for (const auto& [k_min, energy] :
         {std::pair{8 * std::sqrt(3.0), 1.0}, {INF, 1.0}, {1.0, 0.0}, {1.0, -2.0}, {1.0, NOT_A_NUMBER}, {1.0, INF}}) {
        ASSERT_TRUE(field.generate(1, 8, k_min, energy));
        EXPECT_EQ(field.statistics().max_length, 0);
        EXPECT_EQ(sample_at(field, 0.3, 0.3, 0.7), Vector{});
    }
    // The weight of these waves is the least number there is: nothing is left of it in some tensors.
}

TEST(Krvf, RepeatsAndInterpolates) {
    KRVF field;
    ASSERT_TRUE(field.generate(5, 4, 1, 1));
    const Vector here = sample_at(field, 0.3125, 0.8125, 0.0625);
    EXPECT_EQ(sample_at(field, 1.3125, -3.1875, 7.0625), here);
    EXPECT_EQ(sample_at(field, 0.999999, 0, 0), sample_at(field, 0.99999, 0, 0));
    EXPECT_EQ(sample_at(field, NOT_A_NUMBER, INF, -INF), sample_at(field, 0, 0, 0));
    EXPECT_EQ(sample_at(field, 1e300, -1e300, 4e18), sample_at(field, 0, 0, 0));
    EXPECT_EQ(sample_at(field, 0.25, 0.125, 0.3), sample_at(field, 0.75, 0.875, 0.3));
    const Vector a = sample_at(field, 0.25, 0.5, 0.875);
    const Vector b = sample_at(field, 0.25, 0.5, 0);
    const Vector between = sample_at(field, 0.25, 0.5, 0.96875);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(between[c], 0.25 * a[c] + 0.75 * b[c], 1e-15);
}

TEST(Krvf, IsTheSameFromAnyThreadsAndInstructions) {
    same_bits_everywhere([] {
        KRVF field;
        EXPECT_TRUE(field.generate(-1, 32, 4, 1));
        ImagePtr image = make_image(500, 1, 4, SAMPLE_F32);
        for (int i = 0; i < 500; ++i) {
            const Vector v = sample_at(field, 0.013 * i, 0.027 * i, 0.041 * i);
            const auto mean = float(field.statistics().mean_length);
            const float pixel[] = {float(v[0]), float(v[1]), float(v[2]), mean};
            std::copy_n(pixel, 4, image_row<float>(image.get(), 0) + 4 * i);
        }
        return image;
    });
}

TEST(Krvft, GoesFromKeyframeToKeyframe) {
    MTRandom words(31);
    KRVF keyframes[4];
    for (KRVF& keyframe : keyframes)
        ASSERT_TRUE(keyframe.generate(static_cast<int32_t>(words.next_uint32() >> 1), 4, 1, 1));
    const auto expect_between = [&](KRVFT& moving, int first, double time, double t) {
        const Vector got = sample_at(moving, 0.4, 0.1, 0.8, time);
        const Vector a = sample_at(keyframes[first], 0.4, 0.1, 0.8);
        const Vector b = sample_at(keyframes[first + 1], 0.4, 0.1, 0.8);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(got[c], a[c] + (b[c] - a[c]) * t, 1e-15) << time;
    };
    KRVFT moving;
    ASSERT_EQ(moving.init(10.9, 31, 4, 1, 1), 1);
    EXPECT_EQ(sample_at(moving, 0.4, 0.1, 0.8, 10), sample_at(keyframes[0], 0.4, 0.1, 0.8));
    expect_between(moving, 0, 10.5, 0.5);
    expect_between(moving, 0, NOT_A_NUMBER, 0);
    expect_between(moving, 1, 11.25, 0.25);
    expect_between(moving, 2, 3.5, 0.5);  // back by eight, yet on by one

    ASSERT_EQ(moving.init(0, 31, 4, 1, 1), 1);
    expect_between(moving, 0, -0.75, -0.75);  // truncated towards 0
    expect_between(moving, 1, 90.75, 0.75);   // on by ninety, yet on by one
    expect_between(moving, 2, 1e300, 0);
}
