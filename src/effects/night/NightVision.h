// Q_NightVision: the picture through a night-vision tube.
//
// Luminance goes through a steep response and gets the tint of the phosphor; highlights bloom, the tube adds grain, and
// one or two round eyepieces darken the border. A reticle can be laid on top.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/curves/PowerTable.h"

struct NightVisionInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "NightVision",
        .menu = "Night Looks",
        .overlay = true,
        .description = "Night Vision Camera simulation. This effect is in Box Number 3",
        .purpose =
            "The shot through a night-vision tube: steep response, phosphor tint, blooming highlights, grain, one or "
            "two round eyepieces and a reticle.",
        .usage =
            "Connect the shot as Input. Dark shots with a few lamps look best; grade a day shot down first.\n"
            "Begin with the Type of the tube: it sets response, tint, grain, border and reticle.\n"
            "Contrast and Brightness make the response, Lift sets the black. Burnt-out lamps with a wide bloom say "
            "night vision more than the green does.\n"
            "Range says what counts as a highlight, Softness how far it blooms, Highlight Boost how strongly.\n"
            "Luminance Bias puts the grain into the dark parts, where a tube has it. Grain changes with every frame.\n"
            "Drag the reticle and its size in the viewer. Its thickness follows the width of the picture unless Use "
            "Default Thickness is off.\n"
            "Bloom and defocus count pixels of the full size and follow a proxy. Grain Size counts pixels of the "
            "picture that is rendered: in a proxy of half the size grains look twice as large.\n"
            "Put it last, after the comp: the tube sees all of it. Shake and breathing of the image come before it, "
            "the reticle's own shake after.\n"};
    enum Border { Monocular = 1, Binocular = 2 };
    static constexpr int NoReticle = 1;  // of RetType; reticles follow

    ClipRecord input{this, {.name = "Input", .label = "Input", .required = true}};

    Page page{this, "NightVision"};
    PresetChoiceK7 Demos{this,
                         {"Demos", "Type"},
                         "Model of the tube: sets its response, tint, defocus, grain, highlights, border and reticle."};
    FloatControlK7 Contrast{
        this,
        {"Contrast", "Contrast", 52.0, 0.0, 500.0},
        "Gamma of the response of the tube, in percent: 100 is linear, less darkens the mid-tones, more lifts them."};
    FloatControlK7 Lift{this,
                        {"Lift", "Lift", 10.0, -100.0, 100.0},
                        "Added to the picture after Brightness, in percent of white: below 0 darkens."};
    FloatControlK7 Brightness{this,
                              {"Brightness", "Brightness", 185.0, 0.0, 500.0},
                              "Gain of the tube after its response, in percent: 100 changes nothing."};
    ColourControlK7 Tint{this,
                         {"Tint", "Tint", 0.261723f, 0.781262f, 0.347662f},
                         "Colour of the phosphor: what is white becomes this colour."};
    CheckboxControlK7 DoDefocus{this, {"DoDefocus", "Do Defocus"}, "Puts the whole picture out of focus."};
    FloatControlK7 Defocus{
        this, {"Defocus", "Defocus", 5.0, 0.0, 100.0}, "Radius of the defocus, in pixels at full size."};

    Page grainPage{this, "Grain"};
    CheckboxControlK7 DoGrain{this, {"DoGrain", "Add Grain"}, "Adds grain that changes with every frame."};
    CheckboxControlK7 LumBias{this,
                              {"LumBias", "Luminance Bias"},
                              "Lets the grain show most where the picture is dark and not at all where it is white."};
    FloatControlK7 Grain{
        this,
        {"Grain", "Grain Amt", 3.0, 0.0, 100.0},
        "Strength of the grain: a grain changes the picture by at most twice this many percent of white."};
    IntegerControlK7 GrainSize{
        this,
        {"GrainSize", "Grain Size", 1, 1, 10},
        "Width and height of a grain, in pixels of the picture as it is rendered, also in a proxy."};
    CheckboxControlK7 DoBlurGrain{this, {"DoBlurGrain", "Do Grain Defocus"}, "Puts the grain out of focus."};
    FloatControlK7 BlurGrain{this,
                             {"BlurGrain", "Grain Defocus", 10.0, 0.0, 20.0},
                             "Radius of the defocus of the grain, in pixels at full size."};

    Page highlightPage{this, "Highlights"};
    CheckboxControlK7 DoHi{this, {"DoHi", "Do Highlight", true}, "Lets highlights bloom over their surroundings."};
    FloatControlK7 Range{this,
                         {"Range", "Range", 90.0, 0.0, 100.0},
                         "Luminance of the source above which a pixel is a highlight, in percent of white."};
    FloatControlK7 HiSoft{
        this, {"HiSoft", "Softness", 50.0, 0.0, 100.0}, "Radius of the bloom, in pixels at full size."};
    FloatControlK7 HiBoost{this,
                           {"HiBoost", "Highlight Boost", 500.0, 0.0, 1000.0},
                           "Strength of the bloom, in percent of the blurred highlights; 0 adds none."};

    Page borderPage{this, "Border"};
    CheckboxControlK7 DoBorder{
        this, {"DoBorder", "Do Border", true}, "Darkens the picture towards the rim of one or two round eyepieces."};
    SizeControlK7 ClearRad{this,
                           {"ClearRad", "Clear Radius", 0.805, 0.01, 2.0},
                           "Radius of an eyepiece, beyond which all is black, in half widths of the picture."};
    FloatControlK7 Softness{this,
                            {"Softness", "Edge Softness", 62.0, 0.1, 100.0},
                            "How gradually the picture darkens towards the rim: near 0 just before it, at 98 from the "
                            "centre on; 100 is all black."};
    ListControlK7 BorderType{this,
                             {"BorderType", "Border Type", 0, {"Monocular", "Binocular"}},
                             "One eyepiece in the middle, or two side by side."};
    SizeControlK7 Separation{this,
                             {"Separation", "Separation", 0.256, 0.1, 2.0},
                             "Distance between the centres of the two eyepieces, in half widths of the picture."};

    Page reticlePage{this, "Reticle"};
    PositionControlK7 RetPos{
        this,
        {"RetPos", "Position", 0.5, 0.5},
        "Place of the middle of the reticle, as fractions of the width and height of the picture."};
    ListControlK7 RetType{this,
                          {"RetType", "Reticle Type", 0, {"None", "Type 1", "Type 2", "Type 3", "Type 4", "Type 5"}},
                          "Drawing laid over the picture: cross with a gap, circle with posts, graduated cross, "
                          "chevron over a post, or corners with a dot."};
    SizeControlK7 RetSize{this,
                          {"RetSize", "Size", 0.6, 0.01, 2.0},
                          "How far the reticle reaches from its middle, in half widths of the picture."};
    ColourControlK7 RetColour{this,
                              {"RetColour", "Colour", 0.499992f, 0.499992f, 0.499992f, 1.0f},
                              "Colour of the reticle; its alpha is the opacity.",
                              ColourControlK7::Components::RGBA};
    CheckboxControlK7 UseDef{this,
                             {"UseDef", "Use Default Thickness", true},
                             "Draws lines of 2, 6 and 8 pixels in a picture 1920 pixels wide, and in proportion in "
                             "others, instead of the three thicknesses."};
    FloatControlK7 RetThick1{this,
                             {"RetThick1", "Thickness 1", 2.0, 0.1, 100.0},
                             "Thickness of the thin lines of reticles 1, 2 and 3, in pixels at full size."};
    FloatControlK7 RetThick2{
        this,
        {"RetThick2", "Thickness 2", 6.0, 0.1, 100.0},
        "Thickness of the posts of reticle 2, the chevron of 4 and the corners of 5, in pixels at full size."};
    FloatControlK7 RetThick3{
        this,
        {"RetThick3", "Thickness 3", 8.0, 0.1, 100.0},
        "Thickness of the marks of reticle 3 and the post of 4, and radius of the dot of 5, in pixels at full size."};

    CrosshairOverlayK7 reticleWidget{this, RetPos};
    CircleOverlayK7 reticleSizeWidget{this, RetPos, RetSize};

    NightVisionInfo();

  private:
    void declarePresets();
    void ghostSeparation();
    void ghostThickness();
};

class NightVision final : public Effect<NightVisionInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    // Each false when the host wants an end.
    bool develop(const K7Image& source, K7Image& result);
    bool addGrain(K7Image& result);
    void frame(K7Image& result);

    PowerTable m_powers;
};
