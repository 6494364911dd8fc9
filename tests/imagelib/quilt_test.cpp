// Quilting: every pixel comes from the sample, cuts are minimal, structure goes on, and what is kept is kept.
#include "imagelib/imagelib_quilt.h"

#include <cmath>

#include "imagelib/imagelib_complete.h"
#include "imagelib/quilt_cut.h"
#include "pictures.h"

namespace {

float& at(const ImagePtr& image, int x, int y) { return at(image, x, y, 0); }
ImagePtr noise(int width, int height, unsigned seed, float low = 0.0F, float high = 1.0F) {
    return noise_image(width, height, 4, SAMPLE_F32, seed, low, high);
}

struct Quilt {
    ImagePtr sample, canvas, state;
    QuiltTask task;
    Quilt(ImagePtr from, int width, int height)
        : sample(std::move(from)),
          canvas(make_image(width, height, 4, SAMPLE_F32)),
          state(make_image(width, height, 1, SAMPLE_U8)) {
        task.sample = sample.get(), task.canvas = canvas.get(), task.state = state.get();
        task.from = {0, 0, sample->width, sample->height};
        set_state([](int, int) { return QUILT_EMPTY; });
    }
    template <class Kind>
    void set_state(Kind kind) {
        for (int y = 0; y < state->height; ++y)
            for (int x = 0; x < state->width; ++x) image_row<std::uint8_t>(state.get(), y)[x] = kind(x, y);
    }
};

float waves(int x, int y) {
    return 0.5F + 0.25F * std::sin(float(x) * 0.4F) * std::sin(float(y) * 0.23F) +
           0.2F * std::sin(float(x + 2 * y) * .1F);
}

// The cheapest of all ways through a strip from below to above, each row's step at most one cell aside.
TEST(Quilt, CutsWhereItCostsLeast) {
    QuiltCut cut;
    for (unsigned seed = 1; seed < 6; ++seed) {
        const int width = 9, height = 12;
        const ImagePtr costs = noise(width, height, seed);
        cut.begin(width, height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                cut.cost(x, y) = at(costs, x, y);
                cut.role(x, y) = x == 0 ? QuiltCut::KEPT : (x == width - 1 ? QuiltCut::REPLACED : QuiltCut::FREE);
            }
        cut.solve();
        const auto through = [&](int x, int y, int u, int v) { return double(at(costs, x, y) + at(costs, u, v)); };
        double found = 0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                if (x + 1 < width && cut.replaced(x, y) != cut.replaced(x + 1, y)) found += through(x, y, x + 1, y);
                if (y + 1 < height && cut.replaced(x, y) != cut.replaced(x, y + 1)) found += through(x, y, x, y + 1);
            }
        EXPECT_FALSE(cut.replaced(0, 5));
        EXPECT_TRUE(cut.replaced(width - 1, 5));
        // Between columns: best[x] is the least of all cuts that pass the row between x and x + 1, steps in between
        // priced as the rows' cells that they part.
        std::vector<double> best(width - 1, 0.0);
        for (int y = 0; y < height; ++y) {
            std::vector<double> next(width - 1, 1e9);
            for (int from = 0; from < width - 1; ++from)
                for (int to = 0; to < width - 1; ++to) {
                    double price = best[std::size_t(from)];
                    for (int x = std::min(from, to) + 1; y > 0 && x <= std::max(from, to); ++x)
                        price += through(x, y - 1, x, y);
                    next[std::size_t(to)] = std::min(next[std::size_t(to)], price + through(to, y, to + 1, y));
                }
            best = next;
        }
        // A grid's cut may also turn back, so that it is at most this one; whole units cost it a little.
        EXPECT_LT(found, *std::min_element(best.begin(), best.end()) + 0.02);
    }
}

TEST(Quilt, FillsFromTheSampleTheSameEverywhere) {
    for (const bool flips : {false, true})
        for (const bool bond : {false, true}) {
            const ImagePtr result = same_bits_everywhere([&] {
                Quilt quilt(noise(90, 70, 3, 0.2F, 0.7F), 210, 140);
                quilt.task.patch_width = 30, quilt.task.patch_height = 24;
                quilt.task.overlap_x = 12, quilt.task.overlap_y = 9;
                quilt.task.flip_x = quilt.task.flip_y = flips, quilt.task.bond = bond;
                EXPECT_TRUE(image_quilt(quilt.task));
                return std::move(quilt.canvas);
            });
            for (int y = 0; y < 140; ++y)
                for (int x = 0; x < 210; ++x)
                    for (int c = 0; c < 4; ++c) {
                        ASSERT_GE(at(result, x, y, c), 0.2F) << x << ", " << y;
                        ASSERT_LE(at(result, x, y, c), 0.7F) << x << ", " << y;
                    }
        }
}

TEST(Quilt, SeamsAreHardlySteps) {
    Quilt quilt(picture(160, 160, [](int x, int y, int) { return waves(x, y); }), 320, 240);
    quilt.task.patch_width = quilt.task.patch_height = 48;
    quilt.task.overlap_x = quilt.task.overlap_y = 19;
    ASSERT_TRUE(image_quilt(quilt.task));
    // Neighbours that differ more than any in the sample.
    const auto steps = [](const ImagePtr& image, float most) {
        int count = 0;
        for (int y = 0; y + 1 < image->height; ++y)
            for (int x = 0; x + 1 < image->width; ++x)
                count += std::fabs(at(image, x + 1, y) - at(image, x, y)) > most ||
                         std::fabs(at(image, x, y + 1) - at(image, x, y)) > most;
        return count;
    };
    float most = 0.0F;
    while (steps(quilt.sample, most) > 0) most += 0.005F;
    const int cut = steps(quilt.canvas, most);
    quilt.set_state([](int, int) { return QUILT_EMPTY; });
    quilt.task.straight = true;
    ASSERT_TRUE(image_quilt(quilt.task));
    EXPECT_LT(cut, steps(quilt.canvas, most) / 2);  // of what unmatched patches give
}

