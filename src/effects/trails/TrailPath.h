// Q_TrailPath: draws a path with a brush.
//
// For whom: signatures and handwriting that write themselves, routes on maps, marks around what matters, chalk on
// walls, neon signs, light painting with a sparkler, trails of magic behind a hand.
//
// Method. A curve runs through two to sixteen handles: a cubic spline with centripetal knots (TrailPathCurve.h), a
// B-spline or straight lines. The brush is swept along it exactly (TrailPathStroke.h), so that edges are smooth at any
// size and ends taper to a hair. Each pixel then knows how far along and how far across the stroke it is, and the brush
// is drawn by that: bristles, chalk on the grain of the paper, dashes, a neon tube (TrailPathBrush.h). Where the path
// crosses itself the newer piece lies on top.
//
// What the clips steer. Background: what is drawn on. Brush: with the brush Clip its picture is stamped along the path,
// or laid along it as a ribbon; absent: a round brush.
//
// What moves. Progress draws the path on, or a start and a duration do; handles can be animated. Wobble, dashes,
// colours and flicker stand still unless their speeds say otherwise. A frame knows of no other.
#pragma once

#include <array>

#include "Library2/PluginK7.h"

struct TrailPathInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "TrailPath",
        .menu = "Trailz",
        .overlay = true,
        .description = "Draws a user defined path with a brush. This effect is in Box Number 7",
        .purpose =
            "Draws a smooth path through up to sixteen handles with a brush: round, flat with bristles, calligraphic, "
            "dashed, chalk, neon, sparkler, or the picture of a clip. The path draws itself on.",
        .usage =
            "Connect the shot as Background, begin with one of the Presets, and drag the handles in the viewer. "
            "Handles "
            "says how many of them count.\n"
            "Key Progress from 0 to 100 to draw the path on, or set Draw On to Over Time. Ease In and Ease Out start "
            "and "
            "end the pen gently. Tail keeps only the newest part of the path, like a comet.\n"
            "Tapers thin the stroke out to a hair at its ends, counted in percent of its length.\n"
            "Connect a picture as Brush and choose the brush Clip to stamp it along the path or to lay it as a ribbon: "
            "a "
            "rope, a road, footprints.\n"
            "Light adds the brush to the picture as light does, Ink darkens what is below like a marker.\n"
            "With Path Only the stroke comes over transparent black, for a comp of your own.\n"
            "Sizes are parts of the picture's width, so a proxy shows the same stroke.\n"
            "Put it after the grade and before grain.\n"};
    enum BrushKind { Round = 1, Flat, Calligraphic, Dashes, Chalk, Neon, Sparkler, Clip };
    enum BlendKind { Paint = 1, Light, Ink };
    enum DrawKind { ByProgress = 1, OverTime };
    enum ColourKind { OneColour = 1, TwoColours, Rainbow };
    enum TaperKind { PathEnds = 1, DrawnPiece };
    enum LayKind { Stamped = 1, Ribbon };
    enum EndKind { Open = 1, IsClosed };
    enum ShapeKind { Automatic = 1, Alpha, Luminance };
    static constexpr int POINTS = 16;

    ClipRecord input{this, {.name = "Input1", .label = "Background", .shortLabel = "BG", .required = true}};
    ClipRecord brush{this, {.name = "Input2", .label = "Brush"}};

    Page pagePath{this, "Trail Path"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "Sets the other controls to a kind of stroke; User leaves them."};
    CheckboxControlK7 PathOnly{this,
                               {"PathOnly", "Path Only", false, {.keptByPresets = true}},
                               "Shows the stroke alone, over transparent black."};
    IntegerControlK7 Handles{
        this, {"Handles", "Handles", 8, 2, POINTS}, "How many of the handles below the path runs through."};
    ListControlK7 Ends{
        this, {"Ends", "Ends", 0, {"Open", "Closed"}}, "Closed leads the path back from its last handle to the first."};
    ListControlK7 Curve{this,
                        {"Curve", "Curve", 0, {"Through Handles", "Along Handles", "Straight Lines"}},
                        "Whether the path runs smoothly through its handles, more smoothly past them, or straight."};
    SizeControlK7 Wobble{this,
                         {"Wobble", "Wobble", 0.0, 0.0, 1.0, {.displayMax = 0.05}},
                         "How far the hand trembles to both sides, in half widths of the picture."};
    SizeControlK7 WobbleSize{this,
                             {"WobbleSize", "Wobble Size", 0.08, 0.002, 2.0, {.displayMax = 0.3}},
                             "Length of these waves along the path, in half widths of the picture."};
    FloatControlK7 WobbleSpeed{this,
                               {"WobbleSpeed", "Wobble Speed", 0.0, 0.0, 1.0, {.displayMax = 0.5}},
                               "How many new shapes the wobble takes in a frame; 0 stands still."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 1, 1, 9999, {.animates = false}},
                          "Another number is another wobble, other bristles, grain and sparks."};

    Page pageDrawing{this, "Drawing"};
    ListControlK7 DrawOn{this,
                         {"DrawOn", "Draw On", 0, {"By Progress", "Over Time"}, {.keptByPresets = true}},
                         "Whether Progress says how much of the path is drawn, or the frame does."};
    FloatControlK7 Progress{this,
                            {"Progress", "Progress", 100.0, 0.0, 100.0, {.keptByPresets = true}},
                            "How far the pen is, in percent of the path. Key it to draw the path on."};
    IntegerControlK7 StartAt{this,
                             {"StartAt", "Start At", 0, -100000, 100000, {.animates = false, .keptByPresets = true}},
                             "Frame in which the pen sets out."};
    IntegerControlK7 Duration{this,
                              {"Duration", "Duration", 50, 1, 100000, {.animates = false, .keptByPresets = true}},
                              "Frames that it takes to the end of the path."};
    FloatControlK7 EaseIn{this,
                          {"EaseIn", "Ease In", 15.0, 0.0, 100.0, {.keptByPresets = true}},
                          "How much of the way's time the pen takes to come to speed, in percent."};
    FloatControlK7 EaseOut{this,
                           {"EaseOut", "Ease Out", 25.0, 0.0, 100.0, {.keptByPresets = true}},
                           "How much of the time it takes to slow down at the end, in percent."};
    FloatControlK7 Tail{this,
                        {"Tail", "Tail", 100.0, 0.1, 100.0},
                        "How much of the path stays behind the pen, in percent of it; 100 is all."};
    FloatControlK7 TailFade{this,
                            {"TailFade", "Tail Fade", 0.0, 0.0, 100.0},
                            "How far the stroke fades from the pen to its beginning, in percent."};
    FloatControlK7 TaperIn{
        this, {"TaperIn", "Taper In", 18.0, 0.0, 100.0}, "Part over which the stroke begins as a hair, in percent."};
    FloatControlK7 TaperOut{
        this, {"TaperOut", "Taper Out", 35.0, 0.0, 100.0}, "Part over which it ends as one, in percent."};
    ListControlK7 TaperAt{this,
                          {"TaperAt", "Taper At", 0, {"Ends Of Path", "Ends Of Drawn Piece"}},
                          "Whether tapers stay with the path or move with what is drawn of it."};
    FloatControlK7 Shutter{this,
                           {"Shutter", "Shutter", 50.0, 0.0, 100.0},
                           "How long the moving pen is seen, in percent of a frame; softens the end that moves."};

    Page pageBrush{this, "Brush"};
    ListControlK7 Brush{
        this,
        {"Brush", "Brush", 0, {"Round", "Flat", "Calligraphic", "Dashes", "Chalk", "Neon", "Sparkler", "Clip"}},
        "What is drawn with. Flat has bristles, Calligraphic is a nib that keeps its angle, Clip takes the Brush "
        "clip."};
    SizeControlK7 BrushSize{this,
                            {"BrushSize", "Size", 0.014, 0.0005, 1.0, {.displayMax = 0.1}},
                            "Radius of the brush, in half widths of the picture."};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Of the stroke, in percent."};
    ListControlK7 Blend{this,
                        {"Blend", "Blend", 0, {"Paint", "Light", "Ink"}},
                        "Paint covers, Light adds up to white, Ink darkens. Neon and Sparkler are always light."};
    FloatControlK7 Softness{
        this, {"Softness", "Softness", 0.0, 0.0, 100.0}, "How much of the stroke its soft edge takes, in percent."};
    FloatControlK7 Pressure{this,
                            {"Pressure", "Pressure Variation", 15.0, 0.0, 100.0},
                            "How much the stroke's width varies along the path, in percent."};
    FloatControlK7 Grain{this,
                         {"Grain", "Grain", 50.0, 0.0, 100.0},
                         "How rough the paper is under chalk, and how dry a flat brush, in percent."};
    FloatControlK7 GrainSize{this,
                             {"GrainSize", "Grain Size", 100.0, 10.0, 1000.0, {.displayMax = 400.0}},
                             "Of the paper's grain and the bristles, in percent of what is usual."};
    FloatControlK7 NibAngle{this,
                            {"NibAngle", "Nib Angle", 40.0, -360.0, 360.0, {.displayMax = 180.0}},
                            "Direction of the calligraphic nib, in degrees from level."};
    FloatControlK7 NibThickness{this,
                                {"NibThickness", "Nib Thickness", 12.0, 1.0, 100.0},
                                "Its thickness as a part of its width, in percent; 100 is round."};

    Page pageMore{this, "Brush Kinds"};
    FloatControlK7 DashLength{this,
                              {"DashLength", "Dash Length", 250.0, 100.0, 10000.0, {.displayMax = 1000.0}},
                              "Of dashes, in percent of the brush's width; 100 are dots."};
    FloatControlK7 DashGap{this,
                           {"DashGap", "Dash Gap", 150.0, 10.0, 10000.0, {.displayMax = 1000.0}},
                           "Between dashes, in percent of the brush's width."};
    FloatControlK7 DashSpeed{this,
                             {"DashSpeed", "Dash Speed", 0.0, -1000.0, 1000.0, {.displayMax = 50.0}},
                             "How far dashes move along the path in a frame, in percent of the brush's width."};
    FloatControlK7 Sparks{this,
                          {"Sparks", "Sparks", 100.0, 0.0, 400.0, {.displayMax = 200.0}},
                          "How many sparks a sparkler throws, in percent of what is usual."};
    FloatControlK7 SparkLength{this,
                               {"SparkLength", "Spark Length", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                               "How far they fly, in percent of what is usual."};
    ListControlK7 ClipLay{this,
                          {"ClipLay", "Lay Clip", 0, {"Stamped", "Ribbon"}},
                          "Whether the Brush clip is stamped again and again, or laid along the path as a ribbon."};
    ListControlK7 ClipShape{
        this,
        {"ClipShape", "Shape From", 0, {"Automatic", "Alpha", "Luminance"}},
        "What of the Brush clip covers. Automatic takes the alpha of ribbons, and of stamps that have any holes."};
    ListControlK7 ClipColour{this,
                             {"ClipColour", "Colour From", 0, {"Clip", "Path"}},
                             "Whether stamps have the clip's colours or those of the path."};
    FloatControlK7 ClipSpacing{this,
                               {"ClipSpacing", "Spacing", 100.0, 2.0, 1000.0, {.displayMax = 300.0}},
                               "From stamp to stamp, in percent of the brush's width."};
    CheckboxControlK7 ClipTurns{
        this, {"ClipTurns", "Turn With Path", true}, "Turns stamps into the direction of the path."};

    Page pageColour{this, "Colour"};
    ListControlK7 Colouring{this,
                            {"Colouring", "Colouring", 0, {"One Colour", "Two Colours", "Rainbow"}},
                            "Whether the colour changes along the path."};
    ColourControlK7 Colour1{this, {"Colour1", "Colour 1", 0.86F, 0.1F, 0.06F}, "Of the path, or of its beginning."};
    ColourControlK7 Colour2{this, {"Colour2", "Colour 2", 1.0F, 0.72F, 0.1F}, "Of its end."};
    FloatControlK7 ColourCycles{this,
                                {"ColourCycles", "Colour Cycles", 1.0, 0.05, 100.0, {.displayMax = 10.0}},
                                "How often colours change along the path."};
    FloatControlK7 ColourSpeed{this,
                               {"ColourSpeed", "Colour Speed", 0.0, -100.0, 100.0, {.displayMax = 10.0}},
                               "How far colours move in a frame, in percent of a cycle."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                              "Of light and glow, in percent."};
    FloatControlK7 Glow{this,
                        {"Glow", "Glow", 0.0, 0.0, 1000.0, {.displayMax = 300.0}},
                        "How much light the stroke throws around itself, in percent."};
    SizeControlK7 GlowSize{this,
                           {"GlowSize", "Glow Size", 0.08, 0.005, 1.0, {.displayMax = 0.3}},
                           "How far it does, in half widths of the picture."};
    FloatControlK7 Flicker{
        this, {"Flicker", "Flicker", 0.0, 0.0, 100.0}, "How much the light changes from frame to frame, in percent."};

    Page pagePoints{this, "Handles"};
    PositionControlK7 P1{this, {"P1", "Handle 1", 0.1, 0.34}, "The path begins here."};
    PositionControlK7 P2{this, {"P2", "Handle 2", 0.25, 0.62}, "The path runs through it."};
    PositionControlK7 P3{this, {"P3", "Handle 3", 0.42, 0.7}, "The path runs through it."};
    PositionControlK7 P4{this, {"P4", "Handle 4", 0.5, 0.5}, "The path runs through it."};
    PositionControlK7 P5{this, {"P5", "Handle 5", 0.4, 0.36}, "The path runs through it."};
    PositionControlK7 P6{this, {"P6", "Handle 6", 0.36, 0.54}, "The path runs through it."};
    PositionControlK7 P7{this, {"P7", "Handle 7", 0.58, 0.66}, "The path runs through it."};
    PositionControlK7 P8{this, {"P8", "Handle 8", 0.9, 0.46}, "The path runs through it."};

    Page pageMorePoints{this, "More Handles"};
    PositionControlK7 P9{this, {"P9", "Handle 9", 0.9, 0.3}, "The path runs through it."};
    PositionControlK7 P10{this, {"P10", "Handle 10", 0.82, 0.22}, "The path runs through it."};
    PositionControlK7 P11{this, {"P11", "Handle 11", 0.72, 0.2}, "The path runs through it."};
    PositionControlK7 P12{this, {"P12", "Handle 12", 0.62, 0.18}, "The path runs through it."};
    PositionControlK7 P13{this, {"P13", "Handle 13", 0.52, 0.16}, "The path runs through it."};
    PositionControlK7 P14{this, {"P14", "Handle 14", 0.42, 0.16}, "The path runs through it."};
    PositionControlK7 P15{this, {"P15", "Handle 15", 0.32, 0.18}, "The path runs through it."};
    PositionControlK7 P16{this, {"P16", "Handle 16", 0.22, 0.2}, "The path runs through it."};

    const std::array<PositionControlK7*, POINTS> points{&P1, &P2,  &P3,  &P4,  &P5,  &P6,  &P7,  &P8,
                                                        &P9, &P10, &P11, &P12, &P13, &P14, &P15, &P16};
    CrosshairOverlayK7 widget1{this, P1, true}, widget2{this, P2, true}, widget3{this, P3, true},
        widget4{this, P4, true}, widget5{this, P5, true}, widget6{this, P6, true}, widget7{this, P7, true},
        widget8{this, P8, true}, widget9{this, P9, true}, widget10{this, P10, true}, widget11{this, P11, true},
        widget12{this, P12, true}, widget13{this, P13, true}, widget14{this, P14, true}, widget15{this, P15, true},
        widget16{this, P16, true};

    TrailPathInfo();

  private:
    void declarePresets();
};

struct BrushLook;
struct StrokeLine;
struct PathVertex;
class PathDrawing;

class TrailPath final : public Effect<TrailPathInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;
    void DrawMore(const OverlayPen& pen) override;

  private:
    double progressAt(double frame) const;
    std::vector<PathVertex> wholePath() const;
    BrushLook look(float length) const;
    StrokeLine stroke(const std::vector<PathVertex>& piece, const BrushLook& look) const;
};
