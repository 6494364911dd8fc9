// Q_RainDrops: water on a window. Drops settle on the glass, some of them run down, and their tracks dry.
//
// Drops are particles. They leave a layer of water on their way, which dries from frame to frame; the layer is a plane
// of heights, through which the picture is seen. With steam the glass is misted, and clear where water ran.
#pragma once

#include <vector>

#include "effects/engines/controls/PressCounter.h"
#include "effects/engines/particles/Forces.h"
#include "effects/engines/particles/ParticleSet.h"
#include "effects/engines/refraction/Refraction.h"
#include "effects/engines/replay/ClockedEffect.h"

struct RainDropsInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "RainDrops",
        .menu = "Natural Phenomena",
        .overlay = true,
        .history = FrameHistory::Inputs,
        .skipsSmallPreview = true,
        .description = "Water falling onto a window and running down. This effect is in Box Number 1",
        .purpose =
            "A window in the rain before the shot: drops settle on the glass, some of them run down and leave tracks, "
            "and a pane full of steam clears where water runs.",
        .usage =
            "Connect what is seen through the window as Background Clip; out of focus it looks best.\n"
            "Begin with a preset. Drops and Drop Variance say how many fall, Lump Rad how large they are, Dribble "
            "Chance how many of them run, Dribble Wait when.\n"
            "Sizes and speeds count pixels of the full size. For a close window raise Lump Rad to 12 and more, and "
            "Gravity with it.\n"
            "Fade Out is how fast water dries: 95 leaves tracks for two seconds, 70 for a moment.\n"
            "Distortion is the refractive index: 1.05 is a film of water, 1.33 bends as real drops do.\n"
            "Lighting gives the drops highlights, and the pane a sheen across from the lamp; more Gloss narrows both.\n"
            "With Steam on the whole pane is misted, and tracks stay: nothing dries. Blurring, Lift and Brightness "
            "make the mist, Mix gives back some of the picture.\n"
            "A matte on Birth (Use Birth Matte) keeps drops to its red parts; they run out of them.\n"
            "Render in order: each frame goes on from the one before. A frame far from the start is not simulated "
            "from there: it shows a message, from frame 67 on with two Inter Frames. Press Clear Cache, go to the "
            "start and render sequentially.\n"
            "Put it after the grade of the shot, and before effects of the lens.\n"};

    ClipRecord input{this, {.name = "Input1", .label = "Background Clip", .shortLabel = "BG", .required = true}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth"}};

    Page page{this, "RainDrops"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "Kind of rain on the window: sets the drops, how they run, and the look."};
    IntegerControlK7 StartAt{this,
                             {"StartAt", "Start at Frame", 0, 0, 9999},
                             "The frame at which it begins to rain; before it the window is dry."};
    IntegerControlK7 PreRoll{
        this, {"PreRoll", "Pre Roll", 2, 0, 999}, "How many frames it has rained when the rain begins to show."};
    PressCounterK7 CCacheSecret{this, "CCacheSecret", "the rain begins anew"};
    IntegerControlK7 InterFrame{
        this,
        {"InterFrame", "Inter Frames", 2, 0, 50},
        "Steps of the drops between two frames: more make the tracks of fast drops rounder, and replays slower."};
    FloatControlK7 Fecundity{this, {"Fecundity", "Drops", 5.0, 0.0, 500.0}, "Drops that fall in a frame, on average."};
    FloatControlK7 FecundVar{
        this, {"FecundVar", "Drop Variance", 10.0, 0.0, 100.0}, "How many more or fewer drops a frame may have."};
    CheckboxControlK7 WithAnimation{
        this,
        {"WithAnimation", "With Animation", false, {.keptByPresets = true}},
        "Simulates each earlier frame with the values of that frame; otherwise those of the frame shown count "
        "for all of them."};
    FloatControlK7 InitialVelocity{
        this,
        {"InitialVelocity", "Initial Velocity", 30.0, 0.0, 1000.0},
        "Speed at which a drop creeps from where it falls, in hundredths of a pixel a frame at full size; up to twice "
        "that. At 0 it sits."};
    FloatControlK7 VelMagVar{this,
                             {"VelMagVar", "Velocity Variance", 100.0, 0.0, 100.0},
                             "How much faster some of them creep, in percent, divided by the steps of a frame."};
    AngleControlK7 VelDir{this,
                          {"VelDir", "Velocity Direction", 270.0, 0.0, 360.0},
                          "Direction in which drops creep, in degrees anticlockwise from the right: 270 is down."};

    Page forcesPage{this, "Forces"};
    CheckboxControlK7 DoGravity{this, {"DoGravity", "Use Gravity", true}, "Lets drops dribble."};
    FloatControlK7 Gravity{this,
                           {"Gravity", "Gravity", 4.5, 0.0, 10.0},
                           "Velocity that a dribbling drop of 40 pixels gains each frame, in pixels a frame at full "
                           "size; smaller ones gain less in proportion."};
    AngleControlK7 GravAngle{this,
                             {"GravAngle", "Gravity Angle", 270.0, 0.0, 360.0},
                             "Direction in which drops dribble, in degrees anticlockwise from the right: 270 is down."};
    FloatControlK7 GravChance{
        this, {"GravChance", "Dribble Chance", 5.0, 0.0, 100.0}, "How many of the drops dribble, in percent."};
    IntegerControlK7 GravWait{
        this, {"GravWait", "Dribble Wait", 0, 0, 500}, "How many frames after it fell a drop begins to dribble."};
    FloatControlK7 GravBoost{this,
                             {"GravBoost", "Dribble Speed", 1.0, 1.0, 100.0},
                             "Factor of gravity for the fastest drop; each has its own, from 0 to this."};
    CheckboxControlK7 DoFriction{this, {"DoFriction", "Use Friction", true}, "Lets the glass slow dribbling drops."};
    FloatControlK7 Friction{this,
                            {"Friction", "Friction", 0.05, 0.0, 1.0},
                            "Part of its velocity that a dribbling drop loses each frame: 0 is none, 1 is all."};
    CheckboxControlK7 DoTurbulence{this, {"DoTurbulence", "Use Turbulence", true}, "Lets dribbling drops meander."};
    FloatControlK7 SwirlDens{this,
                             {"SwirlDens", "Swirl Density", 100.0, 0.0, 100.0},
                             "How fine the turns are, in cells of noise across the picture."};
    FloatControlK7 SwirlAmp{
        this, {"SwirlAmp", "Swirl Magnitude", 14.0, 0.0, 100.0}, "How strong the turns are, as Gravity is."};
    FloatControlK7 SwlMaxTim{
        this, {"SwlMaxTim", "Swirl Time to Max", 50.0, 0.0, 1000.0}, "Age at which a drop meanders fully, in frames."};
    FloatControlK7 Lifetime{this,
                            {"Lifetime", "Lifetime", 500.0, 1.0, 1000.0},
                            "How long a drop lives, in frames; after that it only dries."};
    FloatControlK7 LifetimeVar{this,
                               {"LifetimeVar", "Lifetime Variance", 100.0, 0.0, 100.0},
                               "How many lifetimes a drop may live longer; 0 is none."};

    Page lookPage{this, "Look"};
    FloatControlK7 LumpRad{
        this, {"LumpRad", "Lump Rad", 5.0, 1.0, 40.0}, "Size of the drops across, in pixels at full size."};
    FloatControlK7 LumpRadVar{this,
                              {"LumpRadVar", "Lump Rad Variance", 100.0, 0.0, 100.0},
                              "How much larger or smaller drops may be, in percent; none is smaller than 2 pixels."};
    FloatControlK7 MonoVar{this,
                           {"MonoVar", "Mono Variance", 10.0, 0.0, 100.0},
                           "How far the thickness of drops differs, in percent of the thickest; above 50 some are "
                           "too thin to be seen."};
    FloatControlK7 FadeOut{this,
                           {"FadeOut", "Fade Out", 95.0, 50.0, 100.0},
                           "How much of the water is left a frame later, in percent: 100 never dries. With steam "
                           "nothing dries."};
    IntegerControlK7 Seed{this, {"Seed", "Seed", 127, 0, 999}, "Seed of the rain: each number makes other drops."};
    CheckboxControlK7 UseBirthMatte{this,
                                    {"UseBirthMatte", "Use Birth Matte"},
                                    "Lets drops fall only where the red channel of the birth clip is not black."};
    CheckboxControlK7 DoDistort{this,
                                {"DoDistort", "Use Distortion", true},
                                "Bends the picture behind the water; off, the window is not seen at all."};
    FloatControlK7 Distortion{this,
                              {"Distortion", "Distortion", 1.2, 1.0, 2.0},
                              "Refractive index of the water: 1 does not bend the picture, 1.33 is water."};
    CheckboxControlK7 LightOn{
        this, {"LightOn", "Lighting"}, "Lights the window: highlights lie where the water's slopes face the light."};
    PositionControlK7 LightPos{this, {"LightPos", "Light", 0.75, 0.75}, "Where the light stands over the picture."};
    FloatControlK7 LightZ{this,
                          {"LightZ", "LightZ", 0.5, 0.05, 5.0},
                          "Height of the light above the glass, in widths of the picture: the lower, the more its side "
                          "counts."};
    FloatControlK7 LightBright{this,
                               {"LightBright", "Light Bright", 100.0, 0.0, 200.0},
                               "Brightness of the highlights in percent of the light's colour; 0 is no light."};
    FloatControlK7 Gloss{this,
                         {"Gloss", "Gloss", 45.0, 1.0, 1000.0},
                         "How polished the water is: 1 is a wide sheen, 1000 leaves only the sharpest glints."};
    ColourControlK7 LightColour{this, {"LightColour", "Light Colour", 1.0, 1.0, 1.0}, "Colour of the highlights."};
    CheckboxControlK7 DoSteam{this, {"DoSteam", "Use Steam"}, "Mists the window where no water ran."};
    FloatControlK7 Focus{this,
                         {"Focus", "Blurring", 26.0, 0.0, 100.0},
                         "How far the mist blurs the picture, in percent of its width; 12.5 is the most."};
    FloatControlK7 Lift{this,
                        {"Lift", "Lift", 26.0, -100.0, 100.0},
                        "Light that the mist adds, in percent of white; below 0 it takes."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 82.0, 0.0, 100.0},
                              "How much of the picture's light the mist lets through, in percent."};
    FloatControlK7 Mix{
        this, {"Mix", "Mix", 24.0, 0.0, 100.0}, "How much of the sharp picture is left in the mist, in percent."};
    FirstPageAgain firstPage{this};
    ButtonControlK7 ClearCache{this,
                               {"ClearCache", "Clear Cache"},
                               "Forgets all that was simulated, so that the rain begins anew; render from the start "
                               "then."};

    CrosshairOverlayK7 lightWidget{this, LightPos, true};

    RainDropsInfo() {
        declarePresets();
        ghost({&Gravity, &GravAngle, &GravChance, &GravWait, &GravBoost}, DoGravity, isOff);
        ghost({&Friction}, DoFriction, isOff);
        ghost({&SwirlDens, &SwirlAmp, &SwlMaxTim}, DoTurbulence, isOff);
        ghost({&Distortion}, DoDistort, isOff);
        ghost({&LightPos, &LightZ, &LightBright, &Gloss, &LightColour}, LightOn, isOff);
        ghost({&Focus, &Lift, &Brightness, &Mix}, DoSteam, isOff);
        ghost({&FadeOut}, DoSteam, isOn);
        lightWidget.colour = OVERLAY_YELLOW;
        scene.inputs = {"portrait-small.png"};
        scene.settings = {{"DoSteam", "1"},   {"LightOn", "1"},    {"InitialVelocity", "0"}, {"Fecundity", "12"},
                          {"LumpRad", "4.5"}, {"GravWait", "10"},  {"GravChance", "8"},      {"Gravity", "1.5"},
                          {"Mix", "0"},       {"Brightness", "83"}};
        scene.look = {{"Demos", "Steamy"}, {"DoFriction", "1"}, {"Fecundity", "60"},
                      {"LumpRad", "8"},    {"GravWait", "10"},  {"GravChance", "6"},
                      {"Gravity", "4"},    {"Mix", "0"},        {"Focus", "4"}};
        scene.frame = 60;
    }

  private:
    void declarePresets();
};

