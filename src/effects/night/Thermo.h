// Q_Thermo: the picture as a thermal camera shows it, brightness taken for heat.
//
// Luminance, softened and shaped by a gamma, is looked up in two curves drawn over the picture: one gives the
// temperature, whose colour runs from blue (cold) over green and yellow to red (hot), the other its intensity.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/curves/CurveOverlay.h"
#include "effects/engines/curves/PowerTable.h"

// Softening, gamma, six points (x, y) for each of temperature and intensity, each followed by the number of the preset,
// which the hidden controls keep.
inline constexpr PresetRow<30> THERMO_PRESETS[] = {
    // clang-format off
    {"Default",
     {20, 1,
      0.02, 0.02, 0.25, 0.25, 0.48, 0.48, 0.66, 0.66, 0.84, 0.84, 0.98, 0.98, 0, 0,
      0.02, 0.9, 0.2, 0.9, 0.4, 0.9, 0.5, 0.9, 0.7, 0.9, 0.9, 0.9, 0, 0}},
    {"Ripple",
     {40, 1,
      0.02, 0.1, 0.25, 0.75, 0.48, 0.25, 0.66, 0.85, 0.84, 0.4, 0.98, 0.95, 1, 1,
      0.02, 0.9, 0.2, 0.9, 0.4, 0.9, 0.5, 0.9, 0.7, 0.9, 0.9, 0.9, 1, 1}},
    {"Cold",
     {30, 1,
      0.02, 0.02, 0.25, 0.08, 0.48, 0.18, 0.66, 0.3, 0.84, 0.4, 0.98, 0.5, 2, 2,
      0.02, 0.3, 0.2, 0.5, 0.4, 0.7, 0.5, 0.85, 0.7, 0.95, 0.9, 1, 2, 2}},
    {"Hot",
     {30, 1,
      0.02, 0.99, 0.25, 0.98, 0.48, 0.95, 0.66, 0.9, 0.84, 0.83, 0.98, 0.75, 3, 3,
      0.02, 0.12, 0.2, 0.45, 0.4, 0.75, 0.5, 0.95, 0.7, 1, 0.9, 1, 3, 3}},
    // clang-format on
};

struct ThermoInfo : EffectInfo {
    static constexpr EffectTraits traits{.name = "Thermo",
                                         .menu = "Night Looks",
                                         .overlay = true,
                                         .description = "Thermal imaging. This effect is in Box Number 3"};

    ClipRecord input{this, {.name = "Input", .label = "Thermo Clip", .shortLabel = "Heat", .required = true}};

    Page page{this, "Thermo"};
    ListControlK7 Demos{this,
                        {"Demos", "Type", 0, presetNames(THERMO_PRESETS)},
                        "Camera setting: sets softening, gamma and both curves."};
    CheckboxControlK7 Soften{
        this,
        {"Soften", "Soften", true},
        "Blurs the picture that the heat is read from, as the coarse sensor of a thermal camera does."};
    FloatControlK7 Softening{this,
                             {"Softening", "Softening", 20.0, 0.0, 100.0},
                             "Radius of that blur, in tenths of a pixel at full size; 0 is none."};
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
    CurvePointControlK7 Temperature1{this, {"Temperature1", "Temperature1", 0.02, 0.02}};
    CurvePointControlK7 Temperature2{this, {"Temperature2", "Temperature2", 0.25, 0.25}};
    CurvePointControlK7 Temperature3{this, {"Temperature3", "Temperature3", 0.48, 0.48}};
    CurvePointControlK7 Temperature4{this, {"Temperature4", "Temperature4", 0.66, 0.66}};
    CurvePointControlK7 Temperature5{this, {"Temperature5", "Temperature5", 0.84, 0.84}};
    CurvePointControlK7 Temperature6{this, {"Temperature6", "Temperature6", 0.98, 0.98}};
    FloatControlK7 DemoCSecret{this, {"DemoCSecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};
    FloatControlK7 DemoESecret{this, {"DemoESecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};

    Page intensityPage{this, "Intensity"};
    CurvePointControlK7 Intensity1{this, {"Intensity1", "Intensity1", 0.02, 0.9}};
    CurvePointControlK7 Intensity2{this, {"Intensity2", "Intensity2", 0.2, 0.9}};
    CurvePointControlK7 Intensity3{this, {"Intensity3", "Intensity3", 0.4, 0.9}};
    CurvePointControlK7 Intensity4{this, {"Intensity4", "Intensity4", 0.5, 0.9}};
    CurvePointControlK7 Intensity5{this, {"Intensity5", "Intensity5", 0.7, 0.9}};
    CurvePointControlK7 Intensity6{this, {"Intensity6", "Intensity6", 0.9, 0.9}};
    FloatControlK7 DemoDSecret{this, {"DemoDSecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};
    FloatControlK7 DemoFSecret{this, {"DemoFSecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};

    CurveOverlayK7::Controls temperaturePoints{&Temperature1, &Temperature2, &Temperature3,
                                               &Temperature4, &Temperature5, &Temperature6};
    CurveOverlayK7::Controls intensityPoints{&Intensity1, &Intensity2, &Intensity3,
                                             &Intensity4, &Intensity5, &Intensity6};
    CurveOverlayK7 temperatureWidget{this, temperaturePoints, OVERLAY_YELLOW};
    CurveOverlayK7 intensityWidget{this, intensityPoints, OVERLAY_WHITE};

    ThermoInfo() {
        ghost({&Softening}, Soften, isOff);
        presets(Demos,
                {&Softening, &Gamma, &Temperature1, &Temperature2, &Temperature3, &Temperature4, &Temperature5,
                 &Temperature6, &DemoCSecret, &DemoESecret, &Intensity1, &Intensity2, &Intensity3, &Intensity4,
                 &Intensity5, &Intensity6, &DemoDSecret, &DemoFSecret},
                THERMO_PRESETS, PresetScope::ListedOnly);
        scene.inputs = {"coffee-small.png"};
    }
};

class Thermo final : public Effect<ThermoInfo> {
  public:
    void ProcessFrame() override;

  private:
    bool image_heat(const K7Image& source, K7Image& result);
    std::unique_ptr<float[]> palette() const;

    PowerTable m_gamma;
};
