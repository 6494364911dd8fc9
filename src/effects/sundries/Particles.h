// Q_Particles: particles are born, fly, bounce, change and die, and are drawn as sparks, dust, confetti, leaves, snow
// or as a picture of one's own.
//
// What an artist uses it for: everything small and many that a shot lacks. Sparks off a grinder, dust in a beam of
// light, embers, confetti, fairy dust after a wand, leaves, an explosion, a galaxy; abstract looks that flow along the
// edges of a picture.
//
// The method: each particle is a point with a velocity, stepped once a frame (W. Reeves, "Particle systems: a technique
// for modelling a class of fuzzy objects", 1983). Air carries it (wind, a vortex, the curl of noise), gravity, an
// attractor and the slopes of a clip accelerate it: particles::ForceField. Surfaces are found by their distance:
// particles::Obstacles. How it looks follows from its own number and its age, so that no look needs a replay:
// particles::ParticleLook. Births are scattered over the frame in which they fall, so that fast particles leave no
// gaps.
//
// What the clips steer: Birth is where particles are born, the more the brighter; Bounce is solid where it is bright;
// the slopes of Turbulence push; Alternative Colours gives a particle its colour at the place of its birth; Particle
// Image is what each particle shows. Without a clip of its own Birth, Turbulence and Alternative Colours are the
// background, nothing is solid, and a particle image is a soft blob.
//
// What moves: the simulation is replayed on the shared clock, so that any frame can be rendered by itself. Pictures
// that steer count as they are at the frame rendered. States are kept within 96 MB, so that at 100,000 particles about
// ten of them are there to go back to; there are never more than 200,000 particles.
#pragma once

#include "effects/engines/controls/ForceControls.h"
#include "effects/engines/controls/LookControls.h"
#include "effects/engines/controls/ParticleControls.h"
#include "effects/engines/particles/LightPlaces.h"
#include "effects/engines/particles/LookBatch.h"
#include "effects/engines/particles/Obstacles.h"
#include "effects/engines/particles/ParticleEffect.h"

