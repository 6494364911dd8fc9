// CCTV: what is switched off changes nothing, what is switched on is the same everywhere.
#include "effects/tv/CCTV.h"

#include <gtest/gtest.h>

#include <cmath>

#include "effects/engines/television/Video.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

using Shot = EffectShot<CCTV>;

void switch_off(CCTV& effect) {
    for (FloatControlK7* control : {&effect.Noise, &effect.Sharpening, &effect.Bloom, &effect.Smear, &effect.Distortion,
                                    &effect.Jitter, &effect.Skew, &effect.HeadSwitch, &effect.DropOuts,
                                    &effect.ChromaDelay, &effect.ScanLines, &effect.HumBar, &effect.Vignette})
        control->value = 0;
    effect.Colour.value = effect.Contrast.value = effect.Gain.value = 100;
    effect.Generations.value = 0;
    effect.ShowName.value = effect.ShowClock.value = effect.ShowRec.value = false;
}

ImagePtr gradient(int width, int height) {
    return picture(width, height, [&](int x, int y, int c) {
        return c == 3 ? 0.6F : 0.15F + 0.7F * float(c == 1 ? x : y) / float(c == 1 ? width : height);
    });
}

TEST(CCTV, AllOffShowsItsSource) {
    Shot shot(gradient(320, 180));
    switch_off(shot.effect);
    shot.effect.Lines.value = 180;
    EXPECT_LT(difference(shot.render(7), *shot.source), 2e-3);
}

TEST(CCTV, IsTheSameEverywhereAndInAnyOrder) {
    Shot shot(noise(160, 90, 3));
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        SCOPED_TRACE(preset);
        shot.choose_preset(preset);
        shot.effect.Lines.value = 144;
        const ImagePtr late = same_bits_everywhere([&] { return shot.copy(76); });
        const ImagePtr early = shot.copy(3);
        EXPECT_GT(difference(*early, *late), 0.02) << "faults move";
        EXPECT_TRUE(same_pixels(late.get(), &shot.render(76)));
    }
}

TEST(CCTV, StandsStillUnlessAnimated) {
    Shot shot(noise(160, 90, 4));
    shot.choose_preset(6);  // Bad Reception
    shot.effect.Animate.value = shot.effect.ShowClock.value = shot.effect.ShowRec.value = false;
    const ImagePtr first = shot.copy(0);
    EXPECT_TRUE(same_pixels(first.get(), &shot.render(33)));
}

// By a twenty-seventh of its height and of the black between two pictures, which are 135 lines together.
TEST(CCTV, ARollingPictureKeepsItsSize) {
    Shot shot(gradient(200, 125));
    switch_off(shot.effect);
    shot.effect.Lines.value = 125, shot.effect.Roll.value = 100, shot.effect.ClockRate.value = 27;
    const K7Image& rolled = shot.render(1);
    for (int y = 0; y < 125; ++y) ASSERT_NEAR(at(rolled, 90, y), y < 5 ? 0.0F : at(*shot.source, 90, y - 5), 2e-3) << y;
}

TEST(CCTV, GrainOfThePlateStaysGrain) {
    Shot clean(gradient(320, 180)), grainy(gradient(320, 180));
    const ImagePtr grain = noise(320, 180, 9, -0.01F, 0.01F);
    for (int y = 0; y < 180; ++y)
        for (int x = 0; x < 320 * 4; ++x)
            image_row<float>(grainy.source.get(), y)[x] += image_row<float>(grain.get(), y)[x];
    for (int preset = 1; preset < Shot::preset_count(); ++preset) {
        clean.choose_preset(preset), grainy.choose_preset(preset);
        clean.effect.Lines.value = grainy.effect.Lines.value = 180;
        const K7Image &a = clean.render(5), &b = grainy.render(5);
        double sum = 0;
        for (int y = 0; y < 180; ++y)
            for (int x = 0; x < 320; ++x) sum += std::fabs(double(at(a, x, y, 1)) - at(b, x, y, 1));
        EXPECT_LT(sum / (320 * 180), 0.012) << preset;
    }
}

