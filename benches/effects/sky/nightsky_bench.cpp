// NightSky with as many stars as are shipped, scattered evenly.
#include <random>

#include "benches/support/bench.h"
#include "effects/sky/NightSky.h"

namespace {

std::vector<CatalogueStar> stars() {
    std::mt19937 generator(1);
    const auto between = [&](double low, double high) { return low + (high - low) * (generator() / 4294967296.0); };
    std::vector<CatalogueStar> all;
    for (int i = 0; i < 45000; ++i)
        all.push_back({star_position(between(0, 24), between(-90, 90), 1, -3, 0.01, 10), 10001 + i,
                       static_cast<float>(8.5 - 7 * between(0, 1) * between(0, 1)), 'G', 3, false});
    return all;
}

Bench::Factory sky(void (*adjust)(NightSky&)) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<NightSky>();
        effect->useStars(stars());
        effect->input.image.reset(image_duplicate(test_frame().get()));
        effect->output.image.reset(image_duplicate(test_frame().get()));
        adjust(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench night("night sky, 45000 stars", QUILLON, 1, sky([](NightSky&) {}));
const Bench twinkling("night sky, wide, twinkling", QUILLON, 1, sky([](NightSky& e) {
                          e.VField.value = 150;
                          e.DoStreaks.value = true;
                          e.Streaks.value = 8, e.StreakLen.value = 40, e.FRange.value = 5;
                      }));

}  // namespace
