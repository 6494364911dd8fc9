// Shapes, strokes and text drawn straight into pictures.
#include "graphicslib/shape_batch.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <tuple>

#include "graphicslib/stroke_text.h"
#include "noiselib/mtrandom.h"
#include "support/same_bits.h"

namespace {

constexpr GraphicsColour WHITE{1, 1, 1, 1};
constexpr StrokeStyle ROUND{StrokeStyle::ROUND, StrokeStyle::ROUND_CAP};

double covered(const K7Image* image) {
    double sum = 0;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x) sum += double(image_row<float>(image, y)[4 * x + 3]);
    return sum;
}

float at(const K7Image* image, int x, int y, int c = 3) { return image_row<float>(image, y)[4 * x + c]; }

template <class Collect>
ImagePtr drawn(int width, int height, Collect collect, float background = 0) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    image_fill(image.get(), background);
    ShapeBatch batch;
    batch.begin(width, height);
    collect(batch);
    EXPECT_TRUE(batch.draw(image.get()));
    return image;
}

TEST(FlatPath, CurvesStayWithinTheToleranceAndKnowTheirLength) {
    FlatPath circle(0.01F);
    constexpr float K = 0.5522848F * 100;  // a quarter of a circle of radius 100, to 0.03
    circle.move_to(100, 0);
    circle.cubic_to(100, K, K, 100, 0, 100);
    EXPECT_NEAR(circle.length(), 50 * M_PI, 0.05);
    for (int i = 0; i < circle.points(0); ++i)
        EXPECT_NEAR(std::hypot(circle.xy(0)[2 * i], circle.xy(0)[2 * i + 1]), 100, 0.03);
    EXPECT_LT(circle.points(0), 70);
    const FlatPath::Place middle = circle.at(0, 25 * float(M_PI));
    EXPECT_NEAR(middle.x, middle.y, 0.1);
    EXPECT_NEAR(middle.dx, -M_SQRT1_2, 0.02);
    EXPECT_NEAR(circle.at(0, 1e30F).y, 100, 1e-4F);
    EXPECT_NEAR(circle.at(0, NAN).x, 100, 1e-4F);

    FlatPath parts;
    parts.move_to(0, 0);
    parts.line_to(3, 4);
    parts.line_to(3, 4);
    parts.line_to(3, 0);
    parts.close();
    parts.spline_through(3, std::array<float, 6>{10, 0, 20, 0, 30, 0}.data(), false);
    EXPECT_FLOAT_EQ(parts.length(0), 12);
    EXPECT_TRUE(parts.closed(0));
    EXPECT_NEAR(parts.length(1), 20, 1e-4F);
    const FlatPath piece = parts.between(4, 17);
    ASSERT_EQ(piece.contours(), 2);
    EXPECT_NEAR(piece.length(0), 8, 1e-5F);
    EXPECT_NEAR(piece.length(1), 5, 1e-5F);
    EXPECT_NEAR(piece.at(1, 99).x, 15, 1e-4F);
}

TEST(ShapeBatch, AreasAreExactAndHolesAreHoles) {
    const float triangle[] = {10.3F, 5.2F, 70.7F, 11.4F, 30.1F, 44.9F};
    const double area = 0.5 * ((70.7 - 10.3) * (44.9 - 5.2) - (30.1 - 10.3) * (11.4 - 5.2));
    const ImagePtr one = drawn(80, 60, [&](ShapeBatch& batch) { EXPECT_TRUE(batch.polygon(3, triangle, WHITE)); });
    EXPECT_NEAR(covered(one.get()), area, 1e-3);
    FlatPath frame;
    for (const auto& [low, high, back] : {std::tuple{10.5F, 50.5F, false}, {20.25F, 30.75F, true}}) {
        frame.move_to(low, low);
        back ? frame.line_to(low, high) : frame.line_to(high, low);
        frame.line_to(high, high);
        back ? frame.line_to(high, low) : frame.line_to(low, high);
        frame.close();
    }
    const ImagePtr hollow = drawn(80, 60, [&](ShapeBatch& batch) { batch.fill(frame, {0.5F, 2, 1, 0.5F}); });
    EXPECT_NEAR(covered(hollow.get()), 0.5 * (40 * 40 - 10.5 * 10.5), 1e-3);
    EXPECT_EQ(at(hollow.get(), 25, 25), 0);
    EXPECT_EQ(at(hollow.get(), 15, 15, 1), 1);
}

FlatPath polyline(std::initializer_list<std::array<float, 2>> points) {
    FlatPath path;
    for (const auto& p : points) &p == points.begin() ? path.move_to(p[0], p[1]) : path.line_to(p[0], p[1]);
    return path;
}

