#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "graphicslib/line_clip.h"
#include "graphicslib/polygon_clip.h"
#include "noiselib/mtrandom.h"

namespace {

// x, y and two planes over them, which every clipped vertex must still lie on.
using Vertex = std::array<float, 4>;
Vertex at(float x, float y) { return {x, y, 2 * x - y, 0.5F * y + 7}; }

bool contains(const float* vertices, int count, double px, double py, double& nearest) {
    int crossings = 0;
    for (int i = 0; i < count; ++i) {
        const float *a = vertices + 4 * i, *b = vertices + 4 * ((i + 1) % count);
        const double dx = double(b[0]) - a[0], dy = double(b[1]) - a[1], length = std::hypot(dx, dy);
        if (length > 0) nearest = std::min(nearest, std::fabs(dx * (py - a[1]) - dy * (px - a[0])) / length);
        if ((a[1] > py) != (b[1] > py) && px < a[0] + (py - a[1]) / dy * dx) ++crossings;
    }
    return crossings % 2 == 1;
}

TEST(PolygonClipRect, KeepsThePointsOfBothPolygonAndRectangle) {
    MTRandom random(21);
    int seen[4] = {};
    for (int i = 0; i < 400; ++i) {
        std::vector<Vertex> shape;
        const float cx = random.next_float_in(-3, 3), cy = random.next_float_in(-3, 3);
        const float radius = random.next_float_in(0.1F, 4);
        for (int k = 0, corners = 3 + i % 6; k < corners; ++k) {
            const double angle = 2 * M_PI * k / corners + i;
            const float r = i % 3 == 0 ? radius * random.next_float_in(0.3F, 1) : radius;  // every third has dents
            shape.push_back(at(cx + r * float(std::cos(angle)), cy + r * float(std::sin(angle))));
        }
        PolygonClipRect clipper;
        clipper.set_extra_floats(2);
        ASSERT_TRUE(clipper.set_rect(-1.5F, -1, 2, 1.25F));
        const auto code = clipper.clip(int(shape.size()), shape.data()->data());
        ++seen[int(code)];
        if (code == PolygonClip::inside) {
            EXPECT_EQ(clipper.result(), shape.data()->data());
        }
        for (int k = 0; k < clipper.result_count(); ++k) {
            const float* v = clipper.result() + 4 * k;
            EXPECT_TRUE(v[0] >= -1.5F && v[0] <= 2 && v[1] >= -1 && v[1] <= 1.25F) << v[0] << ", " << v[1];
            EXPECT_NEAR(v[2], 2 * v[0] - v[1], 1e-5F);
            EXPECT_NEAR(v[3], 0.5F * v[1] + 7, 1e-5F);
        }
        for (double y = -2.03; y < 2.5; y += 0.21)
            for (double x = -2.51; x < 3; x += 0.23) {
                double nearest = 1e9;
                const bool in_shape = contains(shape.data()->data(), int(shape.size()), x, y, nearest);
                const bool in_rect = x > -1.5 && x < 2 && y > -1 && y < 1.25;
                const bool kept = contains(clipper.result(), clipper.result_count(), x, y, nearest);
                if (nearest > 1e-4) {
                    ASSERT_EQ(kept, in_shape && in_rect) << i << ": " << x << ", " << y;
                }
            }
    }
    for (int code : {1, 2, 3}) EXPECT_GE(seen[code], 5) << code;
}

TEST(PolygonClip, OnASideIsInsideAndNonsenseIsOutside) {
    PolygonClipRect clipper;
    const float square[8] = {-1, -1, 1, -1, 1, 1, -1, 1};
    EXPECT_EQ(clipper.clip(4, square), PolygonClip::inside);
    const float bad[6] = {0, 0, NAN, 0, 0, 1};
    EXPECT_EQ(clipper.clip(3, bad), PolygonClip::outside);
    const float huge[6] = {-3e37F, -3e37F, 3e37F, -3e37F, 0, 3e37F};
    ASSERT_EQ(clipper.clip(3, huge), PolygonClip::clipped);
    for (int i = 0; i < clipper.result_count(); ++i)
        for (int axis = 0; axis < 2; ++axis) EXPECT_LE(std::fabs(clipper.result()[2 * i + axis]), 1);
    PolygonClipBox box;  // cuts in depth too
    const float triangle[9] = {-0.5F, -0.5F, 0, 0.5F, -0.5F, 0, 0, 0.5F, 4};
    ASSERT_EQ(box.clip(3, triangle), PolygonClip::clipped);
    ASSERT_EQ(box.result_count(), 4);
    for (int i = 0; i < 4; ++i) {
        const float* v = box.result() + 3 * i;
        EXPECT_TRUE(v[2] == 0 || v[2] == 1);
        EXPECT_NEAR(v[2], 4 * (v[1] + 0.5F), 1e-5F);
    }
}

// Whether any of many points along the segment lies inside, and the outermost parameters of those that do.
TEST(LineClipBox, FindsThePartOfASegmentThatIsInside) {
    MTRandom random(22);
    LineClipBox box;
    int kept = 0;
    for (int i = 0; i < 2000; ++i) {
        float a[4], b[4];
        for (float* p : {a, b}) {
            for (int axis = 0; axis < 3; ++axis) p[axis] = random.next_float_in(-3, 3);
            p[3] = i % 2 == 0 ? 1 : random.next_float_in(-0.5F, 2);
        }
        double first = 2, last = -1;
        constexpr int STEPS = 2000;
        for (int k = 0; k <= STEPS; ++k) {
            const double t = double(k) / STEPS, w = a[3] + t * (b[3] - a[3]);
            bool inside = true;
            for (int axis = 0; axis < 3; ++axis) inside &= std::fabs(a[axis] + t * (b[axis] - a[axis])) <= w;
            if (inside) first = std::min(first, t), last = std::max(last, t);
        }
        float t0, t1;
        if (box.clip_segment(a, b, t0, t1)) {
            ++kept;
            if (last >= 0) {
                EXPECT_NEAR(t0, first, 1.0 / STEPS + 1e-6);
                EXPECT_NEAR(t1, last, 1.0 / STEPS + 1e-6);
            } else {
                EXPECT_LT(t1 - t0, 1.0 / STEPS + 1e-6);
            }
        } else {
            EXPECT_LT(last, 0);
        }
    }
    EXPECT_GT(kept, 200);
}

// Writes down where the pen goes, in tenths.
class Pen : public LineClipBox {
  public:
    void on_move(const float* point) override { text += " m" + std::to_string(int(std::lround(10 * point[0]))); }
    void on_draw(const float* point) override { text += " d" + std::to_string(int(std::lround(10 * point[0]))); }
    bool to(float x, bool draw) {
        const float point[4] = {x, 0, 0, 1};
        return clip_point_no_result(point, draw);
    }
    std::string text;
};

TEST(LineClipBox, ThePenLeavesAndComesBack) {
    Pen pen;
    EXPECT_FALSE(pen.to(0.5F, true));  // nowhere yet
    pen.to(0, false);
    for (const float x : {0.5F, 2.0F, 3.0F, 0.5F, 0.5F})
        pen.to(x, true);                                    // leaves, stays out, comes back, stands still
    for (const float x : {-3.0F, 3.0F}) pen.to(x, x > 0);   // right through
    for (const bool draw : {false, true}) pen.to(1, draw);  // on a side
    EXPECT_EQ(pen.text, " m0 d5 d10 m10 d5 d5 m-10 d10 m10 d10");
    pen.text.clear();
    EXPECT_FALSE(pen.to(NAN, true));
    EXPECT_FALSE(pen.to(0, true));
    pen.set_planes(0x3D);  // without the high side of x
    pen.to(0, false);
    pen.to(7, true);
    EXPECT_EQ(pen.text, " m0 d70");
}

TEST(LineClipRect, CutsAllAttributesAndMovesFirst) {
    LineClipRect rect;
    rect.set_rect(0, 0, 10, 10);
    const float line[8] = {-10, 5, 0, 100, 30, 5, 4, 500};
    float cut[8];
    ASSERT_TRUE(rect.clip(line, cut, 4));
    const float expected[8] = {0, 5, 1, 200, 10, 5, 2, 300};
    for (int k = 0; k < 8; ++k) EXPECT_FLOAT_EQ(cut[k], expected[k]) << k;
    ASSERT_TRUE(rect.offset_and_clip(line, 10, 5, cut, 4));
    EXPECT_FLOAT_EQ(cut[0], 0);
    EXPECT_FLOAT_EQ(cut[1], 10);  // exactly on the side
    EXPECT_FLOAT_EQ(cut[2], 0);
    EXPECT_FLOAT_EQ(cut[7], 200);
}

}  // namespace
