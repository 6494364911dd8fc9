// Burn: the grade against the definition, and what must hold while a hole eats its way through the picture.
#include <algorithm>
#include <cmath>
#include <limits>

#include "effects/film/Burn.h"
#include "frames.h"

namespace {

// ---- The grade ------------------------------------------------------------------------------------------------

// Saturation through hue, saturation and value, the long way round.
void saturate(double (&c)[3], double factor) {
    const double value = std::max({c[0], c[1], c[2]}), least = std::min({c[0], c[1], c[2]}), range = value - least;
    if (range <= 0) return;
    double hue = value == c[0]   ? (c[1] - c[2]) / range
                 : value == c[1] ? 2 + (c[2] - c[0]) / range
                                 : 4 + (c[0] - c[1]) / range;
    if (hue < 0) hue += 6;
    const double s = std::clamp(range / value * factor, 0.0, 1.0);
    const int sector = std::min(int(hue), 5);
    const double f = hue - sector, p = value * (1 - s), q = value * (1 - s * f), t = value * (1 - s * (1 - f));
    const double table[6][3] = {{value, t, p}, {q, value, p}, {p, value, t},
                                {p, q, value}, {t, p, value}, {value, p, q}};
    std::copy_n(table[sector], 3, c);
}

void graded(const Burn& e, const float* pixel, double (&out)[3]) {
    double v[3];
    for (int c = 0; c < 3; ++c)
        v[c] = std::clamp(e.Brightness.value / 100 * pixel[c] + e.Contrast.value / 100, 0.0, 1.0);
    const double balance[] = {e.Red.value, e.Green.value, e.Blue.value},
                 tint[] = {e.Tred.value, e.Tgreen.value, e.Tblue.value};
    for (int c = 0; c < 3; ++c) {
        if (e.FilmType.value == Burn::BlackAndWhite) out[c] = v[0];
        if (e.FilmType.value == Burn::InColour) out[c] = std::min(1.0, v[c] * balance[c] / 100);
        if (e.FilmType.value == Burn::Tinted)
            out[c] = std::min(1.0, (0.3 * v[0] + 0.5 * v[1] + 0.2 * v[2]) * tint[c] / 100);
    }
    if (e.FilmType.value == Burn::InColour && e.Colour.value != 100) saturate(out, e.Colour.value / 100);
}

void expectGraded(Burn& e, const K7Image& source, double frame, const char* what) {
    const K7Image& result = rendered(e, source, frame);
    for (int y = 0; y < source.height; ++y)
        for (int x = 0; x < source.width; ++x) {
            const float* pixel = image_row<float>(&source, y) + 4 * x;
            double expected[3];
            graded(e, pixel, expected);
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(at(result, x, y, c), expected[c], 1e-6) << what << " at " << x << ", " << y << ", " << c;
            ASSERT_EQ(at(result, x, y, 3), pixel[3]);
        }
}

TEST(Burn, GradesTheWholeClip) {
    for (const int width : {1, 7, 64, 77}) {
        const ImagePtr source = noise_image(width, 9, 4, SAMPLE_F32, 3, 0.0F, 1.3F);
        Burn e;
        e.BurnInfo::Burn.value = false;
        expectGraded(e, *source, 1000, "default");
        for (const int film : {Burn::InColour, Burn::BlackAndWhite, Burn::Tinted}) {
            e.FilmType.value = film;
            e.Brightness.value = 160, e.Contrast.value = -20, e.Red.value = 130, e.Green.value = 80, e.Blue.value = 95;
            expectGraded(e, *source, 1000, "graded");
            for (const double saturation : {0.0, 40.0, 200.0}) {
                e.Colour.value = saturation;
                expectGraded(e, *source, 0, "saturated");
            }
            e.Contrast.value = 100;
            expectGraded(e, *source, 0, "lifted");
        }
    }
}

TEST(Burn, DefaultLookChangesNothingThatIsInRange) {
    const ImagePtr source = noise_image(50, 20, 4, SAMPLE_F32);
    Burn e;
    for (const double frame : {-5.0, 0.0, 9.0, 10.0})
        EXPECT_TRUE(same_pixels(&rendered(e, *source, frame), source.get()));
    e.BurnInfo::Burn.value = false;
    EXPECT_TRUE(same_pixels(&rendered(e, *source, 5000), source.get()));
}

// ---- The burn -------------------------------------------------------------------------------------------------

void expectFlat(const K7Image& image, float colour, float alpha) {
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            for (int c = 0; c < 4; ++c) ASSERT_EQ(at(image, x, y, c), c < 3 ? colour : alpha) << x << ", " << y;
}

TEST(Burn, LeavesNothingFromItsLastFrameOn) {
    for (const auto& [width, height] : {std::pair{160, 90}, {40, 200}, {1, 1}, {2000, 3}}) {
        const ImagePtr source = noise_image(width, height, 4, SAMPLE_F32);
        for (int corner = Burn::BottomLeft; corner <= Burn::TopLeft; ++corner) {
            Burn e;
            e.Direction.value = corner, e.Starts.value = 20, e.Duration.value = 7;
            for (const double frame : {27.0, 27.5, 28.0, 1e9}) {
                e.BurnTo.value = Burn::White;
                expectFlat(rendered(e, *source, frame), 1, 1);
                e.BurnTo.value = Burn::Black;
                expectFlat(rendered(e, *source, frame), 0, 0);
            }
        }
    }
}

TEST(Burn, EatsInwardsFromItsCorner) {
    const int width = 320, height = 180;
    const ImagePtr source = flat(width, height, 0.5F, 0.4F, 0.3F);
    for (int corner = Burn::BottomLeft; corner <= Burn::TopLeft; ++corner) {
        const int x0 = corner == Burn::BottomRight || corner == Burn::TopRight ? width - 1 : 0;
        const int y0 = corner == Burn::TopRight || corner == Burn::TopLeft ? height - 1 : 0;
        Burn e;
        e.Direction.value = corner, e.BurnTo.value = Burn::Black, e.Duration.value = 80;
        std::vector<bool> gone(std::size_t(width * height)), touched(gone);
        int lastGone = 0;
        for (int frame = 10; frame <= 90; ++frame) {
            const K7Image& now = rendered(e, *source, frame);
            int count = 0;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const std::size_t i = std::size_t(y * width + x);
                    const bool whole = 0 == std::memcmp(image_row<float>(&now, y) + 4 * x,
                                                        image_row<float>(source.get(), y) + 4 * x, 16);
                    const bool hole = at(now, x, y, 3) == 0;
                    ASSERT_FALSE(touched[i] && whole)
                        << "film that healed at " << x << ", " << y << ", frame " << frame;
                    ASSERT_FALSE(gone[i] && !hole) << "film that grew at " << x << ", " << y << ", frame " << frame;
                    touched[i] = !whole, gone[i] = hole;
                    count += hole;
                }
            EXPECT_GE(count, lastGone);
            lastGone = count;
            if (frame == 50) {
                EXPECT_EQ(at(now, x0, y0, 3), 0) << "corner " << corner;
                EXPECT_FALSE(touched[std::size_t((height - 1 - y0) * width + width - 1 - x0)]) << "corner " << corner;
                EXPECT_GT(count, 4000);
                EXPECT_LT(count, width * height * 2 / 3);
            }
        }
        EXPECT_EQ(lastGone, width * height);
    }
}

