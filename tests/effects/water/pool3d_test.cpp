// Pool3D against its formulas in double precision, point by point.
#include "effects/water/Pool3D.h"

#include <gtest/gtest.h>

#include "imagelib/imagelib_solvers.h"
#include "sight_lines.h"
#include "support/same_bits.h"

namespace {

// Height of the water at a pixel.
double height_at(const Pool3D& e, int x, int y) {
    const double w = e.input.image->width, h = e.input.image->height;
    double dx = x / (w - 1), dy = y / (h - 1);
    if (e.DoPersp.value) {
        const double ratio = w / h;
        const auto row = [&](const PositionControlK7& corner) { return float(corner.y * ratio); };
        const QuadControls& q = e.quad;
        const float from[] = {float(q.BL.x), row(q.BL), float(q.TL.x), row(q.TL),
                              float(q.TR.x), row(q.TR), float(q.BR.x), row(q.BR)};
        const float to[] = {0, 0, 0, float(ratio), 1, float(ratio), 1, 0};
        float m[16];
        EXPECT_EQ(solve_homography(from, to, 4, m), 0);
        const double px = dx, py = dy * ratio, depth = m[12] * px + m[13] * py + 1;
        if (depth <= 1e-10) return 0.5;
        dx = (m[0] * px + m[1] * py + m[3]) / depth - e.Center.x;
        dy = (m[4] * px + m[5] * py + m[7]) / depth - e.Center.y * ratio;
    } else {
        dx -= e.Center.x;
        dy = (dy - e.Center.y) * h / w / double(e.input.image->pixel_aspect);
    }
    const double f = e.Frequency.value, arms = std::max(std::trunc(f), 1.0), r = std::sqrt(dx * dx + dy * dy);
    const double turns = std::atan2(dy, dx) / (2 * M_PI) + (dy < 0), run = -e.Phase.value * e.currentFrame;
    double p = f * r + run;
    if (e.PoolMode.value == Pool3D::Swirl) p = f / (2 * r + 1) * r + run + turns;
    if (e.PoolMode.value == Pool3D::Central) p = turns * arms + run;
    if (e.PoolMode.value == Pool3D::Twirl) p = e.Tightness.value * r + turns * arms + run;
    const double s = 1 - std::clamp((r - e.Radius.value) / (e.Radius.value * 1.1), 0.0, 1.0);
    double wave = e.Height.value * 0.01 * 0.5 * std::sin(2 * M_PI * p) * (3 * s * s - 2 * s * s * s);
    if (e.region.UseMatte.value) {
        const K7Image& m = *e.matte.image;
        const double mean = (double(at(m, x, y, 0)) + at(m, x, y, 1) + at(m, x, y, 2)) / 3;
        wave *= e.region.InvertMatte.value ? 1 - mean : mean;
    }
    return 0.5 + wave;
}

double worst_difference(EffectShot<Pool3D>& shot, double frame) {
    const ImagePtr result = same_bits_everywhere([&] { return shot.copy(frame); });
    const Pool3D& e = shot.effect;
    const SightLines lines{result->width, result->height, 1.45, false,
                           [&](int x, int y) { return height_at(e, x, y); }};
    const auto pyramid = pyramid_of(*shot.source);
    const double c = e.surface.ChromaticAb.value * 0.01;
    double worst = 0;
    for (int y = 1; y < result->height - 1; y += 5) {
        for (int x = 1; x < result->width - 1; x += 3) {
            double shine = 0, contrast = 1;
            if (e.surface.DoLight.value) {
                shine = lines.highlight(x, y, e.surface.Light.x, e.surface.Light.y, e.surface.LightZ.value,
                                        e.surface.Gloss.value) *
                        e.surface.LightBright.value * 0.01;
                contrast = e.surface.Contrast.value * 0.01;
            }
            for (int i = 0; i < 4; ++i) {
                const double seen = lines.seen(*pyramid, x, y, i < 3 ? c * (i + 1) * (c > 0) : 0)[std::size_t(i)];
                const double expected = i < 3 ? contrast * seen + shine : seen;
                worst = std::max(worst, std::abs(double(at(*result, x, y, i)) - expected));
            }
        }
    }
    return worst;
}

TEST(Pool3D, FollowsTheLawOfRefraction) {
    constexpr double CLOSE = 1e-3;
    EffectShot<Pool3D> shot(smooth_picture());
    Pool3D& e = shot.effect;
    e.Height.value = 0.5;
    EXPECT_LT(worst_difference(shot, 7), CLOSE);

    e.DoPersp.value = false;
    e.Center.y = 0.4;
    e.surface.DoLight.value = true;
    e.surface.Contrast.value = 70;
    for (const int mode : {Pool3D::Pond, Pool3D::Swirl, Pool3D::Central, Pool3D::Twirl}) {
        e.PoolMode.value = mode;
        EXPECT_LT(worst_difference(shot, 31), CLOSE) << mode;
    }
    e.matte.image = smooth_picture();
    e.region.UseMatte.value = e.region.InvertMatte.value = true;
    e.surface.ChromaticAb.value = 20;
    EXPECT_LT(worst_difference(shot, 2), CLOSE);
}

TEST(Pool3D, StillWaterLeavesThePictureToTheBit) {
    EffectShot<Pool3D> shot(noise(120, 80));
    Pool3D& e = shot.effect;
    const auto same_inside = [&](int first_x) {
        const K7Image& result = shot.render(5);
        for (int y = 0; y < 79; ++y)
            for (int x = first_x; x < 119; ++x)
                for (int c = 0; c < 4; ++c)
                    if (at(result, x, y, c) != at(*shot.source, x, y, c)) return false;
        return true;
    };
    EXPECT_FALSE(same_inside(1));
    e.DoPersp.value = false;
    e.Center.x = 0, e.Radius.value = 0.2;
    EXPECT_FALSE(same_inside(1));
    EXPECT_TRUE(same_inside(53));  // 2.1 radii of 120 pixels, and the slope's reach
    e.Height.value = 0;
    EXPECT_TRUE(same_inside(1));
    e.Blend.value = 100;
    EXPECT_TRUE(shot.shows_source());
}

// Planes without an area, behind the eye or far off, and pictures of a pixel.
TEST(Pool3D, BearsAnyPlane) {
    for (const auto& corners :
         {std::array{0.5, 0.5, 0.5, 0.5}, std::array{1.0, 0.0, 0.0, 1.0}, std::array{-1e9, 1e9, 1e12, -1e12}})
        for (const int size : {1, 2, 3, 40}) {
            EffectShot<Pool3D> shot(noise(size, size));
            Pool3D& e = shot.effect;
            e.quad.TL.x = corners[0], e.quad.TL.y = corners[1];
            e.quad.TR.x = corners[2], e.quad.TR.y = corners[3];
            e.Center.x = corners[3], e.Height.value = 10, e.Radius.value = 10;
            e.FillMode.value = 3, e.surface.DoLight.value = true, e.surface.ChromaticAb.value = 200;
            const K7Image& result = shot.render(1e9);
            for (int i = 0; i < 4 * size * size; ++i)
                ASSERT_TRUE(std::isfinite(image_row<float>(&result, 0)[i])) << size << ' ' << i;
        }
}

}  // namespace
