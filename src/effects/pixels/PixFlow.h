// Q_PixFlow: the colours of a picture flow out of their pixels.
//
// What an artist uses it for: a picture that melts, is stirred like oil or marbled paper, combed into fur, wound up by
// whirlpools or carried off as smoke; titles that run, dreams, transitions by keys.
//
// Each pixel looks back along a velocity to where its colour came from: the curl of a moving pattern (R. Bridson,
// J. Hourihan and M. Nordenstam, "Curl-noise for procedural fluid flow", 2007), the gradients of a luminance turned by
// an angle, and a drift, see FlowField.h. The way back is walked by Runge and Kutta's method in as many steps as the
// field's strain asks for, so that neighbours stay neighbours and nothing tears; where the flow squeezes the picture a
// pixel is the mean of what falls into it. Colours may also be smeared along the lines of the field (line integral
// convolution: B. Cabral and L. Leedom, 1993), with strands of paint or hair in them. The mean over a line of n steps
// is made by log2 n passes, each of which mixes the picture with itself carried on by as much as is mixed already.
//
// What steers it: Background is the picture, and what flows when there is no Clip to Flow; a Clip to Flow lies over it
// by its alpha, and its colours and its alpha flow out of it. Luminance bends the flow by its gradients, slows it where
// it is dark and chooses what flows; without that clip what flows is its own luminance.
//
// What moves: Amount is all that counts. It stands still, moves with its keys, or grows by Speed from Start At on; the
// pattern changes with it, not with the frame. So each frame follows from itself, and a still picture stays still while
// Amount does. With Renew two layers half a cycle apart dissolve into each other, each carried anew, so that the
// flow never ends and never winds up (N. Max and B. Becker, "Flow visualization using moving textures", 1995).
#pragma once

#include "Library2/PluginK7.h"
#include "effects/pixels/FlowField.h"

