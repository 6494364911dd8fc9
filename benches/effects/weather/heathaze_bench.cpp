// HeatHaze at its defaults, and its noise alone: the noise is what should bound it.
#include "effects/weather/HeatHaze.h"

#include "benches/support/bench.h"

namespace {

Bench::Factory haze(int display) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<HeatHaze>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->DispType.value = display;
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench result("heat haze", QUILLON, 2, haze(HeatHaze::Result));
const Bench map("heat haze, map alone", QUILLON, 2, haze(HeatHaze::HeatMap));

}  // namespace
