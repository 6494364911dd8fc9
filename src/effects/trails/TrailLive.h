// Q_TrailLive: what moves draws its own trail.
//
// What an artist uses it for: light painting with a torch, speed lines behind a runner, ghosts, ink and smoke that
// hands leave in the air, comets, echoes of a dancer - all without a key or a clean plate, because optical flow tells
// what moves from what stands still.
//
// Flow is found between each of the last frames and the one before it (ClipMotion, a reduced size). What moves faster
// than a speed, is bright enough and lies inside the Matte leaves a trail in one of three ways:
// - Smear: along the way that it took. The frame's moving part is carried back along its flow in small steps, so that
//   a fast thing leaves a closed band and not a row of copies (the scatter of flow and the gather of colour follow the
//   temporal interpolation of D. Mahajan and others, "Moving Gradients", 2009).
// - Lines: points on what moves are carried along by the flow from frame to frame and draw their paths.
// - Echoes: the moving part as it was at every n-th frame.
// Trails stay where they were drawn, or move with the camera (the median of the flow), drift and curl, and fade, wear
// thin, spread and change colour with age. They are laid over the Background; without one over the frame itself. The
// moving thing may come on top. Obscure hides trails where it is bright: what they pass behind.
//
// A frame is the sum of what its last Length frames left. So it is the same picture whatever was rendered before it;
// what each frame left is kept, and the next frame in order costs one flow.
#pragma once

#include <map>

#include "Library2/PluginK7.h"
#include "effects/engines/motion/ClipMotion.h"
#include "effects/trails/MatteFrames.h"
#include "effects/trails/TrailLayers.h"

struct TrailLook;

