#include "effects/sky/Luna.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "effects/sky/SkyCalendar.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_pyramid.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "simdlib/vectors.h"

using simd::load;
using simd::Pixel;
using simd::PixelMask;
using simd::store;

LunaInfo::LunaInfo() {
    declarePresets();
    ghost({&SkyCol}, DrawingMode, isNot(SkyColour));
    ghost({&GlowRad, &GlowBright}, DoGlow, isOff);
    ghost({&MoonCol}, ColType, is(BlackAndWhite));
    ghost({&Colour}, ColType, isNot(InColour));
    ghost({&RingRad, &RingSize, &RingBright, &DoSplit, &RingCol}, DoRing, isOff);
    scene.inputs = {"winter-small.png"};
    scene.settings = {{"MRadius", "0.11"}, {"Centre", "0.53,0.82"}, {"Phase", "34"},      {"PhaseAngle", "340"},
                      {"Dark", "94"},      {"GlowRad", "12"},       {"GlowBright", "50"}, {"MoonCol", "1,0.92,0.78"}};
}

namespace {

// ---- The photograph -------------------------------------------------------------------------------------------

constexpr int PHOTO_SIDE = 600;
constexpr float PHOTO_CENTRE = 300.0F, PHOTO_RADIUS = 298.0F, PHOTO_EDGE = 3.0F;  // pixels; the edge is soft

constexpr unsigned char PHOTO[PHOTO_SIDE * PHOTO_SIDE] = {
#include "effects/sky/moon_600.inc"
};

ImagePtr photograph() {
    ImagePtr photo = made(make_image_uncleared(PHOTO_SIDE, PHOTO_SIDE, 4, SAMPLE_F32));
    for (int y = 0; y < PHOTO_SIDE; ++y) {
        const unsigned char* bytes = PHOTO + y * PHOTO_SIDE;
        float* row = image_row<float>(photo.get(), y);
        const float dy = static_cast<float>(y) + 0.5F - PHOTO_CENTRE;
        for (int x = 0; x < PHOTO_SIDE; ++x) {
            const float grey = bytes[x] * 0.00392156F, dx = static_cast<float>(x) + 0.5F - PHOTO_CENTRE;
            const float edge = (PHOTO_RADIUS - std::sqrt(dx * dx + dy * dy)) / PHOTO_EDGE;
            const float alpha = bytes[x] ? std::clamp(edge, 0.0F, 1.0F) : 0.0F;
            store(row + 4 * x, Pixel{grey, grey, grey, alpha});
        }
    }
    return photo;
}

// ---- The sun's light ------------------------------------------------------------------------------------------

// Offsets from the moon's centre are in widths of a pixel.
class PhaseShade {
  public:
    PhaseShade(double phase, double degrees, double softness, float dark, float radius)
        : m_radius(radius), m_dark(dark), m_band(static_cast<float>(std::max(softness, 0.005)) * radius) {
        constexpr double TURN = 6.283185307179586;
        const K7SineCosine turn = k7_sine_cosine(degrees * (TURN / 360.0));
        m_sine = static_cast<float>(turn.sine), m_cosine = static_cast<float>(turn.cosine);
        m_place = static_cast<float>(k7_cos(TURN * phase));
        m_side = phase > 0.5 ? -1.0F : 1.0F;  // a waning moon is dark on its left side
    }
    // The border of the light is half an ellipse. Beyond it the light falls to that of the dark side. That dusk is no
    // wider than what is lit, so that a thin crescent stays thin and a new moon is dark.
    float operator()(float dx, float dy) const {
        const float x = (dx * m_cosine + dy * m_sine) * m_side, y = dy * m_cosine - dx * m_sine;
        const float half = std::sqrt(std::max(m_radius * m_radius - y * y, 0.0F));
        const float beyond = x + m_place * half, band = std::min(m_band, (1.0F - m_place) * half);
        if (beyond >= band) return m_dark;
        return beyond <= 0.0F ? 1.0F : 1.0F - (1.0F - m_dark) * (beyond / band);
    }

