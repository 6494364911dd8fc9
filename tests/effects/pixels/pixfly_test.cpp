// PixFly: flights are what the forces say, no light is lost on the way, what has not left is the picture to the bit,
// and each clip does its part.
#include "effects/pixels/PixFly.h"

#include <gtest/gtest.h>

#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<PixFly>;

// A source that flies over a flat background in the order of the controls.
struct FlyingShot : Shot {
    explicit FlyingShot(ImagePtr shown) : Shot(std::move(shown)) {
        effect.reveal.image = flat(source->width, source->height, 0.1F, 0.3F, 0.6F);
        effect.timeMatte.image = flat(source->width, source->height, 1.0F);
        effect.timing.MatteUse.value = Departures::OnlyBright;
        effect.timing.Timing.value = DepartureControls::ByProgress;
    }
    // A few pixels over nothing, all of which leave at once: what makes them move is for the test to say.
    void letLoose(double age) {
        effect.reveal.image = flat(source->width, source->height, 0.0F);
        for (FloatControlK7* still : {&effect.Vary, &effect.FadeOut, &effect.Shutter, &effect.Spread,
                                      &effect.forces.gravity, &effect.forces.wind, &effect.forces.swirl})
            still->value = 0;
        effect.EndSize.value = 100, effect.PixelSize.value = 1;
        effect.timing.Duration.value = 0, effect.timing.FlightTime.value = 100, effect.timing.Progress.value = age;
    }
};

// One opaque pixel.
ImagePtr speck(int width, int height, int x, int y) {
    return picture(width, height, [=](int i, int j, int) { return i == x && j == y ? 1.0F : 0.0F; });
}

struct Seen {
    double x = 0, y = 0, sum = 0;
};
// The middle of what is in a picture, in pixels, and how much there is.
Seen middle_of(const K7Image& image) {
    Seen seen;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const double alpha = double(at(image, x, y, 3));
            seen.sum += alpha, seen.x += alpha * (x + 0.5), seen.y += alpha * (y + 0.5);
        }
    seen.x /= seen.sum, seen.y /= seen.sum;
    return seen;
}

TEST(PixFly, FliesAsTheForcesSay) {
    FlyingShot shot(speck(200, 120, 150, 70));
    const auto flown = [&](double age) {
        shot.effect.timing.Progress.value = age;
        return middle_of(shot.render());
    };
    shot.letLoose(0);
    // Free fall, upwards to the left; a thousandth of the width is 0.2 pixels.
    shot.effect.forces.grip.value = 0, shot.effect.forces.gravity.value = 0.5;
    shot.effect.forces.gravityAngle.value = 135, shot.effect.forces.wind.value = 30;  // which is not felt
    EXPECT_NEAR(flown(20).x, 150.5 - 0.5 * 0.1 * 400 * std::sqrt(0.5), 0.05);
    EXPECT_NEAR(flown(20).y, 70.5 + 0.5 * 0.1 * 400 * std::sqrt(0.5), 0.05);
    // With drag: against many small steps of v' = g + k (w - v), for the k that a pixel has by chance.
    shot.effect.forces.gravityAngle.value = 270, shot.effect.forces.grip.value = 10;
    const double wind = 6.0 * std::cos(8 * 3.14159265 / 180), lift = 6.0 * std::sin(8 * 3.14159265 / 180);
    shot.source = speck(200, 120, 30, 70);
    const Seen blown = flown(15);
    double worst = 1e9;
    for (double k = 0.06; k <= 0.14; k += 0.0002) {
        double x = 150.5 - 120, y = 70.5, vx = 0, vy = 0;
        for (int i = 0; i < 15000; ++i) {
            vx += 1e-3 * k * (wind - vx), vy += 1e-3 * (k * (lift - vy) - 0.1);
            x += 1e-3 * vx, y += 1e-3 * vy;
        }
        worst = std::min(worst, std::fabs(x - blown.x) + std::fabs(y - blown.y));
    }
    EXPECT_LT(worst, 0.15);
    // About the vortex on a circle, and to the attractor.
    shot.letLoose(30);
    shot.source = speck(200, 120, 120, 60);
    shot.effect.vortex.vortexOn.value = true, shot.effect.vortex.vortexSpeed.value = 20;
    const Seen turned = flown(30);
    EXPECT_NEAR(std::hypot(turned.x - 100, turned.y - 60), std::hypot(20.5, 0.5), 0.1);
    EXPECT_GT(std::hypot(turned.x - 120.5, turned.y - 60.5), 5);
    shot.effect.vortex.attractorOn.value = true, shot.effect.vortex.attractorStrength.value = 5;
    EXPECT_NEAR(std::hypot(flown(90).x - 100, flown(90).y - 60), 0, 0.1);
}

