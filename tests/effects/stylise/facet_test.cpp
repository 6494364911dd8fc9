// Facet: the windows that its radii stand for, and what the matte does.
#include "effects/stylise/Facet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "imagelib/imagelib_mode.h"
#include "support/images.h"

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

ImagePtr grainy(int width, int height, float grain) {
    const ImagePtr noise = noise_image(width, height, 4, SAMPLE_F32, 1, -0.5f, 0.5f);
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

// Whether the result is the mode of windows with these half sizes.
bool has_windows(Faceted& facet, int half_x, int half_y) {
    const ImagePtr wanted(image_clone_layout(&facet.source()));
    EXPECT_TRUE(image_window_mode(&facet.source(), wanted.get(), half_x, half_y));
    return same_pixels(wanted.get(), &facet.result());
}

TEST(Facet, WindowFollowsRadiiScaleAndAspect) {
    Faceted facet(grainy(90, 60, 0.2f));
    for (const auto& [radius, half] : {std::pair{1, 1}, {2, 1}, {3, 2}, {9, 5}, {30, 15}})
        EXPECT_TRUE(has_windows(facet.radius(radius), half, half)) << radius;
    EXPECT_TRUE(has_windows(facet.radius(9, 6), 5, 3));
    facet.effect.DoSync.value = true;
    K7Image* image = facet.effect.input.image.get();
    image_set_unit_scale(image, 2);  // a proxy of half size: 13 pixels of the full size are 7 here
    EXPECT_TRUE(has_windows(facet.radius(12), 3, 3));
    image_set_unit_scale(image, 1);
    image_set_pixel_size(image, 2, 1, 2);  // a column is as wide as two rows are high
    EXPECT_TRUE(has_windows(facet.radius(5), 3, 6));
    EXPECT_TRUE(has_windows(facet.radius(5, 5), 3, 3));
}

TEST(Facet, HostileRadii) {
    Faceted facet(grainy(30, 20, 0.2f));
    const int huge = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
    EXPECT_TRUE(same_pixels(&facet.source(), &facet.radius(-1, -1).result()));  // nothing to do
    EXPECT_TRUE(has_windows(facet.radius(-1, 1), 1, 1));
    EXPECT_TRUE(has_windows(facet.radius(least, 0), 1, 1));
    EXPECT_TRUE(has_windows(facet.radius(1, huge), 1, 2047));
    facet.effect.input.image->unit_scale = 1e-30f;
    EXPECT_EQ(at(facet.radius(huge).result(), 3, 3, 0), at(facet.radius(1 << 20, 7).result(), 3, 3, 0));
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
}

}  // namespace
