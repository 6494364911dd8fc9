#include "graphicslib/raster_graphics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "noiselib/mtrandom.h"
#include "support/same_bits.h"

namespace {

constexpr GraphicsColour RED{1, 0, 0, 1}, BLUE{0, 0, 1, 1};

// z -1 to -10 in front of the eye.
constexpr Matrix4 PERSPECTIVE{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, -11.0F / 9, -1}, {0, 0, -20.0F / 9, 0}}};

struct Point {
    float x, y, z = 0;
};

void prepare(RasterGraphics& graphics, int width, int height, int type = SAMPLE_F32) {
    ASSERT_TRUE(graphics.prepare_device(width, height, 1, type));
    graphics.set_colour({0, 0, 0, 0});
    graphics.clear_device();
    ASSERT_TRUE(graphics.enter_pixel_space());
    graphics.clear_list();
}

void stroke(RasterGraphics& graphics, const GraphicsColour& colour, const std::vector<Point>& points,
            bool closed = false) {
    ASSERT_TRUE(graphics.begin_stroke());
    graphics.set_vertex_colour(colour.r, colour.g, colour.b, colour.a);
    for (const Point& p : points) graphics.add_vertex(p.x, p.y, p.z);
    EXPECT_TRUE(graphics.end_stroke(closed));
}

// Of a stroke `pixels` wide in a picture of this size.
float width_of(float pixels, int width, int height) { return pixels * 2 / float(width + height); }

double alpha_sum(const K7Image* image) {
    double sum = 0;
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x) sum += image_get_sample(image, x, y, 3);
    return sum;
}

ImagePtr rendered(RasterGraphics& graphics) {
    EXPECT_TRUE(graphics.render_list());
    return ImagePtr(image_duplicate(graphics.target()));
}

// One sample a pixel, so that coverage is exact.
void prepare_exact(RasterGraphics& graphics, int width, int height) {
    prepare(graphics, width, height);
    graphics.set_samples_per_side(1);
    graphics.set_polygon_mode(PolygonRasterizer::EXACT);
}

// Something of everything: thick, hairline, translucent, discs, crossing and leaving the picture; unless `level`, also
// strokes whose depth and colour change along them.
void draw_scene(RasterGraphics& graphics, int width, int height, bool level = false) {
    MTRandom random(8);
    const auto x = [&] { return random.next_float_in(-0.2F, 1.2F) * float(width); };
    const auto y = [&] { return random.next_float_in(-0.2F, 1.2F) * float(height); };
    for (int i = 0; i < 24; ++i) {
        graphics.set_line_width(i % 4 == 0 ? 0 : random.next_float_in(0.002F, 0.08F));
        const float z = -random.next_float_in(0, float(width));
        std::vector<Point> points;
        for (int k = 0; k < 2 + i % 5; ++k) points.push_back({x(), y(), z});
        if (!level && i % 2 == 1) {
            graphics.begin_stroke();
            for (const Point& p : points) {
                const float tilt = i % 4 == 1 ? random.next_float_in(0.5F, 1.5F) : 1;
                graphics.set_vertex_colour(random.next_float(), random.next_float(), 1, random.next_float());
                graphics.add_vertex(p.x, p.y, p.z * tilt);
            }
            EXPECT_TRUE(graphics.end_stroke(i % 3 == 0));
            continue;
        }
        stroke(graphics, {random.next_float(), random.next_float(), random.next_float(), random.next_float()}, points,
               i % 3 == 0);
        const float centre[3] = {x(), y(), z};
        graphics.add_disc(centre, random.next_float_in(1, 20), {random.next_float(), 1, 0, random.next_float()});
    }
}

ImagePtr picture(int width, int height, int bands, int samples, int mode) {
    RasterGraphics graphics;
    prepare(graphics, width, height);
    graphics.set_multiprocess(
        nullptr, [](void*, RowWorker worker, int rows, void* job) { image_dispatch_rows(worker, rows, job); });
    graphics.set_samples_per_side(samples);
    graphics.set_num_bands(bands);
    graphics.set_polygon_mode(mode);
    draw_scene(graphics, width, height);
    graphics.leave_pixel_space();
    return rendered(graphics);
}

TEST(RasterGraphics, TheBitsDependOnNeitherBandsNorThreadsNorInstructionSet) {
    for (const auto& [width, height] : {std::pair{331, 97}, {64, 301}, {5, 4}, {1100, 40}})
        for (const int samples : {1, 3})
            for (const int mode : {PolygonRasterizer::PLAIN, PolygonRasterizer::EXACT}) {
                const ImagePtr one = picture(width, height, 1, samples, mode);
                EXPECT_GT(alpha_sum(one.get()), 2);
                const ImagePtr many = same_bits_everywhere([&] { return picture(width, height, 7, samples, mode); });
                EXPECT_TRUE(same_pixels(one.get(), many.get()));
            }
}

