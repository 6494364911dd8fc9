// PixFlow: the way back is exact enough that nothing folds, frames follow from the amount, each clip does its part.
#include "effects/pixels/PixFlow.h"

#include <gtest/gtest.h>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<PixFlow>;

void only_drift(PixFlow& effect, double angle) {
    effect.Strength.value = effect.Speed.value = 0;
    effect.Drift.value = 100, effect.DriftAngle.value = angle;
    effect.Edges.value = PixFlowInfo::Stretched;
}

ImagePtr gradient(int width, int height) {
    return picture(width, height, [&](int x, int y, int c) {
        return c == 3 ? 1.0F : (c == 1 ? float(y) / float(height) : 0.5F * float(x) / float(width)) + 0.2F;
    });
}

double mean_difference(const K7Image& a, const K7Image& b) {
    double sum = 0;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
            for (int c = 0; c < 3; ++c) sum += std::fabs(double(at(a, x, y, c)) - double(at(b, x, y, c)));
    return sum / (3.0 * a.width * a.height);
}

// ---- The field ------------------------------------------------------------------------------------------------

constexpr int COLUMNS = 241, LINES = 136;

FlowField field_of(int kind, float evolve) {
    const FlowPattern pattern{
        .kind = kind, .strength = 1, .size = 0.12F, .detail = 0.3F, .stretch = 1, .evolve = evolve, .seed = 271};
    return {COLUMNS, LINES, 1.0F, 0.5625F, pattern, {.walls = true}, std::vector<float>(std::size_t(COLUMNS) * LINES)};
}

struct Folds {
    double folded = 0, mean_area = 0;  // share of cells turned over; of a cell, 1 at rest
};
Folds folds_of(const FlowField::Paths& paths) {
    Folds folds;
    const auto node = [&](int i, int j) { return std::size_t(j) * COLUMNS + std::size_t(i); };
    for (int j = 0; j + 1 < LINES; ++j)
        for (int i = 0; i + 1 < COLUMNS; ++i) {
            const std::size_t a = node(i, j), b = node(i + 1, j + 1), c = node(i + 1, j), d = node(i, j + 1);
            const double area = 0.5 * (double(paths.x[b] - paths.x[a]) * double(paths.y[d] - paths.y[c]) -
                                       double(paths.y[b] - paths.y[a]) * double(paths.x[d] - paths.x[c]));
            folds.folded += area <= 0 ? 1 : 0;
            folds.mean_area += area;
        }
    folds.folded /= (COLUMNS - 1) * (LINES - 1), folds.mean_area /= (COLUMNS - 1) * (LINES - 1);
    return folds;
}

TEST(FlowField, NothingTearsOrIsSqueezedAway) {
    for (const int kind : {FlowPattern::Turbulence, FlowPattern::Whirlpools, FlowPattern::Waves})
        for (const float evolve : {0.0F, 0.5F}) {
            SCOPED_TRACE(testing::Message() << "pattern " << kind << ", evolve " << evolve);
            const FlowField field = field_of(kind, evolve);
            FlowField::Paths paths = field.at_rest();
            ASSERT_TRUE(field.trace_back(0.05, 0.05, {}, paths));
            const Folds folds = folds_of(paths);
            EXPECT_LT(folds.folded, 1e-3);
            EXPECT_NEAR(folds.mean_area, 1.0, 5e-3);  // walls keep the whole within them
            for (std::size_t n = 0; n < paths.x.size(); ++n) {
                ASSERT_TRUE(paths.x[n] > -0.5F && paths.x[n] < COLUMNS - 0.5F) << n;
                ASSERT_TRUE(paths.y[n] > -0.5F && paths.y[n] < LINES - 0.5F) << n;
            }
        }
}

// One long way is many short ones, through the field of the amounts in between: then frames are one flow.
TEST(FlowField, ALongWayIsManyShortOnes) {
    const FlowField field = field_of(FlowPattern::Turbulence, 0.5F);
    FlowField::Paths once = field.at_rest(), piecewise = field.at_rest();
    ASSERT_TRUE(field.trace_back(0.12, 0.12, {}, once));
    for (int n = 0; n < 48; ++n) ASSERT_TRUE(field.trace_back(0.12 - n * 0.0025, 0.0025, {}, piecewise));
    double sum = 0, moved = 0;
    for (std::size_t n = 0; n < once.x.size(); ++n) {
        sum += std::fabs(double(once.x[n] - piecewise.x[n])) + std::fabs(double(once.y[n] - piecewise.y[n]));
        moved += std::fabs(double(once.x[n]) - double(n % COLUMNS));
    }
    EXPECT_GT(moved / double(once.x.size()), 4.0);  // cells
    EXPECT_LT(sum / double(once.x.size()), 0.1);
}

// ---- The picture ----------------------------------------------------------------------------------------------

TEST(PixFlow, DriftCarriesByAmountAndGrowsFromItsStart) {
    Shot shot(gradient(200, 100));
    only_drift(shot.effect, 0);
    shot.effect.Amount.value = 10;  // 20 pixels to the right, and none of them up
    const ImagePtr drifted = shot.copy();
    for (int y = 2; y < 98; ++y)
        for (int x = 30; x < 198; ++x) {
            ASSERT_NEAR(at(*drifted, x, y, 0), at(*shot.source, x - 20, y, 0), 1e-3) << x << ", " << y;
            ASSERT_NEAR(at(*drifted, x, y, 1), at(*shot.source, x, y, 1), 1e-3) << x << ", " << y;
        }
    shot.effect.Amount.value = 4, shot.effect.Speed.value = 0.5, shot.effect.StartAt.value = 7;
    EXPECT_LT(difference(*drifted, shot.render(19)), 1e-4);
    const ImagePtr before = shot.copy(-3);
    EXPECT_TRUE(same_pixels(before.get(), &shot.render(7)));
}

