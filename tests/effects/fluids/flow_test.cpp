// ClipFlow, ImageFlow and TransFlow: what moves, what does not, and how a transition begins and ends.
#include <gtest/gtest.h>

#include <cmath>

#include "effects/fluids/ClipFlow.h"
#include "effects/fluids/ImageFlow.h"
#include "effects/fluids/TransFlow.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr int WIDTH = 60, HEIGHT = 40;

// Blobs, so that something weighs more than something else.
ImagePtr blobs(float turn = 0) {
    return picture(WIDTH, HEIGHT, [=](int x, int y, int c) {
        return c == 3 ? 1.0F : 0.5F + 0.5F * std::sin(float(x) * 0.2F + turn) * std::cos(float(y) * 0.15F + float(c));
    });
}

template <class EffectClass>
ImagePtr after(EffectShot<EffectClass>& shot, int last) {
    for (int frame = 0; frame < last; ++frame) shot.render(frame);
    return shot.copy(last);
}
template <class EffectClass, class Set>
ImagePtr shown(int last, Set set) {
    EffectShot<EffectClass> shot(blobs());
    set(shot.effect);
    return after(shot, last);
}

TEST(Flow, SameBitsEverywhere) {
    const auto stir = [](auto& effect) {
        effect.forces.EachRandom.value = 0.5;
        effect.fluid.VCFS.value = 0.5;
        effect.stirring.windA.on.value = effect.stirring.vortexB.on.value = effect.boxB.on.value = true;
        effect.gravity.UseGravity.value = true;
    };
    same_bits_everywhere([&] { return shown<ClipFlow>(6, stir); });
    same_bits_everywhere([&] {
        return shown<ImageFlow>(6, [&](ImageFlow& effect) {
            stir(effect);
            effect.UseDiff.value = effect.UseDiss.value = effect.UseBarriers.value = true;
            effect.SourceMode.value = effect.SinkMode.value = ImageFlow::SelfSource;
        });
    });
    same_bits_everywhere([&] { return shown<TransFlow>(6, stir); });
}

TEST(Flow, WhatMovesAndWhatDoesNot) {
    const auto still = [](ClipFlow& effect) { effect.forces.BuoyMode.value = 1; };
    const ImagePtr rest = shown<ClipFlow>(4, still), source = blobs();
    EXPECT_LT(difference(*rest, *source), 0.02);
    const auto same_as_rest = [&](auto set) {
        const ImagePtr image = shown<ClipFlow>(4, [&](ClipFlow& effect) {
            still(effect);
            set(effect);
        });
        return same_pixels(image.get(), rest.get());
    };
    EXPECT_TRUE(same_as_rest([](ClipFlow& effect) {
        effect.boxA.on.value = true;
        effect.boxA.speed.value = 0;
    }));
    EXPECT_TRUE(same_as_rest([](ClipFlow& effect) { effect.forces.KInertial.value = 20; })) << "nothing stirs";
    EXPECT_FALSE(same_as_rest([](ClipFlow& effect) { effect.boxA.on.value = true; }));
    EXPECT_FALSE(same_as_rest([](ClipFlow& effect) { effect.gravity.UseGravity.value = true; }));
    for (int mode = 2; mode <= 5; ++mode)
        EXPECT_FALSE(same_as_rest([&](ClipFlow& effect) {
            effect.forces.BuoyMode.value = mode;
            effect.forces.PressureForce.value = 0.5;
        })) << mode;

    const auto eddies = [](double count) {
        return shown<ClipFlow>(3, [&](ClipFlow& effect) {
            effect.forces.EachRandom.value = 1;
            effect.forces.KInertial.value = count;
        });
    };
    EXPECT_TRUE(same_pixels(eddies(0.5).get(), eddies(2).get()));
    EXPECT_FALSE(same_pixels(eddies(9).get(), eddies(2).get()));
}

// Bright parts sink where the control is above 0, and rise below it.
TEST(Flow, BrightPartsSinkOrRise) {
    const auto height_of_light = [](double rise) {
        EffectShot<ClipFlow> shot(picture(WIDTH, HEIGHT, [](int x, int y, int) {
            return std::abs(x - 30) < 8 && std::abs(y - 20) < 6 ? 1.0F : 0.0F;
        }));
        shot.effect.forces.RiseFall.value = rise;
        const ImagePtr image = after(shot, 12);
        double sum = 0, weighted = 0;
        for (int y = 0; y < HEIGHT; ++y) sum += at(*image, 30, y), weighted += at(*image, 30, y) * double(y);
        return weighted / sum;
    };
    EXPECT_LT(height_of_light(5), 17);
    EXPECT_GT(height_of_light(-5), 23);
    EXPECT_NEAR(height_of_light(0), 20, 0.3);
}

