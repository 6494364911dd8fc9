// Q_Rain: drops that fall from a line as streaks, with gusts, puddles to bounce on and light to glisten in.
//
// The particle system of Snow (engines/replay/FrameClock.h). A drop condenses from a start level over its first
// frames and fades before its death. Births can be kept to the white parts of a matte, and white parts of another send
// drops up again.
#pragma once

#include "effects/weather/WeatherEffect.h"
#include "effects/weather/WeatherOverlay.h"

struct RainInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Rain",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .description = "Particle system simulating Rain. This effect is in Box Number 1"};

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth"}};
    ClipRecord bounce{this, {.name = "Input3", .label = "Bounce"}};

    Page page{this, "Rain"};
    ListControlK7 Demos{this, {"Demos", "Type", 0, presetList()}};
    CheckboxControlK7 BlackBG{this, {"BlackBG", "Rain Only"}};
    IntegerControlK7 StartAt{this, {"StartAt", "Start at Frame", 0, 0, 9999}};
    IntegerControlK7 PreRoll{this, {"PreRoll", "Pre Roll", 0, 0, 999}};
    FloatControlK7 StreakScale{this, {"StreakScale", "Streak Scale", 100.0, 0.0, 500.0}};
    CheckboxControlK7 WithAnimation{this, {"WithAnimation", "With Animation"}};
    PositionControlK7 Left{this, {"Left", "Left", 0.2, 0.8}};
    PositionControlK7 Right{this, {"Right", "Right", 0.8, 0.8}};
    SizeControlK7 PositionVar{this, {"PositionVar", "Position Variance", 0.003, 0.0, 0.5}};
    FloatControlK7 Density{this, {"Density", "Density", 40.0, 0.0, 2000.0}};
    FloatControlK7 Lifetime{this, {"Lifetime", "Lifetime", 80.0, 1.0, 1000.0}};
    FloatControlK7 Extinction{this, {"Extinction", "Extinction", 20.0, 1.0, 1000.0}};
    FloatControlK7 InitialVelocity{this, {"InitialVelocity", "Initial Velocity", -5.0, -80.0, 80.0}};
    FloatControlK7 VelocityVar{this, {"VelocityVar", "Velocity Variance", 100.0, 0.0, 100.0}};
    CheckboxControlK7 UseBirthMatte{this, {"UseBirthMatte", "Use Birth Matte"}};
    CheckboxControlK7 PuddleBounce{this, {"PuddleBounce", "Puddle Bounce"}};
    FloatControlK7 PuddleDamping{this, {"PuddleDamping", "Puddle Damping", 10.0, -200.0, 200.0}};
    IntegerControlK7 Bounces{this, {"Bounces", "Bounces", 26, 1, 200}};

    Page forcesPage{this, "Forces"};
    CheckboxControlK7 DoGravity{this, {"DoGravity", "Use Gravity", true}};
    FloatControlK7 Gravity{this, {"Gravity", "Gravity", 1.0, 0.0, 10.0}};
    AngleControlK7 GravAngle{this, {"GravAngle", "Gravity Angle", 270.0, 0.0, 359.0}};
    CheckboxControlK7 DoFriction{this, {"DoFriction", "Use Friction", true}};
    FloatControlK7 Friction{this, {"Friction", "Friction", 0.01, 0.0, 1.0}};
    CheckboxControlK7 DoTurbulence{this, {"DoTurbulence", "Use Turbulence"}};
    FloatControlK7 SwirlDens{this, {"SwirlDens", "Swirl Density", 4.4, 0.0, 100.0}};
    FloatControlK7 SwirlAmp{this, {"SwirlAmp", "Swirl Magnitude", 1.29, 0.0, 100.0}};
    FloatControlK7 SwlMaxTim{this, {"SwlMaxTim", "Swirl Time to Max", 0.0, 0.0, 500.0}};
    CheckboxControlK7 DoWind{this, {"DoWind", "Use Wind"}};
    PositionControlK7 WindSource{this, {"WindSource", "Wind Source", 0.2, 0.4}};
    PositionControlK7 WindTarget{this, {"WindTarget", "Wind Target", 0.8, 0.4}};
    FloatControlK7 WindSpread{this, {"WindSpread", "Wind Spread", 90.0, 0.0, 180.0}};
    FloatControlK7 WindSpeed{this, {"WindSpeed", "Wind Speed", 2.0, 0.0, 180.0}};

    Page lookPage{this, "Look"};
    FloatControlK7 InitIntensity{this, {"InitIntensity", "Initial Intensity", 100.0, 0.0, 100.0}};
    FloatControlK7 Condensation{this, {"Condensation", "Condensation", 25.0, 0.0, 100.0}};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}};
    FloatControlK7 ColourVar{this, {"ColourVar", "Colour Variance", 0.0, 0.0, 100.0}};
    FloatControlK7 MonoVar{this, {"MonoVar", "Mono Variance", 0.0, 0.0, 100.0}};
    ColourControlK7 RainColour{this, {"RainColour", "Rain Colour", 1.0f, 1.0f, 1.0f}};
    CheckboxControlK7 DoLight{this, {"DoLight", "Use Light"}};
    PositionControlK7 LightSource{this, {"LightSource", "Light Source", 0.9, 0.5}};
    PositionControlK7 LightTarget{this, {"LightTarget", "Light Target", 0.1, 0.5}};
    FloatControlK7 GlistenTight{this, {"GlistenTight", "Glisten Tightness", 30.0, 0.0, 1000.0}};
    FloatControlK7 LightSpread{this, {"LightSpread", "Light Spread", 90.0, 0.0, 180.0}};
    FloatControlK7 LightInten{this, {"LightInten", "Light Intensity", 50.0, 0.0, 200.0}};
    FloatControlK7 MinBright{this, {"MinBright", "Minimum Brightness", 60.0, 0.0, 100.0}};
    ColourControlK7 LightColour{this, {"LightColour", "Light Colour", 1.0f, 1.0f, 1.0f}};
    FloatControlK7 FramesPerSecond{
        this, {"FramesPerSecond", "Frames Per Second", 25.0, 0.1, 1000.0, {.scriptName = "GeneratorFPS"}}};

    WeatherOverlay overlay{this, Left, Right, WindSource, WindTarget, LightSource, LightTarget};

    RainInfo();

  private:
    static std::vector<const char*> presetList();
};

struct RainMotion : weather::WeatherMotion {
    float extinction;  // frames
    float intensity;
    float damping;
    std::int32_t bounces;
    std::int32_t birth_matte, puddles;
    particles::Wind wind;
};

struct RainLook {
    float opacity, streak, condensation;
    std::int32_t lit;
    float light_intensity, least_brightness;
    float light_colour[3];
    particles::LightCone light;
};

struct RainParticle : FadingParticle {
    float bounce_factor = 1;  // of the vertical velocity
    std::int32_t bounce_count = 0;
};

class Rain final : public weather::WeatherEffect<RainInfo, RainParticle, RainMotion, RainLook> {
  protected:
    void readOwn(RainMotion& motion, RainLook& look) override;
    void births() override;
    bool fillNewborn(RainParticle& particle) override;
    void applyForces(RainParticle* particles, int count) const override;
    void afterForces(RainParticle* particles, int count) override;
    void show(RainParticle& particle) override;
    std::uint64_t steeringPictures() const override;
    void PrepareOverlay() override { overlay.prepare(); }

  private:
    void bounceOffPuddles(RainParticle& particle);
};
