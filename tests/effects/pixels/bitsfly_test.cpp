// BitsFly: tiles leave nothing out, flights are what the forces say, what has not left is the picture to the bit, and
// each clip does its part.
#include "effects/pixels/BitsFly.h"

#include <gtest/gtest.h>

#include "imagelib/imagelib_coverage.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<BitsFly>;

// A source that flies over a flat background in the order of the controls, all of it in one plane.
struct FlyingShot : Shot {
    explicit FlyingShot(ImagePtr shown) : Shot(std::move(shown)) {
        const int width = source->width, height = source->height;
        effect.background.image = flat(width, height, 0.1F, 0.3F, 0.6F);
        effect.matte2D.image = flat(width, height, 1.0F);
        effect.matte3D.image = flat(width, height, 1.0F);
        effect.timing.MatteUse.value = Departures::OnlyBright;
        effect.timing.Timing.value = DepartureControls::ByProgress;
    }
    const K7Image& behind() { return *effect.background.image; }
};

ImagePtr gradient(int width, int height) {
    return picture(width, height, [&](int x, int y, int c) {
        return c == 3 ? 1.0F : (c == 1 ? float(y) / float(height) : float(x) / float(width)) * 0.7F + 0.2F;
    });
}

// ---- Tiles ----------------------------------------------------------------------------------------------------

TEST(Tiling, CoversEachPlaceOnce) {
    constexpr int WIDTH = 192, HEIGHT = 108;
    for (int kind = TilingShape::Squares; kind <= TilingShape::Cracks; ++kind)
        for (const float irregular : {0.0F, 1.0F}) {
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", irregular " << irregular);
            const Tiling tiling({.kind = kind,
                                 .size = 0.07F,
                                 .aspect = 1.3F,
                                 .irregular = irregular,
                                 .centre_x = 0.21F,
                                 .centre_y = -0.1F,
                                 .tallness = 0.5625F,
                                 .seed = 9});
            std::vector<float> sums(std::size_t(WIDTH) * HEIGHT);
            PolygonCoverage coverage;
            for (const Tiling::Tile& tile : tiling.tiles()) {
                float xy[2 * Tiling::MOST_CORNERS];
                for (std::uint32_t i = 0; i < tile.count; ++i) {
                    const TilePoint corner = tiling.corners(tile)[i];
                    xy[2 * i] = (corner.x + 0.5F) * WIDTH, xy[2 * i + 1] = corner.y * WIDTH + 0.5F * HEIGHT;
                }
                ASSERT_TRUE(coverage.set_polygon(int(tile.count), xy, 2, {0, 0, WIDTH - 1, HEIGHT - 1}));
                coverage.for_runs([&](const CoverageRun& run) {
                    for (int x = run.x0; x <= run.x1; ++x)
                        sums[std::size_t(run.y) * WIDTH + std::size_t(x)] +=
                            run.coverage ? run.coverage[x - run.x0] : 1;
                });
            }
            EXPECT_GT(tiling.tiles().size(), 60U);
            for (std::size_t i = 0; i < sums.size(); ++i)
                ASSERT_NEAR(sums[i], 1.0F, 2e-3) << i % WIDTH << ", " << i / WIDTH;
        }
}

// ---- Flights --------------------------------------------------------------------------------------------------