// Level things come without a depth test. Ink that can't be seen, lying across the picture in front of all and tilted,
// brings the test back and must change nothing.
TEST(RasterGraphics, LevelScenesNeedNoDepths) {
    for (const int mode : {PolygonRasterizer::PLAIN, PolygonRasterizer::EXACT}) {
        ImagePtr pictures[2];
        for (const bool tested : {false, true}) {
            RasterGraphics graphics;
            prepare(graphics, 120, 90);
            graphics.set_samples_per_side(mode == PolygonRasterizer::EXACT ? 1 : 3);
            graphics.set_polygon_mode(mode);
            draw_scene(graphics, 120, 90, true);
            if (tested) {
                graphics.set_line_width(0.1F);
                stroke(graphics, {1, 1, 1, 0}, {{0, 0, -0.001F}, {119, 89, -0.002F}});
            }
            const DisplayNode* node = graphics.list_head();
            while (node && node->level) node = node->next;
            ASSERT_EQ(node != nullptr, tested);
            pictures[tested] = rendered(graphics);
        }
        EXPECT_TRUE(same_pixels(pictures[0].get(), pictures[1].get()));
        EXPECT_GT(alpha_sum(pictures[0].get()), 100);
    }
}

// Pictures of more than 8 MB are written past the caches.
TEST(RasterGraphics, LargePicturesAreClearedAndWrittenWhole) {
    constexpr int W = 1201, H = 500;
    RasterGraphics graphics;
    prepare(graphics, W, H);
    graphics.set_colour({1, 0.5F, 0, 0.5F});
    graphics.clear_device();
    const auto all_are = [&](auto alpha_at) {
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                const float* pixel = image_row<float>(graphics.target(), y) + 4 * x;
                const auto [red, alpha] = alpha_at(x, y);
                ASSERT_NEAR(pixel[0], red, 1e-3F) << x << ", " << y;
                ASSERT_NEAR(pixel[3], alpha, 1e-3F) << x << ", " << y;
            }
    };
    all_are([](int, int) { return std::pair{1.0F, 0.5F}; });
    graphics.set_samples_per_side(1);
    graphics.set_polygon_mode(PolygonRasterizer::EXACT);
    graphics.set_num_bands(3);
    const float sx = (W - 1.0F) / W, sy = (H - 1.0F) / H;
    const float points[12] = {11 * sx, 7 * sy, 0, 1150 * sx, 7 * sy, 0, 1150 * sx, 401 * sy, 0, 11 * sx, 401 * sy, 0};
    ASSERT_TRUE(graphics.add_polygon(4, points));
    ASSERT_TRUE(graphics.render_list());
    all_are([](int x, int y) {
        const float alpha = x >= 11 && x < 1150 && y >= 7 && y < 401 ? 0.5F : 0;
        return std::pair{alpha, alpha};
    });
}

// x = 0 to 199 becomes 0 to 200 pixels, so lengths are SCALE longer.
TEST(Strokes, AreInkedOnceWithMitredJoins) {
    constexpr float SCALE = 200 / 199.0F;
    struct Case {
        float width;
        std::vector<Point> points;
        bool closed;
        double ink, tolerance;
    };
    // Of two arms the corner square counts once: its outer half is the mitre. Of a ring all four corners are filled;
    // pixels on the lines between pieces mix their shares.
    const Case cases[] = {{10, {{40, 90}, {120, 90}, {120, 30}}, false, 10 * (80 + 60), 2},
                          {10, {{40, 90}, {120, 90}, {120, 150}}, false, 10 * (80 + 60), 2},
                          {6, {{50, 50}, {150, 50}, {150, 150}, {50, 150}}, true, 6 * 400, 16},
                          {5, {{10, 20}, {80, 20}}, true, 5 * 70, 4},
                          {0, {{10, 20}, {80, 20}}, true, 70, 1},
                          {10, {{10, 10}}, false, 0, 0},
                          {10, {}, false, 0, 0}};
    for (const Case& test : cases) {
        SCOPED_TRACE(&test - cases);
        RasterGraphics graphics;
        prepare_exact(graphics, 200, 200);
        graphics.set_line_width(width_of(test.width, 200, 200));
        stroke(graphics, {1, 1, 1, 0.5F}, test.points, test.closed);
        const ImagePtr image = rendered(graphics);
        EXPECT_NEAR(2 * alpha_sum(image.get()), test.ink * SCALE, test.tolerance);
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 200; ++x) {
                // Whole pixels are inked once; those that two pieces share keep within what rounding up may add.
                ASSERT_LE(image_get_sample(image.get(), x, y, 3), 0.505F) << x << ", " << y;
            }
        if (test.width < 10 || test.points.size() < 2) continue;
        const int corner = int(120 * SCALE), inner = test.points[2].y > 90 ? -2 : 2;
        EXPECT_NEAR(image_get_sample(image.get(), corner + 4, int(90 * SCALE + float(inner)), 3), 0.5F, 1e-4F);
        EXPECT_EQ(image_get_sample(image.get(), corner + 7, int(90 * SCALE), 3), 0);
    }
    RasterGraphics spike;  // bevelled: a mitre would reach far beyond 120
    prepare_exact(spike, 200, 200);
    spike.set_line_width(width_of(6, 200, 200));
    stroke(spike, RED, {{20, 100}, {120, 100}, {20, 104}});
    ASSERT_TRUE(spike.render_list());
    for (int y = 0; y < 200; ++y) ASSERT_EQ(image_get_sample(spike.target(), 126, y, 3), 0) << y;
}

