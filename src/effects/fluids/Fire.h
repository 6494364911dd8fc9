// Q_Fire: what is bright in a clip burns.
//
// Fuel, the part of a clip above a threshold, heats a fluid and makes it dense. The heat lifts it; both are carried
// along and fade, heat faster than density. Heat gives the colour, from black over red and yellow to white, density the
// opacity: so flames cool into smoke. Each render takes one step, see FluidRun.h.
#pragma once

#include "effects/fluids/FluidColours.h"
#include "effects/fluids/FluidEffect.h"

struct FireInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Fire",
        .menu = "Natural Phenomena",
        .overlay = true,
        .otherFrames = true,
        .history = FrameHistory::Frames,
        .description = "Fire effect based on two dimensional fluid flow simulation. This effect is in Box Number 1",
        .purpose =
            "Fire: what is bright in a clip burns. Flames rise from it, lick, break into tongues and cool into smoke, "
            "driven by a simulated flow.",
        .usage =
            "Connect the shot as BackGround and a matte as Fuel: what is brighter in it than Fuel Threshold burns; "
            "View Fuel shows it. Without a fuel clip the shot's own highlights burn.\n"
            "A soft matte that flickers or moves gives the livelier fire; a still, hard one burns in layers.\n"
            "Render frames in order: each render is a step, and what an earlier frame shows depends on where the "
            "sequence began. A frame before the last one, another size, and Restart light the fire anew.\n"
            "Give it 20 to 40 frames before the cut to come up. Heat Up and Cooling set speed and height of the "
            "flames, "
            "Swirl how ragged they are, Hottest how white.\n"
            "Smoke is the gas that has cooled: Smoke Fade says how long it stays, Opaque Above how dense it looks, "
            "Colour 1 how bright.\n"
            "Adjust Colours Only holds the fire still while its colours are set.\n"
            "Where Use Barriers is on, connect a Barrier clip that is black where gas may flow. Keep barriers off the "
            "fuel.\n"
            "The flow is worked out on the same grid at any size, so a proxy shows the same fire, with softer "
            "detail.\n"};

    ClipRecord background{this, {.name = "BackG", .label = "BackGround", .shortLabel = "BG", .required = true}};
    ClipRecord fuel{this, {.name = "Input", .label = "Fuel", .shortLabel = "Input", .temporal = true}};
    ClipRecord barrier{this, {.name = "Barrier", .label = "Barrier", .shortLabel = "Bar"}};

    Page pageFire{this, "Fire"};
    PresetChoiceK7 DemosA{this, {"DemosA", "Type"}, "Kind of fire: sets its heat, its smoke and its colours."};
    CheckboxControlK7 OverBlack{this,
                                {"OverBlack", "Over Black", false, {.keptByPresets = true}},
                                "Shows the fire over black instead of over the background."};
    PressCounterK7 RestartASecret{this, "RestartASecret", "the fire begins anew"};
    IntegerControlK7 TraceSteps{this,
                                {"TraceSteps", "Trace Steps", 20, 5, 50},
                                "How finely heat and smoke follow the flow, in steps a frame: more keep swirls crisp "
                                "in a fast flow, and take longer."};
    FloatControlK7 TStep{this,
                         {"TStep", "Time Step", 1.0, 0.1, 2.0},
                         "How far the fire goes on in a frame: below 1 is slow motion. A change shows after Restart."};
    FloatControlK7 VCFS{
        this, {"VCFS", "Swirl", 0.5, 0.0, 2.0}, "How strongly small swirls are kept alive: 0 burns smoothly."};
    FloatControlK7 HeatUp{this,
                          {"HeatUp", "Heat Up", 1.0, 0.0, 10.0},
                          "How hard heat lifts the gas: more makes flames faster and taller."};
    FloatControlK7 TempAdd{this,
                           {"TempAdd", "Fuel Amount", 1.0, 0.0, 1.0},
                           "How much heat and smoke the fuel gives in a frame; at 0 the fire burns out."};
    FloatControlK7 TempDiss{this,
                            {"TempDiss", "Cooling", 0.5, 0.0, 1.0},
                            "How fast gas cools, which makes flames shorter: a frame divides heat by one more."};
    FloatControlK7 DenseDown{
        this, {"DenseDown", "Smoke Weight", 0.01, 0.0, 1.0}, "How hard the weight of smoke pulls the gas down."};
    FloatControlK7 SmokeDissipate{this,
                                  {"SmokeDissipate", "Smoke Fade", 0.2, 0.0, 1.0},
                                  "How fast smoke thins out: a frame divides its density by one more."};
    FloatControlK7 AVlo{this,
                        {"AVlo", "Clear Below", 0.0, 0.0, 21.0},
                        "Density up to which the gas is transparent; fuel of white adds 1 in a frame."};
    FloatControlK7 AVhi{this, {"AVhi", "Opaque Above", 1.0, 0.0, 21.0}, "Density from which on the gas is opaque."};
    CheckboxControlK7 ViewThresh{this,
                                 {"ViewThresh", "View Fuel", false, {.keptByPresets = true}},
                                 "Shows what of the fuel clip burns, instead of the fire."};
    FloatControlK7 Thresh{this,
                          {"Thresh", "Fuel Threshold", 0.5, 0.0, 1.0, {.keptByPresets = true}},
                          "Level of the fuel clip above which it burns: at 0 all of it, at 1 nothing."};
    CheckboxControlK7 PreMultiplyForeground{
        this,
        {"PreMultiplyForeground", "PreMultiplied Foreground", false, {.keptByPresets = true}},
        "Says that the fire's colours are multiplied by its opacity already: thin gas then adds its full light to the "
        "background."};

    Page pageWinds{this, "Winds"};
    PressCounterK7 RestartBSecret{this, "RestartBSecret", "the fire begins anew"};
    FluidWindControls windA{this, {.letter = "A", .strength = 0.05}};
    FluidWindControls windB{this, {.letter = "B", .start = {0.6, 1.0}, .end = {0.4, 0.5}, .strength = 0.1}};
    FluidWindControls windC{this, {.letter = "C", .start = {1.0, 0.0}, .end = {0.5, 0.6}, .strength = 0.15}};

    Page pageVortices{this, "Vortices"};
    PressCounterK7 RestartCSecret{this, "RestartCSecret", "the fire begins anew"};
    VortexControls vortexA{this, {.letter = "A", .centre = {0.333, 0.333}, .radius = 0.1, .largest = 2.0}};
    VortexControls vortexB{this, {.letter = "B", .centre = {0.5, 0.666}, .strength = 0.2, .radius = 0.2}};
    VortexControls vortexC{this, {.letter = "C", .centre = {0.666, 0.333}, .strength = 0.3, .radius = 0.3}};

    Page pageBarriers{this, "Matte and Barriers"};
    PressCounterK7 RestartDSecret{this, "RestartDSecret", "the fire begins anew"};
    CheckboxControlK7 MatteOut{this,
                               {"MatteOut", "Matte Out", false, {.keptByPresets = true}},
                               "Shows the opacity of the fire in all channels, instead of the fire."};
    CheckboxControlK7 UseBarriers{this,
                                  {"UseBarriers", "Use Barriers", false, {.keptByPresets = true}},
                                  "Keeps the gas out of what is brighter than 0.01 in the barrier clip. Where none is "
                                  "connected the background itself serves, and hardly anything is left to burn in."};
    ListControlK7 BoundaryLayer{this,
                                {"BoundaryLayer", "Boundary Layer", 0, {"Slippery", "Rough", "Sticky"}},
                                "How gas passes barriers: freely along them, slowed down, or held fast."};

    Page pageColours{this, "Colours"};
    PressCounterK7 RestartESecret{this, "RestartESecret", "the fire begins anew"};
    CheckboxControlK7 AdjustColoursOnly{this,
                                        {"AdjustColoursOnly", "Adjust Colours Only", false, {.keptByPresets = true}},
                                        "Holds the fire still while its colours are set."};
    FloatControlK7 Vlo{
        this, {"Vlo", "Coolest", 0.0, 0.0, 100.0}, "Heat that gets the colour at 0, in percent of white fuel."};
    FloatControlK7 Vhi{this,
                       {"Vhi", "Hottest", 100.0, 0.0, 1000.0},
                       "Heat that gets the colour at 1, in percent of white fuel: more makes flames redder."};
    FloatControlK7 V1C{this, {"V1C", "Position 1", 0.0, 0.0, 1.0}, "Heat of colour 1, from Coolest to Hottest."};
    ColourControlK7 V1Col{this, {"V1Col", "Colour 1", 0.0F, 0.0F, 0.0F}, "Colour of the coolest gas: smoke."};
    FloatControlK7 V2C{this, {"V2C", "Position 2", 0.2, 0.0, 1.0}, "Heat of colour 2, from Coolest to Hottest."};
    ColourControlK7 V2Col{
        this, {"V2Col", "Colour 2", 0.126955F, 0.0429694F, 0.0312505F}, "Colour where smoke begins to glow."};
    FloatControlK7 V3C{this, {"V3C", "Position 3", 0.4, 0.0, 1.0}, "Heat of colour 3, from Coolest to Hottest."};
    ColourControlK7 V3Col{this, {"V3Col", "Colour 3", 1.0F, 0.0015259F, 0.0015259F}, "Colour of the flames' edges."};
    FloatControlK7 V4C{this, {"V4C", "Position 4", 0.6, 0.0, 1.0}, "Heat of colour 4, from Coolest to Hottest."};
    ColourControlK7 V4Col{this, {"V4Col", "Colour 4", 1.0F, 0.491554F, 0.0015259F}, "Colour of the flames."};
    FloatControlK7 V5C{this, {"V5C", "Position 5", 0.8, 0.0, 1.0}, "Heat of colour 5, from Coolest to Hottest."};
    ColourControlK7 V5Col{this, {"V5Col", "Colour 5", 1.0F, 1.0F, 0.0015259F}, "Colour inside of flames."};
    FloatControlK7 V6C{this, {"V6C", "Position 6", 1.0, 0.0, 1.0}, "Heat of colour 6, from Coolest to Hottest."};
    ColourControlK7 V6Col{this,
                          {"V6Col", "Colour 6", 1.0F, 1.0F, 1.0F},
                          "Colour of the hottest gas, which becomes brighter still beyond."};
    PressCounterK7 ResetColsSecret{this, "ResetColsSecret", "the colours' reset is known"};

    FirstPageAgain firstPage{this};
    ButtonControlK7 Restart{this, {"Restart", "Restart"}, "Lights the fire anew with the next frame that is rendered."};
    ButtonControlK7 ResetColours{
        this, {"ResetColours", "Reset Colours"}, "Puts colours and their positions back to their defaults."};

    FireInfo();

  private:
    void declarePresets();
};

class Fire final : public FluidEffect<FireInfo> {
  public:
    void ProcessFrame() override;
    void ButtonPressed(ButtonControlK7& button) override;

  protected:
    void PrepareOverlay() override;

  private:
    void light(FuelThreshold threshold);
    void step(FuelThreshold threshold);
    void burn(FuelThreshold threshold, float amount);
    void forces(FluidFlow& flow);
    void paint(K7Image& result);

    int m_density = -1, m_temperature = -1, m_barrier = -1;  // slots
};
