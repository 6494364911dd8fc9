// Q_Snow: flakes that fall from a line, carried by wind and swirled by turbulence.
//
// A particle system that is replayed where frames do not come in order (engines/replay/FrameClock.h): births
// along the line Left to Right, gravity and friction on velocities, wind on places, noise on velocities. Flakes are
// drawn as points, streaks, blobs, crystals or stars, and may glint in a beam of light.
#pragma once

#include "effects/engines/controls/ParticleControls.h"
#include "effects/weather/WeatherEffect.h"
#include "effects/weather/WeatherOverlay.h"

struct SnowInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Snow",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Curves,
        .description = " Particle system simulating Snow. This effect is in Box Number 1",
        .purpose =
            "Falling snow, from fine drift to a blizzard: points, streaks, soft blobs, crystals or stars that wind "
            "carries and eddies swirl, and that may glint in a beam of light.",
        .usage =
            "Connect the shot as Background Clip. Without one the snow falls over black; Snow Only leaves a connected "
            "shot out.\n"
            "Begin with the Type that comes nearest; it sets births, look, forces and colours together.\n"
            "Give it a Pre Roll of as many frames as a flake needs to cross the picture, often 100 and more, else the "
            "first frames are empty below.\n"
            "Look decides how near the snow is: Point and Streak far away, Soft Blob out of focus before the lens, "
            "Flake and Star only where single flakes are seen large.\n"
            "Let the line from Left to Right reach beyond both sides, farther where the wind comes from.\n"
            "Use Size Bias lets big and small flakes part: big ones of wet snow sink fastest, of dry snow the small "
            "ones. That alone gives much depth.\n"
            "Sizes, gravity, wind and swirls count pixels of the full size: double Flake Size, Gravity, Wind Speed and "
            "Swirl Magnitude at twice the resolution.\n"
            "A proxy shows the same flakes smaller. Points and streaks are a pixel wide at any size and look heavier "
            "there.\n"
            "Put it after the grade and before grain and effects of the lens. With heavy snow haze the shot a little "
            "first; the effect does not dim the distance.\n"};
    enum LookOf { Point = 1, Streak, SoftBlob, TexturedBlob, Flake, Star };
    enum GlintColourOf { BoxColour = 1, OwnColour, RandomColour };

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};

    Page page{this, "Snow"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "Kind of snowfall: sets the births, the look, the forces and the colours."};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Snow Only", false, {.keptByPresets = true}},
                              "Shows the snow over black instead of over the background."};
    StartControls start{this};
    EmitterControls emitter{this,
                            {.left = {0.2, 0.8},
                             .right = {0.8, 0.8},
                             .spread = 0.02,
                             .density = 20.0,
                             .densest = 1000.0,
                             .lifetime = 200.0}};
    FloatControlK7 InitialVelocity{
        this,
        {"InitialVelocity", "Initial Velocity", -30.0, -200.0, 200.0},
        "Upward velocity at birth, in tenths of a pixel a frame at full size; below 0 flakes start downwards."};
    FloatControlK7 VelocityVar{this,
                               {"VelocityVar", "Velocity Variance", 50.0, 0.0, 100.0},
                               "How much the velocities of flakes at birth differ, in percent."};

    Page lookPage{this, "Look"};
    ListControlK7 LookMode{this,
                           {"LookMode", "Look", 2, {"Point", "Streak", "Soft Blob", "Textured Blob", "Flake", "Star"}},
                           "How flakes are drawn: points, lines along their way, round blobs, snow crystals or stars."};
    FloatControlK7 FlakeSize{
        this, {"FlakeSize", "Flake Size", 4.0, 1.0, 20.0}, "Radius of the flakes, in pixels at full size."};
    FloatControlK7 FlakeSizeVar{this,
                                {"FlakeSizeVar", "Flake Size Variance", 100.0, 0.0, 100.0},
                                "How far flakes differ from Flake Size, in percent of it."};
    FloatControlK7 Flakerot{this,
                            {"Flakerot", "Flake Rotation", 1.0, 0.0, 20.0},
                            "How far a flake or star turns each frame, at most, in radians."};
    CheckboxControlK7 DoBias{
        this, {"DoBias", "Use Size Bias"}, "Lets the fall, the wind and the swirls depend on the size of a flake."};
    ListControlK7 DrySnow{this,
                          {"DrySnow", "Snow Type", 0, {"Wet", "Dry"}},
                          "Of wet snow the big flakes sink fastest, of dry snow the small ones."};
    FloatControlK7 SizeBias{
        this, {"SizeBias", "Size Bias", 1.0, 1.0, 20.0}, "How strongly the size counts; 1 is not at all."};

    Page forcesPage{this, "Forces"};
    GravityControls gravity{this, {.strength = 0.2}};
    FrictionControls friction{this, 0.05};
    WindControls wind{this, {.spread = 10.0, .speed = 5.0, .everywhere = true}};
    TurbulenceControls turbulence{this, {.density = 60.0, .magnitude = 1.0}};

    Page colourPage{this, "Colour"};
    TintControls tint{this, "Snow"};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Opacity of the flakes, in percent."};
    BeamControls glint{this,
                       {.what = "Glint",
                        .source = {0.9, 0.5},
                        .target = {0.1, 0.5},
                        .sentence = "Lets blobs and flakes glint where a beam of light falls on them."}};
    FloatControlK7 GlintTight{this,
                              {"GlintTight", "Glint Tightness", 30.0, 0.0, 1000.0},
                              "How close to the middle of the beam flakes must be to glint, as the exponent of a "
                              "power: 0 is anywhere in it."};
    FloatControlK7 GlintZone{this,
                             {"GlintZone", "Glint Zone", 90.0, 0.0, 180.0},
                             "Opening angle of the beam, in degrees; it fades over the outer 30 percent."};
    FloatControlK7 GlintProbability{this,
                                    {"GlintProbability", "Glint Probability", 50.0, 0.0, 100.0},
                                    "How likely a flake glints in a frame, and how brightly, in percent."};
    ColourControlK7 GlintColour{this,
                                {"GlintColour", "Glint Colour", 1.0f, 1.0f, 1.0f},
                                "Colour of the glints, or what random colours are made from."};
    ListControlK7 ColourMode{
        this,
        {"ColourMode", "Colour Mode", 0, {"Box Colour", "Snow Colour", "Random Colour"}},
        "Colour that glints take: Glint Colour, that of the flake, or Glint Colour changed at random."};
    FrameRateControlK7 FramesPerSecond{this};

    WeatherOverlay overlay{this, emitter, wind, glint};

    SnowInfo() {
        scene.look = {{"Demos", "Blizzard"},
                      {"PreRoll", "400"},
                      {"Lifetime", "600"},
                      {"Left", "-0.2,1.05"},
                      {"Right", "1.2,1.05"}};
        declarePresets();
        ghost({&DrySnow, &SizeBias}, DoBias, isOff);
        ghost({&FlakeSize, &FlakeSizeVar}, LookMode, below(SoftBlob));
        ghost({&Flakerot}, LookMode, below(Flake));
        ghost({&GlintTight, &GlintZone, &GlintProbability, &ColourMode}, glint.on, isOff);
        const auto ghostColour = [this] {
            int glints = 0, mode = 0;
            if (glint.on.GetValue(-1, &glints) && ColourMode.GetValue(-1, &mode))
                GlintColour.SetGhosted(!glints || mode == OwnColour);
        };
        rule(glint.on, ghostColour, "Glint Colour is used with the colour modes Box Colour and Random Colour");
        rule(ColourMode, ghostColour, "Glint Colour is used with the colour modes Box Colour and Random Colour");
        scene.inputs = {"winter-small.png"};
        scene.settings = {{"Demos", "Fine"}};
        scene.frame = 60;  // Default begins with an empty frame
    }

  private:
    void declarePresets();
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
