// InfraRed and Thermo against slow pictures made from their definitions, pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "effects/night/InfraRed.h"
#include "effects/night/Thermo.h"
#include "imagelib/imagelib_blur.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr int WIDTHS[] = {1, 3, 16, 17, 70};  // around the lengths of vectors

float limited(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }

float luminance(const K7Image& image, int x, int y) {
    return 0.3f * at(image, x, y, 0) + 0.5f * at(image, x, y, 1) + 0.2f * at(image, x, y, 2);
}

template <class EffectClass>
void expect_model(EffectShot<EffectClass>& shot, const std::function<void(int x, int y, float* rgb)>& model) {
    const ImagePtr result = same_bits_everywhere([&] { return shot.copy(); });
    for (int y = 0; y < result->height; ++y)
        for (int x = 0; x < result->width; ++x) {
            float rgb[3];
            model(x, y, rgb);
            for (int c = 0; c < 3; ++c) ASSERT_NEAR(at(*result, x, y, c), rgb[c], 2e-6) << x << ", " << y;
            ASSERT_EQ(at(*result, x, y, 3), at(*shot.source, x, y, 3)) << x << ", " << y;
        }
}

std::vector<float> tabulated(const CurveControls& controls, int entries) {
    std::vector<float> table;
    controls.curve().tabulate(entries, [&](int, float y) { table.push_back(y); });
    return table;
}

ImagePtr blurred(const K7Image& source, float radius) {
    ImagePtr image(image_duplicate(&source));
    image_gaussian_blur(image.get(), radius, radius, -1);
    return image;
}

// ---- InfraRed -------------------------------------------------------------------------------------------------

class FilmModel {
  public:
    FilmModel(const InfraRed& effect, const K7Image& source, const K7Image& working)
        : m_source(source), m_working(working) {
        for (const CurveControls* curve : {&effect.red, &effect.green, &effect.blue})
            m_tables.push_back(tabulated(*curve, 4096));
    }
    void operator()(int x, int y, float* rgb) const {
        const float r = at(m_source, x, y, 0), g = at(m_source, x, y, 1), b = at(m_source, x, y, 2);
        const int strongest = r >= g && r >= b ? 0 : g >= r && g >= b ? 1 : 2;
        const double place = double(limited(at(m_working, x, y, strongest))) * 4095;
        const auto i = std::size_t(place);
        for (std::size_t c = 0; c < 3; ++c) {
            const double here = m_tables[c][i], next = m_tables[c][i < 4095 ? i + 1 : i];
            rgb[c] = float(here + (place - double(i)) * (next - here));
        }
    }

  private:
    const K7Image &m_source, &m_working;
    std::vector<std::vector<float>> m_tables;
};

TEST(InfraRed, ExposesItsCurvesByTheStrongestChannel) {
    for (const int width : WIDTHS) {
        SCOPED_TRACE(width);
        EffectShot<InfraRed> sharp(noise(width, 21, 3, -0.3f, 1.4f));
        for (int y = 0; y < 21; y += 2) {  // red wins a tie with green, and green one with blue
            float* pixel = image_row<float>(sharp.source.get(), y);
            pixel[y % 4 == 0 ? 0 : 2] = pixel[1];
        }
        sharp.effect.Soften.value = false;
        expect_model(sharp, FilmModel(sharp.effect, *sharp.source, *sharp.source));

        EffectShot<InfraRed> soft(noise(width, 21, 4));
        soft.effect.Softening.value = 25;
        soft.source->unit_scale = 2;
        const ImagePtr working = blurred(*soft.source, 1.25f);
        expect_model(soft, FilmModel(soft.effect, *soft.source, *working));
    }
}

TEST(InfraRed, MixesTheBackgroundAndTurnsGrey) {
    EffectShot<InfraRed> look(noise(40, 12, 5));
    look.effect.BW.value = true;
    const ImagePtr grey = look.copy();
    for (int x = 0; x < 40; ++x) EXPECT_EQ(at(*grey, x, 3, 0), at(*grey, x, 3, 2));

    look.effect.infraRed.image = noise(40, 12, 6);
    const ImagePtr other = look.copy();
    EXPECT_GT(difference(*grey, *other), 0.05);
    look.effect.Blend.value = 30;
    const ImagePtr mixed = picture(
        40, 12, [&](int x, int y, int c) { return 0.7f * at(*other, x, y, c) + 0.3f * at(*look.source, x, y, c); });
    EXPECT_LT(difference(look.render(), *mixed), 1e-6);
    look.effect.Blend.value = 100;
    EXPECT_TRUE(look.shows_source());
}

// ---- Thermo ---------------------------------------------------------------------------------------------------

// Hue, saturation 1 and value, by the six sectors; white from nine tenths of the value on.
void colour_of(double hue, double value, float* rgb) {
    const double f = hue / 60 - int(hue / 60), up = value * f, down = value * (1 - f);
    const double sectors[5][3] = {{value, up, 0}, {down, value, 0}, {0, value, up}, {0, down, value}, {up, 0, value}};
    const double white = std::fmax(10 * value - 9, 0.0);
    for (int c = 0; c < 3; ++c) rgb[c] = float(sectors[int(hue / 60)][c] * (1 - white) + white);
}

class HeatModel {
  public:
    HeatModel(const Thermo& effect, const K7Image& working)
        : m_effect(effect),
          m_working(working),
          m_temperature(tabulated(effect.temperature, 3201)),
          m_intensity(tabulated(effect.intensity, 4096)) {}
    void operator()(int x, int y, float* rgb) const {
        const float boost = float(m_effect.LuminanceBoost.value / 100);
        const float light = limited(luminance(m_working, x, y) * boost);
        const double gamma = std::fmax(m_effect.Gamma.value, 0.01);
        const float g = float(std::pow(int(light * 16383.0f) / 16383.0, 1 / gamma));
        const double cold = 1 - m_temperature[std::size_t(g * 3200)];
        colour_of(240 * cold, double(m_intensity[std::size_t(g * 4095)]), rgb);
    }

  private:
    const Thermo& m_effect;
    const K7Image& m_working;
    std::vector<float> m_temperature, m_intensity;
};

TEST(Thermo, ColoursLuminanceThroughGammaAndBothCurves) {
    for (const int width : WIDTHS) {
        SCOPED_TRACE(width);
        EffectShot<Thermo> sharp(noise(width, 21, 7, -0.2f, 1.3f));
        sharp.effect.Soften.value = false;
        sharp.effect.LuminanceBoost.value = 120;
        for (const double gamma : {1.0, 2.2, 0.0}) {
            sharp.effect.Gamma.value = gamma;
            sharp.effect.intensity.points[1].y = gamma / 4;
            expect_model(sharp, HeatModel(sharp.effect, *sharp.source));
        }
        EffectShot<Thermo> soft(noise(width, 21, 8));
        const ImagePtr working = blurred(*soft.source, 2);
        expect_model(soft, HeatModel(soft.effect, *working));
        soft.effect.Blend.value = 100;
        EXPECT_TRUE(soft.shows_source());
    }
}

}  // namespace
