// Particles: whole frames one after another, once as many die as are born. Default values may take 30 times a copy of
// the picture.
#include "effects/sundries/Particles.h"

#include "benches/support/bench.h"
#include "tests/support/effect_shot.h"

namespace {

Bench::Factory frames(int preset, double first, double rate = 0) {
    auto kept = std::make_shared<std::shared_ptr<EffectShot<Particles>>>();
    return [=](int) -> Bench::Work {
        if (!*kept) {
            *kept = std::make_shared<EffectShot<Particles>>(ImagePtr(image_duplicate(test_frame().get())));
            (*kept)->choose_preset(preset);
            (*kept)->effect.UseBounce.value = false;  // no clip is connected
            if (rate > 0) (*kept)->effect.Rate.value = rate;
        }
        const auto shot = *kept;
        shot->render(first);
        auto next = std::make_shared<double>(first);
        return [shot, next] {
            shot->effect.currentFrame = ++*next;
            shot->effect.ProcessFrame();
        };
    };
}

const Bench usual("Particles, default values", QUILLON, 1, frames(0, 60));
const BenchGate gate = BenchGate::memcpys("Particles, default values", 30);
const Bench fountain("Particles, Fountain (30,000 drops)", QUILLON, 2, frames(2, 60));
const Bench galaxy("Particles, Galaxy (20,000 with halos)", QUILLON, 3, frames(10, 60));
const Bench many("Particles, Galaxy of 100,000", QUILLON, 3, frames(10, 60, 240));

}  // namespace
