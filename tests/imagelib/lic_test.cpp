#include "imagelib/imagelib_lic.h"

#include "pictures.h"

namespace {

constexpr double PI = 3.14159265358979323846;

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
ImagePtr smeared(const ImagePtr& source, const Zoom& zoom) {
    ImagePtr result = same_size(source);
    EXPECT_TRUE(apply(zoom, source.get(), result.get()));
    return result;
}
ImagePtr screened(const ImagePtr& source, const ImagePtr& screen, const Zoom& z, float threshold) {
    ImagePtr result = same_size(source);
    EXPECT_TRUE(image_radial_lic_screened(source.get(), screen.get(), result.get(), z.cx, z.cy, z.speed, z.samples,
                                          z.soft, threshold));
    return result;
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
        for (int c = 0; c < 4; ++c) sum[c] += at(source, px, py, c);
    }
    const double t = d >= z.soft ? 1 : std::clamp(1 - (z.soft - d) / z.soft, 0.0, 1.0);
    for (int c = 0; c < 4; ++c) out[c] = float(own[c] + (3 - 2 * t) * t * t * (sum[c] / double(count) - own[c]));
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

// Without a screen the clear shape counts.
ImagePtr reference(const ImagePtr& source, const Zoom& z, const ImagePtr& screen = nullptr, float threshold = 0) {
    ImagePtr result = same_size(source);
    for (int y = 0; y < source->height; ++y)
        for (int x = 0; x < source->width; ++x) {
            const Point p = offset_of(source.get(), z, x, y);
            const double taken =
                screen ? taken_by_screen(screen.get(), z, std::min(threshold, 0.999f), x, y) : clear_radius(z, p);
            reference_line(source.get(), z, x, y, p, p.r - taken, &at(result, x, y, 0));
        }
    return result;
}

// One sample more, fewer or elsewhere would show up as 1e-4 and more.
constexpr double CLOSE = 2e-6;

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
    for (const Zoom& zoom : ZOOMS) {
        SCOPED_TRACE(&zoom - ZOOMS);
        for (const auto& [width, height] : sizes) {
            const ImagePtr source = float_noise(width, height);
            EXPECT_LE(largest_difference(smeared(source, zoom), reference(source, zoom)), CLOSE)
                << width << "x" << height;
            if (width > 100) same_bits_everywhere([&] { return smeared(source, zoom); });
        }
        const ImagePtr oblong = float_noise(70, 40);
        image_set_pixel_size(oblong.get(), 2.0f, 1.25f, 2);
        EXPECT_LE(largest_difference(smeared(oblong, zoom), reference(oblong, zoom)), CLOSE);
    }
    const ImagePtr wide = float_noise(4001, 2, 1, 9875, 10025);  // long lines stay accurate
    const Zoom zoom = {0.3f, 0.2f, 0, 0.99f, 1, 1, 0, 0};
    EXPECT_LE(largest_difference(smeared(wide, zoom), reference(wide, zoom)), 9900 * 1e-6);
}

TEST(RadialLic, LeavesPixelsAloneWhereThereIsNothingToDo) {
    const ImagePtr source = float_noise(75, 41);
    EXPECT_TRUE(same_pixels(source, smeared(source, {30, 20, 5, 0, 2, 1, 6, 10}))) << "speed 0";
    EXPECT_TRUE(same_pixels(source, smeared(source, {37, 20, 3 * 37.5f, 0.7f, 1, 1, 0, 0}))) << "all within the circle";
    const ImagePtr result = smeared(source, {37, 20, 10, 0.7f, 1, 1, 0, 0});
    for (int x = 27; x <= 47; ++x)
        for (int c = 0; c < 4; ++c) EXPECT_EQ(at(result, x, 20, c), at(source, x, 20, c));
    EXPECT_NE(at(result, 60, 20, 0), at(source, 60, 20, 0));
}

TEST(RadialLic, ScreenedMatchesTheDefinition) {
    for (const Zoom& zoom : ZOOMS)
        for (float threshold : {-0.5f, 0.0f, 0.5f, 7.0f}) {
            const bool long_lines = threshold > 1.0f;       // a thousand times the distance: few pixels will do
            if (zoom.cx == 31.37f && long_lines) continue;  // and the distance is a matter of bits
            SCOPED_TRACE(testing::Message() << "zoom " << &zoom - ZOOMS << " threshold " << threshold);
            const ImagePtr source = long_lines ? float_noise(13, 7) : float_noise(65, 37);
            const ImagePtr screen = float_noise(80, 30, 2);
            const auto result = [&] { return screened(source, screen, zoom, threshold); };
            EXPECT_LE(largest_difference(result(), reference(source, zoom, screen, threshold)), 2e-5);
            if (threshold == 0.5f) same_bits_everywhere(result);
        }
    const ImagePtr source = float_noise(90, 61), black = same_size(source), white = same_size(source);
    image_fill(white.get(), 1.0f);
    const Zoom zoom = {40, 30, 0, 0.4f, 2, 2, 0, 0};
    EXPECT_TRUE(same_pixels(screened(source, black, zoom, 0), smeared(source, zoom)));
    const ImagePtr kept = screened(source, white, zoom, 0.2f);
    for (int x = 0; x < 90; ++x) EXPECT_EQ(at(kept, x, 30, 2), at(source, x, 30, 2));
}

TEST(RadialLic, RefusesAndSurvives) {
    const ImagePtr source = float_noise(40, 30), result = same_size(source), other = float_noise(41, 30);
    const ImagePtr bytes = make_image(40, 30, 4, SAMPLE_U8);
    const Zoom zoom = {20, 15, 3, 0.5f, 1, 1, 0, 0};
    EXPECT_FALSE(apply(zoom, source.get(), other.get()));
    EXPECT_FALSE(apply({NOT_A_NUMBER, 15, 3, 0.5f, 1, 1, 0, 0}, source.get(), result.get()));
    EXPECT_FALSE(apply({20, 15, 3, ENDLESS, 1, 1, 0, 0}, source.get(), result.get()));

    constexpr float HUGE_FLOAT = 3e38f;
    const Zoom extremes[] = {{HUGE_FLOAT, -HUGE_FLOAT, 0, 1, 1, 1, 0, 0},
                             {20, 15, 0, HUGE_FLOAT, 1, 1, 0, 0},
                             {20.5f, 15.25f, 0, -HUGE_FLOAT, -5, 1, 0, 0},
                             {20, 15, -HUGE_FLOAT, 1e-30f, 2147483647, -1, 2147483647, HUGE_FLOAT},
                             {20, 15, HUGE_FLOAT, 1, 1, HUGE_FLOAT, 3, -HUGE_FLOAT}};
    for (const Zoom& extreme : extremes) {
        const ImagePtr survived = smeared(source, extreme);
        for (std::size_t i = 0; i < sample_count(survived.get()); ++i)
            ASSERT_NEAR(sample_of(survived.get(), i), 0.5, 0.76) << &extreme - extremes;
    }
    float* samples = image_row<float>(source.get(), 0);
    std::fill_n(samples, 40, NOT_A_NUMBER);
    std::fill_n(samples + 40, 40, -HUGE_FLOAT);
    EXPECT_TRUE(image_radial_lic_screened(source.get(), source.get(), result.get(), 0, 0, 0.5f, 4, 1, 0.5f));
}

}  // namespace