TEST(RasterGraphics, NearThingsHideFarOnesInAnyOrder) {
    for (const bool near_first : {false, true}) {
        RasterGraphics graphics;
        prepare(graphics, 60, 60);
        graphics.set_line_width(0.3F);
        for (const bool near : {near_first, !near_first}) {
            const std::vector<Point> across = {{0, 30, -1}, {59, 30, -1}}, upwards = {{30, 0, -40}, {30, 59, -40}};
            stroke(graphics, near ? RED : BLUE, near ? across : upwards);
        }
        ASSERT_TRUE(graphics.render_list());
        EXPECT_NEAR(image_get_sample(graphics.target(), 30, 30, 0), 1, 1e-5F);
        EXPECT_NEAR(image_get_sample(graphics.target(), 30, 30, 2), 0, 1e-5F);
        EXPECT_NEAR(image_get_sample(graphics.target(), 30, 5, 2), 1, 1e-5F);
    }
}

TEST(RasterGraphics, DiscsFadeFromTheirCentre) {
    RasterGraphics graphics;
    prepare(graphics, 80, 80);
    graphics.set_samples_per_side(1);
    const float centre[3] = {39.5F * 79 / 80, 39.5F * 79 / 80, -1};
    ASSERT_TRUE(graphics.add_disc(centre, 20, {1, 1, 0.5F, 1}));
    ASSERT_TRUE(graphics.render_list());
    for (const int distance : {0, 5, 10, 15, 19, 20, 25}) {
        const float t = std::max(1 - float(distance) / 20, 0.0F);
        EXPECT_NEAR(image_get_sample(graphics.target(), 39 + distance, 39, 3), t, 1e-4F);
        EXPECT_NEAR(image_get_sample(graphics.target(), 39, 39 - distance, 2), 0.5F * t * t, 1e-4F);
    }
}

TEST(RasterGraphics, TheTargetIsReplacedOrDrawnOverAtEveryDepth) {
    for (const int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_U32, SAMPLE_F32})
        for (const bool keep : {false, true}) {
            RasterGraphics graphics;
            prepare(graphics, 40, 30, type);
            graphics.set_colour({0.5F, 0.25F, 0.5F, 1});
            graphics.clear_device();
            graphics.set_keep_target(keep);
            graphics.set_line_width(0.5F);
            stroke(graphics, {1, 0.5F, 0, 0.75F}, {{0, 15}, {39, 15}});
            ASSERT_TRUE(graphics.render_list());
            const float full = image_full_value(type), there = keep ? 0.25F : 0;
            const auto level = [&](int y, int channel) {
                return image_get_sample(graphics.target(), 20, y, channel) / full;
            };
            EXPECT_NEAR(level(15, 0), 0.75F + 0.5F * there, 0.005F);
            EXPECT_NEAR(level(15, 1), 0.375F + 0.25F * there, 0.005F);
            EXPECT_NEAR(level(15, 3), 0.75F + there, 0.005F);
            EXPECT_NEAR(level(29, 0), 2 * there, 0.005F);
            EXPECT_NEAR(level(29, 3), 4 * there, 1e-5F);
        }
}

