// Averages along arcs against a slow reference in double precision, and their limits.
#include "imagelib/imagelib_arcs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

constexpr double PI = std::numbers::pi;

ImagePtr picture(int width, int height, const std::function<float(int x, int y, int c)>& sample) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) image_row<float>(image.get(), y)[4 * x + c] = sample(x, y, c);
    return image;
}

float at(const K7Image& image, int x, int y, int c) { return image_row<float>(&image, y)[4 * x + c]; }

// A picture and the arcs that it is averaged along.
struct Arcs {
    ImagePtr source, matte = nullptr;
    float cx, cy;
    ArcLengths lengths{.angle = 0,
                       .profile = ArcProfile::Constant,
                       .inner = 0.05f,
                       .outer = 0.2f,
                       .soft = 0.015f,
                       .exponent = 2,
                       .invert_matte = false};
    ImagePtr result = nullptr;

    explicit Arcs(ImagePtr image)
        : source(std::move(image)), cx(float(source->width) / 2), cy(float(source->height) / 2) {
        lengths.inner *= float(source->width), lengths.outer *= float(source->width);
        lengths.soft *= float(source->width);
    }
    Arcs& degrees(double angle) { return lengths.angle = float(angle * PI / 180), *this; }
    Arcs& profile(ArcProfile profile) { return lengths.profile = profile, *this; }
    Arcs& centre(double x, double y) {
        return cx = float(x) * float(source->width), cy = float(y) * float(source->height), *this;
    }
    const K7Image& average() {
        static const TurnTable turn;
        result.reset(image_clone_layout(source.get()));
        image_fill(result.get(), -7);
        ImagelibCircles circles(*source, cx, cy);
        EXPECT_TRUE(circles.unwrap(*source, turn, 0, circles.max_distance()));
        EXPECT_TRUE(circles.average(*source, matte.get(), lengths, *result));
        return *result;
    }
};

// ---- The reference --------------------------------------------------------------------------------------------

// The same polar picture and arcs, written down plainly: samples of the library, running sums in double precision.
class Reference {
  public:
    explicit Reference(const Arcs& arcs)
        : m_arcs(arcs), m_source(*arcs.source), m_kernel(KERNEL_BSPLINE, EDGE_CLAMP), m_cx(arcs.cx), m_cy(arcs.cy) {
        for (int i = 0; i < 4; ++i)
            m_far = std::max(m_far, distance(i & 1 ? m_source.width : 0, i & 2 ? m_source.height : 0));
        m_turn = 2 * PI * m_far;
        for (int r = 0; r < int(m_far) + 2; ++r) m_rows.push_back(circle(r));
    }

    // Negated, in radians.
    double arc(int x, int y) const {
        const ArcLengths& a = m_arcs.lengths;
        const double d = distance(x, y), in = a.inner, out = a.outer, soft = a.soft;
        double share = 1;
        if (a.profile == ArcProfile::Ring) {
            if (d <= in || d >= out)
                share = 0;
            else if (d < in + soft)
                share = (d - in) / soft;
            else if (d > out - soft)
                share = 1 - (d - (out - soft)) / soft;
        } else if (a.profile == ArcProfile::Outward) {
            share = std::pow(d / m_far, double(a.exponent));
        } else if (a.profile == ArcProfile::Inward) {
            share = std::pow(1 - d / m_far, double(a.exponent));
        }
        if (m_arcs.matte) {
            const K7Image& m = *m_arcs.matte;
            const double l = std::clamp(0.3 * at(m, x, y, 0) + 0.5 * at(m, x, y, 1) + 0.2 * at(m, x, y, 2), 0.0, 1.0);
            share *= a.invert_matte ? 1 - l : l;
        }
        return -double(a.angle) * share;
    }

    double pixel(int x, int y, int c) const {
        const double v = arc(x, y);
        if (std::fabs(v) < 5e-5) return at(m_source, x, y, c);
        const double dx = (x - m_cx) * m_source.pixel_width, dy = (y - m_cy) * m_source.pixel_height;
        const double r = std::hypot(dx, dy), t = (std::atan2(dy, dx) + PI) * m_far, length = v * m_far;
        const int i = int(r);
        const auto value = [&](int row) { return (sum(row, t + length, c) - sum(row, t, c)) / length; };
        return value(i) + (r - i) * (value(i + 1) - value(i));
    }

    double worst(const K7Image& result) const {
        double largest = 0;
        for (int y = 0; y < result.height; ++y)
            for (int x = 0; x < result.width; ++x)
                for (int c = 0; c < 4; ++c) {
                    const double d = std::fabs(pixel(x, y, c) - at(result, x, y, c));
                    largest = d <= largest ? largest : d;
                }
        return largest;
    }

