// Q_Rain: drops that fall from a line as streaks, with gusts, puddles to bounce on and light to glisten in.
//
// The particle system of Snow (engines/replay/FrameClock.h). A drop condenses from a start level over its first
// frames and fades before its death. Births can be kept to the white parts of a matte, and white parts of another send
// drops up again.
#pragma once

#include "effects/engines/controls/ParticleControls.h"
#include "effects/weather/WeatherEffect.h"
#include "effects/weather/WeatherOverlay.h"

struct RainInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Rain",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .description = "Particle system simulating Rain. This effect is in Box Number 1",
        .purpose =
            "Rain in front of a shot, from a drizzle to a cloudburst: falling streaks with gusts and wind, puddles and "
            "roofs that drops bounce on, and a lamp whose beam they glisten in.",
        .usage =
            "Connect the shot as Background Clip. Without one the rain falls over black, and Rain Only leaves a "
            "connected shot out: a layer to be screened over the shot later, or behind a foreground.\n"
            "Begin with the Type that comes nearest and then change single values; another Type sets them anew.\n"
            "Pre Roll lets it rain before the first frame. At the default gravity a drop takes about 45 frames from "
            "the top of an HD picture to its bottom.\n"
            "Let the line from Left to Right reach beyond both sides, and farther on the side that the wind comes "
            "from; else a corner stays dry. Position Variance dissolves the bands that gusts make.\n"
            "A matte on Birth (Use Birth Matte) keeps births to its red parts. A matte on Bounce (Puddle Bounce), "
            "white where there are puddles, sends drops up again.\n"
            "For depth use two or three of them: one far and fine with short streaks and low opacity, one near with "
            "long streaks, each with other births.\n"
            "Velocities, gravity and wind count pixels of the full size. At twice the resolution the same values look "
            "half as fast and fine; double Gravity, Initial Velocity and Wind Speed.\n"
            "Streaks are about a pixel wide at any size, so a proxy shows heavier rain than the full picture. Judge "
            "Density and Opacity at full size.\n"
            "Put it after the grade of the shot and before grain and effects of the lens, which then fall on the rain "
            "too.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Background Clip", .shortLabel = "BG"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth"}};
    ClipRecord bounce{this, {.name = "Input3", .label = "Bounce"}};

    Page page{this, "Rain"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "Kind of rain: sets the births, the bounces, the forces and the look."};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Rain Only", false, {.keptByPresets = true}},
                              "Shows the rain over black instead of over the background."};
    StartControls start{this,
                        {.name = "StreakScale",
                         .label = "Streak Scale",
                         .value = 100.0,
                         .longest = 500.0,
                         .sentence = "Length of the streaks, in percent of the way of their last frame."}};
    EmitterControls emitter{this,
                            {.left = {0.2, 0.8},
                             .right = {0.8, 0.8},
                             .density = 40.0,
                             .densest = 2000.0,
                             .lifetime = 80.0,
                             .births = EmitterControls::Births::Gusty}};
    FloatControlK7 Extinction{
        this,
        {"Extinction", "Extinction", 20.0, 1.0, 1000.0},
        "Frames in which a drop condenses after its birth and vanishes before its death, 10 percent more or less."};
    FloatControlK7 InitialVelocity{
        this,
        {"InitialVelocity", "Initial Velocity", -5.0, -80.0, 80.0},
        "Upward velocity at birth, in pixels a frame at full size; below 0 drops start downwards."};
    FloatControlK7 VelocityVar{this,
                               {"VelocityVar", "Velocity Variance", 100.0, 0.0, 100.0},
                               "How much the velocities of drops at birth differ, in percent."};
    CheckboxControlK7 UseBirthMatte{this,
                                    {"UseBirthMatte", "Use Birth Matte"},
                                    "Keeps births to where the red channel of the birth clip is not black."};
    CheckboxControlK7 PuddleBounce{
        this,
        {"PuddleBounce", "Puddle Bounce"},
        "Lets drops bounce where the red channel of the bounce clip is not black; without one at the frame's bottom."};
    FloatControlK7 PuddleDamping{
        this,
        {"PuddleDamping", "Puddle Damping", 10.0, -200.0, 200.0},
        "Most that a drop keeps of its falling speed when it bounces up, in percent; further bounces keep less."};
    IntegerControlK7 Bounces{
        this, {"Bounces", "Bounces", 26, 1, 200}, "How often a drop may bounce again after its first bounce."};

    Page forcesPage{this, "Forces"};
    GravityControls gravity{this, {.strength = 1.0}};
    FrictionControls friction{this, 0.01};
    TurbulenceControls turbulence{this, {.on = false, .density = 4.4, .magnitude = 1.29, .latest = 500.0}};
    WindControls wind{this, {.spread = 90.0, .speed = 2.0}};

    Page lookPage{this, "Look"};
    FloatControlK7 InitIntensity{this,
                                 {"InitIntensity", "Initial Intensity", 100.0, 0.0, 100.0},
                                 "Opacity of a drop that has condensed, in percent."};
    FloatControlK7 Condensation{this,
                                {"Condensation", "Condensation", 25.0, 0.0, 100.0},
                                "How far a drop has condensed at its birth, in percent: 0 is still invisible."};
    FloatControlK7 Opacity{
        this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Opacity of the rain as a whole, in percent."};
    TintControls tint{this, "Rain"};
    LightControls light{
        this,
        {.source = {0.9, 0.5},
         .target = {0.1, 0.5},
         .tightness = 30.0,
         .tightest = 1000.0,
         .tightnessSentence = "Kept for projects that hold it; the picture of the rain does not depend on it."}};
    FrameRateControlK7 FramesPerSecond{this};

    WeatherOverlay overlay{this, emitter, wind, light.beam};

    RainInfo() {
        scene.look = {{"Demos", "Squall"}};
        declarePresets();
        ghost({&PuddleDamping, &Bounces}, PuddleBounce, isOff);
        scene.inputs = {"street-small.png", "@ramp", "street-puddles.png"};
        scene.settings = {{"Demos", "Squall"}, {"Density", "60"}, {"StreakScale", "40"}};
        scene.frame = 60;  // Default begins with an empty frame
    }

  private:
    void declarePresets();
};

struct RainMotion : weather::WeatherMotion {
    float extinction;  // frames
    float intensity;
    float damping;
    std::int32_t bounces;
    std::int32_t birth_matte;
    std::int32_t puddles;  // drops bounce
    std::int32_t floor;    // at the frame's bottom, for there is no matte
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
    bool overPuddle(RainParticle& particle, float* puddle) const;
    void bounceOffPuddles(RainParticle& particle);
};
