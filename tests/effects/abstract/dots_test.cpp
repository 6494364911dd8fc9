// Dots: true tones without beats, what the clips steer, and that screens stand still.
#include "effects/abstract/Dots.h"

#include <gtest/gtest.h>

#include <atomic>

#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

struct Screened : EffectShot<Dots> {
    explicit Screened(ImagePtr shown) : EffectShot(std::move(shown)) {
        for (ClipRecord* clip : {&effect.intensity, &effect.matte, &effect.colours}) clip->wire(&nothing, &effect);
    }
    // From now on the host has this picture for the clip.
    void connect(ClipRecord& clip, ImagePtr shown) {
        connected.push_back({&clip, std::move(shown)});
        clip.wire(nullptr, &effect);
    }
    K7Image& shown(double frame = 0) {  // clips give fresh images for each render
        for (ClipRecord* clip : effect.inputs()) clip->image.reset();
        for (const auto& [clip, image] : connected) clip->image.reset(image_duplicate(image.get()));
        return render(frame);
    }
    Screened& pattern(int which, double size, double angle) {
        effect.Pattern.value = which + 1, effect.DotSize.value = size, effect.Angle.value = angle;
        return *this;
    }

    std::atomic<OfxImageClipHandle> nothing{};
    std::vector<std::pair<ClipRecord*, ImagePtr>> connected;
};

// Mean round a place, whose weight falls smoothly to 0 at the distance `reach`: cells cut at an edge do not count.
double mean_at(const K7Image& image, int cx, int cy, int reach, int channel) {
    double sum = 0, weights = 0;
    for (int y = std::max(cy - reach, 0); y < std::min(cy + reach, int(image.height)); ++y)
        for (int x = std::max(cx - reach, 0); x < std::min(cx + reach, int(image.width)); ++x) {
            const double u = (x - cx) / double(reach), v = (y - cy) / double(reach);
            const double weight = (1 + std::cos(M_PI * u)) * (1 + std::cos(M_PI * v));
            sum += weight * double(at(image, x, y, channel)), weights += weight;
        }
    return sum / weights;
}

TEST(Dots, FlatGreyKeepsItsLevelEverywhereAtAnySizeAndAngle) {
    for (int pattern = 0; pattern < DOT_PATTERNS; ++pattern)
        for (const float grey : {0.04f, 0.5f, 0.81f}) {
            Screened shot(flat(260, 180, grey));
            for (const double cell : {1.6, 3.7, 9.0, 15.3})
                for (const double angle : {0.0, 18.4, 45.0}) {
                    if (pattern == DOTS_BLUE_NOISE && (cell > 6 || angle > 0)) continue;
                    const K7Image& result = shot.pattern(pattern, cell / 260, angle).shown();
                    const bool round = pattern == DOTS_RINGS || pattern == DOTS_SPIRAL;
                    for (const auto& [x, y] : {std::pair{60, 60}, {90, 120}, {190, 70}, {200, 120}}) {
                        if (round && x > 80 && x < 180) continue;
                        ASSERT_NEAR(mean_at(result, x, y, 60, 1), double(grey), 0.01)
                            << pattern << " " << grey << " " << cell << " " << angle << " at " << x;
                    }
                }
        }
}

// Cells far larger than pixels are ink and paper with thin edges, not greys.
TEST(Dots, LargeDotsAreInkAndPaper) {
    Screened shot(flat(300, 200, 0.5f));
    for (int pattern = 0; pattern < DOT_PATTERNS; ++pattern) {
        const K7Image& result = shot.pattern(pattern, 0.2, 30).shown();
        int greys = 0, inked = 0;
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 300; ++x) {
                greys += at(result, x, y) > 0.001f && at(result, x, y) < 0.999f;
                inked += at(result, x, y) <= 0.001f;
            }
        EXPECT_LT(greys, 60000 / 8) << pattern;
        EXPECT_GT(inked, 60000 / 3) << pattern;
    }
}

TEST(Dots, ColoursAreThoseOfThePictureFromAfar) {
    const float colours[][3] = {{0.9f, 0.4f, 0.1f}, {0.2f, 0.3f, 0.7f}, {0.5f, 0.5f, 0.5f}, {0.97f, 0.99f, 0.9f}};
    for (const auto& c : colours) {
        Screened shot(flat(260, 180, c[0], c[1], c[2], 0.5f));
        shot.pattern(DOTS_ROUND, 0.03, 20);
        const auto expect_mean = [&](double scale, double near) {
            const K7Image& result = shot.shown();
            for (int channel = 0; channel < 3; ++channel)
                EXPECT_NEAR(mean_at(result, 130, 90, 90, channel), scale * double(c[channel]), near);
            EXPECT_EQ(at(result, 100, 100, 3), 0.5f);
        };
        shot.effect.Colouring.value = 1 + DOTS_FOUR_INKS;
        expect_mean(1, 0.015);
        shot.effect.Colouring.value = 1 + DOTS_PICTURE_COLOURS;
        expect_mean(1, 0.01);
        const double papers[][3] = {{0, 0, 0}, {0.3, 0.8, 0.5}};
        for (const auto& paper : papers) {
            set_control(shot.effect.PaperColour, paper);
            expect_mean(1, 0.01);
        }
        shot.source = flat(260, 180, 3 * c[0], 3 * c[1], 3 * c[2], 0.5f);  // above 1
        if (3 * c[1] > 1 && 3 * c[2] > 1) expect_mean(3, 0.04);
    }
}

