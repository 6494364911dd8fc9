// Q_TrailParticle: what moves in the picture leaves particles behind.
//
// What an artist uses it for: the star dust of a magic wand, sparks or sand off running feet, flames and embers where
// someone walks, bubbles behind a swimmer, a dancer who breaks up into the pixels of the shot. No key, no clean plate
// and no tracking: optical flow tells what moves.
//
// The method: flow is found between each frame and the one before it (ClipMotion, a reduced size). Particles are born
// on what moves faster than a speed, is bright enough and lies inside the Matte: on all of it, its outline, its leading
// or its trailing edge. They are scattered over the way that it took since the frame before, inherit a part of its
// velocity, may take its colour, and then fly as those of Q_Particles do (W. Reeves, "Particle systems: a technique for
// modelling a class of fuzzy objects", 1983): particles::ForceField moves them, particles::ParticleLook says what they
// look like. They are carried along with the camera (the median of the flow), so that they stay where they are in the
// scene.
//
// What the clips steer: Input Clip is what moves. Background is what the particles are laid over; without one, the
// input. Matte says where they are born, frame by frame; without one, everywhere. Obscure hides them where it is
// bright: what they pass behind. Particle Image is what each particle shows with that look; without one, a soft blob.
//
// What moves: a frame shows what the last Lifetime frames have left, each with the controls of its own frame. So it is
// the same picture whatever was rendered before it. Births are kept by frame, and so are some states; the next frame in
// order costs one flow and one step. Before the first frame of the clip, things are taken to have moved as they do at
// its beginning (Lead In), so that the first frame has a trail as well.
#pragma once

#include <map>

#include "Library2/PluginK7.h"
#include "effects/engines/controls/ForceControls.h"
#include "effects/engines/controls/LookControls.h"
#include "effects/engines/motion/ClipMotion.h"
#include "effects/engines/particles/LookBatch.h"
#include "effects/trails/MatteFrames.h"
#include "effects/trails/TrailBirths.h"
#include "effects/trails/TrailFlight.h"