TEST(Burn, GlowsAtItsRim) {
    const ImagePtr source = flat(320, 180, 0.1F, 0.1F, 0.1F);
    for (const int to : {Burn::Black, Burn::White}) {
        Burn e;
        e.BurnTo.value = to;
        const K7Image& now = rendered(e, *source, 15);
        int embers = 0;
        for (int y = 0; y < 180; ++y)
            for (int x = 0; x < 320; ++x) embers += at(now, x, y, 0) > 0.6F && at(now, x, y, 2) < 0.3F;
        EXPECT_GT(embers, 500) << to;
        // On black and white stock everything stays grey.
        e.FilmType.value = Burn::BlackAndWhite;
        const K7Image& grey = rendered(e, *source, 15);
        for (int y = 0; y < 180; ++y)
            for (int x = 0; x < 320; ++x) {
                ASSERT_EQ(at(grey, x, y, 0), at(grey, x, y, 1));
                ASSERT_EQ(at(grey, x, y, 0), at(grey, x, y, 2));
            }
    }
}

// Frames of a burn follow each other without jumps: with ten times the frames the steps are about a tenth.
TEST(Burn, IsSmoothInTime) {
    const ImagePtr source = flat(240, 135, 0.5F, 0.5F, 0.5F);
    const auto largestStep = [&](int duration) {
        Burn e;
        e.Duration.value = duration;
        double worst = 0;
        ImagePtr before(image_duplicate(source.get()));
        for (int frame = 0; frame <= duration + 1; ++frame) {
            const K7Image& now = rendered(e, *source, e.Starts.value + frame);
            double sum = 0;
            for (int y = 0; y < 135; ++y)
                for (int x = 0; x < 240; ++x) sum += std::fabs(at(now, x, y, 0) - at(*before, x, y, 0));
            worst = std::max(worst, sum / (240 * 135));
            before.reset(image_duplicate(&now));
        }
        return worst;
    };
    const double coarse = largestStep(15), fine = largestStep(150);
    EXPECT_LT(coarse, 0.15);
    EXPECT_LT(fine, 0.02);
}

TEST(Burn, HasTheSameBitsOnEveryProcessorAndNumberOfThreads) {
    const ImagePtr source = noise_image(203, 117, 4, SAMPLE_F32, 5, 0.0F, 1.2F);
    Burn e;
    e.Colour.value = 140;
    expectSameBitsEverywhere(e, *source, 16);
    e.BurnTo.value = Burn::Black, e.Direction.value = Burn::TopRight, e.FilmType.value = Burn::Tinted;
    expectSameBitsEverywhere(e, *source, 14);
}

TEST(Burn, KnowsNothingOfFramesBefore) {
    Burn kept;
    for (const auto& [width, height, frame] :
         {std::tuple{100, 60, 15.0}, {200, 30, 17.0}, {100, 60, 13.0}, {99, 61, 25.0}}) {
        const ImagePtr source = noise_image(width, height, 4, SAMPLE_F32);
        Burn fresh;
        EXPECT_TRUE(same_pixels(&rendered(kept, *source, frame), &rendered(fresh, *source, frame)));
    }
}

TEST(Burn, SurvivesAnything) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 1}, {1, 90}, {33, 5}}) {
        const ImagePtr source = noise_image(width, height, 4, SAMPLE_F32);
        image_row<float>(source.get(), 0)[0] = std::numeric_limits<float>::infinity();
        for (const double value : {1e30, -1e30, -7.0})
            for (const int film : {1, 2, 3}) {
                Burn e;
                for (ControlK7* control : e.controls())
                    if (auto* number = dynamic_cast<FloatControlK7*>(control)) number->value = value;
                e.FilmType.value = film, e.Direction.value = film, e.BurnTo.value = film;
                expectLight(rendered(e, *source, 15), "grade", value);
                expectLight(rendered(e, *source, value * 1e-21), "frame", value);
                e.Duration.value = -20, e.Starts.value = -1000000000;
                expectLight(rendered(e, *source, 15), "duration", value);
            }
    }
}

}  // namespace
