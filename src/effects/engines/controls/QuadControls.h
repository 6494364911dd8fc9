// The four corners of a plane that is seen in perspective, with their handles.
#pragma once

#include <array>

#include "Library2/PluginK7.h"

// The corners of the plane in the picture.
struct QuadControls {
    // What the plane is called, and where its corners lie: top left, bottom left, top right, bottom right.
    struct Given {
        const char* sentences[4] = {"Where the plane's far left corner lies in the picture.",
                                    "Where the plane's near left corner lies in the picture.",
                                    "Where the plane's far right corner lies in the picture.",
                                    "Where the plane's near right corner lies in the picture."};
        double places[4][2] = {{0.2, 0.5}, {0.0, 0.0}, {0.8, 0.5}, {1.0, 0.0}};  // fractions of the size
    };
    QuadControls(EffectInfo* owner, const Given& given);
    explicit QuadControls(EffectInfo* owner) : QuadControls(owner, Given()) {}

    std::array<float, 8> corners(float row_scale) const;         // lower left, upper left, upper right, lower right;
    std::array<float, 8> overlayCorners(float row_scale) const;  // y times `row_scale`

    PositionControlK7 TL;
    PositionControlK7 BL;
    PositionControlK7 TR;
    PositionControlK7 BR;
};

class QuadOverlayK7 final : public OverlayControlK7 {  // 1 to 4: the corners
  public:
    QuadOverlayK7(EffectInfo* owner, QuadControls& quad);
    const char* kind() const override { return "quad"; }
    int parts() const override { return 4; }
    Point partPlace(int part, Point towards) const override;

  protected:
    std::vector<ControlK7*> partControls(int part) const override { return {m_corners[part - 1]}; }
    void moveTo(int part, Point pen) override;
    void draw(const OverlayPen& pen) const override;

  private:
    PositionControlK7* m_corners[4];  // around the plane
};