struct TrailParticleInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "TrailParticle",
        .menu = "Trailz",
        .overlay = true,
        .otherFrames = true,
        .description = "Particle trail generation. This effect is in Box Number 7",
        .purpose =
            "What moves leaves particles behind: star dust, sparks, sand, flames, bubbles, leaves or the pixels of the "
            "picture, found from the motion in the shot without a key or a track.",
        .usage =
            "Connect the shot as Input Clip and begin with a preset.\n"
            "Raise Speed Low until what should leave nothing leaves nothing; raise Bright Low and Bright High to let "
            "only lamps do.\n"
            "The Matte says where particles are born, frame by frame: a rough one around the wand or the feet is "
            "enough.\n"
            "Obscure hides particles where it is bright: a matte of what stands in front of them. Mover in Front does "
            "so for what moves, roughly; with a matte of it Obscure is crisper.\n"
            "Connect a Background to lay the particles over another picture than the shot.\n"
            "Born On decides whether all of what moves glitters, or only its edge leaves a wake.\n"
            "With Particle Image as Look each particle shows that clip, cropped to what is not transparent, in the "
            "colours of the page Colour: white leaves the picture's own.\n"
            "Follow Camera keeps particles in their place in a panning shot. It takes the motion that most of the "
            "picture has for the camera's.\n"
            "A frame rendered alone asks the host for Lifetime frames before it; frames in order cost one flow each.\n"
            "Sizes, speeds and forces are parts of the picture's width, so a proxy shows the same.\n"};
    enum Aims : int { Direction = 1, AlongTheMotion };

    ClipRecord input{
        this, {.name = "Input", .label = "Input Clip", .shortLabel = "Trail", .required = true, .temporal = true}};
    ClipRecord background{this, {.name = "Bck", .label = "Background", .shortLabel = "BG"}};
    ClipRecord matte{this, {.name = "Matte", .label = "Matte"}};
    ClipRecord obscure{this, {.name = "ObscureClip", .label = "Obscure", .shortLabel = "Obs"}};
    ClipRecord picture{this, {.name = "Input6", .label = "Particle Image", .shortLabel = "Image"}};

    Page page{this, "TrailParticle"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Presets"}, "A kind of trail: sets all controls but those of what moves in the shot."};
    ListControlK7 BornOn{this,
                         {"BornOn", "Born On", 0, {"All of It", "Outline", "Leading Edge", "Trailing Edge"}},
                         "Where particles are born on what moves."};
    FloatControlK7 Rate{this,
                        {"Rate", "Rate", 60.0, 0.0, 5000.0, {.displayMax = 500.0}},
                        "Births a frame, as long as anything moves; specks give fewer."};
    FloatControlK7 RateBySpeed{this,
                               {"RateBySpeed", "Rate by Speed", 60.0, 0.0, 100.0},
                               "How far births follow the speed, in percent: 0 is always Rate, 100 in proportion, and "
                               "Rate at one hundredth of the width a frame."};
    IntegerControlK7 Lifetime{
        this, {"Lifetime", "Lifetime", 45, 2, 300, {.animates = false}}, "Longest life of a particle, in frames."};
    FloatControlK7 LifeVar{this,
                           {"LifeVar", "Lifetime Variance", 60.0, 0.0, 100.0},
                           "How much shorter lives are, in percent of Lifetime."};
    FloatControlK7 Scatter{this,
                           {"Scatter", "Scatter", 0.2, 0.0, 20.0, {.displayMax = 5.0}},
                           "How far off the moving thing particles are born, in percent of the picture's width."};
    CheckboxControlK7 OwnColours{this,
                                 {"OwnColours", "Picture's Colours"},
                                 "Gives a particle the colour of the picture where it is born, instead of Colour at "
                                 "Birth."};
    FloatControlK7 InFront{this,
                           {"InFront", "Mover in Front", 0.0, 0.0, 100.0},
                           "How far what moves hides the particles, in percent: they then lie behind it."};
    CheckboxControlK7 FollowCamera{this,
                                   {"FollowCamera", "Follow Camera", true, {.keptByPresets = true}},
                                   "Particles stay in their place in the scene when the camera pans, and the pan "
                                   "itself leaves none."};
    IntegerControlK7 LeadIn{this,
                            {"LeadIn", "Lead In", 20, 0, 300, {.animates = false, .keptByPresets = true}},
                            "Frames before the first one of the clip in which particles are born already, as if things "
                            "had moved before as they do there."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 1, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives other particles."};

    Page motionPage{this, "Motion"};
    FloatControlK7 SpeedLow{this,
                            {"SpeedLow", "Speed Low", 0.2, 0.0, 20.0, {.keptByPresets = true}},
                            "What moves no faster leaves nothing, in percent of the width a frame."};
    FloatControlK7 SpeedHigh{this,
                             {"SpeedHigh", "Speed High", 0.5, 0.0, 20.0, {.keptByPresets = true}},
                             "From this speed on all of it does, in percent of the width a frame."};
    FloatControlK7 BrightLow{this,
                             {"BrightLow", "Bright Low", 0.0, 0.0, 100.0, {.keptByPresets = true}},
                             "What is no brighter leaves nothing, in percent of white."};
    FloatControlK7 BrightHigh{this,
                              {"BrightHigh", "Bright High", 0.0, 0.0, 200.0, {.keptByPresets = true}},
                              "From this brightness on all of it does, in percent of white; 0 takes dark and bright "
                              "alike."};
    FloatControlK7 Inherit{this,
                           {"Inherit", "Inherited Speed", 15.0, -200.0, 200.0},
                           "Part of the thing's velocity that a particle keeps, in percent; below 0 it is thrown "
                           "back."};
    FloatControlK7 Speed{this,
                         {"Speed", "Speed", 1.0, 0.0, 200.0, {.displayMax = 30.0}},
                         "Speed of its own at birth, in thousandths of the picture's width a frame."};
    FloatControlK7 SpeedVar{
        this, {"SpeedVar", "Speed Variance", 80.0, 0.0, 100.0}, "How much speeds differ, in percent of Speed."};
    ListControlK7 Aim{this,
                      {"Aim", "Aim", 0, {"Direction", "Along the Motion"}},
                      "Whether Direction counts from the right, or from where the thing moves."};
    AngleControlK7 Angle{this,
                         {"Direction", "Direction", 90.0, -3600.0, 3600.0},
                         "Where particles fly at birth, in degrees anticlockwise: 90 is up, or to the left of the "
                         "motion; 180 is to the left, or back where the thing has come from."};
    FloatControlK7 Spread{this,
                          {"Spread", "Spread", 360.0, 0.0, 360.0},
                          "Angle that directions are spread over, in degrees; 360 is to all sides."};
    FloatControlK7 AirVar{
        this,
        {"AirVar", "Air Drag Variance", 50.0, 0.0, 100.0},
        "How much particles differ in how closely they follow the air, in percent: light ones and heavy ones."};

    Page forcesPage{this, "Forces"};
    ForceControls forces{this, {.gravity = 0.02, .grip = 4.0, .swirl = 1.0}};
    Page vortexPage{this, "Vortex"};
    VortexForceControls vortex{this};
    Page lookPage{this, "Look"};
    LookControls shape{this, {.look = LookControls::Blob, .blend = LookControls::Screen, .size = 5.0}};
    Page colourPage{this, "Colour"};
    LifeControls ageing{this,
                        {.birth = {1.0f, 0.95f, 0.8f}, .middle = {1.0f, 0.72f, 0.3f}, .death = {0.85f, 0.25f, 0.1f}}};

    Page framesPage{this, "Frames"};
    CheckboxControlK7 ParticlesOnly{this,
                                    {"ParticlesOnly", "Particles Only", false, {.keptByPresets = true}},
                                    "Shows the particles over transparent black."};
    CheckboxControlK7 PreMultiplied{
        this,
        {"PreMultiplied", "Premultiplied", false, {.keptByPresets = true}},
        "Says that the colours of the clip Particle Image are multiplied by its alpha already."};
    FloatControlK7 Shutter{this,
                           {"Shutter", "Shutter", 50.0, 0.0, 200.0, {.keptByPresets = true}},
                           "How long the shutter is open, in percent of a frame: particles are blurred along their "
                           "way, 0 is none."};

    TrailParticleInfo();

  private:
    void declarePresets();
};

class TrailParticle : public Effect<TrailParticleInfo> {
  public:
    void ProcessFrame() override;
    void ClipChanged() override { m_motion.forget(); }
    void ControlChanged(ControlK7&) override { m_recheck = true; }
    int liveParticles() const { return m_live; }

  protected:
    void FramePrepare(TrailParticleInfo& plan, const FrameSpan& frames) const override;
    void PrepareOverlay() override;
    // A frame of the input, until the next one is asked for; null where the host does not give it.
    virtual const K7Image* pictureOf(int frame);

  private:
    struct Known {
        TrailStep step;
        bool checked = false;  // the controls of its frame are those of the settings
        bool complete = false;
    };

    int present() const;
    TrailSettings settings() const;
    void begin();
    const FrameMotion* motionOf(int frame);
    const TrailStep* stepOf(int frame);
    bool makeStep(int frame, TrailStep& step);
    void draw(const std::vector<TrailPoint>& points);
    void hide(const K7Image& before);

    ClipMotion m_motion;
    MovingPlaces m_places;
    TrailFlight m_flight;
    std::map<int, Known> m_steps;
    MatteFrames m_mattes;
    std::atomic<bool> m_recheck = false;
    bool m_moved = false;  // the controls are those of another frame
    ImagePtr m_fetched;    // the frame fetched last, during a render
    particles::LookBatch m_batch;
    MipPicture m_picture;
    int m_live = 0;
};