// Pixels of any size, in motion or not, cover what they covered in the picture.
TEST(PixFly, LosesNoLight) {
    for (const int size : {1, 2, 3, 5}) {
        FlyingShot shot(picture(120, 90, [&](int x, int y, int) {
            return x / size % 6 == 3 && y / size % 6 == 3 && x > 30 && x < 90 && y > 30 && y < 60 ? 1.0F : 0.0F;
        }));
        shot.letLoose(20);
        shot.effect.PixelSize.value = size;
        shot.effect.forces.gravity.value = 0.3;
        for (const double shutter : {0.0, 100.0}) {
            shot.effect.Shutter.value = shutter;
            EXPECT_NEAR(middle_of(shot.render()).sum / middle_of(*shot.source).sum, 1, 0.002) << size;
        }
    }
}

TEST(PixFly, BeginsAndEndsWhole) {
    FlyingShot shot(noise(160, 90, 4));
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) at(*shot.source, x, y, 3) = 1;
    for (const int mode : {DepartureControls::FlyAway, DepartureControls::Assemble}) {
        const bool away = mode == DepartureControls::FlyAway;
        shot.effect.timing.Mode.value = mode, shot.effect.Shutter.value = 0;
        shot.effect.timing.Progress.value = away ? 0 : 100;
        EXPECT_TRUE(same_pixels(&shot.render(), shot.source.get()));
        shot.effect.timing.Progress.value = away ? 100 : 0;
        EXPECT_LT(difference(shot.render(), *shot.effect.reveal.image), 1e-5);
        shot.effect.timing.Progress.value = 50;
        EXPECT_GT(difference(shot.render(), *shot.effect.reveal.image), 0.1);
        EXPECT_GT(difference(shot.render(), *shot.source), 0.1);
    }
}

TEST(PixFly, TheMatteDecidesWhatLeaves) {
    FlyingShot shot(noise(160, 90, 6, 0.3F, 0.9F));
    shot.effect.timing.Ragged.value = 0, shot.effect.timing.Progress.value = 30, shot.effect.forces.wind.value = 0;
    shot.effect.timeMatte.image = flat(160, 90, 0.0F);
    const ImagePtr still = shot.copy();
    EXPECT_EQ(at(*still, 80, 40, 1), at(*shot.source, 80, 40, 1) * at(*shot.source, 80, 40, 3) +
                                         (1 - at(*shot.source, 80, 40, 3)) * at(*shot.effect.reveal.image, 0, 0, 1));
    shot.effect.timeMatte.image = picture(160, 90, [](int x, int, int) { return x < 80 ? 1.0F : 0.0F; });
    for (const bool bright : {true, false}) {
        shot.effect.timing.MatteUse.value = bright ? Departures::BrightFirst : Departures::DarkFirst;
        const K7Image& half = shot.render();
        EXPECT_EQ(at(half, 4, 45, 1) == at(*still, 4, 45, 1), !bright);
        EXPECT_EQ(at(half, 155, 45, 1) == at(*still, 155, 45, 1), bright);
    }
}

