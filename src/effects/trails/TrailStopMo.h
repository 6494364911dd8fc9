// Q_TrailStopMo: every n-th frame stays and is laid over the others.
//
// What an artist uses it for: the multiple exposures of chronophotography (E.-J. Marey, 1882), the stroboscope of a
// golfer's swing (H. Edgerton, 1938), echoes in a dance film, step printing, a long exposure, a row of bodies in
// mid-air.
//
// A frame shows Copies frames of the input, Step frames apart. With Hold these are the frames at multiples of Step, so
// that a copy stands until it is replaced; without it they follow the shot like an echo. They are laid down from the
// oldest to the newest, each with an opacity, a colour, a place and a softness that change from copy to copy; the live
// frame comes first or last.
//
// What of a copy is laid down is its key: the whole frame, its alpha, what is bright, or what differs from the
// Background, which then is the clean plate. The Matte says where copies may lie at all; it is read at the frame that
// is rendered. Without Background the live frame is beneath. Nothing is kept from frame to frame.
#pragma once

#include "Library2/PluginK7.h"

struct TrailStopMoInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "TrailStopMo",
        .menu = "Trailz",
        .otherFrames = true,
        .description = "Trail generation. This effect is in Box Number 7",
        .purpose =
            "Frames that stay: multiple exposures of one movement, stroboscopes, echoes, step printing and long "
            "exposures, faded, coloured and moved from copy to copy.",
        .usage =
            "Connect the shot as Input Clip and begin with a preset. Copies and Step say how many frames are seen and "
            "how far they are apart.\n"
            "For a figure that is seen many times connect the clean plate as Background and set Key to Difference; "
            "raise Key Low until the plate's grain is gone.\n"
            "Bright figures on black need no key: Lighten and Screen lay them over each other.\n"
            "Hold makes copies stand still for Step frames, as exposures do; off, they run behind the shot as echoes.\n"
            "Dissolve brings new copies in gently and takes old ones out; 0 is a hard cut.\n"
            "Each copy asks the host for another frame: many of them make slow hosts slow.\n"
            "Shifts and sizes are parts of the picture and follow a proxy.\n"
            "Put it before grain, which would be laid over itself.\n"};
    enum Keys : int { WholeFrame = 1, Alpha, Difference, Bright };
    enum Modes : int { Over = 1, Lighten, Screen, Add, Darken, Average };
    enum Lives : int { Hidden = 1, Beneath, OnTop };
    enum Directions : int { Behind = 1, Ahead, Both };

    ClipRecord input{
        this, {.name = "Input", .label = "Input Clip", .shortLabel = "Trail", .required = true, .temporal = true}};
    ClipRecord background{this, {.name = "Bck", .label = "Background", .shortLabel = "BG"}};
    ClipRecord matte{this, {.name = "Matte", .label = "Matte", .required = true, .mayStayEmpty = true}};

    Page page{this, "TrailStopMo"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Presets"}, "A kind of exposure: sets all controls but the key and the matte."};
    IntegerControlK7 Copies{this, {"Copies", "Copies", 6, 1, 60}, "Frames that are laid down."};
    IntegerControlK7 Step{this, {"Step", "Step", 5, 1, 200}, "Frames from one copy to the next."};
    ListControlK7 Direction{this,
                            {"Direction", "Direction", 0, {"Behind", "Ahead", "Both"}},
                            "Which frames: those that were, those that will be, or both in turn."};
    CheckboxControlK7 Hold{this,
                           {"Hold", "Hold", true},
                           "Takes the frames at multiples of Step, which stand still until the next; off, copies run "
                           "behind the shot."};
    FloatControlK7 Dissolve{this,
                            {"Dissolve", "Dissolve", 0.0, 0.0, 100.0},
                            "How long a held copy takes to come in, and the oldest to go, in percent of Step."};
    ListControlK7 Live{this,
                       {"Live", "Live Frame", 2, {"Hidden", "Beneath", "On Top"}},
                       "Whether the frame itself is laid down too, before the copies or after them."};
    ListControlK7 Mode{this,
                       {"Mode", "Mode", 1, {"Over", "Lighten", "Screen", "Add", "Darken", "Average"}},
                       "How copies are laid down. Average gives each the same share."};
    ListControlK7 Key{
        this,
        {"Key", "Key", 0, {"Whole Frame", "Alpha", "Difference", "Bright"}, {.keptByPresets = true}},
        "What of a frame is laid down: all of it, its alpha, what differs from the background, or what is "
        "bright."};
    FloatControlK7 KeyLow{this,
                          {"KeyLow", "Key Low", 8.0, 0.0, 100.0, {.keptByPresets = true}},
                          "Difference or brightness up to which nothing is laid down, in percent."};
    FloatControlK7 KeyHigh{this,
                           {"KeyHigh", "Key High", 20.0, 0.0, 100.0, {.keptByPresets = true}},
                           "Difference or brightness from which all is laid down, in percent."};
    CheckboxControlK7 UseMatte{this,
                               {"UseMatte", "Use Matte", false, {.keptByPresets = true}},
                               "Lays copies down where the matte is bright only."};

    Page lookPage{this, "Copies"};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 80.0, 0.0, 100.0}, "Of the newest copy, in percent."};
    FloatControlK7 Fade{
        this, {"Fade", "Fade", 20.0, 0.0, 100.0}, "How much of its opacity each further copy loses, in percent."};
    FloatControlK7 HueShift{
        this, {"HueShift", "Hue Shift", 0.0, -180.0, 180.0}, "Turn of the hue from copy to copy, in degrees."};
    FloatControlK7 Saturation{
        this, {"Saturation", "Saturation", 100.0, 0.0, 300.0}, "Of each copy as part of the newer one's, in percent."};
    FloatControlK7 TintAmount{
        this, {"TintAmount", "Tint Amount", 0.0, 0.0, 100.0}, "How far copies take the colours below, in percent."};
    ColourControlK7 NewColour{this, {"NewColour", "New Colour", 1.0F, 0.75F, 0.35F}, "Colour of the newest copy."};
    ColourControlK7 OldColour{this, {"OldColour", "Old Colour", 0.2F, 0.35F, 1.0F}, "Colour of the oldest copy."};
    FloatControlK7 ShiftX{this,
                          {"ShiftX", "Shift X", 0.0, -100.0, 100.0},
                          "Each copy lies so much further to the right, in percent of the width."};
    FloatControlK7 ShiftY{
        this, {"ShiftY", "Shift Y", 0.0, -100.0, 100.0}, "Each copy lies so much higher, in percent of the height."};
    FloatControlK7 Zoom{
        this, {"Zoom", "Zoom", 100.0, 50.0, 200.0}, "Size of each copy as part of the newer one's, in percent."};
    FloatControlK7 Soften{
        this, {"Soften", "Soften", 0.0, 0.0, 5.0}, "Each copy is blurred by so much more, in percent of the width."};

    TrailStopMoInfo();

  private:
    void declarePresets();
};

class TrailStopMo final : public Effect<TrailStopMoInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void FramePrepare(TrailStopMoInfo& plan, const FrameSpan& frames) const override;

  private:
    struct Copy;
    static std::vector<Copy> copiesAt(const TrailStopMoInfo& from, int frame);
    ImagePtr pictureOf(const Copy& copy);
    void key(K7Image& picture) const;
    void lay(const K7Image& picture, const Copy& copy, float opacity);
};
