// HeatHaze against its formulas in double precision, point by point.
#include "effects/weather/HeatHaze.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "imagelib/imagelib_pyramid.h"
#include "k7pi_baselib/cpu.h"
#include "noiselib/solidnoise.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

ImagePtr smooth_picture(int width, int height) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
                image_row<float>(image.get(), y)[4 * x + c] =
                    0.5f + 0.4f * float(std::sin(0.21 * x + 0.5 * c) * std::cos(0.17 * y - c));
    return image;
}

struct Haze {
    HeatHaze effect;
    Haze(ImagePtr source, ImagePtr matte = nullptr) {
        effect.output.image.reset(image_clone_layout(source.get()));
        image_copy_attributes(source.get(), effect.output.image.get());
        effect.input.image = std::move(source);
        effect.matte.image = std::move(matte);
        effect.ROI.value = effect.matte.image != nullptr;
    }
    const K7Image& source() const { return *effect.input.image; }
    const K7Image& result() {
        image_fill(effect.output.image.get(), -7);
        effect.ProcessFrame();
        return *effect.output.image;
    }
};

float at(const K7Image& image, int x, int y, int c = 0) {
    return image_row<float>(&image, y)[int(image.channels) * x + c];
}

ImagePtr flat(int width, int height, float value) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    image_fill(image.get(), value);
    return image;
}

// The height of the air at a pixel.
double height_at(const HeatHaze& e, const SolidNoise& noise, int x, int y) {
    const K7Image& frame = *e.input.image;
    const double w = frame.width, h = frame.height, t = e.currentFrame;
    const double sx = 2 * w / 720, sy = 2 * h / 576;
    const double ox = e.AtmX.value * -0.0001 / sx * t +
                      e.FlutterX.value * 0.05 * double(noise.noise(float(0.31 * t), 0.5f, 7.1f)) * sx;
    const double oy = e.AtmY.value * -0.001 / sy * t +
                      e.FlutterY.value * 0.05 * double(noise.noise(0.5f, float(0.31 * t), 3.3f)) * sy;
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

double worst_difference(Haze& haze) {
    const K7Image& result = haze.result();
    const SolidNoise noise(std::uint32_t(haze.effect.AtmSeed.value));
    ImagelibPyramid pyramid(&haze.source(), KERNEL_BSPLINE, EDGE_MIRROR, true, true);
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

}  // namespace

TEST(HeatHaze, FollowsTheLawOfRefraction) {
    constexpr double CLOSE = 2e-4;  // floats: the slope is a small difference of heights
    Haze haze(smooth_picture(96, 70));
    EXPECT_LT(worst_difference(haze), CLOSE);
    haze.effect.currentFrame = 17;
    haze.effect.Temperature.value = 200;
    haze.effect.AtmDetX.value = 9, haze.effect.AtmDetY.value = 5;
    haze.effect.FlutterX.value = 100, haze.effect.AtmX.value = -100, haze.effect.AtmY.value = 100;
    haze.effect.AtmCont.value = -30;
    EXPECT_LT(worst_difference(haze), CLOSE);

    Haze masked(smooth_picture(96, 70), smooth_picture(96, 70));
    masked.effect.AtmSeed.value = 3;
    EXPECT_LT(worst_difference(masked), CLOSE);
}

TEST(HeatHaze, StillAirShowsTheSourceToTheBit) {
    Haze cold(noise_image(90, 61, 4, SAMPLE_F32));
    cold.effect.Temperature.value = 0;
    Haze masked(noise_image(90, 61, 4, SAMPLE_F32), flat(90, 61, 0.0f));
    for (Haze* haze : {&cold, &masked}) {
        const K7Image& result = haze->result();
        for (int y = 2; y < 59; ++y)
            for (int x = 2; x < 88; ++x)
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(at(result, x, y, c), at(haze->source(), x, y, c)) << x << ' ' << y;
        // Borders show their neighbours.
        for (int c = 0; c < 4; ++c) {
            EXPECT_EQ(at(result, 0, 30, c), at(result, 1, 30, c));
            EXPECT_EQ(at(result, 89, 30, c), at(result, 88, 30, c));
            EXPECT_EQ(at(result, 40, 0, c), at(result, 40, 1, c));
            EXPECT_EQ(at(result, 40, 60, c), at(result, 40, 59, c));
        }
    }
}

TEST(HeatHaze, TheHeatMapIsGreyAndMovesWithTime) {
    Haze haze(noise_image(64, 48, 4, SAMPLE_F32));
    haze.effect.DispType.value = HeatHaze::HeatMap;
    const SolidNoise noise(797);
    ImagePtr first;
    for (const double time : {0.0, 1.0}) {
        haze.effect.currentFrame = time;
        const K7Image& result = haze.result();
        for (int c = 0; c < 4; ++c) EXPECT_NEAR(at(result, 20, 30, c), height_at(haze.effect, noise, 20, 30), 1e-4);
        if (!first) first.reset(image_duplicate(&result));
    }
    EXPECT_FALSE(same_pixels(first.get(), haze.effect.output.image.get()));
    haze.effect.currentFrame = 0;
    EXPECT_TRUE(same_pixels(first.get(), &haze.result()));
}

TEST(HeatHaze, SameBitsForAnyThreadsAndProcessor) {
    ImagePtr first;
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        for (const int threads : {1, 2, 7}) {
            const RowThreads dispatcher(threads);
            Haze haze(noise_image(131, 77, 4, SAMPLE_F32));
            haze.effect.currentFrame = 5;
            const K7Image& result = haze.result();
            if (!first) first.reset(image_duplicate(&result));
            EXPECT_TRUE(same_pixels(first.get(), &result)) << int(level) << " with " << threads << " threads";
        }
    }
    set_cpu_level_limit(CpuLevel::avx512);
}

TEST(HeatHaze, SmallPicturesAndWildValuesStayWithinTheSource) {
    for (const int width : {1, 2, 3, 4, 17}) {
        for (const int height : {1, 2, 3, 5}) {
            Haze haze(noise_image(width, height, 4, SAMPLE_F32), flat(width, height, 65504.0f));
            haze.effect.Temperature.value = 200;
            haze.effect.AtmCont.value = 1e30;
            haze.effect.AtmDetX.value = 1e30;
            haze.effect.currentFrame = 1e9;
            const K7Image& result = haze.result();
            for (int y = 0; y < height; ++y)
                for (int i = 0; i < 4 * width; ++i) {
                    const float sample = image_row<float>(&result, y)[i];
                    ASSERT_TRUE(sample >= 0 && sample <= 1) << width << 'x' << height << ": " << sample;
                }
        }
    }
}
