// What CrashZoom and SpinBlur draw besides their widgets.
#include <gtest/gtest.h>

#include <algorithm>

#include "Library2/GlDraw.h"
#include "effects/blur/CrashZoom.h"
#include "effects/blur/SpinBlur.h"

namespace {

struct Extent {
    float x0 = 1e9F, x1 = -1e9F, y0 = 1e9F, y1 = -1e9F;
};
Extent s_drawn;

// In a viewer whose pixels are half as wide as high. Widgets without an overlay draw nothing.
Extent drawn_by(OverlayK7& overlay) {
    static const GlFunctions table{[](unsigned) {},
                                   [] {},
                                   [](float x, float y) {
                                       s_drawn = {std::min(s_drawn.x0, x), std::max(s_drawn.x1, x),
                                                  std::min(s_drawn.y0, y), std::max(s_drawn.y1, y)};
                                   },
                                   [](float, float, float, float) {},
                                   [] {},
                                   [] {}};
    s_drawn = {};
    setGlFunctions(&table);
    overlay.view = {.width = 2000, .height = 1000, .aspect = 0.25F, .hitScale = 1.0F};
    overlay.Draw();
    setGlFunctions(nullptr);
    return s_drawn;
}

TEST(BlurOverlays, ShapesAreThePicturesWhereTheViewersPixelsAreNotSquare) {
    constexpr double WITH_OUTLINE = 5.0;
    CrashZoom zoom;
    zoom.UseObject.overlayValue = 4;  // corners
    zoom.Radius.overlayValue = 0.5;
    SpinBlur spin;
    spin.BStyle.overlayValue = SpinBlurInfo::Fade;
    spin.ORadius.overlayValue = 0.5;
    spin.SRadius.overlayValue = 0.0;
    for (OverlayK7* overlay : {static_cast<OverlayK7*>(&zoom), static_cast<OverlayK7*>(&spin)}) {
        const Extent drawn = drawn_by(*overlay);
        EXPECT_NEAR(drawn.x1 - drawn.x0, 1000.0, WITH_OUTLINE);
        EXPECT_NEAR(drawn.y1 - drawn.y0, 250.0, WITH_OUTLINE);
    }
}

}  // namespace