  private:
    double distance(double x, double y) const {
        return std::hypot((x - m_cx) * m_source.pixel_width, (y - m_cy) * m_source.pixel_height);
    }
    // Sums before each column; the last entry is that of a repeated column 0.
    std::vector<double> circle(int r) const {
        const int columns = int(m_turn);
        std::vector<double> sums(4 * std::size_t(columns + 2));
        for (int c = 0; c <= columns; ++c) {
            const double angle = (c < columns ? c : 0) / m_far - PI;
            const float x = float(r * std::cos(angle) / m_source.pixel_width + m_cx);
            const float y = float(r * std::sin(angle) / m_source.pixel_height + m_cy);
            float sample[4], weights[4];  // those of the library's filter do not sum to 1
            image_sample(&m_source, x, y, sample, 4, &m_kernel);
            image_sample(m_ones.get(), x, y, weights, 4, &m_kernel);
            for (int k = 0; k < 4; ++k)
                sums[4 * std::size_t(c + 1) + k] = sums[4 * std::size_t(c) + k] + sample[k] / weights[k];
        }
        return sums;
    }
    double inside(int row, double p, int c) const {
        const int column = std::min(int(p), int(m_turn));
        const double* entry = &m_rows[std::size_t(row)][4 * std::size_t(column) + std::size_t(c)];
        return entry[0] + (p - column) * (entry[4] - entry[0]);
    }
    double sum(int row, double p, int c) const {
        if (p < 0) return inside(row, p + m_turn, c) - inside(row, m_turn, c);
        if (p > m_turn) return inside(row, p - m_turn, c) + inside(row, m_turn, c);
        return inside(row, p, c);
    }

    const Arcs& m_arcs;
    const K7Image& m_source;
    ImagelibKernel m_kernel;
    ImagePtr m_ones{picture(m_source.width, m_source.height, [](int, int, int) { return 1.0f; })};
    double m_cx, m_cy, m_far = 0, m_turn;
    std::vector<std::vector<double>> m_rows;
};

// On noise. A place that rounds to the other side of a step of the filter's table, a 512th of a pixel, changes its
// sample by up to 1e-3, and the shortest arcs see only one or two samples; half a column off would be 5e-2.
constexpr double CLOSE = 1.5e-3;

constexpr ArcProfile PROFILES[] = {ArcProfile::Constant, ArcProfile::Ring, ArcProfile::Outward, ArcProfile::Inward};

TEST(ArcAverage, AgreesWithTheReference) {
    using enum ArcProfile;
    struct Case {
        double degrees;
        ArcProfile profile;
        double x, y;
        float exponent = 2;
    };
    const Case cases[] = {{10, Constant, 0.5, 0.5},       {-10, Constant, 0.5, 0.5},     {0.02, Constant, 0.5, 0.5},
                          {359, Constant, 0.5, 0.5},      {-270, Constant, 0.31, 0.77},  {30, Constant, 0, 0},
                          {45, Constant, 1.4, 0.5},       {90, Constant, -0.6, 1.9},     {25, Ring, 0.5, 0.5},
                          {-60, Ring, 0.4, 0.6},          {120, Outward, 0.5, 0.5},      {120, Inward, 0.5, 0.5},
                          {200, Outward, 0.2, 0.3, 0.3f}, {200, Inward, 0.2, 0.3, 7.5f}, {50, Outward, 0.5, 0.5, 100},
                          {50, Inward, 0.5, 0.5, 0}};
    for (const Case& c : cases) {
        Arcs arcs(noise_image(83, 61, 4, SAMPLE_F32));
        arcs.degrees(c.degrees).profile(c.profile).centre(c.x, c.y).lengths.exponent = c.exponent;
        EXPECT_LT(Reference(arcs).worst(arcs.average()), CLOSE)
            << c.degrees << " profile " << int(c.profile) << " at " << c.x << ", " << c.y;
    }
    for (const auto& [width, height] : {std::pair{2, 1}, {1, 9}, {2, 2}, {3, 200}, {65, 3}}) {
        Arcs arcs(noise_image(width, height, 4, SAMPLE_F32));
        EXPECT_LT(Reference(arcs.degrees(300)).worst(arcs.average()), CLOSE) << width << " x " << height;
    }
}

TEST(ArcAverage, AgreesOnStretchedPixelsWithAMatteAndAHardRing) {
    Arcs arcs(noise_image(64, 40, 4, SAMPLE_F32));
    image_set_pixel_size(arcs.source.get(), 2, 1, 2);
    arcs.matte = picture(64, 40, [](int x, int y, int c) { return float(x + c) / 50.0f - float(y) / 200.0f; });
    arcs.degrees(40).lengths.soft = 0;
    for (const bool invert : {false, true})
        for (const ArcProfile profile : {ArcProfile::Constant, ArcProfile::Ring}) {
            arcs.profile(profile).lengths.invert_matte = invert;
            EXPECT_LT(Reference(arcs).worst(arcs.average()), CLOSE) << int(profile) << invert;
        }
}

