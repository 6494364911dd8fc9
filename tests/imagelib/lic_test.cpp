#include "imagelib/imagelib_lic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "k7pi_baselib/cpu.h"
#include "support/row_threads.h"

namespace {

constexpr double PI = 3.14159265358979323846;

ImagePtr noise_image(int width, int height, unsigned seed = 1) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-0.25f, 1.25f);
    std::generate_n(image_row<float>(image.get(), 0), width * height * 4, [&] { return value(random); });
    return image;
}

ImagePtr same_size(const ImagePtr& image) { return ImagePtr(image_clone_layout(image.get())); }

struct Zoom {
    float cx, cy, clear, speed;
    int samples;
    float soft;
    int sides;
    float rotation;
};

bool apply(const Zoom& z, const K7Image* source, K7Image* result) {
    return image_radial_lic(source, result, z.cx, z.cy, z.clear, z.speed, z.samples, z.soft, z.sides, z.rotation);
}

// ---- The definition, one pixel at a time ----------------------------------------------------------------------

struct Point {
    double ax, ay, r;
};

Point offset_of(const K7Image* source, const Zoom& z, int x, int y) {
    const double ax = (x - double(z.cx)) / source->pixel_height, ay = (y - double(z.cy)) / source->pixel_width;
    return {ax, ay, std::sqrt(ax * ax + ay * ay)};
}

double clear_radius(const Zoom& z, const Point& p) {
    if (z.sides < 3) return z.clear;
    double theta = std::atan2(p.ay, p.ax);
    if (theta < 0) theta += 2 * PI;
    theta = std::fmod(theta + z.rotation * 0.017453292, 2 * PI);
    if (theta < 0) theta += 2 * PI;
    const double sector = 2 * PI / z.sides, within = std::fmod(theta, sector);
    return z.clear * std::cos(sector / 2) / std::cos(within - sector / 2);
}

int truncated(long double position, int size) { return std::clamp(int(std::floor(position + 0x1p-16L)), 0, size - 1); }

void reference_line(const K7Image* source, const Zoom& z, int x, int y, const Point& p, double d, float* out) {
    const float* own = image_row<float>(source, y) + 4 * x;
    std::copy_n(own, 4, out);
    if (d < 0.0001) d = 0;
    const double length = -double(z.speed) * d;
    if (length == 0 || p.r == 0) return;
    const long double vx = length / p.r * z.samples * p.ax / source->pixel_width;
    const long double vy = length / p.r * z.samples * p.ay / source->pixel_height;
    const long double longer = std::max(std::fabs(vx), std::fabs(vy));
    double sum[4] = {};
    long count = 0;
    for (; count <= longer; ++count) {
        const int px = truncated(x + count * (vx / longer) / z.samples, source->width);
        const int py = truncated(y + count * (vy / longer) / z.samples, source->height);
        for (int c = 0; c < 4; ++c) sum[c] += image_row<float>(source, py)[4 * px + c];
    }
    const double t = d >= z.soft ? 1 : std::clamp(1 - (z.soft - d) / z.soft, 0.0, 1.0);
    for (int c = 0; c < 4; ++c) out[c] = float(own[c] + (3 - 2 * t) * t * t * (sum[c] / double(count) - own[c]));
}

ImagePtr reference(const ImagePtr& source, const Zoom& z) {
    ImagePtr result = same_size(source);
    for (int y = 0; y < source->height; ++y)
        for (int x = 0; x < source->width; ++x) {
            const Point p = offset_of(source.get(), z, x, y);
            reference_line(source.get(), z, x, y, p, p.r - clear_radius(z, p),
                           image_row<float>(result.get(), y) + 4 * x);
        }
    return result;
}

double taken_by_screen(const K7Image* screen, const Zoom& z, float threshold, int x, int y) {
    const long double vx = (x - (long double)z.cx) * z.samples, vy = (y - (long double)z.cy) * z.samples;
    const long double longer = std::max(std::fabs(vx), std::fabs(vy));
    double sum = 0;
    for (long k = 0; k <= longer; ++k) {
        const long double px = z.cx + (longer > 0 ? k * (vx / longer) / z.samples : 0) + 0x1p-16L;
        const long double py = z.cy + (longer > 0 ? k * (vy / longer) / z.samples : 0) + 0x1p-16L;
        if (px <= -1 || py <= -1 || px >= screen->width || py >= screen->height) break;
        const float* s = image_row<float>(screen, int(py)) + 4 * int(px);
        sum += (std::min(0.3 * s[0] + 0.5 * s[1] + 0.2 * s[2], 1.0) - threshold) / (1.0 - threshold);
    }
    return sum / z.samples;
}

