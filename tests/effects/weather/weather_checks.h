// What every weather effect must stand.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "effects/weather/weather_support.h"

namespace weather_test {

// Frames of every preset, each the same whatever was rendered before it. Setup changes the effect of each shot.
template <class EffectClass, class Setup>
void expectSameAloneAndInSequence(Setup setup) {
    for (int preset = 0; preset < presetCount<EffectClass>(); ++preset) {
        const auto alone = [&](int frame) {
            Shot<EffectClass> shot(preset);
            setup(shot.effect);
            return shot.render(frame);
        };
        Shot<EffectClass> sequence(preset);
        setup(sequence.effect);
        ImagePtr last;
        for (int frame = 0; frame <= 9; ++frame) last = sequence.render(frame);
        EXPECT_TRUE(same_pixels(last.get(), alone(9).get())) << preset;
        EXPECT_FALSE(same_pixels(last.get(), sequence.plate.get())) << preset;
        EXPECT_TRUE(same_pixels(sequence.render(6).get(), alone(6).get())) << preset << ", back";
        EXPECT_TRUE(same_pixels(sequence.render(25).get(), alone(25).get())) << preset << ", far on";
    }
}

// One number after another beyond all bounds, on a picture of that size.
template <class EffectClass>
void renderHostile(int width, int height) {
    const double bad[] = {
        std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), -1e300, 1e300, 0, -1};
    for (std::size_t n = 0; n < EffectClass().controls().size(); ++n)
        for (const double value : bad) {
            Shot<EffectClass> shot(static_cast<int>(n) % presetCount<EffectClass>(), width, height);
            EffectClass& effect = shot.effect;
            effect.start.preRoll.value = 5;
            effect.emitter.density.value = 30;
            ControlK7* control = effect.controls()[n];
            if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            if (auto* point = dynamic_cast<PositionControlK7*>(control)) point->x = value, point->y = -value;
            if (auto* colour = dynamic_cast<ColourControlK7*>(control)) colour->red = static_cast<float>(value);
            effect.emitter.density.value = std::clamp(effect.emitter.density.value, 0.0, 100.0);  // a million births take their time
            shot.render(3);
            shot.render(4);
        }
}

}  // namespace weather_test
