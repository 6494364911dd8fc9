// Q_PixFly: a picture breaks into its pixels, which fly about, or comes together from them.
//
// What an artist uses it for: people and titles that turn to sand, ash or sparks, are snapped away, beamed off, drawn
// into a hole or rain down; the same backwards as an entrance; transitions to what is behind.
//
// Each pixel, or small block of them, leaves at a time of its own (engines/flight/Departures.h). Its place is a
// function of the frames since then, in closed form: a first speed, gravity and a wind with drag; a turn about the
// vortex by an exact arc (W. Kaufmann 1962); a pull to the attractor; and eddies, the curl of a moving potential (R.
// Bridson, J. Hourihan and M. Nordenstam, "Curl-noise for procedural fluid flow", SIGGRAPH 2007), which carry it
// straight on at first and as a random walk later. So no frame needs another one. Pixels are squares as large as they
// were in the picture, drawn with exact coverage and spread over the shutter; where several cover a place their mean
// counts.
//
// What steers it: Clip to Fly is what breaks up, with its alpha. Clip to Reveal is what they leave free; without it
// there is nothing. The luminance of the Time Matte sets when each pixel leaves: bright ones first or last, only bright
// ones, or each at the frame at which a moving matte brightens over it; without it Order alone does.
//
// What stays still: a pixel that has not left is the picture itself, to the bit. What moves: pixels between leaving and
// the end of their Flight Time, in the colours of the moving picture.
#pragma once

#include <vector>

#include "Library2/PluginK7.h"
#include "effects/engines/controls/ForceControls.h"
#include "effects/engines/flight/Departures.h"

struct PixFlight;

