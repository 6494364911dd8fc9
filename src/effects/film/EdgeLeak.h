// Q_EdgeLeak: light has leaked into the film stock at its edge.
//
// Three veils of light reach in from one side of the frame, red the farthest, then yellow, then white. Their borders
// wander up and down the frame and drift with time; the noise behind them is the same at every size of picture.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/film/FilmLight.h"

// A vertical line across the frame with a handle to drag it sideways; it follows a fraction of the width.
class EdgeOverlayK7 : public OverlayControlK7 {
  public:
    EdgeOverlayK7(EffectInfo* owner, FloatControlK7& position, OverlayColour lineColour, double handleHeight)
        : OverlayControlK7(owner, {&position}), m_position(position), m_handleHeight(handleHeight) {
        colour = lineColour;
    }
    const char* kind() const override { return "edge"; }
    Point partPlace(int, Point) const override { return view().place(m_position.overlayValue, m_handleHeight); }

  protected:
    std::vector<ControlK7*> partControls(int) const override { return {&m_position}; }
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    FloatControlK7& m_position;
    double m_handleHeight;  // of the frame, so that handles on one line stay apart
};

struct EdgeLeakInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "EdgeLeak",
        .menu = "Film Kit",
        .overlay = true,
        .description = "Light has leaked into the film stock at the edge. This effect is in Box Number 2",
        .purpose =
            "Light that has leaked into the magazine at the edge of the film: a red, a yellow and a white veil reach "
            "in from one side, and their borders wander with time.",
        .usage =
            "Connect the clip as Input. Dir says which side the light comes from.\n"
            "Drag the three borders in the viewer: red reaches farthest, then yellow, then white near the edge. Wide "
            "softness makes a veil, narrow softness a hard leak.\n"
            "Fog is light that lies over everything; Thickness is further exposure, which leaves black parts black. "
            "Old stock has much fog, a fresh leak much exposure.\n"
            "Wobbliness lets the borders wander, scaled by Thickness; 0 keeps them straight.\n"
            "Animate the positions over 5 to 15 frames for the flash at a roll's end; left alone the leak drifts "
            "slowly.\n"
            "Use Alpha keeps the light to what has alpha. Negative darkens, as on a print from a negative.\n"
            "Positions are fractions of the width and the noise is the same at every size, so a proxy shows the same "
            "leak.\n"
            "Put it after the grade and before grain; light falls on the film, not on the scene.\n"};
    enum Side { FromLeft = 1, FromRight = 2 };

    ClipRecord input{this, {.name = "Input", .label = "Input", .shortLabel = "Film", .required = true}};

    Page page{this, "EdgeLeak"};
    CheckboxControlK7 Modulate{
        this, {"Modulate", "Use Alpha"}, "Lets light fall only where the picture has alpha, and in proportion to it."};
    FloatControlK7 RedSoftE{this,
                            {"RedSoftE", "Red Soft", 20.0, 0.0, 100.0},
                            "Distance from its border over which the red light comes to full strength, in percent of "
                            "the width of the picture."};
    FloatControlK7 YellowSoftE{this,
                               {"YellowSoftE", "Yellow Soft", 20.0, 0.0, 100.0},
                               "Distance from its border over which the yellow light comes to full strength, in "
                               "percent of the width of the picture."};
    FloatControlK7 WhiteSoftE{this,
                              {"WhiteSoftE", "White Soft", 20.0, 0.0, 100.0},
                              "Distance from its border over which the white light comes to full strength, in percent "
                              "of the width of the picture."};
    FloatControlK7 FogE{this,
                        {"FogE", "Fog", 20.0, 0.0, 100.0},
                        "Strength of the light as a veil that does not depend on what is below it, in percent."};
    CheckboxControlK7 NegEdgeON{
        this, {"NegEdgeON", "Negative"}, "Darkens where the light would brighten, as on a negative."};
    FloatControlK7 RedXE{
        this,
        {"RedXE", "Red X", 0.5, -1.0, 2.0},
        "How far across the picture the border of the red light lies: 0 is the left edge, 1 the right one."};
    FloatControlK7 YellowXE{
        this,
        {"YellowXE", "Yellow X", 0.4, -1.0, 2.0},
        "How far across the picture the border of the yellow light lies: 0 is the left edge, 1 the right one."};
    FloatControlK7 WhiteXE{
        this,
        {"WhiteXE", "White X", 0.3, -1.0, 2.0},
        "How far across the picture the border of the white light lies: 0 is the left edge, 1 the right one."};
    FloatControlK7 ThickE{this,
                          {"ThickE", "Thickness", 10.0, 0.0, 100.0},
                          "Strength of the light as further exposure, in percent: it grows with the luminance of the "
                          "picture, so that black stays black; the borders wander farther with it."};
    FloatControlK7 WobbleE{this,
                           {"WobbleE", "Wobbliness", 100.0, 0.0, 200.0},
                           "How far the borders wander from their places, in percent of Thickness percent of the width "
                           "of the picture; 0 keeps them straight."};
    ListControlK7 DirE{this,
                       {"DirE", "Dir", 0, {"Left->Right", "Right->Left"}},
                       "Side that the light comes from: it lies left of the borders, or right of them."};

    EdgeOverlayK7 redWidget{this, RedXE, {FULL_COLOUR, 0.0F, 0.0F, FULL_COLOUR}, 0.25};
    EdgeOverlayK7 yellowWidget{this, YellowXE, OVERLAY_YELLOW, 0.5};
    EdgeOverlayK7 whiteWidget{this, WhiteXE, OVERLAY_WHITE, 0.75};

    EdgeLeakInfo() {
        scene.inputs = {"coffee-small.png"};
        scene.settings = {{"RedXE", "0.4"}, {"YellowXE", "0.25"}, {"WhiteXE", "0.1"}, {"FogE", "45"}, {"ThickE", "30"}};
        scene.frame = 7;
        scene.plates = {"road.jpg"};
    }
};

class EdgeLeak final : public Effect<EdgeLeakInfo> {
  public:
    void ProcessFrame() override;
};
