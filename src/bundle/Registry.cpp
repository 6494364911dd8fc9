#include "bundle/Registry.h"

#include <algorithm>

#include "effects/PassThrough.h"
#include "effects/adjust/Clean.h"
#include "effects/adjust/Darken.h"
#include "effects/adjust/Lighten.h"
#include "effects/adjust/RemGrain.h"
#include "effects/blur/CrashZoom.h"
#include "effects/blur/SpinBlur.h"
#include "effects/film/Burn.h"
#include "effects/film/EdgeLeak.h"
#include "effects/film/LightLeak.h"
#include "effects/night/InfraRed.h"
#include "effects/night/NightVision.h"
#include "effects/night/Thermo.h"
#include "effects/stylise/Facet.h"
#include "effects/trails/TrailAverage.h"
#include "effects/weather/Bubbles.h"
#include "effects/weather/HeatHaze.h"
#include "effects/weather/Rain.h"
#include "effects/weather/Smoke.h"
#include "effects/weather/Snow.h"

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
    defineEffect<Bubbles>(),
    defineEffect<Burn>(),
    passThrough<"Candle">(),
    passThrough<"CCTV">(),
    defineEffect<Clean>(),
    passThrough<"ClipFlow">(),
    passThrough<"ClipTex">(),
    passThrough<"Cumulo">(),
    defineEffect<Darken>(),
    passThrough<"Dots">(),
    defineEffect<EdgeLeak>(),
    defineEffect<Facet>(),
    passThrough<"Fire">(),
    passThrough<"FireBall">(),
    passThrough<"Fireworks">(),
    passThrough<"Flare">(),
    passThrough<"FlareSpot">(),
    passThrough<"Flock">(),
    defineEffect<HeatHaze>(),
    passThrough<"ImageFlow">(),
    defineEffect<InfraRed>(),
    passThrough<"Jaws">(),
    defineEffect<Lighten>(),
    defineEffect<LightLeak>(),
    passThrough<"Luna">(),
    passThrough<"NightSky">(),
    defineEffect<NightVision>(),
    passThrough<"Numbers">(),
    passThrough<"Particles">(),
    passThrough<"PatchTex">(),
    passThrough<"PixFlow">(),
    passThrough<"PixFly">(),
    passThrough<"Pool3D">(),
    passThrough<"Puddle3D">(),
    defineEffect<Rain>(),
    passThrough<"Rainbow">(),
    passThrough<"RainDrops">(),
    defineEffect<RemGrain>(),
    passThrough<"RomanTile">(),
    passThrough<"Sky">(),
    defineEffect<Smoke>(),
    defineEffect<Snow>(),
    defineEffect<SpinBlur>(),
    passThrough<"StarField">(),
    defineEffect<Thermo>(),
    defineEffect<TrailAverage>(),
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
