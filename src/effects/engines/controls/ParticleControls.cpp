#include "effects/engines/controls/ParticleControls.h"

namespace {

constexpr ParamOptions KEPT{.keptByPresets = true};  // how the shot runs, not how it looks

const char* densitySentence(EmitterControls::Births births) {
    return births == EmitterControls::Births::Gusty
               ? "Most births in a frame: they come in gusts, from about none to this many."
               : "Births in a frame, 10 percent more or less.";
}

}  // namespace

StartControls::StartControls(EffectInfo* owner, const Shutter& given, int preRollFrames)
    : at(owner, {"StartAt", "Start at Frame", 0, 0, 9999, KEPT},
         "First frame of the simulation; earlier ones show the background alone."),
      preRoll(owner, {"PreRoll", "Pre Roll", preRollFrames, 0, 999},
              "How many frames the simulation has behind it when it starts."),
      shutter(owner, {given.name, given.label, given.value, 0.0, given.longest}, given.sentence),
      withAnimation(
          owner, {"WithAnimation", "With Animation", false, KEPT},
          "Simulates each earlier frame with the values of that frame; otherwise those of the frame shown count "
          "for all of them.") {}

EmitterControls::EmitterControls(EffectInfo* owner, const Given& given)
    : left(owner, {"Left", "Left", given.left.x, given.left.y},
           "One end of the line where particles are born, as fractions of the width and height of the picture."),
      right(owner, {"Right", "Right", given.right.x, given.right.y},
            "The other end of that line, as fractions of the width and height of the picture."),
      spread(owner, {"PositionVar", "Position Variance", given.spread, 0.0, given.widest},
             "How far from the line particles may be born, in widths of the picture."),
      density(owner, {"Density", "Density", given.density, 0.0, given.densest}, densitySentence(given.births)),
      lifetime(owner, {"Lifetime", "Lifetime", given.lifetime, 1.0, given.longest},
               "Longest life of a particle, in frames; the shortest is a tenth of it.") {}

GravityControls::GravityControls(EffectInfo* owner, const Given& given)
    : on(owner, {"DoGravity", "Use Gravity", given.on}, "Lets gravity pull the particles."),
      strength(owner, {"Gravity", "Gravity", given.strength, 0.0, 10.0},
               "Velocity that gravity adds each frame, in pixels a frame at full size."),
      angle(owner, {"GravAngle", "Gravity Angle", given.angle, 0.0, given.largest},
            given.turnsMore ? "Direction of gravity, in degrees anticlockwise from the right: 270 is down. Births rise "
                              "against it, even without gravity."
                            : "Direction of gravity, in degrees anticlockwise from the right: 270 is down.") {
    if (given.turnsMore)
        owner->ghost({&strength}, on, isOff);
    else
        owner->ghost({&strength, &angle}, on, isOff);
}

FrictionControls::FrictionControls(EffectInfo* owner, double given)
    : on(owner, {"DoFriction", "Use Friction", true}, "Lets the air slow the particles down."),
      amount(owner, {"Friction", "Friction", given, 0.0, 1.0},
             "Part of its velocity that a particle loses each frame: 0 is none, 1 is all.") {
    owner->ghost({&amount}, on, isOff);
}

WindControls::WindControls(EffectInfo* owner, const Given& given)
    : on(owner, {"DoWind", "Use Wind"}, "Lets wind carry the particles."),
      source(owner, {"WindSource", "Wind Source", 0.2, 0.4},
             "Point that the wind blows from, as fractions of the width and height of the picture."),
      target(owner, {"WindTarget", "Wind Target", 0.8, 0.4},
             given.everywhere
                 ? "Point that the wind blows towards, as fractions of the width and height of the picture; "
                   "with Multi Directional it blows this far."
                 : "Point that the wind blows towards, as fractions of the width and height of the picture."),
      multiDirectional(
          controlIf<CheckboxControlK7>(given.everywhere, owner, CheckboxParam{"MultiDirectional", "Multi Directional"},
                                       "Blows to all sides from the source instead of in a cone towards the target.")),
      spread(owner, {"WindSpread", "Wind Spread", given.spread, 0.0, 180.0},
             "Opening angle of the cone of wind, in degrees; the wind is strongest in its middle."),
      speed(owner, {"WindSpeed", "Wind Speed", given.speed, 0.0, 180.0},
            "How far the wind carries a particle each frame, in pixels at full size.") {
    if (!multiDirectional) {
        owner->ghost({&source, &target, &spread, &speed}, on, isOff);
        return;
    }
    owner->ghost({&source, &target, &*multiDirectional, &speed}, on, isOff);
    const auto ghostSpread = [this] {
        int blows = 0, everywhere = 0;
        if (on.GetValue(-1, &blows) && multiDirectional->GetValue(-1, &everywhere))
            spread.SetGhosted(!blows || everywhere);
    };
    owner->rule(on, ghostSpread, "Wind Spread is used with wind from one side");
    owner->rule(*multiDirectional, ghostSpread, "Wind Spread is used with wind from one side");
}