// A floor that leans away, cut by the view: texture places and normals follow the projection.
TEST(RasterGraphics, PolygonsCarryTextureAndNormalInPerspective) {
    int fragments = 0;
    RasterGraphics graphics;
    ASSERT_TRUE(graphics.prepare_device(100, 100, 1, SAMPLE_F32));
    graphics.clear_list();
    ASSERT_TRUE(graphics.set_projection(PERSPECTIVE));
    graphics.set_samples_per_side(1);
    graphics.set_polygon_mode(PolygonRasterizer::EXACT);
    graphics.set_material(3);
    graphics.set_shader(
        3,
        [](const RasterFragment& fragment, void* data) {
            auto* const count = static_cast<int*>(data);
            // Through the pixel's centre from the eye onto the floor y = -1.
            const float dx = (float(fragment.x) - 49.5F) / 50, dy = (float(fragment.y) - 49.5F) / 50;
            if (fragment.coverage < 1 || dy > -0.12F) return;
            const float w = -1 / dy, x = dx * w;
            EXPECT_NEAR(fragment.w, w, 1e-3F * w);
            EXPECT_NEAR(fragment.texture[0], x / 2, 2e-3F * w);
            EXPECT_NEAR(fragment.texture[1], w / 4, 1e-3F * w);
            EXPECT_NEAR(fragment.surface_normal[0], 0.1F * x, 2e-3F * w);
            EXPECT_NEAR(fragment.surface_normal[1], 1, 1e-3F);
            ++*count;
        },
        &fragments);
    std::vector<RasterVertex> floor;
    for (const auto& [x, z] : {std::pair{-30.0F, -1.2F}, {30, -1.2F}, {30, -9}, {-30, -9}})
        floor.push_back({{x, -1, z}, {0.1F * x, 1, 0}, {x / 2, -z / 4}});
    ASSERT_TRUE(graphics.add_polygon(4, floor.data()));
    floor[0].position[2] = 1;  // behind the eye
    EXPECT_FALSE(graphics.add_polygon(4, floor.data()));
    ASSERT_TRUE(graphics.render_list());
    EXPECT_GT(fragments, 2000);
}

TEST(RasterGraphics, AFrameAfterAFrameStartsAfresh) {
    RasterGraphics graphics;
    ImagePtr first;
    for (int frame = 0; frame < 120; ++frame) {  // more often than there are levels on a stack
        prepare(graphics, 40, 30);
        graphics.set_samples_per_side(2);
        graphics.set_line_width(0.1F);
        const float y = frame == 1 ? 25.0F : 5.0F;
        stroke(graphics, RED, {{5, y}, {35, y}});
        ASSERT_TRUE(graphics.leave_pixel_space());
        ImagePtr image = rendered(graphics);
        ASSERT_TRUE(frame < 2 || same_pixels(first.get(), image.get())) << frame;
        if (frame == 0) first = std::move(image);
    }
    EXPECT_EQ(graphics.stack_depth(GeometricTransform::VIEW), 0);
    EXPECT_EQ(graphics.fit_mode(), 1);
    EXPECT_FALSE(graphics.leave_pixel_space());
}

TEST(RasterGraphics, HostileInputIsRefusedOrDropped) {
    RasterGraphics graphics;
    for (const auto& [width, height] : {std::pair{1, 50}, {65536, 2}, {-4, 4}})
        EXPECT_FALSE(graphics.prepare_device(width, height, 1, SAMPLE_F32));
    EXPECT_FALSE(graphics.prepare_device(4, 4, NAN, SAMPLE_F32) || graphics.prepare_device(4, 4, 1, 4));
    EXPECT_FALSE(graphics.set_line_width(NAN) || graphics.set_samples_per_side(0) || graphics.set_num_bands(0));
    prepare(graphics, 30, 20);
    const float infinite = std::numeric_limits<float>::infinity();
    for (const float width : {0.0F, 0.05F, 50.0F, 1e30F}) {
        ASSERT_TRUE(graphics.set_line_width(width));
        for (const float bad : {NAN, infinite, -infinite, 1e30F, -3e38F, 1e9F}) {
            graphics.begin_stroke();
            graphics.set_vertex_colour(bad, bad, NAN, 2);
            for (const Point& p : {Point{5, 5}, {bad, 5}, {10, bad}, {bad, bad}, {10, 10, bad}, {12, 12}})
                graphics.add_vertex(p.x, p.y, p.z);
            graphics.end_stroke(true);
        }
    }
    ASSERT_TRUE(graphics.render_list());
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x)
            for (int k = 0; k < 4; ++k) ASSERT_TRUE(std::isfinite(image_get_sample(graphics.target(), x, y, k)));
}

}  // namespace
