#include "graphicslib/line_draw.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace {

constexpr std::array<float, 4> WHITE = {1, 1, 1, 1};

TEST(DrawLine, BlendsByCoverageAndOpacityOnAllFourChannels) {
    ImagePtr image = make_image(16, 8, 4, SAMPLE_F32);
    image_fill(image.get(), 0.5F);
    const float colour[4] = {1, 0, 0.25F, 0.8F};
    ASSERT_TRUE(draw_line(image.get(), colour, 2, 3.25F, 12, 3.25F));
    const float c0 = 0.8F * 0.75F, c1 = 0.8F * 0.25F;
    for (int channel = 0; channel < 4; ++channel) {
        const float value = channel == 3 ? 1 : colour[channel];
        EXPECT_FLOAT_EQ(image_get_sample(image.get(), 7, 3, channel), c0 * value + (1 - c0) * 0.5F);
        EXPECT_FLOAT_EQ(image_get_sample(image.get(), 7, 4, channel), c1 * value + (1 - c1) * 0.5F);
        EXPECT_EQ(image_get_sample(image.get(), 7, 2, channel), 0.5F);
        EXPECT_EQ(image_get_sample(image.get(), 14, 3, channel), 0.5F);
    }
    ImagePtr fading = make_image(64, 4, 4, SAMPLE_F32);  // from the first end to the second
    draw_line(fading.get(), WHITE.data(), 60, 1, 2, 1, 0.25F, 0.75F);
    EXPECT_NEAR(image_get_sample(fading.get(), 31, 1, 3), 0.5F, 1e-5F);
    EXPECT_NEAR(image_get_sample(fading.get(), 59, 1, 3), 0.25F + 0.5F / 58, 1e-5F);
}

TEST(StreakLineDraw, AddsItsTableByDistanceAndFadesTheEnd) {
    ImagePtr image = make_image(64, 8, 3, SAMPLE_F32);
    image_fill(image.get(), 1);
    std::vector<float> table;
    for (int i = 0; i < 40; ++i)
        for (float value : {float(i), 1.0F, 2.0F}) table.push_back(value);
    StreakLineDraw streak(image.get(), table.data(), 20, 0.5F);
    streak.set_multipliers(1, 0.5F, 1);
    ASSERT_TRUE(streak.draw(0, 2, 60, 2));
    EXPECT_FLOAT_EQ(image_get_sample(image.get(), 10, 2, 0), 1 + 10);
    EXPECT_FLOAT_EQ(image_get_sample(image.get(), 10, 2, 1), 1.5F);
    const float s = 0.5F, fade = 1 - (3 - 2 * s) * s * s;  // three quarters along
    EXPECT_NEAR(image_get_sample(image.get(), 45, 2, 2), 1 + 2 * fade, 1e-5F);
    EXPECT_NEAR(image_get_sample(image.get(), 45, 2, 0), 1 + 39 * fade, 1e-4F);  // past the table: its last entry
    EXPECT_EQ(image_get_sample(image.get(), 10, 3, 0), 1);
}

TEST(MyLineDraw, GainsStrengthAndKeepsOrCoversTheBackground) {
    for (const bool keep : {false, true}) {
        ImagePtr image = make_image(64, 8, 4, SAMPLE_F32);
        image_fill(image.get(), 0.5F);
        const MyLineDraw::Ink ink{1, 0, 0, 0.8F, keep};
        MyLineDraw line(image.get(), &ink);
        ASSERT_TRUE(line.set_clip(0, 2, 40, 5));
        ASSERT_TRUE(line.draw(0, 2, 60, 2));
        const float a = 0.4F, rest = keep ? 1 : 0.6F;
        EXPECT_NEAR(image_get_sample(image.get(), 30, 2, 0), a + rest * 0.5F, 1e-5F);
        EXPECT_NEAR(image_get_sample(image.get(), 30, 2, 1), rest * 0.5F, 1e-5F);
        EXPECT_NEAR(image_get_sample(image.get(), 30, 2, 3), a + rest * 0.5F, 1e-5F);
        EXPECT_EQ(image_get_sample(image.get(), 41, 2, 0), 0.5F);
        EXPECT_FALSE(line.set_clip(70, 0, 90, 5));
    }
}

}  // namespace