ImagePtr reference_screened(const ImagePtr& source, const ImagePtr& screen, const Zoom& z, float threshold) {
    ImagePtr result = same_size(source);
    for (int y = 0; y < source->height; ++y)
        for (int x = 0; x < source->width; ++x) {
            const Point p = offset_of(source.get(), z, x, y);
            const double d = p.r - taken_by_screen(screen.get(), z, threshold, x, y);
            reference_line(source.get(), z, x, y, p, d, image_row<float>(result.get(), y) + 4 * x);
        }
    return result;
}

// ---- Comparisons ----------------------------------------------------------------------------------------------

// One sample more, fewer or elsewhere would show up as 1e-4 and more.
void expect_close(const ImagePtr& result, const ImagePtr& expected, double tolerance = 2e-6) {
    double worst = 0;
    int at = 0;
    const float *a = image_row<float>(result.get(), 0), *b = image_row<float>(expected.get(), 0);
    for (int i = 0; i < result->width * result->height * 4; ++i) {
        const double error = std::fabs(double(a[i]) - b[i]);
        if (!(error <= worst)) worst = error, at = i / 4;
    }
    EXPECT_LE(worst, tolerance) << "at " << at % result->width << ", " << at / result->width;
}

bool same_pixels(const ImagePtr& a, const ImagePtr& b) {
    return std::memcmp(a->pixels, b->pixels, std::size_t(a->height) * a->row_bytes) == 0;
}

class CpuLimit {
  public:
    explicit CpuLimit(CpuLevel level) { set_cpu_level_limit(level); }
    ~CpuLimit() { set_cpu_level_limit(CpuLevel::avx512); }
};

constexpr CpuLevel LEVELS[] = {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512};

const Zoom ZOOMS[] = {
    {31.37f, 17.81f, 0, 0.1f, 1, 1, 0, 0},         {31.37f, 17.81f, 5, 0.53f, 1, 3, 0, 0},
    {31.37f, 17.81f, 9.3f, 0.97f, 2, 4.5f, 3, 20}, {12.91f, 3.13f, 6, -0.51f, 3, 1, 4, -75},
    {-40.7f, 90.2f, 20, 0.33f, 1, 20, 6, 400},     {31.37f, 17.81f, 0, -2.03f, 4, 1, 10, 0},
    {500.3f, -100.9f, 30, 1.71f, 1, 1, 5, 0.5f},   {20.11f, 10.07f, 2, 2.57f, 2, 0, 0, 0},
    {31.37f, 17.81f, -3, 0.41f, 1, 2, 0, 0},
};

// ---- Tests ----------------------------------------------------------------------------------------------------

TEST(RadialLic, MatchesTheDefinition) {
    const int sizes[][2] = {{1, 1}, {7, 3}, {8, 1}, {63, 35}, {64, 9}, {65, 36}, {131, 50}};
    for (const auto& size : sizes)
        for (const Zoom& zoom : ZOOMS) {
            SCOPED_TRACE(testing::Message() << size[0] << "x" << size[1] << " zoom " << &zoom - ZOOMS);
            const ImagePtr source = noise_image(size[0], size[1]);
            const ImagePtr result = same_size(source);
            ASSERT_TRUE(apply(zoom, source.get(), result.get()));
            expect_close(result, reference(source, zoom));
        }
}

TEST(RadialLic, MatchesTheDefinitionOnOblongPixels) {
    const ImagePtr source = noise_image(70, 40);
    image_set_pixel_size(source.get(), 2.0f, 1.25f, 2);
    for (const Zoom& zoom : ZOOMS) {
        SCOPED_TRACE(&zoom - ZOOMS);
        const ImagePtr result = same_size(source);
        ASSERT_TRUE(apply(zoom, source.get(), result.get()));
        expect_close(result, reference(source, zoom));
    }
}

