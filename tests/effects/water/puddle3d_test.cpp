// Puddle3D: its rain drop by drop, its rings against their formulas, and frames in any order.
#include "effects/water/Puddle3D.h"

#include <gtest/gtest.h>

#include "noiselib/mtrandom.h"
#include "sight_lines.h"
#include "support/same_bits.h"

namespace {

// The height of the water, by the drops of all frames up to this one, on a plane that faces the viewer.
std::vector<double> water_of(const Puddle3D& e, int frame, int w, int h) {
    std::vector<double> water(std::size_t(w) * std::size_t(h));
    MTRandom random(std::uint32_t(-e.Seed.value));
    const double aspect = double(w) / h, radius = e.RainRadius.value * 0.01, endurance = e.RainEndure.value;
    for (int birth = e.StartAt.value - e.RestartFrom.value; birth <= frame; ++birth) {
        const int count = int(float(e.RainFreq.value) + random.next_float_in(-2, 2));
        for (int i = 0; i < count; ++i) {
            const double x = random.next_float_in(-0.5f, 0.5f) + 0.5, y = random.next_float_in(-0.5f, 0.5f) + 0.5;
            const double speed = radius * (1 + 0.5 * double(random.next_float_in(0, 1))) / endurance;
            const double age = (frame - birth) * 0.05, amplitude = std::exp(std::log(0.004) / endurance * age);
            if (amplitude < 0.004) continue;
            for (int row = 0; row < h; ++row)
                for (int col = 0; col < w; ++col) {
                    const double d = std::hypot((col / (w - 1.0) - x) * aspect, row / (h - 1.0) - y) - speed * age;
                    if (d < 0)
                        water[std::size_t(row) * std::size_t(w) + std::size_t(col)] -=
                            amplitude * std::sin(2 * M_PI * d * e.RainImpact.value * 10);
                }
        }
    }
    return water;
}

struct Rainy : EffectShot<Puddle3D> {
    explicit Rainy(ImagePtr shown = smooth_picture()) : EffectShot(std::move(shown)) {
        effect.RestartFrom.value = 7;
        effect.StartAt.value = 2;
        effect.RainRadius.value = 40;
    }
};

TEST(Puddle3D, SumsTheRingsOfItsDrops) {
    Rainy rain;
    rain.effect.DoPersp.value = false;
    rain.effect.OutputMap.value = true;
    const ImagePtr map = same_bits_everywhere([&] { return rain.copy(9); });
    const std::vector<double> water = water_of(rain.effect, 9, map->width, map->height);
    double worst = 0, highest = 0;
    for (int y = 0; y < map->height; ++y)
        for (int x = 0; x < map->width; ++x) {
            const double height = water[std::size_t(y) * map->width + std::size_t(x)];
            highest = std::max(highest, height);
            worst = std::max(worst, std::abs(double(at(*map, x, y, 3)) - std::max(height + 0.5, 0.0)));
        }
    EXPECT_LT(worst, 0.03);  // the table's steps of some rings
    EXPECT_GT(highest, 0.3);
}

TEST(Puddle3D, IsSeenThroughByTheLawOfRefraction) {
    Rainy rain;
    Puddle3D& e = rain.effect;
    e.OutputMap.value = true;
    const ImagePtr map = rain.copy(9);
    e.OutputMap.value = false;
    e.RefractIndex.value = 1.3;
    e.RainWave.value = 2;
    const ImagePtr result = rain.copy(9);
    const SightLines lines{result->width, result->height, 1.3, false, [&](int x, int y) {
                               return 0.5 + (double(at(*map, x, y)) - 0.5) * 0.02 * double(at(*rain.source, x, y, 3));
                           }};
    const auto pyramid = pyramid_of(*rain.source);
    for (int y = 1; y < result->height - 1; y += 3)
        for (int x = 1; x < result->width - 1; x += 3)
            ASSERT_NEAR(at(*result, x, y), lines.seen(*pyramid, x, y)[0], 2e-3) << x << ' ' << y;
    EXPECT_GT(difference(*result, *rain.source), 0.05);
}

TEST(Puddle3D, FramesAreTheSameInAnyOrder) {
    Rainy forwards, lone;
    std::vector<ImagePtr> frames;
    for (int frame = 0; frame < 20; ++frame) frames.push_back(forwards.copy(frame));
    EXPECT_TRUE(same_pixels(frames[1].get(), forwards.source.get()));  // before the rain
    for (const int frame : {19, 5, 5, 12})
        EXPECT_TRUE(same_pixels(&lone.render(frame), frames[std::size_t(frame)].get()));
    lone.effect.Seed.value = 3;
    EXPECT_FALSE(same_pixels(&lone.render(12), frames[12].get()));
}

}  // namespace
