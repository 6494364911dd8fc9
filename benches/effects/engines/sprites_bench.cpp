// Sprites of particles: those of whole sizes, and stamps of any size and turn.
#include <memory>

#include "benches/support/bench.h"
#include "effects/engines/sprites/Splats.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr float COLOUR[3] = {1, 0.5f, 0.25f};

template <class Add>
Bench::Factory particles(int count, Add add) {
    return [=](int) -> Bench::Work {
        auto image = blank_frame();
        auto splats = std::make_shared<Splats>();
        return [=] {
            MTRandom random(9);
            splats->begin(FRAME_WIDTH, FRAME_HEIGHT);
            for (int i = 0; i < count; ++i) {
                const float x = random.next_float_in(0, FRAME_WIDTH), y = random.next_float_in(0, FRAME_HEIGHT);
                add(*splats, x, y, random.next_float());
            }
            splats->draw(image.get());
        };
    };
}

Bench::Factory stamps(int count, float radius, float turn, DrawBlend blend) {
    const auto blob = std::make_shared<MipPicture>(make_soft_blob(16).get());
    return particles(count, [=](Splats& splats, float x, float y, float r) {
        const float size = radius * (0.75f + 0.5f * r);
        splats.stamp(blob.get(), x, y, {size, size, turn * r, {1, 0.5f, 0.25f}, 0.5f, blend});
    });
}

Bench::Factory blobs(int count, float radius, float turn) {
    const auto blob = std::make_shared<Sprite>(make_soft_blob(radius).get());
    return particles(count, [=](Splats& splats, float x, float y, float r) {
        splats.sprite_rotated(COLOUR, blob.get(), x, y, 0.5f, turn * r);
    });
}

const Bench small_blobs("100,000 blobs of radius 2.5", QUILLON, 0, blobs(100000, 2.5f, 0));
const Bench turned_blobs("20,000 turned blobs of radius 10", QUILLON, 0, blobs(20000, 10, 6));
const Bench small_stamps("100,000 stamps of radius 2 to 3", QUILLON, 0, stamps(100000, 2.5f, 0, DrawBlend::over));
const Bench turned_stamps("20,000 turned, added stamps of radius 8 to 13", QUILLON, 0,
                          stamps(20000, 10, 6, DrawBlend::add));

}  // namespace
