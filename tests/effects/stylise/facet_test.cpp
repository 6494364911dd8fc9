// Facet: the windows that its radii stand for, and what the matte does.
#include "effects/stylise/Facet.h"

#include <gtest/gtest.h>

#include "imagelib/imagelib_mode.h"
#include "support/effect_shot.h"

namespace {

struct Faceted : EffectShot<Facet> {
    Faceted(int width, int height, float alpha = 0)
        : EffectShot(picture(width, height, [&](int x, int y, int c) {
              const float grain = float((x * 37 + y * 91 + c * 53) % 101) / 500;
              return c == 3 && alpha > 0 ? alpha : 0.5f + 0.3f * std::sin(0.05f * float(x * (c + 1) + 2 * y)) + grain;
          })) {}
    Faceted& radius(int x) { return effect.XRad.value = x, *this; }
    Faceted& radius(int x, int y) { return effect.DoSync.value = false, effect.YRad.value = y, radius(x); }
    // Whether the result is the mode of windows with these half sizes.
    bool has_windows(int half_x, int half_y) {
        const ImagePtr wanted(image_clone_layout(source.get()));
        EXPECT_TRUE(image_window_mode(source.get(), wanted.get(), half_x, half_y));
        return same_pixels(wanted.get(), &render());
    }
};

TEST(Facet, WindowFollowsRadiiScaleAndAspect) {
    Faceted facet(90, 60);
    for (const auto& [radius, half] : {std::pair{1, 1}, {2, 1}, {3, 2}, {9, 5}, {30, 15}})
        EXPECT_TRUE(facet.radius(radius).has_windows(half, half)) << radius;
    EXPECT_TRUE(facet.radius(9, 6).has_windows(5, 3));
    facet.effect.DoSync.value = true;
    K7Image* image = facet.source.get();
    image_set_unit_scale(image, 2);  // a proxy of half size: 13 pixels of the full size are 7 here
    EXPECT_TRUE(facet.radius(12).has_windows(3, 3));
    image_set_unit_scale(image, 1);
    image_set_pixel_size(image, 2, 1, 2);  // a column is as wide as two rows are high
    EXPECT_TRUE(facet.radius(5).has_windows(3, 6));
    EXPECT_TRUE(facet.radius(5, 5).has_windows(3, 3));
}

// The matte is 0 to the left, in the middle a colour of luminance 0.3 and 2 to the right.
TEST(Facet, MatteMixesAndComposites) {
    Faceted facet(30, 12, 1);  // opaque: over it the result is the mix by the matte
    const ImagePtr full = facet.copy();
    const auto use = [&](bool mask, bool invert, bool composite) -> const K7Image& {
        facet.effect.matte.image = picture(30, 12, [](int x, int, int c) {
            return x < 10 ? 0.0f : x < 20 ? float(c == 0) : 2.0f;
        });
        facet.effect.DoMask.value = mask, facet.effect.InvertMask.value = invert;
        facet.effect.DoComp.value = composite;
        return facet.render();
    };
    EXPECT_TRUE(same_pixels(full.get(), &use(false, true, false)));
    const auto expect_mix = [&](const K7Image& mixed, bool invert, int columns) {
        const std::pair<int, float> weights[] = {{5, 0.0f}, {15, 0.3f}, {25, 1.0f}};
        for (int i = 0; i < columns; ++i)
            for (int c = 0; c < 4; ++c) {
                const auto [x, weight] = weights[i];
                const float m = invert ? 1 - weight : weight;
                EXPECT_NEAR(at(mixed, x, 6, c), at(*facet.source, x, 6, c) * (1 - m) + at(*full, x, 6, c) * m, 1e-6);
            }
    };
    expect_mix(use(true, false, false), false, 3);
    expect_mix(use(true, true, false), true, 3);
    expect_mix(use(false, true, true), false, 2);
}

}  // namespace
