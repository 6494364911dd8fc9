// Rainbow: every pixel against the definition in doubles, and the colours as in the sky.
#include "effects/light/Rainbow.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "clk7/clk7.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

struct Row {
    double rgb[3], cover;
};

std::vector<Row> spectrum() {
    CLRK7 engine;
    EXPECT_TRUE(engine.init(380, 700));
    std::vector<Row> rows(256);
    double most = 0;
    for (std::size_t i = 0; i < 256; ++i) {
        float rgb[3];
        engine.line_to_rgb(380 + double(i) * 320 / 255, rgb);
        for (int c = 0; c < 3; ++c) most = std::max(most, rows[i].rgb[c] = std::max(0.0, double(rgb[c])));
    }
    for (Row& row : rows) {
        for (double& c : row.rgb) c /= most;
        row.cover = std::max({row.rgb[0], row.rgb[1], row.rgb[2]});
    }
    return rows;
}

double arcFactor(const Rainbow& e, double dx, double dy) {
    if (e.Fade.value == Rainbow::FullCircle) return 1;
    const auto degrees = [](double a) { return a < 0 ? a + 360 : a; };
    const double angle = degrees(std::atan2(dy, dx) * 180 / M_PI);
    const double start = degrees(e.StartAng.value), end = degrees(e.EndAng.value);
    if (start > end ? angle < start && angle > end : angle < start || angle > end) return 0;
    const double d = degrees(angle - start), s = degrees(end - start);
    double a = e.DelAng.value > 0 ? std::clamp(std::min(d, s - d) / e.DelAng.value, 0.0, 1.0) : 1;
    if (e.Fade.value == Rainbow::HermiteArc) a = (3 - 2 * a) * a * a;
    return a;
}

// A row of the table begins at a certain place: what lies within rounding of it may be in either row, and hard ends of
// an arc in or out.
bool uncertain(const Rainbow& e, double t, double dx, double dy) {
    const double place = t * 256, angle = std::atan2(dy, dx) * 180 / M_PI;
    const bool atEnd = e.DelAng.value == 0 && (std::fabs(std::remainder(angle - e.StartAng.value, 360)) < 1e-3 ||
                                               std::fabs(std::remainder(angle - e.EndAng.value, 360)) < 1e-3);
    return atEnd || (t > -0.01 && t < 1.01 && std::fabs(place - std::round(place)) < 0.01);
}

void expectDefinition(EffectShot<Rainbow>& shot, const K7Image* air) {
    static const std::vector<Row> table = spectrum();
    const Rainbow& e = shot.effect;
    const ImagePtr result = same_bits_everywhere([&] { return shot.copy(); });
    const double W = result->width, w = W * e.PrimWidth.value, aspect = double(result->pixel_aspect);
    int compared = 0;
    for (int y = 0; y < result->height; ++y)
        for (int x = 0; x < result->width; ++x) {
            const double dx = x - e.Center.x * W, dy = (y - e.Center.y * result->height) / aspect;
            const double r = std::hypot(dx, dy), widen = r > 0 ? std::max(0.0, dx / r * e.WidenBowBy.value / 100) : 0;
            double gain = e.Brightness.value * e.Opacity.value / 1e4, density = e.Density.value * e.Opacity.value / 1e4;
            double light[3] = {}, cover = 0, inner = 0, seen = arcFactor(e, dx, dy);
            if (air) seen *= std::min(1.0, 0.3 * at(*air, x, y, 0) + 0.5 * at(*air, x, y, 1) + 0.2 * at(*air, x, y, 2));
            bool certain = true;
            for (int i = 0; i < e.BowCount.value; ++i) {
                const double middle = e.Radius.value * W / 2 + i * e.GapScale.value / 100 * w;
                const double half = i ? e.WidthScale.value / 100 * w : w;
                const double place = (r - middle) / ((widen + 1) * 2 * half) + 0.5, t = std::clamp(place, 0.0, 1.0);
                certain = certain && !uncertain(e, place, dx, dy);
                inner += (3 - 2 * t) * t * t;
                if (t > 0 && t < 1) {
                    const int row = int(t * 256);
                    const Row& colour = table[std::size_t(i % 2 ? 255 - row : row)];
                    for (int c = 0; c < 3; ++c) light[c] += seen * gain * colour.rgb[c];
                    cover += seen * density * colour.cover;
                }
                gain *= e.BowBrightScale.value / 100, density *= e.BowBrightScale.value / 100;
            }
            if (!certain) continue;
            ++compared;
            const double v = std::max(0.0, 1 - e.Vignette.value / 100 * inner / e.BowCount.value);
            const double behind = e.BlackBG.value ? 0.0 : 1.0, keep = behind * v * (1 - std::min(cover, 1.0));
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(at(*result, x, y, c), light[c] + keep * at(*shot.source, x, y, c), 3e-5) << x << ", " << y;
            ASSERT_NEAR(at(*result, x, y, 3),
                        behind * v * at(*shot.source, x, y, 3) + 0.3 * light[0] + 0.5 * light[1] + 0.2 * light[2],
                        3e-5);
        }
    EXPECT_GT(compared, result->width * result->height / 2);
}

