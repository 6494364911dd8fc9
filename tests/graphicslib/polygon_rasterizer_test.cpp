#include "graphicslib/polygon_rasterizer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <vector>

#include "imagelib/imagelib_exactpoly.h"
#include "noiselib/mtrandom.h"
#include "simdlib/cpu.h"

namespace {

using Point = std::array<double, 2>;

struct Vertex {
    float x, y, u, v;
};

struct Covered {
    float coverage, u, v;
    bool operator==(const Covered&) const = default;
};

constexpr int EXACT = PolygonRasterizer::EXACT, PLAIN = PolygonRasterizer::PLAIN;

using Pixels = std::map<std::pair<int, int>, Covered>;

// Remembers what was drawn; a pixel that comes twice is a fault.
class Recorder : public PolygonRasterizer {
  public:
    void pixel(void*, int x, int y, float coverage, const float* attributes, int count, void*, const float*,
               const float*) override {
        const Covered covered = count == 4 ? Covered{coverage, attributes[2], attributes[3]} : Covered{coverage, 0, 0};
        EXPECT_EQ(count == 0, attributes == nullptr);
        EXPECT_TRUE(pixels.try_emplace({y, x}, covered).second) << x << ", " << y;
    }
    bool draw(const std::vector<Vertex>& shape) { return draw_polygon(int(shape.size()), &shape.data()->x); }
    Pixels pixels;
};

struct Window {
    int x0 = 0, y0 = 0, x1 = 31, y1 = 31;
};

Pixels drawn(const std::vector<Vertex>& shape, int mode, const std::vector<Window>& windows = {{}}) {
    Recorder recorder;
    recorder.set_mode(mode);
    for (const Window& window : windows) {
        recorder.set_bounds(window.x0, window.y0, window.x1, window.y1);
        EXPECT_TRUE(recorder.draw(shape));
    }
    return recorder.pixels;
}

double area(const std::vector<Point>& shape) {
    double twice = 0;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const Point &a = shape[i], &b = shape[(i + 1) % shape.size()];
        twice += a[0] * b[1] - b[0] * a[1];
    }
    return std::fabs(twice) / 2;
}

std::vector<Point> points(const std::vector<Vertex>& shape) {
    std::vector<Point> result;
    for (const Vertex& v : shape) result.push_back({v.x, v.y});
    return result;
}

double area_in_pixel(const std::vector<Vertex>& shape, int x, int y) {
    ClipPolygon piece;
    for (const Vertex& v : shape) piece.add(v.x, v.y);
    clip_to_box(piece, {float(x), float(x + 1), float(y), float(y + 1)});
    std::vector<Point> left;
    for (int i = 0; i < piece.count; ++i) left.push_back({piece.vertices[i][0], piece.vertices[i][1]});
    return area(left);
}

// u and v are planes over the picture, so that attributes have one right value everywhere.
Vertex at(float x, float y) { return {x, y, 0.25F * x - 0.5F * y + 3, 2 * y - 1}; }

std::vector<Vertex> regular(float cx, float cy, float radius, int corners, float turn) {
    std::vector<Vertex> shape;
    for (int i = 0; i < corners; ++i) {
        const double angle = turn + 2 * M_PI * i / corners;
        shape.push_back(at(float(cx + radius * std::cos(angle)), float(cy + radius * std::sin(angle))));
    }
    return shape;
}

std::vector<std::vector<Vertex>> shapes() {
    MTRandom random(11);
    std::vector<std::vector<Vertex>> list = {
        {at(3, 4), at(9, 4), at(9, 8), at(3, 8)},                              // on pixel borders
        {at(3.25F, 4.5F), at(3.25F, 8.75F), at(9.5F, 8.75F), at(9.5F, 4.5F)},  // the other way round
        {at(5.1F, 5.2F), at(5.4F, 5.3F), at(5.2F, 5.7F)},                      // within one pixel
        {at(1, 5.4F), at(30, 5.5F), at(30, 5.6F), at(1, 5.5F)},                // a sliver across a row
        {at(2, 2), at(28, 4), at(2, 6)},
        {at(2, 2), at(2, 2), at(20, 2), at(20, 2), at(11, 17)},    // repeated corners
        {at(2, 2), at(20, 3), at(9, 9), at(18, 20), at(4, 16)},    // a dent, still one way up
        {at(2, 2), at(12, 14), at(22, 2), at(24, 20), at(2, 20)},  // two feet
    };
    for (int i = 0; i < 60; ++i)
        list.push_back(regular(random.next_float_in(8, 24), random.next_float_in(8, 24), random.next_float_in(0.1F, 8),
                               3 + i % 9, random.next_float_in(0, 7)));
    return list;
}

