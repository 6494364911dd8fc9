// Fire and Candle: what begins a run anew, what burns, and that nothing breaks them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "effects/fluids/Candle.h"
#include "effects/fluids/Fire.h"
#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

constexpr int WIDTH = 70, HEIGHT = 45;

ImagePtr backdrop() { return noise(WIDTH, HEIGHT, 3, 0.0f, 0.3f); }
// A bright bar near the bottom.
ImagePtr bar(float level = 1.0f) {
    return picture(WIDTH, HEIGHT, [=](int x, int y, int) {
        return std::abs(x - WIDTH / 2) < 14 && std::abs(y - 9) < 3 ? level : 0.1f;
    });
}

struct Fires : EffectShot<Fire> {
    Fires() : EffectShot(backdrop()) { effect.fuel.image = bar(); }
    void frames(int first, int last) {
        for (int frame = first; frame <= last; ++frame) render(frame);
    }
};
struct Candles : EffectShot<Candle> {
    Candles() : EffectShot(backdrop()) {
        effect.Blurx.value = effect.Blury.value = 3.0;
        effect.CRadiusX.value = 0.2;
    }
};

bool all_finite(const K7Image& image) {
    const float* samples = image_row<float>(&image, 0);
    return std::all_of(samples, samples + 4 * image.width * image.height, [](float s) { return std::isfinite(s); });
}

// ---- Runs -----------------------------------------------------------------------------------------------------

TEST(Fire, BeginsAnewWhenAsked) {
    Fires fires;
    const ImagePtr first = fires.copy(7), second = fires.copy(8);
    EXPECT_FALSE(same_pixels(first.get(), second.get()));
    EXPECT_FALSE(same_pixels(second.get(), fires.copy(8).get())) << "a frame again is a step again";
    const auto begins = [&](double frame) { return same_pixels(first.get(), fires.copy(frame).get()); };
    EXPECT_FALSE(begins(20)) << "a gap is none";
    EXPECT_TRUE(begins(19));
    fires.effect.RestartCSecret.value += 1.0;
    EXPECT_TRUE(begins(20));
    fires.effect.MarkRestart();
    EXPECT_TRUE(begins(21));
    fires.effect.ViewThresh.value = true;  // the mark outlives a frame that takes no step
    fires.render(5);
    fires.effect.ViewThresh.value = false;
    EXPECT_TRUE(begins(6));
    EXPECT_FALSE(begins(7));
}

TEST(Fire, ColoursAreAdjustedOnTheFireAsItIs) {
    Fires fires;
    fires.frames(0, 4);
    fires.effect.AdjustColoursOnly.value = true;
    const ImagePtr held = fires.copy(5);
    EXPECT_TRUE(same_pixels(held.get(), fires.copy(2).get()));
    fires.effect.V6Col.green = 0.2f;
    fires.effect.Vhi.value = 250.0;
    EXPECT_FALSE(same_pixels(held.get(), fires.copy(2).get()));
}

TEST(Fire, RisesFromTheFuelAndStaysWithinBarriers) {
    Fires fires;
    fires.effect.MatteOut.value = true;
    fires.frames(0, 12);
    const auto rises = [&](int frame) {
        const K7Image& matte = fires.render(frame);
        double above = 0.0, below = 0.0;
        for (int x = WIDTH / 4; x < WIDTH * 3 / 4; ++x)
            for (int step = 5; step <= 9; ++step) {
                above += static_cast<double>(at(matte, x, 9 + step));
                below += static_cast<double>(at(matte, x, 9 - step));
            }
        return above > 10.0 * below + 10.0;
    };
    EXPECT_TRUE(rises(13));
    fires.effect.HeatUp.value = 3.0;
    fires.frames(14, 100);
    EXPECT_TRUE(rises(101)) << "also after long";
    // Everything solid: what burns stays where it is.
    fires.effect.UseBarriers.value = true;
    fires.effect.barrier.image = flat(WIDTH, HEIGHT, 1.0f);
    fires.frames(102, 108);
    EXPECT_EQ(at(fires.render(109), WIDTH / 2, 20, 3), 0.0f);
    EXPECT_GT(at(fires.render(110), WIDTH / 2, 9, 3), 0.5f);
}

