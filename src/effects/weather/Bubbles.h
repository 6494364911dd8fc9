// Q_Bubbles: glassy shells that rise, grow, swirl and burst, lit from one side, with the picture around them mirrored
// in their skin.
#pragma once

#include <vector>

#include "effects/engines/controls/ParticleControls.h"
#include "effects/weather/BubbleSkin.h"
#include "effects/weather/WeatherEffect.h"

struct BubblesInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Bubbles",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .description = "Particle system simulating bubbles. This effect is in Box Number 1",
        .purpose =
            "Bubbles: glassy shells that rise, grow, swirl, gather and burst, lit from one side, with a picture "
            "mirrored in their skin. Soap bubbles, champagne, life under water.",
        .usage =
            "Connect the shot as Background. Without one the bubbles are on black; Bubbles Only leaves a connected "
            "shot out.\n"
            "Connect what the bubbles should mirror as Reflection: the shot itself, a blurred copy or a picture of the "
            "room. A soft, contrasty one with a bright window looks best; Reflection Intensity mixes it in.\n"
            "Drag the beam of light over the viewer until highlights sit where the lamps of the shot are; Glisten "
            "Tightness makes them small and hard.\n"
            "A matte on Birth (Use Birth Matte) keeps births to its red parts. One on Burst/Gather makes bubbles burst "
            "(Bubbles Burst) or gather and stay (Congregate) where its red is above one half.\n"
            "Pre Roll of as many frames as bubbles need to cross the picture, else the first frames hold newborn ones "
            "only.\n"
            "Large bubbles are few: Density 1 to 3 fills a frame. Dozens a frame are for foam, and read as grey fog "
            "where they overlap.\n"
            "Sizes, velocities and forces count pixels of the full size: double Bubble Size, Gravity and Initial "
            "Velocity at twice the resolution.\n"
            "A proxy shows the same bubbles smaller; their highlights lose detail first. Judge the skin at full size.\n"
            "Put it after the grade and before depth of field and grain.\n"};
    enum Growth { Assorted = 1, Shrinking = 2, VariableGrowth = 3, LinearGrowth = 4 };

    ClipRecord input{this, {.name = "Input", .label = "Background", .shortLabel = "BG"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth"}};
    ClipRecord burst_clip{this, {.name = "Input3", .label = "Burst/Gather", .shortLabel = "BorG"}};
    ClipRecord reflection{this, {.name = "Input4", .label = "Reflection", .shortLabel = "Rfl"}};

    Page pageBubbles{this, "Bubbles"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "Kind of bubbles: sets the births, the growth, the forces and the light."};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Bubbles Only", false, {.keptByPresets = true}},
                              "Shows the bubbles over black instead of over the background."};
    StartControls start{this};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 831, 1, 9999, {.animates = false}},
                          "Seed of all that is random: each number makes other bubbles."};
    EmitterControls emitter{this,
                            {.left = {0.01, 0.01},
                             .right = {0.99, 0.01},
                             .spread = 0.01,
                             .widest = 3.0,
                             .density = 20.0,
                             .densest = 180.0,
                             .lifetime = 200.0}};
    FloatControlK7 TimeMaxSize{this,
                               {"TimeMaxSize", "Time to Max Size", 50.0, 1.0, 500.0},
                               "Frames in which a bubble grows or shrinks to its last size."};
    CheckboxControlK7 UseBirthMatte{this,
                                    {"UseBirthMatte", "Use Birth Matte"},
                                    "Keeps births to where the red channel of the birth clip is not black."};
    FloatControlK7 InitialVelocity{
        this,
        {"InitialVelocity", "Initial Velocity", 100.0, -200.0, 200.0},
        "Least velocity at birth, in hundredths of a pixel a frame at full size; below 0 against Velocity Direction."};
    FloatControlK7 VelocityVar{this,
                               {"VelocityVar", "Velocity Variance", 100.0, 0.0, 200.0},
                               "How much the velocities of bubbles at birth differ, in percent."};
    AngleControlK7 VelDir{this,
                          {"VelDir", "Velocity Direction", 90.0, 0.0, 360.0},
                          "Direction in which bubbles start, in degrees anticlockwise from the right: 90 is up."};
    Page pageGrowth{this, "Growth"};
    ListControlK7 GrowthMode{
        this,
        {"GrowthMode", "Growth Mode", 3, {"Assorted", "Shrinking", "Variable Growth", "Linear Growth"}},
        "How bubbles change: they keep their different sizes, shrink, or grow from different or from similar small "
        "sizes."};
    FloatControlK7 BubbleSize{this,
                              {"BubbleSize", "Bubble Size", 20.0, 1.0, 40.0},
                              "Size at birth, in pixels at full size: half of it is the mean radius, in Shrinking "
                              "twice and in Linear Growth an eighth of it."};
    FloatControlK7 BubbleSizeVar{
        this,
        {"BubbleSizeVar", "Bubble Size Variance", 100.0, 0.0, 100.0},
        "How far radii at birth differ from the mean, in percent of Bubble Size; a quarter of that in Linear Growth."};
    Page pageForces{this, "Forces"};
    GravityControls gravity{this, {.strength = 0.2, .angle = 90.0, .largest = 360.0}};
    FrictionControls friction{this, 0.05};
    TurbulenceControls turbulence{this, {.density = 60.0, .magnitude = 1.0}};
    Page pageBursting{this, "Bursting"};
    CheckboxControlK7 BubblesBurst{this,
                                   {"BubblesBurst", "Bubbles Burst"},
                                   "Lets bubbles burst where the red channel of the burst clip is above one half."};
    FloatControlK7 BurstProbability{this,
                                    {"BurstProbability", "Burst Probability", 50.0, 0.0, 100.0},
                                    "How likely a bubble bursts there in a frame, in percent."};
    FloatControlK7 BurstQuantity{this,
                                 {"BurstQuantity", "Burst Quantity", 80.0, 0.0, 100.0},
                                 "How much of the skin is seen as droplets when a bubble bursts, in percent."};
    FloatControlK7 BurstExtent{this,
                               {"BurstExtent", "Burst Extent", 5.0, 0.0, 10.0},
                               "How far droplets are thrown from the skin, at most, in pixels at full size."};
    FloatControlK7 Afterlife{this,
                             {"Afterlife", "Afterlife", 3.0, 0.0, 100.0},
                             "Longest time that a bubble lives on after it has burst or left the matte, in frames."};
    CheckboxControlK7 Congregate{this,
                                 {"Congregate", "Congregate"},
                                 "Lets bubbles gather, without gravity, where the red channel of the gather clip is "
                                 "above one half; those that leave die."};
    Page pageColour{this, "Colour"};
    TintControls tint{this, "Bubble"};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Opacity of the bubbles, in percent."};
    LightControls light{this,
                        {.on = true,
                         .source = {1.1, 0.9},
                         .target = {0.5, 0.01},
                         .tightness = 5.0,
                         .tightest = 100.0,
                         .tightnessSentence =
                             "How fast highlights fade where less light falls on a bubble, as the exponent of a power.",
                         .raised = true}};
    CheckboxControlK7 DoReflections{
        this, {"DoReflections", "Use Reflections", true}, "Mirrors the reflection clip in the skin of the bubbles."};
    FloatControlK7 RefIntensity{
        this, {"RefIntensity", "Reflection Intensity", 100.0, 0.0, 200.0}, "Strength of the reflections, in percent."};
    FrameRateControlK7 FramesPerSecond{this};

    LineOverlayK7 sourceWidget{this, emitter.left, emitter.right};
    LineOverlayK7 lightWidget{this, light.beam.source, light.beam.target, true};

    BubblesInfo() {
        scene.look = {{"Demos", "Soap"}};
        light.beam.on.followedByOverlay = true;
        declarePresets();
        ghost({&TimeMaxSize}, GrowthMode, is(Assorted));
        ghost({&BurstProbability, &BurstQuantity, &BurstExtent}, BubblesBurst, isOff);
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

  private:
    void declarePresets();
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
    std::int32_t phase = 0;        // 1: bursting
    std::int32_t stuck = 0;        // 1: to a matte, 2: released
    std::uint32_t burst_seed = 0;  // of its droplets, which stay where they are from frame to frame
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
    void PrepareOverlay() override { lightWidget.visible = !light.beam.source.ghosted(); }

  private:
    void gather(BubblesParticle& particle, bool on_matte) const;
    void burst(BubblesParticle& particle, bool on_matte);
    float radiusOf(const BubblesParticle& particle) const;
    void lightUp(const BubblesParticle& particle, Bubble& bubble);
    static void paintOne(const void* effect, int item, K7Image* image, int first, int last);

    BubbleSprites m_sprites;
    GlossPowers m_powers;
    MirroredPicture m_mirrored;
    std::vector<Bubble> m_bubbles;  // of the frame being drawn
};
