// Q_PatchTex: makes a picture, or a hole in one, anew from a small sample of texture.
//
// What an artist uses it for: a few good bricks, a square metre of lawn or a scrap of cloth become a wall, a meadow or
// a curtain as large as the frame; an object under a mask gives way to what surrounds it; a picture is painted in
// another's grain.
//
// The method is image quilting (A. Efros and W. Freeman, 2001) with cuts of any shape (V. Kwatra et al., 2003), see
// imagelib_quilt.h: patches of the sample overlap, are chosen to match there, and are cut where they differ least.
// Texture that repeats, such as brickwork and cloth, is told by its autocorrelation, and patches keep to its steps.
//
// A hole that takes from its surroundings, or from all of the picture, goes on as they do: in few pieces of them, each
// moved by one of the shifts at which they look like themselves (imagelib_complete.h).
//
// Texture Input gives the sample (a rectangle by a handle, the surroundings of a hole, or all of it) and the picture
// that is filled or followed. The Mask says where: 1 is made anew, 0 stays, grey mixes the two; without it all is made
// anew. With Guide From set to the Mask it is the picture that patches follow.
//
// Time: the pieces of a hole follow a plate that pans when the hole is tracked; patches and pieces know nothing of
// other frames. Where patches lie follows from sizes and Seed, and what a patch holds depends on few others. So a still
// plate gives a still picture, grain moves little, and under a moving plate each patch shows what moves in its place of
// the sample. Renew lays all patches anew every so many frames.
#pragma once

#include "Library2/PluginK7.h"
#include "imagelib/imagelib_quilt.h"

