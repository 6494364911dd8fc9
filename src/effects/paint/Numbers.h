// Q_Numbers: painting by numbers.
//
// What an artist uses it for: a shot that turns into a printed sheet of numbered fields and is then painted in, field
// after field; a poster of few flat colours; a title that is filled as a child would. Two keys on Filled make the
// write-on.
//
//   fields    The picture is shrunk to about 960 columns, so that every size of it has the same fields, and smoothed
//             with a guided filter, which takes grain away and leaves edges. Its colours come from k-means in Oklab
//             (imagelib_palette.h), or from a paint box of fixed colours. Each place takes the nearest one; borders
//             are rounded by a vote of their neighbourhoods (imagelib_labelborders.h), and specks join what surrounds
//             them most.
//   sheet     Outlines at distances from the borders that the vote gives between pixels, so they are smooth at any
//             size. Each field has its number at its pole of inaccessibility (D. Garcia-Castellanos and U. Lombardo,
//             2007), in the largest size that fits.
//   painting  Each field has a time between 0 and 1: from its colour, its size, its place, or a noise at its place.
//             None of them depends on how many fields there are, so that a speck more or less moves nothing else.
//             While Filled passes that time, a brush wipes across the field.
//
// Nothing moves by itself. On a still plate the sheet stands still, with grain too; on a moving one fields follow the
// picture, and colours only as far as the picture's own colours change: a paint box keeps them altogether.
#pragma once

#include "Library2/PluginK7.h"

class SolidNoise;
struct NumbersSheet;

