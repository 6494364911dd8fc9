// Numbers: the sheet, the paint and what must not move.
#include "effects/paint/Numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<Numbers>;

// Four areas and a soft sky, with grain of this amplitude.
ImagePtr plate(int width, int height, float grain = 0, unsigned seed = 1) {
    const ImagePtr speckle = noise(width, height, seed, -grain, grain);
    return picture(width, height, [&](int x, int y, int c) {
        const float u = (float(x) + 0.5F) / float(width), v = (float(y) + 0.5F) / float(height);
        const float sky[] = {0.35F + 0.4F * v, 0.5F + 0.3F * v, 0.9F};
        const float colours[][3] = {{0.15F, 0.4F, 0.1F}, {0.8F, 0.15F, 0.1F}, {0.95F, 0.8F, 0.3F}};
        if (c == 3) return 1.0F;
        float sample = sky[c];
        if (v < 0.3F + 0.08F * std::sin(7 * u)) sample = colours[0][c];
        if (std::hypot(u - 0.3F, (v - 0.5F) * 0.56F) < 0.12F) sample = colours[1][c];
        if (std::fabs(u - 0.7F) < 0.09F && std::fabs(v - 0.45F) < 0.25F) sample = colours[2][c];
        return sample + at(*speckle, x, y, c);
    });
}

bool is_colour(const K7Image& image, int x, int y, const ColourControlK7& colour, float near = 0.02F) {
    return std::fabs(at(image, x, y, 0) - colour.red) < near && std::fabs(at(image, x, y, 1) - colour.green) < near &&
           std::fabs(at(image, x, y, 2) - colour.blue) < near;
}
double share_of(const K7Image& image, const ColourControlK7& colour) {
    int count = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) count += is_colour(image, x, y, colour);
    return double(count) / (double(image.width) * image.height);
}

TEST(Numbers, FillsTheSheetFromEmptyToFullInEachOrder) {
    Shot shot(plate(480, 270));
    Numbers& e = shot.effect;
    e.ShowPalette.value = false;
    e.BrushMarks.value = 0;
    for (const int order : {1, 2, 3, 4}) {
        SCOPED_TRACE(order);
        e.FillOrder.value = order;
        double before = 2;
        for (const double filled : {0.0, 35.0, 65.0, 100.0}) {
            e.Filled.value = filled;
            const double paper = share_of(shot.render(), e.PaperColour);
            EXPECT_LE(paper, before);
            if (filled == 0.0) {
                EXPECT_GT(paper, 0.9) << "lines and numbers take little";
            }
            before = paper;
        }
        EXPECT_LT(before, 0.02);
    }
    e.FillOrder.value = NumbersInfo::FromOneSide;
    e.Filled.value = 50;
    EXPECT_FALSE(is_colour(shot.render(), 60, 30, e.PaperColour)) << "the meadow's pole lies left of the middle";
}

TEST(Numbers, FinishedHasTheColoursOfThePictureWithSmoothBorders) {
    Shot shot(plate(960, 540));
    Numbers& e = shot.effect;
    shot.choose_preset(4);  // Poster
    e.Colours.value = 8;
    const K7Image& result = shot.render();
    for (const auto& [x, y] : {std::pair{288, 270}, {672, 243}, {480, 60}})
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(at(result, x, y, c), at(*shot.source, x, y, c), 0.06) << x << ' ' << c;
    std::set<float> reds;
    int mixed = 0;
    for (int y = 0; y < 540; ++y)
        for (int x = 0; x < 960; ++x) reds.insert(at(result, x, y, 0));
    for (int y = 200; y < 300; ++y) {  // over the upright border at 0.79 of the width
        double lead = 0;
        for (int x = 740; x < 780; ++x) lead += double(at(result, x, y, 0)) > 0.9 ? 1.0 : 0.0;
        EXPECT_NEAR(lead, 0.79 * 960 - 740, 4) << y;
    }
    for (int y = 0; y < 540; ++y)
        for (int x = 1; x < 959; ++x)
            mixed += at(result, x, y, 0) != at(result, x - 1, y, 0) && at(result, x, y, 0) != at(result, x + 1, y, 0);
    EXPECT_GT(reds.size(), 50u) << "borders are mixed";
    EXPECT_LT(mixed, 12000) << "and nothing else is";
}

TEST(Numbers, GrainChangesLittle) {
    const ImagePtr first = plate(480, 270, 0.01F, 1), second = plate(480, 270, 0.01F, 2);
    Shot a(ImagePtr(image_duplicate(first.get()))), b(ImagePtr(image_duplicate(second.get())));
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        a.choose_preset(preset), b.choose_preset(preset);
        const K7Image &p = a.render(), &q = b.render();
        int changed = 0;
        for (int y = 0; y < 270; ++y)
            for (int x = 0; x < 480; ++x) changed += std::fabs(at(p, x, y, 1) - at(q, x, y, 1)) > 0.06F;
        EXPECT_LT(changed, 480 * 270 * 6 / 100) << "preset " << preset;
    }
}

TEST(Numbers, HalfTheSizeIsTheSameSheet) {
    Shot full(plate(1920, 1080)), half(plate(960, 540));
    half.source->unit_scale = 2;
    full.effect.BrushMarks.value = half.effect.BrushMarks.value = 0;
    const K7Image &large = full.render(), &small = half.render();
    double sum = 0;
    for (int y = 0; y < 540; ++y)
        for (int x = 0; x < 960; ++x) {
            const float mean = 0.25F * (at(large, 2 * x, 2 * y, 1) + at(large, 2 * x + 1, 2 * y, 1) +
                                        at(large, 2 * x, 2 * y + 1, 1) + at(large, 2 * x + 1, 2 * y + 1, 1));
            sum += double(std::fabs(mean - at(small, x, y, 1)));
        }
    EXPECT_LT(sum / (960 * 540), 0.02);
}

TEST(Numbers, IsTheSameEverywhereAndKeepsAlpha) {
    Shot shot(plate(320, 180, 0.05F));
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320; ++x) at(*shot.source, x, y, 3) = float(x) / 320.0F;
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        const ImagePtr result = same_bits_everywhere([&] { return shot.copy(); });
        if (!shot.effect.ShowPalette.value) {
            EXPECT_EQ(difference(*result, *shot.source, 3), 0);
        }
    }
    shot.effect.ShowPalette.value = false;
    shot.effect.ShowNumbers.value = true;
    shot.effect.Filled.value = 0;
    EXPECT_EQ(difference(shot.render(), *shot.source, 3), 0) << "numbers add no alpha";
}

TEST(Numbers, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 200}, {200, 2}, {1937, 9}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5, 0, 60000));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            for (const int side : {1, 2, 3, 4}) {
                shot.effect.PaletteSide.value = shot.effect.FillOrder.value = side;
                shot.effect.ColourSource.value = 1 + side % 2;
                shot.effect.Colours.value = 64;
                const K7Image& result = shot.render();
                for (int i = 0; i < 4 * width; ++i) EXPECT_TRUE(std::isfinite(image_row<float>(&result, 0)[i]));
            }
            shot.source = flat(width, height, 0.5F, 0.5F, 0.5F, 0);  // nothing to be seen
            shot.render();
        }
}

}  // namespace
