// Q_Facet: paints the picture in flat patches.
//
// Each channel of each pixel takes the value that is most frequent round it, counted in 128 levels: a mode filter with
// a rectangular window. The cost does not depend on the window.
#pragma once

#include "Library2/PluginK7.h"

struct FacetInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Facet", .menu = "Paint FX", .description = "Colour faceting effect. This effect is in Box Number 9"};

    ClipRecord input{this, {.name = "Input", .label = "Clip to Facet", .shortLabel = "Input", .required = true}};
    ClipRecord matte{this, {.name = "Input2", .label = "Matte"}};

    Page page{this, "Facet"};
    CheckboxControlK7 DoSync{this, {"DoSync", "Lock Radius", true}};
    IntegerControlK7 XRad{this, {"XRad", "Radius X", 1, 1, 30}};
    IntegerControlK7 YRad{this, {"YRad", "Radius Y", 1, 1, 30}};
    CheckboxControlK7 DoMask{this, {"DoMask", "Use Mask"}};
    CheckboxControlK7 InvertMask{this, {"InvertMask", "Invert Mask"}};
    CheckboxControlK7 DoComp{this, {"DoComp", "Composite"}};

    FacetInfo() {
        ghost({&YRad}, DoSync, isOn);
        ghost({&InvertMask}, DoMask, isOff);
        scene.inputs = {"coffee-small.png"};
        scene.settings = {{"XRad", "8"}};
    }
};

class Facet final : public Effect<FacetInfo> {
  public:
    void ProcessFrame() override;

  private:
    struct Window {
        int x, y;
    };
    Window window(const K7Image& source) const;
    void applyMatte(const K7Image& source, K7Image& result);
};
