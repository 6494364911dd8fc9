// Particles: any order of frames, every clip, hostile values.
#include "effects/sundries/Particles.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/effect_shot.h"
#include "support/recording_host.h"
#include "support/same_bits.h"

namespace {

struct Shot : EffectShot<Particles> {
    explicit Shot(int preset = 0, int width = 160, int height = 90) : EffectShot(noise(width, height, 5, 0.1f, 0.4f)) {
        choose_preset(preset);
        effect.start.preRoll.value = std::min(effect.start.preRoll.value, 25);
        effect.Rate.value = std::min(effect.Rate.value, 60.0);
    }
};

ImagePtr half_white(int width, int height) {
    return picture(width, height, [=](int x, int, int) { return x < width / 2 ? 1.0f : 0.0f; });
}

// Sum over columns [first, last) of how much a channel differs from the source.
double change(const K7Image& image, const K7Image& source, int first, int last, int channel = 0) {
    double sum = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = first; x < last; ++x)
            sum += std::fabs(double(at(image, x, y, channel)) - at(source, x, y, channel));
    return sum;
}

TEST(Particles, EveryPresetIsTheSameInEveryOrderOfFrames) {
    for (int preset = 0; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        Shot sequence(preset), alone(preset), walked(preset);
        ImagePtr last;
        for (int frame = 0; frame <= 7; ++frame) last = sequence.copy(frame);
        EXPECT_TRUE(same_pixels(alone.copy(7).get(), last.get()));
        EXPECT_FALSE(same_pixels(sequence.source.get(), last.get()));
        EXPECT_TRUE(same_pixels(sequence.copy(3).get(), Shot(preset).copy(3).get())) << "back";
        walked.effect.walksOneByOne = true;
        EXPECT_EQ(walked.effect.liveParticles(), 0);
        walked.render(7);
        EXPECT_NEAR(walked.effect.liveParticles(), alone.effect.liveParticles(), 300);
        same_bits_everywhere([&] { return Shot(preset).copy(2); });
    }
}

TEST(Particles, BirthAndColoursComeFromTheirClips) {
    Shot shot;
    Particles& e = shot.effect;
    e.Emitter.value = ParticlesInfo::BirthClip;
    e.Speed.value = 0, e.forces.gravity.value = 0, e.AltColours.value = true, e.ageing.change.value = 0;
    e.shape.look.value = LookControls::Point, e.shape.blend.value = LookControls::Over;
    e.birth.image = half_white(160, 90);
    e.colours.image = flat(160, 90, 0, 1, 0);
    const K7Image& image = shot.render(5);
    EXPECT_GT(change(image, *shot.source, 0, 80, 1), 10);
    EXPECT_EQ(change(image, *shot.source, 84, 160, 1), 0);
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 80; ++x) ASSERT_LE(at(image, x, y, 0), at(*shot.source, x, y, 0)) << "green only";
}

TEST(Particles, SlopesOfTheTurbulenceClipPush) {
    const auto pushed = [](double strength) {
        Shot shot;
        Particles& e = shot.effect;
        e.Emitter.value = ParticlesInfo::Line;
        e.EmitStart.x = e.EmitEnd.x = 0.5, e.EmitStart.y = 0, e.EmitEnd.y = 1;
        e.Speed.value = 0, e.forces.gravity.value = 0, e.forces.slope->value = strength;
        e.turbulence.image = half_white(160, 90);
        const K7Image& image = shot.render(20);
        return change(image, *shot.source, 0, 76) - change(image, *shot.source, 84, 160);
    };
    EXPECT_GT(pushed(3), 10);
    EXPECT_LT(pushed(-3), -10);
}

TEST(Particles, BurstsWallsAndChildren) {
    Shot shot;
    Particles& e = shot.effect;
    e.Rate.value = 0, e.BurstSize.value = 100, e.BurstEvery.value = 0, e.start.preRoll.value = 0;
    e.Lifetime.value = 10, e.LifeVar.value = 0;
    shot.render(5);
    EXPECT_EQ(e.liveParticles(), 100);
    e.Children.value = ParticlesInfo::Explosions, e.BlastSize.value = 7;
    shot.render(13);
    EXPECT_EQ(e.liveParticles(), 700);
    shot.render(60);
    EXPECT_EQ(e.liveParticles(), 0) << "children have no children";

    Shot closed;
    closed.effect.Speed.value = 60, closed.effect.Spread.value = 360, closed.effect.Lifetime.value = 500;
    closed.effect.Walls.value = ParticlesInfo::AllSides, closed.effect.forces.gravity.value = 0;
    closed.effect.Restitution.value = 100, closed.effect.forces.grip.value = 0, closed.effect.Friction.value = 0;
    const double kept = change(closed.render(80), *closed.source, 0, 160);
    Shot open;
    open.effect.Speed.value = 60, open.effect.Spread.value = 360, open.effect.Lifetime.value = 500;
    open.effect.forces.gravity.value = 0;
    EXPECT_GT(kept, 3 * change(open.render(80), *open.source, 0, 160));
}

TEST(Particles, ShowTheSameCompositionAtAnySize) {
    const auto where = [](int width) {
        Shot shot(1, width, width * 9 / 16);
        const K7Image& image = shot.render(6);
        double sum = 0, mean = 0;
        for (int y = 0; y < image.height; ++y)
            for (int x = 0; x < image.width; ++x) {
                const double d = std::fabs(double(at(image, x, y)) - at(*shot.source, x, y));
                sum += d, mean += d * (y + 0.5) / image.height;
            }
        return mean / sum;
    };
    EXPECT_NEAR(where(480), where(240), 0.04);
}

TEST(Particles, HostileValues) {
    for (const double value : {-1e12, 0.0, 1e12}) {
        Shot shot(0, 40, 30);
        for (ControlK7* control : shot.effect.controls()) {
            const double four[4] = {value, -value, value, 1};
            if (dynamic_cast<ListControlK7*>(control) || dynamic_cast<IntegerControlK7*>(control)) continue;
            set_control(*control, four);
        }
        const K7Image& image = shot.render(3);
        for (int y = 0; y < image.height; ++y)
            for (int i = 0; i < 4 * image.width; ++i) ASSERT_TRUE(std::isfinite(image_row<float>(&image, y)[i]));
    }
}

// What is bright in Bounce is solid, and Particle Image is what is drawn, both only where they are connected.
TEST(Particles, BounceAndImageClips) {
    using namespace support;
    RecordingHost host;
    const auto made = [&](const char* clip) -> TestEffect& {
        TestEffect& effect = host.effect("Q_Particles");
        effect.connect("Input", gradientImage(layoutOf(64, 48)));
        if (clip) effect.connect(clip, gradientImage(layoutOf(64, 48)));
        effect.set("Spread", 360.0);
        effect.choose("Look", "Particle Image");
        return effect;
    };
    const std::vector<float> plain = made(nullptr).render(4);
    EXPECT_NE(made("Input3").render(4), plain);
    EXPECT_NE(made("Input6").render(4), plain);
    EXPECT_EQ(made("Input2").render(4), plain) << "unused";
    EXPECT_EQ(host.faults(), "");
}

}  // namespace
