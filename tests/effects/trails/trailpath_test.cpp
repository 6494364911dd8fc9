// TrailPath: what a brush covers against sampled distances, crossings and joints, drawing on, and the Brush clip.
#include "effects/trails/TrailPath.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/trails/TrailPathStroke.h"
#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<TrailPath>;

// Alone over transparent black, white and even, from (0.2, 0.5) to (0.8, 0.5).
void draw_level_line(TrailPath& effect) {
    effect.PathOnly.value = true;
    effect.Handles.value = 2;
    effect.P1.x = 0.2, effect.P1.y = effect.P2.y = 0.5, effect.P2.x = 0.8;
    effect.TaperIn.value = effect.TaperOut.value = effect.Pressure.value = 0;
    effect.Colour1.red = effect.Colour1.green = effect.Colour1.blue = 1.0F;
    effect.BrushSize.value = 0.05;
}

std::vector<PathVertex> s_curve(bool closed = false) {
    return path_vertices({{12, 14}, {30, 50}, {55, 20}, {84, 46}}, PathCurve::Through, closed, 1.0F);
}

TEST(TrailPath, CurvesRunThroughTheirPoints) {
    for (const bool closed : {false, true}) {
        const std::vector<PathVertex> line = s_curve(closed);
        for (const PathPlace p : {PathPlace{12, 14}, {30, 50}, {55, 20}, {84, 46}}) {
            double nearest = 1e9;
            for (const PathVertex& v : line)
                nearest = std::min(nearest, std::hypot(double(v.x - p.x), double(v.y - p.y)));
            EXPECT_LT(nearest, 1e-3);
        }
        // No corner anywhere, the seam of the closed one included.
        const std::size_t count = line.size() - 1;
        for (std::size_t i = closed ? 0 : 1; i < count; ++i) {
            const PathVertex &a = line[i == 0 ? count - 1 : i - 1], &b = line[i], &c = line[i + 1];
            const double ax = double(b.x - a.x), ay = double(b.y - a.y), bx = double(c.x - b.x), by = double(c.y - b.y);
            EXPECT_GT((ax * bx + ay * by) / (std::hypot(ax, ay) * std::hypot(bx, by)), 0.9) << i;
        }
    }
    EXPECT_TRUE(path_vertices({{5, 5}, {5, 5}}, PathCurve::Through, true, 1.0F).empty());
}

// A brush that tapers, round and as a nib, in pixels that are not square: 16 x 16 samples of each against all places of
// the line.
TEST(TrailPath, CoversWhatIsInsideTheBrush) {
    constexpr int WIDTH = 96, HEIGHT = 40;
    constexpr float ROW = 1.6F;
    for (const float thin : {6.0F, 1.2F}) {
        StrokeLine line;
        const float cosine = 0.8F, sine = 0.6F;
        line.brush = {cosine / 6, sine / 6, -sine / thin, cosine / thin, 6.0F};
        line.apart = 1e6F;
        for (const PathVertex& v : s_curve()) line.vertices.push_back({v.x, v.y, v.s, 0.3F + 0.7F * v.s / 160.0F});
        StrokeBand band(WIDTH, HEIGHT, ROW);
        band.begin(0, HEIGHT - 1);
        ImagePtr covered = flat(WIDTH, HEIGHT, 0.0F);
        const auto keep = [&](int x, int y, const StrokeHit& hit) { at(*covered, x, y) = hit.cover(); };
        for (std::size_t i = 0; i + 1 < line.vertices.size(); ++i) band.sweep(line, i, keep);
        band.end(keep);
        double sum = 0;
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) {
                int inside = 0;
                for (int k = 0; k < 256; ++k) {
                    const float px = float(x) + (float(k % 16) + 0.5F) / 16,
                                py = (float(y) + (float(k / 16) + 0.5F) / 16) * ROW;
                    for (const StrokeVertex& v : line.vertices) {
                        const float dx = px - v.x, dy = py - v.y, nx = line.brush.xx * dx + line.brush.xy * dy,
                                    ny = line.brush.yx * dx + line.brush.yy * dy;
                        if (nx * nx + ny * ny > v.size * v.size) continue;
                        ++inside;
                        break;
                    }
                }
                // Rows are taller than the edge is soft.
                const double wrong = std::fabs(double(at(*covered, x, y)) - inside / 256.0);
                EXPECT_LT(wrong, 0.45) << x << ", " << y << ", nib " << thin;
                sum += wrong;
            }
        EXPECT_LT(sum / (WIDTH * HEIGHT), 0.012);
    }
}

