// FlareSpot: where rays meet a lens, and ghosts against their definition in doubles.
#include "effects/light/FlareSpot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "hostcli/temporary_folder.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr int W = 160, H = 90;

TEST(FlareLens, RaysMeetTheSideOfASphereThatTheSurfaceIs) {
    const auto meets = [](float radius, float axial, LensRay ray, double& x, double& y) {
        const double length = std::sqrt(ray.dx * ray.dx + ray.dy * ray.dy + ray.dz * ray.dz);
        ray.dx /= length, ray.dy /= length, ray.dz /= length;
        return meet({radius, axial, 1.0f}, ray, x, y);
    };
    double x = 0, y = 0;
    // Towards the light: the place lies on the ray and on the upper half of the sphere.
    ASSERT_TRUE(meets(2, 0.5f, {0.4, 0.3, 1, -0.8, -0.6, -2}, x, y));
    const double way = (0.4 - x) / 0.8, z = 1 - 2 * way;
    EXPECT_NEAR(y, 0.3 - 0.6 * way, 1e-12);
    EXPECT_NEAR(std::sqrt(x * x + y * y + (z + 1.5) * (z + 1.5)), 2, 1e-12);
    EXPECT_GT(z, -1.5);
    EXPECT_FALSE(meets(0.3f, 0, {0.4, 0.3, 1, 0, 0, -2}, x, y));  // beside it
    // Away from the light: only where the ray begins inside the sphere.
    ASSERT_TRUE(meets(-3, -0.5f, {0.4, 0.3, 1, 0, 0, -2}, x, y));
    EXPECT_EQ(x, 0.4);
    EXPECT_FALSE(meets(-0.5f, -0.5f, {0.1, 0.1, 1, 0, 0, -2}, x, y));
    ASSERT_TRUE(meets(0, -1, {0.4, 0.3, 1, -0.8, -0.6, -2}, x, y));
    EXPECT_NEAR(x, -0.4, 1e-12);
    EXPECT_FALSE(meets(0, 0, {0, 0, 1, 1, 0, 0}, x, y));
}

struct LensFile : testing::Test {
    TemporaryFolder folder;
    std::string write(const std::string& name, const std::string& text) {
        std::ofstream(folder / name, std::ios::binary) << text;
        return folder / name;
    }
};

TEST_F(LensFile, HoldsWhatItsLinesSayOrIsAStandardLens) {
    const auto lens = read_lens(write("a.txt", "2\r\n8 4.5 1 # front\r\n-1e1 +2 .5\n7 7 7\n"));
    ASSERT_TRUE(lens);
    ASSERT_EQ(lens->size(), 2u);
    EXPECT_EQ((*lens)[0].axial, 4.5f);
    EXPECT_EQ((*lens)[1].radius, -10.0f);
    const LensSurfaces unit = normalised(*lens);
    EXPECT_FLOAT_EQ(unit[0].axial, 1);
    EXPECT_FLOAT_EQ(unit[1].axial, -1);
    EXPECT_FLOAT_EQ(unit[1].radius, -8);
    EXPECT_EQ(normalised({{5, 3, 1}})[0].axial, 0.0f);
    std::string sixty = "60";
    for (int i = 0; i < 60; ++i) sixty += "\n1 2 3";
    EXPECT_EQ(read_lens(write("b.txt", sixty))->size(), 50u);
    for (const char* broken : {"", "x", "2\n1 2 3\n1 2", "1\n1 2\n3", "1\n1 2 nan", "1\n1 2 1e99", "1\n1,5 2 3"})
        EXPECT_FALSE(read_lens(write("c.txt", broken))) << broken;
    EXPECT_FALSE(read_lens(folder / "none.txt"));
    EXPECT_FALSE(read_lens(folder / ""));

    EffectShot<FlareSpot> shot(noise(W, H));
    FlareSpot& e = shot.effect;
    e.Lens.value = 2;
    const ImagePtr standard = shot.copy();
    e.Lens.value = FlareSpot::UserDefined, e.UserFile.text = folder / "none";
    EXPECT_TRUE(same_pixels(&shot.render(), standard.get()));
    e.UserFile.text = folder / "a";  // with ".txt"
    EXPECT_FALSE(same_pixels(&shot.render(), standard.get()));
}