TEST(CCTV, ShowsEachCameraInItsQuarterAndInItsTurn) {
    Shot shot(flat(160, 90, 0.2F, 0.2F, 0.2F));
    ClipRecord* clips[] = {&shot.effect.clip2, &shot.effect.clip3, &shot.effect.clip4};
    const float levels[] = {0.2F, 0.4F, 0.6F, 0.8F};
    for (int i = 0; i < 3; ++i) clips[i]->image = flat(160, 90, levels[i + 1], levels[i + 1], levels[i + 1]);
    switch_off(shot.effect);
    const auto level = [&](double frame, int x, int y) { return at(shot.render(frame), x, y, 1); };
    shot.effect.View.value = CCTVInfo::Quad;
    EXPECT_NEAR(level(0, 40, 70), levels[0], 4e-3);
    EXPECT_NEAR(level(0, 120, 70), levels[1], 4e-3);
    EXPECT_NEAR(level(0, 40, 20), levels[2], 4e-3);
    EXPECT_NEAR(level(0, 120, 20), levels[3], 4e-3);

    shot.effect.View.value = CCTVInfo::Switcher;
    shot.effect.Dwell.value = 1;
    for (const int turn : {-1, 0, 1, 5})
        EXPECT_NEAR(level(25 * turn + 12, 80, 45), levels[(turn + 4) % 4], 4e-3) << turn;
    shot.effect.View.value = CCTVInfo::OneCamera;
    shot.effect.Camera.value = 3;
    EXPECT_NEAR(level(0, 80, 45), levels[2], 4e-3);
}

TEST(CCTV, TheClockGoesOnIntoTheNextYear) {
    Shot shot(flat(320, 180, 0.3F));
    switch_off(shot.effect);
    shot.effect.ShowClock.value = true;
    CCTV& e = shot.effect;
    const auto at_date = [&](int year, int month, int day, int hour, int minute, int second, double frame) {
        e.Year.value = year, e.Month.value = month, e.Day.value = day;
        e.Hour.value = hour, e.Minute.value = minute, e.Second.value = second;
        return shot.copy(frame);
    };
    const ImagePtr midnight = at_date(2024, 1, 1, 0, 0, 0, 0);
    EXPECT_TRUE(same_pixels(midnight.get(), at_date(2023, 12, 31, 23, 59, 59, 25).get()));
    EXPECT_FALSE(same_pixels(midnight.get(), at_date(2023, 12, 31, 23, 59, 59, 24).get()));
    EXPECT_TRUE(same_pixels(at_date(2024, 2, 29, 0, 0, 0, 0).get(), at_date(2024, 2, 28, 0, 0, 0, 25 * 86400.0).get()));
}

TEST(CCTV, TakesAnySizeAndAnyValue) {
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 200}, {200, 2}, {17, 9}})
        for (const double value : {-1e12, 0.0, 1e12}) {
            Shot shot(noise(width, height, 5));
            for (ControlK7* control : shot.effect.controls())
                if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
            shot.effect.Centre.x = shot.effect.CaptionPos.y = value;
            shot.effect.Lines.value = 120;
            for (const int view : {1, 2, 3}) {
                shot.effect.View.value = view;
                shot.render(11);
            }
        }
}

// ---- Blocks ---------------------------------------------------------------------------------------------------

TEST(Compression, RoundsTheCosineTransformOfEachBlock) {
    const ImagePtr image = noise(8, 8, 12);
    VideoFrame video(*image);
    const VideoFrame before = video;
    compress_blocks(video, 2.0F);
    const auto wave = [](int k, int n) {
        return std::cos((2 * n + 1) * k * M_PI / 16) * (k == 0 ? std::sqrt(0.125) : 0.5);
    };
    const auto coefficient = [&](const VideoFrame& frame, int across, int down) {
        double sum = 0;
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x) sum += double(frame.row(frame.y, 7 - y)[x]) * wave(across, x) * wave(down, y);
        return sum;
    };
    const struct {
        int across, down;
        double step;
    } steps[] = {{1, 0, 22}, {0, 1, 24}, {2, 0, 20}, {0, 2, 28}, {5, 2, 114}, {2, 5, 110}, {7, 7, 198}};
    for (const auto& s : steps) {
        const double step = s.step / 255, was = coefficient(before, s.across, s.down);
        EXPECT_NEAR(coefficient(video, s.across, s.down), std::floor(was / step + 0.5) * step, 1e-5)
            << s.across << ' ' << s.down;
    }
}

TEST(Compression, LeavesFlatPicturesFlat) {
    VideoFrame video(*flat(37, 21, 0.5F, 0.5F, 0.5F));
    compress_blocks(video, 10.0F);
    for (const float y : video.y) EXPECT_NEAR(y, 0.5, 3.1 / 255);
    for (const float y : video.y) EXPECT_NEAR(y, video.y[0], 1e-6);
}

}  // namespace
