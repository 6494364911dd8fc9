// ClipTex with its built-in patterns and with four clips. The default may take 60 times a copy of the picture.
#include <atomic>

#include "benches/support/bench.h"
#include "effects/textures/ClipTex.h"

namespace {

const std::atomic<OfxImageClipHandle> NOT_CONNECTED{nullptr};

Bench::Factory textured(bool clips, void (*adjust)(ClipTex&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<ClipTex>();
        for (ClipRecord* clip : effect->inputs()) {
            clip->image.reset(image_duplicate(test_frame().get()));
            if (!clips) clip->wire(&NOT_CONNECTED, effect.get());
        }
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench usual("cliptex, default", QUILLON, 2, textured(false, [](ClipTex&) {}));
const Bench canvas("cliptex, canvas with relief and tint", QUILLON, 2, textured(false, [](ClipTex& e) {
                       e.Pattern.value = ClipTexInfo::Canvas;
                       e.Relief.value = e.Tint.value = e.Shade.value = 90;
                   }));
const Bench four("cliptex, four clips, turned, with relief", QUILLON, 6, textured(true, [](ClipTex& e) {
                     e.Angle.value = 20;
                     e.Relief.value = 80;
                 }));

}  // namespace
