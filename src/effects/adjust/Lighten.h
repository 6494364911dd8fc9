// Q_Lighten: light parts of the picture grow over their surroundings.
//
// A box maximum for each channel, applied only where the pixel's luminance is at or above the threshold; with Split RGB
// each channel has a window of its own size. Boost Highlights is a gamma on the input, before the window.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/adjust/WindowExtreme.h"

struct LightenInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Lighten",
        .menu = "Adjust",
        .onDevice = true,
        .description = "Expands lighter portions of the image. This effect is in Box Number 4",
        .purpose =
            "Light parts grow over their surroundings: fattens stars, lamps and highlights, removes dark specks and "
            "hairs, opens mattes.",
        .usage =
            "Connect the shot as Clip to Lighten. Size is the window whose lightest value each channel takes.\n"
            "Threshold keeps the dark parts as they are: only pixels from that luminance on are lightened. With 60 and "
            "more only lamps and glints grow.\n"
            "Boost Highlights is a gamma before the window: above 1 more of the picture reaches the threshold.\n"
            "Split RGB gives red, green and blue windows of their own, which colours the rims of lights.\n"
            "Before a blur it makes the round, hard highlights of an open lens; before Q_Darken of the same Size it "
            "removes small dark specks.\n"
            "Sizes count pixels of the full size and follow a proxy in whole pixels: small sizes differ there.\n"
            "Put it on the clean shot, before blurs and before the grain.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Clip to Lighten", .shortLabel = "Input", .required = true}};

    Page page{this, "Lighten"};
    FloatControlK7 CutOff{
        this,
        {"CutOff", "Threshold", 20.0, 0.0, 100.0},
        "Luminance from which on pixels are lightened, in percent of white; darker ones stay as they are."};
    IntegerControlK7 Rad{this,
                         {"Rad", "Size", 3, 1, 30},
                         "Size of the window whose lightest value each channel takes, in pixels at full size: 3 looks "
                         "two pixels to every side."};
    FloatControlK7 Gamma{this,
                         {"Gamma", "Boost Highlights", 1.0, 0.1, 10.0},
                         "Gamma of the picture before its light parts grow: above 1 lifts the mid-tones, 1 leaves "
                         "them, below 1 darkens them."};
    ChannelSizeControls channels{this};

    LightenInfo() {
        ghost({&Rad}, channels.split, isOn);
        scene.inputs = {"coffee-small.png"};
        scene.settings = {{"Rad", "5"}, {"CutOff", "45"}};
        scene.plates = {"street.jpg"};
        scene.look = {{"Rad", "9"}, {"CutOff", "55"}};
    }
};

class Lighten final : public Effect<LightenInfo> {
  public:
    void ProcessFrame() override;
};
