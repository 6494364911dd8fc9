// The controls of a particles::ForceField, for every effect in which something flies. Two groups, a page each:
//     Page forcesPage{this, "Forces"};
//     ForceControls forces{this, {.gravity = 0.05}};
//     Page vortexPage{this, "Vortex"};
//     VortexForceControls vortex{this};
//     ...
//     particles::ForceField field = particles::read_forces(frame(), forces, vortex);
// Lengths and speeds are in thousandths of the picture's width, so that every size shows the same. prepare() of each
// group, from the effect's PrepareOverlay, hides the handles of what is switched off.
#pragma once

#include <optional>

#include "Library2/Overlay.h"
#include "effects/engines/controls/GroupParts.h"
#include "effects/engines/particles/ForceField.h"
#include "effects/engines/replay/FrameShape.h"

struct ForceControls {
    struct Given {
        double gravity = 0.0, gravityAngle = 270.0;
        double grip = 2.0;
        double wind = 0.0, windAngle = 0.0;
        double swirl = 0.0, swirlSize = 12.0;
        const char* slopeClip = nullptr;  // the clip whose slopes push, for the sentence; null: no such controls
    };
    ForceControls(EffectInfo* owner, const Given& given);
    void prepare() { windArrow.visible = true; }

    FloatControlK7 gravity;  // thousandths of the width a frame and frame
    AngleControlK7 gravityAngle;
    FloatControlK7 grip;  // percent a frame
    FloatControlK7 wind;  // thousandths of the width a frame
    PositionControlK7 windPlace;
    AngleControlK7 windAngle;
    FloatControlK7 gusts;                   // percent
    FloatControlK7 swirl;                   // thousandths of the width a frame
    FloatControlK7 swirlSize, swirlChange;  // percent of the width; percent of its size a frame
    std::optional<FloatControlK7> slope;    // thousandths of the width a frame and frame
    std::optional<AngleControlK7> slopeTurn;
    AngleOverlayK7 windArrow;
};

struct VortexForceControls {
    explicit VortexForceControls(EffectInfo* owner);
    void prepare() {
        vortexCircle.visible = vortexCross.visible = !vortexCentre.ghosted();
        attractorCircle.visible = attractorCross.visible = !attractorCentre.ghosted();
    }

    CheckboxControlK7 vortexOn;
    PositionControlK7 vortexCentre;
    SizeControlK7 vortexRadius;  // half widths
    FloatControlK7 vortexSpeed;  // thousandths of the width a frame
    CheckboxControlK7 attractorOn;
    PositionControlK7 attractorCentre;
    SizeControlK7 attractorRadius;     // half widths
    FloatControlK7 attractorStrength;  // thousandths of the width a frame and frame
    CircleOverlayK7 vortexCircle, attractorCircle;
    CrosshairOverlayK7 vortexCross, attractorCross;
};

namespace particles {

ForceField read_forces(const FrameShape& frame, const ForceControls& forces, const VortexForceControls& vortex);

}  // namespace particles
