// Q_Flock: members that the shape clips show.
#include <algorithm>
#include <cmath>

#include "effects/engines/particles/Readings.h"
#include "effects/sundries/Flock.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float A_STEP = 2;  // pixels from one picture of a blur to the next
constexpr int MOST_STEPS = 8;

}  // namespace

// The picture of a shape at a frame of the clips; where the host has no such frame, the current one.
ImagePtr Flock::shapeAt(int frame) {
    const int now = static_cast<int>(std::floor(currentFrame + 0.5));
    ImagePtr fetched[2];
    const K7Image* shown[2] = {};
    ClipRecord* clips[2] = {&shapeColour, &shapeMatte};
    for (int i = 0; i < 2; ++i) {
        if (!clips[i]->isConnected()) continue;
        shown[i] = clips[i]->image.get();
        if (frame == now) continue;
        fetched[i] = made(make_image_uncleared(shown[i]->width, shown[i]->height, 4, SAMPLE_F32));
        if (clips[i]->GetFrame(frame, fetched[i].get())) {
            fetched[i]->pixel_width = shown[i]->pixel_width, fetched[i]->pixel_height = shown[i]->pixel_height;
            shown[i] = fetched[i].get();
        }
    }
    return flock::shape_picture(shown[0], shown[1], look().main, shown[0] ? ShapeTint.percent() : 0);
}

flock::ShapeCycle Flock::cutCycle() {
    std::vector<ImagePtr> pictures;
    if (Cycle.value <= 1) {
        pictures.push_back(shapeAt(static_cast<int>(std::floor(currentFrame + 0.5))));
    } else {
        for (int i = 0; i < Cycle.value && !abortRequested(); ++i) pictures.push_back(shapeAt(CycleStart.value + i));
    }
    if (abortRequested()) return {};
    return flock::cut_shapes(pictures);
}

// Blurred members are the mean of several pictures of all of them.
void Flock::paintShapes(K7Image& result) {
    if (m_shown.empty()) return;
    const flock::ShapeCycle cycle = cutCycle();
    if (cycle.shapes.empty()) return;
    float way = 0;
    for (const flock::View& seen : m_shown)
        if (std::isfinite(seen.way_x + seen.way_y))
            way = std::max(way, std::sqrt(seen.way_x * seen.way_x + seen.way_y * seen.way_y));
    const int steps =
        way > 1 ? std::clamp(static_cast<int>(std::ceil(std::min(way, 1000.0F) / A_STEP)), 1, MOST_STEPS) : 1;
    if (steps == 1) return stampShapes(cycle, 1, result);
    const ImagePtr layer = made(make_image(result.width, result.height, 4, SAMPLE_F32)),
                   sum = made(make_image(result.width, result.height, 4, SAMPLE_F32));
    const float share = 1 / static_cast<float>(steps);
    for (int i = 0; i < steps && !abortRequested(); ++i) {
        image_clear(layer.get());
        stampShapes(cycle, (static_cast<float>(i) + 0.5F) * share, *layer);
        eachRow(result.height, [&](int y) {
            float* out = image_row<float>(sum.get(), y);
            const float* in = image_row<float>(layer.get(), y);
            for (int k = 0; k < 4 * result.width; ++k) out[k] += share * in[k];
        });
    }
    eachRow(result.height, [&](int y) {
        float* out = image_row<float>(&result, y);
        const float* in = image_row<float>(sum.get(), y);
        for (int x = 0; x < result.width; ++x, out += 4, in += 4) {
            const float behind = 1 - in[3];
            for (int c = 0; c < 4; ++c) out[c] = in[c] + behind * out[c];
        }
    });
}

void Flock::stampShapes(const flock::ShapeCycle& cycle, float time, K7Image& layer) {
    const float wide = layer.pixel_width > 0 && layer.pixel_height > 0 ? layer.pixel_height / layer.pixel_width : 1;
    const float facing = static_cast<float>(ShapeFacing.value) * particles::DEGREE;
    const auto frames = static_cast<int>(cycle.shapes.size());
    splats().begin(layer.width, layer.height);
    for (const flock::View& seen : m_shown) {
        const float into = seen.phase - std::floor(seen.phase);
        const int index =
            Cycle.value > 1 ? std::clamp(static_cast<int>(into * static_cast<float>(frames)), 0, frames - 1) : 0;
        const flock::Shape& shape = cycle.shapes[static_cast<std::size_t>(index)];
        const float x = seen.axes[0][0], y = seen.axes[0][1];
        // One that heads to the left is mirrored, so that it is never upside down.
        const bool left = x * k7_cos(facing) < 0;
        float turned = 0;
        if (ShapeTurns.value == WithHeading) {
            const float rests = left ? 3.14159265F - facing : facing;
            turned = k7_atan2(y, x) - rests;
        }
        Splats::Look look{.half_width = 0.5F * seen.size * wide / std::max(1.0F, cycle.aspect),
                          .half_height = 0.5F * seen.size * std::min(1.0F, cycle.aspect)};
        if (cycle.aspect > 1) look.half_height = 0.5F * seen.size;
        look.radians = turned;
        look.opacity = seen.opacity;
        const bool mirrored = left && ShapeTurns.value != Upright;
        splats().stamp(mirrored ? &shape.left : &shape.right, seen.x - (1 - time) * seen.way_x - 0.5F,
                       seen.y - (1 - time) * seen.way_y - 0.5F, look);
    }
    splats().draw(&layer);
}