TEST(ImageFlow, SettlesAndWellsUp) {
    const auto moved = [](auto set) {
        const ImagePtr image = shown<ImageFlow>(20, [&](ImageFlow& effect) {
            effect.forces.RiseFall.value = 8;
            effect.fluid.NetForce.value = true;
            set(effect);
        });
        double sum = 0;
        const ImagePtr source = blobs();
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) sum += std::fabs(at(*image, x, y) - at(*source, x, y));
        return sum;
    };
    const double free = moved([](ImageFlow&) {});
    const auto settling = [&](double percent) {
        return moved([=](ImageFlow& effect) {
            effect.UseDiss.value = true;
            effect.DissFrames.value = 2;
            effect.DissPercent.value = percent;
        });
    };
    EXPECT_NEAR(settling(100), free, 1e-3 * free);
    EXPECT_LT(settling(10), 0.5 * free);
    EXPECT_LT(moved([](ImageFlow& effect) {
                  effect.SourceMode.value = ImageFlow::SelfSource;
                  effect.SourceStrength.value = 10;
              }),
              0.8 * free);
    EXPECT_NE(moved([](ImageFlow& effect) { effect.SinkMode.value = ImageFlow::SelfSource; }), free);
}

TEST(Flow, BeginsAnewWhenAsked) {
    EffectShot<ClipFlow> shot(blobs());
    const ImagePtr first = shot.copy(5);
    const auto begins = [&](double frame) { return same_pixels(first.get(), shot.copy(frame).get()); };
    EXPECT_FALSE(begins(6));
    EXPECT_TRUE(begins(5));
    shot.effect.HiRes.value = true;
    shot.render(6);
    shot.effect.HiRes.value = false;
    EXPECT_TRUE(begins(7));
    shot.effect.outputs.RestartP.value = true;
    EXPECT_TRUE(begins(8));
    EXPECT_FALSE(begins(9));
    shot.effect.stirring.vortexA.centre.x += 0.01;  // a vortex that is off
    EXPECT_TRUE(begins(10));
    shot.effect.MarkRestart();
    EXPECT_TRUE(begins(11));
}

TEST(TransFlow, IsFromBeforeAndToAfter) {
    EffectShot<TransFlow> shot(blobs());
    const ImagePtr from = blobs(), to = blobs(2);
    shot.effect.TransStart.value = 3;
    shot.effect.TransLength.value = 12;
    double before = 0;
    for (int frame = 0; frame <= 17; ++frame) {
        shot.effect.to.image = blobs(2);
        const K7Image& result = shot.render(frame);
        const double coming = 1 - difference(result, *to) / difference(*from, *to);
        EXPECT_EQ(same_pixels(&result, from.get()), frame <= 3) << frame;
        EXPECT_EQ(same_pixels(&result, to.get()), frame >= 15) << frame;
        if (frame == 4 || frame == 15) {
            EXPECT_NEAR(coming, before, 0.15) << "no jump at the ends";
        }
        before = coming;
    }
    for (const double fade : {0.0, 5.0, 200.0}) {
        EXPECT_EQ(transition_mix(0, 50, fade), 0);
        EXPECT_EQ(transition_mix(50, 50, fade), 1);
        EXPECT_DOUBLE_EQ(transition_mix(25, 50, fade), 0.5);
        for (int n = 1; n <= 50; ++n) EXPECT_GT(transition_mix(n, 50, fade), transition_mix(n - 1, 50, fade));
    }
    EXPECT_LT(transition_mix(1, 50, 10), 0.001);
}

TEST(Flow, EveryOutputModeOfHostileValuesIsFinite) {
    for (const double hostile : {-1e12, 0.0, 1e12})
        for (int mode = FlowResult; mode <= FlowBarriers; ++mode) {
            const ImagePtr image = shown<ImageFlow>(3, [&](ImageFlow& effect) {
                for (ControlK7* control : effect.controls()) {
                    const double values[] = {hostile, -hostile, 0};
                    if (dynamic_cast<FloatControlK7*>(control) || dynamic_cast<PositionControlK7*>(control))
                        set_control(*control, values);
                    if (auto* box = dynamic_cast<CheckboxControlK7*>(control)) box->value = true;
                }
                effect.outputs.OutputMode.value = mode;
            });
            bool finite = true;
            for (int y = 0; y < HEIGHT; ++y)
                for (int x = 0; x < 4 * WIDTH; ++x)
                    finite = finite && std::isfinite(image_row<float>(image.get(), y)[x]);
            EXPECT_TRUE(finite) << hostile << " " << mode;
        }
}

}  // namespace
