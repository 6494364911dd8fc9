// SpinBlur against a slow reference in double precision, and its limits.
#include "effects/blur/SpinBlur.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/cpu.h"
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

// Independent samples from 0 to 1.
ImagePtr noise(int width, int height, unsigned seed = 1) {
    return picture(width, height, [state = seed](int, int, int) mutable {
        state = state * 1664525u + 1013904223u;
        return float(state >> 8) / 16777216.0f;
    });
}

float at(const K7Image& image, int x, int y, int c) { return image_row<float>(&image, y)[4 * x + c]; }

bool same_bits(const K7Image& a, const K7Image& b) {
    return a.row_bytes == b.row_bytes &&
           std::equal(image_row<char>(&a, 0), image_row<char>(&a, a.height - 1) + a.row_bytes, image_row<char>(&b, 0));
}

struct Spin {
    SpinBlur effect;
    explicit Spin(ImagePtr source) {
        effect.output.image.reset(image_clone_layout(source.get()));
        image_copy_attributes(source.get(), effect.output.image.get());
        effect.input.image = std::move(source);
    }
    Spin& speed(double degrees) { return effect.Speed.value = degrees, *this; }
    Spin& centre(double x, double y) { return effect.Centre.x = x, effect.Centre.y = y, *this; }
    Spin& style(int style) { return effect.BStyle.value = style, *this; }
    const K7Image& source() const { return *effect.input.image; }
    const K7Image& result() {
        image_fill(effect.output.image.get(), -7);
        effect.ProcessFrame();
        return *effect.output.image;
    }
};

// ---- The reference --------------------------------------------------------------------------------------------

// The same polar picture and arcs, written down plainly: samples of the library, running sums in double precision.
class Reference {
  public:
    explicit Reference(const Spin& spin) : m_spin(spin), m_source(spin.source()), m_kernel(KERNEL_BSPLINE, EDGE_BLACK) {
        const SpinBlur& e = spin.effect;
        m_cx = e.Centre.x * m_source.width, m_cy = e.Centre.y * m_source.height;
        for (int i = 0; i < 4; ++i)
            m_far = std::max(m_far, distance(i & 1 ? m_source.width : 0, i & 2 ? m_source.height : 0));
        m_turn = 2 * PI * m_far;
        for (int r = 0; r < int(m_far) + 2; ++r) m_rows.push_back(circle(r));
    }

