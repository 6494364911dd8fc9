// TVWall: screens at 1920x1080. The default may take 60 times a copy of the picture.
#include "benches/support/bench.h"
#include "effects/tv/TVWall.h"

namespace {

Bench::Factory wall(void (*adjust)(TVWall&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<TVWall>();
        for (ClipRecord* clip : effect->inputs()) clip->image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench one("TVWall, default", QUILLON, 2, wall([](TVWall&) {}));
const Bench many("TVWall, 8 x 8 in perspective", QUILLON, 2, wall([](TVWall& e) {
                     e.Columns.value = e.Rows.value = 8;
                     e.quad.TR.y = 0.7, e.quad.BR.y = 0.2;
                 }));

}  // namespace
