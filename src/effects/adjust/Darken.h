// Q_Darken: dark parts of the picture grow over their surroundings.
//
// A box minimum for each channel, applied only where the pixel's luminance is at or below the threshold; with Split RGB
// each channel has a window of its own size.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/adjust/WindowExtreme.h"

struct DarkenInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Darken",
        .menu = "Adjust",
        .onDevice = true,
        .description = "Expands darker portions of the image. This effect is in Box Number 4",
        .purpose =
            "Dark parts grow over their surroundings: thickens drawings and type, eats the fringes of bright edges, "
            "closes gaps in a line.",
        .usage =
            "Connect the shot as Clip to Darken. Size is the window whose darkest value each channel takes: 2 or 3 "
            "tightens, 10 and more paints in blocks.\n"
            "Threshold spares the bright parts: only pixels up to that luminance are darkened.\n"
            "Split RGB gives red, green and blue windows of their own, which shifts the colour of edges; equal sizes "
            "leave it.\n"
            "After Q_Lighten of the same Size small dark specks are gone and shapes have their old size; the other way "
            "round, small bright ones.\n"
            "Sizes count pixels of the full size and follow a proxy in whole pixels: small sizes differ there.\n"
            "Put it on mattes and line art before blurs, and before the grain.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Clip to Darken", .required = true}};

    Page page{this, "Darken"};
    FloatControlK7 CutOff{
        this,
        {"CutOff", "Threshold", 80.0, 0.0, 100.0},
        "Luminance up to which pixels are darkened, in percent of white; brighter ones stay as they are."};
    IntegerControlK7 Rad{this,
                         {"Rad", "Size", 3, 1, 30},
                         "Size of the window whose darkest value each channel takes, in pixels at full size: 3 looks "
                         "two pixels to every side."};
    ChannelSizeControls channels{this};

    DarkenInfo() {
        ghost({&Rad}, channels.split, isOn);
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"Rad", "4"}, {"CutOff", "55"}};
        scene.look = {{"Rad", "13"}, {"CutOff", "55"}};
    }
};

class Darken final : public Effect<DarkenInfo> {
  public:
    void ProcessFrame() override;
};
