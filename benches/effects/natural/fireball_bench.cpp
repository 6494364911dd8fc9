// FireBall: whole frames one after another. The default may take 30 times a copy of the picture.
#include "effects/natural/FireBall.h"

#include "benches/support/bench.h"
#include "tests/support/effect_shot.h"

namespace {

Bench::Factory frames(int preset) {
    return [=](int) -> Bench::Work {
        auto shot = std::make_shared<EffectShot<FireBall>>(ImagePtr(image_duplicate(test_frame().get())));
        shot->choose_preset(preset);
        shot->render(10);
        return [=, next = std::make_shared<double>(10)] {
            shot->effect.currentFrame = *next = *next < 50 ? *next + 1 : 10;
            shot->effect.ProcessFrame();
        };
    };
}

const Bench standard("FireBall, default", QUILLON, 2, frames(0));
const Bench breath("FireBall, Dragon's Breath", QUILLON, 2, frames(4));
const BenchGate gate = BenchGate::memcpys("FireBall, default", 30);

}  // namespace
