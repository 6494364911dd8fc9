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

    static constexpr Colour White{1, 1, 1, 1}, Yellow{1, 1, 0, 1}, Clear{0, 0, 0, 0};
    support::RecordingHost host;
    support::TestEffect* effect;
};

// ---- Drawing --------------------------------------------------------------------------------------------------

class CrashZoomDrawing : public CrashZoomOverlay {
  protected:
    void SetUp() override {
        if (!OffscreenGl::available()) GTEST_SKIP() << "there is no libOSMesa";
    }
};

// Arms from 10 to 25 hit units, of which 0.75 make a screen pixel.
TEST_F(CrashZoomDrawing, HasAWhiteCrosshairAtTheCentre) {
    effect->set("Centre", {0.25, 0.5});
    effect->set("Radius", 1.0);
    const Picture picture = drawn();
    const double x = 0.25 * Width, y = 0.5 * Height;
    for (const double arm : {14.5, 24.0, 32.0}) {
        EXPECT_TRUE(near(picture, x + arm, y, White)) << arm;
        EXPECT_TRUE(near(picture, x - arm, y, White)) << arm;
        EXPECT_TRUE(near(picture, x, y + arm, White)) << arm;
        EXPECT_TRUE(near(picture, x, y - arm, White)) << arm;
    }
    for (const double outside : {0.0, 8.0, 38.0}) EXPECT_FALSE(near(picture, x + outside, y, White)) << outside;
    EXPECT_FALSE(near(picture, x + 20, y + 20, White));
    const int pixels = count(picture, White);
    EXPECT_GE(pixels, 4 * 18);
    EXPECT_LE(pixels, 4 * 44) << "four lines of 20 pixels, one or two wide";
}

TEST_F(CrashZoomDrawing, HasAYellowCircleOfTheClearRadius) {
    effect->set("Radius", 0.5);
    const Picture picture = drawn();
    const double radius = 0.5 * 0.5 * Width;
    for (int degrees = 0; degrees < 360; degrees += 10) {
        const double angle = degrees * 3.14159265358979 / 180.0;
        const double x = 0.5 * Width + radius * std::cos(angle), y = 0.5 * Height + radius * std::sin(angle);
        EXPECT_TRUE(near(picture, x, y, Yellow)) << degrees;
        EXPECT_EQ(at(picture, static_cast<int>(0.5 * Width + 0.9 * radius * std::cos(angle)),
                     static_cast<int>(0.5 * Height + 0.9 * radius * std::sin(angle))),
                  Clear)
            << degrees;
    }
}

TEST_F(CrashZoomDrawing, HasAWhitePolygonWithCornersOnTheCircle) {
    effect->set("Radius", 0.5);
    const int without = count(drawn(), White);
    effect->choose("UseObject", "4 sides");
    const Picture picture = drawn();
    EXPECT_GT(count(picture, White), without + 4 * 90) << "four sides of 141 pixels, at 45 degrees 100 pixels each";
    for (const auto& [x, y] : {std::pair(0.75, 0.5), std::pair(0.5, 0.5 + 100.0 / Height)})
        EXPECT_TRUE(near(picture, x * Width, y * Height, White)) << x << " " << y;
    EXPECT_TRUE(near(picture, 0.5 * Width + 50, 0.5 * Height + 50, White)) << "the middle of a side";
}

TEST_F(CrashZoomDrawing, LeavesTheCircleOutForAnObjectImage) {
    effect->choose("UseObject", "Object Image");
    const Picture picture = drawn();
    EXPECT_EQ(count(picture, Yellow), 0);
    EXPECT_GT(count(picture, White), 0);
}

TEST_F(CrashZoomDrawing, FollowsTheSizeOfThePicture) {
    effect->set("Radius", 0.5);
    const Picture picture = drawn(Width / 2, Height / 2);
    EXPECT_TRUE(near(picture, 0.25 * Width + 50, 0.25 * Height, Yellow)) << "the radius shrinks with the picture";
    EXPECT_TRUE(near(picture, 0.25 * Width + 24, 0.25 * Height, White)) << "the arms do not";
}