struct RainDropsParticle : ParticleBase {  // the colour's first channel is its thickness
    float from[2] = {};                    // position before the last step
    float size = 0;                        // across, pixels at full size
    float wait = 0;                        // age from which it dribbles
    float boost = 0;                       // factor of gravity
    std::int32_t dribbles = 0;
    std::int32_t wandering = 1;  // 0: rests, after a step in which it did not move
};

class RainDrops final : public ClockedEffect<RainDropsInfo> {
  public:
    void ButtonPressed(ButtonControlK7& button) override;
    int liveDrops() const { return m_set.live(); }

  protected:
    SimulationTiming timing() const override;
    std::uint64_t readControls() override;
    std::uint32_t seed() const override { return std::uint32_t(Seed.value); }
    std::uint64_t steeringPictures() const override;
    void background() override;
    void begin() override;
    bool advance() override;
    void state(StateWalk& walk) override;
    void finish(K7Image& result) override;
    void tooFar(K7Image& result) override;
    void PrepareOverlay() override { lightWidget.visible = !LightPos.ghosted(); }

  private:
    // What steers steps. Times count steps, of which a frame has several; lengths pixels.
    struct Rules {
        std::int32_t steps;                   // a frame
        float births, births_variance;        // a frame
        float life, life_variance;            // steps; the variance as a factor
        float speed, speed_variance;          // pixels a step; a factor
        float heading[2];                     // of drops that creep
        float gravity, gravity_direction[2];  // pixels a step and step
        float friction;                       // part of the velocity, a step
        float chance, wait, boost;            // of a dribble
        particles::Swirl swirl;               // amplitude in pixels a step and step
        float size, size_variance;            // pixels at full size; a factor
        float thickness_variance;
        float kept;    // of the water, after a frame
        float across;  // pixels for a pixel at full size
        std::int32_t steam, birth_matte;
        float pressed;  // the button's counter
    };

    bool isSeen() const { return DoDistort.value && Distortion.value > 1.0; }
    bool isMisted() const { return DoSteam.value && isSeen(); }
    void spawn();
    bool fillNewborn(RainDropsParticle& drop);
    void fall(RainDropsParticle* drops, int count) const;
    bool refract(K7Image& result) const;
    void addSteam(const K7Image* water, K7Image& result) const;

    Rules m_rules{};
    ParticleSet<RainDropsParticle> m_set;
    SolidNoise m_noise{0};
    std::uint32_t m_noise_seed = 0;
    ImagePtr m_water;  // one channel: thickness of the water, times how far the drop covers the pixel
};
