// Controls that the water surfaces share: colours that part, the light, the matte, and the plane in perspective.
#pragma once

#include "Library2/PluginK7.h"
#include "effects/engines/controls/QuadControls.h"
#include "effects/engines/refraction/Refraction.h"

// The colours that part, and the light.
struct SurfaceControls {
    struct Given {
        const char* heightLabel = "LightZ";
    };
    explicit SurfaceControls(EffectInfo* owner, const Given& given);

    // The light of the controls; brightness 0 while it is off. Softness stays 0.
    SurfaceLight shining() const;
    float parting() const { return float(ChromaticAb.value) * 0.01f; }

    FloatControlK7 ChromaticAb;
    CheckboxControlK7 DoLight;
    PositionControlK7 Light;
    FloatControlK7 LightZ;
    FloatControlK7 LightBright;
    ColourControlK7 LightColour;
    FloatControlK7 Gloss;
    FloatControlK7 Contrast;
};

struct MatteControls {
    explicit MatteControls(EffectInfo* owner);

    CheckboxControlK7 UseMatte;
    CheckboxControlK7 InvertMatte;
};

// ---- Handles --------------------------------------------------------------------------------------------------

// A crosshair on the plane: where it is seen in the picture.
class PlanePointOverlayK7 final : public OverlayControlK7 {  // 1: the point
  public:
    PlanePointOverlayK7(EffectInfo* owner, PositionControlK7& point, const QuadControls& quad)
        : OverlayControlK7(owner, {&point}), m_point(point), m_quad(quad) {}
    const char* kind() const override { return "crosshair on the plane"; }
    Point partPlace(int part, Point towards) const override;

    bool inPerspective = false;

  protected:
    std::vector<ControlK7*> partControls(int) const override { return {&m_point}; }
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override { pen.crosshair(partPlace(1, {}), false); }

  private:
    float rowScale() const { return float(view().width) / float(view().height); }
    PositionControlK7& m_point;
    const QuadControls& m_quad;
};
