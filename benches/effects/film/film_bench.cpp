// The film kit at default values: burn before and while it burns, and the two leaks.
#include "benches/support/bench.h"
#include "effects/film/Burn.h"
#include "effects/film/EdgeLeak.h"
#include "effects/film/LightLeak.h"

namespace {

// The effects work in place: a leak goes on adding to the same frame, at the same cost.
template <class EffectClass>
std::shared_ptr<EffectClass> on_a_frame(double frame) {
    auto effect = std::make_shared<EffectClass>();
    effect->input.image.reset(image_duplicate(test_frame().get()));
    effect->output.image.reset(image_duplicate(test_frame().get()));
    effect->currentFrame = frame;
    return effect;
}

template <class EffectClass>
Bench::Factory frame(double number, void (*adjust)(EffectClass&) = nullptr) {
    return [=](int) -> Bench::Work {
        auto effect = on_a_frame<EffectClass>(number);
        if (adjust) adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench grade("burn, grade alone", QUILLON, 2, frame<Burn>(0));
const Bench saturation("burn, grade with saturation", QUILLON, 2, frame<Burn>(0, [](Burn& e) { e.Colour.value = 60; }));
const Bench burn_early("burn, 3 of 10 frames", QUILLON, 2, frame<Burn>(13));
const Bench burn_middle("burn, 6 of 10 frames", QUILLON, 2, frame<Burn>(16));
const Bench burn_late("burn, 9 of 10 frames", QUILLON, 2, frame<Burn>(19));
const Bench edge("edge leak, default", QUILLON, 2, frame<EdgeLeak>(5));
const Bench light("light leak, default", QUILLON, 2, frame<LightLeak>(5));
const Bench light_20("light leak, 20 spots of full size", QUILLON, 2, frame<LightLeak>(5, [](LightLeak& e) {
                         e.LightSpotsB.value = 20;
                         e.PattSizeB.value = 200;
                     }));

}  // namespace
