// Q_Smoke: particles that rise against gravity and drift with turbulence and wind, drawn as a fog of fine points, as
// streaks or as soft puffs.
//
// Points are drawn into a picture of their own, which is softened as a whole and laid over the background.
#pragma once

#include "effects/weather/WeatherEffect.h"

struct SmokeInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Smoke",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .skipsSmallPreview = true,
        .description = "Particle system simulating Smoke. This effect is in Box Number 1"};
    enum Look { Point = 1, Streak = 2, Puff = 3 };

    // PreRoll | Left | Right | PositionVar | Density, Lifetime, Extinction | InitialHeat | LookMode, PointBlur,
    // PuffSize | DoGravity, Gravity, GravAngle | Friction | SwirlDens, SwirlAmp | DoWind, WindSource, WindTarget,
    // WindSpread, WindSpeed | InitIntensity | SmokeColour | Opacity. Rising air is gravity that points upwards.
    static constexpr PresetRow<31> PRESETS[] = {
        // clang-format off
        {"Default",      {  0,  .49,  .5,  .51,  .5, .003,  800, 400,  80,    0, 0, 1,  2, 0, .001, 270, .05, 22, 3.02, 0,  .2,  .4, .8,  .4,  33, 16, 50,   1,   1,   1, 100}},
        {"Soft Swirl",   {200, .495, .12, .505, .12, .005,   50, 320, 110,  -50, 2, 1,  8, 1,  .06,  90, .03, 16,   .5, 0,  .2,  .4, .8,  .4,  33, 16, 50,   1,   1,   1,  18}},
        {"Puff",         {200, .495, .12, .505, .12, .012,   14, 260, 110, -120, 2, 1, 18, 1,  .08,  90, .03, 14,   .4, 0,  .2,  .4, .8,  .4,  33, 16, 50,   1,   1,   1,  16}},
        {"Wisp",         {200, .495, .12, .505, .12, .001, 2000, 320, 110,  -50, 0, 1,  2, 1,  .08,  90, .03, 14,  .22, 0,  .2,  .4, .8,  .4,  33, 16, 60,   1,   1,   1, 100}},
        {"Steam",        {110, .495, .12, .505, .12, .008,   70, 110,  50, -200, 2, 1,  7, 1,  .12,  90, .03, 30,   .7, 0,  .2,  .4, .8,  .4,  33, 16, 50,   1,   1,   1,  20}},
        {"Gentle Smoke", {200, .495, .12, .505, .12, .008, 2500, 320, 110,  -50, 0, 2,  2, 1,  .05,  90, .03, 12,   .3, 0,  .2,  .4, .8,  .4,  33, 16, 60,   1,   1,   1,  45}},
        {"Busy Smoke",   {200, .495, .12, .505, .12,  .01, 4000, 320, 110,  -50, 0, 2,  2, 1,   .1,  90, .03, 26,   .7, 0,  .2,  .4, .8,  .4,  33, 16, 50,   1,   1,   1, 100}},
        {"Dry Ice",      {200,    0,  .1,    1,  .1,  .02,  120, 300, 110,  -10, 2, 1, 16, 1, .008, 270, .05, 16,   .4, 0,  .2,  .4, .8,  .4,  33, 16, 50,   1,   1,   1,  12}},
        {"Billow",       {200, .495, .12, .505, .12, .018,   40, 320, 110,  -80, 2, 1, 20, 1,   .1,  90, .03, 14,   .7, 0,  .2,  .4, .8,  .4,  33, 16, 50,   1,   1,   1,   7}},
        {"Smoke Stack",  {200,   .2,  .1,  .23,  .1,  .01,   70, 320, 110, -200, 2, 1, 16, 1,  .08,  90, .03, 24,   .7, 1, -.4, .25,  1, .75, 140,  3, 50, .35, .35, .35,  18}},
        {"Chimney",      {200,   .3, .15, .305, .15, .004,   30, 320, 110, -100, 2, 1,  9, 1,  .08,  90, .03, 24,   .5, 1, -.4, .25,  1, .75, 140,  2, 50,  .6,  .6, .62,  20}},
        {"Slow Wisp",    {300, .495, .12, .505, .12, .003,  800, 500, 110,  -20, 0, 1,  2, 1, .035,  90, .03, 12,  .14, 0,  .2,  .4, .8,  .4,  33, 16, 60,   1,   1,   1, 100}},
        {"Swamp",        {250,    0, .05,    1, .05,  .03,   90, 400, 150,    0, 2, 1, 20, 0, .001, 270, .05, 14,  .25, 0,  .2,  .4, .8,  .4,  33, 16, 50,  .6,  .7, .55,  14}},
        // clang-format on
    };

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth Clip", .shortLabel = "Birth"}};

    Page pageSmoke{this, "Smoke"};
    ListControlK7 Demos{this, {"Demos", "Type", 0, presetNames(PRESETS)}};
    CheckboxControlK7 BlackBG{this, {"BlackBG", "Smoke Only"}};
    IntegerControlK7 StartAt{this, {"StartAt", "Start at Frame", 0, 0, 9999}};
    IntegerControlK7 PreRoll{this, {"PreRoll", "Pre Roll", 0, 0, 999}};
    FloatControlK7 ShutterTime{this, {"ShutterTime", "Shutter Time", 0.0, 0.0, 1000.0}};
    CheckboxControlK7 WithAnimation{this, {"WithAnimation", "With Animation"}};
    PositionControlK7 Left{this, {"Left", "Left", 0.49, 0.5}};
    PositionControlK7 Right{this, {"Right", "Right", 0.51, 0.5}};
    SizeControlK7 PositionVar{this, {"PositionVar", "Position Variance", 0.003, 0.0, 0.5}};
    FloatControlK7 Density{this, {"Density", "Density", 800.0, 0.0, 5000.0}};
    FloatControlK7 Lifetime{this, {"Lifetime", "Lifetime", 400.0, 1.0, 800.0}};
    FloatControlK7 Extinction{this, {"Extinction", "Extinction", 80.0, 1.0, 1000.0, {.displayMax = 20.0}}};
    CheckboxControlK7 UseBirthMatte{this, {"UseBirthMatte", "Use Birth Matte"}};
    FloatControlK7 InitialHeat{this, {"InitialHeat", "Initial Heat", 0.0, -200.0, 200.0}};
    FloatControlK7 VelocityVar{this, {"VelocityVar", "Velocity Variance", 100.0, 0.0, 100.0}};
    Page pageLook{this, "Look"};
    ListControlK7 LookMode{this, {"LookMode", "Look", 0, {"Point", "Streak", "Puff"}}};
    FloatControlK7 PointBlur{this, {"PointBlur", "Point Blur", 1.0, 0.0, 5.0}};
    FloatControlK7 PuffSize{this, {"PuffSize", "Puff Size", 2.0, 1.0, 20.0}};
    FloatControlK7 PuffSizeVar{this, {"PuffSizeVar", "Puff Size Variance", 100.0, 0.0, 100.0}};
    Page pageForces{this, "Forces"};
    CheckboxControlK7 DoGravity{this, {"DoGravity", "Use Gravity"}};
    FloatControlK7 Gravity{this, {"Gravity", "Gravity", 0.001, 0.0, 10.0}};
    AngleControlK7 GravAngle{this, {"GravAngle", "Gravity Angle", 270.0, 0.0, 359.0}};
    CheckboxControlK7 DoFriction{this, {"DoFriction", "Use Friction", true}};
    FloatControlK7 Friction{this, {"Friction", "Friction", 0.05, 0.0, 1.0}};
    CheckboxControlK7 DoTurbulence{this, {"DoTurbulence", "Use Turbulence", true}};
    FloatControlK7 SwirlDens{this, {"SwirlDens", "Swirl Density", 22.0, 0.0, 100.0}};
    FloatControlK7 SwirlAmp{this, {"SwirlAmp", "Swirl Magnitude", 3.02, 0.0, 100.0}};
    FloatControlK7 SwlMaxTim{this, {"SwlMaxTim", "Swirl Time to Max", 0.0, 0.0, 500.0}};
    CheckboxControlK7 DoWind{this, {"DoWind", "Use Wind"}};
    PositionControlK7 WindSource{this, {"WindSource", "Wind Source", 0.2, 0.4}};
    PositionControlK7 WindTarget{this, {"WindTarget", "Wind Target", 0.8, 0.4}};
    FloatControlK7 WindSpread{this, {"WindSpread", "Wind Spread", 33.0, 0.0, 180.0}};
    FloatControlK7 WindSpeed{this, {"WindSpeed", "Wind Speed", 16.0, 0.0, 180.0}};
    Page pageColour{this, "Colour"};
    FloatControlK7 InitIntensity{this, {"InitIntensity", "Initial Intensity", 50.0, 0.0, 100.0}};
    FloatControlK7 Condensation{this, {"Condensation", "Condensation", 50.0, 0.0, 100.0}};
    FloatControlK7 ColourVar{this, {"ColourVar", "Colour Variance", 0.0, 0.0, 100.0}};
    FloatControlK7 MonoVar{this, {"MonoVar", "Mono Variance", 0.0, 0.0, 100.0}};
    ColourControlK7 SmokeColour{this, {"SmokeColour", "Smoke Colour", 1.0, 1.0, 1.0}};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}};
    FloatControlK7 FramesPerSecond{
        this, {"FramesPerSecond", "Frames Per Second", 25.0, 0.1, 1000.0, {.scriptName = "GeneratorFPS"}}};

    LineOverlayK7 sourceWidget{this, Left, Right};
    LineOverlayK7 windWidget{this, WindSource, WindTarget, true};

    SmokeInfo() {
        Demos.followedByOverlay = DoWind.followedByOverlay = true;
        presets(Demos, {&PreRoll,     &Left,          &Right,       &PositionVar, &Density,    &Lifetime,   &Extinction,
                        &InitialHeat, &LookMode,      &PointBlur,   &PuffSize,    &DoGravity,  &Gravity,    &GravAngle,
                        &Friction,    &SwirlDens,     &SwirlAmp,    &DoWind,      &WindSource, &WindTarget, &WindSpread,
                        &WindSpeed,   &InitIntensity, &SmokeColour, &Opacity},
                PRESETS, PresetScope::OthersToDefaults);
        ghost({&PointBlur}, LookMode, isNot(Point));
        ghost({&PuffSize, &PuffSizeVar}, LookMode, isNot(Puff));
        ghost({&Gravity}, DoGravity, isOff);  // its angle also turns the rising smoke
        ghost({&Friction}, DoFriction, isOff);
        ghost({&SwirlDens, &SwirlAmp, &SwlMaxTim}, DoTurbulence, isOff);
        ghost({&WindSource, &WindTarget, &WindSpread, &WindSpeed}, DoWind, isOff);
        scene.inputs = {"coffee-small.png"};
        scene.settings = {{"PreRoll", "200"},   {"Left", "0.43,0.6"}, {"Right", "0.57,0.6"}, {"PositionVar", "0.01"},
                          {"Density", "40"},    {"Lifetime", "200"},  {"Extinction", "90"},  {"InitialHeat", "-60"},
                          {"LookMode", "Puff"}, {"PuffSize", "12"},   {"DoGravity", "on"},   {"Gravity", "0.04"},
                          {"GravAngle", "90"},  {"Friction", "0.03"}, {"SwirlDens", "14"},   {"SwirlAmp", "0.35"},
                          {"Opacity", "12"}};
    }
};

struct SmokeMotion : weather::WeatherMotion {
    float extinction;  // frames
    float size, size_var;
    float intensity;
    std::int32_t look;  // LookMode
    std::int32_t birth_matte;
    particles::Wind wind;
};

struct SmokeLook {
    float opacity, shutter, condensation;
    float blur;  // of points, pixels
    std::int32_t points;
};

struct SmokeParticle : FadingParticle {
    float size = 0;
    std::int32_t look = 0;
};

class Smoke final : public weather::WeatherEffect<SmokeInfo, SmokeParticle, SmokeMotion, SmokeLook> {
  protected:
    void readOwn(SmokeMotion& motion, SmokeLook& look) override;
    void births() override;
    bool fillNewborn(SmokeParticle& particle) override;
    void applyForces(SmokeParticle* particles, int count) const override;
    void show(SmokeParticle& particle) override;
    std::uint64_t steeringPictures() const override;
    void background() override;
    void paint(K7Image& result) override;
    void PrepareOverlay() override { windWidget.visible = !WindSource.ghosted(); }

  private:
    SpriteTables m_sprites{weather::LOOK_SEED};
};
