// Luna over a plate.
#include "benches/support/bench.h"
#include "effects/sky/Luna.h"

namespace {

Bench::Factory moon(void (*adjust)(Luna&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Luna>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench default_moon("luna, default", QUILLON, 2, moon([](Luna&) {}));
const Bench large_moon("luna, the whole width with smoothing and a ring", QUILLON, 2, moon([](Luna& e) {
                           e.MRadius.value = 1;
                           e.Smooth.value = 10;
                           e.DoRing.value = true;
                       }));

}  // namespace
