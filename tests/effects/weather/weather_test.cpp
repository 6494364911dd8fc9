// What holds for Snow, Rain, Smoke and Bubbles alike.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "effects/weather/Bubbles.h"
#include "effects/weather/Rain.h"
#include "effects/weather/Smoke.h"
#include "effects/weather/Snow.h"
#include "effects/weather/weather_support.h"
#include "simdlib/cpu.h"
#include "support/row_threads.h"

namespace {

using namespace weather_test;

ControlK7* findControl(const EffectInfo& info, std::string_view name) {
    for (ControlK7* control : info.controls())
        if (name == control->name()) return control;
    return nullptr;
}

void setIfThere(const EffectInfo& info, const char* name, double value) {
    if (ControlK7* control = findControl(info, name)) set_control(*control, &value);
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
        for (std::size_t clip = 1; clip < e.inputs().size(); ++clip)
            e.inputs()[clip]->image = matte(width, height, 0, 0, 0.5, 1);
    }
};

template <class EffectClass>
struct Weather : testing::Test {};
using All = testing::Types<Snow, Rain, Smoke, Bubbles>;
TYPED_TEST_SUITE(Weather, All);

TYPED_TEST(Weather, EveryPresetIsTheSameInEveryOrderOfFrames) {
    for (int preset = 0; preset < Shot<TypeParam>::preset_count(); ++preset) {
        const auto alone = [&](int frame) { return Busy<TypeParam>(preset).render(frame); };
        Busy<TypeParam> sequence(preset);
        ImagePtr last;
        for (int frame = 0; frame <= 9; ++frame) last = sequence.render(frame);
        EXPECT_TRUE(same_pixels(last.get(), alone(9).get())) << preset;
        EXPECT_FALSE(same_pixels(last.get(), sequence.source.get())) << preset;
        const ImagePtr sixth = alone(6);
        EXPECT_TRUE(same_pixels(sequence.render(6).get(), sixth.get())) << preset << ", back";
        EXPECT_TRUE(same_pixels(sequence.render(6).get(), sixth.get())) << preset << ", once more";
        EXPECT_TRUE(same_pixels(sequence.render(7).get(), alone(7).get())) << preset << ", on";
        EXPECT_TRUE(same_pixels(sequence.render(25).get(), alone(25).get())) << preset << ", far on";
    }
}

// Phases over all particles, on threads and vector units, against the set's own walk one particle at a time.
TYPED_TEST(Weather, PhasesAreTheWalkToTheBit) {
    for (int preset = 0; preset < Shot<TypeParam>::preset_count(); ++preset) {
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

template <class EffectClass>
struct ByMatte : testing::Test {};
using Born = testing::Types<Rain, Smoke, Bubbles>;
TYPED_TEST_SUITE(ByMatte, Born);

TYPED_TEST(ByMatte, ParticlesAreBornWhereItIsWhite) {
    Shot<TypeParam> shot(0, 200, 120);
    TypeParam& effect = shot.effect;
    effect.turbulence.on.value = false;
    effect.BlackBG.value = true, effect.UseBirthMatte.value = true;
    effect.emitter.density.value = 100, effect.emitter.spread.value = 0.1;
    effect.emitter.left.x = 0.02, effect.emitter.right.x = 0.98;
    effect.emitter.left.y = effect.emitter.right.y = 0.5;
    effect.birth.image = matte(200, 120, 0.6, 0, 1, 1);
    const ImagePtr image = shot.render(6);
    EXPECT_EQ(light_in(image.get(), 0, 0, 0.5, 1), 0);
    EXPECT_GT(light_in(image.get(), 0.6, 0, 1, 1), 1);
    EXPECT_GT(effect.liveParticles(), 200) << "what misses the matte is tried again";
    effect.birth.image = matte(200, 120, 0, 0, 0, 0);  // nowhere: the tries end
    EXPECT_GT(light_in(shot.render(7).get()), 0) << "what was born lives on";
    EXPECT_EQ(light_in(shot.render(6).get()), 0);
}

}  // namespace
