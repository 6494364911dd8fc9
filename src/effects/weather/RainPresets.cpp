// The presets of Q_Rain, and which controls go with which.
#include "effects/weather/Rain.h"

namespace {

// Values of the controls in the order of the columns below.
// clang-format off
constexpr PresetRow<51> PRESETS[] = {
    {"Default", {
        0,  100,  0.2, 0.8,  0.8, 0.8,  0.003,  40,  80,  20,  -5,  100,
        0,  10,  26,
        1,  1,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        100,  25,  100,  0,  0,  1, 1, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"Rain", {
        50,  280,  0, 1.04,  1, 1.04,  0.02,  20,  120,  800,  -1,  100,
        0,  10,  26,
        1,  1,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        1,  1.5, 0.58,  0.8, 0.4,  90.08,  2,
        80,  30,  100,  0,  0,  1, 1, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"Drizzle", {
        60,  70,  -0.05, 1.04,  1.05, 1.04,  0.02,  90,  400,  400,  -5,  100,
        0,  10,  26,
        1,  0.6,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        75,  70,  100,  0,  0,  0.9, 0.95, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"Squall", {
        60,  130,  -0.05, 1.04,  1.05, 1.04,  0.02,  240,  300,  300,  -5,  100,
        0,  10,  26,
        1,  1,  270,  1,  0.01,
        1,  4.4,  1.29,  0,
        1,  -0.3, 0.6,  0.7, 0.4,  90,  9,
        100,  60,  75,  0,  0,  0.88, 0.94, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"Sheet", {
        50,  140,  -0.05, 1.04,  1.05, 1.04,  0.02,  600,  250,  300,  -5,  100,
        0,  10,  26,
        1,  2,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        100,  60,  60,  0,  0,  0.86, 0.92, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"Light", {
        60,  120,  -0.05, 1.04,  1.05, 1.04,  0.02,  30,  400,  400,  -5,  100,
        0,  10,  26,
        1,  1,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        80,  70,  100,  0,  0,  0.9, 0.95, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"BounceA", {
        40,  120,  -0.05, 1.04,  1.05, 1.04,  0.02,  60,  200,  120,  -5,  100,
        1,  30,  26,
        1,  1,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        100,  25,  100,  0,  0,  1, 1, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"BounceB", {
        40,  120,  -0.05, 1.04,  1.05, 1.04,  0.02,  60,  200,  120,  -5,  100,
        1,  80,  3,
        1,  1,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        100,  25,  100,  0,  0,  1, 1, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"Movement", {
        40,  120,  -0.05, 1.04,  1.05, 1.04,  0.02,  120,  300,  300,  -5,  100,
        0,  10,  26,
        1,  1,  270,  1,  0.01,
        1,  10,  3,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        100,  60,  85,  0,  0,  0.9, 0.95, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
    {"Bouncing", {
        40,  100,  -0.05, 1.04,  1.05, 1.04,  0.02,  40,  200,  100,  -5,  100,
        1,  150,  26,
        1,  2,  270,  1,  0.01,
        0,  4.4,  1.29,  0,
        0,  0.2, 0.4,  0.8, 0.4,  90,  2,
        100,  25,  100,  0,  0,  1, 1, 1,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  60,  1, 1, 1,
    }},
};
// clang-format on

}  // namespace

std::vector<const char*> RainInfo::presetList() { return presetNames(PRESETS); }

RainInfo::RainInfo() {
    presets(Demos,
            {&PreRoll,      &StreakScale,     &Left,        &Right,        &PositionVar,   &Density,    &Lifetime,
             &Extinction,   &InitialVelocity, &VelocityVar, &PuddleBounce, &PuddleDamping, &Bounces,    &DoGravity,
             &Gravity,      &GravAngle,       &DoFriction,  &Friction,     &DoTurbulence,  &SwirlDens,  &SwirlAmp,
             &SwlMaxTim,    &DoWind,          &WindSource,  &WindTarget,   &WindSpread,    &WindSpeed,  &InitIntensity,
             &Condensation, &Opacity,         &ColourVar,   &MonoVar,      &RainColour,    &DoLight,    &LightSource,
             &LightTarget,  &GlistenTight,    &LightSpread, &LightInten,   &MinBright,     &LightColour},
            PRESETS, PresetScope::OthersToDefaults);
    ghost({&PuddleDamping, &Bounces}, PuddleBounce, isOff);
    ghost({&Gravity, &GravAngle}, DoGravity, isOff);
    ghost({&Friction}, DoFriction, isOff);
    ghost({&SwirlDens, &SwirlAmp, &SwlMaxTim}, DoTurbulence, isOff);
    ghost({&WindSource, &WindTarget, &WindSpread, &WindSpeed}, DoWind, isOff);
    ghost({&LightSource, &LightTarget, &GlistenTight, &LightSpread, &LightInten, &MinBright, &LightColour}, DoLight,
          isOff);
    scene.inputs = {"seeding-small.png", "@ramp", "@dots"};
    scene.settings = {{"Demos", "Squall"}};
}
