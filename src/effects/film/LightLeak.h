// Q_LightLeak: light has got into the magazine and spoilt the film.
//
// A handful of soft spots, drawn from a seed around a place, each red at its outside, yellow further in and white in
// its heart. They lie still, as a leak that was there all along, or breathe and wander with time.
#pragma once

#include <vector>

#include "Library2/PluginK7.h"
#include "effects/film/FilmLight.h"

struct LightLeakInfo : EffectInfo {
    static constexpr EffectTraits traits{.name = "LightLeak",
                                         .menu = "Film Kit",
                                         .overlay = true,
                                         .description = "Light has spoilt the film. This effect is in Box Number 2"};

    ClipRecord input{this, {.name = "Input", .label = "Input", .shortLabel = "Film", .required = true}};

    Page page{this, "LightLeak"};
    CheckboxControlK7 Modulate{this, {"Modulate", "Use Alpha"}};
    FloatControlK7 RedSpreadB{this, {"RedSpreadB", "Red Spread", 100.0, 0.0, 100.0}};
    FloatControlK7 YellowSpreadB{this, {"YellowSpreadB", "Yellow Spread", 50.0, 0.0, 100.0}};
    FloatControlK7 WhiteSpreadB{this, {"WhiteSpreadB", "White Spread", 20.0, 0.0, 100.0}};
    FloatControlK7 FogB{this, {"FogB", "Fog", 20.0, 0.0, 100.0}};
    CheckboxControlK7 NegBlobON{this, {"NegBlobON", "Negative"}};
    FloatControlK7 RedSoftB{this, {"RedSoftB", "Red Soft", 40.0, 0.0, 100.0}};
    FloatControlK7 YellowSoftB{this, {"YellowSoftB", "Yellow Soft", 60.0, 0.0, 100.0}};
    FloatControlK7 WhiteSoftB{this, {"WhiteSoftB", "White Soft", 80.0, 0.0, 100.0}};
    FloatControlK7 ThickB{this, {"ThickB", "Thickness", 10.0, 0.0, 1000.0}};

    Page pattern{this, "Light Pattern"};
    IntegerControlK7 LightPattB{this, {"LightPattB", "Light Pattern", 650, 1, 99999}};
    FloatControlK7 PattSizeB{this, {"PattSizeB", "Pattern Size", 50.0, 0.0, 200.0}};
    FloatControlK7 PattVarB{this, {"PattVarB", "Pat Size Var", 100.0, 0.0, 200.0}};
    FloatControlK7 GroupB{this, {"GroupB", "Grouping", 10.0, 0.0, 200.0}};
    IntegerControlK7 LightSpotsB{this, {"LightSpotsB", "Light Spots", 3, 1, MOST_SPOTS}};
    PositionControlK7 CorePosB{this, {"CorePosB", "Core Pos", 0.4, 0.4}};
    CheckboxControlK7 AddRandB{this, {"AddRandB", "Add Randomness"}};
    FloatControlK7 WobbleSizeB{this, {"WobbleSizeB", "Size Wobble", 10.0, 0.0, 100.0}};
    FloatControlK7 WobbleSpotB{this, {"WobbleSpotB", "Spot Wobble", 10.0, 0.0, 100.0}};

    CrosshairOverlayK7 coreWidget{this, CorePosB};

    LightLeakInfo() {
        ghost({&WobbleSizeB, &WobbleSpotB}, AddRandB, isOff);
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"FogB", "50"},        {"LightSpotsB", "9"},   {"GroupB", "70"},
                          {"PattSizeB", "130"},  {"RedSoftB", "100"},    {"YellowSpreadB", "65"},
                          {"YellowSoftB", "80"}, {"WhiteSpreadB", "45"}, {"CorePosB", "0.1,0.6"}};
    }
};

class LightLeak final : public Effect<LightLeakInfo> {
  public:
    void ProcessFrame() override;

  private:
    std::vector<LightSpot> drawSpots(const K7Image& picture) const;
};
