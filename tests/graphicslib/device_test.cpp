#include <gtest/gtest.h>

#include <cmath>

#include "graphicslib/image_dev.h"
#include "graphicslib/line_graphics.h"

namespace {

TEST(NdcToDc, ModesFitFillOrStretch) {
    struct Case {
        int mode;
        float width, height, aspect, x, y;  // where the corner (1, 1) comes to
    };
    for (const Case& c : {Case{1, 200, 100, 1, 150, 100},  // the square within
                          {2, 200, 100, 1, 200, 150},      // the square around
                          {1, 100, 200, 1, 100, 150},      // taller than wide: 3
                          {2, 100, 200, 1, 150, 200},      // and 4
                          {5, 200, 100, 1, 200, 100},
                          {5, 100, 200, 3, 100, 200},
                          {1, 200, 100, 2, 125, 100}}) {  // wide pixels
        NDC_to_DC mapping;
        ASSERT_TRUE(mapping.set_device(c.width, c.height, c.aspect));
        ASSERT_TRUE(mapping.set_fit_mode(c.mode));
        const float corner[2] = {1, 1}, origin[2] = {0, 0};
        float device[2], back[2];
        mapping.to_device(corner, device);
        EXPECT_FLOAT_EQ(device[0], c.x) << c.mode;
        EXPECT_FLOAT_EQ(device[1], c.y) << c.mode;
        mapping.from_device(device, back);
        EXPECT_FLOAT_EQ(back[0], 1);
        EXPECT_FLOAT_EQ(back[1], 1);
        mapping.to_device(origin, device);
        EXPECT_FLOAT_EQ(device[0], c.width / 2);
    }
    EXPECT_FALSE(NDC_to_DC().set_fit_mode(6) || NDC_to_DC().set_device(10, NAN, 1));
}

TEST(ImageDev, PixelsReplaceAddOrCover) {
    for (const int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_U32, SAMPLE_F32}) {
        const float full = image_full_value(type), near = full / 100;
        ImageDev device;
        EXPECT_FALSE(device.device_ready());
        ASSERT_TRUE(device.prepare_device(8, 8, 1, type));
        device.clear_device({0.5F, 0.5F, 0.5F, 1});
        const auto level = [&](int channel) { return image_get_sample(device.target(), 3, 4, channel); };
        EXPECT_NEAR(level(0), full / 2, near);
        device.pixel_colour(3, 4, {1, 0, 0.5F, 0.5F}, ImageDev::OVER);
        EXPECT_NEAR(level(0), full * 0.75F, near);
        EXPECT_NEAR(level(1), full * 0.25F, near);
        EXPECT_NEAR(level(3), full, near);
        device.pixel_colour(3, 4, {0, 1, 0, 0.25F}, ImageDev::ADD);
        EXPECT_NEAR(level(1), full * 0.5F, near);
        if (type != SAMPLE_F32) {
            EXPECT_NEAR(level(3), full, near);  // at the limit
        }
        device.pixel_colour(3, 4, {1, 1, 1, 0.5F}, ImageDev::REPLACE);
        EXPECT_NEAR(level(2), full * 0.5F, near);
        EXPECT_NEAR(level(3), full * 0.5F, near);
        // Between the previous colour and the current one.
        device.set_device_colour({1, 0, 0, 1});
        device.set_device_colour({0, 0, 1, 1});
        EXPECT_FALSE(device.set_blend(4));
        ASSERT_TRUE(device.set_blend(ImageDev::REPLACE));
        device.pixel(3, 4, 0.25F, 0.5F);
        EXPECT_NEAR(level(0), full * 0.75F * 0.5F, near);
        EXPECT_NEAR(level(2), full * 0.25F * 0.5F, near);
        EXPECT_NEAR(level(3), full * 0.5F, near);
    }
}

class PenRecorder : public LineGraphics {
  public:
    void device_move(const float* p) override { last[0] = p[0], last[1] = p[1], ++moves; }
    void device_draw(const float* p) override { last[0] = p[0], last[1] = p[1], ++draws; }
    float last[2] = {};
    int moves = 0, draws = 0;
};

TEST(LineGraphics, ThePenIsScaledMovedTransformedAndClipped) {
    PenRecorder pen;
    const float offset[3] = {1, 0, 0}, from[3] = {0, 0, 0}, to[3] = {4, 2, 0};
    pen.set_window(0, 8, -4, 4, -1, 1);
    pen.set_coordinate_scale(0.5F);
    pen.set_offset(offset);
    pen.move_to(from);
    EXPECT_FLOAT_EQ(pen.last[0], -0.75F);
    pen.draw_to(to);
    EXPECT_FLOAT_EQ(pen.last[0], -0.25F);
    EXPECT_FLOAT_EQ(pen.last[1], 0.25F);
    const float far[3] = {1000, 2, 0};
    pen.draw_to(far);
    EXPECT_NEAR(pen.last[0], 1, 1e-5F);
    EXPECT_EQ(pen.moves, 1);
    EXPECT_EQ(pen.draws, 2);
    const float low[3] = {-1, -1, -1}, high[3] = {0, 1, 1};
    ASSERT_TRUE(pen.set_view_box(low, high));
    EXPECT_EQ(pen.view_extent()[0], 1);
    pen.move_to(from);
    pen.draw_to(far);
    EXPECT_NEAR(pen.last[0], 0, 1e-5F);
    EXPECT_FALSE(pen.set_view_box(high, low));
    EXPECT_EQ(pen.view_extent()[0], 1);
}

}  // namespace
