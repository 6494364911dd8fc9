// The leaks against the definition of their light, written down plainly in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "effects/film/EdgeLeak.h"
#include "effects/film/LightLeak.h"
#include "noiselib/solidnoise.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr double CLOSE = 3e-5;

// ---- The definition -------------------------------------------------------------------------------------------

double smooth(double t) {
    t = std::clamp(t, 0.0, 1.0);
    return (3 - 2 * t) * t * t;
}

struct Lights {
    double red = 0, yellow = 0, white = 0, sum = 0;
};

struct Exposure {
    double thickness, fog;
    bool negative, useAlpha;
};

using Pixel = std::array<double, 4>;

Pixel pixelOf(const K7Image& image, int x, int y) {
    return {at(image, x, y, 0), at(image, x, y, 1), at(image, x, y, 2), at(image, x, y, 3)};
}

// One channel of a pixel with light on it.
double exposed(const Pixel& pixel, int c, Lights light, double mask, const Exposure& how) {
    const double s = pixel[std::size_t(c)], luminance = 0.3 * pixel[0] + 0.5 * pixel[1] + 0.2 * pixel[2];
    if (light.sum * mask <= 0) return s;
    if (c == 3) return std::min(1.0, s + light.sum * mask * (how.fog + how.thickness) * std::max(1 - luminance, 0.0));
    double added = 0;
    const double redBand = light.red * mask * luminance * how.thickness;
    added += c == 0 ? light.red * mask * how.fog + redBand : -redBand;
    if (c < 2) added += light.yellow * mask * (how.fog + luminance * how.thickness);
    added += light.white * mask * (how.fog + luminance * how.thickness);
    return std::max(0.0, s + (how.negative ? -added : added));
}

// The lights fall one after the other, each on the pixel as lit so far; masked by the alpha that it had at first.
Pixel exposedInTurn(Pixel pixel, const std::vector<Lights>& lights, const Exposure& how) {
    const double mask = how.useAlpha ? pixel[3] : 1;
    for (const Lights& light : lights) {
        const Pixel before = pixel;
        for (int c = 0; c < 4; ++c) pixel[std::size_t(c)] = exposed(before, c, light, mask, how);
    }
    return pixel;
}

Exposure exposureOf(const LightLeak& e) {
    return {e.ThickB.value / 100, e.FogB.value / 100, e.NegBlobON.value, e.Modulate.value};
}
Exposure exposureOf(const EdgeLeak& e) {
    return {e.ThickE.value / 100, e.FogE.value / 100, e.NegEdgeON.value, e.Modulate.value};
}

using LightsAt = std::function<std::vector<Lights>(int x, int y)>;

template <class Leak>
void expectClose(EffectShot<Leak>& shot, double frame, const LightsAt& lights, const char* what) {
    const ImagePtr result = same_bits_everywhere([&] { return shot.copy(frame); });
    const Exposure how = exposureOf(shot.effect);
    int lit = 0;
    for (int y = 0; y < result->height; ++y)
        for (int x = 0; x < result->width; ++x) {
            const Pixel before = pixelOf(*shot.source, x, y);
            const Pixel expected = exposedInTurn(before, lights(x, y), how);
            lit += expected != before;
            for (int c = 0; c < 4; ++c)
                ASSERT_NEAR(at(*result, x, y, c), expected[std::size_t(c)], CLOSE)
                    << what << " at " << x << ", " << y << ", " << c;
        }
    EXPECT_GT(lit, 25) << what;
}

double band(double v, double spread, double soft) {
    const double low = 1 - spread / 100, high = low + soft / 100;
    return v <= 0 || v >= 1 ? 0 : smooth((v - low) / (high == low ? 0.001 : high - low));
}

Lights spotLight(const LightLeak& e, const SolidNoise& noise, const K7Image& image, int x, int y) {
    Lights total;
    const double w = image.width, h = image.height, tall = double(image.pixel_height) / double(image.pixel_width);
    for (int i = 0; i < e.LightSpotsB.value; ++i) {
        const auto n = [&](int k, double z) {
            return double(noise.noise(3.7f * float(i) + 0.5f, 5.3f * float(k) + 0.5f, float(z)));
        };
        const auto wide = [&](int k) { return std::clamp(1.4 * n(k, 0.5 + 0.004 * e.currentFrame), -1.0, 1.0); };
        double radius = w * e.PattSizeB.value / 100 * 0.5 *
                        std::max(0.0, 0.5 + 0.5 * wide(1) * e.PattVarB.value / 100) * (0.75 + 0.25 * wide(2));
        double cx = (wide(3) * e.GroupB.value / 100 + e.CorePosB.x) * w;
        double cy = (wide(4) * e.GroupB.value / 100 + e.CorePosB.y) * h;
        if (e.AddRandB.value) {
            const double z = 0.5 + 0.12 * e.currentFrame;
            radius *= 1 + n(1, z) * e.WobbleSizeB.value / 100;
            cx += n(2, z) * w * e.WobbleSpotB.value / 1000;
            cy += n(3, z) * h * e.WobbleSpotB.value / 1000;
        }
        const double d = std::max(0.5, std::hypot(x - cx, (y - cy) * tall));
        const double v = radius > 0 ? 1 - std::min(d / radius, 1.0) : 0;
        const double red = band(v, e.RedSpreadB.value, e.RedSoftB.value);
        const double yellow = band(v, e.YellowSpreadB.value, e.YellowSoftB.value);
        const double white = band(v, e.WhiteSpreadB.value, e.WhiteSoftB.value);
        total.red += red, total.yellow += yellow, total.white += white, total.sum += red + yellow + white;
    }
    return {std::min(total.red, 1.0), std::min(total.yellow, 1.0), std::min(total.white, 1.0),
            std::min(total.sum, 1.0)};
}