// The closed form against many small steps of v' = g + k (w - v).
TEST(Flight, IsWhatTheForcesSay) {
    FlightForces forces;
    forces.gravity = 0.002F, forces.wind_x = 0.02F, forces.wind_y = 0.005F, forces.burst = 0.03F, forces.push = 0.01F;
    for (const float drag : {0.0F, 1e-7F, 0.06F}) {
        forces.drag = drag;
        const Flight flight(forces, {0.2F, 0.1F, 0}, 77);
        const FlightPlace begin = flight.at(0, {}), soon = flight.at(1e-3, {});
        double place[2] = {double(begin.x), double(begin.y)};
        double speed[2] = {(double(soon.x) - place[0]) / 1e-3, (double(soon.y) - place[1]) / 1e-3};
        // Each piece has a drag of its own: read from how its speed towards the viewer, which nothing adds to, falls.
        const double near = double(flight.at(20, {}).z) / double(flight.at(40, {}).z);
        const double k = drag > 1e-3F ? -std::log(1 / near - 1) / 20 : 0;
        for (int step = 0; step < 40000; ++step) {
            const double pull[2] = {k * (double(forces.wind_x) - speed[0]),
                                    k * (double(forces.wind_y) - speed[1]) - double(forces.gravity)};
            for (int axis = 0; axis < 2; ++axis) speed[axis] += pull[axis] * 1e-3, place[axis] += speed[axis] * 1e-3;
        }
        EXPECT_NEAR(flight.at(40, {}).x, place[0], 5e-3) << drag;
        EXPECT_NEAR(flight.at(40, {}).y, place[1], 5e-3) << drag;
        EXPECT_TRUE(drag < 1e-3F || k > 0.5 * double(drag)) << k;
    }
}

// ---- The picture ----------------------------------------------------------------------------------------------

TEST(BitsFly, BeginsAndEndsWhole) {
    FlyingShot shot(noise(160, 90, 4));
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) at(*shot.source, x, y, 3) = 1;
    for (const int mode : {DepartureControls::FlyAway, DepartureControls::Assemble}) {
        const bool away = mode == DepartureControls::FlyAway;
        shot.effect.timing.Mode.value = mode, shot.effect.Shutter.value = 0;
        shot.effect.timing.Progress.value = away ? 0 : 100;
        EXPECT_TRUE(same_pixels(&shot.render(), shot.source.get()));
        shot.effect.timing.Progress.value = away ? 100 : 0;
        EXPECT_LT(difference(shot.render(), shot.behind()), 2e-6);
        shot.effect.timing.Progress.value = 50;
        EXPECT_GT(difference(shot.render(), shot.behind()), 0.1);
        EXPECT_GT(difference(shot.render(), *shot.source), 0.1);
    }
}

// Tiles that hover in their places show the picture, also where the 3D Matte sets them far behind it.
TEST(BitsFly, ATileInItsPlaceIsThePicture) {
    FlyingShot shot(gradient(160, 90));
    shot.effect.background.image.reset(image_duplicate(shot.source.get()));  // seams show it
    for (FloatControlK7* still : {&shot.effect.Gravity, &shot.effect.Push, &shot.effect.Spread, &shot.effect.Gusts,
                                  &shot.effect.Twirl, &shot.effect.FadeOut})
        still->value = 0;
    shot.effect.timing.Progress.value = 50, shot.effect.timing.Duration.value = 1;
    shot.effect.matte3D.image = noise(160, 90, 5);
    for (int kind = TilingShape::Squares; kind <= TilingShape::Cracks; ++kind) {
        shot.effect.Shape.value = kind, shot.effect.TileSize.value = 9;
        EXPECT_LT(difference(shot.render(), *shot.source), 4e-3) << kind;
    }
}

