// Q_Bubbles: glassy shells that rise, grow, swirl and burst, lit from one side, with the picture around them mirrored
// in their skin.
#pragma once

#include <vector>

#include "effects/weather/BubbleSkin.h"
#include "effects/weather/WeatherEffect.h"

struct BubblesInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Bubbles",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .description = "Particle system simulating bubbles. This effect is in Box Number 1"};
    enum Growth { Assorted = 1, Shrinking = 2, VariableGrowth = 3, LinearGrowth = 4 };

    // PreRoll | Left | Right | PositionVar | Density, Lifetime, TimeMaxSize | InitialVelocity, VelocityVar, VelDir |
    // GrowthMode, BubbleSize, BubbleSizeVar | Gravity, Friction | SwirlDens, SwirlAmp, SwlMaxTim | Congregate |
    // BubbleColour | Opacity | GlistenTight, LightInten, Highlight | RefIntensity
    static constexpr PresetRow<29> PRESETS[] = {
        // clang-format off
        {"Default",     {  0, .01, .01, .99, .01,  .01,  20, 200,  50, 100, 100, 90, 3,   20, 100,   .2,  .05, 60,   1,  0, 0,   1,   1,  1, 100, 5,  50,  5, 100}},
        {"Soap",        {400, .01, .01, .99, .01,  .01,   2, 500,  50,  40, 100, 90, 2,   40,  80,  .07,  .05,  8, .25,  0, 0, .35, .42, .5,  45, 3, 100, 50,  90}},
        {"Champagne",   { 74,   0, .01,   1, .01, .005,  20, 200, 248, 500, 100, 90, 3, 3.66,  18,   .2, .038, 73,  .3, 25, 0,   1,   1,  1, 100, 5,  50,  5, 100}},
        {"Under Water", {120, .01, .01, .99, .01,  .01,  12, 200,  50, 150, 100, 90, 2,   12, 100,   .2,  .05, 30,  .8,  0, 0, .45,  .6, .7,  45, 3, 100, 50,  90}},
        {"Floating",    {600, .01, .01, .99, .01,  .01,   1, 900,  50,  20, 100, 90, 2,   36, 100, .035,  .04,  6, .15,  0, 0, .35, .42, .5,  45, 3, 100, 50,  90}},
        {"Bubbly",      {120, .01, .01, .99, .01,  .01,  50, 200,  50, 100, 100, 90, 0,   14, 100,   .2,  .05, 40,  .6,  0, 0, .35, .42, .5,  45, 3, 100, 50,  90}},
        {"Swirly",      {120, .01, .01, .99, .01,  .01,  10, 200,  50, 100, 100, 90, 2,   20, 100,   .2,  .05, 12, 1.5,  0, 0, .35, .42, .5,  45, 3, 100, 50,  90}},
        {"Gathering",   {160, .01, .01, .99, .01,  .01,   6, 300,  50, 200, 100, 90, 2,   20, 100,   .2, .008, 14, .08,  0, 1, .35, .42, .5,  45, 3, 100, 50,  90}},
        {"Flurry",      {120, .01, .01, .99, .01,  .01, 100, 200,  50, 200, 100, 90, 0,    8, 100,   .2,  .05, 18, 2.5,  0, 0, .35, .42, .5,  45, 3, 100, 50,  90}},
        {"Pipe",        {250, .49,  .1, .51,  .1,  .02,   2, 300,  50, 150,  60, 80, 2,   30,  90,  .05,  .05, 20,  .7,  0, 0, .35, .42, .5,  45, 3, 100, 50,  90}},
        // clang-format on
    };

    ClipRecord input{this, {.name = "Input", .label = "Background", .shortLabel = "BG"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth"}};
    ClipRecord burst_clip{this, {.name = "Input3", .label = "Burst/Gather", .shortLabel = "BorG"}};
    ClipRecord reflection{this, {.name = "Input4", .label = "Reflection", .shortLabel = "Rfl"}};

    Page pageBubbles{this, "Bubbles"};
    ListControlK7 Demos{this, {"Demos", "Type", 0, presetNames(PRESETS)}};
    CheckboxControlK7 BlackBG{this, {"BlackBG", "Bubbles Only"}};
    IntegerControlK7 StartAt{this, {"StartAt", "Start at Frame", 0, 0, 9999}};
    IntegerControlK7 PreRoll{this, {"PreRoll", "Pre Roll", 0, 0, 999}};
    FloatControlK7 ShutterTime{this, {"ShutterTime", "Shutter Time", 0.0, 0.0, 1000.0}};
    CheckboxControlK7 WithAnimation{this, {"WithAnimation", "With Animation"}};
    IntegerControlK7 Seed{this, {"Seed", "Seed", 831, 1, 9999}};
    PositionControlK7 Left{this, {"Left", "Left", 0.01, 0.01}};
    PositionControlK7 Right{this, {"Right", "Right", 0.99, 0.01}};
    SizeControlK7 PositionVar{this, {"PositionVar", "Position Variance", 0.01, 0.0, 3.0}};
    FloatControlK7 Density{this, {"Density", "Density", 20.0, 0.0, 180.0}};
    FloatControlK7 Lifetime{this, {"Lifetime", "Lifetime", 200.0, 1.0, 1000.0}};
    FloatControlK7 TimeMaxSize{this, {"TimeMaxSize", "Time to Max Size", 50.0, 1.0, 500.0}};
    CheckboxControlK7 UseBirthMatte{this, {"UseBirthMatte", "Use Birth Matte"}};
    FloatControlK7 InitialVelocity{this, {"InitialVelocity", "Initial Velocity", 100.0, -200.0, 200.0}};
    FloatControlK7 VelocityVar{this, {"VelocityVar", "Velocity Variance", 100.0, 0.0, 200.0}};
    AngleControlK7 VelDir{this, {"VelDir", "Velocity Direction", 90.0, 0.0, 360.0}};
    Page pageGrowth{this, "Growth"};
    ListControlK7 GrowthMode{
        this, {"GrowthMode", "Growth Mode", 3, {"Assorted", "Shrinking", "Variable Growth", "Linear Growth"}}};
    FloatControlK7 BubbleSize{this, {"BubbleSize", "Bubble Size", 20.0, 1.0, 40.0}};
    FloatControlK7 BubbleSizeVar{this, {"BubbleSizeVar", "Bubble Size Variance", 100.0, 0.0, 100.0}};
    Page pageForces{this, "Forces"};
    CheckboxControlK7 DoGravity{this, {"DoGravity", "Use Gravity", true}};
    FloatControlK7 Gravity{this, {"Gravity", "Gravity", 0.2, 0.0, 10.0}};
    AngleControlK7 GravAngle{this, {"GravAngle", "Gravity Angle", 90.0, 0.0, 360.0}};
    CheckboxControlK7 DoFriction{this, {"DoFriction", "Use Friction", true}};
    FloatControlK7 Friction{this, {"Friction", "Friction", 0.05, 0.0, 1.0}};
    CheckboxControlK7 DoTurbulence{this, {"DoTurbulence", "Use Turbulence", true}};
    FloatControlK7 SwirlDens{this, {"SwirlDens", "Swirl Density", 60.0, 0.0, 100.0}};
    FloatControlK7 SwirlAmp{this, {"SwirlAmp", "Swirl Magnitude", 1.0, 0.0, 100.0}};
    FloatControlK7 SwlMaxTim{this, {"SwlMaxTim", "Swirl Time to Max", 0.0, 0.0, 100.0}};
    Page pageBursting{this, "Bursting"};
    CheckboxControlK7 BubblesBurst{this, {"BubblesBurst", "Bubbles Burst"}};
    FloatControlK7 BurstProbability{this, {"BurstProbability", "Burst Probability", 50.0, 0.0, 100.0}};
    FloatControlK7 BurstQuantity{this, {"BurstQuantity", "Burst Quantity", 80.0, 0.0, 100.0}};
    FloatControlK7 BurstExtent{this, {"BurstExtent", "Burst Extent", 5.0, 0.0, 10.0}};
    FloatControlK7 Afterlife{this, {"Afterlife", "Afterlife", 3.0, 0.0, 100.0}};
    CheckboxControlK7 Congregate{this, {"Congregate", "Congregate"}};
    Page pageColour{this, "Colour"};
    FloatControlK7 ColourVar{this, {"ColourVar", "Colour Variance", 0.0, 0.0, 100.0}};
    FloatControlK7 MonoVar{this, {"MonoVar", "Mono Variance", 0.0, 0.0, 100.0}};
    ColourControlK7 BubbleColour{this, {"BubbleColour", "Bubble Colour", 1.0, 1.0, 1.0}};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}};
    CheckboxControlK7 DoLight{this, {"DoLight", "Use Light", true}};
    PositionControlK7 LightSource{this, {"LightSource", "Light Source", 1.1, 0.9}};
    PositionControlK7 LightTarget{this, {"LightTarget", "Light Target", 0.5, 0.01}};
    FloatControlK7 LightZ{this, {"LightZ", "Light Z", 0.2, 0.01, 1.0}};
    FloatControlK7 GlistenTight{this, {"GlistenTight", "Glisten Tightness", 5.0, 0.0, 100.0}};
    FloatControlK7 LightSpread{this, {"LightSpread", "Light Spread", 90.0, 0.0, 180.0}};
    FloatControlK7 LightInten{this, {"LightInten", "Light Intensity", 50.0, 0.0, 200.0}};
    FloatControlK7 MinBright{this, {"MinBright", "Minimum Brightness", 60.0, 0.0, 100.0}};
    FloatControlK7 Highlight{this, {"Highlight", "Highlight", 5.0, 1.0, 50.0}};
    ColourControlK7 LightColour{this, {"LightColour", "Light Colour", 1.0, 1.0, 1.0}};
    CheckboxControlK7 DoReflections{this, {"DoReflections", "Use Reflections", true}};
    FloatControlK7 RefIntensity{this, {"RefIntensity", "Reflection Intensity", 100.0, 0.0, 200.0}};
    FloatControlK7 FramesPerSecond{
        this, {"FramesPerSecond", "Frames Per Second", 25.0, 0.1, 1000.0, {.scriptName = "GeneratorFPS"}}};

    LineOverlayK7 sourceWidget{this, Left, Right};
    LineOverlayK7 lightWidget{this, LightSource, LightTarget, true};

    BubblesInfo() {
        DoLight.followedByOverlay = true;
        presets(Demos,
                {&PreRoll,         &Left,        &Right,     &PositionVar, &Density,    &Lifetime,      &TimeMaxSize,
                 &InitialVelocity, &VelocityVar, &VelDir,    &GrowthMode,  &BubbleSize, &BubbleSizeVar, &Gravity,
                 &Friction,        &SwirlDens,   &SwirlAmp,  &SwlMaxTim,   &Congregate, &BubbleColour,  &Opacity,
                 &GlistenTight,    &LightInten,  &Highlight, &RefIntensity},
                PRESETS, PresetScope::OthersToDefaults);
        ghost({&TimeMaxSize}, GrowthMode, is(Assorted));
        ghost({&Gravity, &GravAngle}, DoGravity, isOff);
        ghost({&Friction}, DoFriction, isOff);
        ghost({&SwirlDens, &SwirlAmp, &SwlMaxTim}, DoTurbulence, isOff);
        ghost({&BurstProbability, &BurstQuantity, &BurstExtent}, BubblesBurst, isOff);
        ghost({&LightSource, &LightTarget, &LightZ, &GlistenTight, &LightSpread, &LightInten, &MinBright, &Highlight,
               &LightColour},
              DoLight, isOff);
        ghost({&RefIntensity}, DoReflections, isOff);
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"PreRoll", "200"},
                          {"Density", "1"},
                          {"Lifetime", "170"},
                          {"InitialVelocity", "60"},
                          {"GrowthMode", "Variable Growth"},
                          {"BubbleSize", "30"},
                          {"BubbleSizeVar", "80"},
                          {"Gravity", "0.07"},
                          {"SwirlDens", "8"},
                          {"SwirlAmp", "0.25"},
                          {"BubbleColour", "0.35,0.42,0.5"},
                          {"Opacity", "60"},
                          {"GlistenTight", "3"},
                          {"LightInten", "100"},
                          {"Highlight", "50"}};
    }
};

