// InfraRed and Thermo against slow pictures made from their definitions, pixel by pixel.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include "effects/night/InfraRed.h"
#include "effects/night/Thermo.h"
#include "imagelib/imagelib_blur.h"
#include "night_support.h"

namespace {

constexpr int WIDTHS[] = {1, 2, 3, 5, 15, 16, 17, 33, 70};  // around the lengths of vectors
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

template <class EffectClass>
struct Rendered {
    EffectClass effect;
    explicit Rendered(ImagePtr picture) {
        effect.output.image.reset(image_clone_layout(picture.get()));
        image_copy_attributes(picture.get(), effect.output.image.get());
        for (ClipRecord* clip : effect.inputs()) clip->image.reset(image_duplicate(picture.get()));
        source = effect.inputs().front()->image.get();
    }
    K7Image& result() { return *effect.output.image; }
    void check(double tolerance, const std::function<void(int x, int y, float* rgb)>& model) {
        expect_same_bits_everywhere(result(), [&] { effect.ProcessFrame(); });
        for (int y = 0; y < source->height; ++y)
            for (int x = 0; x < source->width; ++x) {
                float rgb[3];
                model(x, y, rgb);
                for (int c = 0; c < 3; ++c) ASSERT_NEAR(at(result(), x, y, c), rgb[c], tolerance) << x << ", " << y;
                ASSERT_EQ(at(result(), x, y, 3), at(*source, x, y, 3)) << x << ", " << y;
            }
    }
    const K7Image* source;
};

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
        Rendered<InfraRed> sharp(noise_image(width, 21, 4, SAMPLE_F32, 3, -0.3f, 1.4f));
        sharp.effect.Soften.value = false;
        sharp.check(2e-6, FilmModel(sharp.effect, *sharp.source, *sharp.source));

        Rendered<InfraRed> soft(noise_image(width, 21, 4, SAMPLE_F32, 4));
        soft.effect.Softening.value = 25;
        soft.effect.output.image->unit_scale = soft.effect.infraRed.image->unit_scale = 2;
        const ImagePtr working = blurred(*soft.source, 1.25f);
        soft.check(2e-6, FilmModel(soft.effect, *soft.source, *working));
    }
}

TEST(InfraRed, RedWinsATieWithGreenAndGreenWithBlue) {
    ImagePtr picture = make_image(3, 1, 4, SAMPLE_F32);
    const float pixels[] = {0.6f, 0.6f, 0.1f, 1, 0.2f, 0.7f, 0.7f, 1, 0.3f, 0.3f, 0.9f, 1};
    std::copy(std::begin(pixels), std::end(pixels), image_row<float>(picture.get(), 0));
    Rendered<InfraRed> look(std::move(picture));
    const ImagePtr working = blurred(*look.source, 0.8f);
    look.effect.ProcessFrame();
    const std::vector<float> red = tabulated(look.effect.red, 4096);
    for (int x = 0; x < 3; ++x) {
        const float v = at(*working, x, 0, x) * 4095;
        EXPECT_NEAR(at(look.result(), x, 0, 0), red[std::size_t(v)], 1e-3) << x;
    }
}

TEST(InfraRed, MixesTheBackgroundAndTurnsGrey) {
    Rendered<InfraRed> look(noise_image(40, 12, 4, SAMPLE_F32, 5));
    look.effect.BW.value = true;
    look.effect.ProcessFrame();
    const ImagePtr grey(image_duplicate(&look.result()));
    for (int x = 0; x < 40; ++x) EXPECT_EQ(at(*grey, x, 3, 0), at(*grey, x, 3, 2));

    look.effect.infraRed.image = noise_image(40, 12, 4, SAMPLE_F32, 6);
    look.effect.ProcessFrame();
    const ImagePtr other(image_duplicate(&look.result()));
    EXPECT_GT(difference(*grey, *other), 0.05);
    look.effect.Blend.value = 30;
    look.effect.ProcessFrame();
    for (int i = 0; i < 160; ++i)
        EXPECT_NEAR(image_row<float>(&look.result(), 5)[i],
                    0.7f * image_row<float>(other.get(), 5)[i] + 0.3f * image_row<float>(look.source, 5)[i], 1e-6);
    look.effect.Blend.value = 100;
    look.effect.ProcessFrame();
    EXPECT_TRUE(same_pixels(&look.result(), look.source));
}

