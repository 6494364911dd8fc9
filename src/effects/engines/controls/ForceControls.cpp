#include "effects/engines/controls/ForceControls.h"

#include <algorithm>
#include <string>

#include "k7pi_baselib/portable_math.h"

ForceControls::ForceControls(EffectInfo* owner, const Given& given)
    : gravity(owner, {"Gravity", "Gravity", given.gravity, -10.0, 10.0, {.displayMax = 1.0}},
              "Velocity that gravity adds each frame, in thousandths of the picture's width a frame."),
      gravityAngle(owner, {"GravityAngle", "Gravity Angle", given.gravityAngle, -3600.0, 3600.0},
                   "Direction of gravity, in degrees anticlockwise from the right: 270 is down."),
      grip(owner, {"AirGrip", "Air Drag", given.grip, 0.0, 100.0},
           "How closely particles follow the air, in percent a frame: 0 is empty space, where neither wind nor swirl "
           "nor vortex is felt; 2 suits sparks, 10 leaves, 100 dust that drifts along with the air."),
      wind(owner, {"Wind", "Wind", given.wind, 0.0, 100.0, {.displayMax = 10.0}},
           "Speed of the wind, in thousandths of the picture's width a frame."),
      windPlace(owner, {"WindPlace", "Wind Handle", 0.1, 0.9},
                "Where the handle of the wind's direction is shown, as fractions of the width and height of the "
                "picture; the wind blows everywhere."),
      windAngle(owner, {"WindAngle", "Wind Angle", given.windAngle, -3600.0, 3600.0},
                "Direction that the wind blows in, in degrees anticlockwise from the right."),
      gusts(owner, {"Gusts", "Gusts", 0.0, 0.0, 100.0}, "How much the wind swells and dies down, in percent."),
      swirl(owner, {"Swirl", "Swirl", given.swirl, 0.0, 100.0, {.displayMax = 10.0}},
            "Speed of eddies in the air, in thousandths of the picture's width a frame."),
      swirlSize(owner, {"SwirlSize", "Swirl Size", given.swirlSize, 0.5, 200.0, {.displayMax = 50.0}},
                "Size of the eddies, in percent of the picture's width."),
      swirlChange(owner, {"SwirlChange", "Swirl Change", 2.0, 0.0, 100.0, {.displayMax = 20.0}},
                  "How fast eddies form and dissolve, in percent of themselves a frame."),
      slope(controlIf<FloatControlK7>(
          given.slopeClip != nullptr, owner, NumberParam{"Slope", "Clip Force", 0.0, -10.0, 10.0},
          ("Velocity that the edges of " + std::string(given.slopeClip ? given.slopeClip : "") +
           " add each frame, in thousandths of the picture's width a frame: towards what is bright, below 0 away "
           "from it.")
              .c_str())),
      slopeTurn(controlIf<AngleControlK7>(
          given.slopeClip != nullptr, owner, NumberParam{"SlopeAngle", "Clip Force Angle", 0.0, -3600.0, 3600.0},
          "Turns the clip's force, in degrees anticlockwise: 90 drives particles around what is bright.")),
      windArrow(owner, windPlace, windAngle, 0.06f) {}