// With the centre on a pixel and half the distance as reach all positions are fractions of small whole numbers, many
// of them whole: integer division has the exact answer.
TEST(RadialLic, SamplesLieWhereExactArithmeticPutsThem) {
    const int cx = 90, cy = 37;
    const ImagePtr source = noise_image(181, 75);
    const ImagePtr result = same_size(source), expected = same_size(source);
    ASSERT_TRUE(apply({float(cx), float(cy), 0, 0.5f, 1, 0, 0, 0}, source.get(), result.get()));
    for (int y = 0; y < source->height; ++y)
        for (int x = 0; x < source->width; ++x) {
            const int dx = cx - x, dy = cy - y, longest = std::max({std::abs(dx), std::abs(dy), 1});
            double sum[4] = {};
            for (int k = 0; k <= longest / 2; ++k) {
                const int px = (x * longest + k * dx) / longest, py = (y * longest + k * dy) / longest;
                for (int c = 0; c < 4; ++c) sum[c] += image_row<float>(source.get(), py)[4 * px + c];
            }
            for (int c = 0; c < 4; ++c)
                image_row<float>(expected.get(), y)[4 * x + c] = float(sum[c] / (longest / 2 + 1));
        }
    expect_close(result, expected, 5e-7);
}

TEST(RadialLic, LongLinesStayAccurate) {
    const ImagePtr source = noise_image(4001, 2);
    float* samples = image_row<float>(source.get(), 0);
    for (int i = 0; i < 4001 * 2 * 4; ++i) samples[i] = samples[i] * 100 + 9900;
    const Zoom zoom = {0.3f, 0.2f, 0, 0.99f, 1, 1, 0, 0};
    const ImagePtr result = same_size(source);
    ASSERT_TRUE(apply(zoom, source.get(), result.get()));
    expect_close(result, reference(source, zoom), 9900 * 1e-6);
}

TEST(RadialLic, LeavesPixelsAloneWhereThereIsNothingToDo) {
    const ImagePtr source = noise_image(75, 41);
    const ImagePtr result = same_size(source);
    ASSERT_TRUE(apply({30, 20, 5, 0, 2, 1, 6, 10}, source.get(), result.get()));
    EXPECT_TRUE(same_pixels(source, result)) << "speed 0";
    ASSERT_TRUE(apply({37, 20, 3 * 37.5f, 0.7f, 1, 1, 0, 0}, source.get(), result.get()));
    EXPECT_TRUE(same_pixels(source, result)) << "clear radius beyond the corners";

    result->stats_valid = 1;
    ASSERT_TRUE(apply({37, 20, 10, 0.7f, 1, 1, 0, 0}, source.get(), result.get()));
    EXPECT_EQ(result->stats_valid, 0u);
    for (int x = 27; x <= 47; ++x)
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(image_get_sample(result.get(), x, 20, c), image_get_sample(source.get(), x, 20, c));
    EXPECT_NE(image_get_sample(result.get(), 60, 20, 0), image_get_sample(source.get(), 60, 20, 0));
}

TEST(RadialLic, ScreenedMatchesTheDefinition) {
    for (const Zoom& zoom : ZOOMS)
        for (float threshold : {-0.5f, 0.0f, 0.5f, 7.0f}) {
            if (zoom.cx == 31.37f && threshold == 7.0f)
                continue;  // the distance changes by thousands: a matter of bits
            SCOPED_TRACE(testing::Message() << "zoom " << &zoom - ZOOMS << " threshold " << threshold);
            const bool long_lines = threshold > 1.0f;  // a thousand times the distance: few pixels will do
            const ImagePtr source = long_lines ? noise_image(13, 7) : noise_image(65, 37);
            const ImagePtr screen = noise_image(80, 30, 2);
            const ImagePtr result = same_size(source);
            ASSERT_TRUE(image_radial_lic_screened(source.get(), screen.get(), result.get(), zoom.cx, zoom.cy,
                                                  zoom.speed, zoom.samples, zoom.soft, threshold));
            expect_close(result, reference_screened(source, screen, zoom, std::min(threshold, 0.999f)), 2e-5);
        }
}

TEST(RadialLic, ScreenedByBlackAndWhite) {
    const ImagePtr source = noise_image(90, 61), black = same_size(source), white = same_size(source);
    const ImagePtr result = same_size(source), plain = same_size(source);
    image_fill(white.get(), 1.0f);
    const auto screened = [&](const ImagePtr& screen, float threshold) {
        return image_radial_lic_screened(source.get(), screen.get(), result.get(), 40, 30, 0.4f, 2, 2, threshold);
    };
    ASSERT_TRUE(screened(black, 0));
    ASSERT_TRUE(apply({40, 30, 0, 0.4f, 2, 2, 0, 0}, source.get(), plain.get()));
    EXPECT_TRUE(same_pixels(result, plain));

    // Each black sub-step at threshold 0.5 adds its own length: on the centre's row the line is twice as long.
    ASSERT_TRUE(screened(black, 0.5f));
    double sum = 0;
    const int steps = int(0.4f * 2 * (40 + 40.5));
    for (int k = 0; k <= steps; ++k) sum += image_get_sample(source.get(), 80 - (k + 1) / 2, 30, 1);
    EXPECT_NEAR(image_get_sample(result.get(), 80, 30, 1), sum / (steps + 1), 1e-6);

    ASSERT_TRUE(screened(white, 0.2f));
    for (int x = 0; x < 90; ++x)
        EXPECT_EQ(image_get_sample(result.get(), x, 30, 2), image_get_sample(source.get(), x, 30, 2));
}