    // Negated, in radians.
    double arc(int x, int y) const {
        const SpinBlur& e = m_spin.effect;
        const double d = distance(x, y), angle = std::clamp(e.Speed.value, -270.0, 359.0) * PI / 180;
        double in = e.IRadius.value * m_source.width * 0.5, out = e.ORadius.value * m_source.width * 0.5;
        if (out <= in) std::swap(in, out);
        const double soft = (out - in) * e.SRadius.value;
        double share = 1;
        if (e.BStyle.value == SpinBlur::Fade) {
            if (d <= in || d >= out)
                share = 0;
            else if (d < in + soft)
                share = (d - in) / soft;
            else if (d > out - soft)
                share = 1 - (d - (out - soft)) / soft;
        } else if (e.BStyle.value == SpinBlur::TwirlIn) {
            share = std::pow(d / m_far, e.Twirl.value);
        } else if (e.BStyle.value == SpinBlur::TwirlOut) {
            share = std::pow(1 - d / m_far, e.Twirl.value);
        }
        if (e.DoMatte.value) {
            const K7Image& m = *e.matte.image;
            const double l = std::clamp(0.3 * at(m, x, y, 0) + 0.5 * at(m, x, y, 1) + 0.2 * at(m, x, y, 2), 0.0, 1.0);
            share *= e.InvertMatte.value ? 1 - l : l;
        }
        return -angle * share;
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
            float sample[4];
            image_sample(&m_source, float(r * std::cos(angle) / m_source.pixel_width + m_cx),
                         float(r * std::sin(angle) / m_source.pixel_height + m_cy), sample, 4, &m_kernel);
            for (int k = 0; k < 4; ++k) sums[4 * std::size_t(c + 1) + k] = sums[4 * std::size_t(c) + k] + sample[k];
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

    const Spin& m_spin;
    const K7Image& m_source;
    ImagelibKernel m_kernel;
    double m_cx, m_cy, m_far = 0, m_turn;
    std::vector<std::vector<double>> m_rows;
};

// On noise. A place that rounds to the other side of a step of the filter's table, a 512th of a pixel, changes its
// sample by up to 1e-3, and the shortest arcs see only one or two samples; half a column off would be 5e-2.
constexpr double CLOSE = 1.5e-3;

TEST(SpinBlur, AgreesWithTheReference) {
    struct Case {
        double speed;
        int style;
        double x, y, twirl = 2;
    };
    const Case cases[] = {
        {10, 1, 0.5, 0.5},       {-10, 1, 0.5, 0.5},      {0.02, 1, 0.5, 0.5},    {359, 1, 0.5, 0.5},
        {-270, 1, 0.31, 0.77},   {30, 1, 0, 0},           {45, 1, 1.4, 0.5},      {90, 1, -0.6, 1.9},
        {25, 2, 0.5, 0.5},       {-60, 2, 0.4, 0.6},      {120, 3, 0.5, 0.5},     {120, 4, 0.5, 0.5},
        {200, 3, 0.2, 0.3, 0.3}, {200, 4, 0.2, 0.3, 7.5}, {50, 3, 0.5, 0.5, 100}, {50, 4, 0.5, 0.5, 0}};
    for (const Case& c : cases) {
        Spin spin(noise(83, 61));
        spin.speed(c.speed).style(c.style).centre(c.x, c.y);
        spin.effect.Twirl.value = c.twirl;
        EXPECT_LT(Reference(spin).worst(spin.result()), CLOSE)
            << c.speed << " style " << c.style << " at " << c.x << ", " << c.y;
    }
}

TEST(SpinBlur, AgreesOnStretchedPixelsWithAMatteAndReversedRadii) {
    Spin spin(noise(64, 40));
    for (K7Image* image : {spin.effect.input.image.get(), spin.effect.output.image.get()})
        image_set_pixel_size(image, 2, 1, 2);
    spin.effect.matte.image =
        picture(64, 40, [](int x, int y, int c) { return float(x + c) / 50.0f - float(y) / 200.0f; });
    spin.effect.DoMatte.value = true;
    for (const bool invert : {false, true}) {
        spin.effect.InvertMatte.value = invert;
        EXPECT_LT(Reference(spin.speed(40).style(SpinBlur::Overall)).worst(spin.result()), CLOSE);
        spin.effect.IRadius.value = 0.9, spin.effect.ORadius.value = 0.2, spin.effect.SRadius.value = 0.0;
        EXPECT_LT(Reference(spin.style(SpinBlur::Fade)).worst(spin.result()), CLOSE);
    }
}

TEST(SpinBlur, SameBitsForAnyThreadsAndProcessor) {
    for (const int style : {1, 2, 3, 4}) {
        ImagePtr first;
        for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
            set_cpu_level_limit(level);
            for (const int threads : {1, 2, 3, 7}) {
                const RowThreads dispatcher(threads);
                Spin spin(noise(131, 77));
                const K7Image& result = spin.speed(-33).style(style).centre(0.37, 0.61).result();
                if (!first) first.reset(image_duplicate(&result));
                EXPECT_TRUE(same_bits(*first, result))
                    << int(level) << " with " << threads << " threads, style " << style;
            }
        }
        set_cpu_level_limit(CpuLevel::avx512);
    }
}

// ---- What an artist expects -----------------------------------------------------------------------------------

TEST(SpinBlur, StandsUprightAndTurnsTheRightWay) {
    // A bright half above: a short arc leaves it above. A dot to the right is smeared upwards by a positive angle.
    Spin half(picture(80, 80, [](int, int y, int) { return y >= 40 ? 1.0f : 0.0f; }));
    half.speed(5);
    EXPECT_GT(at(half.result(), 40, 65, 0), 0.99f);
    EXPECT_LT(at(*half.effect.output.image, 40, 15, 0), 0.01f);

    Spin dot(picture(80, 80, [](int x, int y, int) { return x == 70 && y == 40 ? 1.0f : 0.0f; }));
    dot.speed(20);
    EXPECT_GT(at(dot.result(), 69, 44, 0), 0.01f);
    EXPECT_LT(at(*dot.effect.output.image, 69, 36, 0), 1e-4f);
}

TEST(SpinBlur, ContinuesOverTheSeam) {
    // A picture without any direction: all pixels of a circle become alike, beside the seam (to the left) as elsewhere.
    Spin spin(picture(
        120, 120, [](int x, int y, int) { return 0.5f + 0.4f * std::sin(0.3f * std::hypot(x - 60.0f, y - 60.0f)); }));
    for (const double degrees : {1.0, 90.0, 359.0}) {
        const K7Image& result = spin.speed(degrees).result();
        for (int x = 5; x <= 55; ++x) {
            for (const int y : {59, 60, 61}) {
                EXPECT_NEAR(at(result, x, y, 0), at(result, 120 - x, y, 0), 2e-3)
                    << degrees << " at " << x << ", " << y;
                EXPECT_NEAR(at(result, x, y, 0), at(result, y, x, 0), 2e-3) << degrees << " at " << x << ", " << y;
            }
        }
    }
}