TurbulenceControls::TurbulenceControls(EffectInfo* owner, const Given& given)
    : on(owner, {"DoTurbulence", "Use Turbulence", given.on}, "Lets swirling air turn the particles."),
      density(owner, {"SwirlDens", "Swirl Density", given.density, 0.0, 100.0},
              "How fine the swirls are, in cells of noise across the picture; finer ones also change faster."),
      magnitude(owner, {"SwirlAmp", "Swirl Magnitude", given.magnitude, 0.0, 100.0},
                "Velocity that the swirls add each frame, at most, in pixels a frame at full size."),
      timeToMax(owner, {"SwlMaxTim", "Swirl Time to Max", 0.0, 0.0, given.latest},
                "Age at which the swirls act fully on a particle, in frames; Start at Frame is added to it.") {
    owner->ghost({&density, &magnitude, &timeToMax}, on, isOff);
}

TintControls::TintControls(EffectInfo* owner, const std::string& what)
    : variance(owner, {"ColourVar", "Colour Variance", 0.0, 0.0, 100.0},
               "How far red, green and blue differ from particle to particle, each by itself, in percent of white."),
      mono(owner, {"MonoVar", "Mono Variance", 0.0, 0.0, 100.0},
           "How far red, green and blue differ from particle to particle, all three together, in percent of white."),
      colour(owner, {(what + "Colour").c_str(), (what + " Colour").c_str(), 1.0f, 1.0f, 1.0f},
             "Colour of the particles, before it varies.") {}

BeamControls::BeamControls(EffectInfo* owner, const Given& given)
    : on(owner, {("Do" + given.what).c_str(), ("Use " + given.what).c_str(), given.on}, given.sentence),
      source(owner, {(given.what + "Source").c_str(), (given.what + " Source").c_str(), given.source.x, given.source.y},
             "Point that the beam of light comes from, as fractions of the width and height of the picture."),
      target(owner, {(given.what + "Target").c_str(), (given.what + " Target").c_str(), given.target.x, given.target.y},
             "Point that the beam of light is directed at, as fractions of the width and height of the picture.") {
    owner->ghost({&source, &target}, on, isOff);
}

LightControls::LightControls(EffectInfo* owner, const Given& given)
    : beam(owner, {.what = "Light",
                   .on = given.on,
                   .source = given.source,
                   .target = given.target,
                   .sentence = "Lights the particles with a beam; otherwise they show their own colour."}),
      height(controlIf<FloatControlK7>(given.raised, owner, NumberParam{"LightZ", "Light Z", 0.2, 0.01, 1.0},
                                       "Height of the light above the picture, in widths of the picture.")),
      tightness(owner, {"GlistenTight", "Glisten Tightness", given.tightness, 0.0, given.tightest},
                given.tightnessSentence),
      spread(owner, {"LightSpread", "Light Spread", 90.0, 0.0, 180.0},
             "Opening angle of the beam, in degrees; it fades over the outer 30 percent."),
      intensity(owner, {"LightInten", "Light Intensity", 50.0, 0.0, 200.0},
                "Brightness that the beam adds, in percent; 0 switches the light off."),
      least(owner, {"MinBright", "Minimum Brightness", 60.0, 0.0, 100.0},
            "Brightness that is left outside the beam, in percent."),
      highlight(controlIf<FloatControlK7>(given.raised, owner, NumberParam{"Highlight", "Highlight", 5.0, 1.0, 50.0},
                                          "How small and sharp the highlights are, as the exponent of a power.")),
      colour(owner, {"LightColour", "Light Colour", 1.0f, 1.0f, 1.0f},
             given.raised ? "Colour of the highlights." : "Colour of the light, added to that of the particles.") {
    owner->ghost({&tightness, &spread, &intensity, &least, &colour}, beam.on, isOff);
    if (given.raised) owner->ghost({&*height, &*highlight}, beam.on, isOff);
}
