// Q_Thermo: the picture as a thermal camera shows it, brightness taken for heat.
//
// Luminance, softened and shaped by a gamma, is looked up in two curves drawn over the picture: one gives the
// temperature, whose colour runs from blue (cold) over green and yellow to red (hot), the other its intensity: from
// black over the full colour to white.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/controls/CurveControls.h"
#include "effects/engines/curves/PowerTable.h"

struct ThermoInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Thermo",
        .menu = "Night Looks",
        .overlay = true,
        .description = "Thermal imaging. This effect is in Box Number 3",
        .purpose =
            "The shot through a thermal camera: brightness is taken for heat and shown from cold blue over green and "
            "yellow to hot red.",
        .usage =
            "Connect the shot as Thermo Clip. What is bright is hot: grade faces up and the background down first, or "
            "paint a heat matte and connect that.\n"
            "Begin with a Type and then drag the curves in the viewer: Temperature chooses the colour for each "
            "brightness, Intensity how bright it is.\n"
            "Gamma warms or cools the mid-tones, Luminance Boost scales all heat.\n"
            "Softening is the coarse sensor, in tenths of a pixel at full size. For a real camera's look render small "
            "and enlarge without filtering before it.\n"
            "Mix with Source keeps some of the shot as a guide to the eye.\n"
            "The blur follows a proxy; the colours do not depend on the size.\n"
            "Put it last in the comp, with burnt-in figures and a frame of the camera above it.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Thermo Clip", .shortLabel = "Heat", .required = true}};

    Page page{this, "Thermo"};
    PresetChoiceK7 Demos{this, {"Demos", "Type"}, "Camera setting: sets softening, gamma and both curves."};
    CheckboxControlK7 Soften{
        this,
        {"Soften", "Soften", true},
        "Blurs the picture that the heat is read from, as the coarse sensor of a thermal camera does."};
    FloatControlK7 Softening{this,
                             {"Softening", "Softening", 20.0, 0.0, 100.0},
                             "Radius of the softening, in tenths of a pixel at full size; 0 is none."};
    FloatControlK7 LuminanceBoost{
        this,
        {"LuminanceBoost", "Luminance Boost", 100.0, 0.0, 200.0},
        "Scales the luminance that is taken for heat, in percent: 100 takes it as it is, 0 takes all of it for cold."};
    FloatControlK7 Gamma{
        this,
        {"Gamma", "Gamma", 1.0, 0.0, 10.0},
        "Gamma of the heat: above 1 warms the mid-tones, below 1 cools them; less than 0.01 counts as 0.01."};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 100.0},
                         "How much of the source is mixed back in, in percent: 100 shows the source alone."};

    Page temperaturePage{this, "Temperature"};
    CurveControls temperature{
        this,
        {.name = "Temperature",
         .points = {{{0.02, 0.02}, {0.25, 0.25}, {0.48, 0.48}, {0.66, 0.66}, {0.84, 0.84}, {0.98, 0.98}}},
         .from = "brightness",
         .to = "temperature",
         .presetNumbers = {"DemoCSecret", "DemoESecret"},
         .colour = OVERLAY_YELLOW}};

    Page intensityPage{this, "Intensity"};
    CurveControls intensity{this,
                            {.name = "Intensity",
                             .points = {{{0.02, 0.9}, {0.2, 0.9}, {0.4, 0.9}, {0.5, 0.9}, {0.7, 0.9}, {0.9, 0.9}}},
                             .from = "brightness",
                             .to = "intensity",
                             .note = ", and above 0.9 the colour glows white",
                             .presetNumbers = {"DemoDSecret", "DemoFSecret"},
                             .colour = OVERLAY_WHITE}};

    ThermoInfo() {
        ghost({&Softening}, Soften, isOff);
        declarePresets();
        scene.inputs = {"portrait-small.png"};
        scene.settings = {{"Demos", "Hot"}, {"Softening", "6"}};
        scene.look = {{"Demos", "Hot"}};
    }

  private:
    void declarePresets();
};

class Thermo final : public Effect<ThermoInfo> {
  public:
    void ProcessFrame() override;

  private:
    bool image_heat(const K7Image& source, K7Image& result);
    std::vector<float> palette() const;

    PowerTable m_gamma;
};
