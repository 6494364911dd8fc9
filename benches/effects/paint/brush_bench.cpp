// Brush by default and with its finest and its longest strokes, beside what OpenCV calls oil painting: the most
// frequent intensity round each pixel, without strokes.
#include "effects/paint/Brush.h"

#include <atomic>
#include <functional>

#include "benches/support/bench.h"

#if defined(QUILLON_RIVAL_XPHOTO)
#include <opencv2/core.hpp>
#include <opencv2/xphoto/oilpainting.hpp>
#endif

namespace {

// Smooth forms of all sizes with edges, as photographs have; grain alone has no detail to paint.
SharedImage forms() {
    auto image = blank_frame();
    for (int y = 0; y < FRAME_HEIGHT; ++y) {
        float* row = image_row<float>(image.get(), y);
        for (int x = 0; x < FRAME_WIDTH; ++x) {
            const auto ring = [&](float cx, float cy, float size) {
                const float dx = (float(x) - cx) / size, dy = (float(y) - cy) / size, d = dx * dx + dy * dy;
                return d < 1 ? 1 - d : 0.0f;
            };
            const int cell_x = x / 160, cell_y = y / 160;
            const float small = ring(float(cell_x * 160 + 80), float(cell_y * 160 + 80), float(20 + 7 * (cell_x % 8)));
            const float large = ring(700, 500, 460);
            row[4 * x] = 0.2f + 0.5f * large + 0.3f * small;
            row[4 * x + 1] = 0.3f + 0.4f * float(y) / FRAME_HEIGHT - 0.2f * small;
            row[4 * x + 2] = 0.6f - 0.5f * large + 0.1f * small;
            row[4 * x + 3] = 1;
        }
    }
    return image;
}

Bench::Factory brush(const std::function<void(Brush&)>& set = {}) {
    return [=](int) -> Bench::Work {
        auto effect = std::make_shared<Brush>();
        const SharedImage canvas = forms();
        static std::atomic<OfxImageClipHandle> nothing{};
        for (ClipRecord* clip : effect->inputs()) {
            clip->image.reset(image_duplicate(canvas.get()));
            clip->wire(&nothing, effect.get());
        }
        effect->output.image.reset(image_duplicate(canvas.get()));
        if (set) set(*effect);
        return [=] { effect->ProcessFrame(); };
    };
}

const Bench by_default("brush", QUILLON, 2, brush());
const Bench dabs("brush in dabs", QUILLON, 2, brush([](Brush& effect) {
                     effect.StrokeLength.value = 1;
                     effect.StrokeSize.value = 0.01;
                     effect.SmallestStroke.value = 0.0042;
                     effect.Layers.value = 3;
                 }));
const Bench wet("brush wet on paper", QUILLON, 2, brush([](Brush& effect) {
                    effect.Wetness.value = 70;
                    effect.StrokeSize.value = 0.055;
                    effect.Relief.value = 0;
                }));

#if defined(QUILLON_RIVAL_XPHOTO)
const Bench oil_painting("brush", "OpenCV oilPainting", 2, [](int threads) -> Bench::Work {
    cv::setNumThreads(threads);
    const SharedImage canvas = forms();
    cv::Mat bytes(FRAME_HEIGHT, FRAME_WIDTH, CV_8UC3), result;
    for (int y = 0; y < FRAME_HEIGHT; ++y)
        for (int x = 0; x < FRAME_WIDTH; ++x)
            for (int c = 0; c < 3; ++c)
                bytes.at<cv::Vec3b>(y, x)[c] =
                    cv::saturate_cast<uchar>(255 * image_row<float>(canvas.get(), y)[4 * x + c]);
    return [=]() mutable { cv::xphoto::oilPainting(bytes, result, 4, 1); };
});
#endif

}  // namespace