// Strokes are inked once wherever they touch themselves, however they turn.
TEST(ShapeBatch, StrokesCoverWhatThePenTouchesOnce) {
    const FlatPath line = polyline({{30, 40}, {130, 90}}), corner = polyline({{40, 30}, {120, 30}, {120, 110}});
    const FlatPath back = polyline({{40, 30}, {120, 30}, {50, 30}}), dot = polyline({{90, 80}, {90, 80}});
    FlatPath eight;  // crosses itself
    const float knots[] = {40, 40, 140, 110, 140, 40, 40, 110};
    eight.spline_through(4, knots, true);
    const double length = std::hypot(100, 50), crossed = 9 * double(eight.length());
    const double arms = 20 * (80 + 70) + 10 * 10, bend = 10 * 10;  // without the outer quarter, and that quarter
    const struct {
        const FlatPath& path;
        float width;
        StrokeStyle style;
        double ink, tolerance;
    } cases[] = {{line, 14, {}, 14 * length, 0.05},
                 {line, 14, {StrokeStyle::MITRE, StrokeStyle::SQUARE}, 14 * (length + 14), 0.05},
                 {line, 14, ROUND, 14 * length + 49 * M_PI, 0.5},
                 {corner, 20, {StrokeStyle::MITRE}, arms + bend, 0.1},
                 {corner, 20, {StrokeStyle::BEVEL}, arms + 0.5 * bend, 0.1},
                 {corner, 20, {StrokeStyle::ROUND}, arms + 0.25 * M_PI * bend, 0.5},
                 {back, 20, ROUND, 20 * 80 + 100 * M_PI, 1},
                 {dot, 30, ROUND, 225 * M_PI, 2},
                 {eight, 9, ROUND, crossed - 125, 125},
                 {line, 0, ROUND, 0, 0},
                 {line, NAN, ROUND, 0, 0}};
    for (const auto& test : cases) {
        const ImagePtr image = drawn(200, 150, [&](ShapeBatch& batch) {
            batch.stroke(test.path, test.width, test.style, {1, 1, 1, 0.5F});
        });
        EXPECT_NEAR(2 * covered(image.get()), test.ink, test.tolerance) << &test - cases;
        for (int i = 3; i < 4 * 200 * 150; i += 4) ASSERT_LE(image_row<float>(image.get(), 0)[i], 0.5F) << i / 4;
    }
}

// A chequered plane seen in perspective shows each field where the projection puts it.
TEST(ShapeBatch, TexturesAreRightInPerspectiveAndSmoothWhenSmall) {
    ImagePtr board = make_image(64, 64, 4, SAMPLE_F32);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) {
            float* pixel = image_row<float>(board.get(), y) + 4 * x;
            pixel[0] = (x / 8 + y / 8) % 2 ? 1 : 0;
            pixel[1] = float(x) / 63, pixel[2] = float(y) / 63, pixel[3] = 1;
        }
    const MipPicture texture(board.get(), false, MipPicture::Frame::repeat);
    const auto corner = [](float u, float v) {  // the plane leans away upwards: w from 1 to 3
        const float w = 1 + v / 32;
        return ShapeVertex{100 + (u - 32) * 2.5F / w, 20 + v * 4 / w, u, v, w};
    };
    const ShapeVertex quad[] = {corner(0, 0), corner(64, 0), corner(64, 64), corner(0, 64)};
    const ImagePtr image = drawn(200, 150, [&](ShapeBatch& batch) { ASSERT_TRUE(batch.mesh(4, quad, &texture)); });
    for (const float v : {4.0F, 12.0F, 36.0F, 60.0F})
        for (const float u : {4.0F, 20.0F, 36.0F, 60.0F}) {
            const ShapeVertex place = corner(u, v);
            const int x = int(place.x), y = int(place.y);
            EXPECT_NEAR(at(image.get(), x, y, 1), u / 64, 0.03) << u << ", " << v;
            EXPECT_NEAR(at(image.get(), x, y, 2), v / 64, 0.03) << u << ", " << v;
            EXPECT_NEAR(at(image.get(), x, y, 0), int(u / 8 + int(v / 8)) % 2, 0.3) << u << ", " << v;
        }
    const ShapeVertex shaded[] = {
        {5, 5, 0, 0, 1, {1, 0, 0, 1}}, {35, 5, 0, 0, 1, {0, 1, 0, 1}}, {5, 35, 0, 0, 1, {0, 0, 1, 0}}};
    const ImagePtr ramp = drawn(40, 40, [&](ShapeBatch& batch) { batch.mesh(3, shaded); });
    EXPECT_NEAR(at(ramp.get(), 14, 8, 0), 1 - 13.0F / 30, 1e-4F);
    EXPECT_NEAR(at(ramp.get(), 14, 8, 1), 9.5F / 30, 1e-4F);
    EXPECT_NEAR(at(ramp.get(), 14, 8, 3), 1 - 3.5F / 30, 1e-4F);
}

