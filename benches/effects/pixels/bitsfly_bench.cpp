// BitsFly: default, thick shards in a burst, and very many small tiles, at 1920x1080 with half of the picture in the
// air. The default may take 30 copies of the picture.
#include "benches/support/bench.h"
#include "effects/pixels/BitsFly.h"

namespace {

Bench::Factory flight(void (*adjust)(BitsFly&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<BitsFly>();
        for (ClipRecord* clip : effect->inputs()) clip->image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        K7Image* plate = effect->picture.image.get();  // opaque, as plates are
        for (int y = 0; y < plate->height; ++y)
            for (int x = 0; x < plate->width; ++x) image_row<float>(plate, y)[4 * x + 3] = 1;
        effect->currentFrame = 24;
        // Without a host every clip counts as connected: one that lets all fly by their order, in one plane.
        effect->timing.MatteMix.value = 0, effect->Depth.value = 0;
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench plain("BitsFly, default", QUILLON, 2, flight([](BitsFly&) {}));
const Bench thick("BitsFly, thick shards", QUILLON, 2, flight([](BitsFly& e) {
                      e.Shape.value = TilingShape::Shards, e.TileSize.value = 4, e.Thickness.value = 25;
                      e.timing.Order.value = Departures::FromCentre, e.Burst.value = 5;
                  }));
const Bench small("BitsFly, tiles of 0.7 %", QUILLON, 2, flight([](BitsFly& e) {
                      e.Shape.value = TilingShape::Hexagons, e.TileSize.value = 0.7, e.Wind.value = 15;
                  }));
const BenchGate gate = BenchGate::memcpys("BitsFly, default", 30);

}  // namespace