TEST(PixFlow, UpwardsIsUpwardsAndPixelsMayBeOblong) {
    Shot shot(gradient(100, 100));
    shot.source->pixel_aspect = 2.0F;
    only_drift(shot.effect, 90);
    shot.effect.Amount.value = 10;  // of a width of 200 heights of a pixel
    const K7Image& drifted = shot.render();
    for (int y = 30; y < 98; ++y) ASSERT_NEAR(at(drifted, 50, y, 1), at(*shot.source, 50, y - 20, 1), 1e-3) << y;
}

TEST(PixFlow, EachClipDoesItsPart) {
    Shot shot(flat(160, 90, 0.1F, 0.2F, 0.7F));
    // A red square flows over the background by its alpha, and leaves the rest of it alone.
    shot.effect.flowing.image = picture(160, 90, [](int x, int y, int c) {
        const bool inside = x > 40 && x < 80 && y > 30 && y < 60;
        return c == 0 || (c == 3 && inside) ? 1.0F : 0.0F;
    });
    only_drift(shot.effect, 0);
    shot.effect.Amount.value = 25;
    const ImagePtr moved = shot.copy();
    EXPECT_NEAR(at(*moved, 100, 45, 0), 1.0F, 1e-3);
    EXPECT_NEAR(at(*moved, 60, 45, 0), 0.1F, 1e-3);
    EXPECT_NEAR(at(*moved, 60, 45, 2), 0.7F, 1e-3);
    shot.effect.FadeOut.value = 25;
    EXPECT_LT(difference(shot.render(), *shot.source), 1e-5);
    shot.effect.FadeOut.value = 0;
    // The luminance chooses: its left half is dark, and the square lay there.
    shot.effect.luminance.image = picture(160, 90, [](int x, int, int) { return x < 90 ? 0.0F : 1.0F; });
    shot.effect.Select.value = PixFlowInfo::BrightParts;
    EXPECT_LT(difference(shot.render(), *shot.source), 1e-5);
    shot.effect.Select.value = PixFlowInfo::DarkParts;
    EXPECT_LT(difference(shot.render(), *moved), 1e-5);
    // It bends: out of its bright half to the left.
    shot.effect.Select.value = PixFlowInfo::Everything;
    shot.effect.Drift.value = 0, shot.effect.Luma.value = 100, shot.effect.LumaAngle.value = 0;
    shot.effect.Amount.value = 5, shot.effect.LumaBlur.value = 5;
    shot.effect.flowing.image = gradient(160, 90);
    const K7Image& bent = shot.render();
    EXPECT_GT(at(bent, 88, 45, 0), at(*shot.effect.flowing.image, 88, 45, 0) + 0.01F);
    EXPECT_NEAR(at(bent, 20, 45, 0), at(*shot.effect.flowing.image, 20, 45, 0), 2e-3);
}

TEST(PixFlow, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(noise(160, 90, 3));
    shot.effect.luminance.image = gradient(160, 90);
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        shot.effect.Renew.value = preset % 2 == 0 ? 30 : 0;
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(40); });
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(40)));
    }
}

// Grain of 1 % moves no stroke: what changes is about the grain itself.
TEST(PixFlow, GrainDoesNotMoveTheFlow) {
    const ImagePtr plate = picture(320, 180, [](int x, int y, int c) {
        return c == 3 ? 1.0F : 0.5F + 0.3F * std::sin(float(x) * 0.07F + float(c)) * std::sin(float(y) * 0.09F);
    });
    const ImagePtr grain = noise(320, 180, 8, -0.01F, 0.01F);
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        Shot clean(ImagePtr(image_duplicate(plate.get()))), grainy(picture(320, 180, [&](int x, int y, int c) {
            return at(*plate, x, y, c) + (c == 3 ? 0.0F : at(*grain, x, y, c));
        }));
        clean.choose_preset(preset), grainy.choose_preset(preset);
        EXPECT_LT(mean_difference(clean.render(), grainy.render()), 0.012);
    }
}

// With Renew the flow neither jumps where a layer begins anew nor winds up.
TEST(PixFlow, RenewsWithoutAJump) {
    Shot shot(gradient(160, 90));
    shot.effect.Speed.value = 0.5, shot.effect.Renew.value = 40;
    double most = 0;
    for (int frame = 76; frame < 84; ++frame) {
        const ImagePtr one = shot.copy(frame);
        most = std::max(most, mean_difference(*one, shot.render(frame + 1)));
    }
    EXPECT_GT(most, 1e-4);
    EXPECT_LT(most, 0.012);
}

TEST(PixFlow, ProxiesShowTheSameFlow) {
    Shot whole(gradient(320, 180)), proxy(gradient(160, 90));
    proxy.source->unit_scale = 2.0F;
    for (Shot* shot : {&whole, &proxy}) shot->effect.Luma.value = 50;
    const K7Image &large = whole.render(20), &small = proxy.render(20);
    double sum = 0;
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) sum += std::fabs(double(at(large, 2 * x, 2 * y, 1)) - double(at(small, x, y, 1)));
    EXPECT_LT(sum / (160 * 90), 0.01);
}

TEST(PixFlow, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            for (const int pattern : {1, 2, 3}) {
                shot.effect.Pattern.value = pattern, shot.effect.Edges.value = pattern + 1;
                const K7Image& flowed = shot.render(11);
                for (int x = 0; x < width; ++x) ASSERT_TRUE(std::isfinite(at(flowed, x, 0, 0)));
            }
        }
}

}  // namespace
