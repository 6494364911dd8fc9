// Flock: the same members everywhere and in any order of frames, every clip, formations, and values beyond reason.
#include "effects/sundries/Flock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

struct Flown : EffectShot<Flock> {
    explicit Flown(int width = 160, int height = 90) : EffectShot(flat(width, height, 0.5F)) {
        for (ClipRecord* clip : effect.inputs()) clip->wire(&nothing, &effect);
        effect.BlackBG.value = true;
        effect.Members.value = 40, effect.Size.value = 6, effect.start.preRoll.value = 12;
    }
    // From now on the host has this picture for the clip, at any frame.
    void connect(ClipRecord& clip, ImagePtr shown) {
        clip.image = std::move(shown);
        clip.wire(nullptr, &effect);
    }
    std::atomic<OfxImageClipHandle> nothing{};
};

// The mean alpha in a rectangle of fractions.
double seen_in(const K7Image& image, double x0, double y0, double x1, double y1) {
    double sum = 0, count = 0;
    for (int y = int(y0 * image.height); y < int(y1 * image.height); ++y)
        for (int x = int(x0 * image.width); x < int(x1 * image.width); ++x, ++count) sum += double(at(image, x, y, 3));
    return sum / count;
}

ImagePtr white_in(const K7Image& like, double x0, double x1) {
    return picture(like.width, like.height,
                   [&](int x, int, int) { return x >= x0 * like.width && x < x1 * like.width ? 1.0F : 0.0F; });
}

TEST(Flock, IsTheSameEverywhere) {
    for (int character = FlockInfo::Starlings; character <= FlockInfo::Ants; ++character) {
        SCOPED_TRACE(character);
        const ImagePtr image = same_bits_everywhere([&] {
            Flown shot;
            shot.effect.Character.value = character, shot.effect.Size.value = 14, shot.effect.Shadow.value = 40;
            shot.effect.DoPredator.value = true, shot.effect.Attitude.value = 1 + character % 5;
            shot.effect.Formation.value = 1 + character % 4, shot.effect.Opacity.value = character % 2 ? 100 : 60;
            return shot.copy(2);
        });
        EXPECT_GT(seen_in(*image, 0, 0, 1, 1), 0.005);
    }
}

TEST(Flock, AFrameAloneIsTheFrameInOrder) {
    Flown led, alone;
    led.effect.ArriveOver.value = alone.effect.ArriveOver.value = 30;
    for (int frame = 0; frame < 9; ++frame) led.render(frame);
    const ImagePtr wanted = led.copy(9);
    EXPECT_TRUE(same_pixels(wanted.get(), &alone.render(9)));
    EXPECT_FALSE(same_pixels(wanted.get(), &alone.render(10)));
    EXPECT_TRUE(same_pixels(wanted.get(), &alone.render(9)));
}

TEST(Flock, AProxyShowsTheSameFlock) {
    Flown full(320, 180), half(160, 90);
    const ImagePtr big = full.copy(5);
    const ImagePtr small = picture(160, 90, [&](int x, int y, int c) {
        return 0.25F * (at(*big, 2 * x, 2 * y, c) + at(*big, 2 * x + 1, 2 * y, c) + at(*big, 2 * x, 2 * y + 1, c) +
                        at(*big, 2 * x + 1, 2 * y + 1, c));
    });
    const ImagePtr proxy = half.copy(5);
    double apart = 0, all = 0;
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 160; ++x) {
            apart += std::fabs(double(at(*small, x, y, 3) - at(*proxy, x, y, 3)));
            all += double(at(*small, x, y, 3));
        }
    EXPECT_LT(apart, 0.25 * all);
}

TEST(Flock, MattesAreObeyed) {
    Flown free, kept, born;
    for (Flown* shot : {&free, &kept, &born}) shot->effect.start.preRoll.value = 60;
    EXPECT_GT(seen_in(free.render(), 0.3, 0, 0.62, 1), 0.004);
    kept.connect(kept.effect.avoidMatte, white_in(*kept.source, 0.25, 0.67));
    EXPECT_LT(seen_in(kept.render(), 0.3, 0, 0.62, 1), 0.0005) << "nobody where the avoidance matte is white";
    EXPECT_GT(seen_in(kept.render(), 0, 0, 1, 1), 0.003);
    born.effect.start.preRoll.value = 0;
    born.connect(born.effect.birthMatte, white_in(*born.source, 0.7, 0.9));
    const K7Image& begun = born.render();
    EXPECT_GT(seen_in(begun, 0.7, 0, 0.9, 1), 0.002);
    EXPECT_EQ(seen_in(begun, 0, 0, 0.55, 1), 0) << "members begin where the birth matte is white";
    born.connect(born.effect.birthMatte, flat(160, 90, 0.0F));
    EXPECT_EQ(seen_in(born.render(), 0, 0, 1, 1), 0);
}

