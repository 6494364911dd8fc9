// The leaks against the definition of their light, written down plainly in double precision.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

#include "effects/film/EdgeLeak.h"
#include "effects/film/LightLeak.h"
#include "frames.h"
#include "noiselib/solidnoise.h"

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

void expectClose(const K7Image& source, const K7Image& result,
                 const std::function<std::vector<Lights>(int x, int y)>& lights, const Exposure& how,
                 const char* what) {
    int lit = 0;
    for (int y = 0; y < source.height; ++y)
        for (int x = 0; x < source.width; ++x) {
            const Pixel expected = exposedInTurn(pixelOf(source, x, y), lights(x, y), how);
            lit += expected != pixelOf(source, x, y);
            for (int c = 0; c < 4; ++c)
                ASSERT_NEAR(at(result, x, y, c), expected[std::size_t(c)], CLOSE)
                    << what << " at " << x << ", " << y << ", " << c;
        }
    EXPECT_GT(lit, 25) << what;
}

Exposure exposureOf(const LightLeak& e) {
    return {e.ThickB.value / 100, e.FogB.value / 100, e.NegBlobON.value, e.Modulate.value};
}
Exposure exposureOf(const EdgeLeak& e) {
    return {e.ThickE.value / 100, e.FogE.value / 100, e.NegEdgeON.value, e.Modulate.value};
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
        const auto wide = [&](int k) { return std::clamp(1.4 * n(k, 0.5), -1.0, 1.0); };
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

void expectAsDefined(LightLeak& e, const K7Image& source, double frame, const char* what) {
    const K7Image& result = rendered(e, source, frame);
    const SolidNoise noise(std::uint32_t(e.LightPattB.value));
    expectClose(
        source, result, [&](int x, int y) { return std::vector{spotLight(e, noise, source, x, y)}; }, exposureOf(e),
        what);
}

// ---- LightLeak ------------------------------------------------------------------------------------------------

TEST(LightLeak, IsItsDefinition) {
    for (const auto& [width, height] : {std::pair{93, 51}, {64, 40}, {37, 80}}) {
        const ImagePtr source = noise_image(width, height, 4, SAMPLE_F32);
        LightLeak e;
        expectAsDefined(e, *source, 0, "default");
        e.PattSizeB.value = 150, e.LightSpotsB.value = 7, e.GroupB.value = 70, e.LightPattB.value = 12;
        expectAsDefined(e, *source, 0, "many spots");
        e.AddRandB.value = true, e.WobbleSizeB.value = 80, e.WobbleSpotB.value = 90;
        expectAsDefined(e, *source, 31, "wobbling");
        e.NegBlobON.value = true, e.ThickB.value = 400;
        expectAsDefined(e, *source, 7.25, "negative");
        e.Modulate.value = true, e.NegBlobON.value = false, e.FogB.value = 80;
        e.WhiteSpreadB.value = 90, e.WhiteSoftB.value = 5, e.YellowSoftB.value = 100;
        expectAsDefined(e, *source, 3, "through alpha");
    }
    LightLeak e;
    e.PattSizeB.value = 120;
    const ImagePtr wide = noise_image(60, 70, 4, SAMPLE_F32);
    image_set_pixel_size(wide.get(), 2.0F, 1.0F, 2);
    expectAsDefined(e, *wide, 0, "round on wide pixels");
}

TEST(LightLeak, OutsideItsSpotsThePictureKeepsItsBits) {
    // Values that arithmetic would not hand on: far above 1, tiny ones, and alpha above 1.
    const ImagePtr source =
        picture(120, 90, [](int x, int y, int c) { return c == 3 ? 1.5F : x * 1e30F + y * 1e-40F; });
    LightLeak e;
    const SolidNoise noise(650);
    const K7Image& result = rendered(e, *source);
    int outside = 0;
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 120; ++x) {
            if (spotLight(e, noise, *source, x, y).sum > 0) continue;
            ++outside;
            ASSERT_EQ(0,
                      std::memcmp(image_row<float>(&result, y) + 4 * x, image_row<float>(source.get(), y) + 4 * x, 16))
                << x << ", " << y;
        }
    EXPECT_GT(outside, 5000);
    EXPECT_LT(outside, 120 * 90);
    // No size, no light; nor without thickness and fog.
    const auto nothing = [&](LightLeak& leak) { return same_pixels(&rendered(leak, *source), source.get()); };
    e.PattSizeB.value = 0;
    EXPECT_TRUE(nothing(e));
    LightLeak dark;
    dark.RedSpreadB.value = dark.YellowSpreadB.value = dark.WhiteSpreadB.value = 0;
    EXPECT_TRUE(nothing(dark));
}

TEST(LightLeak, MovesOnlyWithRandomnessAndThenSmoothly) {
    const ImagePtr source = flat(160, 90, 0.2F, 0.3F, 0.4F);
    LightLeak e;
    e.PattSizeB.value = 100;
    const ImagePtr first(image_duplicate(&rendered(e, *source, 0)));
    EXPECT_TRUE(same_pixels(first.get(), &rendered(e, *source, 17)));
    e.AddRandB.value = true;
    ImagePtr before(image_duplicate(&rendered(e, *source, 0)));
    for (int frame = 1; frame < 40; ++frame) {
        const K7Image& now = rendered(e, *source, frame);
        float most = 0;
        for (int y = 0; y < 90; ++y)
            for (int i = 0; i < 640; ++i)
                most = std::max(most, std::fabs(image_row<float>(&now, y)[i] - image_row<float>(before.get(), y)[i]));
        EXPECT_GT(most, 0.0F) << frame;
        EXPECT_LT(most, 0.05F) << frame;
        before.reset(image_duplicate(&now));
    }
}

