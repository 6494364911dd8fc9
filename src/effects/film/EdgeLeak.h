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

  protected:
    int partAt(float x, float y) const override { return near(handlePlace(), x, y) ? 1 : 0; }
    void moveTo(int part, Point pen) override;
    void write(int part) override;
    void draw(const OverlayPen& pen) const override;

  private:
    Point handlePlace() const { return view().place(m_position.overlayValue, m_handleHeight); }
    FloatControlK7& m_position;
    double m_handleHeight;  // of the frame, so that handles on one line stay apart
};

struct EdgeLeakInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "EdgeLeak",
        .menu = "Film Kit",
        .overlay = true,
        .description = "Light has leaked into the film stock at the edge. This effect is in Box Number 2"};
    enum Side { FromLeft = 1, FromRight = 2 };

    ClipRecord input{this, {.name = "Input", .label = "Input", .shortLabel = "Film", .required = true}};

    Page page{this, "EdgeLeak"};
    CheckboxControlK7 Modulate{this, {"Modulate", "Use Alpha"}};
    FloatControlK7 RedSoftE{this, {"RedSoftE", "Red Soft", 20.0, 0.0, 100.0}};
    FloatControlK7 YellowSoftE{this, {"YellowSoftE", "Yellow Soft", 20.0, 0.0, 100.0}};
    FloatControlK7 WhiteSoftE{this, {"WhiteSoftE", "White Soft", 20.0, 0.0, 100.0}};
    FloatControlK7 FogE{this, {"FogE", "Fog", 20.0, 0.0, 100.0}};
    CheckboxControlK7 NegEdgeON{this, {"NegEdgeON", "Negative"}};
    FloatControlK7 RedXE{this, {"RedXE", "Red X", 0.5, -1.0, 2.0}};
    FloatControlK7 YellowXE{this, {"YellowXE", "Yellow X", 0.4, -1.0, 2.0}};
    FloatControlK7 WhiteXE{this, {"WhiteXE", "White X", 0.3, -1.0, 2.0}};
    FloatControlK7 ThickE{this, {"ThickE", "Thickness", 10.0, 0.0, 100.0}};
    FloatControlK7 WobbleE{this, {"WobbleE", "Wobbliness", 100.0, 0.0, 200.0}};
    ListControlK7 DirE{this, {"DirE", "Dir", 0, {"Left->Right", "Right->Left"}}};

    EdgeOverlayK7 redWidget{this, RedXE, {FULL_COLOUR, 0.0F, 0.0F, FULL_COLOUR}, 0.25};
    EdgeOverlayK7 yellowWidget{this, YellowXE, OVERLAY_YELLOW, 0.5};
    EdgeOverlayK7 whiteWidget{this, WhiteXE, OVERLAY_WHITE, 0.75};

    EdgeLeakInfo() {
        scene.inputs = {"coffee-small.png"};
        scene.settings = {{"RedXE", "0.4"}, {"YellowXE", "0.25"}, {"WhiteXE", "0.1"}, {"FogE", "45"}, {"ThickE", "30"}};
        scene.frame = 7;
    }
};

class EdgeLeak final : public Effect<EdgeLeakInfo> {
  public:
    void ProcessFrame() override;
};
