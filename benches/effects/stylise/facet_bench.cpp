// Facet at its smallest, a middle and its largest window against the plain loop over each window.
#include "effects/stylise/Facet.h"

#include <algorithm>
#include <cstring>

#include "benches/support/bench.h"

namespace {

Bench::Factory facet(int radius, int radius_y = 0) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Facet>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        effect->XRad.value = radius;
        effect->YRad.value = radius_y;
        effect->DoSync.value = radius_y == 0;
        return [=] { effect->ProcessFrame(); };
    };
}

// What the effect is defined by, with one histogram for each channel on the stack.
void plain_pixel(const K7Image& source, int x, int y, int half, float* out) {
    int counts[4][128] = {};
    for (int dy = -half; dy <= half; ++dy) {
        const float* row = image_row<float>(&source, std::clamp(y + dy, 0, source.height - 1));
        for (int dx = -half; dx <= half; ++dx) {
            const float* pixel = row + 4 * std::clamp(x + dx, 0, source.width - 1);
            for (int c = 0; c < 4; ++c) ++counts[c][std::clamp(static_cast<int>(pixel[c] * 127.99f), 0, 127)];
        }
    }
    for (int c = 0; c < 4; ++c)
        out[c] = static_cast<float>(std::max_element(counts[c], counts[c] + 128) - counts[c]) * (1.0f / 127.0f);
}

Bench::Factory plain(int half) {
    return [=](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame();
        return [=] {
            for_rows_float(FRAME_HEIGHT, [&](int first, int last) {
                for (int y = first; y <= last; ++y)
                    for (int x = 0; x < FRAME_WIDTH; ++x)
                        plain_pixel(*source, x, y, half, image_row<float>(result.get(), y) + 4 * x);
            });
        };
    };
}

const Bench facet_3("facet 3x3", QUILLON, 2, facet(1));
const Bench plain_3("facet 3x3", "plain loop", 2, plain(1));
const Bench facet_5("facet 5x5", QUILLON, 2, facet(4));
const Bench facet_15("facet 15x15", QUILLON, 2, facet(14));
const Bench facet_31("facet 31x31", QUILLON, 2, facet(30));
const Bench plain_31("facet 31x31", "plain loop", 2, plain(15));
const Bench facet_3_by_31("facet 3x31", QUILLON, 2, facet(1, 30));

}  // namespace