TEST(ArcAverage, SameBitsForAnyThreadsAndProcessor) {
    for (const ArcProfile profile : PROFILES) {
        ImagePtr first;
        Arcs arcs(noise_image(131, 77, 4, SAMPLE_F32));
        arcs.degrees(-33).profile(profile).centre(0.37, 0.61);
        for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
            set_cpu_level_limit(level);
            for (const int threads : {1, 2, 3, 7}) {
                const RowThreads dispatcher(threads);
                arcs.average();
                if (!first) first.reset(image_duplicate(arcs.result.get()));
                EXPECT_TRUE(same_pixels(first.get(), arcs.result.get()))
                    << int(level) << " with " << threads << " threads, profile " << int(profile);
            }
        }
        set_cpu_level_limit(CpuLevel::avx512);
    }
}

TEST(ArcAverage, ContinuesOverTheSeam) {
    // A picture without any direction: all pixels of a circle become alike, beside the seam (to the left) as elsewhere.
    Arcs arcs(picture(
        120, 120, [](int x, int y, int) { return 0.5f + 0.4f * std::sin(0.3f * std::hypot(x - 60.0f, y - 60.0f)); }));
    for (const double degrees : {1.0, 90.0, 359.0}) {
        const K7Image& result = arcs.degrees(degrees).average();
        for (int x = 5; x <= 55; ++x) {
            for (const int y : {59, 60, 61}) {
                EXPECT_NEAR(at(result, x, y, 0), at(result, 120 - x, y, 0), 2e-3)
                    << degrees << " at " << x << ", " << y;
                EXPECT_NEAR(at(result, x, y, 0), at(result, y, x, 0), 2e-3) << degrees << " at " << x << ", " << y;
            }
        }
    }
}

TEST(ArcAverage, FlatAreasStayFlatInVeryBrightPictures) {
    // A sun of 20000 on the right; the left half of the circles is flat.
    Arcs arcs(
        picture(200, 200, [](int x, int y, int) { return std::hypot(x - 170.0f, y - 100.0f) < 6 ? 20000.0f : 0.25f; }));
    const K7Image& result = arcs.degrees(20).average();
    float low = 1e9f, high = 0;
    for (int y = 60; y < 140; ++y)
        for (int x = 10; x < 90; ++x)
            low = std::min(low, at(result, x, y, 1)), high = std::max(high, at(result, x, y, 1));
    EXPECT_GT(low, 0.2499f);
    EXPECT_LT(high, 0.2501f);
}

// To its corners, whose arcs leave the picture, alpha too.
TEST(ArcAverage, AFlatPictureStaysFlat) {
    Arcs arcs(picture(120, 80, [](int, int, int c) { return c < 3 ? 0.5f : 1.0f; }));
    const K7Image& result = arcs.degrees(40).average();
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 120; ++x)
            for (int c = 0; c < 4; ++c) ASSERT_NEAR(at(result, x, y, c), c < 3 ? 0.5f : 1.0f, 2e-6f) << x << ' ' << y;
}

TEST(ArcAverage, OneBadPixelSpoilsItsNeighboursAtMost) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    for (const float bad : {nan, -infinity, -1e38f}) {
        Arcs arcs(picture(60, 60, [&](int x, int y, int) { return x == 45 && y == 30 ? bad : 0.5f; }));
        const K7Image& result = arcs.degrees(90).average();
        for (int y = 0; y < 60; ++y)
            for (int i = 0; i < 240; ++i)
                ASSERT_TRUE(image_row<float>(&result, y)[i] >= 0 && image_row<float>(&result, y)[i] < 0.51f);
    }
}

TEST(ArcAverage, RefusesPlacesWithoutCirclesAndEndsWhenAsked) {
    const TurnTable turn;
    const ImagePtr image = noise_image(40, 30, 4, SAMPLE_F32), other = make_image(39, 30, 4, SAMPLE_F32);
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float place : {1e9f, -infinity, std::nanf("")}) EXPECT_FALSE(ImagelibCircles(*image, place, 5).valid());
    EXPECT_FALSE(ImagelibCircles(*noise_image(1, 1, 4, SAMPLE_F32), 0.5f, 0.5f).valid());
    ImagelibCircles circles(*image, 20, 15);
    EXPECT_FALSE(circles.unwrap(*image, turn, 0, 25, [] { return true; }));
    EXPECT_FALSE(circles.average(*image, nullptr, {}, *other));
}

}  // namespace
