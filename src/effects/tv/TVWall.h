// Q_TVWall: rows and columns of television sets.
//
// What an artist uses it for: the window of a shop, a control room, a stage, a stack of old tubes in an artist's loft;
// one picture over all screens or one in each, live, late, off or gone to snow.
//
// The wall is a plane. Its four corners lie where the handles are, and each pixel of the picture looks through the
// inverse of that projection (P. Heckbert, "Fundamentals of Texture Mapping and Image Warping", 1989) at a place of the
// wall. There it meets the background through the gaps, a casing, or the glass of a screen: rounded rectangles by their
// distance functions (I. Quilez), which also gives edges as wide as a pixel at any size and slant. A screen's picture
// is a mipmap pyramid read with the footprint of the pixel, so far-off screens do not glitter.
//
// Clip 1 and Clip 2 are what is on. Without Clip 2 all sets show Clip 1, without Clip 1 the background itself. Sets may
// run late by a number of frames each, which is what the other frames of the clips are for. The background is what
// stands behind the wall and is lit by it.
//
// Which set is off, snowed in, tinted or tuned to Clip 2 is a hash of its number and Seed and stays so; Shuffle lets
// the random choices change every so many frames. Snow and rolling move while Animate is on.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/controls/QuadControls.h"

struct TVWallInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "TVWall",
        .menu = "TV Effects",
        .overlay = true,
        .otherFrames = true,
        .description = "A wall of televisions. This effect is in Box Number 11",
        .purpose =
            "A wall of television sets: one picture across all or one in each, tubes or flat screens, late, off or "
            "snowed in, standing in perspective and lighting what is around it.",
        .usage =
            "Connect the set or the room as Background and what is on as Clip 1 and Clip 2. Without Clip 1 the sets "
            "show the background.\n"
            "Begin with a preset, then drag the four corners to where the wall stands. The screens are as wide as the "
            "rows and columns make them: choose these for screens of 4 by 3 or 16 by 9.\n"
            "Delay runs the sets late one after the other; each late set asks for another frame of its clip, so many "
            "different delays cost time in the host.\n"
            "Snow and Off say how many of the sets are broken; another Seed breaks others.\n"
            "Glow is the light of the screens on casings and background. In daylight leave it at 0 and raise "
            "Reflection.\n"
            "Sizes are parts of a screen, so a proxy shows the same.\n"};
    enum Programmes { Clip1 = 1, Clip2 = 2, Alternating = 3, Random = 4 };
    enum Layouts { OneInEach = 1, AcrossAll = 2, AcrossSome = 3 };
    enum Orders { RowByRow = 1, Outwards = 2, AtRandom = 3 };

    ClipRecord background{this, {.name = "Back", .label = "Background", .shortLabel = "BG", .required = true}};
    ClipRecord clipA{this, {.name = "InputA", .label = "Clip 1", .shortLabel = "Clip1", .temporal = true}};
    ClipRecord clipB{this, {.name = "InputB", .label = "Clip 2", .shortLabel = "Clip2", .temporal = true}};

    Page page{this, "TVWall"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole wall: sets all controls but its corners."};
    IntegerControlK7 Columns{this, {"Columns", "Columns", 4, 1, 16}, "Screens beside each other."};
    IntegerControlK7 Rows{this, {"Rows", "Rows", 4, 1, 12}, "Screens above each other."};
    ListControlK7 Layout{this,
                         {"Layout", "Layout", 0, {"One in Each", "Across All", "Across Some"}},
                         "A whole picture in each screen, one picture across all of them, or across two by two of them "
                         "here and there."};
    ListControlK7 Programme{this,
                            {"Programme", "Programme", 0, {"Clip 1", "Clip 2", "Alternating", "Random"}},
                            "Which clip is on: one of them, both in turn like the fields of a chess board, or at "
                            "random."};
    FloatControlK7 Share{this,
                         {"Share", "Share of Clip 2", 40.0, 0.0, 100.0},
                         "How many of the sets Random tunes to Clip 2, in percent."};
    IntegerControlK7 Shuffle{
        this, {"Shuffle", "Shuffle", 0, 0, 1000}, "Frames after which Random draws anew; 0 never."};
    IntegerControlK7 Delay{this, {"Delay", "Delay", 0, 0, 50}, "Frames that each further screen runs late."};
    ListControlK7 DelayOrder{this,
                             {"DelayOrder", "Delay Order", 0, {"Row by Row", "Outwards", "Random"}},
                             "From the top left one screen after the other, from the middle outwards, or at random "
                             "within the span that Outwards would take."};
    CheckboxControlK7 Animate{
        this, {"Animate", "Animate", true, {.keptByPresets = true}}, "Snow and rolling pictures move."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 405, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number breaks, tints and tunes other sets."};

    Page setPage{this, "Sets"};
    FloatControlK7 Gap{
        this, {"Gap", "Gap", 2.0, 0.0, 50.0}, "Distance between casings, in percent of a screen's width."};
    FloatControlK7 Bezel{this,
                         {"Bezel", "Bezel", 5.0, 0.0, 40.0},
                         "Width of the casing around the glass, in percent of a screen's width."};
    ColourControlK7 BezelColour{this, {"BezelColour", "Bezel Colour", 0.06F, 0.06F, 0.065F}, "Colour of the casings."};
    FloatControlK7 Rounding{this,
                            {"Rounding", "Rounding", 12.0, 0.0, 100.0},
                            "How round the corners of the glass are; 100 is an ellipse nearly."};
    FloatControlK7 Curvature{this,
                             {"Curvature", "Curvature", 30.0, 0.0, 100.0},
                             "How far the glass bulges, in percent; 0 is a flat screen."};
    IntegerControlK7 Lines{this, {"Lines", "Lines", 240, 60, 1080}, "Lines of a screen."};
    FloatControlK7 ScanLines{this,
                             {"ScanLines", "Scan Lines", 40.0, 0.0, 100.0},
                             "How dark it is between the lines, in percent. Lines that are finer than a pixel are not "
                             "seen."};
    FloatControlK7 Brightness{this, {"Brightness", "Brightness", 110.0, 0.0, 400.0}, "Of the screens, in percent."};
    FloatControlK7 Reflection{this,
                              {"Reflection", "Reflection", 8.0, 0.0, 100.0},
                              "A pale reflection of a window in the upper part of each glass, in percent."};
    FloatControlK7 Glow{this,
                        {"Glow", "Glow", 40.0, 0.0, 200.0},
                        "Light that the screens throw on casings and background, in percent."};
    FloatControlK7 Rack{this,
                        {"Rack", "Rack", 85.0, 0.0, 100.0},
                        "How much of the background the rack behind the casings hides, in percent."};

    Page faultPage{this, "Faults"};
    FloatControlK7 ColourSpread{this,
                                {"ColourSpread", "Colour Spread", 20.0, 0.0, 100.0},
                                "How differently the sets are tuned in colour, in percent."};
    FloatControlK7 LightSpread{
        this, {"LightSpread", "Light Spread", 20.0, 0.0, 100.0}, "How differently bright the sets are, in percent."};
    FloatControlK7 Off{this, {"Off", "Off", 0.0, 0.0, 100.0}, "How many of the sets are off, in percent."};
    FloatControlK7 Snow{this, {"Snow", "Snow", 0.0, 0.0, 100.0}, "How many of the other sets show snow, in percent."};
    FloatControlK7 Rolling{
        this, {"Rolling", "Rolling", 0.0, 0.0, 100.0}, "How many of the sets do not hold their picture, in percent."};

    Page placePage{this, "Place"};
    QuadControls quad{this,
                      {{"Where the upper left corner of the wall lies in the picture.",
                        "Where the lower left corner of the wall lies in the picture.",
                        "Where the upper right corner of the wall lies in the picture.",
                        "Where the lower right corner of the wall lies in the picture."},
                       {{0.0, 1.0}, {0.0, 0.0}, {1.0, 1.0}, {1.0, 0.0}}}};

    QuadOverlayK7 quadWidget{this, quad};

    TVWallInfo();

  private:
    void declarePresets();
};

class TVWall final : public Effect<TVWallInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void FramePrepare(TVWallInfo& plan, const FrameSpan& frames) const override;

  private:
    struct Screens;
    bool arrange(Screens& screens);
};
