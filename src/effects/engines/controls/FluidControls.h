// Groups of controls of the fluid effects, of which each has up to three: A, B and C. The letter ends their names.
//     FluidWindControls windA{this, {.letter = "A", .end = {0.5, 0.5}, .strength = 0.05}};
// Positions are fractions of the picture.
#pragma once

#include <optional>
#include <string>

#include "effects/engines/controls/GroupParts.h"

struct FluidWindControls {
    struct Given {
        std::string letter;
        Place start{0.0, 0.0}, end{0.5, 0.5};
        double strength = 0.1;
        bool canDieAway = true;  // false: it always does, and has no control for it
    };
    FluidWindControls(EffectInfo* owner, const Given& given);
    bool diesAway() const { return !local || local->value; }

    CheckboxControlK7 on;
    PositionControlK7 start, end;
    FloatControlK7 strength;
    FloatControlK7 tightness;  // exponent
    std::optional<CheckboxControlK7> local;
};

struct VortexControls {
    struct Given {
        std::string letter;
        Place centre{0.5, 0.5};
        double strength = 0.1;
        double radius = 0.1, largest = 1.0;  // widths of the picture
    };
    VortexControls(EffectInfo* owner, const Given& given);

    CheckboxControlK7 on;
    FloatControlK7 strength;  // above 0 anticlockwise
    PositionControlK7 centre;
    FloatControlK7 radius;
};