TEST(BitsFly, EachMatteDoesItsPart) {
    FlyingShot shot(gradient(160, 90));
    shot.effect.timing.Ragged.value = 0, shot.effect.timing.Progress.value = 30;
    const ImagePtr all = shot.copy();
    shot.effect.matte2D.image = flat(160, 90, 0.0F);
    EXPECT_TRUE(shot.shows_source());
    shot.effect.matte2D.image = picture(160, 90, [](int x, int, int) { return x < 80 ? 1.0F : 0.0F; });
    shot.effect.Spread.value = shot.effect.Gusts.value = 0, shot.effect.Shadow.value = 0;
    for (const bool bright : {true, false}) {
        shot.effect.timing.MatteUse.value = bright ? Departures::BrightFirst : Departures::DarkFirst;
        const K7Image& half = shot.render();
        EXPECT_EQ(at(half, 4, 88, 1) == at(*shot.source, 4, 88, 1), !bright);
        EXPECT_EQ(at(half, 155, 88, 1) == at(*shot.source, 155, 88, 1), bright);
    }
    // What stands farther away moves less.
    shot.effect.timing.MatteUse.value = Departures::OnlyBright;
    shot.effect.matte2D.image = flat(160, 90, 1.0F);
    const ImagePtr near = shot.copy();
    shot.effect.matte3D.image = flat(160, 90, 0.0F), shot.effect.Depth.value = 200;
    EXPECT_GT(difference(*near, shot.render()), 0.1);
}

TEST(BitsFly, IsTransparentWhereNothingIs) {
    FlyingShot shot(flat(120, 80, 0.8F, 0.4F, 0.2F, 0.5F));
    shot.effect.background.image = flat(120, 80, 0.0F);
    shot.effect.Shadow.value = 0, shot.effect.Shading.value = shot.effect.Shine.value = 0;
    const K7Image& flown = shot.render();
    bool seen = false, free = false;
    for (int y = 0; y < 80; ++y)
        for (int x = 0; x < 120; ++x) {  // colours are multiplied by their alpha everywhere
            ASSERT_NEAR(at(flown, x, y, 0), 0.8F * at(flown, x, y, 3), 1e-4);
            seen |= at(flown, x, y, 3) > 0.4F, free |= at(flown, x, y, 3) == 0;
        }
    EXPECT_TRUE(seen && free);
}

TEST(BitsFly, IsTheSameEverywhereAndInAnyOrder) {
    FlyingShot shot(noise(160, 90, 3));
    shot.effect.timing.Timing.value = DepartureControls::ByFrames;
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(12); });
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(12)));
    }
}

// Grain of 1 % in the picture moves no tile.
TEST(BitsFly, GrainMovesNoTile) {
    const ImagePtr grain = noise(160, 90, 8, -0.01F, 0.01F), clean = gradient(160, 90);
    FlyingShot plain(gradient(160, 90)), grainy(picture(160, 90, [&](int x, int y, int c) {
        return at(*clean, x, y, c) + (c == 3 ? 0.0F : at(*grain, x, y, c));
    }));
    EXPECT_LT(difference(plain.render(), grainy.render()), 0.03);
}

TEST(BitsFly, ProxiesShowTheSameFlight) {
    FlyingShot whole(gradient(320, 180)), proxy(gradient(160, 90));
    proxy.source->unit_scale = 2.0F;
    const K7Image &large = whole.render(), &small = proxy.render();
    double sum = 0;
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) {
            const float mean = 0.25F * (at(large, 2 * x, 2 * y, 1) + at(large, 2 * x + 1, 2 * y, 1) +
                                        at(large, 2 * x, 2 * y + 1, 1) + at(large, 2 * x + 1, 2 * y + 1, 1));
            sum += std::fabs(double(mean) - double(at(small, x, y, 1)));
        }
    EXPECT_LT(sum / (160 * 90), 0.01);
}

TEST(BitsFly, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 50.0, 1e12}) {
            FlyingShot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            shot.effect.timing.Centre.x = shot.effect.timing.Centre.y = value;
            shot.effect.timing.Timing.value = DepartureControls::ByFrames;
            for (int kind = TilingShape::Squares; kind <= TilingShape::Cracks; ++kind) {
                shot.effect.Shape.value = kind, shot.effect.Release.value = 1 + kind % 2;
                shot.effect.timing.Order.value = 1 + kind % 4, shot.effect.SwirlAxis.value = 1 + kind % 2;
                const K7Image& flown = shot.render(11);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) ASSERT_TRUE(std::isfinite(at(flown, x, y, 0)));
            }
        }
}

}  // namespace
