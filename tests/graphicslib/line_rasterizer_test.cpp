#include "graphicslib/line_rasterizer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <vector>

#include "noiselib/mtrandom.h"

namespace {

constexpr int FLOATS = LineRasterizer::LINE_FLOATS;
using Line = std::array<float, 2 * FLOATS>;

// The third float runs from 1 at the first end to 2 at the second.
Line line_between(float x0, float y0, float x1, float y1) {
    Line line{};
    line[0] = x0, line[1] = y0, line[2] = 1;
    line[FLOATS] = x1, line[FLOATS + 1] = y1, line[FLOATS + 2] = 2;
    return line;
}

class Recorder : public LineRasterizer {
  public:
    void pixel(void*, int x, int y, float coverage, const float* attributes, void*) override {
        sums[{y, x}] += coverage;
        values.push_back({float(x), float(y), coverage, attributes[2]});
    }
    std::map<std::pair<int, int>, float> sums;
    std::vector<std::array<float, 4>> values;
};

TEST(LineRasterizer, WindowsSideBySideGiveTheWholeToTheBit) {
    MTRandom random(31);
    for (int i = 0; i < 300; ++i) {
        const auto at = [&] { return random.next_float_in(-20, 60); };
        const Line line = line_between(at(), at(), at(), at());
        for (const int mode : {LineRasterizer::ANTIALIASED, LineRasterizer::PLAIN}) {
            Recorder whole, parts;
            whole.set_mode(mode);
            parts.set_mode(mode);
            whole.set_bounds(0, 0, 40, 30);
            whole.draw_line(line.data());
            const int rows[] = {0, 1, 2, 9, 30}, columns[] = {0, 13, 14, 40};
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 3; ++x) {
                    ASSERT_TRUE(parts.set_bounds(columns[x], rows[y], columns[x + 1], rows[y + 1]));
                    parts.draw_line(line.data());
                }
            EXPECT_TRUE(whole.sums == parts.sums) << i;
            std::sort(whole.values.begin(), whole.values.end());
            std::sort(parts.values.begin(), parts.values.end());
            EXPECT_TRUE(whole.values == parts.values) << i;
        }
    }
}

TEST(LineRasterizer, AntialiasedCoverageIsTheExtentAndAttributesFollowTheLine) {
    for (const auto& [dx, dy] : {std::pair{20.0F, 7.0F}, {-20, 7}, {3, -20}, {20, 20}, {0, 15}}) {
        Recorder recorder;
        recorder.set_mode(LineRasterizer::ANTIALIASED);
        recorder.set_bounds(0, 0, 64, 64);
        ASSERT_TRUE(recorder.draw_line(line_between(30, 30, 30 + dx, 30 + dy).data()));
        float sum = 0;
        for (const auto& [where, coverage] : recorder.sums) sum += coverage;
        EXPECT_NEAR(sum, std::max(std::fabs(dx), std::fabs(dy)), 1e-4F);
        EXPECT_EQ(recorder.axes_swapped(), std::fabs(dy) > std::fabs(dx));
        for (const auto& [x, y, coverage, value] : recorder.values) {
            const float along = recorder.axes_swapped() ? (y - 30) / dy : (x - 30) / dx;
            EXPECT_NEAR(value, 1 + along, 1e-5F);
        }
    }
}

TEST(LineRasterizer, PlainLinesHaveOnePixelAStepOfTheLongerAxis) {
    Recorder recorder;
    recorder.set_bounds(0, 0, 64, 64);
    ASSERT_TRUE(recorder.draw_line(line_between(10, 10, 10.0005F, 10.0005F).data()));
    EXPECT_TRUE(recorder.values.empty());
    ASSERT_TRUE(recorder.draw_line(line_between(10, 10, 20, 15).data()));
    ASSERT_EQ(recorder.values.size(), 10U);
    for (int i = 0; i < 10; ++i) {
        const float along = float(i) + 0.5F;
        const auto& [x, y, coverage, value] = recorder.values[std::size_t(i)];
        EXPECT_TRUE(x == float(10 + i) && y == std::floor(10.5F + 0.5F * along) && coverage == 1) << i;
        EXPECT_NEAR(value, 1 + 0.1F * along, 1e-6F);
    }
}

}  // namespace
