// Q_Brush: paints the picture, stroke by stroke.
//
// For whom: titles and dream sequences, paintings that paint themselves, backgrounds behind type, book and storyboard
// looks, paint over a part of a shot.
//
// Method. Curved strokes in layers from coarse to fine (A. Hertzmann, "Painterly rendering with curved brush strokes of
// multiple sizes", 1998): each layer paints where the one before leaves out what the canvas shows. Strokes run along
// the tangents of the smoothed structure tensor (H. Kang, S. Lee and C. Chui, "Flow-based image abstraction", 2009),
// and along a free direction where the canvas has none. A stroke is a cubic spine with marks of bristles along it,
// which dryness, the paper's grain and the pressure break up. Paint has a height, whose slopes are lit (A. Hertzmann,
// "Fast paint texture", 2002); wet paint gathers at the rim of strokes (C. Curtis and others, "Computer-generated
// watercolor", 1997).
//
// What each clip steers. Canvas: the colours, the detail and the directions of strokes, and by its alpha where there
// are any. Painting: what is painted over; absent: paper. Matte: where the painting is seen, or where strokes begin;
// absent: everywhere. Control: turns the strokes by its luminance, gives their direction by its hue, or has the edges
// that they follow; absent: the canvas has them.
//
// What moves. Seeds of strokes stand on grids that belong to the frame, and all that is chance belongs to a seed: on a
// still canvas the painting is still. Strokes of finer layers are wanted more or less, and grow or dry up with it;
// nothing pops. On a moving canvas strokes hold their places while their colours and directions follow. `Restroke` lays
// all of them anew every few frames, as painted films do. No frame knows of another.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/paint/BrushStrokes.h"

