// Facet against a count of every window, at every instruction set and several numbers of threads, and its limits.
#include "effects/stylise/Facet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

using Sample = std::function<float(int x, int y, int c)>;

ImagePtr picture(int width, int height, const Sample& sample) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) image_row<float>(image.get(), y)[4 * x + c] = sample(x, y, c);
    return image;
}

float at(const K7Image& image, int x, int y, int c) { return image_row<float>(&image, y)[4 * x + c]; }

// Slopes under grain: windows hold ties, long runs and single values.
ImagePtr grainy(int width, int height, float grain, unsigned seed = 1) {
    const ImagePtr noise = noise_image(width, height, 4, SAMPLE_F32, seed, -0.5f, 0.5f);
    return picture(width, height, [&](int x, int y, int c) {
        return 0.5f + 0.4f * std::sin(0.05f * float(x * (c + 1) + 2 * y)) + grain * at(*noise, x, y, c);
    });
}

struct Faceted {
    Facet effect;
    explicit Faceted(ImagePtr source) {
        effect.output.image.reset(image_clone_layout(source.get()));
        image_copy_attributes(source.get(), effect.output.image.get());
        effect.input.image = std::move(source);
    }
    Faceted& radius(int x) { return effect.XRad.value = x, *this; }
    Faceted& radius(int x, int y) { return effect.DoSync.value = false, effect.YRad.value = y, radius(x); }
    const K7Image& source() const { return *effect.input.image; }
    const K7Image& result() {
        image_fill(effect.output.image.get(), -7);
        effect.ProcessFrame();
        return *effect.output.image;
    }
};

float mode_of_window(const K7Image& source, int x, int y, int c, int half_x, int half_y) {
    std::vector<int> counts(128);
    for (int dy = -half_y; dy <= half_y; ++dy)
        for (int dx = -half_x; dx <= half_x; ++dx) {
            const float sample =
                at(source, std::clamp(x + dx, 0, source.width - 1), std::clamp(y + dy, 0, source.height - 1), c);
            const float level = std::isnan(sample) ? 0.0f : std::clamp(sample * 127.99f, 0.0f, 127.0f);
            ++counts[std::size_t(level)];
        }
    int best = 0;
    for (int bin = 1; bin < 128; ++bin)
        if (counts[std::size_t(bin)] > counts[std::size_t(best)]) best = bin;
    return float(best) * 0.007874015718698502f;
}

// How many samples are not the mode of their window.
int mistakes(const K7Image& source, const K7Image& result, int half_x, int half_y) {
    int count = 0;
    for (int y = 0; y < source.height; ++y)
        for (int x = 0; x < source.width; ++x)
            for (int c = 0; c < 4; ++c) count += at(result, x, y, c) != mode_of_window(source, x, y, c, half_x, half_y);
    return count;
}

TEST(Facet, TakesTheModeOfEveryWindow) {
    struct Case {
        int x, y, half_x, half_y;
    };
    // Radius 1 and 2 are the same window; the last three need counters of 32 bits.
    const Case cases[] = {{1, 1, 1, 1},     {2, 2, 1, 1},     {3, 4, 2, 2},     {1, 30, 1, 15},
                          {30, 1, 15, 1},   {9, 6, 5, 3},     {30, 30, 15, 15}, {44, 44, 22, 22},
                          {45, 44, 23, 22}, {3, 820, 2, 410}, {300, 9, 150, 5}};
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        for (const float grain : {0.02f, 0.3f}) {
            Faceted facet(grainy(131, 23, grain));
            for (const Case& c : cases)
                EXPECT_EQ(mistakes(facet.source(), facet.radius(c.x, c.y).result(), c.half_x, c.half_y), 0)
                    << c.x << " x " << c.y << " grain " << grain << " level " << int(level);
        }
    }
    set_cpu_level_limit(CpuLevel::avx512);
}

// Every width past several vectors and a strip of columns; nothing is written behind the rows.
TEST(Facet, AnySize) {
    for (const int radius : {1, 5})
        for (int width = 1; width <= 197; width += width < 40 ? 1 : 13)
            for (const int height : {1, 2, 7}) {
                Faceted facet(grainy(width, height, 0.1f, unsigned(width)));
                const int half = std::max((radius + 1) / 2, 1);
                EXPECT_EQ(mistakes(facet.source(), facet.radius(radius).result(), half, half), 0)
                    << width << "x" << height << " radius " << radius;
            }
}

TEST(Facet, SameBitsAtAnyNumberOfThreads) {
    for (const int radius : {1, 12, 60}) {
        Faceted facet(grainy(150, 53, 0.2f));
        facet.radius(radius);
        const ImagePtr one(image_duplicate(&facet.result()));
        for (const int threads : {2, 3, 7, 53}) {
            const RowThreads rows(threads);
            EXPECT_TRUE(same_pixels(one.get(), &facet.result())) << threads << " threads, radius " << radius;
        }
    }
}

