// Q_HeatHaze: the picture seen through a sheet of hot, moving air.
//
// A noise field that flows with time is the height of the sheet. Each pixel's line of sight is refracted where it
// passes the sheet's slope, and the picture is read there with the footprint that the shimmer gives the pixel.
#pragma once

#include "Library2/PluginK7.h"

struct HeatHazeInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "HeatHaze",
        .menu = "Natural Phenomena",
        .description =
            "Produces the effect of a hot, hazy day, adding heat shimmers to the image. This effect is in "
            "Box Number 1",
        .purpose =
            "The shimmer of hot air over a road, a fire, an engine or a desert: the shot is seen through a sheet of "
            "rising, trembling air.",
        .usage =
            "Connect the shot as Background. With a matte as ROI Matte and Use Matte on, the heat follows the "
            "luminance of the matte: a soft ramp that is white at the ground and black at the horizon looks most like "
            "a road.\n"
            "Begin with the preset for how hot it is, then set Temperature alone. Distant haze is fine and weak, near "
            "fire coarse and strong.\n"
            "Atmos Detail X and Y are cells over the width and height. Few cells across and many over the height give "
            "the long flat ripples of a road.\n"
            "Atmos Texture adds finer swirls. Much of it with much Temperature tears the picture: the hotter, the "
            "less.\n"
            "Display Heat Map shows the heat itself as a grey picture. It helps to see the drift, and serves as a "
            "matte for a blur.\n"
            "Atmos Detail counts cells of the picture, so that a proxy shows the same ripples; the finest tremble is "
            "lost in it. Look at it at full size before the last render.\n"
            "Put it after all that stands behind the hot air and before what stands in front of it, and before grain. "
            "Smoke and sparks above the fire belong in front.\n"
            "A frame depends on its number alone: frames render in any order.\n"};
    enum Display { HeatMap = 1, Result = 2 };

    ClipRecord input{this, {.name = "Back", .label = "Background", .shortLabel = "BG", .required = true}};
    ClipRecord matte{this, {.name = "Matte", .label = "ROI Matte", .shortLabel = "Matte"}};

    Page page{this, "HeatHaze"};
    PresetChoiceK7 Demos{this,
                         {"Demos", "Demos"},
                         "How hot it is: sets the temperature, the size of the cells of hot air and their texture, and "
                         "how fast they rise and change."};
    ListControlK7 DispType{this,
                           {"DispType", "Display", 1, {"Heat Map", "Result"}},
                           "Shows the heat of the air as a grey picture, or the picture seen through it."};
    FloatControlK7 Temperature{this,
                               {"Temperature", "Temperature", 80.0, 0.0, 200.0},
                               "How strongly the air bends the light: 0 leaves the picture straight, 200 bends most."};
    CheckboxControlK7 ROI{
        this,
        {"ROI", "Use Matte"},
        "Scales the heat by the luminance of the matte, so that the picture stays straight where it is black."};
    FloatControlK7 AtmDetX{this,
                           {"AtmDetX", "Atmos Detail X", 40.0, 0.01, 1000.0},
                           "Number of cells of hot air across the width of the picture: more make a finer shimmer; "
                           "many in strong heat tear the picture."};
    FloatControlK7 AtmDetY{this,
                           {"AtmDetY", "Atmos Detail Y", 80.0, 0.01, 1000.0},
                           "Number of cells of hot air over the height of the picture: more make a finer shimmer."};
    FloatControlK7 AtmX{this,
                        {"AtmX", "Atmos Speed X", 2.0, -100.0, 100.0},
                        "Speed at which the air drifts to the right, in units of 1/20000 pixel a frame of a picture "
                        "720 wide; below 0 to the left."};
    FloatControlK7 AtmY{
        this,
        {"AtmY", "Atmos Speed Y", 10.0, -100.0, 100.0},
        "Speed at which the air rises, in units of 1/2000 pixel a frame of a picture 576 high; below 0 it sinks."};
    FloatControlK7 AtmZ{this,
                        {"AtmZ", "Atmos Speed Z", 25.0, -100.0, 100.0},
                        "Speed at which the air changes its shape, in 200ths of a cell a frame; 0 lets it only drift."};
    FloatControlK7 FlutterX{this,
                            {"FlutterX", "Flutter X", 20.0, 0.0, 100.0},
                            "How far the air trembles sideways, at most, in tenths of a pixel of a picture 720 wide."};
    FloatControlK7 AtmCont{
        this,
        {"AtmCont", "Atmos Contrast", 0.0, -100.0, 100.0},
        "Added to the heat everywhere, in percent: below 0 leaves only the hottest parts to shimmer."};
    FloatControlK7 FlutterY{this,
                            {"FlutterY", "Flutter Y", 10.0, 0.0, 100.0},
                            "How fast the air rises in puffs, in tenths of a pixel a frame of a picture 576 high."};
    FloatControlK7 Detail{this,
                          {"Detail", "Atmos Texture", 5.0, 1.0, 10.0},
                          "Fineness of the swirls within a cell: 1 has none, from 2.2 on there are some half as large "
                          "as the cell, from 4.7 on a quarter as large."};
    IntegerControlK7 AtmSeed{
        this, {"AtmSeed", "Atmos Seed", 797, 1, 999}, "Seed of the noise: each number makes other air."};

    HeatHazeInfo() {
        declarePresets();
        ghost({&Temperature}, DispType, is(HeatMap));
        scene.inputs = {"road-small.png"};
        scene.settings = {{"Demos", "Very Hot"}};
        scene.frame = 20;
    }

  private:
    void declarePresets();
};

class HeatHaze final : public Effect<HeatHazeInfo> {
  public:
    void ProcessFrame() override;

  private:
    ImagePtr heatMap(const K7Image& frame);
    void refract(const K7Image& heat, const K7Image& source, K7Image& result);
};