struct BrushInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Brush",
        .menu = "Paint FX",
        .description = "Automatic Art This effect is in Box Number 9",
        .purpose =
            "Paints the picture with brush strokes that follow its forms, from coarse to fine: oils, dots of pure "
            "colour, watercolour, palette knife, pencils or charcoal, with bristles, relief and the grain of the "
            "paper.",
        .usage =
            "Connect the shot as Canvas and begin with one of the Presets.\n"
            "Largest and Smallest Stroke are widths of strokes as parts of the width of the picture, so a proxy shows "
            "the same strokes. Detail says how readily the smaller ones are painted.\n"
            "Progress from 0 to 100 paints the picture up, coarse strokes first.\n"
            "Painting, if connected, is what is painted over: a plain texture, or the same shot to paint it only here "
            "and there. Otherwise there is paper; Paper Clear gives the strokes alone with their alpha.\n"
            "Where the matte is black the Painting is seen, or the Canvas without one. With Matte Places Strokes whole "
            "strokes stay away instead, so that the painting ends in brush marks.\n"
            "Control turns strokes: blur some noise or a ramp and connect it for swirls, or connect another picture "
            "whose edges they follow.\n"
            "On a moving shot strokes hold their places while colours pass below them; new strokes every 2 to 4 frames "
            "look like a painted film.\n"
            "Take grain out of very noisy shots before, and put the effect after the grade.\n"};

    ClipRecord canvas{this, {.name = "Input2", .label = "Canvas", .required = true}};
    ClipRecord painting{this, {.name = "Input1", .label = "Painting", .shortLabel = "BG"}};
    ClipRecord matte{this, {.name = "Input3", .label = "Matte"}};
    ClipRecord control{this, {.name = "Input4", .label = "Control", .shortLabel = "Swirl"}};

    Page page{this, "Brush"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Presets"}, "Sets strokes, colours and paper to a look; User leaves them as they are."};
    SizeControlK7 StrokeSize{this,
                             {"StrokeSize", "Largest Stroke", 0.034, 0.002, 0.5, {.displayMax = 0.1}},
                             "Width of the strokes of the first layer, as a fraction of the width of the picture."};
    SizeControlK7 SmallestStroke{this,
                                 {"SmallestStroke", "Smallest Stroke", 0.005, 0.0015, 0.5, {.displayMax = 0.05}},
                                 "Width of the strokes of the last layer, as a fraction of the width of the picture."};
    IntegerControlK7 Layers{this,
                            {"Layers", "Layers", 4, 1, 8},
                            "How many sizes of strokes are painted over each other, from the largest to the smallest."};
    FloatControlK7 StrokeLength{
        this,
        {"StrokeLength", "Length", 5.0, 1.0, 40.0, {.displayMax = 15.0}},
        "How long strokes are at the most, in widths of a stroke; 1 makes dabs. They end earlier where the colour of "
        "the canvas changes."};
    FloatControlK7 Strokes{this,
                           {"Strokes", "Strokes", 100.0, 5.0, 400.0, {.displayMax = 200.0}},
                           "How many strokes there are, in percent; few leave paper between them."};
    FloatControlK7 Detail{this,
                          {"Detail", "Detail", 60.0, 0.0, 100.0},
                          "How readily smaller strokes are painted where larger ones miss something, in percent; 100 "
                          "paints them everywhere."};
    FloatControlK7 Opacity{this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Of each stroke, in percent."};
    IntegerControlK7 Seed{
        this, {"Seed", "Seed", 1, 1, 9999, {.animates = false}}, "Another number places all strokes anew."};
    IntegerControlK7 Restroke{this,
                              {"Restroke", "New Strokes Every", 0, 0, 1000},
                              "After how many frames all strokes are placed anew; 0 holds them still for ever."};
    FloatControlK7 Progress{this,
                            {"Progress", "Progress", 100.0, 0.0, 100.0},
                            "How much of the picture has been painted, in percent; 0 is the bare paper."};
    ListControlK7 ProgressOrder{
        this,
        {"ProgressOrder", "Progress Order", 0, {"At Random", "Left To Right", "Top To Bottom", "From The Middle"}},
        "In which order each layer is painted; later strokes lie on earlier ones."};

    Page direction{this, "Direction"};
    FloatControlK7 FollowEdges{
        this,
        {"FollowEdges", "Follow Edges", 100.0, 0.0, 100.0},
        "How strictly strokes run along the edges of the picture, in percent; 0 lets them go their own way."};
    AngleControlK7 EdgeTurn{this,
                            {"EdgeTurn", "Turn", 0.0, -180.0, 180.0},
                            "Turns strokes away from the edges that they follow, in degrees; 90 crosses them."};
    SizeControlK7 EdgeReach{this,
                            {"EdgeReach", "Smoothness", 0.006, 0.0, 0.1, {.displayMax = 0.03}},
                            "How far around a place edges count for its direction, as a fraction of the width of the "
                            "picture; more makes calmer strokes."};
    AngleControlK7 Angle{this,
                         {"Angle", "Angle", 35.0, -180.0, 180.0},
                         "Direction of strokes where there are no edges, in degrees anticlockwise from level."};
    FloatControlK7 Wander{
        this, {"Wander", "Wander", 40.0, 0.0, 360.0}, "How far this direction swings across the picture, in degrees."};
    SizeControlK7 WanderSize{this,
                             {"WanderSize", "Wander Size", 0.2, 0.01, 2.0, {.displayMax = 0.5}},
                             "Distance from one swing to the next, as a fraction of the width of the picture."};
    FloatControlK7 AngleJitter{this,
                               {"AngleJitter", "Angle Jitter", 12.0, 0.0, 90.0},
                               "How far single strokes are off their direction, in degrees."};
    FloatControlK7 Curvature{this,
                             {"Curvature", "Curvature", 100.0, 0.0, 100.0},
                             "How much strokes bend with the direction along them, in percent; 0 makes them straight."};
    ListControlK7 ControlUse{
        this,
        {"ControlUse", "Control Is", 0, {"Luminance", "Hue", "Edges"}},
        "What the Control clip does: its luminance turns strokes, its hue is their direction, or they follow its edges "
        "instead of those of the canvas."};
    AngleControlK7 ControlAngle{
        this,
        {"ControlAngle", "Control Angle", 180.0, -3600.0, 3600.0},
        "How far white of the Control clip turns strokes, or the whole circle of hues, in degrees."};

    Page colour{this, "Colour"};
    ListControlK7 Colouring{
        this,
        {"Colouring", "Colouring", 0, {"Paint", "Pigment", "One Ink"}},
        "Paint has the colours of the picture and covers; Pigment is stronger than the picture and laid on as thickly "
        "as "
        "the picture differs from the paper; One Ink is laid on as thickly as the picture is dark."};
    FloatControlK7 HueJitter{
        this, {"HueJitter", "Hue Jitter", 8.0, 0.0, 180.0}, "How far hues of single strokes are off, in degrees."};
    FloatControlK7 SaturationJitter{this,
                                    {"SaturationJitter", "Saturation Jitter", 15.0, 0.0, 200.0},
                                    "How far saturations of single strokes are off, in percent; greys take a tint."};
    FloatControlK7 ValueJitter{this,
                               {"ValueJitter", "Value Jitter", 5.0, 0.0, 100.0},
                               "How far single strokes are too light or too dark, in percent."};
    FloatControlK7 Saturation{
        this, {"Saturation", "Saturation", 110.0, 0.0, 400.0}, "Of the colours before they are jittered, in percent."};
    ColourControlK7 InkColour{this, {"InkColour", "Ink Colour", 0.08f, 0.075f, 0.07f}, "Colour of the one ink."};
    ListControlK7 Paper{this,
                        {"Paper", "Paper", 0, {"Colour", "Clear"}},
                        "What is below the strokes where no Painting is connected: the paper colour, or nothing."};
    ColourControlK7 PaperColour{this,
                                {"PaperColour", "Paper Colour", 0.9f, 0.87f, 0.8f},
                                "Colour of the paper, also where Pigment and One Ink reckon with it."};

    Page surface{this, "Surface"};
    FloatControlK7 Bristles{this,
                            {"Bristles", "Bristles", 75.0, 0.0, 100.0},
                            "How much single bristles show within a stroke, in percent; 0 is smooth."};
    FloatControlK7 Streaks{this,
                           {"Streaks", "Streaks", 12.0, 0.0, 100.0},
                           "How much bristles differ in brightness, as paint that is hardly mixed, in percent."};
    FloatControlK7 Dryness{this,
                           {"Dryness", "Dryness", 15.0, 0.0, 100.0},
                           "How dry the brush is, in percent: dry ones leave gaps, the more the longer they run."};
    FloatControlK7 Softness{this,
                            {"Softness", "Softness", 35.0, 0.0, 100.0},
                            "How far from its outline a stroke thins out, in percent of half its width."};
    FloatControlK7 Taper{
        this, {"Taper", "Taper", 20.0, 0.0, 100.0}, "How much narrower strokes are at their ends, in percent."};
    FloatControlK7 Roundness{this,
                             {"Roundness", "Roundness", 70.0, 0.0, 100.0},
                             "How round the ends of strokes are, in percent; 0 is the edge of a knife."};
    FloatControlK7 Wetness{
        this,
        {"Wetness", "Wetness", 0.0, 0.0, 100.0},
        "How much pigment gathers at the rims of strokes and in pools, as with watercolour, in percent."};
    FloatControlK7 Relief{this,
                          {"Relief", "Relief", 45.0, 0.0, 200.0, {.displayMax = 100.0}},
                          "How thick the paint stands on the paper, in percent."};
    AngleControlK7 LightAngle{this,
                              {"LightAngle", "Light Angle", 125.0, -360.0, 360.0},
                              "Where the light on the relief comes from, in degrees anticlockwise from the right."};
    FloatControlK7 Shine{
        this, {"Shine", "Shine", 15.0, 0.0, 100.0}, "How much the relief glistens in the light, in percent."};

    Page paper{this, "Paper"};
    ListControlK7 Ground{this,
                         {"Ground", "Ground", 1, {"Paper", "Canvas Weave"}},
                         "What the grain is: irregular as of paper, or the threads of a woven canvas."};
    SizeControlK7 GrainSize{this,
                            {"GrainSize", "Grain Size", 0.0025, 0.0003, 0.2, {.displayMax = 0.01}},
                            "Size of the grain, or from one thread to the next, as a fraction of the width of the "
                            "picture."};
    FloatControlK7 PaperGrain{this,
                              {"PaperGrain", "Grain Breaks Strokes", 15.0, 0.0, 100.0},
                              "How much of a stroke misses the valleys of the grain, in percent."};
    FloatControlK7 GrainRelief{this,
                               {"GrainRelief", "Grain Relief", 25.0, 0.0, 200.0, {.displayMax = 100.0}},
                               "How deep the grain looks in the light, in percent."};
    CheckboxControlK7 MatteStrokes{
        this,
        {"MatteStrokes", "Matte Places Strokes"},
        "Keeps whole strokes away from where the matte is dark, instead of cutting the painting there."};
    CheckboxControlK7 InvertMatte{
        this, {"InvertMatte", "Invert Matte"}, "Takes the matte the other way round, so that white is not painted."};
    FloatControlK7 Mix{
        this, {"Mix", "Mix", 100.0, 0.0, 100.0}, "How much of the painting is seen over what was there, in percent."};

    BrushInfo() {
        ghost({&InkColour}, Colouring, isNot(3));
        ghost({&HueJitter, &SaturationJitter, &ValueJitter, &Saturation}, Colouring, is(3));
        ghost({&ControlAngle}, ControlUse, is(3));
        declarePresets();
        scene.inputs = {"portrait-small.png"};
        scene.settings = {{"Demos", "Impressionist"}};
        scene.look = {{"Demos", "Impressionist"}};
    }

  private:
    void declarePresets();
};

class Brush final : public Effect<BrushInfo> {
  public:
    void ProcessFrame() override;

  private:
    struct Sheet;
    BrushSettings settings() const;
    BrushDirections directions(bool controlled) const;
    BrushLook look() const;
    bool layPaper(Sheet& sheet) const;
    void paint(Sheet& sheet, const std::vector<BrushStroke>& strokes) const;
    void finish(const Sheet& sheet);
};