struct PixFlowInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "PixFlow",
        .menu = "Pixel Trip",
        .description =
            "The colours of an image 'flow' out of their pixels in a fluid manner. This effect is in Box Number 12",
        .purpose =
            "Colours flow out of their pixels: a picture melts, is stirred like oil, marbled, combed into fur, wound "
            "up by whirlpools or carried off as smoke.",
        .usage =
            "Connect the shot as Background; it flows itself. With a Clip to Flow, a title or a figure with its alpha, "
            "that one flows over it.\n"
            "Begin with a preset. Amount says how far colours have flowed: set keys for it, or let it grow by Speed "
            "from Start At on. Any frame can be rendered by itself.\n"
            "For a flow that goes on for ever set Renew to 50 to 150 frames: two layers then dissolve into each "
            "other.\n"
            "The Luminance clip steers: Follow Luminance lets colours run around bright places or out of them, Slow in "
            "the Dark holds back what is dark, What Flows picks bright or dark parts. A blurred matte of a face keeps "
            "it, or makes only it run.\n"
            "Smear draws colours out along the flow, for fur, oil and motion; Strands needs it.\n"
            "Contained keeps the flow inside of the frame, so that its edges never show. A drift wants one of the "
            "other "
            "edges.\n"
            "Sizes are parts of the picture's width, so a proxy shows the same flow.\n"};
    enum Selections { Everything = 1, BrightParts = 2, DarkParts = 3 };
    enum EdgeModes { Contained = 1, Stretched = 2, Wrapped = 3, Open = 4 };

    ClipRecord background{this, {.name = "Input3", .label = "Background", .shortLabel = "BG", .required = true}};
    ClipRecord flowing{this, {.name = "Input", .label = "Clip to Flow", .shortLabel = "Flow"}};
    ClipRecord luminance{this, {.name = "Input2", .label = "Luminance", .shortLabel = "Luma"}};

    Page page{this, "PixFlow"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look: sets all controls but the times."};
    FloatControlK7 Amount{this,
                          {"Amount", "Amount", 8.0, 0.0, 200.0},
                          "How far colours have flowed where the flow is as fast as it mostly is, in percent of the "
                          "picture's width."};
    FloatControlK7 Speed{this,
                         {"Speed", "Speed", 0.1, 0.0, 10.0, {.animates = false}},
                         "How much Amount grows in a frame; 0 lets it stand, for keys. For a changing pace set keys "
                         "for Amount."};
    IntegerControlK7 StartAt{this,
                             {"StartAt", "Start At", 0, -100000, 100000, {.animates = false, .keptByPresets = true}},
                             "Frame from which on Amount grows, counted from the first one of the clip."};
    IntegerControlK7 Renew{
        this,
        {"Renew", "Renew", 0, 0, 10000, {.animates = false}},
        "Frames after which colours begin anew, in two layers that dissolve into each other; 0 never."};
    FloatControlK7 Smear{this,
                         {"Smear", "Smear", 0.0, 0.0, 50.0},
                         "Length that colours are smeared over along the flow, in percent of the picture's width."};
    FloatControlK7 Strands{this,
                           {"Strands", "Strands", 0.0, 0.0, 100.0},
                           "Contrast of streaks in the smear, as of bristles or hairs, in percent."};
    FloatControlK7 StrandWidth{this,
                               {"StrandWidth", "Strand Width", 0.25, 0.05, 5.0},
                               "Width of the streaks, in percent of the picture's width."};
    FloatControlK7 Diffusion{
        this, {"Diffusion", "Diffusion", 0.0, 0.0, 100.0}, "How much colours blur on their way, in percent of Amount."};
    FloatControlK7 FadeOut{this,
                           {"FadeOut", "Fade Out", 0.0, 0.0, 200.0},
                           "Amount at which the colours have faded away and only the background is left; 0 never."};
    ListControlK7 Edges{
        this,
        {"Edges", "Edges", 0, {"Contained", "Stretched", "Wrapped", "Open"}},
        "At the picture's edges the flow runs along them, or colours from beyond are those of the edge, "
        "of the opposite side, or the background."};
    CheckboxControlK7 PreMultiplied{this,
                                    {"PreMultiplied", "Premultiplied", false, {.keptByPresets = true}},
                                    "Says that the colours of the Clip to Flow are multiplied by its alpha already."};

    Page fieldPage{this, "Field"};
    ListControlK7 Pattern{this,
                          {"Pattern", "Pattern", 0, {"Turbulence", "Whirlpools", "Waves"}},
                          "Eddies that blend into each other, separate whirlpools, or bands that flow to and fro along "
                          "Drift Angle."};
    FloatControlK7 Strength{this,
                            {"Strength", "Strength", 100.0, 0.0, 1000.0, {.displayMax = 300.0}},
                            "Speed of the pattern's flow, in percent of Amount."};
    FloatControlK7 Size{
        this, {"Size", "Size", 15.0, 0.5, 200.0}, "Of the eddies or bands, in percent of the picture's width."};
    FloatControlK7 Detail{
        this, {"Detail", "Detail", 25.0, 0.0, 100.0}, "Smaller eddies on top, or how much the bands wind, in percent."};
    FloatControlK7 Stretch{this,
                           {"Stretch", "Stretch", 1.0, 0.1, 20.0},
                           "How many times as long as wide the pattern is along Drift Angle."};
    FloatControlK7 Evolve{this,
                          {"Evolve", "Evolve", 20.0, 0.0, 400.0},
                          "How much the pattern changes while colours flow through one eddy, in percent; 0 winds them "
                          "up."};
    FloatControlK7 Drift{this,
                         {"Drift", "Drift", 0.0, 0.0, 1000.0, {.displayMax = 300.0}},
                         "Speed of a steady flow, in percent of Amount."};
    AngleControlK7 DriftAngle{this,
                              {"DriftAngle", "Drift Angle", 270.0, -3600.0, 3600.0},
                              "Its direction, in degrees: 0 is to the right, 90 upwards."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 271, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number gives another pattern."};

    Page lumaPage{this, "Luminance"};
    FloatControlK7 Luma{this,
                        {"Luma", "Follow Luminance", 0.0, 0.0, 1000.0, {.displayMax = 300.0}},
                        "Speed that edges of the luminance give, in percent of Amount: that of an edge of 0.3."};
    AngleControlK7 LumaAngle{this,
                             {"LumaAngle", "Luminance Angle", 90.0, -3600.0, 3600.0},
                             "At 0 colours run out of bright places, at 90 around them to the left, at 180 into them; "
                             "only at 90 and 270 nothing is squeezed together."};
    FloatControlK7 LumaBlur{this,
                            {"LumaBlur", "Smoothing", 1.5, 0.3, 25.0},
                            "Radius over which the luminance is smoothed, in percent of the picture's width."};
    FloatControlK7 SlowDark{this,
                            {"SlowDark", "Slow in the Dark", 0.0, 0.0, 100.0},
                            "How much slower pattern and drift flow in the dark, in percent."};
    ListControlK7 Select{this,
                         {"Select", "What Flows", 0, {"Everything", "Bright Parts", "Dark Parts"}},
                         "Which parts flow, by the luminance; the rest stays where it is."};
    FloatControlK7 Threshold{
        this, {"Threshold", "Threshold", 60.0, 0.0, 100.0}, "Luminance that divides them, in percent of white."};
    FloatControlK7 Softness{this,
                            {"Softness", "Softness", 30.0, 0.0, 100.0},
                            "Range of luminance over which they come in, in percent of white."};

    PixFlowInfo();

  private:
    void declarePresets();
};

class PixFlow final : public Effect<PixFlowInfo> {
  public:
    void ProcessFrame() override;

  private:
    struct Moment;
    struct Work;
    Moment moment() const;
    bool isLayer() const;
    void makeLayer(K7Image& layer) const;
    FlowField makeField(const K7Image& steering) const;
    bool readThrough(Work& work, const FlowField::Paths& paths, float spread, const K7Image& from, K7Image& to) const;
    bool carryColours(Work& work, const Moment& now, double lead, const K7Image& from, K7Image& to) const;
    void addStrands(K7Image& picture, float length) const;
    bool smearAlong(Work& work, double total, double length, ImagePtr& picture) const;
    void show(const K7Image& flowed, float opacity);
};
