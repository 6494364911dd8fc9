// Values of controls as the parameter blocks hold them.
#pragma once

#include <algorithm>

#include "effects/engines/controls/ParticleControls.h"
#include "effects/engines/particles/Forces.h"

namespace particles {

inline float value(const FloatControlK7& control) { return static_cast<float>(control.value); }
inline float share(const FloatControlK7& percent) { return static_cast<float>(percent.value) / 100; }
inline void read_colour(const ColourControlK7& control, float colour[3]) {
    colour[0] = control.red;
    colour[1] = control.green;
    colour[2] = control.blue;
}

inline Gravity read_gravity(const FrameShape& frame, const GravityControls& controls) {
    Gravity gravity;
    gravity.set(frame, controls.on.value, controls.strength.value, controls.angle.value);
    return gravity;
}
inline float read_drag(const FrictionControls& controls) { return controls.on.value ? value(controls.amount) : 0; }
inline Wind read_wind(const FrameShape& frame, const WindControls& controls) {
    Wind wind;
    wind.set(frame, controls.on.value, controls.source.x, controls.source.y, controls.target.x, controls.target.y,
             controls.spread.value, controls.speed.value, controls.toAllSides());
    return wind;
}
inline Swirl read_swirl(const FrameShape& frame, const TurbulenceControls& controls, const StartControls& start) {
    Swirl swirl;
    swirl.set(frame, controls.on.value, controls.density.value, controls.magnitude.value, controls.timeToMax.value,
              start.at.value);
    return swirl;
}
inline LightCone read_beam(const FrameShape& frame, const BeamControls& controls, const FloatControlK7& degrees) {
    LightCone cone;
    cone.set(frame, controls.source.x, controls.source.y, controls.target.x, controls.target.y, degrees.value);
    return cone;
}
// The part of a particle's last frame that its trail shows; more than the whole of it goes on backwards.
inline float read_shutter(const StartControls& start) {
    return std::clamp(share(start.shutter), 0.0f, static_cast<float>(start.shutter.max()) / 100);
}

}  // namespace particles