// ---- EdgeLeak -------------------------------------------------------------------------------------------------

TEST(EdgeLeak, WithoutWobblinessTheEdgesAreStraight) {
    for (const int side : {EdgeLeak::FromLeft, EdgeLeak::FromRight})
        for (const bool negative : {false, true})
            for (const bool alpha : {false, true}) {
                const ImagePtr source = noise_image(91, 33, 4, SAMPLE_F32, 4);
                EdgeLeak e;
                e.WobbleE.value = 0, e.DirE.value = side, e.NegEdgeON.value = negative, e.Modulate.value = alpha;
                e.RedSoftE.value = 35, e.YellowXE.value = 0.62, e.WhiteSoftE.value = 0, e.ThickE.value = 60;
                const K7Image& result = rendered(e, *source, 9);
                const auto lit = [&](int x, double place, double soft) {
                    const double inside = (place * 91 - x) * (side == EdgeLeak::FromLeft ? 1 : -1);
                    return smooth(inside / (91 * std::max(soft / 100, 0.001)));
                };
                const auto lights = [&](int x, int) {
                    const double red = lit(x, 0.5, 35), yellow = lit(x, 0.62, 20), white = lit(x, 0.3, 0);
                    return std::vector<Lights>{{red, 0, 0, red}, {0, yellow, 0, yellow}, {0, 0, white, white}};
                };
                expectClose(*source, result, lights, exposureOf(e), "straight");
                for (int y = 0; y < 33; ++y) {
                    const int dark = side == EdgeLeak::FromLeft ? 60 : 0, count = side == EdgeLeak::FromLeft ? 31 : 27;
                    ASSERT_EQ(0, std::memcmp(image_row<float>(&result, y) + 4 * dark,
                                             image_row<float>(source.get(), y) + 4 * dark, 16u * unsigned(count)));
                }
            }
}

// Where a hard red edge lies in each row.
std::vector<int> border(EdgeLeak& e, int width, int height, double frame) {
    e.RedSoftE.value = 0, e.YellowXE.value = e.WhiteXE.value = -1;
    const ImagePtr source = flat(width, height, 0, 0, 0);
    const K7Image& result = rendered(e, *source, frame);
    std::vector<int> columns;
    for (int y = 0; y < height; ++y) {
        int x = 0;
        while (x < width && at(result, x, y, 0) > 0) ++x;
        columns.push_back(x);
    }
    return columns;
}

TEST(EdgeLeak, WandersSmoothlyWithinItsBounds) {
    EdgeLeak e;
    e.ThickE.value = 20;  // 20 % of the width to either side
    const auto largestStep = [](const std::vector<int>& from, const std::vector<int>& to, std::size_t shift) {
        int largest = 0;
        for (std::size_t y = shift; y < to.size(); ++y) largest = std::max(largest, std::abs(to[y] - from[y - shift]));
        return largest;
    };
    std::vector<int> before = border(e, 500, 200, 0);
    int least = 1000, most = 0;
    std::set<int> bottoms, tops;
    for (int frame = 1; frame < 200; ++frame) {
        const std::vector<int> now = border(e, 500, 200, frame);
        least = std::min(least, *std::ranges::min_element(now)), most = std::max(most, *std::ranges::max_element(now));
        bottoms.insert(now.front()), tops.insert(now.back());
        EXPECT_LE(largestStep(now, now, 1), 12) << "from row to row, frame " << frame;
        EXPECT_LE(largestStep(before, now, 0), 25) << "from frame to frame " << frame;
        EXPECT_NE(now, before) << "still in frame " << frame;
        before = now;
    }
    EXPECT_GE(least, 150);
    EXPECT_LE(most, 351);
    EXPECT_GT(most - least, 100) << "uses its room";
    EXPECT_GT(bottoms.size(), 20u);
    EXPECT_GT(tops.size(), 20u);
}

TEST(EdgeLeak, IsTheSameLeakAtEverySize) {
    EdgeLeak e;
    const std::vector<int> small = border(e, 300, 150, 12), large = border(e, 1200, 600, 12);
    for (std::size_t y = 0; y < small.size(); ++y) EXPECT_NEAR(4 * small[y], large[4 * y + 2], 5) << y;
}

// ---- Both -----------------------------------------------------------------------------------------------------

TEST(Leaks, HaveTheSameBitsOnEveryProcessorAndNumberOfThreads) {
    const ImagePtr source = noise_image(143, 61, 4, SAMPLE_F32, 5, 0.0F, 1.2F);
    LightLeak light;
    light.LightSpotsB.value = 9, light.PattSizeB.value = 130, light.GroupB.value = 80, light.Modulate.value = true;
    expectSameBitsEverywhere(light, *source, 4);
    EdgeLeak edge;
    edge.NegEdgeON.value = true;
    expectSameBitsEverywhere(edge, *source, 4);
}

TEST(Leaks, SurviveAnything) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 1}, {1, 40}, {17, 2}})
        for (const double value : {1e30, -1e30, -7.0, 0.0, 1e-310}) {
            const ImagePtr source = noise_image(width, height, 4, SAMPLE_F32);
            LightLeak light;
            for (ControlK7* control : light.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            expectLight(rendered(light, *source, value * 1e-21), "light", value);
            light.CorePosB.x = value, light.AddRandB.value = true;
            expectLight(rendered(light, *source, value * 1e-21), "light", value);
            EdgeLeak edge;
            for (ControlK7* control : edge.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            expectLight(rendered(edge, *source, value * 1e-21), "edge", value);
            edge.DirE.value = EdgeLeak::FromRight;
            expectLight(rendered(edge, *source, value * 1e-21), "edge", value);
        }
}

}  // namespace
