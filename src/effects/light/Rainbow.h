// Q_Rainbow: one or more concentric rainbows over the picture.
//
// Each bow is a ring whose colours are those of single wavelengths, 380 to 700 nm across its width: violet inside and
// red outside in the first one, turned round in every second, as behind a real shower. A bow covers what is behind it
// as much as it is bright there.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/light/Rainbow_simd.h"

struct RainbowInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Rainbow",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .description = "Simulates rainbows (no gold however). This effect is in Box Number 1",
        .purpose =
            "Rainbows over a landscape, in the spray of a fountain or a waterfall, and haloes and coronas as full "
            "circles: the colours are those of the spectrum itself.",
        .usage =
            "Connect the shot as Background. A real bow is a part of a circle around the point opposite the sun, so "
            "put Centre at or below the horizon and make Radius large.\n"
            "Begin with Opacity at 30 to 50 and Density at 0 to 30: a rainbow is light, which hides little. Scale Size "
            "from 0.02 to 0.05 is a bow as in nature.\n"
            "With Atmosphere on, the luminance of the clip of that name says where the drops are: a soft matte of the "
            "shower, white where it rains. A matte that is black below the horizon puts the bow behind the hills.\n"
            "A second bow lies at about 1.2 times the radius of the first and is turned round; Gap Scale places it, "
            "Drop Off says how bright it is.\n"
            "Rainbow Only gives the bow with its alpha on black, to be added in the comp.\n"
            "Sizes are fractions of the width, so a proxy shows the same.\n"};
    enum FadeType { FullCircle = 1, LinearArc = 2, HermiteArc = 3 };

    ClipRecord input{this, {.name = "Input", .label = "Background", .shortLabel = "BG"}};
    ClipRecord atmosphere{this, {.name = "Input2", .label = "Atmosphere", .shortLabel = "Atmos"}};

    Page page{this, "Rainbow"};
    CheckboxControlK7 BlackBG{this,
                              {"BlackBG", "Rainbow Only", false, {.keptByPresets = true}},
                              "Shows the bows alone, on transparent black, instead of over the background."};
    FloatControlK7 Brightness{
        this, {"Brightness", "Brightness", 100.0, 0.0, 200.0}, "Brightness of the first bow's colours, in percent."};
    IntegerControlK7 BowCount{this, {"BowCount", "Bow count", 3, 1, 10}, "How many bows there are."};
    PositionControlK7 Center{this, {"Center", "Centre", 0.5, 0.5}, "The middle of all bows."};
    SizeControlK7 Radius{
        this, {"Radius", "Radius", 0.3, 0.01, 2.0}, "Radius of the middle of the first bow, in half widths."};
    FloatControlK7 PrimWidth{this,
                             {"PrimWidth", "Scale Size", 0.1, 0.001, 1.0},
                             "How far the first bow reaches to both sides of its radius, as a fraction of the width of "
                             "the picture; the other bows and their gaps follow it."};
    FloatControlK7 WidthScale{this,
                              {"WidthScale", "Width Scale", 75.0, 50.0, 500.0},
                              "Width of the further bows, in percent of that of the first one."};
    FloatControlK7 GapScale{this,
                            {"GapScale", "Gap Scale", 200.0, 100.0, 1000.0},
                            "Distance from the middle of a bow to that of the next one, in percent of Scale Size."};
    FloatControlK7 Density{
        this,
        {"Density", "Density", 100.0, 0.0, 100.0},
        "How much of what is behind it the first bow hides where it is brightest, in percent: 0 only "
        "adds light."};
    FloatControlK7 Opacity{
        this, {"Opacity", "Opacity", 100.0, 0.0, 100.0}, "Scales brightness and density together, in percent."};
    FloatControlK7 BowBrightScale{this,
                                  {"BowBrightScale", "Drop Off", 30.0, 0.0, 100.0},
                                  "Brightness and density of each further bow, in percent of the one before it."};
    FloatControlK7 WidenBowBy{this,
                              {"WidenBowBy", "WidenBowBy", 0.0, 0.0, 500.0},
                              "How much wider the bows become towards the right, in percent at the height of the "
                              "centre."};

    Page arcPage{this, "Arc"};
    ListControlK7 Fade{this,
                       {"Fade", "Fade", 1, {"Full Circle", "Linear Arc", "Hermite Arc"}},
                       "Whether the bows go all round, or are arcs whose ends fade evenly or with a soft curve."};
    CheckboxControlK7 Atmosphere{this,
                                 {"Atmosphere", "Atmosphere"},
                                 "Scales the bows by the luminance of the Atmosphere clip: black is clear air without "
                                 "a bow. Without that clip the background counts."};
    FloatControlK7 Vignette{this,
                            {"Vignette", "Vignette", 0.0, 0.0, 100.0},
                            "Darkens the background outside the bows, in percent; the sky inside stays bright."};
    AngleControlK7 StartAng{this,
                            {"StartAng", "StartAng", 0.0, -360.0, 360.0},
                            "Where the arc begins, in degrees counter-clockwise from the right."};
    AngleControlK7 EndAng{this,
                          {"EndAng", "EndAng", 180.0, -360.0, 360.0},
                          "Where the arc ends, in degrees counter-clockwise from the right."};
    AngleControlK7 DelAng{this,
                          {"DelAng", "DelAng", 10.0, 0.0, 180.0},
                          "Angle over which the arc fades at each end, in degrees; 0 cuts it off."};
    FrameRateControlK7 FramesPerSecond{this};

    CrosshairOverlayK7 centreWidget{this, Center};
    CircleOverlayK7 radiusWidget{this, Center, Radius};
    AngleOverlayK7 startWidget{this, Center, StartAng, 0.15F};
    AngleOverlayK7 endWidget{this, Center, EndAng, 0.15F};

    RainbowInfo() {
        Fade.followedByOverlay = true;
        ghost({&StartAng, &EndAng, &DelAng}, Fade, is(FullCircle));
        ghost({&WidthScale, &GapScale, &BowBrightScale}, BowCount, below(2));
        scene.inputs = {"road-small.png"};
        scene.settings = {{"Center", "0.42,0.38"},  {"Radius", "0.55"},      {"PrimWidth", "0.028"}, {"BowCount", "2"},
                          {"GapScale", "330"},      {"WidthScale", "130"},   {"Density", "10"},      {"Opacity", "45"},
                          {"BowBrightScale", "35"}, {"Fade", "Hermite Arc"}, {"DelAng", "40"}};
    }
};

class Rainbow final : public Effect<RainbowInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    RainbowArc arc() const;
};
