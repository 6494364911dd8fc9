#include "bundle/Registry.h"

#include <algorithm>

#include "effects/Bubbles.h"
#include "effects/Burn.h"
#include "effects/Clean.h"
#include "effects/CrashZoom.h"
#include "effects/Darken.h"
#include "effects/EdgeLeak.h"
#include "effects/Facet.h"
#include "effects/HeatHaze.h"
#include "effects/InfraRed.h"
#include "effects/LightLeak.h"
#include "effects/Lighten.h"
#include "effects/NightVision.h"
#include "effects/PassThrough.h"
#include "effects/Rain.h"
#include "effects/RemGrain.h"
#include "effects/Smoke.h"
#include "effects/Snow.h"
#include "effects/SpinBlur.h"
#include "effects/Thermo.h"
#include "effects/TrailAverage.h"

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