TEST(Flock, ShapesComeFromTheirClips) {
    const auto greenest = [](const K7Image& image) {
        float most = 0;
        for (int y = 0; y < image.height; ++y)
            for (int x = 0; x < image.width; ++x) most = std::max(most, at(image, x, y, 1) - at(image, x, y, 0));
        return most;
    };
    Flown shot;
    shot.effect.Character.value = FlockInfo::ShapeClip, shot.effect.Cycle.value = 1;
    shot.effect.Size.value = 12, shot.effect.Haze.value = 0;
    const ImagePtr birds = shot.copy();
    EXPECT_GT(seen_in(*birds, 0, 0, 1, 1), 0.01) << "without clips there are birds";
    shot.connect(shot.effect.shapeColour, flat(160, 90, 0, 1, 0));
    shot.connect(shot.effect.shapeMatte, white_in(*shot.source, 0.3, 0.6));
    shot.effect.MarkRestart();
    EXPECT_GT(greenest(shot.render()), 0.6F);
    shot.effect.shapeColour.wire(&shot.nothing, &shot.effect);  // the matte alone is inked
    shot.effect.Colour.green = 0, shot.effect.Colour.red = 1;
    const K7Image& inked = shot.render();
    EXPECT_LT(greenest(inked), 0.01F);
    EXPECT_GT(seen_in(inked, 0, 0, 1, 1), 0.003);
}

// Geese: each one behind and beside the one in front of it, so that a group is longer than it is wide and in step.
TEST(Flock, AVeeHoldsTogether) {
    const auto spread = [](int formation) {
        Flown shot(320, 180);
        Flock& flock = shot.effect;
        flock.Members.value = flock.GroupSize.value = 9, flock.Size.value = 3, flock.Depth.value = 0;
        flock.Formation.value = formation, flock.GoalUse.value = FlockInfo::NoGoal, flock.Wander.value = 10;
        flock.Walls.value = FlockInfo::ComeRound, flock.CourseHold.value = 100, flock.Cohesion.value = 0;
        flock.Begin.value = FlockInfo::AtFlightPoint, flock.FlightPoint.x = flock.FlightPoint.y = 0.5;
        flock.start.preRoll.value = 40, flock.Speed.value = 0.2;
        const ImagePtr image = shot.copy();
        double sum = 0, x1 = 0, x2 = 0, y1 = 0, y2 = 0;
        for (int y = 0; y < 180; ++y)
            for (int x = 0; x < 320; ++x) {
                const double a = double(at(*image, x, y, 3));
                sum += a, x1 += a * x, x2 += a * x * x, y1 += a * y, y2 += a * y * y;
            }
        return std::sqrt((x2 / sum - x1 * x1 / sum / sum) + (y2 / sum - y1 * y1 / sum / sum));
    };
    const double vee = spread(FlockInfo::Vee), line = spread(FlockInfo::Line);
    EXPECT_GT(vee, 8);
    EXPECT_LT(vee, 40);
    EXPECT_GT(line, 1.3 * vee) << "one behind the other is longer";
}

TEST(Flock, SurvivesAnyValue) {
    for (const double wild : {0.0, -1e12, 1e12, 1e-30}) {
        Flown shot(33, 17);
        for (ControlK7* control : shot.effect.controls()) {
            if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = wild;
            if (auto* point = dynamic_cast<PositionControlK7*>(control)) point->x = wild, point->y = -wild;
        }
        shot.connect(shot.effect.avoidMatte, white_in(*shot.source, 0.2, 0.4));
        for (int character = 1; character <= 9; ++character) {
            shot.effect.Character.value = character;
            shot.effect.Formation.value = 1 + character % 4, shot.effect.Walls.value = 1 + character % 3;
            const K7Image& image = shot.render(character);
            for (int y = 0; y < 17; ++y)
                for (int x = 0; x < 33 * 4; ++x) ASSERT_TRUE(std::isfinite(image_row<float>(&image, y)[x])) << wild;
        }
    }
}

}  // namespace