struct NumbersInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Numbers",
        .menu = "Paint FX",
        .description = "Painting by numbers. This effect is in Box Number 9",
        .purpose =
            "Turns a picture into a painting-by-numbers sheet: outlined fields with the numbers of their colours, a "
            "row of paints, and the paint itself, which fills field after field.",
        .usage =
            "Connect the shot as Clip to Paint and begin with a preset.\n"
            "Animate Filled from 0 to 100 to have the sheet painted; Fill Order says in which order.\n"
            "Simplify takes texture away before colours are chosen, Smoothing rounds the fields, Smallest Field "
            "removes what no brush would reach: raise all three for a child's sheet, lower them for a grown-up's.\n"
            "All sizes are in thousandths of the picture's width, so that a proxy and the full size show the same "
            "sheet.\n"
            "On moving plates take the colours from the paint box, or grade towards few colours first: colours taken "
            "from the picture follow it.\n"
            "With Filled at 100, Line Width at 0 and Numbers off it makes posters.\n"
            "The alpha of the clip is kept; what is transparent has no say in the colours.\n"};
    enum Source { FromPicture = 1, PaintBox = 2 };
    enum FillOrders { ByColour = 1, BySize = 2, FromOneSide = 3, InPatches = 4 };
    enum Sides { Bottom = 1, Top = 2, Left = 3, Right = 4 };

    ClipRecord input{this, {.name = "Input", .label = "Clip to Paint", .shortLabel = "Input", .required = true}};

    Page page{this, "Numbers"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole sheet: sets all controls but the seed."};
    ListControlK7 ColourSource{this,
                               {"ColourSource", "Colour Source", 0, {"Picture", "Paint Box"}},
                               "Colours that stand best for the picture, or the first ones of a box of 24 paints."};
    IntegerControlK7 Colours{
        this, {"Colours", "Colours", 12, 2, 64}, "How many colours there are; a paint box has at most 24."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 1, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number may find other colours that stand for the picture as well."};
    FloatControlK7 Simplify{this,
                            {"Simplify", "Simplify", 40.0, 0.0, 100.0},
                            "How strong a texture becomes flat before colours are chosen, in percent."};
    FloatControlK7 Smoothing{this,
                             {"Smoothing", "Smoothing", 7.0, 1.0, 15.0},
                             "Width of the bends that borders lose, in thousandths of the picture's width."};
    FloatControlK7 SmallestField{
        this,
        {"SmallestField", "Smallest Field", 14.0, 0.0, 100.0},
        "Side of the square that the smallest field has as its area, in thousandths of the width."};

    Page fillPage{this, "Painting"};
    FloatControlK7 Filled{this,
                          {"Filled", "Filled", 50.0, 0.0, 100.0},
                          "How much of the sheet is painted: 0 is the blank sheet, 100 the finished picture."};
    ListControlK7 FillOrder{this,
                            {"FillOrder", "Fill Order", 0, {"By Colour", "By Size", "From One Side", "In Patches"}},
                            "One colour after another from light to dark, large fields first, from one side to the "
                            "other, or here and there."};
    AngleControlK7 FillAngle{this,
                             {"FillAngle", "Fill Angle", 0.0, -180.0, 180.0},
                             "Where the painting moves to, in degrees: 0 is from left to right, 90 upwards. By Colour "
                             "takes the fields of each colour in this order too."};
    FloatControlK7 FillTime{
        this, {"FillTime", "Fill Time", 6.0, 0.5, 50.0}, "How long a field takes to be painted, in percent of Filled."};
    FloatControlK7 BrushMarks{this,
                              {"BrushMarks", "Brush Marks", 35.0, 0.0, 100.0},
                              "Strength of the brush's marks in the paint, in percent."};
    FloatControlK7 Tint{this,
                        {"Tint", "Tint", 0.0, 0.0, 100.0},
                        "How much of its colour a field shows before it is painted, in percent."};

    Page sheetPage{this, "Sheet"};
    ColourControlK7 PaperColour{this, {"PaperColour", "Paper Colour", 0.97F, 0.96F, 0.93F}, "Colour of the paper."};
    ColourControlK7 LineColour{
        this, {"LineColour", "Line Colour", 0.38F, 0.45F, 0.56F}, "Colour of outlines and numbers."};
    FloatControlK7 LineWidth{this,
                             {"LineWidth", "Line Width", 0.7, 0.0, 6.0},
                             "Width of the outlines, in thousandths of the picture's width; 0 draws none."};
    FloatControlK7 LinesOnPaint{this,
                                {"LinesOnPaint", "Lines On Paint", 25.0, 0.0, 100.0},
                                "How much is seen of an outline between two painted fields, in percent."};
    CheckboxControlK7 ShowNumbers{this, {"ShowNumbers", "Show Numbers", true}, "Writes each field's number into it."};
    FloatControlK7 LargestNumber{this,
                                 {"LargestNumber", "Largest Number", 9.0, 2.0, 60.0},
                                 "Height of numbers in large fields, in thousandths of the picture's width."};
    FloatControlK7 SmallestNumber{
        this,
        {"SmallestNumber", "Smallest Number", 4.0, 1.0, 60.0},
        "Fields in which a number of this height has no room get none, in thousandths of the width."};
    FloatControlK7 NumbersOnPaint{this,
                                  {"NumbersOnPaint", "Numbers On Paint", 0.0, 0.0, 100.0},
                                  "How much is seen of the numbers of painted fields, in percent."};

    Page palettePage{this, "Palette"};
    CheckboxControlK7 ShowPalette{
        this, {"ShowPalette", "Show Palette", true}, "Lays a strip with all paints and their numbers over one side."};
    ListControlK7 PaletteSide{
        this, {"PaletteSide", "Palette Side", 0, {"Bottom", "Top", "Left", "Right"}}, "The side where the strip lies."};
    FloatControlK7 PaletteSize{this,
                               {"PaletteSize", "Palette Size", 55.0, 10.0, 250.0},
                               "Height of the strip, in thousandths of the picture's width."};
    ListControlK7 PotShape{
        this, {"PotShape", "Pot Shape", 0, {"Round", "Square"}}, "Pots of paint, or fields of a colour card."};

    NumbersInfo();

  private:
    void declarePresets();
};

class Numbers final : public Effect<NumbersInfo> {
  public:
    void ProcessFrame() override;

  private:
    bool divideInto(NumbersSheet& sheet) const;
    float timeOf(const NumbersSheet& sheet, std::size_t field, const float* colours_before,
                 const SolidNoise& noise) const;
    void scheduleFields(NumbersSheet& sheet) const;
    void drawFields(const NumbersSheet& sheet, K7Image& picture) const;
    void drawNumbers(const NumbersSheet& sheet, K7Image& picture) const;
    void drawPalette(const NumbersSheet& sheet, K7Image& picture) const;
};
