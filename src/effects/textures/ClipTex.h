// Q_ClipTex: a picture made of textures.
//
// What an artist uses it for: a shot as a drawing in hatches, a print from wood, a collage of papers, a woven picture;
// with clips of one's own, hair made of grass and a sky made of linen.
//
//   tones      The luminance of Input, smoothed, falls into four bands: A the darkest, D the lightest. Thresholds are
//              soft, and with Bite the textures' own light and dark decide where they end, so that strokes end one by
//              one (as heights do where ground textures meet: A. Mishkinis, "Advanced terrain texture splatting",
//              2013).
//   textures   TextureA to TextureD, each scaled, turned and laid side by side, as it is or mirrored. One that is not
//              connected is replaced by the next one that is. Where none is, four drawn patterns stand for them: all
//              are periodic, drawn as large as they are seen, with exact edges.
//   light      Relief takes a texture's luminance for its height and lights it from a side (J. Blinn, "Simulation of
//              wrinkled surfaces", 1978). Shade and Tint bring back the light and the colours of Input, and the result
//              is laid over Input in a blending mode.
//
// Textures lie still in the frame, and only tones move; a texture clip that moves may do so. Nothing depends on other
// frames.
#pragma once

#include "Library2/PluginK7.h"

struct ClipTexWork;