TEST(RadialLic, SameBitsFromEveryProcessorAndSplit) {
    const ImagePtr source = noise_image(203, 97), screen = noise_image(150, 120, 3);
    for (const Zoom& zoom : ZOOMS) {
        ImagePtr first[2];
        for (CpuLevel level : LEVELS)
            for (int threads : {1, 2, 3, 7}) {
                const CpuLimit limit(level);
                const RowThreads rows(threads);
                ImagePtr results[2] = {same_size(source), same_size(source)};
                ASSERT_TRUE(apply(zoom, source.get(), results[0].get()));
                ASSERT_TRUE(image_radial_lic_screened(source.get(), screen.get(), results[1].get(), zoom.cx, zoom.cy,
                                                      zoom.speed, zoom.samples, zoom.soft, 0.3f));
                for (int i = 0; i < 2; ++i) {
                    if (!first[i])
                        first[i] = std::move(results[i]);
                    else
                        EXPECT_TRUE(same_pixels(first[i], results[i])) << "zoom " << &zoom - ZOOMS << ' ' << i;
                }
            }
    }
}

TEST(RadialLic, RefusesAndSurvives) {
    const ImagePtr source = noise_image(40, 30), result = same_size(source), other = noise_image(41, 30);
    const ImagePtr bytes = make_image(40, 30, 4, SAMPLE_U8);
    const Zoom zoom = {20, 15, 3, 0.5f, 1, 1, 0, 0};
    EXPECT_FALSE(apply(zoom, nullptr, result.get()));
    EXPECT_FALSE(apply(zoom, source.get(), nullptr));
    EXPECT_FALSE(apply(zoom, source.get(), source.get()));
    EXPECT_FALSE(apply(zoom, source.get(), other.get()));
    EXPECT_FALSE(apply(zoom, bytes.get(), bytes.get()));
    EXPECT_FALSE(image_radial_lic_screened(source.get(), nullptr, result.get(), 20, 15, 0.5f, 1, 1, 0.5f));
    EXPECT_FALSE(image_radial_lic_screened(source.get(), bytes.get(), result.get(), 20, 15, 0.5f, 1, 1, 0.5f));

    constexpr float NAN_VALUE = std::numeric_limits<float>::quiet_NaN(), HUGE_FLOAT = 3e38f;
    EXPECT_FALSE(apply({NAN_VALUE, 15, 3, 0.5f, 1, 1, 0, 0}, source.get(), result.get()));
    EXPECT_FALSE(apply({20, 15, 3, INFINITY, 1, 1, 0, 0}, source.get(), result.get()));
    const Zoom extremes[] = {{HUGE_FLOAT, -HUGE_FLOAT, 0, 1, 1, 1, 0, 0},
                             {20, 15, 0, HUGE_FLOAT, 1, 1, 0, 0},
                             {20.5f, 15.25f, 0, -HUGE_FLOAT, -5, 1, 0, 0},
                             {20, 15, -HUGE_FLOAT, 1e-30f, 2147483647, -1, 2147483647, HUGE_FLOAT},
                             {20, 15, HUGE_FLOAT, 1, 1, HUGE_FLOAT, 3, -HUGE_FLOAT}};
    for (const Zoom& extreme : extremes) {
        ASSERT_TRUE(apply(extreme, source.get(), result.get()));
        const float* samples = image_row<float>(result.get(), 0);
        EXPECT_TRUE(std::all_of(samples, samples + 40 * 30 * 4, [](float v) { return v >= -0.26f && v <= 1.26f; }));
    }
    float* samples = image_row<float>(source.get(), 0);
    std::fill_n(samples, 40, NAN_VALUE);
    std::fill_n(samples + 40, 40, -HUGE_FLOAT);
    EXPECT_TRUE(image_radial_lic_screened(source.get(), source.get(), result.get(), 0, 0, 0.5f, 4, 1, 0.5f));
}

}  // namespace
