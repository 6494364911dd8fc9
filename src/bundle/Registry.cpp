#include "bundle/Registry.h"

#include <algorithm>

#include "effects/CrashZoom.h"
#include "effects/Darken.h"
#include "effects/HeatHaze.h"
#include "effects/Lighten.h"
#include "effects/PassThrough.h"
#include "effects/SpinBlur.h"

namespace {

// A name as a template argument.
template <std::size_t N>
struct Name {
    char text[N];
    consteval Name(const char (&name)[N]) { std::copy_n(name, N, text); }
};

template <Name NAME>
constexpr EffectDefinition passThrough() {
    return definePassThrough<passThroughRow(NAME.text)>();
}

// clang-format off
constexpr EffectDefinition TABLE[EFFECT_COUNT] = {
    defineEffect<CrashZoom>(),
    passThrough<"Aurora">(),
    passThrough<"BitsFly">(),
    passThrough<"Brush">(),
    passThrough<"Bubbles">(),
    passThrough<"Burn">(),
    passThrough<"Candle">(),
    passThrough<"CCTV">(),
    passThrough<"Clean">(),
    passThrough<"ClipFlow">(),
    passThrough<"ClipTex">(),
    passThrough<"Cumulo">(),
    defineEffect<Darken>(),
    passThrough<"Dots">(),
    passThrough<"EdgeLeak">(),
    passThrough<"Facet">(),
    passThrough<"Fire">(),
    passThrough<"FireBall">(),
    passThrough<"Fireworks">(),
    passThrough<"Flare">(),
    passThrough<"FlareSpot">(),
    passThrough<"Flock">(),
    defineEffect<HeatHaze>(),
    passThrough<"ImageFlow">(),
    passThrough<"InfraRed">(),
    passThrough<"Jaws">(),
    defineEffect<Lighten>(),
    passThrough<"LightLeak">(),
    passThrough<"Luna">(),
    passThrough<"NightSky">(),
    passThrough<"NightVision">(),
    passThrough<"Numbers">(),
    passThrough<"Particles">(),
    passThrough<"PatchTex">(),
    passThrough<"PixFlow">(),
    passThrough<"PixFly">(),
    passThrough<"Pool3D">(),
    passThrough<"Puddle3D">(),
    passThrough<"Rain">(),
    passThrough<"Rainbow">(),
    passThrough<"RainDrops">(),
    passThrough<"RemGrain">(),
    passThrough<"RomanTile">(),
    passThrough<"Sky">(),
    passThrough<"Smoke">(),
    passThrough<"Snow">(),
    defineEffect<SpinBlur>(),
    passThrough<"StarField">(),
    passThrough<"Thermo">(),
    passThrough<"TrailAverage">(),
    passThrough<"TrailLive">(),
    passThrough<"TrailParticle">(),
    passThrough<"TrailPath">(),
    passThrough<"TrailStopMo">(),
    passThrough<"TransFlow">(),
    passThrough<"TVWall">(),
    passThrough<"Typo">(),
    passThrough<"Water">(),
};
// clang-format on

}  // namespace

std::span<const EffectDefinition, EFFECT_COUNT> registry() { return TABLE; }
