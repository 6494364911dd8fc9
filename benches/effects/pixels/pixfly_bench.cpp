// PixFly: default, single pixels, and all forces at once, at 1920x1080 with half of the picture in the air. The
// default may take 30 copies of the picture.
#include "benches/support/bench.h"
#include "effects/pixels/PixFly.h"

namespace {

Bench::Factory flight(void (*adjust)(PixFly&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<PixFly>();
        for (ClipRecord* clip : effect->inputs()) clip->image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->currentFrame = 24;
        effect->timing.MatteMix.value = 0;  // without a host every clip counts as connected
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench plain("PixFly, default", QUILLON, 2, flight([](PixFly&) {}));
const Bench single("PixFly, single pixels", QUILLON, 2, flight([](PixFly& e) { e.PixelSize.value = 1; }));
const Bench forces("PixFly, all forces", QUILLON, 2, flight([](PixFly& e) {
                       e.Burst.value = 2, e.forces.gusts.value = 50;
                       e.vortex.vortexOn.value = e.vortex.attractorOn.value = true;
                   }));
const BenchGate gate = BenchGate::memcpys("PixFly, default", 30);

}  // namespace
