// RemGrain against the edge kernel written out, and its modes and boxes.
#include "effects/adjust/RemGrain.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

float at(const K7Image* image, int x, int y, int c) { return image_row<float>(image, y)[4 * x + c]; }

struct Remover {
    RemGrain effect;
    explicit Remover(const ImagePtr& source) {
        effect.input.image.reset(image_duplicate(source.get()));
        effect.output.image.reset(image_duplicate(source.get()));
    }
    Remover& colour(int c, double blur, double sharp) {
        effect.colours[c].blur.value = blur, effect.colours[c].sharp.value = sharp;
        return *this;
    }
    Remover& box(double x1, double y1, double x2, double y2) {
        effect.ROI.value = true;
        effect.Point1.x = x1, effect.Point1.y = y1, effect.Point2.x = x2, effect.Point2.y = y2;
        return *this;
    }
    const K7Image* result() {
        image_fill(effect.output.image.get(), -7);
        effect.ProcessFrame();
        return effect.output.image.get();
    }
};

// ---- The reference --------------------------------------------------------------------------------------------

// The kernel as a table of 5 x 5, strength 2 falling off over 2 pixels, and its transpose.
ImagePtr reference_edges(const K7Image* source) {
    double kernel[5][5];
    for (int b = -2; b <= 2; ++b)
        for (int a = -2; a <= 2; ++a) {
            const double s = 2, r = 2;
            const double weight =
                std::floor(((std::abs(a) - 1) * (-s / r) + s) * 256 * ((std::abs(b) - 1) * (-s / r) + s));
            kernel[b + 2][a + 2] = a == 0 ? 0 : a < 0 ? -weight : weight;
        }
    ImagePtr edges(image_clone_layout(source));
    for (int y = 0; y < source->height; ++y)
        for (int x = 0; x < source->width; ++x)
            for (int c = 0; c < 4; ++c) {
                double first = 0, second = 0;
                for (int b = -2; b <= 2; ++b)
                    for (int a = -2; a <= 2; ++a) {
                        if (x + a < 0 || x + a >= source->width || y + b < 0 || y + b >= source->height) continue;
                        first += kernel[b + 2][a + 2] * double(at(source, x + a, y + b, c));
                        second += kernel[a + 2][b + 2] * double(at(source, x + a, y + b, c));
                    }
                image_row<float>(edges.get(), y)[4 * x + c] =
                    float(0.2 * 2 * (std::fabs(first) / 256 + std::fabs(second) / 256));
            }
    image_gaussian_blur(edges.get(), 3, 3, -1);
    return edges;
}

// What colour c becomes, each blurred by itself.
ImagePtr reference(const K7Image* source, int c, double blur, double sharp) {
    const ImagePtr edges = reference_edges(source);
    ImagePtr result(image_duplicate(source));
    const float radius = float(blur) * 0.025f / source->unit_scale;
    image_gaussian_blur(result.get(), radius, radius, 1 << c);
    for (int y = 0; y < source->height; ++y)
        for (int x = 0; x < source->width; ++x) {
            float& sample = image_row<float>(result.get(), y)[4 * x + c];
            const double f = sharp * 0.01 * double(at(edges.get(), x, y, c));
            sample = float((1 - f) * double(sample) + double(at(source, x, y, c)) * f);
        }
    return result;
}

double difference(const K7Image* a, const K7Image* b, int c) {
    double largest = 0;
    for (int y = 0; y < a->height; ++y)
        for (int x = 0; x < a->width; ++x) {
            const double d = std::fabs(double(at(a, x, y, c)) - double(at(b, x, y, c)));
            largest = d <= largest ? largest : d;
        }
    return largest;
}

constexpr double ROUNDING = 2e-5;  // of a mix of about 20 times the source

// ---- The picture ----------------------------------------------------------------------------------------------

TEST(RemGrain, ColoursBlurAndKeepTheirEdges) {
    for (const auto& [width, height] : {std::pair{61, 37}, {1, 1}, {3, 2}, {2, 40}}) {
        const ImagePtr source = noise_image(width, height, 4, SAMPLE_F32, 4);
        Remover remover(source);
        remover.colour(0, 5, 1).colour(1, 100, 0).colour(2, 40, 60);
        for (const float scale : {1.0f, 2.0f}) {
            image_set_unit_scale(remover.effect.input.image.get(), scale);
            image_set_unit_scale(remover.effect.output.image.get(), scale);
            const ImagePtr scaled(image_duplicate(remover.effect.input.image.get()));
            const K7Image* result = remover.result();
            EXPECT_LT(difference(reference(scaled.get(), 0, 5, 1).get(), result, 0), ROUNDING);
            EXPECT_LT(difference(reference(scaled.get(), 1, 100, 0).get(), result, 1), ROUNDING);
            EXPECT_LT(difference(reference(scaled.get(), 2, 40, 60).get(), result, 2), ROUNDING);
            EXPECT_EQ(difference(source.get(), result, 3), 0.0);
        }
    }
}

TEST(RemGrain, AllThreadsAndProcessorsGiveTheSameBits) {
    const ImagePtr source = noise_image(157, 83, 4, SAMPLE_F32, 4);
    Remover remover(source);
    remover.colour(0, 30, 20).colour(1, 30, 5).colour(2, 77, 60);
    ImagePtr first;
    for (const CpuLevel level : {CpuLevel::avx512, CpuLevel::avx2, CpuLevel::baseline})
        for (const int count : {1, 2, 7}) {
            set_cpu_level_limit(level);
            const RowThreads threads(count);
            const K7Image* result = remover.result();
            if (!first)
                first.reset(image_duplicate(result));
            else
                EXPECT_TRUE(same_pixels(first.get(), result)) << "level " << int(level) << ", " << count;
        }
    set_cpu_level_limit(CpuLevel::avx512);
}