struct ClipTexInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "ClipTex",
        .menu = "Textures",
        .description = "Clip created using another image as a texture. This effect is in Box Number 10",
        .purpose =
            "Draws a picture with textures: four bands of its luminance, each filled with a clip of its own or with a "
            "built-in pattern of hatches, canvas, woodcut, stipples, fabric or paper.",
        .usage =
            "Connect the shot as Input and begin with a preset: without further clips the built-in patterns are used.\n"
            "Connect photographs or moving textures as TextureA (for the darkest parts) to TextureD (for the "
            "lightest). A texture that is not connected is replaced by the next one that is, so one clip alone fills "
            "everything.\n"
            "Set the three thresholds so that each band has its part of the picture; raise Tone Smoothing for larger "
            "shapes and to keep grain out of them.\n"
            "Bite makes strokes and threads end one by one instead of fading.\n"
            "Shade and Tint at 100 with Relief show the shot as if printed on the texture.\n"
            "Sizes follow the picture's width, so a proxy shows the same, with coarser strokes.\n"
            "The alpha of Input is kept.\n"};
    enum Patterns { Hatch = 1, Canvas = 2, Woodcut = 3, Collage = 4, Stipple = 5, Fabric = 6 };
    enum Tilings { Repeat = 1, Mirror = 2 };
    enum Blends { Replace = 1, Multiply = 2, Screen = 3, Overlay = 4, SoftLight = 5, Darken = 6, Lighten = 7 };
    static constexpr int TEXTURES = 4;

    ClipRecord input{this, {.name = "Input", .label = "Input", .required = true}};
    ClipRecord textureA{this, {.name = "InputA", .label = "TextureA", .shortLabel = "TexA"}};
    ClipRecord textureB{this, {.name = "InputB", .label = "TextureB", .shortLabel = "TexB"}};
    ClipRecord textureC{this, {.name = "InputC", .label = "TextureC", .shortLabel = "TexC"}};
    ClipRecord textureD{this, {.name = "InputD", .label = "TextureD", .shortLabel = "TexD"}};

    Page page{this, "ClipTex"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look: sets all controls."};
    ListControlK7 Pattern{this,
                          {"Pattern", "Pattern", 0, {"Hatch", "Canvas", "Woodcut", "Collage", "Stipple", "Fabric"}},
                          "The built-in textures that are used while no texture is connected."};
    ColourControlK7 InkColour{
        this, {"InkColour", "Ink Colour", 0.10F, 0.10F, 0.13F}, "Colour of what built-in patterns draw."};
    ColourControlK7 PaperColour{this,
                                {"PaperColour", "Paper Colour", 0.96F, 0.94F, 0.88F},
                                "Colour that built-in patterns draw on, that is seen through textures, and of edges."};
    FloatControlK7 ToneSmoothing{
        this,
        {"ToneSmoothing", "Tone Smoothing", 2.0, 0.0, 50.0},
        "How far the luminance is smoothed before it is divided, in thousandths of the picture's width."};
    CheckboxControlK7 InvertTones{this,
                                  {"InvertTones", "Invert Tones"},
                                  "A for the lightest parts and D for the darkest: for pale ink on dark paper."};
    FloatControlK7 ThresholdAB{
        this, {"ThresholdAB", "Threshold A B", 22.0, 0.0, 100.0}, "Luminance up to which A is seen, in percent."};
    FloatControlK7 ThresholdBC{
        this, {"ThresholdBC", "Threshold B C", 42.0, 0.0, 100.0}, "Luminance where C follows on B, in percent."};
    FloatControlK7 ThresholdCD{
        this, {"ThresholdCD", "Threshold C D", 66.0, 0.0, 100.0}, "Luminance from which D is seen, in percent."};
    FloatControlK7 Softness{
        this, {"Softness", "Softness", 12.0, 0.0, 100.0}, "Width of each threshold, in percent of white."};
    FloatControlK7 Bite{this,
                        {"Bite", "Bite", 50.0, 0.0, 100.0},
                        "How far the light and dark of the textures move the thresholds, in percent."};
    FloatControlK7 Edge{this,
                        {"Edge", "Edge", 0.0, 0.0, 100.0},
                        "How much paper is seen where one texture ends and the next begins, in percent."};

    Page texturePage{this, "Textures"};
    FloatControlK7 Size{this, {"Size", "Size", 100.0, 10.0, 1000.0}, "Size of all textures, in percent of their own."};
    AngleControlK7 Angle{this, {"Angle", "Angle", 0.0, -360.0, 360.0}, "Turns all textures, in degrees."};
    ListControlK7 Tiling{this,
                         {"Tiling", "Tiling", 0, {"Repeat", "Mirror"}},
                         "How connected textures go on beyond their edges: side by side, or mirrored to hide seams."};
    FloatControlK7 SizeA{this, {"SizeA", "Size A", 100.0, 10.0, 1000.0}, "Size of texture A, in percent of Size."};
    FloatControlK7 SizeB{this, {"SizeB", "Size B", 100.0, 10.0, 1000.0}, "Size of texture B, in percent of Size."};
    FloatControlK7 SizeC{this, {"SizeC", "Size C", 100.0, 10.0, 1000.0}, "Size of texture C, in percent of Size."};
    FloatControlK7 SizeD{this, {"SizeD", "Size D", 100.0, 10.0, 1000.0}, "Size of texture D, in percent of Size."};
    AngleControlK7 AngleA{this, {"AngleA", "Angle A", 0.0, -360.0, 360.0}, "Turns texture A further, in degrees."};
    AngleControlK7 AngleB{this, {"AngleB", "Angle B", 0.0, -360.0, 360.0}, "Turns texture B further, in degrees."};
    AngleControlK7 AngleC{this, {"AngleC", "Angle C", 0.0, -360.0, 360.0}, "Turns texture C further, in degrees."};
    AngleControlK7 AngleD{this, {"AngleD", "Angle D", 0.0, -360.0, 360.0}, "Turns texture D further, in degrees."};

    Page lightPage{this, "Light"};
    FloatControlK7 Relief{
        this, {"Relief", "Relief", 0.0, 0.0, 200.0}, "Strength of the light on the textures' relief, in percent."};
    AngleControlK7 LightAngle{this,
                              {"LightAngle", "Light Angle", 125.0, -360.0, 360.0},
                              "Where the light comes from, in degrees: 0 is the right, 90 above."};
    FloatControlK7 Shade{
        this, {"Shade", "Shade", 0.0, 0.0, 100.0}, "How much of Input's luminance darkens the textures, in percent."};
    FloatControlK7 Tint{
        this, {"Tint", "Tint", 0.0, 0.0, 100.0}, "How much of Input's colour the textures take on, in percent."};
    ListControlK7 Blend{
        this,
        {"Blend", "Blend", 0, {"Replace", "Multiply", "Screen", "Overlay", "Soft Light", "Darken", "Lighten"}},
        "How the result is laid over Input."};
    FloatControlK7 Mix{this, {"Mix", "Mix", 100.0, 0.0, 100.0}, "How much of the result is seen, in percent."};

    ClipTexInfo();

  private:
    void declarePresets();
};

class ClipTex final : public Effect<ClipTexInfo> {
  public:
    void ProcessFrame() override;

  private:
    void prepareTextures(ClipTexWork& work) const;
    bool prepareTones(ClipTexWork& work) const;
};