VortexForceControls::VortexForceControls(EffectInfo* owner)
    : vortexOn(owner, {"VortexOn", "Vortex"}, "Lets the air turn about a centre."),
      vortexCentre(owner, {"VortexCentre", "Vortex Centre", 0.5, 0.5},
                   "Centre of the vortex, as fractions of the width and height of the picture."),
      vortexRadius(owner, {"VortexRadius", "Vortex Radius", 0.25, 0.005, 4.0, {.displayMax = 1.0}},
                   "Where the air turns fastest, in half widths of the picture; farther out it is slower."),
      vortexSpeed(owner, {"VortexSpeed", "Vortex Speed", 5.0, -100.0, 100.0, {.displayMax = 20.0}},
                  "Speed of the air there, in thousandths of the picture's width a frame, anticlockwise; below 0 "
                  "clockwise. Particles feel it as far as Air Drag says."),
      attractorOn(owner, {"AttractorOn", "Attractor"}, "Lets a place pull particles, or push them away."),
      attractorCentre(owner, {"AttractorCentre", "Attractor Centre", 0.5, 0.5},
                      "That place, as fractions of the width and height of the picture."),
      attractorRadius(owner, {"AttractorRadius", "Attractor Radius", 0.2, 0.005, 4.0, {.displayMax = 1.0}},
                      "Where the pull is strongest, in half widths of the picture."),
      attractorStrength(owner, {"AttractorStrength", "Attractor Strength", 0.1, -10.0, 10.0},
                        "Velocity that the pull adds each frame there, in thousandths of the picture's width a frame; "
                        "below 0 particles are pushed away."),
      vortexCircle(owner, vortexCentre, vortexRadius),
      attractorCircle(owner, attractorCentre, attractorRadius),
      vortexCross(owner, vortexCentre),
      attractorCross(owner, attractorCentre) {
    vortexOn.followedByOverlay = attractorOn.followedByOverlay = true;
    owner->ghost({&vortexCentre, &vortexRadius, &vortexSpeed}, vortexOn, isOff);
    owner->ghost({&attractorCentre, &attractorRadius, &attractorStrength}, attractorOn, isOff);
}

namespace particles {

namespace {

constexpr double DEGREES = 0.017453292519943295;

void along(double length, const AngleControlK7& angle, float out[2]) {
    out[0] = static_cast<float>(length * k7_cos(angle.limited() * DEGREES));
    out[1] = static_cast<float>(length * k7_sin(angle.limited() * DEGREES));
}

}  // namespace

ForceField read_forces(const FrameShape& frame, const ForceControls& forces, const VortexForceControls& vortex) {
    ForceField field;
    const double unit = frame.width / 1000.0,
                 height = static_cast<double>(frame.height) * static_cast<double>(frame.aspect());
    const auto scaled = [&](const FloatControlK7& control) { return static_cast<float>(control.limited() * unit); };
    along(forces.gravity.limited() * unit, forces.gravityAngle, field.gravity);
    field.grip = forces.grip.percent();
    along(forces.wind.limited() * unit, forces.windAngle, field.wind);
    field.gusts = forces.gusts.percent();
    field.swirl_speed = scaled(forces.swirl);
    // An eddy is about half a cell of the noise across.
    const double size = std::max(forces.swirlSize.limited(), 0.1) / 100.0 * static_cast<double>(frame.width);
    field.swirl_cells = static_cast<float>(0.5 / size);
    field.swirl_change = 0.5f * forces.swirlChange.percent();
    if (forces.slope) {
        field.slope_strength = scaled(*forces.slope);
        along(1.0, *forces.slopeTurn, field.slope_turn);
        field.slope_reach = frame.width * 0.02f;
    }
    const auto place = [&](const PositionControlK7& at, float out[2]) {
        out[0] = static_cast<float>(at.x * static_cast<double>(frame.width));
        out[1] = static_cast<float>(at.y * height);
    };
    const auto radius = [&](const SizeControlK7& half_widths) {
        return std::max(static_cast<float>(half_widths.limited() * 0.5 * static_cast<double>(frame.width)), 0.5f);
    };
    if (vortex.vortexOn.value) field.vortex_speed = scaled(vortex.vortexSpeed);
    place(vortex.vortexCentre, field.vortex);
    field.vortex_radius = radius(vortex.vortexRadius);
    if (vortex.attractorOn.value) field.attractor_strength = scaled(vortex.attractorStrength);
    place(vortex.attractorCentre, field.attractor);
    field.attractor_radius = radius(vortex.attractorRadius);
    field.aspect = 1 / frame.aspect();
    return field;
}

}  // namespace particles
