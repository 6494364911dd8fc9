// The mode filter against a count of every window.
#include "imagelib/imagelib_mode.h"

#include "pictures.h"

namespace {

// Slopes under grain: windows hold ties, long runs and single values.
ImagePtr grainy(int width, int height, float grain, unsigned seed = 1) {
    const ImagePtr noise = float_noise(width, height, seed, -0.5f, 0.5f);
    return picture(width, height, [&](int x, int y, int c) {
        return 0.5f + 0.4f * std::sin(0.05f * float(x * (c + 1) + 2 * y)) + grain * at(noise, x, y, c);
    });
}

float mode_of_window(const K7Image& source, int x, int y, int c, int half_x, int half_y) {
    std::vector<int> counts(128);
    for (int dy = -half_y; dy <= half_y; ++dy)
        for (int dx = -half_x; dx <= half_x; ++dx) {
            const float sample =
                at(&source, std::clamp(x + dx, 0, source.width - 1), std::clamp(y + dy, 0, source.height - 1), c);
            const float level = std::isnan(sample) ? 0.0f : std::clamp(sample * 127.99f, 0.0f, 127.0f);
            ++counts[std::size_t(level)];
        }
    const auto best = std::max_element(counts.begin(), counts.end());
    return float(best - counts.begin()) * 0.007874015718698502f;
}

void expect_modes(const ImagePtr& source, int half_x, int half_y) {
    const ImagePtr result = same_bits_everywhere([&] {
        ImagePtr filtered = same_size(source);
        image_fill(filtered.get(), -7);
        EXPECT_TRUE(image_window_mode(source.get(), filtered.get(), half_x, half_y));
        return filtered;
    });
    const ImagePtr expected = picture(source->width, source->height, [&](int x, int y, int c) {
        return mode_of_window(*source, x, y, c, half_x, half_y);
    });
    EXPECT_TRUE(same_pixels(result, expected))
        << source->width << "x" << source->height << " halves " << half_x << ", " << half_y;
    const ImagePtr in_place = copy_of(source);
    EXPECT_TRUE(image_window_mode(in_place.get(), in_place.get(), half_x, half_y));
    EXPECT_TRUE(same_pixels(in_place, expected)) << "in place";
}

TEST(WindowMode, TakesTheModeOfEveryWindow) {
    // The last four need counters of 32 bits.
    const std::pair<int, int> halves[] = {{1, 1},   {2, 2},   {1, 15},  {15, 1},  {5, 3},   {15, 15},
                                          {22, 22}, {23, 22}, {2, 410}, {150, 5}, {1, 2047}};
    for (const float grain : {0.02f, 0.3f})
        for (const auto& [x, y] : halves) expect_modes(grainy(131, 13, grain), x, y);
    // Every width past several vectors and a strip of columns.
    for (const int half : {1, 3})
        for (int width = 1; width <= 197; width += width < 40 ? 1 : 13)
            for (const int height : {1, 2, 7}) expect_modes(grainy(width, height, 0.1f, unsigned(width)), half, half);
    const ImagePtr grain = grainy(120, 20, 0.3f);  // flat channels beside others
    expect_modes(picture(120, 20, [&](int x, int y, int c) { return c % 2 ? 0.25f * float(c) : at(grain, x, y, c); }),
                 4, 4);
    for (const float sample : {0.0f, 1.0f, 40.0f, -3.0f, ENDLESS, -ENDLESS, NOT_A_NUMBER, 127 / 127.99f, 1e-40f})
        for (const int half : {1, 5})
            expect_modes(picture(40, 9, [&](int x, int, int) { return x < 20 ? sample : 0.3f; }), half, half);
}

TEST(WindowMode, RefusesWhatItCannotFilter) {
    static_assert(WINDOW_MODE_MOST_HALF == 2047);  // the largest one above
    const ImagePtr source = grainy(30, 20, 0.2f), narrow = grainy(29, 20, 0.2f), result = same_size(source);
    EXPECT_FALSE(image_window_mode(source.get(), result.get(), 1, WINDOW_MODE_MOST_HALF + 1));
    EXPECT_FALSE(image_window_mode(narrow.get(), result.get(), 1, 1));
}

}  // namespace