TEST(Fire, OverBlackIsAsOverNothing) {
    Fires over, on_nothing;
    over.effect.OverBlack.value = true;
    on_nothing.source = flat(WIDTH, HEIGHT, 0.0f);
    for (int frame = 0; frame < 8; ++frame) {
        const ImagePtr black = over.copy(frame);
        EXPECT_EQ(difference(*black, on_nothing.render(frame)), 0.0) << frame;
    }
    over.effect.OverBlack.value = false;
    EXPECT_GT(difference(over.render(8), on_nothing.render(8)), 0.1);
}

// ---- Fuel -----------------------------------------------------------------------------------------------------

TEST(Fire, ThresholdIsShownUnlimitedButNoFuelIsNegative) {
    Fires fires;
    fires.effect.ViewThresh.value = true;
    const auto shows = [&](double threshold, float dark, float bright) {
        fires.effect.Thresh.value = threshold;
        const K7Image& image = fires.render();
        EXPECT_NEAR(at(image, 0, 0), dark, 1e-5f) << threshold;
        EXPECT_NEAR(at(image, WIDTH / 2, 9, 3), bright, 1e-5f) << threshold;
    };
    shows(0.0, 0.1f, 1.0f);
    EXPECT_TRUE(same_pixels(&fires.render(), fires.effect.fuel.image.get()));
    shows(0.5, -0.8f, 1.0f);
    shows(0.9999, 0.0f, 0.0f);
    fires.effect.ViewThresh.value = false;
    fires.effect.Thresh.value = 0.5;
    fires.effect.fuel.image = bar(0.4f);  // all below the threshold
    fires.frames(0, 5);
    EXPECT_TRUE(fires.shows_source(6));
    fires.effect.fuel.image = bar();
    EXPECT_FALSE(fires.shows_source(7)) << "the dark has frozen nothing";
}

TEST(Candle, ShapeBurnsHoweverSmallAndNothingAtAll) {
    Candles candles;
    candles.effect.ViewThresh.value = Candle::ViewThreshold;
    candles.effect.Thresh.value = candles.effect.Soften.value = 0.0;
    candles.effect.Centre.x = candles.effect.Centre.y = 0.5;
    const auto area = [&] {
        double sum = 0.0;
        const K7Image& image = candles.render();
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) sum += static_cast<double>(at(image, x, y, 2));
        return sum;
    };
    constexpr double PI = 3.14159265;
    EXPECT_NEAR(area(), PI * 7.0 * 5.25, 5.0);
    candles.effect.MatchRadius.value = true;
    EXPECT_NEAR(area(), PI * 7.0 * 7.0, 5.0);
    candles.effect.CRadiusX.value = 0.01;
    EXPECT_LT(area(), 3.0);

    candles.effect.ViewThresh.value = Candle::ViewCandle;
    candles.effect.Thresh.value = 1.0;
    candles.effect.TempAdd.value = 0.0;
    for (int background : {Candle::Clip, Candle::Transparent}) {
        candles.effect.OverBlack.value = background;
        EXPECT_EQ(candles.shows_source(1), background == Candle::Clip);
    }
    EXPECT_EQ(difference(candles.render(2), *flat(WIDTH, HEIGHT, 0.0f)), 0.0);
}

// ---- Pictures -------------------------------------------------------------------------------------------------

// The ramp against its definition, also with knots out of order.
TEST(FluidColours, RampTakesTheFirstKnotAbove) {
    FluidRamp ramp;
    ramp.count = 5;
    const float positions[] = {0.1f, 0.8f, 0.4f, 0.4f, 1.2f};
    for (int k = 0; k < 5; ++k)
        ramp.knots[k] = {positions[k], {0.1f * float(k), float(k * k), 1.0f / float(k + 1), 0.2f * float(k)}};
    ramp.alpha_of_ramp = true;
    ScalarField field(FLUID_BOUNDED, 37, 3);
    for (int i = 0; i < 37; ++i) field.data[field.index(1 + i, 2)] = -0.31f + 0.05f * float(i);
    const ImagePtr image = make_image(37, 3, 4, SAMPLE_F32);
    ASSERT_TRUE(render_fields(field, field, *image, 0.0f, 1.0f, ramp, 0.0f, 1.0f));
    for (int i = 0; i < 37; ++i)
        for (int c = 0; c < 4; ++c) {
            const float place = std::max(-0.31f + 0.05f * float(i), 0.0f);
            int k = 0;
            while (k < 4 && !(place < positions[k + 1])) ++k;
            const auto &from = ramp.knots[k], &to = ramp.knots[std::min(k + 1, 4)];
            const float part =
                k == 4 || place < positions[0] ? 0.0f : (place - from.position) / (to.position - from.position);
            EXPECT_NEAR(at(*image, i, 1, c), from.colour[c] + part * (to.colour[c] - from.colour[c]), 1e-5f) << place;
        }
}

