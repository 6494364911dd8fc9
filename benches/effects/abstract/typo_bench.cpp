// Typo at 1920x1080. The default may take 60 times a copy of the picture. Libraries that set text draw one weight from
// a cache and measure no picture, so none is a rival.
#include "effects/abstract/Typo.h"

#include "benches/support/bench.h"

namespace {

Bench::Factory type(void (*adjust)(Typo&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Typo>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench standard("Typo, default", QUILLON, 2, type([](Typo&) {}));
const BenchGate gate = BenchGate::memcpys("Typo, default", 60.0);
const Bench ragged("Typo, ragged and detailed", QUILLON, 2, type([](Typo& e) {
                       e.Detail.value = e.Roughness.value = e.PaperGrain.value = 50;
                       e.Picture.value = 20;
                       e.Font.value = TypoInfo::RomanBold;
                   }));
const Bench turned("Typo, turned windows that glow", QUILLON, 2, type([](Typo& e) {
                       e.Angle.value = 30;
                       e.InkFrom.value = TypoInfo::ClipByPixel;
                       e.Glow.value = 80;
                   }));

}  // namespace
