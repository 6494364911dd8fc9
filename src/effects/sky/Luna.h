// Q_Luna: the moon, for any night.
//
// A photograph of the full moon is scaled to its place, shaded by a phase that a date may give, coloured, and laid over
// the sky with a glow and a halo. North is up.
#pragma once

#include "Library2/PluginK7.h"

struct LunaInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Luna",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .description = "Creates an image of the moon at a specified date. This effect is in Box Number 1",
        .purpose =
            "The moon over a night exterior, in any phase, size and colour: a thin crescent at dusk, a harvest moon "
            "over the horizon, the moon of a date in the script, with the glow and the halo of damp air.",
        .usage =
            "Connect the sky as Sky, begin with a preset and drag the moon to its place. The real moon is half a "
            "degree "
            "wide: with a field of view of 40 degrees across that is a Radius of 0.0125, and what audiences expect is "
            "larger.\n"
            "For the moon of a date fill in the Date page. Changing a number there sets Phase; the button sets it "
            "again. Times are universal time.\n"
            "Phase Angle turns the light: near the equator, and low in the sky, a crescent lies on its back.\n"
            "The dark side hides the stars behind it, as in nature. Daylight Mode adds the moon to a bright sky "
            "instead, "
            "as it is seen by day: its dark parts then take the colour of the sky.\n"
            "Dark Side at 90 to 97 leaves the pale light that the earth throws on a thin crescent.\n"
            "Low moons are redder, flatter in contrast and have more glow. A halo of ice stands at a distance of "
            "44 diameters of the moon; close rings belong to thin cloud.\n"
            "Sizes are fractions of the width, so a proxy shows the same.\n"};
    enum Background { Clip = 1, SkyColour = 2, Transparent = 3 };
    enum ColourType { InColour = 1, BlackAndWhite = 2, Tinted = 3 };

    ClipRecord input{this, {.name = "Input1", .label = "Sky"}};

    Page page{this, "Luna"};
    PresetChoiceK7 Demos{this,
                         {"Demos", "Type"},
                         "Sets the other controls to a moon; its place, the sky and the date "
                         "stay as they are."};
    ListControlK7 DrawingMode{
        this,
        {"DrawingMode", "Background", 0, {"Clip", "Sky Colour", "Transparent"}, {.keptByPresets = true}},
        "What is behind the moon: the clip, one colour, or nothing."};
    ColourControlK7 SkyCol{this,
                           {"SkyCol", "Sky Colour", 0.02F, 0.03F, 0.08F, 1.0F, {.keptByPresets = true}},
                           "Colour of the sky where Background says so."};
    PositionControlK7 Centre{this, {"Centre", "Centre", 0.5, 0.5}, "The middle of the moon."};
    SizeControlK7 MRadius{this, {"MRadius", "Radius", 0.4, 0.01, 2.0}, "Radius of the moon, in half widths."};
    FloatControlK7 Dark{this,
                        {"Dark", "Dark Side", 80.0, 0.0, 100.0},
                        "How dark the side is that the sun does not light, in percent: 100 is black."};
    FloatControlK7 Phase{this,
                         {"Phase", "Phase", 40.0, 0.0, 100.0},
                         "The way from one new moon to the next, in percent: 25 is the first quarter, 50 full, 75 the "
                         "last quarter."};
    FloatControlK7 PhaseSoft{this,
                             {"PhaseSoft", "Phase Softness", 20.0, 0.0, 100.0},
                             "Width of the dusk beside the lit part, in percent of the moon's radius; at least 0.5."};
    AngleControlK7 PhaseAngle{this,
                              {"PhaseAngle", "Phase Angle", 0.0, 0.0, 360.0},
                              "Turns the shadow, in degrees counter-clockwise; the moon's face stays."};
    CheckboxControlK7 PhaseBlack{this,
                                 {"PhaseBlack", "Phase to Black"},
                                 "Shades the moon after it has been coloured, so that Lift does not brighten the dark "
                                 "side."};
    FloatControlK7 Smooth{this,
                          {"Smooth", "Smooth", 0.0, 0.0, 100.0},
                          "Blurs the moon, in 2000ths of the width of the picture: haze, or a moon out of focus."};
    CheckboxControlK7 DoGlow{this, {"DoGlow", "Do Glow", true}, "Adds a glow around the moon."};
    FloatControlK7 GlowRad{this,
                           {"GlowRad", "Glow Radius", 50.0, 0.0, 100.0},
                           "How far the glow reaches, in percent of the width of the picture."};
    FloatControlK7 GlowBright{this,
                              {"GlowBright", "Glow Brightness", 20.0, 0.0, 200.0},
                              "Brightness of the glow where it is strongest: 200 is white."};

    Page datePage{this, "Date"};
    TextControlK7 Datelabel{
        this,
        {"Datelabel", "Date Label", "Date and Time (UT)", ofx::string_mode::Label, {.keptByPresets = true}},
        "A caption: the date below is in universal time."};
    IntegerControlK7 DateDay{
        this, {"DateDay", "Day", 1, 1, 31, {.keptByPresets = true}}, "Day of the month. It sets Phase."};
    IntegerControlK7 DateMonth{
        this, {"DateMonth", "Month", 1, 1, 12, {.keptByPresets = true}}, "Month. It sets Phase."};
    IntegerControlK7 DateYear{
        this, {"DateYear", "Year", 2012, 1900, 2297, {.keptByPresets = true}}, "Year. It sets Phase."};
    IntegerControlK7 DateHour{
        this, {"DateHour", "Hour", 0, 0, 23, {.keptByPresets = true}}, "Hour, universal time. It sets Phase."};
    IntegerControlK7 DateMinute{
        this, {"DateMinute", "Minute", 0, 0, 59, {.keptByPresets = true}}, "Minute. It sets Phase."};
    ButtonControlK7 Date{this, {"Date", "Set Phase from Date"}, "Sets Phase to that of the moon at this date."};
    TextControlK7 DateQDS{
        this,
        {"DateQDS", "Date QDS", "1/1/2012/0/0", ofx::string_mode::SingleLine, {.secret = true, .keptByPresets = true}},
        "The date that Phase was set from: day/month/year/hour/minute."};

    Page colourPage{this, "Colour"};
    ColourControlK7 MoonCol{this,
                            {"MoonCol", "Moon Colour", 1.0F, 1.0F, 1.0F},
                            "Colour of the moon: it multiplies the photograph, or is added to it when Tinted."};
    ListControlK7 ColType{this,
                          {"ColType", "Colour Type", 0, {"Colour", "Black+White", "Tinted"}},
                          "Whether the moon has its colour, none, or the colour is added to its brightness."};
    FloatControlK7 Contrast{
        this, {"Contrast", "Lift", 0.0, -100.0, 100.0}, "Added to the brightness of the moon, in percent of white."};
    FloatControlK7 Brightness{
        this, {"Brightness", "Brightness", 100.0, 0.0, 500.0}, "Multiplies the brightness of the moon, in percent."};
    FloatControlK7 Colour{this,
                          {"Colour", "Saturation", 100.0, 0.0, 200.0},
                          "Saturation of the moon's colour, in percent of what it is."};
    CheckboxControlK7 DaylightMode{this,
                                   {"DaylightMode", "Daylight Mode"},
                                   "Adds the moon to the sky instead of covering it, as it is seen by day."};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 100.0},
                         "How much of the background is mixed back in, in percent: 100 shows it alone."};

    Page ringPage{this, "Ring"};
    CheckboxControlK7 DoRing{this, {"DoRing", "Do Ring"}, "Adds a halo, a ring of light around the moon."};
    SizeControlK7 RingRad{this,
                          {"RingRad", "Ring Radius", 0.3, 0.0, 2.0},
                          "Distance from the moon's edge to the inner border of the ring, in half widths."};
    FloatControlK7 RingSize{
        this, {"RingSize", "Ring Size", 20.0, 0.0, 100.0}, "Width of the ring, in percent of its inner radius."};
    FloatControlK7 RingBright{
        this, {"RingBright", "Ring Brightness", 20.0, 0.0, 100.0}, "Brightness of the ring, in percent of its colour."};
    CheckboxControlK7 DoSplit{
        this,
        {"DoSplit", "Split Colours"},
        "Splits the ring into its colours, red inside, then green and blue; Ring Colour is not used then."};
    ColourControlK7 RingCol{this, {"RingCol", "Ring Colour", 1.0F, 1.0F, 1.0F}, "Colour of the ring."};
    FrameRateControlK7 FramesPerSecond{this};

    CrosshairOverlayK7 centreWidget{this, Centre};
    CircleOverlayK7 radiusWidget{this, Centre, MRadius};
    DeltaCircleOverlayK7 ringWidget{this, Centre, MRadius, RingRad};
    AngleOverlayK7 angleWidget{this, Centre, PhaseAngle};

    LunaInfo();

  private:
    void declarePresets();
};

class Luna final : public Effect<LunaInfo> {
  public:
    void ProcessFrame() override;
    void ButtonPressed(ButtonControlK7& button) override;
    void ControlChanged(ControlK7& control) override;

  protected:
    void PrepareOverlay() override;

  private:
    void setPhaseFromDate();
    ImagePtr drawMoon(const K7Image& frame) const;
    ImagePtr glowOf(const K7Image& moon) const;
};