TEST(Candle, PartsAddUp) {
    Candles candles;
    candles.effect.MatteOut.value = true;
    const ImagePtr matte = candles.copy(0);
    EXPECT_GT(difference(*matte, *flat(WIDTH, HEIGHT, 0.0f), 0), 0.3);
    const auto seen = [&](int what, int background) {
        candles.effect.SeeWhat.value = what;
        candles.effect.OverBlack.value = background;
        return candles.copy(0);
    };
    candles.effect.MatteOut.value = false;
    const auto again = [&](auto&&... arguments) {  // each picture is that of a first frame
        candles.effect.MarkRestart();
        return seen(arguments...);
    };
    const ImagePtr flame = again(Candle::CandleOnly, Candle::Transparent);
    EXPECT_EQ(difference(*flame, *matte, 3), 0.0);
    candles.effect.Bbright.value = 0.0;
    const ImagePtr over = again(Candle::CandleOnly, Candle::Clip), all = again(Candle::All, Candle::Clip);
    EXPECT_TRUE(same_pixels(over.get(), all.get())) << "without glow";
    EXPECT_TRUE(same_pixels(again(Candle::BackgroundOnly, Candle::Clip).get(), candles.source.get()));
    candles.effect.CandleDensity.value = 0.0;
    EXPECT_TRUE(same_pixels(again(Candle::All, Candle::Clip).get(), candles.source.get()));
}

// ---- Everything at once ---------------------------------------------------------------------------------------

TEST(FluidEffects, SameBitsEverywhere) {
    same_bits_everywhere([] {
        Fires fires;
        Fire& effect = fires.effect;
        effect.VCFS.value = 2.0, effect.HeatUp.value = 5.0;
        effect.windA.on.value = effect.vortexB.on.value = effect.UseBarriers.value = true;
        effect.barrier.image = picture(WIDTH, HEIGHT, [](int x, int y, int) { return x < 20 && y > 20 ? 1.0f : 0.0f; });
        effect.BoundaryLayer.value = 2;
        fires.frames(0, 2);
        return fires.copy(3);
    });
    same_bits_everywhere([] {
        Candles candles;
        candles.effect.ColourBias.value = 3.0;
        candles.effect.OverBlack.value = Candle::Illuminated;
        candles.effect.wind.on.value = candles.effect.AutoGutter.value = true;
        for (int frame = 0; frame < 3; ++frame) candles.render(frame);
        return candles.copy(3);
    });
}

template <class Shot>
void expect_finite_pictures(Shot shot, double value) {
    for (ControlK7* control : shot.effect.controls()) {
        const double values[] = {value, value, value};
        if (!dynamic_cast<ListControlK7*>(control) && !dynamic_cast<IntegerControlK7*>(control))
            set_control(*control, values);
    }
    for (int frame = 0; frame < 3; ++frame) EXPECT_TRUE(all_finite(shot.render(frame))) << value << " " << frame;
}

TEST(FluidEffects, HostileValuesGiveNumbers) {
    for (const double value : {1e12, -1e12, 0.0}) {
        expect_finite_pictures(Fires(), value);
        expect_finite_pictures(Candles(), value);
    }
}

TEST(FluidEffects, ButtonsCountAndReset) {
    support::RecordingHost host;
    for (const char* name : {"Q_Fire", "Q_Candle"}) {
        support::TestEffect& effect = host.effect(name);
        const char* colour = name == std::string("Q_Fire") ? "Vhi" : "GasThin";
        effect.set("RestartASecret", 9998.0);
        effect.set(colour, 0.75);
        for (const double counted : {9999.0, 0.0, 1.0}) {
            effect.press("Restart");
            EXPECT_EQ(effect.param("RestartASecret").value().numbers[0], counted) << name;
        }
        EXPECT_EQ(effect.param(colour).value().numbers[0], 0.75);
        effect.press("ResetColours");
        EXPECT_EQ(effect.param(colour).value().numbers[0], colour == std::string("Vhi") ? 100.0 : 0.5);
        EXPECT_EQ(effect.param("ResetColsSecret").value().numbers[0], 1.0);
        EXPECT_EQ(effect.param("Restart").properties().getString(ofx::prop::ParamParent),
                  effect.param("DemosA").properties().getString(ofx::prop::ParamParent));
    }
    EXPECT_EQ(host.faults(), "");
}

}  // namespace
