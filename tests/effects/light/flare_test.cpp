// Flare: lights against their definition in doubles, and how much light each part of a flare holds.
#include "effects/light/Flare.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "clk7/clk7.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr int W = 96, H = 64;
constexpr float LIGHT[] = {1.0f, 0.5f, 0.25f};

// One light on black, its halo alone.
struct OneLight : EffectShot<Flare> {
    explicit OneLight(int x = 40, int y = 30) : EffectShot(flat(W, H, 0, 0, 0, 0.5f)) {
        std::copy_n(LIGHT, 3, &at(*source, x, y));
        effect.XScale.value = effect.YScale.value = 2, effect.LoLight.value = 0.3;
        effect.Reflections.value = effect.HaloFring.value = effect.StreakLen.value = 0;
        effect.GlowStrn.value = 0, effect.CompType.value = Flare::Adds;
    }
    double light() {  // that the flare adds, as a part of that of a white light
        K7Image& result = render();
        double sum = 0;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                for (int c = 0; c < 3; ++c) sum += double(at(result, x, y, c)) - double(at(*source, x, y, c));
        return sum / (effect.Brightness.value / 100 * 33) / 3;
    }
};

std::vector<std::vector<double>> slitColours(double width) {
    CLRK7 engine;
    EXPECT_TRUE(engine.init(400, 700));
    std::vector<std::vector<double>> table;
    for (int i = 0; i < 1024; ++i) {
        float spectrum[301], rgb[3];
        for (int nm = 400; nm <= 700; ++nm) {
            const double beta = width * 1e-3 * M_PI / (nm * 1e-9) * std::sin(std::max(i, 1) * 1e-5);
            spectrum[nm - 400] = float(std::pow(std::sin(beta) / beta, 2));
        }
        engine.spectrum_to_rgb(spectrum, rgb);
        table.push_back({std::sqrt(std::max(0.0, double(rgb[0]))), std::sqrt(std::max(0.0, double(rgb[1]))),
                         std::sqrt(std::max(0.0, double(rgb[2])))});
    }
    return table;
}

TEST(Flare, ALightHasTheHaloOfItsSlit) {
    OneLight shot;
    for (const auto& [aspect, size, contrast, screen] :
         {std::tuple{1.0f, 30.0, 100.0, false}, {1.0f, 3.0, 150.0, true}, {2.0f, 100.0, 60.0, false}}) {
        shot.source->pixel_aspect = aspect;
        shot.effect.Aper.value = size, shot.effect.Contrast.value = contrast;
        shot.effect.CompType.value = screen ? Flare::Screens : Flare::Adds;
        const ImagePtr result = same_bits_everywhere([&] { return shot.copy(); });
        const auto table = slitColours(25 / (std::max(size, 2.0 * aspect) + 1));
        const auto kernel = [&](int dx, int dy, std::size_t c) {
            const double place = std::hypot(dx, double(dy) / aspect) * 1024 / W;
            const auto entry = std::size_t(place);
            return table[entry][c] + (place - double(entry)) * (table[entry + 1][c] - table[entry][c]);
        };
        double unit = 0;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                for (std::size_t c = 0; c < 3; ++c) unit += kernel(x - W / 2, y - H / 2, c) / 3;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                EXPECT_EQ(at(*result, x, y, 3), 0.5f);
                const bool inside = x - 40 >= -W / 2 && x - 40 < W / 2 && y - 30 >= -H / 2 && y - 30 < H / 2;
                for (int c = 0; c < 3; ++c) {
                    const double under = at(*shot.source, x, y, c);
                    const double light = inside ? double(LIGHT[c]) * kernel(x - 40, y - 30, std::size_t(c)) / unit : 0;
                    const double v = std::pow(std::max(light, 0.0), contrast / 100) * 0.35 * 33;
                    const double expected = screen ? std::max({v + under - v * under, under, v}) : v + under;
                    ASSERT_NEAR(at(*result, x, y, c), expected, contrast < 100 ? 2e-3 : 2e-5) << x << ", " << y;
                }
            }
    }
}

// Of what leaves the picture nothing is lost here: all parts fit into it.
TEST(Flare, EachPartHoldsTheLightThatIsAsked) {
    OneLight shot(W / 2, H / 2);
    std::fill_n(&at(*shot.source, W / 2, H / 2), 3, 1.0f);
    Flare& e = shot.effect;
    EXPECT_NEAR(shot.light(), 1.0, 1e-3);
    e.HaloFring.value = 40;
    EXPECT_NEAR(shot.light(), 1.0, 1e-3);
    e.HaloStrn.value = 75;
    EXPECT_NEAR(shot.light(), 1.5, 1e-3);
    e.GlowStrn.value = 20, e.GlowRad.value = 20;
    EXPECT_NEAR(shot.light(), 1.5 + 0.6, 1e-3);
    e.StreakLen.value = 25, e.Streaks.value = 3.9;
    EXPECT_NEAR(shot.light(), 1.5 + 0.6 + 2.5, 1e-3);
    e.HaloStrn.value = e.GlowStrn.value = 0;
    EXPECT_NEAR(shot.light(), 2.5, 1e-3);
    int lit = 0;  // three pairs of thin rays, no longer than asked
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            if (at(*e.output.image, x, y) > 1e-3f) {
                ++lit;
                EXPECT_LT(std::hypot(x - W / 2, y - H / 2), 27);
            }
    EXPECT_GT(lit, 3 * 2 * 12);
    EXPECT_LT(lit, 3 * 2 * 2 * 27);
    e.Brightness.value = 0;
    EXPECT_TRUE(shot.shows_source());
}

