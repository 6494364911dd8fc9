// The night looks with their default values, and what they add on request.
#include "benches/support/bench.h"
#include "effects/night/InfraRed.h"
#include "effects/night/NightVision.h"
#include "effects/night/Thermo.h"

namespace {

template <class EffectClass, class Setup>
Bench::Factory look(ClipRecord EffectClass::*clip, Setup setup) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<EffectClass>();
        ((*effect).*clip).image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        setup(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

template <class Setup>
Bench::Factory night(Setup setup) {
    return look<NightVision>(&NightVision::input, setup);
}

const Bench infra_red("InfraRed, default", QUILLON, 2, look<InfraRed>(&InfraRed::background, [](InfraRed&) {}));
const Bench thermo("Thermo, default", QUILLON, 2, look<Thermo>(&Thermo::input, [](Thermo&) {}));
const Bench night_vision("NightVision, default", QUILLON, 2, night([](NightVision&) {}));
const Bench night_response("NightVision, response and tint alone", QUILLON, 2,
                           night([](NightVision& e) { e.DoHi.value = e.DoBorder.value = false; }));
const Bench night_grain_1("NightVision, grain of 1 pixel", QUILLON, 2,
                          night([](NightVision& e) { e.DoGrain.value = true; }));
const Bench night_grain_10("NightVision, grain of 10 pixels", QUILLON, 2, night([](NightVision& e) {
                               e.DoGrain.value = e.LumBias.value = true;
                               e.GrainSize.value = 10;
                           }));
const Bench night_reticle("NightVision, with a reticle", QUILLON, 2,
                          night([](NightVision& e) { e.RetType.value = 4; }));

}  // namespace
