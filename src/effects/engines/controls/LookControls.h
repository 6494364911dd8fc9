// The controls of a particles::ParticleLook, for every effect with particles. Two groups, a page each:
//     Page lookPage{this, "Look"};
//     LookControls look{this, {.size = 2.0}};
//     Page colourPage{this, "Colour"};
//     LifeControls life{this, {.birth = {1, 1, 1}}};
//     ...
//     particles::read_look(frame(), look, life, shutter, parameters);
#pragma once

#include <string>

#include "Library2/EffectInfo.h"
#include "effects/engines/particles/ParticleLook.h"
#include "effects/engines/replay/FrameShape.h"

struct LookControls {
    // Choices count from 1.
    enum Looks { Point = 1, Streak, Blob, Star, Ring, Flake, Paper, Leaf, Picture };
    enum Blends { Over = 1, Add, Screen };
    enum Turns { Spinning = 1, AlongTheWay };
    struct Given {
        int look = Blob;
        int blend = Over;
        double size = 2.0;
        const char* pictureClip = "Particle Image";  // for sentences
    };
    LookControls(EffectInfo* owner, const Given& given);

    ListControlK7 look, blend;
    FloatControlK7 size;                           // diameter, thousandths of the width
    FloatControlK7 sizeVar, sizeBirth, sizeDeath;  // percent
    FloatControlK7 softness;                       // percent
    FloatControlK7 length;                         // frames
    ListControlK7 turns;
    FloatControlK7 spin, tumble;  // degrees a frame
    FloatControlK7 glow;          // percent
};

struct LifeControls {
    struct Colour {
        float red, green, blue;
    };
    struct Given {
        Colour birth{1, 1, 1}, middle{1, 1, 1}, death{1, 1, 1};
        double fadeIn = 5.0, fadeOut = 30.0;
    };
    LifeControls(EffectInfo* owner, const Given& given);

    ColourControlK7 birth, middle, death;
    FloatControlK7 change;                // percent
    FloatControlK7 hueVar, lightVar;      // percent
    FloatControlK7 gain, opacity;         // percent
    FloatControlK7 fadeIn, fadeOut;       // percent of the life
    FloatControlK7 twinkle, twinkleRate;  // percent; flashes in 100 frames
};

namespace particles {

// `shutter` in frames.
void read_look(const FrameShape& frame, const LookControls& look, const LifeControls& life, float shutter,
               ParticleLook& out);

}  // namespace particles
