// Q_Dots: the picture as a printer's screen of dots, lines or grain.
//
// For whom: titles, comic and pop looks, newsprint inserts, engraved notes, posters, mattes that dissolve in dots, and
// screens for displays and lamp walls.
//
// Method. Amplitude screens: each ink has a grid of cells (R. Ulichney, "Digital Halftoning", 1987); a pattern gives a
// height for each place of the cell, and ink covers what lies below a size. Which size belongs to a level is measured
// for the cell, the angle and the pixels at hand, so the mean of a flat area is its level, at any size of the dots. A
// pixel is some boxes, and the part of each that an edge covers is exact for straight edges: so nothing beats against
// the pixels, at any angle. Cells as small as pixels fade into the level. The stochastic screen is a tile of blue noise
// (Ulichney 1993). Four inks are separated by simple subtraction with grey replaced by black, and lie over each other
// as filters do: with pure inks, each at an angle of its own, the mean is the picture again (H. Demichel's equations).
//
// What each clip steers. Background: what is screened, and what stays where the matte is black. Intensity Levels: how
// much ink, by its luminance; absent: Background. Colours: what colour the dots have, or what is separated into four
// inks; absent: Background. Matte: where the screen is seen, or how large the dots are; absent: everywhere.
//
// What moves. The screen stands still in the frame, whatever the picture does. Speed moves it along, or rings outwards;
// controls may be animated. No frame knows of another.
#pragma once

#include <vector>

#include "Library2/PluginK7.h"
#include "effects/abstract/Dots_simd.h"