// A matte in a host, which brightens from the left to the right by four columns a frame.
TEST(PixFly, ReadsTheMatteAtOtherFrames) {
    support::RecordingHost host;
    host.project.width = 160, host.project.height = 40, host.project.firstFrame = 50, host.project.lastFrame = 100;
    support::TestEffect& effect = host.effect("Q_PixFly");
    const auto clip = [&](const char* name, auto sample) {
        effect.connect(
            name,
            [sample](double time) {
                return support::imageOf(support::layoutOf(160, 40),
                                        [&](int x, int, int c) { return c == 3 ? 1.0F : sample(x, int(time) - 50); });
            },
            50, 100);
    };
    clip("Input", [](int, int) { return 0.75F; });
    clip("Input2", [](int x, int frame) { return x < 4 * frame ? 1.0F : 0.0F; });
    clip("Input3", [](int, int) { return 0.25F; });
    const int start = 0;
    effect.set("StartAt", start), effect.set("Duration", 30.0), effect.set("FlightTime", 1.0),
        effect.set("Ragged", 0.0);
    effect.set("Shutter", 0.0), effect.set("PixelSize", 1);
    const auto gone = [&](int frame) {  // columns
        const std::vector<float> pixels = effect.render(50 + frame);
        int count = 0;
        for (int x = 0; x < 160; ++x) count += pixels[std::size_t(4 * (20 * 160 + x))] < 0.26F;
        return count;
    };
    effect.choose("MatteTime", "When It Brightens");
    for (const int frame : {20, 12, 25}) EXPECT_NEAR(gone(frame), 4 * (frame - 1), 6) << frame;
    effect.choose("MatteTime", "Held Frame"), effect.choose("MatteUse", "Only Bright Fly");
    effect.set("MatteFrame", 15), effect.set("Duration", 0.0);
    EXPECT_NEAR(gone(20), 60, 1);
    EXPECT_NEAR(gone(30), 60, 1);
}

TEST(PixFly, IsTheSameEverywhereAndInAnyOrder) {
    FlyingShot shot(noise(160, 90, 3));
    shot.effect.timing.Timing.value = DepartureControls::ByFrames;
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(24); });
        shot.render(3);
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(24)));
        EXPECT_GT(difference(*late, *shot.source), 0.1);
    }
}

TEST(PixFly, ProxiesShowTheSameFlight) {
    const auto gradient = [](int width, int height) {
        return picture(width, height, [=](int x, int y, int c) {
            return c == 3 ? 1.0F : (c == 1 ? float(y) / float(height) : float(x) / float(width)) * 0.7F + 0.2F;
        });
    };
    FlyingShot whole(gradient(640, 360)), proxy(gradient(320, 180));
    proxy.source->unit_scale = 2.0F;
    const K7Image &large = whole.render(), &small = proxy.render();
    // Other pixels fly, but as densely: means over cells.
    double worst = 0;
    for (int j = 0; j < 9; ++j)
        for (int i = 0; i < 16; ++i) {
            double sums[2] = {};
            for (int y = 0; y < 40; ++y)
                for (int x = 0; x < 40; ++x) sums[0] += double(at(large, 40 * i + x, 40 * j + y, 1)) / 1600;
            for (int y = 0; y < 20; ++y)
                for (int x = 0; x < 20; ++x) sums[1] += double(at(small, 20 * i + x, 20 * j + y, 1)) / 400;
            worst = std::max(worst, std::fabs(sums[0] - sums[1]));
        }
    EXPECT_LT(worst, 0.05);
}

TEST(PixFly, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 100}, {100, 2}})
        for (const double value : {-1e12, 0.0, 50.0, 1e12}) {
            FlyingShot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls()) {
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
                if (auto* place = dynamic_cast<PositionControlK7*>(control)) place->x = place->y = value;
            }
            shot.effect.timing.Timing.value = DepartureControls::ByFrames;
            shot.effect.vortex.vortexOn.value = shot.effect.vortex.attractorOn.value = true;
            for (int order = 1; order <= 4; ++order) {
                shot.effect.timing.Order.value = order, shot.effect.MatteTime.value = 1 + order % 3;
                shot.effect.PixelSize.value = order == 4 ? 64 : order;
                const K7Image& flown = shot.render(11);
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x) ASSERT_TRUE(std::isfinite(at(flown, x, y, 0)));
            }
        }
}

}  // namespace