TEST(Facet, LevelsAndExtremes) {
    const float infinity = std::numeric_limits<float>::infinity();
    const std::pair<float, float> levels[] = {
        {0.0f, 0.0f},      {0.5f, 63.0f / 127.0f}, {1.0f, 1.0f},  {40.0f, 1.0f},      {-3.0f, 0.0f},   {infinity, 1.0f},
        {-infinity, 0.0f}, {std::nanf(""), 0.0f},  {3e38f, 1.0f}, {127 / 127.99f, 1}, {0.0078f, 0.0f}, {1e-40f, 0.0f}};
    for (const auto& [sample, level] : levels)
        for (const int radius : {1, 9}) {
            // Half of the columns differ, so that the channel is not flat.
            Faceted facet(picture(40, 9, [v = sample](int x, int, int) { return x < 20 ? v : 0.3f; }));
            EXPECT_FLOAT_EQ(at(facet.radius(radius).result(), 10, 4, 1), level) << sample;
            EXPECT_EQ(mistakes(facet.source(), facet.result(), (radius + 1) / 2, (radius + 1) / 2), 0) << sample;
        }
}

TEST(Facet, FlatChannelsBesideOthers) {
    const ImagePtr grain = grainy(120, 20, 0.3f);
    Faceted facet(
        picture(120, 20, [&](int x, int y, int c) { return c % 2 ? 0.25f * float(c) : at(*grain, x, y, c); }));
    EXPECT_EQ(mistakes(facet.source(), facet.radius(8).result(), 4, 4), 0);
}

TEST(Facet, WindowFollowsScaleAndAspect) {
    Faceted facet(grainy(90, 60, 0.2f));
    K7Image* image = facet.effect.input.image.get();
    image_set_unit_scale(image, 2);  // a proxy of half size: 13 pixels of the full size are 7 here
    EXPECT_EQ(mistakes(*image, facet.radius(12).result(), 3, 3), 0);
    image_set_unit_scale(image, 1);
    image_set_pixel_size(image, 2, 1, 2);  // a column is as wide as two rows are high
    EXPECT_EQ(mistakes(*image, facet.radius(5).result(), 3, 6), 0);
    EXPECT_EQ(mistakes(*image, facet.radius(5, 5).result(), 3, 3), 0);
}

TEST(Facet, HostileRadii) {
    Faceted facet(grainy(30, 20, 0.2f));
    const int huge = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
    EXPECT_TRUE(same_pixels(&facet.source(), &facet.radius(-1, -1).result()));  // nothing to do
    EXPECT_EQ(mistakes(facet.source(), facet.radius(-1, 1).result(), 1, 1), 0);
    EXPECT_EQ(mistakes(facet.source(), facet.radius(least, 0).result(), 1, 1), 0);
    EXPECT_EQ(mistakes(facet.source(), facet.radius(1, huge).result(), 1, 2047), 0);
    facet.effect.input.image->unit_scale = 1e-30f;
    EXPECT_EQ(at(facet.radius(huge).result(), 3, 3, 0), at(facet.radius(1 << 20, 7).result(), 3, 3, 0));
    facet.effect.input.image->pixel_height = 0;
    EXPECT_GE(at(facet.radius(1).result(), 3, 3, 0), 0.0f);
    facet.effect.output.image = make_image(31, 20, 4, SAMPLE_F32);
    facet.effect.ProcessFrame();
    EXPECT_EQ(at(*facet.effect.output.image, 3, 3, 0), 0.0f);  // another size is refused
    facet.effect.input.image.reset();
    facet.effect.ProcessFrame();
}

// The matte is 0 to the left, in the middle a colour of luminance 0.3 and 2 to the right.
TEST(Facet, MatteMixesAndComposites) {
    const auto matte = [](int x, int, int c) { return x < 10 ? 0.0f : x < 20 ? float(c == 0) : 2.0f; };
    Faceted facet(grainy(30, 12, 0.3f));
    const ImagePtr full(image_duplicate(&facet.result()));
    const auto use = [&](bool mask, bool invert, bool composite) -> const K7Image& {
        facet.effect.matte.image = picture(30, 12, matte);
        facet.effect.DoMask.value = mask, facet.effect.InvertMask.value = invert;
        facet.effect.DoComp.value = composite;
        return facet.result();
    };
    EXPECT_TRUE(same_pixels(full.get(), &use(false, true, false)));
    for (const bool invert : {false, true}) {
        const K7Image& mixed = use(true, invert, false);
        for (const auto& [x, weight] : {std::pair{5, 0.0f}, {15, 0.3f}, {25, 1.0f}})
            for (int c = 0; c < 4; ++c) {
                const float m = invert ? 1 - weight : weight;
                EXPECT_NEAR(at(mixed, x, 6, c), at(facet.source(), x, 6, c) * (1 - m) + at(*full, x, 6, c) * m, 1e-6);
            }
    }
    for (int y = 0; y < 12; ++y)  // an opaque source: over it the result is the mix by the matte
        for (int x = 0; x < 30; ++x) image_row<float>(facet.effect.input.image.get(), y)[4 * x + 3] = 1;
    const K7Image& composite = use(false, true, true);
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(at(composite, 5, 6, c), at(facet.source(), 5, 6, c), 1e-6);
        EXPECT_NEAR(at(composite, 15, 6, c), 0.7f * at(facet.source(), 15, 6, c) + 0.3f * at(*full, 15, 6, c), 1e-6);
    }
    EXPECT_EQ(at(composite, 15, 6, 3), 1.0f);
    facet.effect.doAlpha = false;
    EXPECT_EQ(at(use(true, false, true), 15, 6, 3), at(facet.source(), 15, 6, 3));
}

}  // namespace
