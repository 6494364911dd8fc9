#include "effects/engines/controls/FluidControls.h"

FluidWindControls::FluidWindControls(EffectInfo* owner, const Given& given)
    : on(owner, {("WindOn" + given.letter).c_str(), ("Wind " + given.letter).c_str()},
         ("Lets wind " + given.letter + " push the fluid.").c_str()),
      start(
          owner,
          {("WindStart" + given.letter).c_str(), ("Wind Start " + given.letter).c_str(), given.start.x, given.start.y},
          "Point that the wind blows from, as fractions of the width and height of the picture."),
      end(owner, {("WindEnd" + given.letter).c_str(), ("Wind End " + given.letter).c_str(), given.end.x, given.end.y},
          "Point that the wind blows towards, as fractions of the width and height of the picture."),
      strength(owner,
               {("WindStrength" + given.letter).c_str(), ("Wind Strength " + given.letter).c_str(), given.strength, 0.0,
                1.0},
               "How hard the wind pushes; 0 is not at all."),
      tightness(
          owner, {("WindTight" + given.letter).c_str(), ("Wind Tight " + given.letter).c_str(), 1.0, 0.0, 200.0},
          "How closely the wind keeps to its line, as the exponent of a power: 0 pushes all that lies ahead alike."),
      local(controlIf<CheckboxControlK7>(
          given.canDieAway, owner,
          CheckboxParam{("WindLocal" + given.letter).c_str(), ("Wind Local " + given.letter).c_str(), true},
          "Lets the wind die away towards its end; otherwise it blows on beyond it.")) {
    owner->ghost({&start, &end, &strength, &tightness}, on, isOff);
    if (local) owner->ghost({&*local}, on, isOff);
}

VortexControls::VortexControls(EffectInfo* owner, const Given& given)
    : on(owner, {("VortexOn" + given.letter).c_str(), ("Vortex " + given.letter).c_str()},
         ("Lets vortex " + given.letter + " turn the fluid.").c_str()),
      strength(owner,
               {("VortexStrength" + given.letter).c_str(), ("Vortex Strength " + given.letter).c_str(), given.strength,
                -1.0, 1.0},
               "How hard the vortex turns the fluid, anticlockwise; below 0 clockwise."),
      centre(owner,
             {("VortexCenter" + given.letter).c_str(), ("Vortex Center " + given.letter).c_str(), given.centre.x,
              given.centre.y},
             "Centre of the vortex, as fractions of the width and height of the picture."),
      radius(owner,
             {("VortexRadius" + given.letter).c_str(), ("Vortex Radius " + given.letter).c_str(), given.radius, 0.001,
              given.largest},
             "Distance from the centre beyond which the vortex turns nothing, in widths of the picture.") {
    owner->ghost({&strength, &centre, &radius}, on, isOff);
}
