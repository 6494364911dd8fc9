// Q_Facet: paints the picture in flat patches.
//
// Each channel of each pixel takes the value that is most frequent round it, counted in 128 levels: a mode filter with
// a rectangular window. The cost does not depend on the window.
#pragma once

#include "Library2/PluginK7.h"

struct FacetInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Facet",
        .menu = "Paint FX",
        .onDevice = true,
        .description = "Colour faceting effect. This effect is in Box Number 9",
        .purpose =
            "Flat patches with crisp borders, as if painted with a palette knife: each channel of a pixel takes the "
            "value that is most frequent around it.",
        .usage =
            "Connect the shot as Clip to Facet. Radius X is the width of the window: 5 simplifies, 15 paints, 30 makes "
            "posters.\n"
            "Lock Radius keeps the window square in the picture, also where pixels are not; unlock it for upright or "
            "level strokes.\n"
            "A matte with Use Mask on mixes the facets in by its luminance, Composite lays them over the source by the "
            "same: paint the background and leave the faces.\n"
            "Channels are chosen one by one, so that colours appear which the source has not; less saturation before "
            "it keeps that quiet.\n"
            "Grain breaks the patches up: run Q_Clean or Q_RemGrain first, and lay new grain over the result.\n"
            "Windows count pixels of the full size and are odd: in a proxy they are rounded to whole pixels, which "
            "changes small radii visibly.\n"
            "The cost does not depend on the radius.\n"
            "Moving shots boil, as painted films do. Set the result on twos where that is too busy.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Clip to Facet", .shortLabel = "Input", .required = true}};
    ClipRecord matte{this, {.name = "Input2", .label = "Matte"}};

    Page page{this, "Facet"};
    CheckboxControlK7 DoSync{this,
                             {"DoSync", "Lock Radius", true},
                             "Makes the window as high as it is wide, allowing for the shape of the pixels."};
    IntegerControlK7 XRad{this,
                          {"XRad", "Radius X", 1, 1, 30},
                          "Width of the window whose most frequent value each channel takes, in pixels at full size; "
                          "windows are odd and at least 3 wide."};
    IntegerControlK7 YRad{this,
                          {"YRad", "Radius Y", 1, 1, 30},
                          "Height of the window, in pixels at full size; windows are odd and at least 3 high."};
    CheckboxControlK7 DoMask{this,
                             {"DoMask", "Use Mask"},
                             "Mixes the facets into the source by the luminance of the matte: black keeps the source."};
    CheckboxControlK7 InvertMask{
        this, {"InvertMask", "Invert Mask"}, "Takes the matte the other way round, so that white keeps the source."};
    CheckboxControlK7 DoComp{
        this, {"DoComp", "Composite"}, "Lays the result over the source with the luminance of the matte as its alpha."};

    FacetInfo() {
        ghost({&YRad}, DoSync, isOn);
        ghost({&InvertMask}, DoMask, isOff);
        scene.inputs = {"coffee-small.png"};
        scene.settings = {{"XRad", "8"}};
        scene.plates = {"portrait.jpg"};
        scene.look = {{"XRad", "17"}};
    }
};

class Facet final : public Effect<FacetInfo> {
  public:
    void ProcessFrame() override;
    bool staysOnDevice() const override { return !DoMask.value && !DoComp.value; }

  private:
    struct Window {
        int x, y;
    };
    Window window(const K7Image& source) const;
    bool facetOnDevice(int half_x, int half_y);
    void applyMatte(const K7Image& source, K7Image& result);
};
