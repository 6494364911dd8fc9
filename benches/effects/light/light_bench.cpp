// Light: default values over a plate.
#include "benches/support/bench.h"
#include "effects/light/Flare.h"
#include "effects/light/FlareSpot.h"
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

Bench::Factory flare(void (*adjust)(Flare&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Flare>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->lightMap.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench lamps("flare, default", QUILLON, 2, flare([](Flare& e) { e.LoLight.value = 0.4; }));
const Bench whole_picture("flare, of the whole picture", QUILLON, 3, flare([](Flare& e) {
                              e.XScale.value = e.YScale.value = 2;
                              e.LoLight.value = 0;
                          }));

Bench::Factory ghosts(void (*adjust)(FlareSpot&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<FlareSpot>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench few_ghosts("flare spots, default", QUILLON, 2, ghosts([](FlareSpot&) {}));
const Bench many_ghosts("flare spots, 122 large ones", QUILLON, 2, ghosts([](FlareSpot& e) {
                            e.MoreElements.value = 10;
                            e.SourceRad.value = 50;
                        }));

}  // namespace
