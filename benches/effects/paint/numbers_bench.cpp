// Numbers: sheets of a picture of soft shapes under grain. The default may take 60 times a copy of the picture.
#include "benches/support/bench.h"
#include "effects/paint/Numbers.h"
#include "imagelib/imagelib_blur.h"

namespace {

// What photographs have and gradients under noise have not: areas with edges.
ImagePtr plate() {
    const SharedImage grain = test_frame();
    ImagePtr soft(image_duplicate(grain.get()));
    image_gaussian_blur(soft.get(), 3, 3, 7);
    for (int y = 0; y < soft->height; ++y) {
        float* p = image_row<float>(soft.get(), y);
        for (int x = 0; x < soft->width; ++x)
            if (((x / 90) ^ (y / 70)) % 3 == 0) std::swap(p[4 * x], p[4 * x + 2]), p[4 * x + 1] *= 0.5f;
    }
    return soft;
}

Bench::Factory sheet(void (*adjust)(Numbers&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Numbers>();
        effect->input.image = plate();
        effect->output.image = plate();
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench usual("numbers, default", QUILLON, 2, sheet([](Numbers&) {}));
const Bench many("numbers, 64 colours in small fields", QUILLON, 2, sheet([](Numbers& e) {
                     e.Colours.value = 64;
                     e.Smoothing.value = 3;
                     e.SmallestField.value = 4;
                 }));

}  // namespace