TEST(SpinBlur, FlatAreasStayFlatInVeryBrightPictures) {
    // A sun of 20000 on the right; the left half of the circles is flat.
    Spin spin(
        picture(200, 200, [](int x, int y, int) { return std::hypot(x - 170.0f, y - 100.0f) < 6 ? 20000.0f : 0.25f; }));
    const K7Image& result = spin.speed(20).result();
    float low = 1e9f, high = 0;
    for (int y = 60; y < 140; ++y)
        for (int x = 10; x < 90; ++x)
            low = std::min(low, at(result, x, y, 1)), high = std::max(high, at(result, x, y, 1));
    EXPECT_GT(low, 0.249f);
    EXPECT_LT(high, 0.253f);
}

TEST(SpinBlur, WhatShowsTheSource) {
    const auto untouched = [](Spin& spin) { return same_bits(spin.source(), spin.result()); };
    Spin spin(noise(40, 30));
    spin.effect.Blend.value = 100;
    EXPECT_TRUE(untouched(spin));
    spin.effect.Blend.value = 0;
    EXPECT_TRUE(untouched(spin.speed(0)));
    EXPECT_TRUE(untouched(spin.speed(std::numeric_limits<double>::quiet_NaN())));
    spin.speed(30).effect.matte.image = picture(40, 30, [](int, int, int) { return 0.0f; });
    EXPECT_FALSE(untouched(spin));  // the matte is not in use
    spin.effect.DoMatte.value = true;
    EXPECT_TRUE(untouched(spin));
    spin.effect.InvertMatte.value = true;
    EXPECT_FALSE(untouched(spin));
    Spin single(noise(1, 1));
    EXPECT_TRUE(untouched(single));
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double place : {1e9, -infinity, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(untouched(spin.centre(place, 0.5)));
}

TEST(SpinBlur, MixesWithTheSource) {
    Spin spin(noise(50, 40));
    const ImagePtr full(image_duplicate(&spin.speed(60).result()));
    spin.effect.Blend.value = 25;
    const K7Image& mixed = spin.result();
    for (int c = 0; c < 4; ++c)
        EXPECT_NEAR(at(mixed, 20, 10, c), 0.75f * at(*full, 20, 10, c) + 0.25f * at(spin.source(), 20, 10, c), 1e-6);
}

TEST(SpinBlur, LooksTheSameAtHalfScale) {
    const auto smooth = [](float x, float y, int c) {
        return 0.5f + 0.25f * std::sin(9 * x + float(c)) + 0.25f * std::cos(7 * y * x);
    };
    for (const int style : {1, 2, 3, 4}) {
        Spin full(picture(320, 240, [&](int x, int y, int c) { return smooth(float(x) / 320, float(y) / 240, c); }));
        Spin half(picture(160, 120, [&](int x, int y, int c) { return smooth(float(x) / 160, float(y) / 120, c); }));
        const K7Image &large = full.speed(50).style(style).result(), &small = half.speed(50).style(style).result();
        for (int y = 40; y < 80; ++y)
            for (int x = 45; x < 115; ++x) EXPECT_NEAR(at(small, x, y, 1), at(large, 2 * x, 2 * y, 1), 5e-3) << style;
    }
}

TEST(SpinBlur, SurvivesAnything) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    for (const auto& [width, height] : {std::pair{2, 1}, {1, 9}, {2, 2}, {3, 200}, {65, 3}}) {
        Spin spin(noise(width, height));
        EXPECT_LT(Reference(spin.speed(300)).worst(spin.result()), CLOSE) << width << " x " << height;
    }
    // One bad pixel spoils its neighbours at most.
    for (const float bad : {nan, -infinity, -1e38f}) {
        Spin spin(picture(60, 60, [&](int x, int y, int) { return x == 45 && y == 30 ? bad : 0.5f; }));
        const K7Image& result = spin.speed(90).result();
        for (int y = 0; y < 60; ++y)
            for (int i = 0; i < 240; ++i)
                ASSERT_TRUE(image_row<float>(&result, y)[i] >= 0 && image_row<float>(&result, y)[i] < 0.51f);
    }
    Spin wild(noise(30, 20));
    for (const double value : {-1e300, -1.0, 1e10, double(infinity), double(nan)})
        for (const int style : {-5, 1, 2, 3, 4, 1000}) {
            SpinBlur& e = wild.speed(77).style(style).effect;
            e.IRadius.value = e.ORadius.value = e.SRadius.value = e.Twirl.value = value;
            const K7Image& result = wild.result();
            for (int i = 0; i < 120; ++i)
                ASSERT_GE(image_row<float>(&result, 7)[i], 0.0f) << value << " style " << style;
            e.ORadius.value = 0.5;
            wild.result();
            e.Speed.value = value;
            wild.result();
        }
}

}  // namespace