TEST(Quilt, KeepsWhatIsFixedAndTakesNothingUnusable) {
    Quilt quilt(picture(120, 120, [](int x, int y, int) { return x < 60 ? waves(x, y) : 3.0F; }), 120, 120);
    const ImagePtr unusable = make_image(120, 120, 1, SAMPLE_U8);
    for (int y = 0; y < 120; ++y)
        for (int x = 60; x < 120; ++x) image_row<std::uint8_t>(unusable.get(), y)[x] = 1;
    quilt.task.unusable = unusable.get();
    quilt.task.patch_width = quilt.task.patch_height = 20;
    quilt.task.overlap_x = quilt.task.overlap_y = 8;
    const auto hole = [](int x, int y) { return std::hypot(x - 50, y - 60) < 30; };
    quilt.set_state([&](int x, int y) { return hole(x, y) ? QUILT_EMPTY : QUILT_FIXED; });
    ASSERT_TRUE(image_quilt(quilt.task));
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 120; ++x) {
            if (hole(x, y)) {
                ASSERT_GT(at(quilt.canvas, x, y), 0.0F);
                ASSERT_LT(at(quilt.canvas, x, y), 1.0F);
            } else {
                ASSERT_EQ(at(quilt.canvas, x, y), 0.0F);
            }
        }
    quilt.task.from = {60, 0, 120, 120};
    EXPECT_FALSE(image_quilt_has_room(quilt.task));
    EXPECT_FALSE(image_quilt(quilt.task));
    quilt.task.from = {-1, 0, 20, 20};
    EXPECT_FALSE(image_quilt(quilt.task));
    EXPECT_FALSE(image_quilt({}));
}

// Stripes that lean, under a light that falls off to one side; what is given is a box around the hole.
struct Torn {
    ImagePtr image, flags;
};
float stripes(int x, int y) { return (((x + y) / 12) % 2 == 0 ? 0.2F : 0.7F) + 0.001F * static_cast<float>(x); }
Torn torn(int left, int bottom) {
    Torn result{picture(160, 130, [&](int x, int y, int) { return stripes(x - left, y - bottom); }),
                make_image(160, 130, 1, SAMPLE_U8)};
    for (int y = 0; y < 130; ++y)
        for (int x = 0; x < 160; ++x) {
            const int u = x - left, v = y - bottom;
            std::uint8_t& flag = image_row<std::uint8_t>(result.flags.get(), y)[x];
            if (u < 0 || v < 0 || u >= 140 || v >= 112) flag = COMPLETE_NO_SOURCE;
            if (u < 50 || v < 40 || u >= 90 || v >= 72) continue;
            flag = COMPLETE_HOLE;
            for (int c = 0; c < 3; ++c) at(result.image, x, y, c) = 1.5F;
        }
    return result;
}
bool complete(const Torn& torn) {
    return image_complete({.picture = torn.image.get(), .flags = torn.flags.get(), .cell = 4, .seed = 5});
}

TEST(Completion, ContinuesStripesAndLight) {
    const ImagePtr result = same_bits_everywhere([] {
        Torn filled = torn(3, 2);
        EXPECT_TRUE(complete(filled));
        return std::move(filled.image);
    });
    double wrong = 0, light = 0;
    for (int y = 42; y < 74; ++y)
        for (int x = 53; x < 93; ++x) {
            const double off = at(result, x, y) - stripes(x - 3, y - 2);
            wrong += std::fabs(off) > 0.1, light += off;
        }
    EXPECT_LT(wrong / (32 * 40), 0.06);
    EXPECT_NEAR(light / (32 * 40), 0.0, 0.015);
    for (int x = 0; x < 160; ++x) ASSERT_EQ(at(result, x, 30), stripes(x - 3, 28));
}

// A plate that pans below a hole that is tracked keeps every piece.
TEST(Completion, MovesWithThePicture) {
    const Torn first = torn(3, 2), later = torn(8, 5);
    ASSERT_TRUE(complete(first) && complete(later));
    for (int y = 42; y < 74; ++y)
        for (int x = 53; x < 93; ++x) ASSERT_EQ(at(first.image, x, y), at(later.image, x + 5, y + 3)) << x << ' ' << y;
}

TEST(Completion, RefusesWhatCanNotBeFilled) {
    const Torn whole = torn(0, 0);
    for (int y = 0; y < 130; ++y) std::fill_n(image_row<std::uint8_t>(whole.flags.get(), y), 160, COMPLETE_HOLE);
    const ImagePtr before(image_duplicate(whole.image.get()));
    EXPECT_FALSE(complete(whole));
    EXPECT_TRUE(same_pixels(before.get(), whole.image.get()));
    EXPECT_FALSE(image_complete({}));
    EXPECT_FALSE(image_complete({.picture = whole.image.get(), .flags = whole.image.get()}));
}

}  // namespace
