#include "imagelib/imagelib_exactpoly.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

ClipPolygon polygon_of(const std::vector<std::pair<float, float>>& points) {
    ClipPolygon polygon;
    for (const auto& [x, y] : points) polygon.add(x, y);
    return polygon;
}

ClipPolygon ellipse(int sides, double cx, double cy, double rx, double ry, double turn) {
    ClipPolygon polygon;
    for (int i = 0; i < sides; ++i) {
        const double angle = turn + i * 6.283185307179586 / sides;
        polygon.add(float(cx + rx * std::cos(angle)), float(cy + ry * std::sin(angle)));
    }
    return polygon;
}

double shoelace(const ClipPolygon& p) {
    double twice = 0;
    for (int i = 0; i < p.count; ++i) {
        const float *a = p.vertices[i], *b = p.vertices[(i + 1) % p.count];
        twice += double(a[0]) * b[1] - double(b[0]) * a[1];
    }
    return std::fabs(twice) / 2;
}

struct Cover {
    int x, y;
    float area;
    bool operator==(const Cover&) const = default;
};

// What was shaded; rows come upwards, columns from left to right, and no pixel twice.
class Recorder : public ExactPoly {
  public:
    void shade(int x, int y, float area) override {
        if (!covers.empty()) {
            const Cover& last = covers.back();
            EXPECT_TRUE(last.y < y || (last.y == y && last.x < x)) << x << ", " << y;
        }
        covers.push_back({x, y, area});
        sum += double(area);
    }
    std::vector<Cover> covers;
    double sum = 0;
};

TEST(ClipToBox, AnswersInsideClippedAndNothing) {
    const ClipPolygon triangle = polygon_of({{0, 0}, {4, 0}, {0, 4}});
    const struct {
        float sign, limit;
        double area;
    } sides[] = {{-1, -2, 2}, {1, -1, 0}, {1, 4, 8}};  // y >= 2, y <= -1, and touching, which is inside
    for (const auto& side : sides) {
        ClipPolygon out;
        clip_half_plane(triangle, out, 1, side.sign, side.limit);
        EXPECT_FLOAT_EQ(float(shoelace(out)), float(side.area));
        EXPECT_EQ(out.count, side.area > 0 ? 3 : 0);
    }
    const struct {
        ClipPolygon shape;
        int answer;
        double area;
    } cases[] = {{polygon_of({{0, 2}, {10, 2}, {4, 5}}), CLIP_INSIDE, 15},
                 {polygon_of({{-1, 2}, {-5, 2}, {-3, 20}}), CLIP_NOTHING_LEFT, 0},
                 {polygon_of({{-4, 4}, {-4, 9}, {2, 9}}), CLIP_NOTHING_LEFT, 0},  // no single side has it all outside
                 {polygon_of({{0, 0}, {20, 0}, {20, 20}, {0, 20}}), CLIP_CLIPPED, 50},
                 {polygon_of({{-3, -3}, {20, -3}, {20, 20}, {-3, 20}}), CLIP_CLIPPED, 50},
                 {polygon_of({{1, 1}, {12, 1}, {1, 4}}), CLIP_CLIPPED, 16.5 - 0.5 * 2 * 6.0 / 11}};
    const ClipBox box = {0, 10, 0, 5};
    for (const auto& test : cases) {
        ClipPolygon shape = test.shape;
        EXPECT_EQ(clip_to_box(shape, box), test.answer);
        EXPECT_NEAR(shoelace(shape), test.area, 1e-5);
        EXPECT_EQ(shape.count == 0, test.area == 0);
    }
}

// Also of a comb, in whose rows many edges lie beside each other.
TEST(ExactPolyWalk, WindowAndBandsCutTheSamePixels) {
    ClipPolygon comb = polygon_of({{60, 30}, {-20, 29}});
    for (int i = 0; i < 40; ++i) {
        comb.add(-20 + 2 * float(i) + 0.1f * float(i % 7), 2 + 0.3f * float(i % 5));
        comb.add(-19 + 2 * float(i), 25.5f);
    }
    for (const ClipPolygon& shape : {ellipse(7, 15, 12, 14, 30, 0.3), comb}) {
        Recorder whole, bands;
        ASSERT_TRUE(whole.draw(shape, -90, 90, 2, 25));
        for (const auto& [first, last] : {std::pair{2, 2}, {3, 11}, {12, 25}}) bands.draw(shape, -90, 90, first, last);
        EXPECT_EQ(whole.covers, bands.covers);
        std::erase_if(whole.covers, [](const Cover& c) { return c.x < 3 || c.x > 20; });
        Recorder window;
        ASSERT_TRUE(window.draw(shape, 3, 20, 2, 25));
        EXPECT_EQ(whole.covers, window.covers);
    }
    Recorder all;
    ASSERT_TRUE(all.draw(comb, -90, 90, 0, 40));
    EXPECT_NEAR(all.sum, shoelace(comb), 1e-6 * all.sum);
}

TEST(ExactPolyWalk, HostilePolygons) {
    Recorder poly;
    ClipPolygon wrong_count = polygon_of({{0, 0}, {1, 1}, {1, 0}});
    wrong_count.count = 100000;
    for (const ClipPolygon& bad : {polygon_of({{0, 0}, {1, 1}}), polygon_of({{0, 0}, {1, NAN}, {1, 0}}),
                                   polygon_of({{0, 0}, {1, INFINITY}, {1, 0}})})
        EXPECT_FALSE(poly.draw(bad, 0, 9, 0, 9));
    EXPECT_FALSE(poly.draw(wrong_count, 0, 9, 0, 9));
    EXPECT_TRUE(poly.draw(polygon_of({{3, 3}, {3, 3}, {3, 3}}), 0, 9, 0, 9));
    EXPECT_TRUE(poly.draw(polygon_of({{-3e38f, 0}, {-3e38f, 1}, {-3e38f, 2}}), 0, 9, 0, 9));
    EXPECT_TRUE(poly.covers.empty());
    constexpr float FAR = 3e38f;
    ASSERT_TRUE(poly.draw(polygon_of({{-FAR, -FAR}, {FAR, -FAR}, {FAR, FAR}, {-FAR, FAR}}), 0, 9, 0, 9));
    EXPECT_DOUBLE_EQ(poly.sum, 100.0);
    constexpr int MOST = std::numeric_limits<int>::max(), LEAST = std::numeric_limits<int>::min();
    Recorder open;
    ASSERT_TRUE(open.draw(polygon_of({{-1, -1}, {2, -1}, {2, 1}}), LEAST, MOST, LEAST, MOST));
    EXPECT_NEAR(open.sum, 3.0, 1e-6);
}

}  // namespace
