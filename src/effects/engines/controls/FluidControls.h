// Groups of controls of the fluid effects, of which each has up to three: A, B and C. The letter ends their names.
//     FluidWindControls windA{this, {.letter = "A", .end = {0.5, 0.5}, .strength = 0.05}};
// Positions are fractions of the picture. Each brings the handle that drags it; PrepareOverlay of the effect calls
// showHandle().
#pragma once

#include <optional>
#include <string>

#include "Library2/Overlay.h"
#include "effects/engines/controls/GroupParts.h"

// The reach of a vortex: an ellipse in the picture, since the fluid counts lengths in widths along x and in heights
// along y. 1: the centre, 2: anywhere on the outline.
class VortexOverlayK7 : public OverlayControlK7 {
  public:
    VortexOverlayK7(EffectInfo* owner, PositionControlK7& centre, FloatControlK7& radius)
        : OverlayControlK7(owner, {&centre, &radius}), m_centre(centre), m_radius(radius) {}
    const char* kind() const override { return "vortex"; }
    int parts() const override { return 2; }
    Point partPlace(int part, Point towards) const override;
    bool inPicture(int part) const override;

  protected:
    std::vector<ControlK7*> partControls(int part) const override;
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    Point middle() const { return view().place(m_centre.overlayX, m_centre.overlayY); }
    double reachOf(Point place) const;  // the radius with which it goes through a place
    PositionControlK7& m_centre;
    FloatControlK7& m_radius;
};

struct FluidWindControls {
    struct Given {
        std::string letter;
        Place start{0.0, 0.0}, end{0.5, 0.5};
        double strength = 0.1;
        bool canDieAway = true;  // false: it always does, and has no control for it
    };
    FluidWindControls(EffectInfo* owner, const Given& given);
    bool diesAway() const { return !local || local->value; }
    void showHandle() { arrow.visible = !start.ghosted(); }

    CheckboxControlK7 on;
    PositionControlK7 start, end;
    FloatControlK7 strength;
    FloatControlK7 tightness;  // exponent
    std::optional<CheckboxControlK7> local;
    LineOverlayK7 arrow;
};

struct VortexControls {
    struct Given {
        std::string letter;
        Place centre{0.5, 0.5};
        double strength = 0.1;
        double radius = 0.1, largest = 1.0;  // widths of the picture
    };
    VortexControls(EffectInfo* owner, const Given& given);
    void showHandle() { circle.visible = !centre.ghosted(); }

    CheckboxControlK7 on;
    FloatControlK7 strength;  // above 0 anticlockwise
    PositionControlK7 centre;
    FloatControlK7 radius;
    VortexOverlayK7 circle;
};
