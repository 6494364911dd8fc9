// Q_Snow: flakes that fall from a line, carried by wind and turned by swirling air.
//
// A particle system that is replayed where frames do not come in order (engines/replay/FrameClock.h): births
// along the line Left to Right, gravity and friction on velocities, wind on places, noise on velocities. Flakes are
// drawn as points, streaks, blobs, crystals or stars, and may glint in a beam of light.
#pragma once

#include "effects/weather/WeatherEffect.h"
#include "effects/weather/WeatherOverlay.h"

struct SnowInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Snow",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .description = " Particle system simulating Snow. This effect is in Box Number 1"};
    enum LookOf { Point = 1, Streak, SoftBlob, TexturedBlob, Flake, Star };
    enum GlintColourOf { BoxColour = 1, OwnColour, RandomColour };

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};

    Page page{this, "Snow"};
    ListControlK7 Demos{this, {"Demos", "Type", 0, presetList()}};
    CheckboxControlK7 BlackBG{this, {"BlackBG", "Snow Only"}};
    IntegerControlK7 StartAt{this, {"StartAt", "Start at Frame", 0, 0, 9999}};
    IntegerControlK7 PreRoll{this, {"PreRoll", "Pre Roll", 0, 0, 999}};
    FloatControlK7 ShutterTime{this, {"ShutterTime", "Shutter Time", 0.0, 0.0, 1000.0}};
    CheckboxControlK7 WithAnimation{this, {"WithAnimation", "With Animation"}};
    PositionControlK7 Left{this, {"Left", "Left", 0.2, 0.8}};
    PositionControlK7 Right{this, {"Right", "Right", 0.8, 0.8}};
    SizeControlK7 PositionVar{this, {"PositionVar", "Position Variance", 0.02, 0.0, 0.5}};
    FloatControlK7 Density{this, {"Density", "Density", 20.0, 0.0, 1000.0}};
    FloatControlK7 Lifetime{this, {"Lifetime", "Lifetime", 200.0, 1.0, 1000.0}};
    FloatControlK7 InitialVelocity{this, {"InitialVelocity", "Initial Velocity", -30.0, -200.0, 200.0}};
    FloatControlK7 VelocityVar{this, {"VelocityVar", "Velocity Variance", 50.0, 0.0, 100.0}};

    Page lookPage{this, "Look"};
    ListControlK7 LookMode{this,
                           {"LookMode", "Look", 2, {"Point", "Streak", "Soft Blob", "Textured Blob", "Flake", "Star"}}};
    FloatControlK7 FlakeSize{this, {"FlakeSize", "Flake Size", 4.0, 1.0, 20.0}};
    FloatControlK7 FlakeSizeVar{this, {"FlakeSizeVar", "Flake Size Variance", 100.0, 0.0, 100.0}};
    FloatControlK7 Flakerot{this, {"Flakerot", "Flake Rotation", 1.0, 0.0, 20.0}};
    CheckboxControlK7 DoBias{this, {"DoBias", "Use Size Bias"}};
    ListControlK7 DrySnow{this, {"DrySnow", "Snow Type", 0, {"Wet", "Dry"}}};
    FloatControlK7 SizeBias{this, {"SizeBias", "Size Bias", 1.0, 1.0, 20.0}};

    Page forcesPage{this, "Forces"};
    CheckboxControlK7 DoGravity{this, {"DoGravity", "Use Gravity", true}};
    FloatControlK7 Gravity{this, {"Gravity", "Gravity", 0.2, 0.0, 10.0}};
    AngleControlK7 GravAngle{this, {"GravAngle", "Gravity Angle", 270.0, 0.0, 359.0}};
    CheckboxControlK7 DoFriction{this, {"DoFriction", "Use Friction", true}};
    FloatControlK7 Friction{this, {"Friction", "Friction", 0.05, 0.0, 1.0}};
    CheckboxControlK7 DoWind{this, {"DoWind", "Use Wind"}};
    PositionControlK7 WindSource{this, {"WindSource", "Wind Source", 0.2, 0.4}};
    PositionControlK7 WindTarget{this, {"WindTarget", "Wind Target", 0.8, 0.4}};
    CheckboxControlK7 MultiDirectional{this, {"MultiDirectional", "Multi Directional"}};
    FloatControlK7 WindSpread{this, {"WindSpread", "Wind Spread", 10.0, 0.0, 180.0}};
    FloatControlK7 WindSpeed{this, {"WindSpeed", "Wind Speed", 5.0, 0.0, 180.0}};
    CheckboxControlK7 DoTurbulence{this, {"DoTurbulence", "Use Turbulence", true}};
    FloatControlK7 SwirlDens{this, {"SwirlDens", "Swirl Density", 60.0, 0.0, 100.0}};
    FloatControlK7 SwirlAmp{this, {"SwirlAmp", "Swirl Magnitude", 1.0, 0.0, 100.0}};
    FloatControlK7 SwlMaxTim{this, {"SwlMaxTim", "Swirl Time to Max", 0.0, 0.0, 100.0}};

    Page colourPage{this, "Colour"};
    FloatControlK7 ColourVar{this, {"ColourVar", "Colour Variance", 0.0, 0.0, 100.0}};
    FloatControlK7 MonoVar{this, {"MonoVar", "Mono Variance", 0.0, 0.0, 100.0}};
    ColourControlK7 SnowColour{this, {"SnowColour", "Snow Colour", 1.0f, 1.0f, 1.0f}};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}};
    CheckboxControlK7 DoGlint{this, {"DoGlint", "Use Glint"}};
    PositionControlK7 GlintSource{this, {"GlintSource", "Glint Source", 0.9, 0.5}};
    PositionControlK7 GlintTarget{this, {"GlintTarget", "Glint Target", 0.1, 0.5}};
    FloatControlK7 GlintTight{this, {"GlintTight", "Glint Tightness", 30.0, 0.0, 1000.0}};
    FloatControlK7 GlintZone{this, {"GlintZone", "Glint Zone", 90.0, 0.0, 180.0}};
    FloatControlK7 GlintProbability{this, {"GlintProbability", "Glint Probability", 50.0, 0.0, 100.0}};
    ColourControlK7 GlintColour{this, {"GlintColour", "Glint Colour", 1.0f, 1.0f, 1.0f}};
    ListControlK7 ColourMode{this, {"ColourMode", "Colour Mode", 0, {"Box Colour", "Snow Colour", "Random Colour"}}};
    FloatControlK7 FramesPerSecond{
        this, {"FramesPerSecond", "Frames Per Second", 25.0, 0.1, 1000.0, {.scriptName = "GeneratorFPS"}}};

    WeatherOverlay overlay{this, Left, Right, WindSource, WindTarget, GlintSource, GlintTarget};

    SnowInfo();

  private:
    static std::vector<const char*> presetList();
};