void expectAsDefined(EffectShot<LightLeak>& shot, double frame, const char* what) {
    const SolidNoise noise(std::uint32_t(shot.effect.LightPattB.value));
    expectClose(
        shot, frame, [&](int x, int y) { return std::vector{spotLight(shot.effect, noise, *shot.source, x, y)}; },
        what);
}

// ---- LightLeak ------------------------------------------------------------------------------------------------

TEST(LightLeak, IsItsDefinition) {
    for (const auto& [width, height] : {std::pair{93, 51}, {37, 80}}) {
        EffectShot<LightLeak> shot(noise(width, height));
        LightLeak& e = shot.effect;
        expectAsDefined(shot, 0, "default");
        e.PattSizeB.value = 150, e.LightSpotsB.value = 7, e.GroupB.value = 70, e.LightPattB.value = 12;
        expectAsDefined(shot, 0, "many spots");
        e.AddRandB.value = true, e.WobbleSizeB.value = 80, e.WobbleSpotB.value = 90;
        expectAsDefined(shot, 31, "wobbling");
        e.NegBlobON.value = true, e.ThickB.value = 400;
        expectAsDefined(shot, 7.25, "negative");
        e.Modulate.value = true, e.NegBlobON.value = false, e.FogB.value = 80;
        e.WhiteSpreadB.value = 90, e.WhiteSoftB.value = 5, e.YellowSoftB.value = 100;
        expectAsDefined(shot, 3, "through alpha");
        e.PattSizeB.value = 120;
        image_set_pixel_size(shot.source.get(), 2.0f, 1.0f, 2);
        expectAsDefined(shot, 0, "round on wide pixels");
    }
}

TEST(LightLeak, DriftsSlowlyAndFlickersOnTop) {
    EffectShot<LightLeak> shot(flat(160, 90, 0.2f, 0.3f, 0.4f));
    shot.effect.PattSizeB.value = 100;
    for (const bool random : {false, true}) {
        shot.effect.AddRandB.value = random;
        ImagePtr before = shot.copy(0);
        for (int frame = 1; frame < 40; ++frame) {
            ImagePtr now = shot.copy(frame);
            EXPECT_GT(difference(*now, *before), 0.0) << frame;
            EXPECT_LT(difference(*now, *before), random ? 0.06 : 0.03) << frame;
            before = std::move(now);
        }
    }
}

// ---- EdgeLeak -------------------------------------------------------------------------------------------------

TEST(EdgeLeak, WithoutWobblinessTheEdgesAreStraight) {
    for (const int side : {EdgeLeak::FromLeft, EdgeLeak::FromRight})
        for (const bool negative : {false, true})
            for (const bool alpha : {false, true}) {
                EffectShot<EdgeLeak> shot(noise(91, 33, 4));
                EdgeLeak& e = shot.effect;
                e.WobbleE.value = 0, e.DirE.value = side, e.NegEdgeON.value = negative, e.Modulate.value = alpha;
                e.RedSoftE.value = 35, e.YellowXE.value = 0.62, e.WhiteSoftE.value = 0, e.ThickE.value = 60;
                const auto lit = [&](int x, double place, double soft) {
                    const double inside = (place * 91 - x) * (side == EdgeLeak::FromLeft ? 1 : -1);
                    return smooth(inside / (91 * std::max(soft / 100, 0.001)));
                };
                const auto lights = [&](int x, int) {
                    const double red = lit(x, 0.5, 35), yellow = lit(x, 0.62, 20), white = lit(x, 0.3, 0);
                    return std::vector<Lights>{{red, 0, 0, red}, {0, yellow, 0, yellow}, {0, 0, white, white}};
                };
                expectClose(shot, 9, lights, "straight");
            }
}

// Where a hard red edge lies in each row.
std::vector<int> border(int thickness, int width, int height, double frame) {
    EffectShot<EdgeLeak> shot(flat(width, height, 0, 0, 0));
    EdgeLeak& e = shot.effect;
    e.ThickE.value = thickness;
    e.RedSoftE.value = 0, e.YellowXE.value = e.WhiteXE.value = -1;
    const K7Image& result = shot.render(frame);
    std::vector<int> columns;
    for (int y = 0; y < height; ++y) {
        int x = 0;
        while (x < width && at(result, x, y, 0) > 0) ++x;
        columns.push_back(x);
    }
    return columns;
}

TEST(EdgeLeak, WandersSmoothlyWithinItsBounds) {
    constexpr int THICK = 20;  // % of the width to either side
    std::vector<int> before = border(THICK, 500, 200, 0);
    int least = 1000, most = 0;
    for (int frame = 1; frame < 200; ++frame) {
        const std::vector<int> now = border(THICK, 500, 200, frame);
        for (std::size_t y = 0; y < now.size(); ++y) {
            ASSERT_LE(std::abs(now[y] - now[y > 0 ? y - 1 : 0]), 12) << "from row to row, frame " << frame;
            ASSERT_LE(std::abs(now[y] - before[y]), 25) << "from frame to frame " << frame;
            least = std::min(least, now[y]), most = std::max(most, now[y]);
        }
        EXPECT_NE(now, before) << "still in frame " << frame;
        before = now;
    }
    EXPECT_TRUE(least >= 150 && most <= 351 && most - least > 100) << least << " to " << most;
}

TEST(EdgeLeak, IsTheSameLeakAtEverySize) {
    constexpr int THIN = 10;
    const std::vector<int> small = border(THIN, 300, 150, 12), large = border(THIN, 1200, 600, 12);
    for (std::size_t y = 0; y < small.size(); ++y) EXPECT_NEAR(4 * small[y], large[4 * y + 2], 5) << y;
}

}  // namespace
