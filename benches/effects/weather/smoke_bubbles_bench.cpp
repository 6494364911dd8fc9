// Smoke and Bubbles: whole frames of presets, one after another, and the painting of shells alone.
#include "benches/support/bench.h"
#include "effects/weather/Bubbles.h"
#include "effects/weather/Smoke.h"
#include "tests/effects/weather/weather_support.h"

namespace {

// Frames in sequence, from where about as many particles die as are born.
template <class EffectClass>
Bench::Factory frames(const char* preset, double first) {
    // Kept over the calls that look for a good number of repetitions: the frames before the first take a while.
    auto kept = std::make_shared<std::shared_ptr<weather_test::Shot<EffectClass>>>();
    return [=](int) -> Bench::Work {
        if (!*kept)
            *kept = std::make_shared<weather_test::Shot<EffectClass>>(weather_test::presetCalled<EffectClass>(preset),
                                                                      FRAME_WIDTH, FRAME_HEIGHT);
        const auto shot = *kept;
        EffectClass& effect = shot->effect;
        shot->render(first);
        effect.output.image.reset(image_duplicate(test_frame().get()));
        auto next = std::make_shared<double>(first);
        return [shot, next] {
            shot->effect.currentFrame = ++*next;
            shot->effect.ProcessFrame();
        };
    };
}

const Bench bubbles("bubbles, default", QUILLON, 2, frames<Bubbles>("Default", 200));
const Bench bubbly("bubbles, Bubbly", QUILLON, 2, frames<Bubbles>("Bubbly", 100));
const Bench flurry("bubbles, Flurry", QUILLON, 2, frames<Bubbles>("Flurry", 100));
const Bench smoke("smoke, default (88,000 points)", QUILLON, 2, frames<Smoke>("Default", 400));
const Bench busy("smoke, Busy Smoke (350,000 points)", QUILLON, 2, frames<Smoke>("Busy Smoke", 200));
const Bench billow("smoke, Billow (3,500 puffs)", QUILLON, 2, frames<Smoke>("Billow", 200));

// 2000 shells of 10 pixels, at rest and drawn out by the shutter.
Bench::Factory shells(float way) {
    return [=](int) -> Bench::Work {
        auto sprites = std::make_shared<BubbleSprites>();
        auto powers = std::make_shared<GlossPowers>();
        auto list = std::make_shared<std::vector<Bubble>>();
        const SharedImage mirrored(mirrored_picture(test_frame().get(), 32));
        auto frame = test_frame();
        MTRandom random(1);
        for (int i = 0; i < 2000; ++i) {
            Bubble bubble;
            bubble.sprite = sprites->get(19);
            bubble.x = random.next_float() * FRAME_WIDTH;
            bubble.y = random.next_float() * FRAME_HEIGHT;
            bubble.tail_x = bubble.x;
            bubble.tail_y = bubble.y - way;
            bubble.colour[0] = bubble.colour[1] = bubble.colour[2] = 0.4f;
            bubble.coverage = 0.4f;
            bubble.gloss = {.half = {0.6f, 0.5f, 0.6245f}, .powers = powers->of(50), .strength = {0.3f, 0.3f, 0.3f}};
            list->push_back(bubble);
        }
        return [=, alive = std::make_pair(sprites, powers)] {
            for (const Bubble& bubble : *list) {
                int first = 0, last = 0;
                if (bubble.rows(FRAME_HEIGHT, &first, &last))
                    paint_bubble(bubble, mirrored.get(), 0.9f, frame.get(), first, last);
            }
        };
    };
}
const Bench still_shells("2,000 shells of 10 pixels, painted", QUILLON, 0, shells(0));
const Bench long_shells("2,000 shells of 10 pixels, drawn out by 12", QUILLON, 0, shells(12));

}  // namespace
