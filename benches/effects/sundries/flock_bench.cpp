// Flock: a step and a frame at 1920x1080 in order, once the flock has formed. The default may take 30 times a copy of
// the picture, 5,000 members 30 ms.
#include "effects/sundries/Flock.h"

#include <atomic>

#include "benches/support/bench.h"

namespace {

Bench::Factory flock(void (*adjust)(Flock&)) {
    return [=](int) -> Bench::Work {
        static std::atomic<OfxImageClipHandle> nothing{};
        auto effect = std::make_shared<Flock>();
        for (ClipRecord* clip : effect->inputs()) {
            clip->image.reset(image_duplicate(test_frame().get()));
            clip->wire(&nothing, effect.get());
        }
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        auto next = std::make_shared<double>(0);
        effect->ProcessFrame();
        return [=] {
            effect->currentFrame = ++*next;
            effect->ProcessFrame();
        };
    };
}

const Bench standard("Flock, default", QUILLON, 2, flock([](Flock&) {}));
const BenchGate standard_gate = BenchGate::memcpys("Flock, default", 30);
const Bench many("Flock, 5,000 members", QUILLON, 2, flock([](Flock& e) { e.Members.value = 5000; }));
const BenchGate many_gate = BenchGate::milliseconds("Flock, 5,000 members", 30);
const Bench small("Flock, 5,000 members half as large", QUILLON, 2, flock([](Flock& e) {
                      e.Members.value = 5000;
                      e.Size.value = 1.2;
                  }));
const Bench step("Flock, 5,000 members, nothing drawn", QUILLON, 0, flock([](Flock& e) {
                     e.Members.value = 5000;
                     e.Opacity.value = 0;
                 }));

}  // namespace