struct PatchTexInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "PatchTex",
        .menu = "Textures",
        .overlay = true,
        .description = "Regenerates a whole image based on a small texture sample. This effect is in Box Number 10",
        .purpose =
            "A small sample of texture fills the frame without visible seams: walls from a few bricks, meadows from a "
            "tuft of grass. It also takes objects out of a picture, and paints a picture in the grain of a texture.",
        .usage =
            "Connect the picture that holds the sample as Texture Input and lay the white rectangle over an evenly lit "
            "part of it that shows the texture several times.\n"
            "Patch Size is what matters: a patch must be larger than what belongs together, one stone or one leaf, and "
            "smaller than half the sample.\n"
            "Texture that repeats is found by itself with Pattern at Automatic; Irregular switches that off for "
            "gravel that only looks regular.\n"
            "Even Light takes a fall-off of light out of the sample, which would show as a pattern.\n"
            "To take an object out, connect its mask, or set Area to Ellipse and lay the yellow ellipse over it; "
            "choose Surroundings as Source. Join lets the seam wander outwards to where it is not seen; at 0 the "
            "mask's own soft edge mixes.\n"
            "Guide makes patches follow the light of a picture: of Texture Input, or of a picture connected as Mask "
            "with Guide From. Use patches of 12 to 30 pixels.\n"
            "Joints, relief and straight seams make bricks, planks or paving stones of the patches.\n"
            "On a moving plate track the mask with what it hides: then a hole keeps its pieces. Where light or "
            "perspective change, freeze a frame and track the result in.\n"
            "Patch sizes count pixels of the full size: a proxy shows the same layout of patches, with other cuts.\n"};
    enum Sources { Rectangle = 1, Surroundings = 2, Everything = 3 };
    enum Flips { NoFlips = 1, LeftRight = 2, TopBottom = 3, BothWays = 4 };  // of patches, and of the picture
    enum Patterns { Automatic = 1, Irregular = 2, Regular = 3 };
    enum Areas { ByMask = 1, Ellipse = 2, Everywhere = 3 };
    enum Guides { ByInput = 1, ByMaskClip = 2 };
    enum Seam { BestCut = 1, Straight = 2 };

    ClipRecord input{this, {.name = "Input", .label = "Texture Input", .shortLabel = "Tex", .required = true}};
    ClipRecord matte{this, {.name = "Matte", .label = "Mask"}};

    Page page{this, "PatchTex"};
    PresetChoiceK7 Demos{this, {"Demos", "Presets"}, "A whole look: sets all controls but positions, mix and seed."};
    ListControlK7 Source{this,
                         {"Source", "Source", 0, {"Rectangle", "Surroundings", "Everything"}},
                         "Where patches are cut from: the rectangle, what surrounds the area that is made anew, or the "
                         "whole picture. Never from the area itself."};
    PositionControlK7 Centre{this, {"Centre", "Sample Centre", 0.5, 0.5}, "The middle of the sample rectangle."};
    SizeControlK7 Width{this,
                        {"Width", "Sample Width", 0.4, 0.01, 1.0},
                        "Width of the sample rectangle, as a fraction of the picture's width."};
    SizeControlK7 Height{this,
                         {"Height", "Sample Height", 0.4, 0.01, 1.0},
                         "Height of the sample rectangle, as a fraction of the picture's height."};
    FloatControlK7 PatchSize{
        this,
        {"PatchSize", "Patch Size", 72.0, 8.0, 1000.0, {.displayMax = 400.0}},
        "Width of a patch with its overlaps, in pixels at full size. In a hole, of what is compared to "
        "find where the surroundings look like themselves."};
    FloatControlK7 Overlap{this,
                           {"Overlap", "Overlap", 40.0, 5.0, 45.0},
                           "How much of a patch lies over the next one, in percent: room for the seam."};
    ListControlK7 Flip{this,
                       {"Flip", "Flip Patches", 0, {"Never", "Left-Right", "Top-Bottom", "Both"}},
                       "Patches may be mirrored: more to choose from, for texture without a direction."};
    ListControlK7 Pattern{this,
                          {"Pattern", "Pattern", 0, {"Automatic", "Irregular", "Regular"}},
                          "Whether patches keep to the steps at which the sample repeats: where it does so clearly, "
                          "never, or also where it hardly does."};
    FloatControlK7 EvenLight{this,
                             {"EvenLight", "Even Light", 60.0, 0.0, 100.0},
                             "How much of slow changes of light is taken out of the sample, in percent. Holes keep "
                             "their surroundings' light."};
    IntegerControlK7 Renew{
        this, {"Renew", "Renew", 0, 0, 1000}, "Frames after which all patches are laid anew; 0 never."};
    IntegerControlK7 Seed{this,
                          {"Seed", "Seed", 733, 1, 9999, {.animates = false, .keptByPresets = true}},
                          "Another number lays other patches. In a hole, pieces rather come from another direction."};

    Page areaPage{this, "Area"};
    ListControlK7 Area{this,
                       {"Area", "Area", 0, {"Mask", "Ellipse", "Everywhere"}},
                       "What is made anew: where the mask is white (everywhere without one), the inside of the "
                       "ellipse, or all of the picture."};
    CheckboxControlK7 InvertMask{
        this, {"InvertMask", "Invert Mask"}, "Makes anew where the mask is black, or what is outside the ellipse."};
    PositionControlK7 HoleCentre{this, {"HoleCentre", "Ellipse Centre", 0.5, 0.5}, "The middle of the ellipse."};
    SizeControlK7 RadiusX{this,
                          {"RadiusX", "Ellipse Width", 0.22, 0.0, 2.0},
                          "Width of the ellipse, as a fraction of the picture's width."};
    SizeControlK7 RadiusY{this,
                          {"RadiusY", "Ellipse Height", 0.22, 0.0, 2.0},
                          "Height of the ellipse, as a fraction of the picture's width."};
    FloatControlK7 Join{this,
                        {"Join", "Join", 0.0, 0.0, 200.0, {.displayMax = 60.0}},
                        "How far the seam may wander out of the area to where it is seen least, in pixels at full "
                        "size. 0 keeps to the area and mixes by its soft edge."};
    SizeControlK7 Reach{this,
                        {"Reach", "Reach", 0.15, 0.0, 1.0},
                        "How far around the area Surroundings goes, as a fraction of the picture's width."};
    ListControlK7 Symmetry{this,
                           {"Symmetry", "Symmetry", 0, {"None", "Left-Right", "Top-Bottom", "Both"}},
                           "Mirrors the result at the middle of the picture, where all of it is made anew."};
    FloatControlK7 Mix{this,
                       {"Mix", "Mix", 100.0, 0.0, 100.0, {.keptByPresets = true}},
                       "How much of the result is seen over Texture Input, in percent."};

    Page transferPage{this, "Transfer"};
    FloatControlK7 Guide{this,
                         {"Guide", "Guide", 0.0, 0.0, 100.0},
                         "How closely patches follow the light of a picture, in percent, at the expense of their "
                         "seams. 0 does not look at it."};
    ListControlK7 GuideFrom{this,
                            {"GuideFrom", "Guide From", 0, {"Texture Input", "Mask"}},
                            "Which picture is followed. As a guide the mask does not mask."};
    CheckboxControlK7 Equalise{this,
                               {"Equalise", "Match Tones", true},
                               "Maps the tones of the guide to those that the sample has, so that each finds its "
                               "patch."};
    FloatControlK7 Shade{this,
                         {"Shade", "Shade", 0.0, 0.0, 100.0},
                         "How far patches are then made lighter or darker to the guide's own light, in percent."};

    Page brickPage{this, "Bricks"};
    ListControlK7 Seams{this,
                        {"Seams", "Seams", 0, {"Best Cut", "Straight"}},
                        "Patches are cut where it is seen least, or meet in straight lines."};
    FloatControlK7 Proportion{this, {"Proportion", "Proportion", 1.0, 0.1, 10.0}, "Width of a patch over its height."};
    CheckboxControlK7 Bond{this, {"Bond", "Bond"}, "Shifts every second row by half a patch, as bricks are laid."};
    FloatControlK7 Joint{this,
                         {"Joint", "Joint", 0.0, 0.0, 100.0, {.displayMax = 30.0}},
                         "Width of the joints between patches, in pixels at full size."};
    ColourControlK7 JointColour{this, {"JointColour", "Joint Colour", 0.55F, 0.53F, 0.49F}, "Colour of the joints."};
    FloatControlK7 Relief{this,
                          {"Relief", "Relief", 0.0, 0.0, 100.0},
                          "How much the edges of the patches catch the light from the upper left, in percent."};
    FloatControlK7 Variation{
        this, {"Variation", "Variation", 0.0, 0.0, 100.0}, "How differently light the patches are, in percent."};

    CrosshairOverlayK7 sampleCross{this, Centre};
    RectangleOverlayK7 sampleWidget{this, Centre, Width, Height};
    CrosshairOverlayK7 holeCross{this, HoleCentre, true};
    CircleOverlayK7 holeWidget{this, HoleCentre, RadiusX, RadiusY};

    PatchTexInfo() {
        ghost({&Centre, &Width, &Height}, Source, isNot(Rectangle));
        ghost({&EvenLight}, Source, isNot(Rectangle));
        ghost({&Reach}, Source, isNot(Surroundings));
        ghost({&HoleCentre, &RadiusX, &RadiusY}, Area, isNot(Ellipse));
        ghost({&Symmetry}, Area, is(Ellipse));
        sampleWidget.heightInHeights = true;
        sampleWidget.dashed = true;
        holeWidget.colour = OVERLAY_YELLOW;
        holeCross.colour = OVERLAY_YELLOW;
        declarePresets();
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"PatchSize", "20"},
                          {"Area", "Ellipse"},
                          {"Source", "Surroundings"},
                          {"HoleCentre", "0.815,0.22"},
                          {"RadiusX", "0.16"},
                          {"RadiusY", "0.17"},
                          {"Join", "4"}};
        scene.plates = {"seeding.jpg"};
        scene.look = {{"Area", "Ellipse"}, {"Source", "Surroundings"}, {"HoleCentre", "0.815,0.22"},
                      {"RadiusX", "0.16"}, {"RadiusY", "0.17"},        {"Join", "14"}};
    }

  private:
    void declarePresets();
};

class PatchTex final : public Effect<PatchTexInfo> {
  public:
    void ProcessFrame() override;

  protected:
    void PrepareOverlay() override;

  private:
    // Which pixels are made anew, and how much of them is seen. No image: everything.
    struct Hole {
        ImagePtr weight;  // one float channel
        QuiltBox box{};   // around it
    };
    bool findHole(Hole& hole) const;
    QuiltBox sampleBox(const Hole& hole) const;
    bool prepareTask(QuiltTask& task, const Hole& hole) const;
    ImagePtr guideFor(const QuiltTask& task) const;
    bool quilt(QuiltTask& task) const;
    bool complete(const QuiltTask& task) const;
    void compose(const K7Image& canvas, const Hole& hole);
};
