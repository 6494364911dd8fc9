// PixFlow: the flow alone, with strands, and wound up far, at 1920x1080. The default may take 60 copies of the picture.
#include "benches/support/bench.h"
#include "effects/pixels/PixFlow.h"

namespace {

Bench::Factory flow(void (*adjust)(PixFlow&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<PixFlow>();
        for (ClipRecord* clip : effect->inputs()) clip->image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench plain("PixFlow, default", QUILLON, 2, flow([](PixFlow&) {}));
const Bench strands("PixFlow, smeared into strands", QUILLON, 2,
                    flow([](PixFlow& e) { e.Smear.value = 2.5, e.Strands.value = 30, e.Luma.value = 100; }));
const Bench wound("PixFlow, amount 60", QUILLON, 2, flow([](PixFlow& e) { e.Amount.value = 60; }));
const BenchGate gate = BenchGate::memcpys("PixFlow, default", 60);

}  // namespace
