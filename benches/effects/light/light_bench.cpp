// Light: default values over a plate.
#include "benches/support/bench.h"
#include "effects/light/Rainbow.h"

namespace {

Bench::Factory rainbow(void (*adjust)(Rainbow&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Rainbow>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->atmosphere.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench bows("rainbow, default", QUILLON, 2, rainbow([](Rainbow&) {}));
const Bench ten_bows("rainbow, ten bows in an atmosphere", QUILLON, 3, rainbow([](Rainbow& e) {
                         e.BowCount.value = 10;
                         e.Atmosphere.value = true;
                     }));

}  // namespace