  private:
    float m_radius, m_dark, m_band;
    float m_sine, m_cosine, m_place, m_side;
};

// ---- Colour ---------------------------------------------------------------------------------------------------

// What grey becomes: colour * (grey * gain + lift) + added.
struct MoonColour {
    Pixel colour, added;
    float gain, lift;
    Pixel operator()(float grey) const { return colour * (grey * gain + lift) + added; }
};

// Scales the saturation of a colour, up to pure, at the same hue and value.
Pixel saturated(Pixel colour, float factor) {
    const float most = std::max({colour[0], colour[1], colour[2]}), least = std::min({colour[0], colour[1], colour[2]});
    if (!(most > 0.0F) || !(most > least)) return colour;
    const float saturation = (most - least) / most;
    return most - (most - colour) * (std::min(saturation * factor, 1.0F) / saturation);
}

MoonColour moonColour(const LunaInfo& info) {
    const Pixel own = {info.MoonCol.red, info.MoonCol.green, info.MoonCol.blue, 0.0F}, grey = {1.0F, 1.0F, 1.0F, 0.0F};
    MoonColour colour{.colour = grey,
                      .added = {},
                      .gain = static_cast<float>(info.Brightness.limited() * 0.01),
                      .lift = static_cast<float>(info.Contrast.limited() * 0.01)};
    if (info.ColType.value == LunaInfo::InColour)
        colour.colour = saturated(own, static_cast<float>(info.Colour.limited() * 0.01));
    if (info.ColType.value == LunaInfo::Tinted) colour.added = own;
    return colour;
}

// ---- Ring -----------------------------------------------------------------------------------------------------

// 0 at both ends of a band, 1 in its middle.
float bump(float t, float from, float to) {
    if (!(t > from && t < to)) return 0.0F;
    const float v = std::fabs(std::fabs(2.0F * ((t - from) / (to - from)) - 1.0F) - 1.0F);
    return v * v * (3.0F - 2.0F * v);
}

struct Ring {
    float radius, size;  // pixels, and of the radius
    bool split;
    Pixel colour;  // with its brightness

    Pixel at(float distance) const {
        if (!(distance > radius && distance < radius * (1.0F + size))) return Pixel{};
        Pixel light;
        if (split) {
            const float green = radius * (1.0F + 0.6F * size), blue = radius * (1.0F + 0.8F * size);
            light = Pixel{bump(distance, radius, green), bump(distance, green, blue),
                          bump(distance, blue, radius * (1.0F + size)), 0.0F} *
                    colour;
        } else {
            light = bump(distance, radius, radius * (1.0F + size)) * colour;
        }
        light[3] = 0.3F * light[0] + 0.5F * light[1] + 0.2F * light[2];
        return light;
    }
};

Ring ringOf(const LunaInfo& info, float width) {
    const float bright = static_cast<float>(info.RingBright.limited() * 0.01);
    const Pixel own = {info.RingCol.red, info.RingCol.green, info.RingCol.blue, 0.0F};
    const Pixel white = {1.0F, 1.0F, 1.0F, 0.0F};
    return {.radius = static_cast<float>((info.MRadius.limited() + info.RingRad.limited()) * 0.5) * width,
            .size = static_cast<float>(info.RingSize.limited() * 0.01),
            .split = info.DoSplit.value,
            .colour = (info.DoSplit.value ? white : own) * bright};
}

struct Place {
    float x, y;        // of the moon's centre, pixels
    float radius;      // in widths of a pixel
    float row_height;  // of a row, in widths of a pixel
};

Place placeOf(const LunaInfo& info, const K7Image& frame) {
    const double width = frame.width;
    return {static_cast<float>(info.Centre.x * width), static_cast<float>(info.Centre.y * frame.height),
            static_cast<float>(std::max(width * info.MRadius.limited() * 0.5, 0.005)), 1.0F / frame.pixel_aspect};
}

// Pixels [first, last) of a line that lie within `reach` of a place.
struct Span {
    int first, last;
};
Span within(float place, float reach, int count) {
    const float least = std::clamp(place - reach, 0.0F, static_cast<float>(count));
    const float most = std::clamp(place + reach + 1.0F, 0.0F, static_cast<float>(count));
    return {static_cast<int>(least), static_cast<int>(most)};
}

}  // namespace

