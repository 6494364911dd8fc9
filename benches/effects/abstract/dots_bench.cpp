// Dots by default, in four inks of small cells and as rings, against the plain loop: 16 points a pixel that are below
// the size or not.
#include "effects/abstract/Dots.h"

#include <cmath>
#include <functional>

#include "benches/support/bench.h"

namespace {

Bench::Factory dots(const std::function<void(Dots&)>& set = {}) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Dots>();
        for (ClipRecord* clip : effect->inputs()) clip->image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        if (set) set(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

float covered(const float* pixel, float x, float y, float cell) {
    const float size = std::sqrt((1 - (0.3f * pixel[0] + 0.5f * pixel[1] + 0.2f * pixel[2])) / 3.1415927f);
    int inside = 0;
    for (int i = 0; i < 16; ++i) {
        const float px = x + 0.125f + 0.25f * float(i % 4), py = y + 0.125f + 0.25f * float(i / 4);
        float u = (px + py) * 0.70710678f / cell, v = (py - px) * 0.70710678f / cell;
        u -= std::floor(u) + 0.5f, v -= std::floor(v) + 0.5f;
        inside += u * u + v * v < size * size;
    }
    return float(inside) / 16;
}

Bench::Factory plain() {
    return [](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame();
        return [=] {
            for_rows_float(FRAME_HEIGHT, [&](int first, int last) {
                for (int y = first; y <= last; ++y) {
                    const float* from = image_row<float>(source.get(), y);
                    float* to = image_row<float>(result.get(), y);
                    for (int x = 0; x < FRAME_WIDTH; ++x) {
                        const float light = 1 - covered(from + 4 * x, float(x), float(y), 15.36f);
                        to[4 * x] = to[4 * x + 1] = to[4 * x + 2] = light;
                        to[4 * x + 3] = from[4 * x + 3];
                    }
                }
            });
        };
    };
}

const Bench round_dots("dots", QUILLON, 2, dots());
const Bench plain_dots("dots", "plain loop", 2, plain());
const Bench four_inks("dots in four inks", QUILLON, 2, dots([](Dots& effect) {
                          effect.Colouring.value = 3;
                          effect.DotSize.value = 0.0036;
                      }));
const Bench rings("dots as rings", QUILLON, 2, dots([](Dots& effect) { effect.Pattern.value = 7; }));
const Bench grain("dots as blue noise", QUILLON, 2, dots([](Dots& effect) {
                      effect.Pattern.value = 9;
                      effect.Angle.value = 0;
                  }));

}  // namespace