struct SnowMotion : weather::WeatherMotion {
    float flake_size, flake_size_var;
    float size_bias;
    float spin;         // radians a frame
    std::int32_t look;  // LookMode from 0
    std::int32_t dry;
    particles::Wind wind;
};

struct SnowLook {
    float opacity, shutter;
    std::int32_t glint, glint_colour_mode;  // the mode from 1
    float glint_probability, glint_tight;
    float glint_colour[3];
    particles::LightCone beam;
};

struct SnowParticle : FadingParticle {
    float size = 0;
    std::int32_t look = 0;
    std::int32_t flake_variant = 1;
    float spin = 0;
};

class Snow final : public weather::WeatherEffect<SnowInfo, SnowParticle, SnowMotion, SnowLook> {
  protected:
    void readOwn(SnowMotion& motion, SnowLook& look) override;
    void births() override;
    bool fillNewborn(SnowParticle& particle) override;
    void beforeForces(SnowParticle* particles, int count) override;
    void applyForces(SnowParticle* particles, int count) const override;
    void show(SnowParticle& particle) override;
    void PrepareOverlay() override { overlay.prepare(); }

  private:
    void showSprite(const SnowParticle& particle, const Sprite* sprite, float coverage, float angle);
    void showGlint(const SnowParticle& particle);

    SpriteTables m_sprites{weather::LOOK_SEED};
};