struct DotsInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Dots",
        .menu = "Abstract",
        .description = "Image screened with dots or alternative patterns. This effect is in Box Number 13",
        .purpose =
            "The picture in a printer's screen: round dots, lines, rings, a spiral, crosses or fine grain, in one ink, "
            "in "
            "the picture's own colours, or in cyan, magenta, yellow and black. From afar the tones are those of the "
            "picture.",
        .usage =
            "Connect the shot as Background and begin with one of the Presets.\n"
            "Size is the distance of the dots as a part of the width of the picture: 0.004 is a newspaper held in the "
            "hand, 0.02 a comic, 0.05 a poster.\n"
            "Smooth Levels makes round dots of a busy picture; at 0 their edges follow its detail.\n"
            "Intensity Levels, if connected, says how large the dots are: grade a copy of the shot there. Colours, if "
            "connected, says what colour they have.\n"
            "Four inks need angles of their own. 30 degrees between cyan, magenta and black make the quietest "
            "rosettes, "
            "and yellow may stand between two of them.\n"
            "Paper Clear gives the ink alone with its coverage as alpha, to print on anything.\n"
            "Matte Makes Sizes lets the dots shrink to nothing at soft edges of the matte instead of fading them.\n"
            "Animate Size or Angle slowly: every dot moves. Speed moves the whole screen evenly.\n"
            "Sizes are parts of the picture, so a proxy shows the same dots; where they get as small as pixels only "
            "their level is left.\n"
            "Put it last, after all grain, and do not scale the picture behind it.\n"};

    ClipRecord background{this, {.name = "Input2", .label = "Background", .required = true}};
    ClipRecord intensity{this, {.name = "Input", .label = "Intensity Levels", .shortLabel = "Intense"}};
    ClipRecord matte{this, {.name = "Input3", .label = "Matte"}};
    ClipRecord colours{this, {.name = "Input4", .label = "Colours", .shortLabel = "Cols"}};

    Page page{this, "Dots"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Presets"}, "Sets pattern, levels, inks and paper to a look; User leaves them as they are."};
    ListControlK7 Pattern{
        this,
        {"Pattern",
         "Pattern",
         0,
         {"Round", "Elliptical", "Diamond", "Square", "Line", "Cross", "Concentric", "Spiral", "Blue Noise"}},
        "Shape of the dots. Elliptical ones join to chains first; Line, Cross, Concentric and Spiral are lines whose "
        "width "
        "is the level; Blue Noise is fine grain without any order."};
    SizeControlK7 DotSize{
        this,
        {"DotSize", "Size", 0.008, 0.0005, 0.5, {.displayMax = 0.05}},
        "Distance of dots or lines, as a fraction of the width of the picture; grains of the blue noise "
        "are a third of it."};
    AngleControlK7 Angle{this,
                         {"Angle", "Angle", 45.0, -180.0, 180.0},
                         "Turns the screen anticlockwise, in degrees; four inks are turned by it on top of their own "
                         "angles."};
    PositionControlK7 Centre{
        this,
        {"Centre", "Centre", 0.5, 0.5},
        "Middle of rings and spirals, and where a dot of the other patterns begins, as fractions of "
        "the width and height of the picture."};
    FloatControlK7 Speed{
        this,
        {"Speed", "Speed", 0.0, -1000.0, 1000.0, {.displayMax = 20.0}},
        "How far the screen moves across its lines from frame to frame, in percent of a cell; rings and "
        "spirals grow outwards. 0 stands still."};
    FloatControlK7 Wave{
        this, {"Wave", "Wave", 0.0, 0.0, 200.0}, "How far lines swing to either side, in percent of their distance."};
    FloatControlK7 WaveLength{
        this, {"WaveLength", "Wave Length", 8.0, 1.0, 100.0}, "Length of a wave of the lines, in distances of lines."};
    FloatControlK7 EdgeSoftness{this,
                                {"EdgeSoftness", "Edge Softness", 0.0, 0.0, 100.0},
                                "How wide the edges of dots are, in percent of a cell, on top of what pixels need."};

    Page levels{this, "Levels"};
    FloatControlK7 SmoothLevels{
        this,
        {"SmoothLevels", "Smooth Levels", 50.0, 0.0, 400.0, {.displayMax = 100.0}},
        "Radius over which the levels are averaged before they are screened, in percent of half "
        "a cell; 0 lets dots follow the detail within them."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 0.0, -100.0, 100.0},
                              "Takes ink away, or adds it below 0, in percent of full coverage."};
    FloatControlK7 Contrast{
        this, {"Contrast", "Contrast", 100.0, 0.0, 400.0}, "Contrast of the levels round half coverage, in percent."};
    FloatControlK7 InkGain{
        this,
        {"InkGain", "Ink Gain", 0.0, -50.0, 50.0},
        "How much larger dots of half coverage print, in percent of full coverage, as ink that spreads "
        "into the paper; 0 keeps the tones of the picture."};
    CheckboxControlK7 Negative{this, {"Negative", "Negative"}, "Screens the negative of the picture."};

    Page inks{this, "Inks"};
    ListControlK7 Colouring{this,
                            {"Colouring", "Colouring", 0, {"One Ink", "Picture's Colours", "Four Inks"}},
                            "What the dots are printed with: the ink colour; the colours of the picture, each dot as "
                            "strong as gives the picture with the paper round it; or cyan, magenta, yellow and black."};
    ColourControlK7 InkColour{this,
                              {"InkColour", "Ink Colour", 0.0f, 0.0f, 0.0f},
                              "The one ink. If it is lighter than the paper, light parts "
                              "of the picture are printed instead of dark ones."};
    ListControlK7 Paper{
        this,
        {"Paper", "Paper", 0, {"Colour", "Background", "Clear"}},
        "What lies below the dots: the paper colour, the Background clip, or nothing, with the coverage "
        "as alpha."};
    ColourControlK7 PaperColour{this, {"PaperColour", "Paper Colour", 1.0f, 1.0f, 1.0f}, "Colour of the paper."};
    ColourControlK7 CyanInk{this, {"CyanInk", "Cyan Ink", 0.0f, 1.0f, 1.0f}, "Colour of the first of four inks."};
    ColourControlK7 MagentaInk{this, {"MagentaInk", "Magenta Ink", 1.0f, 0.0f, 1.0f}, "Colour of the second ink."};
    ColourControlK7 YellowInk{this, {"YellowInk", "Yellow Ink", 1.0f, 1.0f, 0.0f}, "Colour of the third ink."};
    ColourControlK7 BlackInk{this, {"BlackInk", "Black Ink", 0.0f, 0.0f, 0.0f}, "Colour of the fourth ink."};

    Page plates{this, "Plates"};
    AngleControlK7 CyanAngle{this,
                             {"CyanAngle", "Cyan Angle", -30.0, -180.0, 180.0},
                             "Angle of the cyan screen, in degrees, on top of Angle."};
    AngleControlK7 MagentaAngle{this,
                                {"MagentaAngle", "Magenta Angle", 30.0, -180.0, 180.0},
                                "Angle of the magenta screen, in degrees, on top of Angle."};
    AngleControlK7 YellowAngle{this,
                               {"YellowAngle", "Yellow Angle", -45.0, -180.0, 180.0},
                               "Angle of the yellow screen, in degrees, on top of Angle."};
    AngleControlK7 BlackAngle{this,
                              {"BlackAngle", "Black Angle", 0.0, -180.0, 180.0},
                              "Angle of the black screen, in degrees, on top of Angle."};
    FloatControlK7 BlackAmount{this,
                               {"BlackAmount", "Black Amount", 70.0, 0.0, 100.0},
                               "How much of what cyan, magenta and yellow have in common is printed black instead, in "
                               "percent."};

    Page mix{this, "Mix"};
    CheckboxControlK7 MatteSizes{
        this,
        {"MatteSizes", "Matte Makes Sizes"},
        "Makes dots smaller where the matte is dark, instead of mixing the Background back in."};
    CheckboxControlK7 InvertMatte{this,
                                  {"InvertMatte", "Invert Matte"},
                                  "Takes the matte the other way round, so that white keeps the Background."};
    FloatControlK7 Mix{this,
                       {"Mix", "Mix", 100.0, 0.0, 100.0},
                       "How much of the screened picture is seen, in percent; the rest is the Background."};

    DotsInfo() {
        ghost({&WaveLength, &Wave}, Pattern, isNot(5));
        ghost({&InkColour}, Colouring, isNot(1));
        ghost({&CyanInk, &MagentaInk, &YellowInk, &BlackInk, &CyanAngle, &MagentaAngle, &YellowAngle, &BlackAngle,
               &BlackAmount},
              Colouring, isNot(3));
        ghost({&PaperColour}, Paper, isNot(1));
        declarePresets();
        scene.inputs = {"portrait-small.png"};
        scene.settings = {{"Demos", "Offset Four Colour"}, {"DotSize", "0.016"}};
        scene.look = {{"Demos", "Offset Four Colour"}};
    }

  private:
    void declarePresets();
};

class Dots final : public Effect<DotsInfo> {
  public:
    void ProcessFrame() override;

  private:
    struct SizeTables;
    DotsFrame frame(const K7Image& picture) const;
    void setScreens(DotsFrame& frame, SizeTables& tables) const;
    void smoothLevels(const DotsFrame& frame, bool own_colours);
};
