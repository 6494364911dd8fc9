// TrailPath: strokes at 1920x1080. The default may take 30 times a copy of the picture.
#include "benches/support/bench.h"
#include "effects/trails/TrailPath.h"

namespace {

Bench::Factory drawn(void (*adjust)(TrailPath&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<TrailPath>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->brush.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] {
            effect->currentFrame += 1.0;
            effect->ProcessFrame();
        };
    };
}

const Bench usual("TrailPath, default", QUILLON, 2, drawn([](TrailPath&) {}));
const Bench chalk("TrailPath, wide chalk", QUILLON, 2,
                  drawn([](TrailPath& e) { e.Brush.value = TrailPathInfo::Chalk, e.BrushSize.value = 0.06; }));
const Bench neon("TrailPath, neon with glow", QUILLON, 2,
                 drawn([](TrailPath& e) { e.Brush.value = TrailPathInfo::Neon, e.Glow.value = 100; }));
const BenchGate gate = BenchGate::memcpys("TrailPath, default", 30.0);

}  // namespace
