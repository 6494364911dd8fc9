// CCTV: what its systems cost at 1920x1080. The default may take 60 times a copy of the picture.
#include "benches/support/bench.h"
#include "effects/tv/CCTV.h"

namespace {

Bench::Factory system_of(void (*adjust)(CCTV&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<CCTV>();
        for (ClipRecord* clip : effect->inputs()) clip->image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench one("CCTV, default", QUILLON, 2, system_of([](CCTV&) {}));
const Bench quad("CCTV, quad", QUILLON, 2, system_of([](CCTV& e) { e.View.value = CCTVInfo::Quad; }));
const Bench digital("CCTV, 1080 lines in blocks", QUILLON, 3, system_of([](CCTV& e) {
                        e.Lines.value = 1080;
                        e.Compression.value = 60;
                        e.BlockErrors.value = 20;
                    }));

}  // namespace