struct BubblesMotion : weather::WeatherMotion {
    float direction[2];  // of births
    float size, size_spread;
    float rise;  // how much less big bubbles swirl upwards, for one pixel of size
    float burst_probability, afterlife;
    std::int32_t bursts, congregates, birth_matte;
};

struct BubblesLook {
    float opacity, shutter;
    float time_to_full_size;
    std::int32_t growth;  // GrowthMode
    std::int32_t light;
    float light_level, least_level;
    float light_height;  // pixels
    float tightness, exponent;
    float light_colour[3];
    particles::LightCone beam;
    float droplets, scatter;
    float mirror;  // 0: no reflections
};

struct BubblesParticle : FadingParticle {
    float size = 0;
    std::int32_t phase = 0;  // 1: bursting
    std::int32_t stuck = 0;  // 1: to a matte, 2: released
};

class Bubbles final : public weather::WeatherEffect<BubblesInfo, BubblesParticle, BubblesMotion, BubblesLook> {
  protected:
    void readOwn(BubblesMotion& motion, BubblesLook& look) override;
    void births() override;
    bool fillNewborn(BubblesParticle& particle) override;
    void beforeForces(BubblesParticle* particles, int count) override;
    void applyForces(BubblesParticle* particles, int count) const override;
    void show(BubblesParticle& particle) override;
    bool hasSetGravity() const override { return false; }  // it depends on the bubble
    std::uint32_t seed() const override { return static_cast<std::uint32_t>(Seed.value); }
    std::uint64_t steeringPictures() const override;
    void paint(K7Image& result) override;
    void PrepareOverlay() override { lightWidget.visible = !LightSource.ghosted(); }

  private:
    void gather(BubblesParticle& particle, bool on_matte) const;
    void burst(BubblesParticle& particle, bool on_matte);
    float radiusOf(const BubblesParticle& particle) const;
    void light(const BubblesParticle& particle, Bubble& bubble);
    static void paintOne(const void* effect, int item, K7Image* image, int first, int last);

    BubbleSprites m_sprites;
    GlossPowers m_powers;
    ImagePtr m_mirrored;            // the reflection clip, made small
    std::vector<Bubble> m_bubbles;  // of the frame being drawn
};
