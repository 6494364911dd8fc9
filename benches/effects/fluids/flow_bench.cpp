// Frames of the effects that let a picture flow, and a picture looked up through coordinate maps alone: at rest, and
// where a flow has squeezed parts of it.
#include "benches/support/bench.h"
#include "effects/fluids/ClipFlow.h"
#include "effects/fluids/ImageFlow.h"
#include "effects/fluids/TransFlow.h"

namespace {

template <class EffectClass>
Bench::Work frames_of(const std::shared_ptr<EffectClass>& effect) {
    for (ClipRecord* clip : effect->inputs()) clip->image.reset(image_duplicate(test_frame().get()));
    effect->output.image.reset(image_duplicate(test_frame().get()));
    effect->ProcessFrame();
    return [=] {
        effect->currentFrame += 1;
        effect->ProcessFrame();
    };
}

Bench::Work clip_flow(int) { return frames_of(std::make_shared<ClipFlow>()); }
Bench::Work image_flow(int) {
    auto effect = std::make_shared<ImageFlow>();
    effect->HiRes.value = effect->UseDiff.value = effect->UseDiss.value = true;
    return frames_of(effect);
}
Bench::Work trans_flow(int) {
    auto effect = std::make_shared<TransFlow>();
    effect->TransLength.value = 1000;
    return frames_of(effect);
}

Bench::Factory flow(int steps) {
    return [=](int) -> Bench::Work {
        std::shared_ptr<FluidFlow> fluid = create_fluid_flow(128, 128, FLUID_BOUNDED);
        fluid->set_executor(nullptr, [](void*, RowWorker worker, int count, void* job) {
            image_dispatch_rows_float(worker, count, job);
        });
        fluid->create_coordinate_maps();
        fluid->set_velocity_box(0.2F, 0.2F, 0.5F, 0.6F, 30.0F, 0.01F);
        for (int n = 0; n < steps; ++n) fluid->step(false);
        auto source = test_frame(), target = blank_frame();
        return [=] { fluid->flow_image(source.get(), target.get(), true); };
    };
}

const Bench at_rest("picture through maps, at rest", QUILLON, 2, flow(0));
const Bench squeezed("picture through maps, squeezed", QUILLON, 2, flow(40));
const Bench clip("clip flow, default", QUILLON, 2, clip_flow);
const Bench image("image flow, fine grid, diffusion", QUILLON, 2, image_flow);
const Bench transition("trans flow, default", QUILLON, 5, trans_flow);

}  // namespace
