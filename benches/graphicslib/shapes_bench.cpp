// Shapes straight into pictures: many small ones, strokes, and text.
#include <cmath>
#include <memory>
#include <string>

#include "benches/support/bench.h"
#include "graphicslib/shape_batch.h"
#include "graphicslib/stroke_text.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr GraphicsColour INK{1, 0.5F, 0.25F, 0.5F};

// Collected and drawn, as an effect does in every frame.
template <class Collect>
Bench::Factory frames(Collect collect) {
    return [=](int) -> Bench::Work {
        auto image = blank_frame();
        auto batch = std::make_shared<ShapeBatch>();
        return [=] {
            batch->begin(FRAME_WIDTH, FRAME_HEIGHT);
            collect(*batch);
            batch->draw(image.get());
        };
    };
}

// Quads of 6 to 10 pixels, each turned in its own way.
template <class Add>
void quads(int count, Add add) {
    MTRandom random(4);
    for (int i = 0; i < count; ++i) {
        const float x = random.next_float_in(0, FRAME_WIDTH), y = random.next_float_in(0, FRAME_HEIGHT);
        const float a = random.next_float_in(-5, 5), b = random.next_float_in(3, 5);
        add(x, y, a, b);
    }
}

void plain_quads(ShapeBatch& batch) {
    quads(200000, [&](float x, float y, float a, float b) {
        const float corners[] = {x + a, y + b, x - b, y + a, x - a, y - b, x + b, y - a};
        batch.polygon(4, corners, INK);
    });
}

const Bench plain("200,000 quads of 8 px, one colour each", QUILLON, 0, frames(plain_quads));

const Bench textured("200,000 textured quads of 8 px, by depth", QUILLON, 0, [](int threads) {
    const auto texture = std::make_shared<MipPicture>(test_frame().get(), false, MipPicture::Frame::repeat);
    return frames([=](ShapeBatch& batch) {
        quads(200000, [&](float x, float y, float a, float b) {
            const ShapeVertex corners[] = {{x + a, y + b, x, y, 1.1F},
                                           {x - b, y + a, x - 8, y, 1},
                                           {x - a, y - b, x - 8, y - 8, 1},
                                           {x + b, y - a, x, y - 8, 1.1F}};
            batch.set_depth(a);
            batch.mesh(4, corners, texture.get());
        });
        batch.sort_by_depth();
    })(threads);
});

const Bench strokes("100 round curves 8 px wide, united", QUILLON, 0, frames([](ShapeBatch& batch) {
                        MTRandom random(2);
                        for (int i = 0; i < 100; ++i) {
                            float knots[20];
                            for (float& place : knots) place = random.next_float_in(100, 1000);
                            FlatPath path;
                            path.spline_through(10, knots, false);
                            batch.stroke(path, 8, {StrokeStyle::ROUND, StrokeStyle::ROUND_CAP}, INK);
                        }
                    }));

const Bench text("100,000 glyphs of 12 px, cached", QUILLON, 0, [](int threads) {
    const auto cache = std::make_shared<GlyphCache>(TextLook{.size = 12, .weight = 0.1F});
    return frames([=](ShapeBatch& batch) {
        MTRandom random(6);
        for (int i = 0; i < 100000; ++i)
            cache->draw(batch, 'A' + i % 26, random.next_float_in(0, FRAME_WIDTH),
                        random.next_float_in(0, FRAME_HEIGHT), INK);
    })(threads);
});

}  // namespace
