// Fireworks: shows at 1920x1080. The default may take 30 times a copy of the picture.
#include "benches/support/bench.h"
#include "effects/sky/Fireworks.h"

namespace {

Bench::Factory show(void (*adjust)(Fireworks&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Fireworks>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->currentFrame = 60.0;
        adjust(*effect);
        return [=] {
            effect->currentFrame += 1.0;
            effect->ProcessFrame();
        };
    };
}

const Bench usual("Fireworks, default", QUILLON, 2, show([](Fireworks&) {}));
const Bench finale("Fireworks, finale with light on the ground", QUILLON, 2,
                   show([](Fireworks& e) { e.Tempo.value = 5, e.Salvo.value = 25, e.GroundLight.value = 100; }));
const BenchGate gate = BenchGate::memcpys("Fireworks, default", 30.0);

}  // namespace
