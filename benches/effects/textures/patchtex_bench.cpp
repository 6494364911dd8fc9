// PatchTex: a frame from a sample at 1920x1080. The default may take 400 times a copy of the picture.
#include "benches/support/bench.h"
#include "effects/textures/PatchTex.h"

namespace {

Bench::Factory frame(void (*adjust)(PatchTex&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<PatchTex>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->matte.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->Area.value = PatchTexInfo::Everywhere;
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench everywhere("PatchTex, default", QUILLON, 2, frame([](PatchTex&) {}));
const BenchGate gate = BenchGate::memcpys("PatchTex, default", 400);
const Bench hole("PatchTex, an ellipse", QUILLON, 2, frame([](PatchTex& e) {
                     e.Area.value = PatchTexInfo::Ellipse;
                     e.Source.value = PatchTexInfo::Surroundings;
                     e.Join.value = 14;
                 }));
const Bench transfer("PatchTex, transfer in patches of 20", QUILLON, 2, frame([](PatchTex& e) {
                         e.PatchSize.value = 20;
                         e.Guide.value = 60;
                     }));

}  // namespace
