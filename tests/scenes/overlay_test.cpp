// Overlays through the host: what CrashZoom draws on a real OpenGL surface, and what a drag of the pen writes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "host/cli/offscreen_gl.h"
#include "host/cli/overlay.h"
#include "host/core/interact.h"
#include "support/recording_host.h"

namespace quillon {
namespace {

constexpr int Width = 400, Height = 300;

class CrashZoomOverlay : public testing::Test {
  protected:
    CrashZoomOverlay() {
        host.project.width = Width;
        host.project.height = Height;
        effect = &host.effect("Q_CrashZoom", ofx::context::General);
    }

    struct Colour {
        float red, green, blue, alpha;
        bool operator==(const Colour&) const = default;
    };
    static Colour at(const Picture& picture, int x, int y) {
        const float* p = picture.row(y) + static_cast<std::size_t>(x) * 4;
        return {p[0], p[1], p[2], p[3]};
    }
    static int count(const Picture& picture, const Colour& colour) {
        int found = 0;
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x) found += at(picture, x, y) == colour;
        return found;
    }
    // Whether a pixel of that colour is within one pixel of the place.
    static bool near(const Picture& picture, double x, double y, const Colour& colour) {
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if (at(picture, static_cast<int>(std::lround(x)) + dx, static_cast<int>(std::lround(y)) + dy) == colour)
                    return true;
        return false;
    }
    Picture drawn(int width = Width, int height = Height) {
        return overlayDrawing(effect->instance(), 0.0, width, height, 1);
    }

    static constexpr Colour White{1, 1, 1, 1}, Yellow{1, 1, 0, 1};
    support::RecordingHost host;
    support::TestEffect* effect;
};

// Arms from 10 to 25 hit units, of which 0.75 make a screen pixel; the circle of the clear radius; the polygon in it.
TEST_F(CrashZoomOverlay, DrawsCrosshairCircleAndPolygon) {
    if (!OffscreenGl::available()) GTEST_SKIP() << "there is no libOSMesa";
    effect->set("Radius", 0.5);
    const Picture picture = drawn();
    const double x = 0.5 * Width, y = 0.5 * Height, radius = 0.5 * 0.5 * Width;
    for (const double arm : {14.5, 24.0, 32.0})
        for (const auto& [right, up] : {std::pair(1, 0), std::pair(-1, 0), std::pair(0, 1), std::pair(0, -1)})
            EXPECT_TRUE(near(picture, x + arm * right, y + arm * up, White)) << arm << " " << right << up;
    for (const double outside : {0.0, 8.0, 38.0}) EXPECT_FALSE(near(picture, x + outside, y, White)) << outside;
    const int white = count(picture, White);
    EXPECT_GE(white, 4 * 18);
    EXPECT_LE(white, 4 * 44) << "four lines of 20 pixels, one or two wide";
    for (int degrees = 0; degrees < 360; degrees += 10) {
        const double right = std::cos(degrees * 3.14159265358979 / 180.0);
        const double up = std::sin(degrees * 3.14159265358979 / 180.0);
        EXPECT_TRUE(near(picture, x + radius * right, y + radius * up, Yellow)) << degrees;
        EXPECT_FALSE(near(picture, x + 0.9 * radius * right, y + 0.9 * radius * up, Yellow)) << degrees;
    }
    const Picture half = drawn(Width / 2, Height / 2);
    EXPECT_TRUE(near(half, x / 2 + radius / 2, y / 2, Yellow)) << "the radius shrinks with the picture";
    EXPECT_TRUE(near(half, x / 2 + 24, y / 2, White)) << "the arms do not";

    effect->choose("UseObject", "4 sides");
    const Picture polygon = drawn();
    EXPECT_GT(count(polygon, White), white + 4 * 90) << "four sides of 141 pixels, at 45 degrees 100 pixels each";
    for (const auto& [right, up] : {std::pair(100, 0), std::pair(0, 100), std::pair(50, 50)})
        EXPECT_TRUE(near(polygon, x + right, y + up, White)) << right << " " << up;
    effect->choose("UseObject", "Object Image");
    EXPECT_EQ(count(drawn(), Yellow), 0);
}

TEST(Overlays, BlendOverThePicture) {
    Picture picture(2, 1), drawing(2, 1);
    picture.rgba = {0.2f, 0.4f, 0.6f, 0.5f, 0.2f, 0.4f, 0.6f, 0.5f};
    drawing.rgba = {0, 0, 0, 0, 0.5f, 0.5f, 0, 0.5f};
    drawOver(picture, drawing);
    EXPECT_EQ(picture.rgba, (std::vector<float>{0.2f, 0.4f, 0.6f, 0.5f, 0.6f, 0.7f, 0.3f, 0.75f}));
}

}  // namespace
}  // namespace quillon
