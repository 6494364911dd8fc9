// The presets of Q_Snow, and which controls go with which.
#include "effects/weather/Snow.h"

namespace {

// Values of the controls in the order of the columns below. Choices count from 0.
// clang-format off
constexpr PresetRow<51> PRESETS[] = {
    {"Default", {
        0,  0.2, 0.8,  0.8, 0.8,  0.02,  20,  200,  -30,  50,
        2,  4,  100,  0,  0,  1,
        1,  0.2,  270,  1,  0.05,
        0,  0.2, 0.4,  0.8, 0.4,  0,  10,  5,
        1,  60,  1,  0,
        0,  0,  1, 1, 1,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Blizzard", {
        100,  -0.12, 1.05,  1.01, 1.05,  0.02,  120,  200,  0,  0,
        2,  2.2,  100,  1,  0,  10,
        1,  0.048,  270,  1,  0.09,
        1,  -0.1, 0.5,  1.1, 0.4,  0,  80,  26,
        1,  26,  10,  0,
        0,  0,  1, 1, 1,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Fine", {
        240,  -0.01, 1.05,  1.01, 1.05,  0.02,  80,  300,  0,  100,
        2,  1.5,  100,  0,  0,  1,
        1,  0.15,  270,  1,  0.05,
        0,  0.2, 0.4,  0.8, 0.4,  0,  10,  5,
        1,  100,  0.5,  50,
        0,  0,  1, 1, 1,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Heavy", {
        80,  -0.01, 1.05,  1.01, 1.05,  0.02,  4,  200,  -10,  100,
        2,  10,  100,  0,  0,  1,
        1,  0.35,  270,  1,  0.05,
        0,  0.2, 0.4,  0.8, 0.4,  0,  10,  5,
        1,  10,  3,  0,
        0,  0,  1, 1, 1,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Avoid", {
        160,  -0.041, 0.51,  -0.407, 0.51,  0.02,  14,  400,  0,  100,
        2,  10,  100,  0,  0,  1,
        1,  0.525,  0,  1,  0.106,
        1,  0.683, 0.486,  0.631, 0.064,  1,  10,  26,
        1,  16,  10,  90,
        0,  0,  1, 1, 1,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Divert", {
        160,  -0.041, 0.51,  -0.407, 0.51,  0.02,  14,  400,  0,  100,
        2,  8,  100,  0,  0,  1,
        1,  0.525,  0,  1,  0.106,
        1,  0.457, 0,  0.751, 0.505,  0,  44,  8.45,
        1,  16,  3,  90,
        0,  0,  1, 1, 1,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Glitter", {
        300,  0.49, 0.5,  0.51, 0.5,  0.01,  25,  400,  0,  0,
        2,  8,  100,  0,  0,  1,
        0,  0.2,  270,  0,  0.05,
        1,  0.5, 0.5,  0.8, 0.5,  1,  10,  3.25,
        0,  60,  1,  0,
        0,  100,  1, 0.8549, 0,  100,
        1,  1.4, 0.5,  0.1, 0.5,  30,  53,  80,  1, 1, 1,  2,
    }},
    {"Pink", {
        160,  0.49, 0.5,  0.51, 0.5,  0.1,  100,  350,  0,  100,
        2,  3,  100,  0,  0,  1,
        0,  0.2,  270,  1,  0.494,
        1,  0.5, 0.5,  0.7, 0.5,  1,  10,  9.78,
        1,  100,  10,  100,
        0,  100,  1, 0, 0.6667,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Vomit", {
        160,  0.49, 0.5,  0.51, 0.5,  0.02,  62,  350,  0,  100,
        2,  8,  100,  0,  0,  1,
        0,  0.2,  270,  1,  0.155,
        1,  0.5, 0.5,  0.7, 0.5,  1,  10,  3.28,
        1,  16,  1.32,  100,
        100,  100,  0.502, 0.749, 0,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Amorphous", {
        200,  0.49, 0.5,  0.51, 0.5,  0.02,  80,  350,  0,  100,
        2,  20,  0,  0,  0,  1,
        0,  0.2,  270,  1,  0.33,
        1,  0.5, 0.5,  0.7, 0.5,  1,  10,  3.28,
        1,  5,  2,  0,
        0,  0,  1, 1, 1,  100,
        0,  0.9, 0.5,  0.1, 0.5,  30,  90,  50,  1, 1, 1,  0,
    }},
    {"Pastel", {
        80,  0.49, 0.5,  0.51, 0.5,  0.28,  25,  100,  0,  100,
        3,  8,  100,  0,  0,  1,
        0,  0.2,  270,  0,  0.05,
        0,  0.2, 0.4,  0.8, 0.4,  0,  10,  5,
        1,  16,  4,  0,
        100,  100,  0, 0, 0,  100,
        1,  1.4, 0.5,  0.1, 0.5,  0,  100,  80,  1, 1, 1,  2,
    }},
    {"Stream", {
        80,  1, 0.9,  1.02, 0.9,  0.08,  400,  100,  4.6,  100,
        2,  1,  1,  0,  0,  1,
        1,  0.397,  270,  0,  0.05,
        1,  1.2, 0.9,  0.7, 0.9,  0,  80,  12,
        1,  8,  5,  30,
        0,  100,  1, 1, 1,  100,
        1,  -0.5, 0.9,  0.1, 0.5,  30,  53,  80,  0, 0.6667, 1,  0,
    }},
};
// clang-format on

}  // namespace

