// Aurora at its defaults and as a storm, at 1920x1080. The default may take 30 copies of the picture.
#include "effects/sky/Aurora.h"

#include "benches/support/bench.h"

namespace {

Bench::Factory aurora(void (*adjust)(Aurora&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Aurora>();
        effect->sky.image.reset(image_duplicate(test_frame().get()));
        effect->matte.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        effect->currentFrame = 100;
        return [=] {
            effect->ProcessFrame();
            effect->currentFrame += 1;
        };
    };
}

const Bench plain("Aurora, default", QUILLON, 2, aurora([](Aurora&) {}));
const Bench storm("Aurora, 6 curtains over 50 frames", QUILLON, 2,
                  aurora([](Aurora& e) { e.Curtains.value = 6, e.Shutter.value = 50, e.Curls.value = 60; }));
const BenchGate gate = BenchGate::memcpys("Aurora, default", 30);

}  // namespace