// A single flat surface lies half way between both ends, and its ghost is the light's circle.
TEST_F(LensFile, AGhostIsTheDefinition) {
    EffectShot<FlareSpot> shot(noise(W, H));
    FlareSpot& e = shot.effect;
    e.Lens.value = FlareSpot::UserDefined, e.UserFile.text = write("flat.txt", "1\n0 3 1.5\n");
    e.Source.x = 0.9, e.Source.y = 0.8, e.Image.x = 0.3, e.Image.y = 0.4;
    e.CompMode.value = FlareSpot::Transparent, e.ColourOverride.value = true, e.SourceSides.value = 120;
    e.Colour.red = 1, e.Colour.green = 0.5f, e.Colour.blue = 0, e.MaxSat.value = 80, e.SourceRad.value = 20;
    const double colour[] = {1, 1 - 0.8 * 0.5, 1 - 0.8};
    for (const auto& [aspect, defocus] : {std::pair{1.0f, 3.0}, {2.0f, 12.0}}) {
        shot.source->pixel_aspect = aspect, e.Defocus.value = defocus;
        const ImagePtr ghost = same_bits_everywhere([&] { return shot.copy(); });
        const double unit = (W / 2.0 + H / 2.0 / aspect) / 2, radius = 0.02 * 12.44 * 1.5 * unit;
        const double toX = -0.6 * W, toY = -0.4 * H / aspect, length = std::hypot(toX, toY);
        int compared = 0;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                const double dx = (x + 0.5 - 0.6 * W) / radius, dy = (y + 0.5 - 0.6 * H) / aspect / radius;
                const double d = std::hypot(dx, dy);
                if (d > 1 - 1.5 / radius && d < 1 + 1.5 / radius) continue;
                const double s = std::clamp((d * defocus / 10 - 0.5) / 0.5, 0.0, 1.0);
                const double light = d < 1 ? 2 * 0.1 * (1 - (3 - 2 * s) * s * s) : 0;
                const double side = std::max(0.0, (dx * toX + dy * toY) / length), q = std::min(1.0, 2 * side * side);
                double rgb[3];
                for (int c = 0; c < 3; ++c) {
                    rgb[c] = light * ((1 - q) * colour[c] + q);
                    ASSERT_NEAR(at(*ghost, x, y, c), rgb[c], 2e-6) << x << ", " << y;
                }
                ASSERT_NEAR(at(*ghost, x, y, 3), light * (0.3 * rgb[0] + 0.5 * rgb[1] + 0.2 * rgb[2]), 2e-6);
                compared += light > 0;
            }
        EXPECT_GT(compared, 500);
    }
}

TEST(FlareSpot, ModesPutTheSameLightOntoThePicture) {
    EffectShot<FlareSpot> shot(noise(W, H, 3, 0.0f, 1.5f));
    FlareSpot& e = shot.effect;
    e.MoreElements.value = 3, e.SourceSides.value = 5, e.Lens.value = 3;
    const auto rendered = [&](int mode) {
        e.CompMode.value = mode;
        return same_bits_everywhere([&] { return shot.copy(); });
    };
    const ImagePtr light = rendered(FlareSpot::Transparent), over = rendered(FlareSpot::Composite);
    const ImagePtr added = rendered(FlareSpot::Add), screened = rendered(FlareSpot::Screen);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            for (int c = 0; c < 4; ++c) {
                const float a = at(*light, x, y, c), b = at(*shot.source, x, y, c);
                ASSERT_NEAR(at(*over, x, y, c), a + b * (1 - std::min(at(*light, x, y, 3), 1.0f)), 1e-6);
                ASSERT_NEAR(at(*added, x, y, c), a + b, 1e-6);
                ASSERT_NEAR(at(*screened, x, y, c), c == 3 ? b : std::max({a + b - a * b, a, b}), 1e-6);
            }
}

TEST(FlareSpot, StaysFiniteWithValuesBeyondAllRanges) {
    for (const double wild : {-1e12, 0.0, 1e12})
        for (const int width : {1, 33}) {
            EffectShot<FlareSpot> shot(noise(width, 17));
            for (ControlK7* control : shot.effect.controls()) {
                const double values[3] = {wild, -wild, wild};
                if (dynamic_cast<FloatControlK7*>(control) || dynamic_cast<PositionControlK7*>(control) ||
                    dynamic_cast<ColourControlK7*>(control))
                    set_control(*control, values);
            }
            shot.effect.ColourOverride.value = true, shot.effect.MoreElements.value = 10;
            for (const int lens : {1, 2, 3, 4}) {
                shot.effect.Lens.value = lens;
                EXPECT_LT(difference(shot.render(), *shot.source), INFINITY) << wild << ", " << width;
            }
        }
}

}  // namespace