TEST(Dots, EachClipSteersItsPart) {
    const auto ramp = [](float low, float high) {
        return picture(240, 60, [=](int x, int, int c) { return c == 3 ? 1.0f : x < 120 ? low : high; });
    };
    Screened shot(ramp(0.3f, 0.3f));
    shot.pattern(DOTS_ROUND, 0.03, 30);
    const auto expect_green = [&](double left, double right, const char* what) {
        const K7Image& result = shot.shown();
        EXPECT_NEAR(mean_at(result, 55, 30, 30, 1), left, 0.02) << what;
        EXPECT_NEAR(mean_at(result, 185, 30, 30, 1), right, 0.02) << what;
    };
    expect_green(0.3, 0.3, "background alone");
    shot.connect(shot.effect.intensity, ramp(0.2f, 0.9f));
    expect_green(0.2, 0.9, "levels");
    shot.connect(shot.effect.matte, ramp(0, 1));
    expect_green(0.3, 0.9, "matte");
    shot.effect.MatteSizes.value = true;
    expect_green(1, 0.9, "matte as sizes");
    shot.effect.InvertMatte.value = true;
    expect_green(0.2, 1, "inverted");
    shot.effect.MatteSizes.value = shot.effect.InvertMatte.value = false;
    shot.connect(shot.effect.colours, flat(240, 60, 1, 0.5f, 0));
    shot.effect.Colouring.value = 1 + DOTS_PICTURE_COLOURS;
    expect_green(0.3, 0.9 + 0.1 * 0.5, "colours");
    shot.effect.Paper.value = 1 + PAPER_CLEAR;
    const K7Image& clear = shot.shown();
    EXPECT_NEAR(mean_at(clear, 185, 30, 30, 3), 0.1, 0.01);
    EXPECT_FLOAT_EQ(at(clear, 185, 30, 1), 0.5f);
}

ImagePtr slopes(int width, int height) {
    return picture(width, height, [=](int x, int y, int c) {
        const float u = float(x) / float(width), v = float(y) / float(height);
        return c == 3 ? 1.0f : 0.5f + 0.4f * std::sin(5 * u * float(c + 1) + 4 * v);
    });
}

TEST(Dots, SameBitsEverywhereAndAtAnyFrame) {
    Screened shot(slopes(157, 61));
    shot.effect.Speed.value = 7;
    for (int pattern = 0; pattern < DOT_PATTERNS; ++pattern)
        for (int colouring = 1; colouring <= 3; ++colouring) {
            shot.effect.Colouring.value = colouring;
            shot.pattern(pattern, 0.06, 33);
            const ImagePtr here = same_bits_everywhere([&] { return ImagePtr(image_duplicate(&shot.shown(3))); });
            EXPECT_GT(difference(*here, shot.shown(900)), 0.1);
            EXPECT_TRUE(same_pixels(here.get(), &shot.shown(3)));
        }
}

TEST(Dots, ProxiesAlikeAndStillUnderGrain) {
    Screened full(slopes(480, 270)), half(slopes(240, 135)), grainy(slopes(480, 270));
    const ImagePtr grain = noise(480, 270, 3, -0.01f, 0.01f);
    for (int y = 0; y < 270; ++y)
        for (int x = 0; x < 480; ++x)
            for (int c = 0; c < 3; ++c) at(*grainy.source, x, y, c) += at(*grain, x, y, c);
    for (int pattern = 0; pattern < DOTS_BLUE_NOISE; ++pattern) {
        const K7Image &large = full.pattern(pattern, 0.03, 20).shown(),
                      &small = half.pattern(pattern, 0.03, 20).shown();
        double off = 0;
        for (int y = 0; y < 135; ++y)
            for (int x = 0; x < 240; ++x) {
                const float block = at(large, 2 * x, 2 * y) + at(large, 2 * x + 1, 2 * y) +
                                    at(large, 2 * x, 2 * y + 1) + at(large, 2 * x + 1, 2 * y + 1);
                off += std::fabs(double(0.25f * block - at(small, x, y)));
            }
        EXPECT_LT(off / (240 * 135), 0.01) << pattern;
        const K7Image& rough = grainy.pattern(pattern, 0.03, 20).shown();
        int changed = 0;
        for (int y = 0; y < 270; ++y)
            for (int x = 0; x < 480; ++x) changed += std::fabs(at(large, x, y) - at(rough, x, y)) > 0.1f;
        EXPECT_LT(changed, 480 * 270 / 200) << pattern;
    }
}

}  // namespace