TEST(Rainbow, IsTheDefinition) {
    for (const int width : {161, 200}) {
        EffectShot<Rainbow> shot(noise(width, 90, 3));
        Rainbow& e = shot.effect;
        expectDefinition(shot, nullptr);
        e.Center.x = 0.3, e.Center.y = 0.6, e.WidenBowBy.value = 150, e.Vignette.value = 80, e.DelAng.value = 30;
        e.Fade.value = Rainbow::HermiteArc, e.StartAng.value = -30, e.EndAng.value = 100, e.Opacity.value = 60;
        shot.source->pixel_aspect = 2;
        expectDefinition(shot, nullptr);
        e.BlackBG.value = true, e.DelAng.value = 0, e.BowCount.value = 10, e.Atmosphere.value = true;
        e.PrimWidth.value = 0.02, e.BowBrightScale.value = 90;
        const ImagePtr air = noise(width, 90, 9, 0.0f, 1.5f);
        e.atmosphere.image.reset(image_duplicate(air.get()));
        expectDefinition(shot, air.get());
        e.Fade.value = Rainbow::FullCircle, e.BlackBG.value = false;
        expectDefinition(shot, air.get());
    }
}

// Red is outside in the first bow and inside in the second; between them nothing is changed, alpha neither.
TEST(Rainbow, StandsAsInTheSky) {
    EffectShot<Rainbow> shot(flat(400, 200, 0.25f, 0.25f, 0.25f, 1.0f));
    Rainbow& e = shot.effect;
    e.Center.y = 0, e.PrimWidth.value = 0.04, e.GapScale.value = 300, e.BowCount.value = 2, e.Density.value = 0;
    const K7Image& result = shot.render();
    const auto strongest = [&](int channel, int from, int to) {
        int best = from;
        for (int y = from; y < to; ++y)
            if (at(result, 200, y, channel) > at(result, 200, best, channel)) best = y;
        return best;
    };
    EXPECT_GT(strongest(0, 0, 85), strongest(1, 0, 85) + 4);  // 60 from the centre, 16 to each side
    EXPECT_GT(strongest(1, 0, 85), strongest(2, 0, 85) + 4);
    EXPECT_LT(strongest(0, 85, 150), strongest(1, 85, 150) - 3);
    EXPECT_LT(strongest(1, 85, 150), strongest(2, 85, 150) - 3);
    for (const int y : {30, 83, 180})
        for (int c = 0; c < 4; ++c) EXPECT_EQ(at(result, 200, y, c), c == 3 ? 1.0f : 0.25f);
}

TEST(Rainbow, ValuesBeyondAllRangesStayFinite) {
    for (const double wild : {-1e12, 0.0, 1e12}) {
        EffectShot<Rainbow> shot(noise(33, 17));
        Rainbow& e = shot.effect;
        e.Center.x = wild, e.BowCount.value = 10, e.Fade.value = Rainbow::LinearArc;
        for (FloatControlK7* control : {(FloatControlK7*)&e.Radius, &e.PrimWidth, &e.GapScale, &e.WidthScale,
                                        &e.Brightness, &e.BowBrightScale, &e.WidenBowBy, &e.Vignette})
            control->value = wild;
        e.StartAng.value = e.EndAng.value = e.DelAng.value = wild;
        const ImagePtr result = shot.copy();
        EXPECT_LT(difference(*result, *shot.source), 100) << wild;
    }
}

}  // namespace