std::vector<const char*> SnowInfo::presetList() { return presetNames(PRESETS); }

SnowInfo::SnowInfo() {
    presets(Demos, {&PreRoll,
                    &Left,
                    &Right,
                    &PositionVar,
                    &Density,
                    &Lifetime,
                    &InitialVelocity,
                    &VelocityVar,
                    &LookMode,
                    &FlakeSize,
                    &FlakeSizeVar,
                    &DoBias,
                    &DrySnow,
                    &SizeBias,
                    &DoGravity,
                    &Gravity,
                    &GravAngle,
                    &DoFriction,
                    &Friction,
                    &DoWind,
                    &WindSource,
                    &WindTarget,
                    &MultiDirectional,
                    &WindSpread,
                    &WindSpeed,
                    &DoTurbulence,
                    &SwirlDens,
                    &SwirlAmp,
                    &SwlMaxTim,
                    &ColourVar,
                    &MonoVar,
                    &SnowColour,
                    &Opacity,
                    &DoGlint,
                    &GlintSource,
                    &GlintTarget,
                    &GlintTight,
                    &GlintZone,
                    &GlintProbability,
                    &GlintColour,
                    &ColourMode},
            PRESETS, PresetScope::OthersToDefaults);
    ghost({&Gravity, &GravAngle}, DoGravity, isOff);
    ghost({&Friction}, DoFriction, isOff);
    ghost({&SwirlDens, &SwirlAmp, &SwlMaxTim}, DoTurbulence, isOff);
    ghost({&DrySnow, &SizeBias}, DoBias, isOff);
    ghost({&FlakeSize, &FlakeSizeVar}, LookMode, below(SoftBlob));
    ghost({&Flakerot}, LookMode, below(Flake));
    ghost({&WindSource, &WindTarget, &MultiDirectional, &WindSpeed}, DoWind, isOff);
    const auto spread = [this] {
        int wind = 0;
        int all_sides = 0;
        if (DoWind.GetValue(-1, &wind) && MultiDirectional.GetValue(-1, &all_sides))
            WindSpread.SetGhosted(!wind || all_sides);
    };
    rule(DoWind, spread, "Wind Spread is used with wind from one side");
    rule(MultiDirectional, spread, "Wind Spread is used with wind from one side");
    ghost({&GlintSource, &GlintTarget, &GlintTight, &GlintZone, &GlintProbability, &ColourMode}, DoGlint, isOff);
    const auto glint_colour = [this] {
        int glint = 0;
        int mode = 0;
        if (DoGlint.GetValue(-1, &glint) && ColourMode.GetValue(-1, &mode))
            GlintColour.SetGhosted(!glint || mode == OwnColour);
    };
    rule(DoGlint, glint_colour, "Glint Colour is used with the colour modes Box Colour and Random Colour");
    rule(ColourMode, glint_colour, "Glint Colour is used with the colour modes Box Colour and Random Colour");
    scene.inputs = {"seeding-small.png"};
    scene.settings = {{"Demos", "Fine"}};
}
