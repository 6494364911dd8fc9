// RemGrain against the edge kernel written out, and its modes and boxes.
#include "effects/adjust/RemGrain.h"

#include <gtest/gtest.h>

#include <limits>

#include "imagelib/imagelib_blur.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

struct Remover : EffectShot<RemGrain> {
    explicit Remover(int width, int height) : EffectShot(noise(width, height, 4)) {}
    explicit Remover(const ImagePtr& shown) : EffectShot(ImagePtr(image_duplicate(shown.get()))) {}
    Remover& colour(int c, double blur, double sharp) {
        effect.colours[c].blur.value = blur, effect.colours[c].sharp.value = sharp;
        return *this;
    }
    Remover& box(double x1, double y1, double x2, double y2) {
        effect.ROI.value = true;
        effect.Point1.x = x1, effect.Point1.y = y1, effect.Point2.x = x2, effect.Point2.y = y2;
        return *this;
    }
};

// ---- The reference --------------------------------------------------------------------------------------------

// The kernel as a table of 5 x 5, strength 2 falling off over 2 pixels, and its transpose.
ImagePtr reference_edges(const K7Image& source) {
    double kernel[5][5];
    for (int b = -2; b <= 2; ++b)
        for (int a = -2; a <= 2; ++a) {
            const double s = 2, r = 2;
            const double weight =
                std::floor(((std::abs(a) - 1) * (-s / r) + s) * 256 * ((std::abs(b) - 1) * (-s / r) + s));
            kernel[b + 2][a + 2] = a == 0 ? 0 : a < 0 ? -weight : weight;
        }
    ImagePtr edges = picture(source.width, source.height, [&](int x, int y, int c) {
        double first = 0, second = 0;
        for (int b = -2; b <= 2; ++b)
            for (int a = -2; a <= 2; ++a) {
                if (x + a < 0 || x + a >= source.width || y + b < 0 || y + b >= source.height) continue;
                first += kernel[b + 2][a + 2] * double(at(source, x + a, y + b, c));
                second += kernel[a + 2][b + 2] * double(at(source, x + a, y + b, c));
            }
        return float(0.2 * 2 * (std::fabs(first) / 256 + std::fabs(second) / 256));
    });
    image_gaussian_blur(edges.get(), 3, 3, -1);
    return edges;
}

// What colour c becomes, each blurred by itself.
ImagePtr reference(const K7Image& source, int c, double blur, double sharp) {
    const ImagePtr edges = reference_edges(source);
    ImagePtr result(image_duplicate(&source));
    const float radius = float(blur) * 0.025f / source.unit_scale;
    image_gaussian_blur(result.get(), radius, radius, 1 << c);
    for (int y = 0; y < source.height; ++y)
        for (int x = 0; x < source.width; ++x) {
            const double f = sharp * 0.01 * double(at(*edges, x, y, c));
            at(*result, x, y, c) = float((1 - f) * double(at(*result, x, y, c)) + double(at(source, x, y, c)) * f);
        }
    return result;
}

// ---- The picture ----------------------------------------------------------------------------------------------

TEST(RemGrain, ColoursBlurAndKeepTheirEdges) {
    constexpr double ROUNDING = 2e-5;  // of a mix of about 20 times the source
    for (const auto& [width, height] : {std::pair{61, 37}, {3, 2}, {2, 40}}) {
        Remover remover(width, height);
        remover.colour(0, 5, 1).colour(1, 100, 0).colour(2, 40, 60);
        for (const float scale : {1.0f, 2.0f}) {
            image_set_unit_scale(remover.source.get(), scale);
            const ImagePtr result = same_bits_everywhere([&] { return remover.copy(); });
            EXPECT_LT(difference(*reference(*remover.source, 0, 5, 1), *result, 0), ROUNDING);
            EXPECT_LT(difference(*reference(*remover.source, 1, 100, 0), *result, 1), ROUNDING);
            EXPECT_LT(difference(*reference(*remover.source, 2, 40, 60), *result, 2), ROUNDING);
            EXPECT_EQ(difference(*remover.source, *result, 3), 0.0);
        }
    }
}

TEST(RemGrain, ColoursSwitchedOffAreBlackAndOneMayShowAsGrey) {
    Remover remover(40, 30);
    remover.colour(0, 5, 1).colour(1, 50, 30).colour(2, 90, 90);
    const ImagePtr all = remover.copy();
    const auto shows = [&](const std::function<float(int x, int y, int c)>& sample) {
        const ImagePtr wanted = picture(
            40, 30, [&](int x, int y, int c) { return c == 3 ? at(*remover.source, x, y, 3) : sample(x, y, c); });
        return same_pixels(wanted.get(), &remover.render());
    };
    for (int on = 0; on < 8; ++on) {
        for (int c = 0; c < 3; ++c) remover.effect.colours[c].on.value = on >> c & 1;
        EXPECT_TRUE(shows([&](int x, int y, int c) { return on >> c & 1 ? at(*all, x, y, c) : 0.0f; })) << on;
    }
    remover.effect.Mode.value = true;
    remover.effect.GonMx.value = false;  // not asked here
    for (int seen = 0; seen < 3; ++seen) {
        remover.effect.RGBEx.value = seen + 1;
        EXPECT_TRUE(shows([&](int x, int y, int) { return at(*all, x, y, seen); })) << seen;
    }
}

TEST(RemGrain, TheBoxIsAPictureOfItsOwn) {
    const ImagePtr source = noise(80, 50, 4);
    const ImagePtr part = picture(30, 20, [&](int x, int y, int c) { return at(*source, 20 + x, 10 + y, c); });
    Remover whole(part), boxed(source);
    for (Remover* each : {&whole, &boxed}) each->colour(0, 60, 30).effect.BonMx.value = false;
    const K7Image& cleaned = whole.render();
    const ImagePtr wanted = picture(80, 50, [&](int x, int y, int c) {
        const bool inside = x >= 20 && x < 50 && y >= 10 && y < 30;
        return inside ? at(cleaned, x - 20, y - 10, c) : at(*source, x, y, c);
    });
    EXPECT_TRUE(same_pixels(wanted.get(), &boxed.box(0.25, 0.2, 0.625, 0.6).render()));
    EXPECT_TRUE(same_pixels(wanted.get(), &boxed.box(0.625, 0.2, 0.25, 0.6).render())) << "either order";
    EXPECT_TRUE(same_pixels(wanted.get(), &boxed.box(0.625, 0.6, 0.25, 0.2).render()));

    Remover plain(source), remover(source);
    EXPECT_TRUE(same_pixels(&plain.render(), &remover.box(-3, 1e30, 4, -1e30).render()));
    for (const double left : {0.5, 1.5})
        EXPECT_TRUE(same_pixels(source.get(), &remover.box(left, 0.1, left == 0.5 ? 0.5 : 2.5, 0.9).render()));
}

}  // namespace
