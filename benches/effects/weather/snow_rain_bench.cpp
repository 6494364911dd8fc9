// Particles and weather: the drawing of sprites, a silent step, and whole frames of the presets.
#include "benches/support/bench.h"
#include "effects/engines/sprites/Splats.h"
#include "effects/weather/Snow.h"

namespace {

// Places as snow has them: anywhere, in no order.
Bench::Factory splats(int count, float radius, float radians) {
    return [=](int) -> Bench::Work {
        auto sprite = std::make_shared<Sprite>(make_soft_blob(radius).get());
        auto collected = std::make_shared<Splats>();
        collected->begin(FRAME_WIDTH, FRAME_HEIGHT);
        MTRandom random(1);
        constexpr float WHITE[3] = {1, 1, 1};
        for (int i = 0; i < count; ++i) {
            const float x = random.next_float() * FRAME_WIDTH;
            const float y = random.next_float() * FRAME_HEIGHT;
            collected->sprite_rotated(WHITE, sprite.get(), x, y, 0.8f, radians);
        }
        auto frame = test_frame();
        return [=] { collected->draw(frame.get()); };
    };
}

const Bench blobs_4("10,000 blobs of radius 4", QUILLON, 2, splats(10000, 4, 0));
const Bench blobs_1("10,000 blobs of radius 1.5", QUILLON, 2, splats(10000, 1.5f, 0));
const Bench blobs_20("1,000 blobs of radius 20", QUILLON, 2, splats(1000, 20, 0));
const Bench turned_4("10,000 turned sprites of radius 4", QUILLON, 2, splats(10000, 4, 0.7f));

std::shared_ptr<Snow> snow_on_a_frame() {
    auto snow = std::make_shared<Snow>();
    snow->input.image.reset(image_duplicate(test_frame().get()));
    snow->output.image.reset(image_duplicate(test_frame().get()));
    return snow;
}

// Frame after frame of about 100,000 flakes: lives are 18 to 182 frames, 1,000 are born a frame. Without opacity a
// frame is a step that draws nothing.
Bench::Factory falling(bool swirl, bool keep_states, double opacity) {
    return [=](int) -> Bench::Work {
        auto snow = snow_on_a_frame();
        snow->emitter.density.value = 1000, snow->emitter.lifetime.value = 182, snow->Opacity.value = opacity;
        snow->turbulence.on.value = swirl;
        snow->FlakeSize.value = 2;
        if (!keep_states) snow->clock().set_budget(0);
        auto next = std::make_shared<double>(190);
        snow->currentFrame = *next;
        snow->ProcessFrame();
        return [=] {
            snow->currentFrame = ++*next;
            snow->ProcessFrame();
        };
    };
}

const Bench step("step of 100,000 flakes, swirl", QUILLON, 0, falling(true, false, 0));
const Bench calm_step("step of 100,000 flakes, calm", QUILLON, 0, falling(false, false, 0));
const Bench kept_step("step of 100,000 flakes, swirl, states kept", QUILLON, 0, falling(true, true, 0));
const Bench drawn_step("frame of 100,000 flakes", QUILLON, 2, falling(true, true, 100));
const Bench default_snow("snow, default, frame 200 on", QUILLON, 2, [](int) -> Bench::Work {
    auto snow = snow_on_a_frame();
    auto next = std::make_shared<double>(200);
    return [=] {
        snow->currentFrame = ++*next;
        snow->ProcessFrame();
    };
});

}  // namespace