struct PixFlyInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "PixFly",
        .menu = "Pixel Trip",
        .overlay = true,
        .otherFrames = true,
        .description =
            "Disintegrates the image into its constituent pixels and flies them around. This effect is in "
            "Box Number 12",
        .purpose =
            "A picture breaks into its pixels, millions of them, and they fly: blown off as sand, risen as ash, "
            "drawn into a hole, rained down. Run backwards, it comes together from them.",
        .usage =
            "Connect the shot as Clip to Fly and what is to appear behind it as Clip to Reveal; a cut-out or a title "
            "flies with its alpha. Without a Clip to Reveal the free places are transparent.\n"
            "Begin with a preset, then set Start At and Duration, or choose By Progress and set keys for Progress. Any "
            "frame can be rendered by itself.\n"
            "Assemble runs the same flights backwards: the picture is whole Flight Time and Duration after Start At.\n"
            "A gradient or a painted matte as Time Matte sets the order in which pixels leave; with Only Bright Fly it "
            "picks a person or a word. Set Matte Time to Held Frame to read a moving matte at one frame, or to When It "
            "Brightens to let pixels leave as a matte wipes over them.\n"
            "Centre is where a burst comes from, and where orders begin or end; drag its cross. The vortex, the "
            "attractor and the wind have handles of their own.\n"
            "Pixel Size counts pixels of the full size; all speeds are parts of the picture's width, so a proxy shows "
            "the same flight.\n"};
    enum MatteTimes { ThisFrame = 1, HeldFrame = 2, WhenItBrightens = 3 };

    ClipRecord picture{this, {.name = "Input", .label = "Clip to Fly", .shortLabel = "Fly", .required = true}};
    ClipRecord timeMatte{this, {.name = "Input2", .label = "Time Matte", .shortLabel = "Time", .temporal = true}};
    ClipRecord reveal{this, {.name = "Input3", .label = "Clip to Reveal", .shortLabel = "Reveal"}};

    Page page{this, "PixFly"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look: sets all controls but when it begins."};
    IntegerControlK7 PixelSize{
        this,
        {"PixelSize", "Pixel Size", 2, 1, 64, {.animates = false, .displayMax = 16}},
        "Edge of the blocks that fly, in pixels of the full size; 1 is single pixels. Blocks have one colour."};
    FloatControlK7 Vary{this,
                        {"Vary", "Vary Size", 40.0, 0.0, 100.0},
                        "How much smaller the smallest of the pixels become when they leave, in percent."};
    FloatControlK7 EndSize{this,
                           {"EndSize", "End Size", 80.0, 0.0, 1000.0, {.displayMax = 200.0}},
                           "Size of a pixel at the end of its flight, in percent."};
    FloatControlK7 FadeOut{this,
                           {"FadeOut", "Fade Out", 60.0, 0.0, 100.0},
                           "The last part of its Flight Time in which a pixel fades, in percent."};
    ColourControlK7 TintColour{this, {"TintColour", "Tint Colour", 0.6F, 0.45F, 0.3F}, "What flying pixels turn to."};
    FloatControlK7 Tint{this,
                        {"Tint", "Tint", 0.0, 0.0, 100.0},
                        "How much flying pixels take on Tint Colour, in percent; 0 leaves them the picture's."};
    FloatControlK7 TintTime{
        this, {"TintTime", "Tint Time", 25.0, 1.0, 100.0}, "In which first part of the flight they do so, in percent."};
    FloatControlK7 Glow{this,
                        {"Glow", "Glow", 0.0, -100.0, 1000.0, {.displayMax = 300.0}},
                        "How much brighter pixels become when they leave, in percent; below 0 darker."};
    FloatControlK7 Shutter{this,
                           {"Shutter", "Shutter", 50.0, 0.0, 200.0, {.displayMax = 100.0}},
                           "How long the shutter is open, in percent of a frame; 0 is sharp."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 518, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives other turns and ways."};
    CheckboxControlK7 PreMultiplied{this,
                                    {"PreMultiplied", "Premultiplied", false, {.keptByPresets = true}},
                                    "Says that the colours of Clip to Fly are multiplied by its alpha already."};

    Page timingPage{this, "Timing"};
    DepartureControls timing{this, {.piece = "pixel", .pieces = "pixels", .matte = "Time Matte", .duration = 70.0}};

    Page releasePage{this, "Release"};
    ListControlK7 MatteTime{this,
                            {"MatteTime", "Matte Time", 0, {"This Frame", "Held Frame", "When It Brightens"}},
                            "When the Time Matte is read: at each frame anew, at one frame for all, or at frames all "
                            "over Duration, to let each pixel leave as the matte there becomes brighter than half."};
    IntegerControlK7 MatteFrame{this,
                                {"MatteFrame", "Matte Frame", 0, 0, 100000, {.animates = false, .keptByPresets = true}},
                                "The frame that is held, counted from the first frame of the clip."};
    FloatControlK7 Burst{
        this,
        {"Burst", "Burst", 0.0, -1000.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
        "Speed away from Centre near to it, in thousandths of the picture's width a frame; below 0 towards it."};
    FloatControlK7 Spread{
        this,
        {"Spread", "Spread", 0.5, 0.0, 1000.0, {.increment = 0.1, .displayMax = 50.0}},
        "Speed into a direction of its own for each pixel, in thousandths of the picture's width a frame."};

    Page forcesPage{this, "Forces"};
    ForceControls forces{this,
                         {.gravity = 0.03, .grip = 6.0, .wind = 7.0, .windAngle = 8.0, .swirl = 3.0, .swirlSize = 7.0}};

    Page vortexPage{this, "Vortex"};
    VortexForceControls vortex{this};

    CrosshairOverlayK7 centreWidget{this, timing.Centre};
    AngleOverlayK7 wipeWidget{this, timing.Centre, timing.WipeAngle, 0.15F};

    PixFlyInfo();

  private:
    void declarePresets();
};

class PixFly final : public Effect<PixFlyInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;
    void FramePrepare(PixFlyInfo& plan, const FrameSpan& frames) const override;

  private:
    struct Air;
    struct Turns;
    struct Swarm;
    void read(const Departures& departures, PixFlight& flight, Air& air) const;
    void readTurns(const Departures& departures, PixFlight& flight, Turns& turns);
    bool launch(const PixFlight& flight, const Turns& turns, Swarm& swarm) const;
    bool draw(const PixFlight& flight, const K7Image& source, const Swarm& swarm);
};
