// RomanTile: mosaics at 1920x1080. The default may take 60 times a copy of the picture.
#include "effects/abstract/RomanTile.h"

#include "benches/support/bench.h"

namespace {

Bench::Factory mosaic(void (*adjust)(RomanTile&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<RomanTile>();
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench tesserae("RomanTile, default", QUILLON, 2, mosaic([](RomanTile&) {}));
const Bench pieces("RomanTile, irregular", QUILLON, 2, mosaic([](RomanTile& e) {
                       e.Layout.value = 2;
                       e.TileSize.value = 0.026;
                   }));
const Bench fine("RomanTile, 53 000 tesserae", QUILLON, 2, mosaic([](RomanTile& e) { e.TileSize.value = 0.0033; }));
const Bench scales("RomanTile, fish scales", QUILLON, 2, mosaic([](RomanTile& e) {
                       e.Layout.value = 6;
                       e.TileSize.value = 0.021;
                   }));

}  // namespace