TEST(Polygon, CoverageIsTheAreaWithinAPixelOrWhetherItsCentreLiesInside) {
    int number = 0;
    for (const auto& shape : shapes()) {
        SCOPED_TRACE(number++);
        const Pixels exact = drawn(shape, EXACT), plain = drawn(shape, PLAIN);
        const bool has_feet = number == 8;  // plain rows are solid
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 32; ++x) {
                const auto found = exact.find({y, x});
                const double coverage = found == exact.end() ? 0 : double(found->second.coverage);
                ASSERT_NEAR(coverage, area_in_pixel(shape, x, y), 1e-5) << x << ", " << y;
                const double px = x + 0.5, py = y + 0.5;
                int crossings = 0;
                double nearest = 1e9;  // a centre on an edge may go either way here
                for (std::size_t i = 0; i < shape.size(); ++i) {
                    const Vertex &a = shape[i], &b = shape[(i + 1) % shape.size()];
                    const double dx = double(b.x) - a.x, dy = double(b.y) - a.y, length = std::hypot(dx, dy);
                    if (length > 0) nearest = std::min(nearest, std::fabs(dx * (py - a.y) - dy * (px - a.x)) / length);
                    if ((a.y > py) != (b.y > py) && px < a.x + (py - a.y) / dy * dx) ++crossings;
                }
                if (nearest > 1e-4 && !has_feet) {
                    EXPECT_EQ(plain.count({y, x}), unsigned(crossings % 2)) << x << ", " << y;
                }
            }
    }
}

TEST(Polygon, AttributesFollowTheirPlaneAndNeverLeaveTheirRange) {
    for (const auto& shape : shapes())
        for (const int mode : {EXACT, PLAIN}) {
            const auto [low, high] =
                std::minmax_element(shape.begin(), shape.end(), [](auto& a, auto& b) { return a.u < b.u; });
            for (const auto& [where, covered] : drawn(shape, mode)) {
                EXPECT_GE(covered.u, low->u - 1e-5F);
                EXPECT_LE(covered.u, high->u + 1e-5F);
                if (mode == EXACT && covered.coverage < 1) continue;
                const Vertex expected = at(float(where.second) + 0.5F, float(where.first) + 0.5F);
                EXPECT_NEAR(covered.u, expected.u, 2e-5F);
                EXPECT_NEAR(covered.v, expected.v, 2e-5F);
            }
        }
}

// Also without attributes, which is a way of its own.
TEST(Polygon, WindowsSideBySideGiveTheWholeToTheBit) {
    for (const auto& shape : shapes())
        for (const int mode : {EXACT, PLAIN}) {
            const Pixels whole = drawn(shape, mode);
            EXPECT_TRUE(whole == drawn(shape, mode, {{0, 0, 31, 0}, {0, 1, 31, 5}, {0, 6, 31, 22}, {0, 23, 31, 31}}));
            EXPECT_TRUE(whole == drawn(shape, mode, {{0, 0, 0, 31}, {1, 0, 4, 31}, {5, 0, 11, 31}, {12, 0, 31, 31}}));
            Recorder bare;
            bare.set_vertex_floats(2);
            bare.set_mode(mode);
            bare.set_bounds(0, 0, 31, 31);
            std::vector<float> corners;
            for (const Vertex& v : shape) corners.insert(corners.end(), {v.x, v.y});
            ASSERT_TRUE(bare.draw_polygon(int(shape.size()), corners.data()));
            ASSERT_EQ(whole.size(), bare.pixels.size());
            for (const auto& [where, covered] : whole) ASSERT_EQ(covered.coverage, bare.pixels.at(where).coverage);
        }
}

// Wide ones, whose partly covered pixels come in several runs.
TEST(ExactCoverage, EveryInstructionSetGivesTheSameBits) {
    for (const std::vector<Vertex>& shape :
         {std::vector{at(3.3F, 5), at(1390.2F, 6.2F), at(700, 7.9F)},
          std::vector{at(10, 3), at(1200, 4.5F), at(1300.7F, 30), at(20, 28.5F)},
          std::vector{at(1300, 3.1F), at(900, 28), at(600, 5.2F), at(300, 27.5F), at(2, 3.3F)}}) {
        Pixels plain;
        for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
            set_cpu_level_limit(level);
            const Pixels pixels = drawn(shape, EXACT, {{0, 0, 1399, 31}});
            if (level == CpuLevel::baseline) plain = pixels;
            ASSERT_TRUE(plain == pixels) << int(level);
        }
        double sum = 0;
        for (const auto& [where, covered] : plain) sum += double(covered.coverage);
        EXPECT_NEAR(sum, area(points(shape)), 1e-6 * (1 + sum));
    }
}

TEST(Polygon, RefusesWhatIsNoPolygonAndSurvivesTheRest) {
    Recorder recorder;
    EXPECT_FALSE(recorder.draw({at(2, 2), at(8, 2), at(8, 8), at(2, 8)})) << "no bounds yet";
    recorder.set_bounds(31, 31, -5, -5);
    EXPECT_FALSE(recorder.draw({at(1, 1), at(2, 2)}) || recorder.draw({at(1, 1), at(2, 2), at(NAN, 4)}));
    for (const int mode : {EXACT, PLAIN}) {
        EXPECT_TRUE(drawn({at(4, 4), at(9, 4), at(14, 4)}, mode).empty());  // no height
        EXPECT_TRUE(drawn({at(4, 40), at(9, 50), at(14, 42)}, mode).empty());
        const float huge = 1e37F;
        const Pixels all = drawn({at(-huge, -huge), at(huge, -huge), at(huge, huge), at(-huge, huge)}, mode);
        EXPECT_EQ(all.size(), 32U * 32U);
        for (const auto& [where, covered] : all) ASSERT_EQ(covered.coverage, 1);
    }
}

}  // namespace
