// Q_InfraRed: the picture as infra-red film would have taken it, without any infra-red light.
//
// The strongest colour of a pixel, softened, is its exposure; a curve for each of red, green and blue turns it into a
// colour. The curves are drawn over the picture.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/curves/CurveOverlay.h"

// Softening, black and white, six points (x, y) for each of red, green and blue, each followed by the number of the
// preset, which the hidden controls keep.
inline constexpr PresetRow<44> INFRA_RED_PRESETS[] = {
    // clang-format off
    {"Default",
     {8, 0,
      0, 0.28, 0.26, 0.63, 0.43, 0.767, 0.77, 0.99, 0.94, 0.85, 1, 0.12, 0, 0,
      0, 0.18, 0.16, 0.44, 0.38, 0.58, 0.69, 0.795, 0.92, 0.78, 0.99, 0.05, 0, 0,
      0.001, 0.11, 0.22, 0.23, 0.39, 0.21, 0.55, 0.15, 0.76, 0.085, 0.998, 0.005, 0, 0}},
    {"Landscape1",
     {8, 0,
      0, 0.03, 0.2, 0.3, 0.4, 0.72, 0.6, 0.9, 0.8, 0.95, 1, 1, 1, 1,
      0, 0.04, 0.2, 0.1, 0.4, 0.17, 0.6, 0.42, 0.8, 0.78, 1, 0.97, 1, 1,
      0, 0.1, 0.2, 0.24, 0.4, 0.36, 0.6, 0.52, 0.8, 0.78, 1, 0.93, 1, 1}},
    {"Landscape2",
     {12, 0,
      0, 0.05, 0.2, 0.16, 0.4, 0.5, 0.6, 0.88, 0.8, 0.98, 1, 1, 2, 2,
      0, 0.05, 0.2, 0.14, 0.4, 0.36, 0.6, 0.7, 0.8, 0.92, 1, 0.99, 2, 2,
      0, 0.14, 0.2, 0.27, 0.4, 0.26, 0.6, 0.25, 0.8, 0.55, 1, 0.9, 2, 2}},
    {"Landscape3",
     {14, 1,
      0, 0, 0.2, 0.2, 0.4, 0.5, 0.6, 0.8, 0.8, 0.95, 1, 1, 3, 3,
      0, 0, 0.2, 0.25, 0.4, 0.55, 0.6, 0.8, 0.8, 0.95, 1, 1, 3, 3,
      0, 0.1, 0.2, 0.4, 0.4, 0.65, 0.6, 0.85, 0.8, 0.95, 1, 1, 3, 3}},
    {"MoonLight",
     {10, 0,
      0, 0, 0.2, 0.03, 0.4, 0.1, 0.6, 0.24, 0.8, 0.46, 1, 0.8, 4, 4,
      0, 0, 0.2, 0.05, 0.4, 0.14, 0.6, 0.3, 0.8, 0.54, 1, 0.87, 4, 4,
      0, 0.02, 0.2, 0.1, 0.4, 0.24, 0.6, 0.44, 0.8, 0.7, 1, 0.97, 4, 4}},
    // clang-format on
};

struct InfraRedInfo : EffectInfo {
    static constexpr EffectTraits traits{.name = "InfraRed",
                                         .menu = "Night Looks",
                                         .overlay = true,
                                         .description = "InfraRed cheated imaging. This effect is in Box Number 3"};

    ClipRecord background{this, {.name = "Input2", .label = "Background", .required = true}};
    ClipRecord infraRed{this, {.name = "Input", .label = "InfraRed Clip"}};

    Page page{this, "InfraRed"};
    ListControlK7 Demos{this,
                        {"Demos", "Type", 0, presetNames(INFRA_RED_PRESETS)},
                        "Film stock: sets the softening, black and white, and all three curves."};
    CheckboxControlK7 Soften{this,
                             {"Soften", "Soften", true},
                             "Blurs the picture that the exposure is read from, as the halo of infra-red film does."};
    FloatControlK7 Softening{this,
                             {"Softening", "Softening", 8.0, 0.0, 100.0},
                             "Radius of that blur, in tenths of a pixel at full size; 0 is none."};
    CheckboxControlK7 BW{this, {"BW", "BW"}, "Shows the luminance of the result as grey."};
    FloatControlK7 Blend{this,
                         {"Blend", "Mix with Source", 0.0, 0.0, 100.0},
                         "How much of the background is mixed back in, in percent: 100 shows the background alone."};

