// Brush: colours stay, strokes follow what steers them, every clip counts, and nothing boils.
#include "effects/paint/Brush.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

struct Painted : EffectShot<Brush> {
    explicit Painted(ImagePtr shown) : EffectShot(std::move(shown)) {
        for (ClipRecord* clip : {&effect.painting, &effect.matte, &effect.control}) clip->wire(&nothing, &effect);
    }
    // From now on the host has this picture for the clip.
    void connect(ClipRecord& clip, ImagePtr shown) {
        connected.push_back({&clip, std::move(shown)});
        clip.wire(nullptr, &effect);
    }
    K7Image& shown(double frame = 0) {  // clips give fresh images for each render
        for (ClipRecord* clip : effect.inputs()) clip->image.reset();
        for (const auto& [clip, image] : connected) clip->image.reset(image_duplicate(image.get()));
        return render(frame);
    }
    // Nothing but colours: no chance in them, no light, no gaps.
    Painted& plain() {
        for (FloatControlK7* control :
             {&effect.HueJitter, &effect.SaturationJitter, &effect.ValueJitter, &effect.Streaks, &effect.Relief,
              &effect.GrainRelief, &effect.PaperGrain, &effect.Dryness})
            control->value = 0;
        effect.Saturation.value = 100;
        effect.Strokes.value = 300;
        return *this;
    }

    std::atomic<OfxImageClipHandle> nothing{};
    std::vector<std::pair<ClipRecord*, ImagePtr>> connected;
};

// Soft forms with some edges.
ImagePtr forms(int width, int height) {
    return picture(width, height, [=](int x, int y, int c) {
        const float u = (float(x) + 0.5f) / float(width), v = (float(y) + 0.5f) / float(width);
        const bool disc = (u - 0.4f) * (u - 0.4f) + (v - 0.3f) * (v - 0.3f) < 0.03f;
        if (c == 3) return 1.0f;
        return disc ? 0.9f - 0.3f * float(c) : 0.4f + 0.2f * std::sin(5 * u + 2 * float(c)) + 0.2f * v;
    });
}

double mean_off(const K7Image& a, const K7Image& b) {
    double sum = 0;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
            for (int c = 0; c < 3; ++c) sum += std::fabs(double(at(a, x, y, c) - at(b, x, y, c)));
    return sum / (3.0 * a.width * a.height);
}

TEST(Brush, FlatColourStaysItsColour) {
    for (const float light : {0.3f, 3.0f}) {
        Painted shot(flat(200, 120, light, 0.5f * light, 0.2f * light, 0.5f));
        const K7Image& result = shot.plain().shown();
        int off = 0;
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 200; ++x) {
                for (int c = 0; c < 3; ++c)
                    off += std::fabs(at(result, x, y, c) / at(*shot.source, x, y, c) - 1) > 0.01f;
                ASSERT_FLOAT_EQ(at(result, x, y, 3), 0.5f);
            }
        EXPECT_LT(off, 3 * 200 * 120 / 20);  // paper between strokes
    }
}

// The canvas is painted the more faithfully, the more and the finer its strokes.
TEST(Brush, DetailAndProgressPaintTheCanvasUp) {
    Painted shot(forms(320, 180));
    shot.plain();
    const auto off = [&](double detail, double progress) {
        shot.effect.Detail.value = detail, shot.effect.Progress.value = progress;
        return mean_off(shot.shown(), *shot.source);
    };
    const double fine = off(100, 100), coarse = off(0, 100);
    EXPECT_LT(fine, 0.03);
    EXPECT_LT(fine, 0.6 * coarse);
    double before = 1e9;
    for (const double progress : {0.0, 15.0, 40.0, 100.0}) {
        const double now = off(80, progress);
        EXPECT_LT(now, 1.1 * before) << progress;
        before = now;
    }
    shot.effect.Progress.value = 0;
    const K7Image& bare = shot.shown();
    EXPECT_FLOAT_EQ(at(bare, 100, 100, 1), shot.effect.PaperColour.green);
    // A stroke that has begun stays.
    shot.effect.ProgressOrder.value = 1 + BRUSH_LEFT_TO_RIGHT, shot.effect.Layers.value = 1;
    shot.effect.Progress.value = 50;
    const K7Image& half = shot.shown();
    EXPECT_FLOAT_EQ(at(half, 300, 90, 1), shot.effect.PaperColour.green);
    EXPECT_NE(at(half, 20, 90, 1), shot.effect.PaperColour.green);
}

TEST(Brush, StrokesRunWhereTheyAreSent) {
    const auto direction = [](const K7Image& picture, const K7Image* control, const BrushDirections& d) {
        const BrushCanvas canvas(picture);
        std::optional<BrushCanvas> steering;
        if (control) steering.emplace(*control);
        const BrushField field(canvas, steering ? &*steering : nullptr, d);
        const BrushField::Axis axis = field.at(100, 60, {0.7f, 0.71f});
        return std::atan2(double(axis.y), double(axis.x)) * 180 / M_PI;
    };
    const ImagePtr upright = picture(200, 120, [](int x, int, int) { return x % 40 < 20 ? 0.2f : 0.8f; });
    const ImagePtr level = picture(200, 120, [](int, int y, int) { return y % 40 < 20 ? 0.2f : 0.8f; });
    const ImagePtr grey = flat(200, 120, 0.5f, 0.5f, 0.5f), orange = flat(200, 120, 0.8f, 0.45f, 0.1f);
    BrushDirections d{};
    d.follow = 1, d.angle = 0.5, d.wander_length = 0.2, d.smooth = 0.05;
    EXPECT_NEAR(direction(*upright, nullptr, d), 90, 0.5);
    EXPECT_NEAR(direction(*grey, nullptr, d), 0.5 * 180 / M_PI, 0.1);
    d.turn = 0.4;
    EXPECT_NEAR(direction(*upright, nullptr, d), 90 + 0.4 * 180 / M_PI, 0.5);
    d.turn = 0, d.control_angle = M_PI / 2;
    d.control = BrushDirections::EDGES;
    EXPECT_NEAR(direction(*upright, level.get(), d), 0, 0.5);
    d.control = BrushDirections::LUMINANCE;
    EXPECT_NEAR(direction(*grey, grey.get(), d), 0.5 * 180 / M_PI + 45, 0.1);
    d.control = BrushDirections::HUE;
    EXPECT_NEAR(direction(*grey, orange.get(), d), 0.25 * 30,
                1);  // a twelfth of the circle, or a quarter of 30 degrees
}

