// What holds for Snow, Rain, Smoke and Bubbles alike.
#include <gtest/gtest.h>

#include <string_view>

#include <algorithm>
#include <limits>

#include "effects/weather/Bubbles.h"
#include "effects/weather/Rain.h"
#include "effects/weather/Smoke.h"
#include "effects/weather/Snow.h"
#include "effects/weather/weather_support.h"
#include "k7pi_baselib/cpu.h"
#include "support/row_threads.h"

namespace {

using namespace weather_test;

ControlK7* findControl(const EffectInfo& info, std::string_view name) {
    for (ControlK7* control : info.controls())
        if (name == control->name()) return control;
    return nullptr;
}

void setIfThere(const EffectInfo& info, const char* name, double value) {
    if (ControlK7* control = findControl(info, name)) apply(control, &value);
}

// A preset with what costs time held down, and what draws random numbers or reads mattes switched on.
template <class EffectClass>
struct Busy : Shot<EffectClass> {
    explicit Busy(int preset, int width = 96, int height = 64) : Shot<EffectClass>(preset, width, height) {
        EffectClass& e = this->effect;
        e.emitter.density.value = std::min(e.emitter.density.value, 60.0);
        e.start.preRoll.value = std::min(e.start.preRoll.value, 60);
        for (const char* name : {"BubblesBurst", "PuddleBounce", "DoGlint"}) setIfThere(e, name, 1);
        if (preset % 2 == 1) setIfThere(e, "ShutterTime", 80);
        if (const auto* looks = dynamic_cast<ListControlK7*>(findControl(e, "LookMode")))
            setIfThere(e, "LookMode", preset % static_cast<int>(looks->choices().size()));
        for (std::size_t clip = 1; clip < e.inputs().size(); ++clip) {
            ImagePtr matte = make_image(width, height, 4, SAMPLE_F32);
            for (int y = 0; y < height; ++y) std::fill_n(image_row<float>(matte.get(), y), 2 * width, 1.0f);
            e.inputs()[clip]->image = std::move(matte);
        }
    }
};

template <class EffectClass>
struct Weather : testing::Test {};
using All = testing::Types<Snow, Rain, Smoke, Bubbles>;
TYPED_TEST_SUITE(Weather, All);

TYPED_TEST(Weather, EveryPresetIsTheSameInEveryOrderOfFrames) {
    for (int preset = 0; preset < presetCount<TypeParam>(); ++preset) {
        const auto alone = [&](int frame) { return Busy<TypeParam>(preset).render(frame); };
        Busy<TypeParam> sequence(preset);
        ImagePtr last;
        for (int frame = 0; frame <= 9; ++frame) last = sequence.render(frame);
        EXPECT_TRUE(same_pixels(last.get(), alone(9).get())) << preset;
        EXPECT_FALSE(same_pixels(last.get(), sequence.plate.get())) << preset;
        const ImagePtr sixth = alone(6);
        EXPECT_TRUE(same_pixels(sequence.render(6).get(), sixth.get())) << preset << ", back";
        EXPECT_TRUE(same_pixels(sequence.render(6).get(), sixth.get())) << preset << ", once more";
        EXPECT_TRUE(same_pixels(sequence.render(7).get(), alone(7).get())) << preset << ", on";
        EXPECT_TRUE(same_pixels(sequence.render(25).get(), alone(25).get())) << preset << ", far on";
    }
}

// Phases over all particles, on threads and vector units, against the set's own walk one particle at a time.
TYPED_TEST(Weather, PhasesAreTheWalkToTheBit) {
    for (int preset = 0; preset < presetCount<TypeParam>(); ++preset) {
        const auto render = [&](bool one_by_one, int threads, CpuLevel level) {
            set_cpu_level_limit(level);
            const RowThreads rows(threads);
            Busy<TypeParam> shot(preset);
            shot.effect.emitter.density.value = 300, shot.effect.start.preRoll.value = 8;  // several blocks
            shot.effect.walksOneByOne = one_by_one;
            shot.render(0);
            return shot.render(1);
        };
        const ImagePtr expected = render(true, 1, CpuLevel::baseline);
        EXPECT_TRUE(same_pixels(render(false, 3, CpuLevel::avx2).get(), expected.get())) << preset;
        EXPECT_TRUE(same_pixels(render(false, 2, CpuLevel::avx512).get(), expected.get())) << preset;
    }
    set_cpu_level_limit(CpuLevel::avx512);
}

// One number after another beyond all bounds.
TYPED_TEST(Weather, SurvivesHostileParameters) {
    const double bad[] = {-1e12, 1e12, 0};
    for (std::size_t n = 0; n < TypeParam().controls().size(); ++n)
        for (const double value : bad) {
            const int side = n % 2 == 0 ? 17 : 1;
            Busy<TypeParam> shot(static_cast<int>(n) % presetCount<TypeParam>(), side + 7, side);
            TypeParam& effect = shot.effect;
            effect.start.preRoll.value = 5;
            ControlK7* control = effect.controls()[n];
            if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            if (auto* point = dynamic_cast<PositionControlK7*>(control)) point->x = value, point->y = -value;
            if (auto* colour = dynamic_cast<ColourControlK7*>(control)) colour->red = static_cast<float>(value);
            effect.emitter.density.value =
                std::clamp(effect.emitter.density.value, 0.0, 100.0);  // a million takes time
            shot.render(3);
            shot.render(4);
        }
}

}  // namespace
