// Q_FlareSpot: the coloured spots that a light throws through a lens, in a row across the picture.
//
// Parallel rays from a circle of light at the front of the lens meet each of its surfaces; where they meet it they
// outline a ghost, a polygon with as many sides as the iris has blades. Ghosts fade towards their edge and are whiter
// on the side that lies away from the light.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/light/FlareLens.h"

struct FlareSpotInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "FlareSpot",
        .menu = "Sundries",
        .generator = true,
        .overlay = true,
        .description =
            "FlareSpot simulates the bright shapes sometimes seen in lenses when very bright light sources "
            "are in the scene. This effect is in Box Number 30",
        .purpose =
            "The ghosts of a lens: discs and polygons in a row through the picture, as the sun or a lamp in view "
            "throws them.",
        .usage =
            "Connect the shot as Background. Put Start on the light and End opposite, on the far side of the "
            "picture's middle; animate both where the light moves.\n"
            "Add and Screen look like light; Composite covers what is behind a bright ghost.\n"
            "Source Sides from 5 to 9 is the iris of a lens; 40 makes discs. A Defocus of 5 or less leaves them with "
            "a hard edge.\n"
            "Each lens has its own row of ghosts. More Elements puts smaller ones between them.\n"
            "A lens of your own is a text file in the data directory: how many surfaces there are, then a line for "
            "each with its radius (0 is flat), its place on the axis and the scale of its aperture.\n"
            "Sizes are fractions of the picture, so a proxy shows the same.\n"};
    enum Mode { Composite = 1, Add, Screen, Transparent };
    enum LensType { UserDefined = BUILT_IN_LENSES + 1 };

    ClipRecord input{this, {.name = "Input", .label = "Background", .shortLabel = "BG"}};

    Page page{this, "FlareSpot"};
    ListControlK7 CompMode{this,
                           {"CompMode", "Background", 0, {"Composite", "Add", "Screen", "Transparent"}},
                           "How the ghosts go onto the background: over it, added, screened, or without it."};
    PositionControlK7 Source{this, {"Source", "Start", 0.9, 0.9}, "Where the light stands."};
    PositionControlK7 Image{
        this, {"Image", "End", 0.1, 0.1}, "Where its light goes to: the ghosts lie on the way there."};
    FloatControlK7 SourceRad{this,
                             {"SourceRad", "Radius", 10.0, 2.0, 200.0},
                             "Size of the light, in thousandths of half the picture; all ghosts follow it."};
    FloatControlK7 MinScale{
        this,
        {"MinScale", "Min Scale", 20.0, 5.0, 200.0},
        "Size of the last surface's ghost: it is as much larger than Max Scale as this number is smaller."};
    FloatControlK7 MaxScale{this,
                            {"MaxScale", "Max Scale", 124.4, 1.0, 300.0},
                            "Size of the first surface's ghost, in tenths of the light's radius."};
    FloatControlK7 Brightness{
        this, {"Brightness", "Brightness", 10.0, 1.0, 100.0}, "Brightness of the ghosts, in percent of twice white."};
    FloatControlK7 MaxSat{
        this, {"MaxSat", "Saturation", 100.0, 5.0, 100.0}, "Saturation of their colours, in percent."};
    FloatControlK7 Defocus{this,
                           {"Defocus", "Defocus", 10.0, 1.0, 100.0},
                           "How soft the ghosts are: below 5 they have a hard edge, at 10 they fade out over their "
                           "outer half, above they shrink to soft dots."};
    IntegerControlK7 SourceSides{this,
                                 {"SourceSides", "Source Sides", 40, 3, 120},
                                 "How many sides the ghosts have, like the blades of an iris."};

    Page lensPage{this, "Lens"};
    ListControlK7 Lens{
        this,
        {"Lens", "Lens", 0, {"Angulon 21mm", "Summicron 35mm", "Summilux 50mm", "Tele-Elmar 135mm", "User Defined"}},
        "Whose surfaces throw the ghosts, or User Defined for those of the lens file."};
    TextControlK7 UserFile{this,
                           {"UserFile", "Lens File", "my_lens.txt"},
                           "The file of a user defined lens, in the data directory; without an extension it is a "
                           "\".txt\"."};
    IntegerControlK7 MoreElements{this,
                                  {"MoreElements", "More Elements", 0, 0, 10},
                                  "How many further surfaces, of random size, lie between each two of the lens."};
    IntegerControlK7 Seed{
        this, {"Seed", "Random", 557, 0, 999}, "Other colours and sizes of further surfaces for each number."};
    ColourControlK7 Colour{this,
                           {"Colour", "Colour Start", 0.00816358F, 0.00816358F, 0.538949F},
                           "The colour whose hue the first ghost has with Colour Override."};
    ColourControlK7 OverColour{this,
                               {"OverColour", "Colour End", 0.00816358F, 0.389639F, 0.538949F},
                               "The colour whose hue the last ghost has with Colour Override; those between have the "
                               "hues between."};
    CheckboxControlK7 ColourOverride{
        this, {"ColourOverride", "Colour Override"}, "Takes the hues from the two colours instead of at random."};
    FrameRateControlK7 FramesPerSecond{this};

    LineOverlayK7 wayWidget{this, Source, Image, true};

    FlareSpotInfo();
};

struct Ghost;

class FlareSpot final : public Effect<FlareSpotInfo> {
  public:
    void ProcessFrame() override;

  private:
    LensSurfaces chosenLens() const;
    std::vector<Ghost> ghosts(const K7Image& picture) const;
};
