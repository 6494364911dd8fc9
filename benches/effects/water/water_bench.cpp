// The water surfaces at their defaults.
#include "benches/support/bench.h"
#include "effects/water/Pool3D.h"
#include "effects/water/Puddle3D.h"
#include "effects/water/RainDrops.h"
#include "effects/water/Water.h"

namespace {

template <class EffectClass>
Bench::Factory surface(void (*set)(EffectClass&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<EffectClass>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->currentFrame = 12;
        set(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench pool("pool", QUILLON, 2, surface<Pool3D>([](Pool3D&) {}));
const Bench lit_pool("pool, swirling and lit", QUILLON, 2, surface<Pool3D>([](Pool3D& e) {
                         e.PoolMode.value = Pool3D::Swirl;
                         e.surface.DoLight.value = true;
                     }));
const Bench puddle("puddle", QUILLON, 2, surface<Puddle3D>([](Puddle3D& e) { e.RestartFrom.value = 20; }));

// Frame after frame, in rain that has fallen for so long.
Bench::Factory window(bool steam) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<RainDrops>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->PreRoll.value = 40;
        effect->DoSteam.value = steam;
        return [=] {
            effect->ProcessFrame();
            effect->currentFrame += 1;
        };
    };
}
const Bench drops("rain drops", QUILLON, 2, window(false));
const Bench misted_drops("rain drops, steam", QUILLON, 2, window(true));

// Frame after frame; with an index of 1 a frame is a step alone.
Bench::Factory water(double index) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Water>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->RefractiveIndex.value = index;
        return [=] {
            effect->ProcessFrame();
            effect->currentFrame += 1;
        };
    };
}
const Bench step("water, a step", QUILLON, 2, water(1.0));
const Bench frame("water", QUILLON, 2, water(1.3));

}  // namespace
