// The mode filter against a count of every window, at every instruction set and several numbers of threads.
#include "imagelib/imagelib_mode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

using Sample = std::function<float(int x, int y, int c)>;

ImagePtr picture(int width, int height, const Sample& sample) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) image_row<float>(image.get(), y)[4 * x + c] = sample(x, y, c);
    return image;
}

float at(const K7Image& image, int x, int y, int c) { return image_row<float>(&image, y)[4 * x + c]; }

// Slopes under grain: windows hold ties, long runs and single values.
ImagePtr grainy(int width, int height, float grain, unsigned seed = 1) {
    const ImagePtr noise = noise_image(width, height, 4, SAMPLE_F32, seed, -0.5f, 0.5f);
    return picture(width, height, [&](int x, int y, int c) {
        return 0.5f + 0.4f * std::sin(0.05f * float(x * (c + 1) + 2 * y)) + grain * at(*noise, x, y, c);
    });
}

float mode_of_window(const K7Image& source, int x, int y, int c, int half_x, int half_y) {
    std::vector<int> counts(128);
    for (int dy = -half_y; dy <= half_y; ++dy)
        for (int dx = -half_x; dx <= half_x; ++dx) {
            const float sample =
                at(source, std::clamp(x + dx, 0, source.width - 1), std::clamp(y + dy, 0, source.height - 1), c);
            const float level = std::isnan(sample) ? 0.0f : std::clamp(sample * 127.99f, 0.0f, 127.0f);
            ++counts[std::size_t(level)];
        }
    int best = 0;
    for (int bin = 1; bin < 128; ++bin)
        if (counts[std::size_t(bin)] > counts[std::size_t(best)]) best = bin;
    return float(best) * 0.007874015718698502f;
}

ImagePtr modes(const K7Image& source, int half_x, int half_y) {
    ImagePtr result(image_clone_layout(&source));
    image_fill(result.get(), -7);
    EXPECT_TRUE(image_window_mode(&source, result.get(), half_x, half_y));
    return result;
}

// How many samples are not the mode of their window.
int mistakes(const K7Image& source, int half_x, int half_y) {
    const ImagePtr filtered = modes(source, half_x, half_y);
    const K7Image& result = *filtered;
    int count = 0;
    for (int y = 0; y < source.height; ++y)
        for (int x = 0; x < source.width; ++x)
            for (int c = 0; c < 4; ++c) count += at(result, x, y, c) != mode_of_window(source, x, y, c, half_x, half_y);
    return count;
}

TEST(WindowMode, TakesTheModeOfEveryWindow) {
    // The last three need counters of 32 bits.
    const std::pair<int, int> halves[] = {{1, 1},   {2, 2},   {1, 15},  {15, 1},  {5, 3},
                                          {15, 15}, {22, 22}, {23, 22}, {2, 410}, {150, 5}};
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        for (const float grain : {0.02f, 0.3f}) {
            const ImagePtr source = grainy(131, 23, grain);
            for (const auto& [x, y] : halves)
                EXPECT_EQ(mistakes(*source, x, y), 0)
                    << x << ", " << y << " grain " << grain << " level " << int(level);
        }
    }
    set_cpu_level_limit(CpuLevel::avx512);
}

// Every width past several vectors and a strip of columns; nothing is written behind the rows.
TEST(WindowMode, AnySize) {
    for (const int half : {1, 3})
        for (int width = 1; width <= 197; width += width < 40 ? 1 : 13)
            for (const int height : {1, 2, 7})
                EXPECT_EQ(mistakes(*grainy(width, height, 0.1f, unsigned(width)), half, half), 0)
                    << width << "x" << height << " half " << half;
}

TEST(WindowMode, SameBitsAtAnyNumberOfThreadsAndInPlace) {
    for (const int half : {1, 6, 30}) {
        const ImagePtr source = grainy(150, 53, 0.2f), one = modes(*source, half, half);
        for (const int threads : {2, 3, 7, 53}) {
            const RowThreads rows(threads);
            EXPECT_TRUE(same_pixels(one.get(), modes(*source, half, half).get())) << threads << ", half " << half;
        }
        EXPECT_TRUE(image_window_mode(source.get(), source.get(), half, half));
        EXPECT_TRUE(same_pixels(one.get(), source.get()));
    }
}

TEST(WindowMode, LevelsAndExtremes) {
    const float infinity = std::numeric_limits<float>::infinity();
    const std::pair<float, float> levels[] = {
        {0.0f, 0.0f},      {0.5f, 63.0f / 127.0f}, {1.0f, 1.0f},  {40.0f, 1.0f},      {-3.0f, 0.0f},   {infinity, 1.0f},
        {-infinity, 0.0f}, {std::nanf(""), 0.0f},  {3e38f, 1.0f}, {127 / 127.99f, 1}, {0.0078f, 0.0f}, {1e-40f, 0.0f}};
    for (const auto& [sample, level] : levels)
        for (const int half : {1, 5}) {
            // Half of the columns differ, so that the channel is not flat.
            const ImagePtr source = picture(40, 9, [v = sample](int x, int, int) { return x < 20 ? v : 0.3f; });
            EXPECT_FLOAT_EQ(at(*modes(*source, half, half), 10, 4, 1), level) << sample;
            EXPECT_EQ(mistakes(*source, half, half), 0) << sample;
        }
}

TEST(WindowMode, FlatChannelsBesideOthers) {
    const ImagePtr grain = grainy(120, 20, 0.3f);
    EXPECT_EQ(
        mistakes(*picture(120, 20, [&](int x, int y, int c) { return c % 2 ? 0.25f * float(c) : at(*grain, x, y, c); }),
                 4, 4),
        0);
}

TEST(WindowMode, TheLargestWindowAndWhatIsRefused) {
    const ImagePtr source = grainy(30, 20, 0.2f), narrow = grainy(29, 20, 0.2f),
                   result(image_clone_layout(source.get()));
    EXPECT_EQ(mistakes(*source, 1, WINDOW_MODE_MOST_HALF), 0);
    EXPECT_FALSE(image_window_mode(source.get(), result.get(), 0, 1));
    EXPECT_FALSE(image_window_mode(source.get(), result.get(), 1, WINDOW_MODE_MOST_HALF + 1));
    EXPECT_FALSE(image_window_mode(narrow.get(), result.get(), 1, 1));
    EXPECT_FALSE(image_window_mode(nullptr, result.get(), 1, 1));
}

}  // namespace
