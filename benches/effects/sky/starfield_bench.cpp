// StarField: whole frames one after another. The default may take 30 times a copy of the picture.
#include "benches/support/bench.h"
#include "effects/sky/StarField.h"
#include "tests/support/effect_shot.h"

namespace {

Bench::Factory frames(int preset) {
    return [=](int) -> Bench::Work {
        auto shot = std::make_shared<EffectShot<StarField>>(ImagePtr(image_duplicate(test_frame().get())));
        shot->choose_preset(preset);
        shot->render(10);
        auto next = std::make_shared<double>(10);
        return [=] {
            shot->effect.currentFrame = ++*next;
            shot->effect.ProcessFrame();
        };
    };
}

const Bench plain("StarField, default", QUILLON, 2, frames(0));
const Bench space("StarField, Deep Space", QUILLON, 2, frames(1));
const Bench warp("StarField, Warp", QUILLON, 2, frames(2));
const Bench trails("StarField, Time Exposure", QUILLON, 2, frames(5));
const BenchGate gate = BenchGate::memcpys("StarField, default", 30);

}  // namespace