// The moon in its colours, multiplied by its alpha; nothing elsewhere.
ImagePtr Luna::drawMoon(const K7Image& frame) const {
    const StageTimer timer("Luna moon");
    const Place place = placeOf(*this, frame);
    const float dark = static_cast<float>(1.0 - Dark.limited() * 0.01);
    const PhaseShade shade(Phase.limited() * 0.01, PhaseAngle.limited(), PhaseSoft.limited() * 0.01, dark,
                           place.radius);
    const MoonColour colour = moonColour(*this);
    ImagePtr moon = made(make_image(frame.width, frame.height, 4, SAMPLE_F32));
    const ImagePtr photo = photograph();
    ImagelibPyramid pyramid(photo.get(), KERNEL_BSPLINE, EDGE_BLACK, false, true);
    made(pyramid.valid() && pyramid.set_kernel(KERNEL_TRIANGLE, EDGE_BLACK));

    const float scale = PHOTO_CENTRE / place.radius, area = scale * scale * place.row_height;
    const float margin = 2.0F * std::max(1.0F, 1.0F / scale);
    const Span rows = within(place.y, (place.radius + margin) / place.row_height, frame.height);
    for_rows_float(std::max(rows.last - rows.first, 0), [&](int first, int last) {
        const auto width = static_cast<std::size_t>(frame.width);
        std::vector<float> xs(width), ys(width), samples(4 * width);
        const std::vector<float> areas(width, area);
        for (int y = rows.first + first; y <= rows.first + last && !abortRequested(); ++y) {
            const float dy = (static_cast<float>(y) + 0.5F - place.y) * place.row_height;
            const float reach = place.radius + margin;
            if (std::fabs(dy) >= reach) continue;
            const Span span = within(place.x, std::sqrt(reach * reach - dy * dy), frame.width);
            const int count = span.last - span.first;
            for (int i = 0; i < count; ++i) {
                const float dx = static_cast<float>(span.first + i) + 0.5F - place.x;
                xs[static_cast<std::size_t>(i)] = dx * scale + (PHOTO_CENTRE - 0.5F);
                ys[static_cast<std::size_t>(i)] = dy * scale + (PHOTO_CENTRE - 0.5F);
            }
            if (count <= 0) continue;
            made(pyramid.sample_points(xs.data(), ys.data(), areas.data(), count, samples.data()));
            float* out = image_row<float>(moon.get(), y) + 4 * span.first;
            for (int i = 0; i < count; ++i, out += 4) {
                const float grey = samples[4 * static_cast<std::size_t>(i)];
                const float alpha = samples[4 * static_cast<std::size_t>(i) + 3];
                if (alpha <= 0.0F) continue;
                const float light = shade(static_cast<float>(span.first + i) + 0.5F - place.x, dy);
                Pixel pixel = PhaseBlack.value ? colour(grey) * light : colour(grey * light);
                pixel *= alpha;
                pixel[3] = alpha;
                store(out, pixel);
            }
        }
    });
    if (Smooth.limited() > 0.0) {
        const auto radius = static_cast<float>(Smooth.limited() * 0.01 * frame.width * 0.05);
        made(image_gaussian_blur(moon.get(), radius, radius * frame.pixel_aspect, 15));
    }
    return moon;
}