TEST(Brush, EachClipCounts) {
    const auto halves = [](float left, float right) {
        return picture(240, 120, [=](int x, int, int c) { return c == 3 ? 1.0f : x < 120 ? left : right; });
    };
    Painted shot(flat(240, 120, 0.6f, 0.6f, 0.6f));
    shot.plain();
    shot.effect.Strokes.value = 20;
    const auto greens = [&](int first, int last) {  // least and most
        const K7Image& result = shot.shown();
        std::pair range(1e9f, -1e9f);
        for (int y = 20; y < 100; ++y)
            for (int x = first; x < last; ++x)
                range = {std::min(range.first, at(result, x, y, 1)), std::max(range.second, at(result, x, y, 1))};
        return range;
    };
    EXPECT_NEAR(greens(0, 240).second, shot.effect.PaperColour.green, 0.001);
    shot.connect(shot.effect.painting, flat(240, 120, 0.1f, 0.1f, 0.1f));
    EXPECT_NEAR(greens(0, 240).first, 0.1, 0.001);
    EXPECT_NEAR(greens(0, 240).second, 0.6, 0.01);
    shot.connect(shot.effect.matte, halves(0, 1));
    EXPECT_EQ(greens(0, 119), std::pair(0.1f, 0.1f));
    EXPECT_GT(greens(121, 240).second, 0.5f);
    shot.effect.MatteStrokes.value = true;
    EXPECT_EQ(greens(0, 60), std::pair(0.1f, 0.1f));
    EXPECT_GT(greens(121, 240).second, 0.5f);
    shot.effect.InvertMatte.value = true;
    EXPECT_EQ(greens(180, 240), std::pair(0.1f, 0.1f));
    EXPECT_GT(greens(0, 119).second, 0.5f);
    shot.effect.Mix.value = 0;
    EXPECT_EQ(greens(0, 240), std::pair(0.1f, 0.1f));

    Painted cutout(picture(240, 120, [](int x, int, int c) { return c == 3 && x < 120 ? 0.0f : 0.6f; }));
    cutout.plain().effect.Paper.value = 2;  // clear
    const K7Image& clear = cutout.shown();
    EXPECT_EQ(at(clear, 60, 60, 3), 0.0f);
    EXPECT_GT(at(clear, 200, 60, 3), 0.9f);
    EXPECT_NEAR(at(clear, 200, 60, 1), 0.6f, 0.01f);
}

TEST(Brush, SameBitsEverywhereAndAtAnyFrame) {
    Painted shot(forms(157, 61));
    shot.connect(shot.effect.control, forms(157, 61));
    shot.effect.Restroke.value = 4;
    for (int preset = 0; preset < Painted::preset_count(); ++preset) {
        shot.choose_preset(preset);
        const ImagePtr here = same_bits_everywhere([&] { return ImagePtr(image_duplicate(&shot.shown(3))); });
        EXPECT_GT(difference(*here, shot.shown(4)), 0.05) << preset;
        EXPECT_TRUE(same_pixels(here.get(), &shot.shown(0))) << preset;
    }
}

TEST(Brush, ProxiesAlikeAndStillUnderGrain) {
    Painted full(forms(640, 360)), half(forms(320, 180)), grainy(forms(640, 360));
    const ImagePtr grain = noise(640, 360, 3, -0.0173f, 0.0173f);  // deviation 0.01
    for (int y = 0; y < 360; ++y)
        for (int x = 0; x < 640; ++x)
            for (int c = 0; c < 3; ++c) at(*grainy.source, x, y, c) += at(*grain, x, y, c);
    for (const int preset : {0, 1, 4, 6}) {
        for (Painted* shot : {&full, &half, &grainy}) shot->choose_preset(preset);
        const K7Image &large = full.shown(), &small = half.shown(), &rough = grainy.shown();
        const ImagePtr halved = picture(320, 180, [&](int x, int y, int c) {
            return 0.25f * (at(large, 2 * x, 2 * y, c) + at(large, 2 * x + 1, 2 * y, c) +
                            at(large, 2 * x, 2 * y + 1, c) + at(large, 2 * x + 1, 2 * y + 1, c));
        });
        if (preset != 6) {  // pencils are finer than these pixels
            EXPECT_LT(mean_off(*halved, small), 0.03) << preset;
        }
        int changed = 0;
        for (int y = 0; y < 360; ++y)
            for (int x = 0; x < 640; ++x) changed += std::fabs(at(large, x, y) - at(rough, x, y)) > 0.1f;
        EXPECT_LT(changed, 640 * 360 / 100) << preset;
    }
}

}  // namespace
