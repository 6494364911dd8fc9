// Q_InfraRed: the picture as infra-red film would have taken it, without any infra-red light.
//
// The strongest colour of a pixel, softened, is its exposure; a curve for each of red, green and blue turns it into a
// colour. The curves are drawn over the picture.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/controls/CurveControls.h"

struct InfraRedInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "InfraRed",
        .menu = "Night Looks",
        .overlay = true,
        .description = "InfraRed cheated imaging. This effect is in Box Number 3",
        .purpose =
            "Infra-red film without infra-red light: foliage glows, skies go dark. The brightness of a pixel, "
            "softened, goes through a curve for each colour, drawn over the picture.",
        .usage =
            "Connect the shot as Background; it is also what the exposure is read from, unless another picture is "
            "connected as InfraRed Clip.\n"
            "Begin with a Type and then drag the points of the three curves in the viewer. Left is dark, right is "
            "bright.\n"
            "The strongest colour of a pixel counts as its brightness: green leaves and blue sky can come out alike. "
            "Prepare the InfraRed Clip with a channel mixer, leaves bright and sky dark, to part them.\n"
            "Softening makes the halo of infra-red film, in tenths of a pixel at full size: 8 is hardly seen, 40 "
            "glows.\n"
            "BW shows the luminance of the result, the look of black and white infra-red stock.\n"
            "Mix with Source brings back some of the picture.\n"
            "The blur follows a proxy; curves do not depend on the size.\n"
            "Put it where the grade goes, before grain. Curves take samples from 0 to 1 as they come: feed it "
            "display-like pictures and not scene-linear ones.\n"};

    ClipRecord background{this, {.name = "Input2", .label = "Background", .required = true}};
    ClipRecord infraRed{this, {.name = "Input", .label = "InfraRed Clip"}};

    Page page{this, "InfraRed"};
    PresetChoiceK7 Demos{
        this, {"Demos", "Type"}, "Film stock: sets the softening, black and white, and all three curves."};
    CheckboxControlK7 Soften{this,
                             {"Soften", "Soften", true},
                             "Blurs the picture that the exposure is read from, as the halo of infra-red film does."};
    FloatControlK7 Softening{
        this,
        {"Softening", "Softening", 8.0, 0.0, 100.0},
        "Radius of the softening, in tenths of a pixel at full size: the halo of light parts; 0 is none."};
    CheckboxControlK7 BW{this, {"BW", "BW"}, "Shows the luminance of the result as grey."};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 100.0},
                         "How much of the background is mixed back in, in percent: 100 shows the background alone."};

    Page redPage{this, "Red Curve"};
    CurveControls red{this,
                      {.name = "Red",
                       .points = {{{0.0, 0.28}, {0.26, 0.63}, {0.43, 0.767}, {0.77, 0.99}, {0.94, 0.85}, {1.0, 0.12}}},
                       .from = "exposure",
                       .to = "red",
                       .presetNumbers = {"DemoCSecret", "DemoESecret"},
                       .colour = {FULL_COLOUR, 0.25f * FULL_COLOUR, 0.25f * FULL_COLOUR, FULL_COLOUR}}};

    Page greenPage{this, "Green Curve"};
    CurveControls green{
        this,
        {.name = "Green",
         .points = {{{0.0, 0.18}, {0.16, 0.44}, {0.38, 0.58}, {0.69, 0.795}, {0.92, 0.78}, {0.99, 0.05}}},
         .from = "exposure",
         .to = "green",
         .presetNumbers = {"DemoDSecret", "DemoFSecret"},
         .colour = {0.25f * FULL_COLOUR, FULL_COLOUR, 0.25f * FULL_COLOUR, FULL_COLOUR}}};

    Page bluePage{this, "Blue Curve"};
    CurveControls blue{
        this,
        {.name = "Blue",
         .points = {{{0.001, 0.11}, {0.22, 0.23}, {0.39, 0.21}, {0.55, 0.15}, {0.76, 0.085}, {0.998, 0.005}}},
         .from = "exposure",
         .to = "blue",
         .presetNumbers = {"DemoJSecret", "DemoISecret"},
         .colour = {0.4f * FULL_COLOUR, 0.5f * FULL_COLOUR, FULL_COLOUR, FULL_COLOUR}}};

    InfraRedInfo() {
        ghost({&Softening}, Soften, isOff);
        declarePresets();
        scene.inputs = {"road-small.png"};
        scene.settings = {{"Demos", "Landscape1"}};
    }

  private:
    void declarePresets();
};

class InfraRed final : public Effect<InfraRedInfo> {
  public:
    void ProcessFrame() override;

  private:
    bool expose(const K7Image& source, K7Image& result) const;
};
