// What is in the air at a moment of a firework display: which shells were lit when, and the light of their stars.
//
// Every star's way has a closed form, so that any moment of a show can be asked for: under gravity g and a linear drag
// k, with the air itself moving at w, the place at age t is
//     p + v A(t) + (w + g / k) (t - A(t)),   A(t) = (1 - e^(-k t)) / k.
// Shells are timed by a sequence of chances (a multiple of the golden ratio less its whole part), which thins evenly:
// of equally spaced moments those are taken whose chance is below the tempo there, so that a tempo that moves changes
// no shell that was lit before.
//
// Lengths are in widths of a pixel, y upwards; times are seconds of the show.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "effects/sky/Fireworks_simd.h"

enum class Shell {
    Peony,
    Chrysanthemum,
    Willow,
    Palm,
    Ring,
    Crossette,
    Heart,
    Strobe,
    Fountain,
    RomanCandle,
};
inline constexpr int SHELLS = 10;

struct FireworkPlace {
    float x = 0, y = 0;
};

// What all shells of a show share.
struct FireworkLook {
    float radius = 1;     // of a burst
    float variation = 0;  // of it, 0 to 1
    float gravity = 1, air = 1;
    float wind = 0;  // a second
    float rise = 1;  // seconds from lift-off to burst
    float stars = 1, burn = 1, trails = 1, glitter = 1, ragged = 1, rockets = 1;
    float star_radius = 1, least_radius = 1;
    float flash = 1;       // of a burst
    float brightness = 1;  // of a star at its centre
    enum Palette { Classic, Gold, Silver, Pastel, Own } palette = Classic;
    float own[4][3] = {};
    float turning = 0;                    // share of shells whose stars change colour
    double shutter = 0.02, still = 0.02;  // how long light is gathered, and how long a star needs to be as bright as
                                          // `brightness`
};

// When shells are lit.
struct FireworkPlan {
    std::uint32_t seed = 1;
    bool shells[SHELLS] = {};
    float salvo = 0;             // share of launches that are several shells side by side
    FireworkPlace launch[2];     // ends of the line that they rise from
    FireworkPlace centre, half;  // of the field that they burst in
    double frame = 0.04;         // seconds of the show a frame
    int first_frame = 0, last_frame = 0;
};

struct FireworkLaunch {
    double lift = 0, burst = 0;  // seconds
    Shell shell = Shell::Peony;
    std::uint32_t word = 0;    // its random numbers
    std::uint32_t paints = 0;  // those of its colours, which the shells of a salvo share
    FireworkPlace from, to;
    float radius = 1;
    bool in_the_air() const { return shell != Shell::Fountain && shell != Shell::RomanCandle; }
};

inline constexpr double MOST_SHELLS = 20.0;  // a second
// Those that are lit from `since` to `now`; tempo(frame) in shells a second.
void add_show(const FireworkPlan& plan, const FireworkLook& look, const std::function<double(int frame)>& tempo,
              double since, double now, std::vector<FireworkLaunch>& launches);
// One that bursts (or burns, from the ground) at a place.
FireworkLaunch launch_to(const FireworkPlan& plan, const FireworkLook& look, std::uint32_t word, double lift,
                         FireworkPlace to);

// Seconds after lift-off in which a shell gives light, and smoke.
double longest_life(const FireworkLook& look);
inline constexpr double SMOKE_LIFE = 9.0;

// A shell at a moment.
struct FireworkLight {
    std::vector<LightStroke> strokes;
    float total[3] = {};   // of the strokes
    FireworkPlace middle;  // of its light
    float flash = 0;       // of the burst, 0 to 1
    float flash_colour[3] = {1, 1, 1};
};
void light_of(const FireworkLaunch& launch, const FireworkLook& look, double now, FireworkLight& light);

struct SmokePuff {
    float x, y, radius, density;
};
void add_smoke(const FireworkLaunch& launch, const FireworkLook& look, double now, std::vector<SmokePuff>& puffs);
