// HeatHaze against its formulas in double precision, point by point.
#include "effects/weather/HeatHaze.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_pyramid.h"
#include "noiselib/solidnoise.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

ImagePtr smooth_picture() {
    return picture(96, 70, [](int x, int y, int c) {
        return 0.5f + 0.4f * float(std::sin(0.21 * x + 0.5 * c) * std::cos(0.17 * y - c));
    });
}

struct Haze : EffectShot<HeatHaze> {
    explicit Haze(ImagePtr shown, ImagePtr matte = nullptr) : EffectShot(std::move(shown)) {
        effect.ROI.value = matte != nullptr;
        effect.matte.image = std::move(matte);
    }
};

// The height of the air at a pixel.
double height_at(const HeatHaze& e, const SolidNoise& noise, int x, int y) {
    const K7Image& frame = *e.input.image;
    const double w = frame.width, h = frame.height, t = e.currentFrame;
    const double sx = 2 * w / 720, sy = 2 * h / 576;
    const double ox = e.AtmX.value * -0.0001 / sx * t +
                      e.FlutterX.value * 0.05 * double(noise.noise(float(0.31 * t), 0.5f, 7.1f)) * sx;
    const double oy = e.AtmY.value * -0.001 / sy * t +
                      e.FlutterY.value * -0.05 * (t + 1.2 * double(noise.noise(0.5f, float(0.31 * t), 3.3f))) * sy;
    const double nx = (x + ox) * double(frame.pixel_width) * e.AtmDetX.value / w, ny = (y + oy) * e.AtmDetY.value / h;
    const double z = e.AtmZ.value * 0.005 * t + 0.5;
    double sum = 0;
    for (double f = 1; f < e.Detail.value + 0.05; f *= 2.17)
        sum += double(noise.noise(float(f * nx), float(f * ny), float(f * z))) / f;
    double height = std::max(sum + e.AtmCont.value * 0.01 + 0.5, 0.0);
    if (e.ROI.value) {
        const K7Image& m = *e.matte.image;
        height *= double(0.3f * at(m, x, y, 0) + 0.5f * at(m, x, y, 1) + 0.2f * at(m, x, y, 2));
    }
    return height;
}

// Where the line of sight of a pixel arrives, the row one less.
struct Place {
    double u, v;
};
Place place_of(const HeatHaze& e, const SolidNoise& noise, int x, int y) {
    const int w = int(e.input.image->width), h = int(e.input.image->height);
    const double strength = e.Temperature.value * 0.001;
    const auto sheet = [&](int i, int j) {
        return strength * height_at(e, noise, std::clamp(i, 0, w - 1), std::clamp(j, 0, h - 1));
    };
    const double a = sheet(x + 2, y + 2) - sheet(x - 2, y - 2), b = sheet(x - 2, y + 2) - sheet(x + 2, y - 2);
    const double dx = 2.0 / (w - 1), dy = 2.0 / (h - 1);
    double n[3] = {b * dy - a * dy, -dx * a - b * dx, dx * dy + dx * dy};
    const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    for (double& component : n) component /= length;
    const double index = 1.02, s = n[2] - std::sqrt(n[2] * n[2] + index * index - 1);
    const double tz = (n[2] * s - 1) / index, path = sheet(x, y) / tz;
    return {std::clamp(double(x) / (w - 1) + path * n[0] * s / index, 0.0001, 0.9999) * (w - 1),
            std::clamp(double(y) / (h - 1) + path * n[1] * s / index, 0.0001, 0.9999) * (h - 1) - 1};
}

double worst_difference(Haze& haze, double frame) {
    const ImagePtr rendered = same_bits_everywhere([&] { return haze.copy(frame); });
    const K7Image& result = *rendered;
    const SolidNoise noise(std::uint32_t(haze.effect.AtmSeed.value));
    ImagelibPyramid pyramid(haze.source.get(), KERNEL_BSPLINE, EDGE_MIRROR, true, true);
    pyramid.set_kernel(KERNEL_TRIANGLE, EDGE_BLACK);
    double worst = 0;
    for (int y = 1; y < int(result.height) - 1; y += 5) {
        for (int x = 1; x < int(result.width) - 1; x += 3) {
            const auto p = [&](int i, int j) { return place_of(haze.effect, noise, i, j); };
            const auto u = std::minmax({p(x, y).u, p(x - 1, y).u, p(x, y + 1).u, p(x - 1, y + 1).u});
            const auto v = std::minmax({p(x, y).v, p(x + 1, y).v, p(x, y + 1).v, p(x + 1, y + 1).v});
            const double cx = std::min((u.first + u.second) / 2 + 0.5, double(result.width - 1));
            const double cy = std::clamp((v.first + v.second) / 2 + 0.5, 0.0, double(result.height - 1));
            float expected[4];
            pyramid.sample_pixel(float(cx), float(cy), float((u.second - u.first) * (v.second - v.first)), expected, 4);
            for (int c = 0; c < 4; ++c)
                worst = std::max(worst, std::abs(double(at(result, x, y, c)) - double(expected[c])));
        }
    }
    return worst;
}

TEST(HeatHaze, FollowsTheLawOfRefraction) {
    constexpr double CLOSE = 2e-4;  // floats: the slope is a small difference of heights
    Haze haze(smooth_picture());
    EXPECT_LT(worst_difference(haze, 0), CLOSE);
    HeatHaze& e = haze.effect;
    e.Temperature.value = 200;
    e.AtmDetX.value = 9, e.AtmDetY.value = 5;
    e.FlutterX.value = 100, e.AtmX.value = -100, e.AtmY.value = 100;
    e.AtmCont.value = -30;
    EXPECT_LT(worst_difference(haze, 17), CLOSE);

    Haze masked(smooth_picture(), smooth_picture());
    masked.effect.AtmSeed.value = 3;
    EXPECT_LT(worst_difference(masked, 0), CLOSE);
}

TEST(HeatHaze, WhereTheMatteIsBlackThePictureKeepsItsBits) {
    const auto check = [](ImagePtr matte, int last_x, int first_y, int last_y) {
        Haze haze(noise(90, 61), std::move(matte));
        const K7Image& result = haze.render();
        EXPECT_GT(difference(result, *haze.source), 0.1);
        for (int y = first_y; y < last_y; ++y)
            for (int x = first_y; x < last_x; ++x)
                for (int c = 0; c < 4; ++c) ASSERT_EQ(at(result, x, y, c), at(*haze.source, x, y, c)) << x << ' ' << y;
    };
    check(picture(90, 61, [](int x, int, int) { return float(x >= 45); }), 43, 2, 59);
    check(picture(90, 61, [](int, int y, int) { return float(y >= 30); }), 90, 0, 29);  // rows without heat
    EXPECT_TRUE(Haze(noise(90, 61), flat(90, 61, 0.0f)).shows_source());
}

TEST(HeatHaze, TheHeatMapIsGreyAndMovesWithTime) {
    Haze haze(noise(64, 48));
    haze.effect.DispType.value = HeatHaze::HeatMap;
    const SolidNoise noise(797);
    const ImagePtr first = haze.copy(0), second = haze.copy(1);
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(at(*second, 20, 30, c), height_at(haze.effect, noise, 20, 30), 1e-4);
    EXPECT_FALSE(same_pixels(first.get(), second.get()));
    EXPECT_TRUE(same_pixels(first.get(), &haze.render(0)));
}

}  // namespace