// The moon's light, spread and scaled to a brightness; three channels count.
ImagePtr Luna::glowOf(const K7Image& moon) const {
    const StageTimer timer("Luna glow");
    constexpr int PASSES = 3;  // of a box: together they reach as far as the glow
    ImagePtr glow(made(image_duplicate(&moon)));
    const auto radius = static_cast<float>(GlowRad.limited() * 0.01 * moon.width / PASSES);
    made(image_gaussian_blur(glow.get(), radius, radius * moon.pixel_aspect, 7));
    std::vector<float> brightest(static_cast<std::size_t>(glow->height));
    for_rows_float(glow->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* row = image_row<float>(glow.get(), y);
            float most = 0.0F;
            for (int x = 0; x < glow->width; ++x, row += 4) most = std::max({most, row[0], row[1], row[2]});
            brightest[static_cast<std::size_t>(y)] = most;
        }
    });
    const float most = *std::max_element(brightest.begin(), brightest.end());
    const float factor = most > 1e-10F ? static_cast<float>(GlowBright.limited() / 200.0) / most : 0.0F;
    glow->stats_valid = 0;
    for_rows_float(glow->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* row = image_row<float>(glow.get(), y);
            for (int x = 0; x < glow->width; ++x, row += 4)
                store(row, load<Pixel>(row) * Pixel{factor, factor, factor, 0.0F});
        }
    });
    return glow;
}

void Luna::ProcessFrame() {
    K7Image* picture = output.image.get();
    const StageTimer timer("Luna (CPU)");
    const auto blend = static_cast<float>(Blend.limited() * 0.01);
    ImagePtr moon, glow;
    if (blend < 1.0F) {
        moon = drawMoon(*picture);
        if (DoGlow.value && GlowBright.limited() > 0.0 && !abortRequested()) glow = glowOf(*moon);
    }
    const Place place = placeOf(*this, *picture);
    const Ring ring = ringOf(*this, static_cast<float>(picture->width));
    const Pixel sky = DrawingMode.value == SkyColour ? Pixel{SkyCol.red, SkyCol.green, SkyCol.blue, 1.0F} : Pixel{};
    eachRow(picture->height, [&](int y) {
        const float* source = image_row<float>(input.image.get(), y);
        float* out = image_row<float>(picture, y);
        const float dy = (static_cast<float>(y) + 0.5F - place.y) * place.row_height;
        for (int x = 0; x < picture->width; ++x) {
            const Pixel behind = DrawingMode.value == Clip ? load<Pixel>(source + 4 * x) : sky;
            Pixel result = behind;
            if (moon) {
                const Pixel light = load<Pixel>(image_row<float>(moon.get(), y) + 4 * x);
                const float cover = light[3];
                const Pixel under = behind * (1.0F - cover);
                result = light + (DaylightMode.value ? Pixel{behind[0], behind[1], behind[2], under[3]} : under);
                if (glow) result += load<Pixel>(image_row<float>(glow.get(), y) + 4 * x);
                if (DoRing.value) {
                    const float dx = static_cast<float>(x) + 0.5F - place.x;
                    const Pixel halo = ring.at(std::sqrt(dx * dx + dy * dy));
                    const float alpha = result[3];
                    result += halo;
                    result[3] = std::max(alpha, std::min(result[3], 1.0F));
                }
                if (blend > 0.0F) result += (behind - result) * blend;
            }
            store(out + 4 * x, result);
        }
    });
}

// ---- Interface ------------------------------------------------------------------------------------------------

void Luna::setPhaseFromDate() {
    int day = 1, month = 1, year = 2012, hour = 0, minute = 0;
    if (!DateDay.GetValue(-1, &day) || !DateMonth.GetValue(-1, &month) || !DateYear.GetValue(-1, &year) ||
        !DateHour.GetValue(-1, &hour) || !DateMinute.GetValue(-1, &minute))
        return;
    Phase.SetValue(100.0 * moon_phase(julian_date(year, month, day, hour + minute / 60.0)));
    char text[80];
    std::snprintf(text, sizeof text, "%d/%d/%d/%d/%d", day, month, year, hour, minute);
    DateQDS.SetText(-1, text);
}

void Luna::ButtonPressed(ButtonControlK7& button) {
    if (&button == &Date) setPhaseFromDate();
}

void Luna::ControlChanged(ControlK7& control) {
    for (const IntegerControlK7* part : {&DateDay, &DateMonth, &DateYear, &DateHour, &DateMinute})
        if (part == &control) return setPhaseFromDate();
}

void Luna::PrepareOverlay() { ringWidget.visible = !DoRing.ghosted() && !RingRad.ghosted(); }
