// Values of controls as the parameter blocks hold them.
#pragma once

#include "Library2/Controls.h"

namespace particles {

inline float value(const FloatControlK7& control) { return static_cast<float>(control.value); }
inline float share(const FloatControlK7& percent) { return static_cast<float>(percent.value) / 100; }
inline void read_colour(const ColourControlK7& control, float colour[3]) {
    colour[0] = control.red;
    colour[1] = control.green;
    colour[2] = control.blue;
}

}  // namespace particles
