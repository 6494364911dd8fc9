// The zoom blur's line walk against a plain loop over the same samples.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "benches/support/bench.h"
#include "imagelib/imagelib_lic.h"

namespace {

constexpr float CX = 947.3f, CY = 551.6f;

// Circle of radius 0, one sample a pixel, no ramp, square pixels.
void plain_pixel(const K7Image* source, int x, int y, float speed, float* out) {
    const float length_x = -speed * (float(x) - CX), length_y = -speed * (float(y) - CY);
    const float longer = std::max(std::fabs(length_x), std::fabs(length_y));
    const int steps = int(longer);
    const float step_x = longer > 0 ? length_x / longer : 0, step_y = longer > 0 ? length_y / longer : 0;
    float sum[4] = {}, px = float(x), py = float(y);
    for (int k = 0; k <= steps; ++k, px += step_x, py += step_y) {
        const int sx = std::clamp(int(px), 0, source->width - 1), sy = std::clamp(int(py), 0, source->height - 1);
        const float* pixel = image_row<float>(source, sy) + 4 * sx;
        for (int c = 0; c < 4; ++c) sum[c] += pixel[c];
    }
    for (int c = 0; c < 4; ++c) out[c] = sum[c] / float(steps + 1);
}

void plain_lic(const K7Image* source, K7Image* result, float speed) {
    for_rows(source->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y)
            for (int x = 0; x < source->width; ++x)
                plain_pixel(source, x, y, speed, image_row<float>(result, y) + 4 * x);
    });
}

Bench::Factory ours(float speed, int sides) {
    return [=](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame();
        return [=] { image_radial_lic(source.get(), result.get(), CX, CY, 0, speed, 1, 1, sides, 0); };
    };
}

Bench::Factory plain(float speed) {
    return [=](int) -> Bench::Work {
        auto source = test_frame(), result = blank_frame();
        return [=] { plain_lic(source.get(), result.get(), speed); };
    };
}

const Bench lic_10("radial LIC, reach 10 %", QUILLON, 2, ours(0.1f, 0));
const Bench plain_10("radial LIC, reach 10 %", "plain loop", 2, plain(0.1f));
const Bench lic_50("radial LIC, reach 50 %", QUILLON, 2, ours(0.5f, 0));
const Bench plain_50("radial LIC, reach 50 %", "plain loop", 2, plain(0.5f));
const Bench lic_out("radial LIC, reach -50 %", QUILLON, 2, ours(-0.5f, 0));
const Bench plain_out("radial LIC, reach -50 %", "plain loop", 2, plain(-0.5f));
const Bench lic_hexagon("radial LIC, hexagon, reach 10 %", QUILLON, 2, ours(0.1f, 6));

const Bench lic_screened("screened radial LIC, reach 10 %", QUILLON, 3, [](int) {
    auto source = test_frame(), screen = test_frame(), result = blank_frame();
    return [=] { image_radial_lic_screened(source.get(), screen.get(), result.get(), CX, CY, 0.1f, 1, 1, 0.5f); };
});

}  // namespace
