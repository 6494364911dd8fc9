// Groups of controls that particle effects share. An effect holds a group as a member of its record and gives what is
// different in it:
//     GravityControls gravity{this, {.strength = 1.0}};
// Names, labels, ranges, sentences and enable rules stand in ParticleControls.cpp. Lengths and speeds are in pixels of
// the picture at full size, directions in degrees anticlockwise from the right, positions in fractions of the picture.
#pragma once

#include <optional>
#include <string>

#include "effects/engines/controls/GroupParts.h"

// When the simulation runs, and how long the shutter is open.
struct StartControls {
    struct Shutter {
        const char* name = "ShutterTime";
        const char* label = "Shutter Time";
        double value = 0.0, longest = 1000.0;
        const char* sentence = "Length of the trails, in percent of the way of the last frame: 0 is none.";
    };
    explicit StartControls(EffectInfo* owner) : StartControls(owner, Shutter()) {}
    StartControls(EffectInfo* owner, const Shutter& given, int preRollFrames = 0);

    IntegerControlK7 at;       // frame
    IntegerControlK7 preRoll;  // frames
    FloatControlK7 shutter;    // percent
    CheckboxControlK7 withAnimation;
};

// The line on which particles are born, how many of them, and for how long.
struct EmitterControls {
    enum class Births { Steady, Gusty };
    struct Given {
        Place left, right;
        double spread = 0.003, widest = 0.5;
        double density, densest;
        double lifetime, longest = 1000.0;
        Births births = Births::Steady;
    };
    EmitterControls(EffectInfo* owner, const Given& given);

    PositionControlK7 left, right;
    SizeControlK7 spread;     // widths of the picture
    FloatControlK7 density;   // births a frame
    FloatControlK7 lifetime;  // frames, at most
};

struct GravityControls {
    struct Given {
        bool on = true;
        double strength;
        double angle = 270.0, largest = 359.0;
        bool turnsMore = false;  // the angle is used without gravity too
    };
    GravityControls(EffectInfo* owner, const Given& given);

    CheckboxControlK7 on;
    FloatControlK7 strength;  // pixels a frame and frame
    AngleControlK7 angle;
};

struct FrictionControls {
    FrictionControls(EffectInfo* owner, double amount);

    CheckboxControlK7 on;
    FloatControlK7 amount;  // part of the velocity lost each frame
};

// Wind: a cone of moving air. With `everywhere` it can also blow to all sides.
struct WindControls {
    struct Given {
        double spread, speed;
        bool everywhere = false;
    };
    WindControls(EffectInfo* owner, const Given& given);
    bool toAllSides() const { return multiDirectional && multiDirectional->value; }

    CheckboxControlK7 on;
    PositionControlK7 source, target;
    std::optional<CheckboxControlK7> multiDirectional;
    FloatControlK7 spread;  // degrees
    FloatControlK7 speed;   // pixels a frame
};

struct TurbulenceControls {
    struct Given {
        bool on = true;
        double density, magnitude;
        double latest = 100.0;  // end of the range of timeToMax
    };
    TurbulenceControls(EffectInfo* owner, const Given& given);

    CheckboxControlK7 on;
    FloatControlK7 density;    // cells of the noise across the picture
    FloatControlK7 magnitude;  // pixels a frame and frame
    FloatControlK7 timeToMax;  // frames of a particle's life
};

// A colour, and how far particles differ from it. The colour's name and label have the effect's word in front.
struct TintControls {
    TintControls(EffectInfo* owner, const std::string& what);

    FloatControlK7 variance, mono;  // percent of white
    ColourControlK7 colour;
};

// A beam of light from one point towards another, for what it is called: "Light", "Glint".
struct BeamControls {
    struct Given {
        std::string what;
        bool on = false;
        Place source, target;
        const char* sentence;  // of the switch
    };
    BeamControls(EffectInfo* owner, const Given& given);

    CheckboxControlK7 on;
    PositionControlK7 source, target;
};

// A light that particles shine in. A raised one has a height above the picture and makes highlights on spheres.
struct LightControls {
    struct Given {
        bool on = false;
        Place source, target;
        double tightness, tightest;
        const char* tightnessSentence;
        bool raised = false;
    };
    LightControls(EffectInfo* owner, const Given& given);

    BeamControls beam;
    std::optional<FloatControlK7> height;  // widths of the picture
    FloatControlK7 tightness;
    FloatControlK7 spread;                    // degrees
    FloatControlK7 intensity, least;          // percent
    std::optional<FloatControlK7> highlight;  // exponent
    ColourControlK7 colour;
};