TEST(ShapeBatch, BlendsInOrderOrByDepth) {
    const float square[] = {0, 0, 8, 0, 8, 8, 0, 8};
    for (const DrawBlend blend : {DrawBlend::over, DrawBlend::add, DrawBlend::screen}) {
        const ImagePtr image = drawn(
            8, 8,
            [&](ShapeBatch& batch) {
                batch.set_blend(blend);
                batch.polygon(4, square, {0.8F, 2, 0, 0.5F});
            },
            0.25F);
        const bool over = blend == DrawBlend::over, add = blend == DrawBlend::add;
        EXPECT_FLOAT_EQ(at(image.get(), 3, 3, 0), over ? 0.525F : add ? 0.65F : 0.55F);
        EXPECT_FLOAT_EQ(at(image.get(), 3, 3, 1), over ? 1.125F : add ? 1.25F : 1.0F);
        EXPECT_FLOAT_EQ(at(image.get(), 3, 3, 3), 0.625F);
    }
    for (const bool sorted : {false, true}) {
        const ImagePtr image = drawn(8, 8, [&](ShapeBatch& batch) {
            batch.set_depth(1);
            batch.polygon(4, square, {1, 0, 0, 1});
            batch.set_depth(5);
            batch.polygon(4, square, {0, 1, 0, 1});
            if (sorted) batch.sort_by_depth();
        });
        EXPECT_EQ(at(image.get(), 3, 3, 0), sorted ? 1 : 0);
    }
}

TEST(StrokeText, GlyphsStandOnTheBaseLineAndTheCacheDrawsThemAlike) {
    const TextLook look{.size = 42, .weight = 0.1F};
    FlatPath path;
    const float width = append_text("HI x", look, 10, 20, path);
    EXPECT_NEAR(width, text_width("HI x", look), 1e-4F);
    float low = 1e9F, high = -1e9F;
    for (int i = 0; i < path.contours(); ++i)
        for (int k = 0; k < path.points(i); ++k)
            low = std::min(low, path.xy(i)[2 * k + 1]), high = std::max(high, path.xy(i)[2 * k + 1]);
    EXPECT_FLOAT_EQ(low, 20);
    EXPECT_FLOAT_EQ(high, 62);
    const ImagePtr stroked = drawn(160, 80, [&](ShapeBatch& batch) { batch.stroke(path, 4.2F, ROUND, WHITE); });
    GlyphCache cache(look);
    const ImagePtr cached = drawn(160, 80, [&](ShapeBatch& batch) {
        EXPECT_EQ(cache.draw(batch, "HI x", 10, 20, WHITE), width);
        EXPECT_FALSE(cache.draw(batch, 'A', NAN, 20, WHITE) || cache.draw(batch, 200, 10, 20, WHITE));
    });
    EXPECT_NEAR(covered(cached.get()), covered(stroked.get()), 0.02 * covered(stroked.get()));
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 12 + int(glyph_advance('H', look)); ++x)  // the first character lies on whole pixels
            ASSERT_NEAR(at(cached.get(), x, y), at(stroked.get(), x, y), 1e-5F) << x << ", " << y;
}

TEST(ShapeBatch, TheSameBitsOnAnyNumberOfThreadsAndInstructionSet) {
    ImagePtr board = make_image(16, 16, 4, SAMPLE_F32);
    image_fill(board.get(), 0.7F);
    image_row<float>(board.get(), 5)[20] = 3;
    const MipPicture texture(board.get());
    GlyphCache cache({.size = 17, .weight = 0.15F, .slant = 0.2F});
    same_bits_everywhere([&] {
        return drawn(
            170, 90,
            [&](ShapeBatch& batch) {
                MTRandom random(5);
                const auto x = [&] { return random.next_float_in(-20, 190); };
                for (int i = 0; i < 60; ++i) {
                    batch.set_blend(DrawBlend(i % 3));
                    batch.set_depth(random.next_float());
                    const float corners[] = {x(), x(), x(), x(), x(), x()};
                    const GraphicsColour colour{random.next_float(), 1, 0.5F, 0.4F};
                    batch.polygon(3, corners, colour);
                    ShapeVertex mesh[3];
                    for (int k = 0; k < 3; ++k)
                        mesh[k] = {x(), x(), x() / 10, x() / 10, random.next_float_in(0.5F, 2), colour};
                    batch.mesh(3, mesh, i % 2 ? &texture : nullptr);
                    FlatPath path;
                    path.spline_through(3, corners, i % 4 == 0);
                    batch.stroke(path, 0.3F + float(i % 9), i % 2 ? ROUND : StrokeStyle{}, colour);
                    cache.draw(batch, "Jug", x(), x(), colour);
                }
                batch.sort_by_depth();
            },
            0.3F);
    });
}

}  // namespace