TEST(Flare, TheMapHoldsWhatIsBrightInTheRegion) {
    EffectShot<Flare> shot(noise(80, 60, 3));
    Flare& e = shot.effect;
    e.LMap_On.value = true, e.Reflections.value = 0, e.LoLight.value = 0.6;
    e.Center.x = 0.25, e.XScale.value = 0.2, e.YScale.value = 0.5;
    const ImagePtr map = shot.copy();
    e.ThinOut.value = 40;
    const ImagePtr thinned = shot.copy();
    int lit = 0, kept = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 80; ++x) {
            const float *pixel = &at(*shot.source, x, y), *shown = &at(*map, x, y);
            const bool inside = x >= 12 && x <= 28 && y >= 15 && y <= 45;
            const bool bright = inside && (pixel[0] + pixel[1] + pixel[2]) / 3 > 0.6f;
            for (int c = 0; c < 3; ++c) ASSERT_EQ(shown[c], bright ? pixel[c] : 0.0f) << x << ", " << y;
            ASSERT_EQ(shown[3], pixel[3]);
            const bool stays = at(*thinned, x, y) > 0;
            ASSERT_LE(stays, bright);
            lit += bright, kept += stays;
        }
    EXPECT_NEAR(kept, 0.6 * lit, 3 * std::sqrt(0.24 * lit));
    EXPECT_TRUE(same_pixels(thinned.get(), &shot.render()));
    e.Shape.value = Flare::Spot;
    EXPECT_GT(at(shot.render(), 20, 30), 0.8f);
    EXPECT_NEAR(at(*e.output.image, 24, 30, 2), 1 - 4.5 / 8, 0.02);
    EXPECT_EQ(at(*e.output.image, 40, 30), 0.0f);
    e.Shape.value = Flare::Area;
    EXPECT_NEAR(at(shot.render(), 24, 29, 1), (1 - std::hypot(4.5 / 8, 0.5 / 15)) * at(*shot.source, 24, 29, 1), 1e-6);
}

// The mirrored image of a pixel is as large as its distance from the middle says, and as bright as asked.
TEST(Flare, ReflectionsLieOppositeTheirLight) {
    OneLight shot(70, 50);
    Flare& e = shot.effect;
    e.LMap_On.value = true, e.Reflections.value = 3, e.ReflScale.value = 150, e.Reflectivity.value = 90;
    shot.source->pixel_aspect = 1;
    const ImagePtr map = same_bits_everywhere([&] { return shot.copy(); });
    for (int i = 1; i <= 3; ++i) {
        const double factor = 1.5 * i / 3, x = W / 2 - 22.5 * factor * W / (W - 1),
                     y = H / 2 - 18.5 * factor * H / (H - 1);
        double sum = 0, across = 0, up = 0;
        for (int v = int(y) - 3; v <= int(y) + 3; ++v)
            for (int u = int(x) - 3; u <= int(x) + 3; ++u) {
                const double light = at(*map, u, v, 1);
                sum += light, across += light * (u + 0.5), up += light * (v + 0.5);
            }
        const double area = factor * factor * W / (W - 1) * H / (H - 1);
        EXPECT_NEAR(sum, 0.5 * area * 0.9 / i, 1e-5) << i;
        EXPECT_NEAR(across / sum, x, 0.14);
        EXPECT_NEAR(up / sum, y, 0.14);
    }
}

TEST(Flare, StaysFiniteWithValuesBeyondAllRanges) {
    for (const double wild : {-1e12, 0.0, 1e12})
        for (const int width : {1, 2, 33}) {
            EffectShot<Flare> shot(noise(width, width == 1 ? 1 : 17));
            for (ControlK7* control : shot.effect.controls()) {
                const double values[3] = {wild, wild, wild};
                if (dynamic_cast<FloatControlK7*>(control) || dynamic_cast<PositionControlK7*>(control))
                    set_control(*control, values);
            }
            for (const int shape : {1, 2, 3}) {
                shot.effect.Shape.value = shape;
                EXPECT_LT(difference(shot.render(), *shot.source), INFINITY) << wild << ", " << width;
            }
        }
}

}  // namespace
