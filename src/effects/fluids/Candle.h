// Q_Candle: the flame of a candle and its glow.
//
// An ellipse of fuel heats a sluggish fluid, which rises as a flame. Its heat alone gives colour and opacity: gas at
// the wick is hot, bluish and thin, then comes the flame, which fades as it cools. Blurred copies of it are the glow
// and the light on the background. Each render takes one step, see FluidRun.h.
#pragma once

#include "effects/fluids/FluidColours.h"
#include "effects/fluids/FluidEffect.h"

struct CandleInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "Candle",
        .menu = "Natural Phenomena",
        .generator = true,
        .overlay = true,
        .history = FrameHistory::Frames,
        .description =
            "A flickering Candle Flame effect based on two dimensional fluid flow simulation. This effect is in Box "
            "Number 1",
        .purpose =
            "The flame of a candle with its glow: it stands, flickers or gutters in a draught, and may light the shot "
            "behind it.",
        .usage =
            "Connect the shot as BackGround, or none for the flame alone, and put Centre on the wick. Radius X and Y "
            "are "
            "the burning gas, the flame grows out of it: make them about half as wide and high as the flame.\n"
            "Render frames in order: each render is a step. A frame before the last one, another size, and Restart "
            "light "
            "the candle anew. Give it 20 frames to grow.\n"
            "Fuel Amount sets how much of the flame is blue gas: about a third leaves a yellow flame. Heat Up and "
            "Cooling "
            "set its height, Viscosity and Swirl how it flickers.\n"
            "With Background on Illuminated Clip the shot is seen by the flame alone; raise Light Reach until its "
            "light "
            "falls where it should.\n"
            "To composite elsewhere, set Background to Transparent: the flame is then straight with See on Candle, and "
            "multiplied by its opacity with See on All.\n"
            "Glow and Soften count pixels at full size, so a proxy shows the same.\n"};
    enum Background { Transparent = 1, Clip, Illuminated };
    enum View { ViewThreshold = 1, ViewCandle };
    enum Shown { BackgroundOnly = 1, CandleOnly, All };

    ClipRecord background{this, {.name = "BackG", .label = "BackGround", .shortLabel = "BG"}};

    Page pageCandle{this, "Candle"};
    PresetChoiceK7 DemosA{this, {"DemosA", "Type"}, "Kind of flame: sets its shape, its motion and its colours."};
    ListControlK7 OverBlack{
        this,
        {"OverBlack", "Background", 1, {"Transparent", "Clip", "Illuminated Clip"}, {.keptByPresets = true}},
        "What is behind the flame: nothing, the clip, or the clip seen by the light of the flame alone."};
    PressCounterK7 RestartASecret{this, "RestartASecret", "the flame begins anew"};
    PositionControlK7 Centre{
        this, {"Centre", "Centre", 0.5, 0.2}, "Centre of the burning gas at the wick, from the lower left corner."};
    CheckboxControlK7 MatchRadius{
        this, {"MatchRadius", "Match Radius"}, "Makes the burning gas round: Radius X counts for both directions."};
    SizeControlK7 CRadiusX{this,
                           {"CRadiusX", "Radius X", 0.1, 0.01, 1.0},
                           "Half the width of the burning gas, in half widths of the picture."};
    SizeControlK7 CRadiusY{this,
                           {"CRadiusY", "Radius Y", 0.15, 0.01, 1.0},
                           "Half the height of the burning gas, in half widths of the picture."};
    FloatControlK7 Soften{
        this, {"Soften", "Soften", 2.0, 0.0, 5.0}, "Blur of its edge, in pixels at full size; 0 is none."};
    FloatControlK7 Blurx{
        this, {"Blurx", "Glow X", 20.0, 0.0, 200.0}, "Reach of the glow to the sides, in pixels at full size."};
    FloatControlK7 Blury{
        this, {"Blury", "Glow Y", 40.0, 0.0, 200.0}, "Reach of the glow upwards and down, in pixels at full size."};
    FloatControlK7 Bbright{this, {"Bbright", "Glow Brightness", 2.0, 0.0, 20.0}, "Brightness of the glow; 0 is none."};
    FloatControlK7 Visco{
        this, {"Visco", "Viscosity", 0.2, 0.0, 1.0}, "How sluggish the gas is: more keeps the flame in one piece."};
    FloatControlK7 VCFS{
        this, {"VCFS", "Swirl", 5.0, 0.0, 50.0}, "How strongly small swirls are kept alive: more flickers."};
    FloatControlK7 HeatUp{
        this, {"HeatUp", "Heat Up", 3.0, 0.0, 10.0}, "How hard heat lifts the gas: more makes the flame taller."};
    FloatControlK7 TempAdd{this,
                           {"TempAdd", "Fuel Amount", 1.0, 0.0, 10.0},
                           "How much heat the fuel gives in a frame; at 0 the candle goes out."};
    FloatControlK7 TempDiss{this,
                            {"TempDiss", "Cooling", 0.3, 0.0, 1.0},
                            "How fast gas cools, which makes the flame shorter: a frame divides heat by one more."};
    ListControlK7 ViewThresh{this,
                             {"ViewThresh", "View", 1, {"Threshold", "Candle"}, {.keptByPresets = true}},
                             "What is shown: the burning gas behind its threshold, or the candle."};
    FloatControlK7 Thresh{this,
                          {"Thresh", "Threshold", 0.1, 0.0, 1.0},
                          "Level of the softened shape above which it burns: at 0 all of it, at 1 nothing."};
    ListControlK7 SeeWhat{this,
                          {"SeeWhat", "See", 2, {"BG", "Candle", "All"}, {.keptByPresets = true}},
                          "What of the candle is shown: the background with the glow, the flame, or all of it."};
    CheckboxControlK7 MatteOut{this,
                               {"MatteOut", "Matte Out", false, {.keptByPresets = true}},
                               "Shows the opacity of the flame in all channels, instead of the candle."};

    Page pageColours{this, "Light and Colours"};
    PressCounterK7 RestartBSecret{this, "RestartBSecret", "the flame begins anew"};
    FloatControlK7 BGambient{this,
                             {"BGambient", "Ambient", 1.0, 0.0, 2.0},
                             "Brightness of the clip before the light of the flame falls on it; 1 leaves it."};
    FloatControlK7 BGMod{this,
                         {"BGMod", "Light Reach", 1.0, 0.0, 10.0},
                         "How far the light of the flame reaches, in reaches of the glow, and how bright it is."};
    FloatControlK7 BGBoost{
        this, {"BGBoost", "Light Boost", 10.0, 0.0, 100.0}, "How bright the light of the flame on the clip is."};
    FloatControlK7 Bcandle{this, {"Bcandle", "Flame Brightness", 1.0, 1.0, 10.0}, "Brightness of the flame."};
    FloatControlK7 CandleDensity{this,
                                 {"CandleDensity", "Flame Density", 1.0, 0.0, 1.0},
                                 "How much of the flame is seen before the background: at 0 only its glow."};
    FloatControlK7 ColourBias{this,
                              {"ColourBias", "Colour Bias", 2.0, 0.0, 5.0},
                              "Which heat gets which colour: below 2 the flame's fills more of it, above 2 the "
                              "gas's."};
    ColourControlK7 FlameCol{this, {"FlameCol", "Flame Colour", 1.0F, 0.8F, 0.2F}, "Colour of the flame."};
    ColourControlK7 GasCol{
        this, {"GasCol", "Gas Colour", 0.0505837F, 0.0505837F, 0.622568F}, "Colour of the hot gas at the wick."};
    FloatControlK7 GasThin{this,
                           {"GasThin", "Gas Thinness", 0.5, 0.0, 1.0},
                           "How much hotter than the flame the gas is where it has its colour: more leaves less of "
                           "it."};
    PressCounterK7 ResetColsSecret{this, "ResetColsSecret", "the colours' reset is known"};

    Page pageWind{this, "Wind"};
    PressCounterK7 RestartCSecret{this, "RestartCSecret", "the flame begins anew"};
    FluidWindControls wind{this, {.letter = "A", .strength = 0.05, .canDieAway = false}};
    CheckboxControlK7 AutoGutter{
        this, {"AutoGutter", "Auto Gutter"}, "Lets the flame gutter: it swirls by the strength of the wind."};
    FloatControlK7 GutterStrength{this,
                                  {"GutterStrength", "Gutter Strength", 5.0, 0.0, 50.0},
                                  "How much it gutters: this times the wind's strength is added to Swirl."};
    FrameRateControlK7 FramesPerSecond{this};

    FirstPageAgain firstPage{this};
    ButtonControlK7 Restart{
        this, {"Restart", "Restart"}, "Lights the candle anew with the next frame that is rendered."};
    ButtonControlK7 ResetColours{this, {"ResetColours", "Reset Colours"}, "Puts the colours back to their defaults."};

    CrosshairOverlayK7 centreWidget{this, Centre};
    CircleOverlayK7 roundWidget{this, Centre, CRadiusX};
    CircleOverlayK7 ovalWidget{this, Centre, CRadiusX, CRadiusY};

    CandleInfo();

  private:
    void declarePresets();
};

class Candle final : public FluidEffect<CandleInfo> {
  public:
    void ProcessFrame() override;
    void ButtonPressed(ButtonControlK7& button) override;

  protected:
    void PrepareOverlay() override;

  private:
    // The burning gas, in pixels.
    struct Shape {
        float x, y, radius_x, radius_y;
        float soften;
        bool operator==(const Shape&) const = default;
    };
    Shape shape() const;
    bool drawShape();
    void light(FuelThreshold threshold);
    void step(FuelThreshold threshold);
    void burn(FuelThreshold threshold, float amount);

    void paintFlame(K7Image& flame) const;
    void compose(K7Image& result);
    const K7Image* scenery(const K7Image& flame);
    ImagePtr blurred(const K7Image& flame, double reach) const;

    int m_density = -1, m_temperature = -1;  // slots
    Shape m_drawn{};
    ImagePtr m_stencil;  // m_drawn, softened
};