struct TrailLiveInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "TrailLive",
        .menu = "Trailz",
        .otherFrames = true,
        .description =
            "Trail generation relying on flow fields to create the motion lines. This effect is in Box Number 7",
        .purpose =
            "What moves draws its own trail: light painting, speed lines, ghosts, ink, comets and echoes, found from "
            "the motion in the shot without a key.",
        .usage =
            "Connect the shot as Input Clip and begin with a preset.\n"
            "Raise Speed Low until what should stand still leaves nothing; raise Bright Low to let only lamps draw.\n"
            "The Matte says what leaves trails at all, frame by frame; a rough one around the hand that draws is "
            "enough.\n"
            "Obscure hides trails where it is bright: a matte of what stands in front of them.\n"
            "Connect a Background to lay the trails over another picture; Live Frame then says whether what moves is "
            "seen too.\n"
            "Follow Camera keeps trails in place in a panning shot and ignores the pan. It takes the motion that most "
            "of the picture has for the camera's.\n"
            "Small bright things may jump by more than their own size from frame to frame; large ones that do are lost "
            "to the flow.\n"
            "A frame rendered alone asks the host for Length frames before it; frames in order cost one flow each.\n"
            "Sizes and speeds are parts of the picture and follow a proxy.\n"};
    enum Styles : int { Smear = 1, Lines, Echoes };
    enum Modes : int { Over = 1, Lighten, Screen, Add, Multiply };
    enum Lives : int { Hidden = 1, Beneath, OnTop };

    ClipRecord input{
        this, {.name = "Input", .label = "Input Clip", .shortLabel = "Trail", .required = true, .temporal = true}};
    ClipRecord background{this, {.name = "Bck", .label = "Background", .shortLabel = "BG"}};
    ClipRecord matte{this, {.name = "Matte", .label = "Matte"}};
    ClipRecord obscure{this, {.name = "ObscureClip", .label = "Obscure", .shortLabel = "Obs"}};

    Page page{this, "TrailLive"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A kind of trail: sets all controls but those of what moves."};
    ListControlK7 Style{this,
                        {"Style", "Style", 0, {"Smear", "Lines", "Echoes"}},
                        "What is left: the moving thing along its way, thin lines along it, or the thing again and "
                        "again."};
    IntegerControlK7 Length{this, {"Length", "Length", 20, 2, 60}, "How long a trail lasts, in frames."};
    IntegerControlK7 Spacing{this, {"Spacing", "Spacing", 4, 1, 30}, "Frames from one echo to the next."};
    ListControlK7 Mode{this,
                       {"Mode", "Mode", 0, {"Over", "Lighten", "Screen", "Add", "Multiply"}},
                       "How trails are laid down: over the picture, as light, or as ink that darkens it."};
    ListControlK7 Live{this,
                       {"Live", "Live Frame", 2, {"Hidden", "Beneath", "On Top"}},
                       "Whether what moves in the frame itself is laid over the background, and before the trails or "
                       "after them. Without a background it is always there."};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 90.0, 0.0, 100.0}, "Of new trails, in percent."};
    FloatControlK7 Fade{this,
                        {"Fade", "Fade", 30.0, 0.0, 100.0},
                        "How soon trails fade: 0 stays until the end, 25 falls evenly, more falls quickly at first."};
    CheckboxControlK7 FollowCamera{this,
                                   {"FollowCamera", "Follow Camera", true, {.keptByPresets = true}},
                                   "Trails stay in their place in the scene when the camera pans, and the pan itself "
                                   "leaves none."};
    FloatControlK7 SpeedLow{this,
                            {"SpeedLow", "Speed Low", 0.2, 0.0, 20.0, {.keptByPresets = true}},
                            "What moves no faster leaves nothing, in percent of the width a frame."};
    FloatControlK7 SpeedHigh{this,
                             {"SpeedHigh", "Speed High", 0.5, 0.0, 20.0, {.keptByPresets = true}},
                             "From this speed on all of it does, in percent of the width a frame."};

    Page lookPage{this, "Look"};
    FloatControlK7 BrightLow{
        this, {"BrightLow", "Bright Low", 0.0, 0.0, 100.0}, "What is no brighter leaves nothing, in percent of white."};
    FloatControlK7 BrightHigh{this,
                              {"BrightHigh", "Bright High", 0.0, 0.0, 200.0},
                              "From this brightness on all of it does, in percent of white; 0 takes dark and bright "
                              "alike."};
    FloatControlK7 Gain{this, {"Gain", "Gain", 100.0, 0.0, 400.0}, "Brightness of the trails, in percent."};
    FloatControlK7 Saturation{this, {"Saturation", "Saturation", 100.0, 0.0, 300.0}, "Of the trails, in percent."};
    FloatControlK7 TintAmount{
        this, {"TintAmount", "Tint Amount", 0.0, 0.0, 100.0}, "How far trails take the colours below, in percent."};
    ColourControlK7 NewColour{this, {"NewColour", "New Colour", 1.0F, 0.85F, 0.55F}, "Colour of new trails."};
    ColourControlK7 OldColour{this, {"OldColour", "Old Colour", 0.9F, 0.25F, 0.1F}, "Colour of old trails."};
    FloatControlK7 Taper{this,
                         {"Taper", "Taper", 0.0, 0.0, 100.0},
                         "How far trails wear thin towards their end, in percent of their breadth."};
    FloatControlK7 Spread{
        this, {"Spread", "Spread", 0.0, 0.0, 10.0}, "How far old trails blur, in percent of the width."};
    FloatControlK7 Glow{this, {"Glow", "Glow", 0.0, 0.0, 200.0}, "Light around the trails, in percent."};
    FloatControlK7 GlowSize{this, {"GlowSize", "Glow Size", 1.5, 0.1, 15.0}, "Its reach in percent of the width."};

    Page movePage{this, "Drift and Lines"};
    FloatControlK7 DriftX{this,
                          {"DriftX", "Drift X", 0.0, -5.0, 5.0},
                          "How far trails drift to the right, in percent of the width a frame."};
    FloatControlK7 DriftY{
        this, {"DriftY", "Drift Y", 0.0, -5.0, 5.0}, "How far trails drift upwards, in percent of the width a frame."};
    FloatControlK7 Curl{this,
                        {"Curl", "Curl", 0.0, 0.0, 20.0},
                        "How far the oldest trails have been carried about by eddies, in percent of the width."};
    FloatControlK7 CurlSize{
        this, {"CurlSize", "Curl Size", 10.0, 1.0, 50.0}, "Size of the eddies in percent of the width."};
    FloatControlK7 LineSpacing{
        this, {"LineSpacing", "Line Spacing", 1.2, 0.3, 10.0}, "From one line to the next, in percent of the width."};
    FloatControlK7 LineWidth{
        this, {"LineWidth", "Line Width", 0.15, 0.02, 3.0}, "Of the thickest lines, in percent of the width."};
    FloatControlK7 LineVariety{this,
                               {"LineVariety", "Line Variety", 60.0, 0.0, 100.0},
                               "How far lines differ in width, length and brightness, in percent."};
    IntegerControlK7 Seed{this, {"Seed", "Seed", 1, 1, 9999, {.animates = false}}, "Another one draws other lines."};

    TrailLiveInfo();

  private:
    void declarePresets();
};

class TrailLive : public Effect<TrailLiveInfo> {
  public:
    void ProcessFrame() override;
    void ClipChanged() override { m_motion.forget(); }

  protected:
    void FramePrepare(TrailLiveInfo& plan, const FrameSpan& frames) const override;
    // A frame of the input; null where the host does not give it.
    virtual const K7Image* pictureOf(int frame);

  private:
    // One of the last frames as this render shows it, the newest first.
    struct Shown {
        int age;
        const TrailLayer* layer;  // null: an echo that is left out
        const FrameMotion* motion;
        float away_x, away_y;  // pixels of the frame
    };
    struct Trail;

    TrailMaking making() const;
    bool collect(int frame, std::vector<Shown>& shown);
    const TrailLayer* layerOf(int frame);
    const FrameMotion* motionOf(int frame);
    bool changed(int frame);
    float strengthAt(double age) const;
    TrailLook lookAt(int age) const;
    Trail drawLayers(const std::vector<Shown>& shown) const;
    Trail drawLines(const std::vector<Shown>& shown);
    void addGlow(Trail& trail) const;
    void compose(const Trail& trail, const TrailLayer* newest);

    ClipMotion m_motion;
    TrailMaking m_making{};
    std::map<int, TrailLayer> m_layers;  // by frame
    MatteFrames m_mattes;
    struct Held {
        int frame = 0;
        ImagePtr picture;
    };
    Held m_held[3];  // frames fetched last, during a render
};