TEST(RemGrain, ColoursSwitchedOffAreBlack) {
    const ImagePtr source = noise_image(40, 30, 4, SAMPLE_F32, 4);
    Remover remover(source);
    const ImagePtr all(image_duplicate(remover.result()));
    for (int on = 0; on < 8; ++on) {
        for (int c = 0; c < 3; ++c) remover.effect.colours[c].on.value = on >> c & 1;
        const K7Image* result = remover.result();
        for (int i = 0; i < 40 * 30; ++i)
            for (int c = 0; c < 4; ++c)
                EXPECT_EQ(image_row<float>(result, 0)[4 * i + c],
                          c == 3 || on >> c & 1 ? image_row<float>(all.get(), 0)[4 * i + c] : 0.0f);
    }
}

TEST(RemGrain, SeeLuminanceShowsOneColourAsGrey) {
    const ImagePtr source = noise_image(40, 30, 4, SAMPLE_F32, 4);
    Remover remover(source);
    remover.colour(0, 5, 1).colour(1, 50, 30).colour(2, 90, 90);
    const ImagePtr all(image_duplicate(remover.result()));
    remover.effect.Mode.value = true;
    remover.effect.GonMx.value = false;  // not asked here
    for (int c = 0; c < 3; ++c) {
        remover.effect.RGBEx.value = c + 1;
        const K7Image* result = remover.result();
        for (int i = 0; i < 40 * 30; ++i) {
            const float* found = image_row<float>(result, 0) + 4 * i;
            const float grey = image_row<float>(all.get(), 0)[4 * i + c];
            EXPECT_TRUE(found[0] == grey && found[1] == grey && found[2] == grey);
            EXPECT_EQ(found[3], image_row<float>(source.get(), 0)[4 * i + 3]);
        }
    }
}

// ---- The box --------------------------------------------------------------------------------------------------

TEST(RemGrain, TheBoxIsAPictureOfItsOwn) {
    const ImagePtr source = noise_image(80, 50, 4, SAMPLE_F32, 4);
    ImagePtr part = make_image(30, 20, 4, SAMPLE_F32);  // from 20, 10 on
    for (int y = 0; y < 20; ++y)
        for (int i = 0; i < 120; ++i)
            image_row<float>(part.get(), y)[i] = image_row<float>(source.get(), 10 + y)[80 + i];
    for (const bool grey : {false, true}) {
        Remover whole(part), boxed(source), swapped(source);
        for (Remover* each : {&whole, &boxed, &swapped}) {
            each->colour(0, 60, 30).effect.Mode.value = grey;
            each->effect.BonMx.value = false;
        }
        const K7Image* expected = whole.result();
        const K7Image* result = boxed.box(0.25, 0.2, 0.625, 0.6).result();
        for (int y = 0; y < 50; ++y)
            for (int x = 0; x < 80; ++x)
                for (int c = 0; c < 4; ++c) {
                    const bool inside = x >= 20 && x < 50 && y >= 10 && y < 30;
                    ASSERT_EQ(at(result, x, y, c),
                              inside ? at(expected, x - 20, y - 10, c) : at(source.get(), x, y, c));
                }
        EXPECT_TRUE(same_pixels(result, swapped.box(0.625, 0.2, 0.25, 0.6).result()));
        EXPECT_TRUE(same_pixels(result, swapped.box(0.625, 0.6, 0.25, 0.2).result()));
    }
}

TEST(RemGrain, BoxesAnywhere) {
    const ImagePtr source = noise_image(40, 30, 4, SAMPLE_F32, 4);
    Remover plain(source), remover(source);
    const K7Image* whole = plain.result();
    EXPECT_TRUE(same_pixels(whole, remover.box(-3, 1e30, 4, -1e30).result()));
    EXPECT_TRUE(same_pixels(source.get(), remover.box(0.5, 0.1, 0.5, 0.9).result()));
    EXPECT_TRUE(same_pixels(source.get(), remover.box(1.5, 0.1, 2.5, 0.9).result()));
    remover.box(0.99, 0.99, 1, 1).result();  // one pixel
}

TEST(RemGrain, FlatPicturesStayAwayFromTheirSidesAndHostileSamplesDoNoHarm) {
    const ImagePtr flat = make_image(60, 50, 4, SAMPLE_F32);
    image_fill(flat.get(), 0.25f);
    EXPECT_LT(difference(flat.get(), Remover(flat).colour(0, 100, 100).result(), 0), 1e-6);
    const ImagePtr hostile = noise_image(50, 40, 4, SAMPLE_F32, 4);
    const float values[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), -3e38f};
    for (int i = 0; i < 50 * 40 * 4; i += 11) image_row<float>(hostile.get(), 0)[i] = values[i % 3];
    Remover remover(hostile);
    remover.effect.BonMx.value = false;
    remover.colour(0, 1e30, -1e30).colour(1, -1e30, 100);
    EXPECT_EQ(at(remover.result(), 7, 7, 2), 0.0f);
}

}  // namespace
