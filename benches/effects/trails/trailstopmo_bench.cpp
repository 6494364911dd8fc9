// TrailStopMo: a copy and the live frame laid down, and as many copies as the default has, without the host's frames.
// The default may take 30 times a copy of the picture.
#include "effects/trails/TrailStopMo.h"

#include "benches/support/bench.h"
#include "effects/trails/TrailStopMo_simd.h"

namespace {

const Bench six("TrailStopMo, six copies by their difference", QUILLON, 3, [](int) -> Bench::Work {
    auto copy = test_frame(), plate = blank_frame(), result = blank_frame();
    const LayerLook look{2, 0.8F, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    return [=] {
        for (int i = 0; i < 6; ++i)
            for_rows_float(result->height, [&](int first, int last) {
                for (int y = first; y <= last; ++y) {
                    layer_rows().key({3, 0.08F, 0.2F}, image_row<float>(plate.get(), y),
                                     image_row<float>(copy.get(), y), copy->width);
                    layer_rows().lay(look, image_row<float>(copy.get(), y), nullptr, image_row<float>(result.get(), y),
                                     copy->width);
                }
            });
    };
});

}  // namespace