    Page redPage{this, "Red Curve"};
    CurvePointControlK7 Red1{this, {"Red1", "Red1", 0.0, 0.28}};
    CurvePointControlK7 Red2{this, {"Red2", "Red2", 0.26, 0.63}};
    CurvePointControlK7 Red3{this, {"Red3", "Red3", 0.43, 0.767}};
    CurvePointControlK7 Red4{this, {"Red4", "Red4", 0.77, 0.99}};
    CurvePointControlK7 Red5{this, {"Red5", "Red5", 0.94, 0.85}};
    CurvePointControlK7 Red6{this, {"Red6", "Red6", 1.0, 0.12}};
    FloatControlK7 DemoCSecret{this, {"DemoCSecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};
    FloatControlK7 DemoESecret{this, {"DemoESecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};

    Page greenPage{this, "Green Curve"};
    CurvePointControlK7 Green1{this, {"Green1", "Green1", 0.0, 0.18}};
    CurvePointControlK7 Green2{this, {"Green2", "Green2", 0.16, 0.44}};
    CurvePointControlK7 Green3{this, {"Green3", "Green3", 0.38, 0.58}};
    CurvePointControlK7 Green4{this, {"Green4", "Green4", 0.69, 0.795}};
    CurvePointControlK7 Green5{this, {"Green5", "Green5", 0.92, 0.78}};
    CurvePointControlK7 Green6{this, {"Green6", "Green6", 0.99, 0.05}};
    FloatControlK7 DemoDSecret{this, {"DemoDSecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};
    FloatControlK7 DemoFSecret{this, {"DemoFSecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};

    Page bluePage{this, "Blue Curve"};
    CurvePointControlK7 Blue1{this, {"Blue1", "Blue1", 0.001, 0.11}};
    CurvePointControlK7 Blue2{this, {"Blue2", "Blue2", 0.22, 0.23}};
    CurvePointControlK7 Blue3{this, {"Blue3", "Blue3", 0.39, 0.21}};
    CurvePointControlK7 Blue4{this, {"Blue4", "Blue4", 0.55, 0.15}};
    CurvePointControlK7 Blue5{this, {"Blue5", "Blue5", 0.76, 0.085}};
    CurvePointControlK7 Blue6{this, {"Blue6", "Blue6", 0.998, 0.005}};
    FloatControlK7 DemoJSecret{this, {"DemoJSecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};
    FloatControlK7 DemoISecret{this, {"DemoISecret", "", 0.0, 0.0, 10000.0, {.secret = true}}};

    CurveOverlayK7::Controls redPoints{&Red1, &Red2, &Red3, &Red4, &Red5, &Red6};
    CurveOverlayK7::Controls greenPoints{&Green1, &Green2, &Green3, &Green4, &Green5, &Green6};
    CurveOverlayK7::Controls bluePoints{&Blue1, &Blue2, &Blue3, &Blue4, &Blue5, &Blue6};
    CurveOverlayK7 redWidget{this, redPoints, {FULL_COLOUR, 0.25f * FULL_COLOUR, 0.25f * FULL_COLOUR, FULL_COLOUR}};
    CurveOverlayK7 greenWidget{this, greenPoints, {0.25f * FULL_COLOUR, FULL_COLOUR, 0.25f * FULL_COLOUR, FULL_COLOUR}};
    CurveOverlayK7 blueWidget{this, bluePoints, {0.4f * FULL_COLOUR, 0.5f * FULL_COLOUR, FULL_COLOUR, FULL_COLOUR}};

    InfraRedInfo() {
        ghost({&Softening}, Soften, isOff);
        presets(Demos,
                {&Softening,   &BW,     &Red1,   &Red2,   &Red3,   &Red4,   &Red5,        &Red6,        &DemoCSecret,
                 &DemoESecret, &Green1, &Green2, &Green3, &Green4, &Green5, &Green6,      &DemoDSecret, &DemoFSecret,
                 &Blue1,       &Blue2,  &Blue3,  &Blue4,  &Blue5,  &Blue6,  &DemoJSecret, &DemoISecret},
                INFRA_RED_PRESETS, PresetScope::ListedOnly);
        scene.inputs = {"seeding-small.png"};
    }
};

class InfraRed final : public Effect<InfraRedInfo> {
  public:
    void ProcessFrame() override;

  private:
    bool expose(const K7Image& source, K7Image& result) const;
};
