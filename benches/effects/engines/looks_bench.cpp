// Small particles of every look, and the forces that move them. 100,000 blobs may take 60 ms on two threads.
#include <algorithm>
#include <memory>
#include <vector>

#include "benches/support/bench.h"
#include "effects/engines/particles/ForceField.h"
#include "effects/engines/sprites/LookSprites.h"
#include "effects/engines/sprites/SpriteGlow.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/mtrandom.h"

namespace {

std::vector<LookSprite> scattered(int count, float radius) {
    MTRandom random(9);
    std::vector<LookSprite> sprites(static_cast<std::size_t>(count));
    for (LookSprite& s : sprites) {
        s.x = random.next_float_in(0, FRAME_WIDTH);
        s.y = random.next_float_in(0, FRAME_HEIGHT);
        s.radius = radius * random.next_float_in(0.75f, 1.25f);
        s.way_x = random.next_float_in(-3, 3);
        s.way_y = random.next_float_in(-3, 3);
        s.colour[1] = 0.5f;
        s.opacity = 0.5f;
    }
    return sprites;
}

Bench::Factory sprites(SpriteLook look, DrawBlend blend, int count, float radius, float glow = 0) {
    return [=](int) -> Bench::Work {
        auto image = blank_frame();
        auto batch = std::make_shared<LookSprites>();
        auto halos = std::make_shared<SpriteGlow>();
        const auto all = std::make_shared<std::vector<LookSprite>>(scattered(count, radius));
        return [=] {
            batch->begin(*image, {.look = look, .blend = blend});
            std::copy(all->begin(), all->end(), batch->grow(all->size()));
            batch->draw(image.get());
            halos->draw(image.get(), all->data(), all->size(), {7, 6, glow});
        };
    };
}

const Bench blobs("100,000 look blobs of radius 2 to 3", QUILLON, 2,
                  sprites(SpriteLook::blob, DrawBlend::over, 100000, 2.5f));
const BenchGate blob_gate = BenchGate::milliseconds("100,000 look blobs of radius 2 to 3", 60);
const Bench points("100,000 added points of radius 1", QUILLON, 2,
                   sprites(SpriteLook::point, DrawBlend::add, 100000, 1));
const Bench flakes("20,000 flakes of radius 8", QUILLON, 2, sprites(SpriteLook::flake, DrawBlend::over, 20000, 8));
const Bench glowing("20,000 screened stars of radius 6 with halos", QUILLON, 3,
                    sprites(SpriteLook::star, DrawBlend::screen, 20000, 6, 0.5f));

// Places and velocities of 100,000 particles in wind, a vortex and swirls.
const Bench forces("forces on 100,000 particles", QUILLON, 0, [](int) -> Bench::Work {
    constexpr int COUNT = 100000;
    struct State {
        std::vector<float> x = std::vector<float>(COUNT), y = x, vx = x, vy = x;
        SolidNoise noise{7};
    };
    auto state = std::make_shared<State>();
    MTRandom random(9);
    for (float& v : state->x) v = random.next_float_in(0, FRAME_WIDTH);
    for (float& v : state->y) v = random.next_float_in(0, FRAME_HEIGHT);
    particles::ForceField field;
    field.grip = 0.1f;
    field.wind[0] = 2;
    field.swirl_speed = 3;
    field.swirl_cells = 0.004f;
    field.vortex_speed = 5;
    field.vortex_radius = 200;
    return [=] {
        const auto now = field.at(10, state->noise);
        for_rows_float((COUNT + 255) / 256, [&](int first, int last) {
            for (int i = first * 256; i < std::min((last + 1) * 256, COUNT); i += 256)
                field.apply(now, state->noise, nullptr,
                            {state->x.data() + i, state->y.data() + i, state->vx.data() + i, state->vy.data() + i,
                             nullptr, std::min(256, COUNT - i)});
        });
    };
});

}  // namespace
