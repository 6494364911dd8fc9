#include "effects/light/Rainbow.h"

#include <algorithm>
#include <cmath>

#include "clk7/clk7.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int SHORTEST = 380, LONGEST = 700;  // wavelengths at the borders of a bow, nanometres

// ---- Colours --------------------------------------------------------------------------------------------------

struct BowColours {
    RainbowColours outward, inward;  // red outside, red inside
};

// The brightest part of the spectrum is 1 and it fades to black on both sides. Colours purer than the screen's are
// brought to its edge.
void make_colours(BowColours& colours) {
    CLRK7 engine;
    made(engine.init(SHORTEST, LONGEST));
    RainbowColours& table = colours.outward;
    float most = 0.0F;
    for (int i = 0; i < RAINBOW_ROWS; ++i) {
        float rgb[3];
        engine.line_to_rgb(SHORTEST + i * (double(LONGEST - SHORTEST) / (RAINBOW_ROWS - 1)), rgb);
        table.red[i] = std::max(rgb[0], 0.0F);
        table.green[i] = std::max(rgb[1], 0.0F);
        table.blue[i] = std::max(rgb[2], 0.0F);
        most = std::max({most, table.red[i], table.green[i], table.blue[i]});
    }
    for (int i = 0; i < RAINBOW_ROWS; ++i) {
        table.red[i] /= most, table.green[i] /= most, table.blue[i] /= most;
        table.cover[i] = std::max({table.red[i], table.green[i], table.blue[i]});
    }
    colours.inward = table;
    RainbowColours& turned = colours.inward;
    for (float* channel : {turned.red, turned.green, turned.blue, turned.cover})
        std::reverse(channel, channel + RAINBOW_ROWS);
}

// ---- Shape ----------------------------------------------------------------------------------------------------

struct Circle {
    double x, y, radius;
};

// Through three points. False when they lie on one line.
bool circle_through(const double (&a)[2], const double (&b)[2], const double (&c)[2], Circle& circle) {
    const double bx = b[0] - a[0], by = b[1] - a[1], cx = c[0] - a[0], cy = c[1] - a[1];
    const double twice_area = bx * cy - by * cx;
    if (!(std::fabs(twice_area) > 0.0)) return false;
    const double bb = bx * bx + by * by, cc = cx * cx + cy * cy;
    const double x = (cy * bb - by * cc) / (2.0 * twice_area), y = (bx * cc - cx * bb) / (2.0 * twice_area);
    circle = {a[0] + x, a[1] + y, std::sqrt(x * x + y * y)};
    return true;
}

bool find_primary_bow(double x, double y, double d, Circle& circle) {
    const double left[] = {x - d, y}, below[] = {x, y - d};
    double right[] = {x + d, y};
    if (circle_through(left, below, right, circle)) return true;
    right[1] += 0.001;
    return circle_through(left, below, right, circle);
}

constexpr float RADIANS = 0.01745329238474369F;

float turned_positive(double degrees) {
    const float angle = static_cast<float>(degrees) * RADIANS;
    return angle < 0.0F ? angle + 6.2831854820251465F : angle;
}

}  // namespace

RainbowArc Rainbow::arc() const {
    RainbowArc arc{};
    arc.full = Fade.value == FullCircle;
    arc.smooth = Fade.value == HermiteArc;
    arc.start = turned_positive(StartAng.limited()), arc.end = turned_positive(EndAng.limited());
    arc.span = arc.end - arc.start;
    if (arc.span < 0.0F) arc.span += 6.2831830978393555F;
    const float fade = static_cast<float>(DelAng.limited()) * RADIANS;
    arc.inverse_fade = fade > 0.0F ? 1.0F / fade : 0.0F;
    return arc;
}

void Rainbow::ProcessFrame() {
    const StageTimer timer("Rainbow (CPU)");
    K7Image* picture = output.image.get();
    const double width = picture->width;
    Circle primary{};
    if (!find_primary_bow(Center.x * width, Center.y * picture->height, Radius.limited() * width * 0.5, primary)) {
        Trace(TRACE_ERROR, "Rainbow: Failed to find primary bow position data.\n");
        return;
    }
    BowColours colours;
    make_colours(colours);
    RainbowShape shape{.centre_x = static_cast<float>(primary.x),
                       .centre_y = static_cast<float>(primary.y),
                       .row_height = 1.0F / picture->pixel_aspect,
                       .widening = static_cast<float>(WidenBowBy.limited() * 0.01),
                       .darkening = static_cast<float>(Vignette.limited() * 0.01 / BowCount.value),
                       .black = BlackBG.value,
                       .arc = arc(),
                       .count = BowCount.value,
                       .bows = {}};
    const double reach = width * PrimWidth.limited();
    const double opacity = Opacity.limited() * 0.01, dropOff = BowBrightScale.limited() * 0.01;
    double gain = Brightness.limited() * 0.01 * opacity, density = Density.limited() * 0.01 * opacity;
    for (int i = 0; i < shape.count; ++i, gain *= dropOff, density *= dropOff) {
        const double middle = primary.radius + i * GapScale.limited() * 0.01 * reach;
        const double half = i == 0 ? reach : WidthScale.limited() * 0.01 * reach;
        shape.bows[i] = {.colours = i % 2 == 0 ? &colours.outward : &colours.inward,
                         .middle = static_cast<float>(middle),
                         .inverse_width = static_cast<float>(1.0 / (2.0 * half)),
                         .gain = static_cast<float>(gain),
                         .density = static_cast<float>(density)};
    }
    const RainbowRow row = rainbow_row();
    eachRow(picture->height, [&](int y) {
        const float* air = Atmosphere.value ? image_row<float>(atmosphere.image.get(), y) : nullptr;
        row(shape, y, image_row<float>(input.image.get(), y), air, image_row<float>(picture, y), picture->width);
    });
}

// ---- Overlay --------------------------------------------------------------------------------------------------

void Rainbow::PrepareOverlay() { startWidget.visible = endWidget.visible = Fade.overlayValue != FullCircle; }