struct ParticlesInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Particles",
        .menu = "Sundries",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Inputs,
        .skipsSmallPreview = true,
        .description =
            "Provides a comprehensive, general purpose, 2D particle system simulator and renderer. This "
            "effect is in Box Number 30",
        .purpose =
            "Everything small and many: sparks, dust, embers, confetti, fairy dust, leaves, fireflies, an explosion or "
            "a galaxy, or a picture of your own a thousand times.",
        .usage =
            "Connect the shot as Background, begin with a preset and put the emitter where it belongs. Without a "
            "background particles are on black, with an alpha to be laid over anything.\n"
            "Emitter says where particles are born: at a point, on a line, in a circle or a box, or where the Birth "
            "clip is bright. Without a Birth clip that is where the background is bright.\n"
            "Air Drag decides how particles feel the air. Sparks hardly do; wind, swirl and vortex carry dust "
            "along.\n"
            "Connect a matte as Bounce and particles bounce off its bright parts; they also bounce off the frame's "
            "floor or walls.\n"
            "Clip Force drives particles along the edges of the Turbulence clip: a Clip Force Angle of 90 sends them "
            "around what is bright.\n"
            "Alternative Colours gives particles the colours of a clip where they are born: with the shot itself, it "
            "breaks up into coloured dust.\n"
            "With Particle Image as Look each particle shows that clip, cropped to what is not transparent, in the "
            "colours of the page Colour: white leaves the picture's own.\n"
            "Pre Roll lets particles fly before the first frame; as many frames as Lifetime fill the picture.\n"
            "Sizes, speeds and forces are parts of the picture's width, so a proxy shows the same.\n"
            "Put it after the grade and before grain, with a Shutter like the camera's.\n"};
    enum Emitters { Point = 1, Line, Circle, Box, BirthClip };
    enum Aims { Direction = 1, Outwards };
    enum FrameWalls { Open = 1, Floor, AllSides };
    enum ChildKinds { Childless = 1, Trails, Explosions, Both };

    ClipRecord input{this, {.name = "Input", .label = "Background", .shortLabel = "BG"}};
    ClipRecord birth{this, {.name = "Input2", .label = "Birth"}};
    ClipRecord bounce{this, {.name = "Input3", .label = "Bounce"}};
    ClipRecord turbulence{this, {.name = "Input4", .label = "Turbulence", .shortLabel = "Turb"}};
    ClipRecord colours{this, {.name = "Input5", .label = "Alternative Colours", .shortLabel = "Cols"}};
    ClipRecord picture{this, {.name = "Input6", .label = "Particle Image", .shortLabel = "Image"}};

    Page page{this, "Particles"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look: sets births, motion, forces and looks."};
    ListControlK7 Emitter{this,
                          {"Emitter", "Emitter", 0, {"Point", "Line", "Circle", "Box", "Birth Clip"}},
                          "Where particles are born: at Emitter Start, on the line to Emitter End, in the circle about "
                          "the start through the end, in the box between both, or where the clip Birth is bright."};
    PositionControlK7 EmitStart{this,
                                {"EmitStart", "Emitter Start", 0.5, 0.35},
                                "Place of the emitter, as fractions of the width and height of the picture."};
    PositionControlK7 EmitEnd{
        this,
        {"EmitEnd", "Emitter End", 0.6, 0.35},
        "The line's other end, a point of the circle, or the box's opposite corner, as fractions of the picture."};
    CheckboxControlK7 Outline{
        this, {"Outline", "Outline Only"}, "Lets particles be born on the outline of the circle or box alone."};
    FloatControlK7 Rate{
        this, {"Rate", "Rate", 20.0, 0.0, 5000.0, {.displayMax = 200.0}}, "Births a frame; below 1 one now and then."};
    IntegerControlK7 BurstSize{
        this, {"BurstSize", "Burst Size", 0, 0, 100000}, "Births of a burst, all in one frame; 0 is no bursts."};
    IntegerControlK7 BurstEvery{this,
                                {"BurstEvery", "Burst Every", 50, 0, 9999},
                                "Frames from one burst to the next; 0 is one burst at the start."};
    FloatControlK7 Lifetime{
        this, {"Lifetime", "Lifetime", 60.0, 1.0, 2000.0, {.displayMax = 300.0}}, "Life of a particle, in frames."};
    FloatControlK7 LifeVar{this,
                           {"LifeVar", "Lifetime Variance", 50.0, 0.0, 100.0},
                           "How much shorter or longer lives are, in percent of Lifetime."};
    CheckboxControlK7 AltColours{this,
                                 {"AltColours", "Alternative Colours"},
                                 "Gives a particle the colour that the clip Alternative Colours has where it is born; "
                                 "without that clip, the background's."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 391, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives other particles."};

    Page motionPage{this, "Motion"};
    FloatControlK7 Speed{this,
                         {"Speed", "Speed", 6.0, 0.0, 200.0, {.displayMax = 30.0}},
                         "Speed at birth, in thousandths of the picture's width a frame."};
    FloatControlK7 SpeedVar{
        this, {"SpeedVar", "Speed Variance", 50.0, 0.0, 100.0}, "How much speeds differ, in percent of Speed."};
    ListControlK7 Aim{this,
                      {"Aim", "Aim", 0, {"Direction", "Outwards"}},
                      "Particles leave in Direction, or away from the middle of the emitter."};
    AngleControlK7 Angle{this,
                         {"Direction", "Direction", 90.0, -3600.0, 3600.0},
                         "Where they fly at birth, in degrees anticlockwise from the right: 90 is up."};
    FloatControlK7 Spread{this,
                          {"Spread", "Spread", 60.0, 0.0, 360.0},
                          "Angle that directions are spread over, in degrees; 360 is to all sides."};
    ListControlK7 Walls{this,
                        {"Walls", "Frame", 0, {"Open", "Floor", "Walls"}},
                        "Lets particles fly out of the frame, or bounce off its lower edge or all of its edges."};
    CheckboxControlK7 UseBounce{
        this, {"UseBounce", "Use Bounce Clip", true}, "Lets particles bounce off what is bright in the clip Bounce."};
    FloatControlK7 Restitution{this,
                               {"Restitution", "Bounciness", 50.0, 0.0, 100.0},
                               "Part of the speed against a surface that is thrown back, in percent."};
    FloatControlK7 Friction{this,
                            {"Friction", "Surface Friction", 10.0, 0.0, 100.0},
                            "Part of the speed along a surface that is lost at each touch, in percent."};
    FloatControlK7 AirVar{
        this,
        {"AirVar", "Air Drag Variance", 50.0, 0.0, 100.0},
        "How much particles differ in how closely they follow the air, in percent: light ones and heavy ones."};

    Page forcesPage{this, "Forces"};
    ForceControls forces{this, {.gravity = 0.12, .grip = 2.0, .slopeClip = "Turbulence"}};
    Page vortexPage{this, "Vortex"};
    VortexForceControls vortex{this};
    Page lookPage{this, "Look"};
    LookControls shape{this, {.look = LookControls::Streak, .blend = LookControls::Screen, .size = 1.6}};
    Page colourPage{this, "Colour"};
    LifeControls ageing{this,
                        {.birth = {1.0f, 0.93f, 0.72f}, .middle = {1.0f, 0.62f, 0.2f}, .death = {0.8f, 0.2f, 0.04f}}};

    Page childrenPage{this, "Children"};
    ListControlK7 Children{this,
                           {"Children", "Children", 0, {"None", "Trail", "Explosion", "Both"}},
                           "Lets particles leave a trail of smaller ones, explode into them when they die, or both."};
    FloatControlK7 TrailRate{
        this, {"TrailRate", "Trail Rate", 2.0, 0.0, 20.0}, "Births a frame on the way of each particle."};
    FloatControlK7 TrailLife{
        this, {"TrailLife", "Trail Lifetime", 20.0, 1.0, 500.0, {.displayMax = 100.0}}, "Their life, in frames."};
    FloatControlK7 TrailDrift{this,
                              {"TrailDrift", "Trail Drift", 0.3, 0.0, 50.0, {.displayMax = 5.0}},
                              "Speed at which a trail spreads, in thousandths of the picture's width a frame."};
    IntegerControlK7 BlastSize{
        this, {"BlastSize", "Explosion Size", 30, 0, 1000}, "Particles that one explodes into when it dies."};
    FloatControlK7 BlastLife{this,
                             {"BlastLife", "Explosion Lifetime", 25.0, 1.0, 500.0, {.displayMax = 100.0}},
                             "Their life, in frames, half of it to all of it."};
    FloatControlK7 BlastSpeed{this,
                              {"BlastSpeed", "Explosion Speed", 3.0, 0.0, 100.0, {.displayMax = 20.0}},
                              "Highest speed at which they fly apart, in thousandths of the picture's width a frame."};
    FloatControlK7 Inherit{this,
                           {"Inherit", "Inherited Speed", 20.0, 0.0, 100.0},
                           "Part of its velocity that a particle hands on to its children, in percent."};
    FloatControlK7 ChildSize{
        this, {"ChildSize", "Child Size", 50.0, 1.0, 300.0}, "Size of children, in percent of Size."};
    FloatControlK7 ChildOpacity{
        this, {"ChildOpacity", "Child Opacity", 70.0, 0.0, 100.0}, "Opacity of children, in percent."};

    Page framesPage{this, "Frames"};
    CheckboxControlK7 ParticlesOnly{this,
                                    {"ParticlesOnly", "Particles Only", false, {.keptByPresets = true}},
                                    "Shows the particles over black instead of over the background."};
    CheckboxControlK7 PreMultiplied{
        this,
        {"PreMultiplied", "Premultiplied", false, {.keptByPresets = true}},
        "Says that the colours of the clip Particle Image are multiplied by its alpha already."};
    StartControls start{this,
                        {.name = "Shutter",
                         .label = "Shutter",
                         .value = 50.0,
                         .longest = 200.0,
                         .sentence = "How long the shutter is open, in percent of a frame: particles are blurred along "
                                     "their way, 0 is none."},
                        60};
    FrameRateControlK7 FramesPerSecond{this};

    LineOverlayK7 emitLine{this, EmitStart, EmitEnd};
    CrosshairOverlayK7 emitPoint{this, EmitStart};
    AngleOverlayK7 emitAngle{this, EmitStart, Angle, 0.08f};

    ParticlesInfo();

  private:
    void declarePresets();
};

// Everything that steers steps; lengths in pixel widths. Fields of 4 bytes.
struct ParticlesMotion {
    std::int32_t emitter, outline, outwards;
    float start[2], end[2];
    float rate;
    std::int32_t burst, burst_every, first_frame;
    float life, life_var;
    float speed, speed_var, angle, spread;
    float air_var;
    particles::ForceField forces;
    particles::Obstacles::Surface surface;
    std::int32_t bounces, own_colours;
    std::int32_t trails, explosions;
    float trail_rate, trail_life, trail_drift, blast_life, blast_speed, inherit;
    std::int32_t blast;
};

struct ParticlesLook {
    particles::ParticleLook look;
    float child_size, child_opacity;
};

struct ParticlesParticle : FadingParticle {
    std::uint32_t key = 0, family = 0;
    std::int32_t child = 0;
};

class Particles final
    : public particles::ParticleEffect<ParticlesInfo, ParticlesParticle, ParticlesMotion, ParticlesLook> {
  protected:
    SimulationTiming timing() const override;
    std::uint32_t seed() const override { return static_cast<std::uint32_t>(Seed.value) * 2654435761U; }
    void background() override;
    std::uint64_t steeringPictures() const override;
    void readBlocks(ParticlesMotion& motion, ParticlesLook& look) override;
    void births() override;
    bool fillNewborn(ParticlesParticle& particle) override;
    void died(const ParticlesParticle& particle) override;
    void applyForces(ParticlesParticle* particles, int count) const override;
    void afterForces(ParticlesParticle* particles, int count) override;
    void show(ParticlesParticle&) override {}  // collected by afterForces, on all threads
    void move(ParticlesParticle* particles, int count) const override;
    void paint(K7Image& result) override { m_batch.draw(result, look().look, frame().width); }
    void PrepareOverlay() override;

  private:
    int burstNow() const;
    bool room() const { return liveParticles() < MOST; }
    bool emitterPlace(float place[2], float outwards[2]);
    void ownColour(ParticlesParticle& particle) const;
    void spawnTrail(const ParticlesParticle& parent);
    void spawnChild(const ParticlesParticle& parent, const float place[2], const float velocity[2], float life);
    particles::Seen seen(const ParticlesParticle& particle) const;
    void preparePicture();

    static constexpr int MOST = 200000;
    particles::LightPlaces m_places;
    particles::Obstacles m_obstacles;
    particles::SlopeField m_slopes;
    std::uint64_t m_slope_print = 0, m_colour_print = 0;
    particles::ForceField::Moment m_now;
    int m_spawning = 0;  // children queued in this step
    MipPicture m_picture;
    particles::LookBatch m_batch;
};