TEST_F(CrashZoomDrawing, BlendsOverThePicture) {
    Picture picture(2, 1), drawing(2, 1);
    picture.rgba = {0.2f, 0.4f, 0.6f, 0.5f, 0.2f, 0.4f, 0.6f, 0.5f};
    drawing.rgba = {0, 0, 0, 0, 0.5f, 0.5f, 0, 0.5f};
    drawOver(picture, drawing);
    EXPECT_EQ(picture.rgba, (std::vector<float>{0.2f, 0.4f, 0.6f, 0.5f, 0.6f, 0.7f, 0.3f, 0.75f}));
}

// ---- The pen --------------------------------------------------------------------------------------------------

class CrashZoomPen : public CrashZoomOverlay {
  protected:
    void SetUp() override {
        ofxhost::ViewState view;
        view.viewport = {Width, Height};
        interact = ofxhost::Interact::create(effect->instance(), view);
        ASSERT_NE(interact, nullptr);
        host.clearRecord();
    }
    int writes() const { return host.count("paramSetValue"); }
    void expectValue(const char* name, double x, double y) {
        const auto value = effect->param(name).value();
        EXPECT_NEAR(value.numbers[0], x, 1e-6) << name;
        EXPECT_NEAR(value.numbers[1], y, 1e-6) << name;
    }

    std::unique_ptr<ofxhost::Interact> interact;
};

TEST_F(CrashZoomPen, DragsTheCentreWithOneWriteAMotionAndOneAtTheRelease) {
    EXPECT_EQ(interact->penDown({Width * 0.5 + 2, Height * 0.5 - 3}), ofx::status::OK);
    EXPECT_EQ(writes(), 0);
    int motions = 0;
    for (const OfxPointD place : {OfxPointD{220, 160}, OfxPointD{300, 90}, OfxPointD{320, 60}}) {
        EXPECT_EQ(interact->penMotion(place), ofx::status::OK);
        EXPECT_EQ(writes(), ++motions);
        expectValue("Centre", place.x / Width, place.y / Height);
    }
    EXPECT_EQ(interact->penUp({324, 63}), ofx::status::OK);
    EXPECT_EQ(writes(), motions + 1);
    expectValue("Centre", 324.0 / Width, 63.0 / Height);
    interact->penMotion({10, 10});
    interact->penUp({10, 10});
    EXPECT_EQ(writes(), motions + 1) << "let go";
    EXPECT_EQ(host.faults(), "");
}

TEST_F(CrashZoomPen, DragsTheRadiusByAnyPlaceOnTheCircle) {
    const double radius = 0.2 * 0.5 * Width;
    EXPECT_EQ(interact->penDown({Width * 0.5 - radius * 0.6, Height * 0.5 + radius * 0.8}), ofx::status::OK);
    EXPECT_EQ(interact->penMotion({Width * 0.5, Height * 0.5 + 90}), ofx::status::OK);
    EXPECT_EQ(writes(), 1);
    expectValue("Radius", 2 * 90.0 / Width, 0);
    expectValue("Centre", 0.5, 0.5);
    EXPECT_EQ(interact->penUp({Width * 0.5, Height * 0.5 + 95}), ofx::status::OK);
    EXPECT_EQ(writes(), 2);
    expectValue("Radius", 2 * 95.0 / Width, 0);
}

TEST_F(CrashZoomPen, LeavesAllAloneWhenItMisses) {
    // A hit is strictly within 5 / 0.75 screen pixels.
    EXPECT_EQ(interact->penDown({Width * 0.5 + 6.7, Height * 0.5}), ofx::status::ReplyDefault);
    interact->penMotion({250, 250});
    interact->penUp({250, 250});
    EXPECT_EQ(writes(), 0);
    EXPECT_EQ(interact->penDown({Width * 0.5 + 6.6, Height * 0.5}), ofx::status::OK);
    interact->penUp({Width * 0.5, Height * 0.5});
}

}  // namespace
}  // namespace quillon
