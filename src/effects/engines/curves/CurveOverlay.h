// The overlay of a control curve: drawn over the whole picture, its six points dragged with the pen.
#pragma once

#include <array>

#include "Library2/Overlay.h"
#include "effects/engines/curves/ControlCurve.h"

class CurveOverlayK7 : public OverlayControlK7 {  // 1 to 6: the points
  public:
    using Controls = std::array<CurvePointControlK7*, ControlCurve::CONTROLS>;
    CurveOverlayK7(EffectInfo* owner, const Controls& points, OverlayColour curveColour);
    const char* kind() const override { return "curve"; }
    int parts() const override { return ControlCurve::CONTROLS; }
    Point partPlace(int part, Point towards) const override;
    void drawBehind(const OverlayPen& pen) const override;  // the frame and grid of the graph

  protected:
    std::vector<ControlK7*> partControls(int part) const override { return {&point(part)}; }
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    CurvePointControlK7& point(int part) const { return *m_points[static_cast<std::size_t>(part - 1)]; }
    Controls m_points;
};
