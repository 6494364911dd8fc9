// Q_LightLeak: light has got into the magazine and spoilt the film.
//
// A handful of soft spots, drawn from a seed around a place, each red at its outside, yellow further in and white in
// its heart. They drift slowly, as the film creeps past its leak, and can flicker and tremble on top.
#pragma once

#include <vector>

#include "Library2/PluginK7.h"
#include "effects/film/FilmLight.h"

struct LightLeakInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "LightLeak",
        .menu = "Film Kit",
        .overlay = true,
        .description = "Light has spoilt the film. This effect is in Box Number 2",
        .purpose =
            "Light that has got into the camera and spoilt the film: a handful of soft spots, red outside, yellow "
            "further in, white in their hearts.",
        .usage =
            "Connect the clip as Input and drag Core Pos to where the leak sits, often just outside the frame.\n"
            "Light Pattern is a seed: step through numbers until the spots lie well, then set Light Spots, Pattern "
            "Size and Grouping.\n"
            "Fog lays light over everything; Thickness exposes further and leaves black parts black.\n"
            "The Spread of a colour says how large its part of a spot is, its Soft how gently it ends. Red soft and "
            "wide, white small is what film does.\n"
            "Add Randomness lets the spots breathe and wander; Size Wobble and Spot Wobble say how far. Animate Core "
            "Pos for a flash that sweeps over the frame.\n"
            "Use Alpha keeps the light to what has alpha. Negative darkens.\n"
            "All sizes are parts of the picture: it looks the same at every resolution and in a proxy.\n"
            "Put it after the grade and before grain.\n"};

    ClipRecord input{this, {.name = "Input", .label = "Input", .shortLabel = "Film", .required = true}};

    Page page{this, "LightLeak"};
    CheckboxControlK7 Modulate{
        this, {"Modulate", "Use Alpha"}, "Lets light fall only where the picture has alpha, and in proportion to it."};
    FloatControlK7 RedSpreadB{
        this,
        {"RedSpreadB", "Red Spread", 100.0, 0.0, 100.0},
        "How far from the heart of a spot the red light begins, in percent of the radius of the spot; 0 leaves none."};
    FloatControlK7 YellowSpreadB{this,
                                 {"YellowSpreadB", "Yellow Spread", 50.0, 0.0, 100.0},
                                 "How far from the heart of a spot the yellow light begins, in percent of the radius "
                                 "of the spot; 0 leaves none."};
    FloatControlK7 WhiteSpreadB{this,
                                {"WhiteSpreadB", "White Spread", 20.0, 0.0, 100.0},
                                "How far from the heart of a spot the white light begins, in percent of the radius of "
                                "the spot; 0 leaves none."};
    FloatControlK7 FogB{this,
                        {"FogB", "Fog", 20.0, 0.0, 100.0},
                        "Strength of the light as a veil that does not depend on what is below it, in percent."};
    CheckboxControlK7 NegBlobON{
        this, {"NegBlobON", "Negative"}, "Darkens where the light would brighten, as on a negative."};
    FloatControlK7 RedSoftB{this,
                            {"RedSoftB", "Red Soft", 40.0, 0.0, 100.0},
                            "Distance over which the red light comes to full strength towards the heart of a spot, in "
                            "percent of its radius."};
    FloatControlK7 YellowSoftB{this,
                               {"YellowSoftB", "Yellow Soft", 60.0, 0.0, 100.0},
                               "Distance over which the yellow light comes to full strength towards the heart of a "
                               "spot, in percent of its radius."};
    FloatControlK7 WhiteSoftB{this,
                              {"WhiteSoftB", "White Soft", 80.0, 0.0, 100.0},
                              "Distance over which the white light comes to full strength towards the heart of a spot, "
                              "in percent of its radius."};
    FloatControlK7 ThickB{this,
                          {"ThickB", "Thickness", 10.0, 0.0, 1000.0},
                          "Strength of the light as further exposure, in percent: it grows with the luminance of the "
                          "picture, so that black stays black."};

    Page pattern{this, "Light Pattern"};
    IntegerControlK7 LightPattB{this,
                                {"LightPattB", "Light Pattern", 650, 1, 99999},
                                "Seed of the pattern: each number scatters the spots differently."};
    FloatControlK7 PattSizeB{this,
                             {"PattSizeB", "Pattern Size", 50.0, 0.0, 200.0},
                             "Size of the spots, in percent: 100 makes radii of up to a quarter of the width of the "
                             "picture, twice that with full variance."};
    FloatControlK7 PattVarB{
        this,
        {"PattVarB", "Pat Size Var", 100.0, 0.0, 200.0},
        "How much the spots differ in size, in percent: 100 lets them shrink to nothing or double."};
    FloatControlK7 GroupB{this,
                          {"GroupB", "Grouping", 10.0, 0.0, 200.0},
                          "How far the spots are scattered about the core, in percent of the width and height of the "
                          "picture; 0 puts all of them there."};
    IntegerControlK7 LightSpotsB{this, {"LightSpotsB", "Light Spots", 3, 1, MOST_SPOTS}, "Number of spots."};
    PositionControlK7 CorePosB{
        this,
        {"CorePosB", "Core Pos", 0.4, 0.4},
        "Place that the spots are scattered about, as fractions of the width and height of the picture."};
    CheckboxControlK7 AddRandB{this,
                               {"AddRandB", "Add Randomness"},
                               "Lets the spots flicker in size and tremble, on top of their slow drift."};
    FloatControlK7 WobbleSizeB{this,
                               {"WobbleSizeB", "Size Wobble", 10.0, 0.0, 100.0},
                               "How much the radius of a spot changes with time, in percent of it."};
    FloatControlK7 WobbleSpotB{
        this,
        {"WobbleSpotB", "Spot Wobble", 10.0, 0.0, 100.0},
        "How far a spot wanders with time, in tenths of a percent of the width and height of the picture."};

    CrosshairOverlayK7 coreWidget{this, CorePosB};

    LightLeakInfo() {
        ghost({&WobbleSizeB, &WobbleSpotB}, AddRandB, isOff);
        scene.inputs = {"seeding-small.png"};
        scene.settings = {{"FogB", "50"},        {"LightSpotsB", "9"},   {"GroupB", "70"},
                          {"PattSizeB", "130"},  {"RedSoftB", "100"},    {"YellowSpreadB", "65"},
                          {"YellowSoftB", "80"}, {"WhiteSpreadB", "45"}, {"CorePosB", "0.1,0.6"}};
        scene.plates = {"launch.jpg"};
    }
};

class LightLeak final : public Effect<LightLeakInfo> {
  public:
    void ProcessFrame() override;

  private:
    std::vector<LightSpot> drawSpots(const K7Image& picture) const;
};
