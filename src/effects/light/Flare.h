// Q_Flare: streaks, haloes and a glow around whatever is bright.
//
// The bright places of a picture make a light map, with mirror images of themselves as a lens throws them. It is
// convolved with a kernel, what one bright pixel looks like: the diffraction of a slit (the halo), of two slits along
// random rays (the streaks), and a grainy glow. Every light is the source of the same kernel in its own colour.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/light/FlareKernel.h"
#include "effects/light/Flare_simd.h"
#include "effects/light/LightMap.h"

struct FlareInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Flare",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .description =
            " Streaks and Flares controlled by a light map image, which controls their location, brightness "
            "and colour. This effect is in Box Number 1",
        .purpose =
            "Lamps, the sun and highlights that flare as through a real lens: streaks, a halo with the colours of "
            "diffraction, a veil of glow and mirrored reflections, in the colour of each light.",
        .usage =
            "Connect the shot as Background. A second clip as Light Map says where the lights are; without it the "
            "background's own do.\n"
            "Put the region of interest around the lamps (ROI Width 2 is the whole picture), look at the map with "
            "Light Map Only, and raise Luminance Low until only the lamps are left.\n"
            "Large bright areas flare much more than small lamps. Thin Out Map and a smaller region tame them, then "
            "Brightness.\n"
            "Pictures in float keep how bright a lamp is: values above 1 flare as much brighter.\n"
            "Reflections are turned about the middle of the picture, so they move against a light that moves.\n"
            "Streak Length, Glow Radius, Blur Light Map and Fatten Map count pixels of the full size; the halo "
            "follows the width of the picture.\n"};
    enum CompositeType { Adds = 1, Screens };
    enum ShapeType { Threshold = 1, Spot, Area };

    ClipRecord input{this, {.name = "Back", .label = "Background", .shortLabel = "BG"}};
    ClipRecord lightMap{this, {.name = "LightMap", .label = "Light Map", .shortLabel = "Light"}};

    Page page{this, "Flare"};
    FloatControlK7 Brightness{
        this, {"Brightness", "Brightness", 35.0, 0.0, 100.0}, "Brightness of the flare, in percent: 0 has none."};
    ListControlK7 CompType{this,
                           {"CompType", "Composite", 1, {"Add", "Screen"}},
                           "Whether the flare is added to the background, or screened over it, which keeps white."};
    FloatControlK7 Contrast{this,
                            {"Contrast", "Contrast", 100.0, 50.0, 200.0},
                            "Contrast of the flare, in percent: above 100 its faint parts go, below they come up."};
    ListControlK7 Shape{this,
                        {"Shape", "Shape", 0, {"Threshold", "Center", "Area"}},
                        "What shines in the region of interest: what is bright in the light map, a soft white spot, "
                        "or all of the light map in a soft ellipse."};
    CheckboxControlK7 LMap_On{
        this, {"LMap_On", "Light Map Only"}, "Shows the lights with their reflections, before they flare."};
    FloatControlK7 MapBlur{this,
                           {"MapBlur", "Blur Light Map", 0.0, 0.0, 100.0},
                           "Blurs the light map first, so that single bright pixels do not flicker; 10 is a radius of "
                           "one pixel."};
    FloatControlK7 LoLight{this,
                           {"LoLight", "Luminance Low", 0.8, 0.0, 1.0},
                           "How bright a pixel must be to flare: the mean of its colours; 0 takes the whole picture."};

    Page mapPage{this, "Light Map"};
    PositionControlK7 Center{this, {"Center", "Centre", 0.5, 0.5}, "The middle of the region of interest."};
    CheckboxControlK7 Match{
        this, {"Match", "Match Scales"}, "The region has the same part of the picture's height as of its width."};
    SizeControlK7 XScale{
        this, {"XScale", "ROI Width", 0.03, 0.01, 2.0}, "Width of the region, as a fraction of that of the picture."};
    SizeControlK7 YScale{
        this, {"YScale", "ROI Height", 0.09, 0.01, 2.0}, "Height of the region, as a fraction of that of the picture."};
    FloatControlK7 ThinOut{this,
                           {"ThinOut", "Thin Out Map", 0.0, 0.0, 100.0},
                           "Which part of the bright pixels does not flare, in percent: holes at random."};
    FloatControlK7 FattenMap{this,
                             {"FattenMap", "Fatten Map", 0.0, 0.0, 100.0},
                             "Spreads the lights after the threshold; 20 is a radius of one pixel."};

    Page streakPage{this, "Streaks"};
    FloatControlK7 Streaks{
        this, {"Streaks", "Streaks", 5.0, 0.0, 1000.0}, "How many streaks cross a light, at random angles."};
    FloatControlK7 MonoStreak{this,
                              {"MonoStreak", "Streak Chroma", 95.0, 0.0, 100.0},
                              "How colourful the fringes along a streak are, in percent: 0 is grey."};
    IntegerControlK7 StreakLen{this,
                               {"StreakLen", "Streak Length", 200, 0, 200},
                               "How far streaks reach to both sides, in pixels; 0 has none."};
    FloatControlK7 StreakRot{
        this, {"StreakRot", "Streak Rotate", 0.0, -360.0, 360.0}, "Turns all streaks, in degrees."};
    FloatControlK7 StreakStrn{this,
                              {"StreakStrn", "Streak Strength", 50.0, 0.0, 100.0},
                              "How much light all streaks hold together, in percent."};
    FloatControlK7 GlowRad{
        this, {"GlowRad", "Glow Radius", 130.0, 1.0, 200.0}, "How far the glow around a light reaches, in pixels."};
    FloatControlK7 GlowStrn{
        this, {"GlowStrn", "Glow Strength", 15.0, 0.0, 100.0}, "How much light the glow holds, in percent."};
    IntegerControlK7 RandSeed{
        this, {"RandSeed", "Seed", 1234598, 1, 12345678}, "Other streaks, spokes, grains and holes for each number."};

    Page haloPage{this, "Halo"};
    FloatControlK7 Aper{this,
                        {"Aper", "Halo Size", 3.0, 0.0, 200.0},
                        "Size of the halo and its coloured rings: 100 puts the first dark ring at a fifth of the "
                        "picture's width."};
    IntegerControlK7 HaloFring{this, {"HaloFring", "Halo Spokes", 50, 0, 100}, "How many dark rays break up the halo."};
    FloatControlK7 HaloStrn{this,
                            {"HaloStrn", "Halo Strength", 50.0, 0.0, 100.0},
                            "How much light the halo holds, in percent: at 50 as much as the light itself."};
    FloatControlK7 HaloFrnStrn{
        this, {"HaloFrnStrn", "Spoke Contrast", 100.0, 0.0, 100.0}, "How dark the spokes are at most, in percent."};
    IntegerControlK7 Reflections{this,
                                 {"Reflections", "Reflections", 10, 0, 10},
                                 "How many mirror images each light throws, turned about the middle of the picture."};
    FloatControlK7 Reflectivity{this,
                                {"Reflectivity", "Reflection Strength", 20.0, 0.0, 100.0},
                                "Brightness of the mirror image next to the middle, in percent of the light's; the "
                                "others are fainter, the further the more."};
    FloatControlK7 ReflScale{this,
                             {"ReflScale", "Reflection Size", 100.0, 10.0, 1000.0},
                             "How far out and how large the outermost mirror image is, in percent of the light's."};
    FrameRateControlK7 FramesPerSecond{this};

    CrosshairOverlayK7 centreWidget{this, Center};
    RectangleOverlayK7 regionWidget{this, Center, XScale, YScale};
    RectangleOverlayK7 matchedWidget{this, Center, XScale, XScale};

    FlareInfo();
};

class Flare final : public Effect<FlareInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    LightPlace place(const K7Image& picture) const;
    LightMap makeMap(const K7Image& picture) const;
    FlareKernel makeKernel(const K7Image& picture) const;
    bool convolve(LightMap& map, const FlareKernel& kernel) const;
    bool finishedOnDevice(const LightMap& map, const FlareKernel& kernel, const FlareTone& tone);
};