TEST(TrailPath, JointsDoNotShowAndCrossingsLieOnTop) {
    Shot shot(flat(200, 112, 0.0F));
    TrailPath& effect = shot.effect;
    draw_level_line(effect);
    effect.Opacity.value = 50;
    const K7Image& level = shot.render();
    for (int x = 50; x < 150; ++x) EXPECT_FLOAT_EQ(at(level, x, 56, 3), 0.5F);
    // A closed square: nothing is twice as thick, not where its ends meet either.
    effect.Handles.value = 4, effect.Curve.value = 3, effect.Ends.value = TrailPathInfo::IsClosed;
    effect.P1.x = effect.P4.x = 0.3, effect.P2.x = effect.P3.x = 0.7;
    effect.P1.y = effect.P2.y = 0.2, effect.P3.y = effect.P4.y = 0.8;
    const K7Image& square = shot.render();
    for (int y = 0; y < 112; ++y)
        for (int x = 0; x < 200; ++x) ASSERT_LE(at(square, x, y, 3), 0.5F) << x << ", " << y;
    EXPECT_FLOAT_EQ(at(square, 60, 23, 3), 0.5F);
    // An open hourglass crosses itself in the middle.
    std::swap(effect.P3.x, effect.P4.x);
    effect.Ends.value = TrailPathInfo::Open;
    effect.P2.x = 0.7, effect.P2.y = 0.8, effect.P3.x = 0.7, effect.P3.y = 0.2, effect.P4.x = 0.3, effect.P4.y = 0.8;
    EXPECT_FLOAT_EQ(at(shot.render(), 100, 56, 3), 0.75F);
    EXPECT_FLOAT_EQ(at(shot.render(), 80, 39, 3), 0.5F);
}

TEST(TrailPath, IsDrawnOn) {
    Shot shot(noise(200, 112, 7));
    TrailPath& effect = shot.effect;
    effect.Progress.value = 0;
    EXPECT_TRUE(shot.shows_source());
    draw_level_line(effect);
    effect.Progress.value = 25, effect.EaseIn.value = effect.EaseOut.value = 0;
    const auto reach = [&](double frame) {
        const K7Image& shown = shot.render(frame);
        int last = -1;
        for (int x = 0; x < 200; ++x)
            if (at(shown, x, 56, 3) > 0.5F) last = x;
        return last;
    };
    EXPECT_NEAR(reach(0), 70 + 5, 1.0);  // and the radius
    effect.EaseIn.value = 100;
    EXPECT_NEAR(reach(0), 40 + 120 / 16 + 5, 1.0);
    effect.EaseIn.value = 0;
    effect.DrawOn.value = TrailPathInfo::OverTime, effect.StartAt.value = 10, effect.Duration.value = 40;
    EXPECT_EQ(reach(5), -1);
    EXPECT_NEAR(reach(30), 100 + 5, 2.0);
    EXPECT_NEAR(reach(100), 160 + 5, 1.0);
    effect.Tail.value = 20;
    EXPECT_LT(at(shot.render(30), 60, 56, 3), 0.01F);
    EXPECT_GT(at(shot.render(30), 85, 56, 3), 0.99F);
    EXPECT_EQ(reach(100), -1);  // the tail has followed
}

TEST(TrailPath, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(noise(160, 90, 3));
    shot.effect.WobbleSpeed.value = 0.3, shot.effect.ColourSpeed.value = 3;
    for (int preset = 0; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(140); });
        EXPECT_GT(difference(*late, *shot.source), 0.1);
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(140)));
    }
}

// The clip: a green disc in a transparent frame.
TEST(TrailPath, DrawsWithTheBrushClip) {
    support::RecordingHost host;
    host.project.width = 160, host.project.height = 90;
    support::TestEffect& effect = host.effect("Q_TrailPath");
    effect.connect(
        "Input1",
        [](double) { return support::imageOf(support::layoutOf(160, 90), [](int, int, int) { return 0.5F; }); }, 0, 10);
    effect.choose("Brush", "Clip");
    effect.set("BrushSize", 0.1), effect.set("TaperIn", 0.0), effect.set("TaperOut", 0.0);
    const auto green = [&] {
        const std::vector<float> pixels = effect.render(0);
        int count = 0;
        for (std::size_t i = 0; i < pixels.size(); i += 4) count += pixels[i] < 0.1F && pixels[i + 1] > 0.9F;
        return count;
    };
    EXPECT_EQ(green(), 0);  // a round brush without it
    effect.connect(
        "Input2",
        [](double) {
            return support::imageOf(support::layoutOf(160, 90), [](int x, int y, int c) {
                return (c == 1 || c == 3) && std::hypot(x - 79.5, y - 44.5) < 40.0 ? 1.0F : 0.0F;
            });
        },
        0, 10);
    const int stamped = green();
    EXPECT_GT(stamped, 300);
    effect.set("ClipSpacing", 300.0);
    EXPECT_NEAR(green(), stamped / 3.0, stamped / 10.0);
    effect.choose("ClipLay", "Ribbon");
    EXPECT_GT(green(), 300);
    effect.choose("ClipColour", "Path");
    EXPECT_EQ(green(), 0);
    EXPECT_TRUE(effect.imagesBalanced());
}

TEST(TrailPath, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 1e12})
            for (int brush = 1; brush <= TrailPathInfo::Clip; ++brush) {
                Shot shot(noise(width, height, 5));
                for (ControlK7* control : shot.effect.controls()) {
                    if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
                    if (auto* place = dynamic_cast<PositionControlK7*>(control)) place->x = value, place->y = -value;
                }
                shot.effect.P2.x = 0.5, shot.effect.P5.y = 0.2;
                shot.effect.Brush.value = brush;
                const K7Image& shown = shot.render(2000);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) ASSERT_TRUE(std::isfinite(at(shown, x, y)));
            }
}

}  // namespace
