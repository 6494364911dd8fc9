// Cumulo: whole frames one after another, from where as many puffs die as are born.
#include "effects/sky/Cumulo.h"

#include "benches/support/bench.h"
#include "tests/support/effect_shot.h"

namespace {

Bench::Factory frames(int preset) {
    // Kept over the calls that look for a good number of repetitions: the frames before the first take a while.
    auto kept = std::make_shared<std::shared_ptr<EffectShot<Cumulo>>>();
    return [=](int) -> Bench::Work {
        if (!*kept) {
            *kept = std::make_shared<EffectShot<Cumulo>>(ImagePtr(image_duplicate(test_frame().get())));
            (*kept)->choose_preset(preset);
            (*kept)->render(100);
        }
        auto next = std::make_shared<double>(100);
        return [shot = *kept, next] {
            shot->effect.currentFrame = ++*next;
            shot->effect.ProcessFrame();
        };
    };
}

const Bench standard("Cumulo, default (970 puffs)", QUILLON, 2, frames(0));
const Bench storm("Cumulo, Storm", QUILLON, 2, frames(2));

}  // namespace