// ---- Thermo ---------------------------------------------------------------------------------------------------

// Hue, saturation 1 and value, by the six sectors.
void colour_of(double hue, double value, float* rgb) {
    const double f = hue / 60 - int(hue / 60), up = value * f, down = value * (1 - f);
    const double sectors[5][3] = {{value, up, 0}, {down, value, 0}, {0, value, up}, {0, down, value}, {up, 0, value}};
    for (int c = 0; c < 3; ++c) rgb[c] = float(sectors[int(hue / 60)][c]);
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
        const float light = limited(float(luminance(m_working, x, y)) * boost);
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
        Rendered<Thermo> sharp(noise_image(width, 21, 4, SAMPLE_F32, 7, -0.2f, 1.3f));
        sharp.effect.Soften.value = false;
        sharp.effect.LuminanceBoost.value = 120;
        for (const double gamma : {1.0, 0.45, 2.2, 0.0}) {
            sharp.effect.Gamma.value = gamma;
            sharp.effect.intensity.points[1].y = gamma / 4;
            sharp.check(2e-6, HeatModel(sharp.effect, *sharp.source));
        }
        Rendered<Thermo> soft(noise_image(width, 21, 4, SAMPLE_F32, 8));
        const ImagePtr working = blurred(*soft.source, 2);
        soft.check(2e-6, HeatModel(soft.effect, *working));
    }
}

TEST(Thermo, ColdIsBlueAndHotIsRed) {
    Rendered<Thermo> look(noise_image(9, 1, 4, SAMPLE_F32));
    for (int x = 0; x < 9; ++x)
        for (int c = 0; c < 3; ++c) image_row<float>(look.effect.input.image.get(), 0)[4 * x + c] = float(x) / 8;
    look.effect.Soften.value = false;
    look.effect.ProcessFrame();
    EXPECT_NEAR(at(look.result(), 0, 0, 2), 0.9f, 0.02);
    EXPECT_LT(at(look.result(), 0, 0, 0), 0.02f);
    EXPECT_NEAR(at(look.result(), 8, 0, 0), 0.9f, 0.02);
    EXPECT_LT(at(look.result(), 8, 0, 2), 0.02f);
    EXPECT_NEAR(at(look.result(), 4, 0, 1), 0.9f, 0.02);
    look.effect.Blend.value = 100;
    look.effect.ProcessFrame();
    EXPECT_TRUE(same_pixels(&look.result(), look.source));
}

// ---- Both -----------------------------------------------------------------------------------------------------

template <class EffectClass>
void expect_sound_pictures_of(EffectClass& effect, const K7Image& result) {
    for (const double value : {1e30, -1e30, -5.0}) {
        SCOPED_TRACE(value);
        for (ControlK7* control : effect.controls()) {
            if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            if (auto* point = dynamic_cast<PositionControlK7*>(control)) point->x = point->y = value;
        }
        effect.Blend.value = 0;
        effect.ProcessFrame();
        for (int i = 0; i < 4 * result.width; ++i) {
            if (i % 4 == 3) continue;
            const float sample = image_row<float>(&result, 2)[i];
            ASSERT_TRUE(sample >= 0 && sample <= 1) << i << ": " << sample;
        }
    }
}

TEST(NightLooks, HostileValuesAndSamplesGiveAPictureInRange) {
    const auto hostile = [] {
        ImagePtr picture = noise_image(37, 6, 4, SAMPLE_F32, 9);
        const float samples[] = {NOT_A_NUMBER, INFINITY, -INFINITY, 1e38f, -1e38f, 0.5f, NOT_A_NUMBER, 1e30f};
        std::copy(std::begin(samples), std::end(samples), image_row<float>(picture.get(), 2));
        return picture;
    };
    Rendered<InfraRed> infra_red(hostile());
    expect_sound_pictures_of(infra_red.effect, infra_red.result());
    Rendered<Thermo> thermo(hostile());
    expect_sound_pictures_of(thermo.effect, thermo.result());
}

}  // namespace
