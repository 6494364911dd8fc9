// Sky at its defaults and with the finest clouds; what the map does not take is the shader.
#include "effects/sky/Sky.h"

#include "benches/support/bench.h"
#include "effects/sky/CloudMap.h"

namespace {

template <class Setup>
Bench::Factory sky(Setup setup) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Sky>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        setup(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

Bench::Work cloud_map(int) {
    const Sky effect;
    const CloudSettings clouds{.dot_blur = effect.scaledDotBlur.value,
                               .dots = effect.baseDotCount.value,
                               .octaves = effect.iterations.value,
                               .contrast = 0,
                               .density = effect.cloudDensity.value,
                               .direction = effect.cloudDirection.value,
                               .speed = effect.cloudSpeed.value,
                               .speed_variance = effect.cloudVariance.value,
                               .streaky = false,
                               .bumps = true,
                               .bump_softness = effect.gradientSoftness.value,
                               .seed = 1};
    return [=] {
        CloudMap map;
        make_cloud_map(map, FRAME_WIDTH, clouds, 20, {});
    };
}

const Bench defaults("Sky, default", QUILLON, 2, sky([](Sky&) {}));
const Bench map("Sky, cloud map alone", QUILLON, 2, cloud_map);
const Bench finest("Sky, edge detail 10", QUILLON, 2, sky([](Sky& e) { e.iterations.value = 10; }));

}  // namespace
