#include "imagelib/imagelib_morphology.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

namespace {

struct Windows {
    WindowSize of[4];
};

Windows same_for_all(WindowSize size) { return {{size, size, size, size}}; }

// The definition: start from the pixel, visit every place of the window that lies inside.
ImagePtr reference(const K7Image* source, bool maximum, const Windows& windows, const ExtremeGate* gate) {
    ImagePtr result(image_duplicate(source));
    for (int y = 0; y < source->height; ++y)
        for (int x = 0; x < source->width; ++x) {
            const float* pixel = image_row<float>(source, y) + x * 4;
            const float luminance = 0.3f * pixel[0] + 0.5f * pixel[1] + 0.2f * pixel[2];
            if (gate && (gate->keep_above ? luminance > gate->threshold : luminance < gate->threshold)) continue;
            for (int c = 0; c < 4; ++c) {
                const WindowSize& window = windows.of[c];
                if (window.rows < 2) continue;
                float found = pixel[c];
                for (int v = std::max(0, y - window.half);
                     v < std::min<int>(y - window.half + window.rows, source->height); ++v)
                    for (int u = std::max(0, x - window.half);
                         u < std::min<int>(x - window.half + window.columns, source->width); ++u) {
                        const float other = image_row<float>(source, v)[u * 4 + c];
                        found = maximum ? std::max(found, other) : std::min(found, other);
                    }
                image_row<float>(result.get(), y)[x * 4 + c] = found;
            }
        }
    return result;
}

void expect_reference(const K7Image* source, const Windows& windows, const char* what) {
    const ExtremeGate gates[] = {{0.5f, true}, {0.45f, false}};
    for (bool maximum : {false, true})
        for (const ExtremeGate* gate : {static_cast<const ExtremeGate*>(nullptr), &gates[0], &gates[1]}) {
            const ImagePtr result = noise_image(source->width, source->height, 4, SAMPLE_F32, 99);
            ASSERT_TRUE(image_window_extreme(source, result.get(), maximum, windows.of, gate));
            EXPECT_TRUE(same_pixels(result.get(), reference(source, maximum, windows, gate).get()))
                << what << " " << source->width << "x" << source->height << " rows " << windows.of[0].rows
                << " columns " << windows.of[0].columns << " half " << windows.of[0].half << (maximum ? " max" : " min")
                << (gate ? " gated" : "");
        }
}

struct LevelReset {
    ~LevelReset() { set_cpu_level_limit(CpuLevel::avx512); }
};

TEST(WindowExtreme, EqualsTheDefinition) {
    const LevelReset reset;
    const WindowSize sizes[] = {{2, 2, 1}, {3, 3, 1},  {5, 5, 2},   {4, 4, 2},    {9, 9, 4},   {17, 17, 8}, {5, 7, 2},
                                {9, 3, 4}, {11, 5, 5}, {16, 33, 8}, {59, 59, 29}, {21, 1, 10}, {2, 200, 1}};
    const int shapes[][2] = {{1, 1}, {2, 3}, {3, 1}, {1, 9}, {5, 4}, {17, 13}, {33, 6}, {66, 31}};
    for (CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        set_cpu_level_limit(level);
        for (const auto& shape : shapes) {
            const ImagePtr source = noise_image(shape[0], shape[1], 4, SAMPLE_F32, 3, -0.2f, 1.2f);
            for (const WindowSize& size : sizes) expect_reference(source.get(), same_for_all(size), "");
        }
    }
}

TEST(WindowExtreme, SeveralStripsAndAnyThreadCount) {
    const ImagePtr source = noise_image(1301, 40, 4, SAMPLE_F32);
    const Windows windows = same_for_all({7, 9, 3});
    const ImagePtr expected = reference(source.get(), true, windows, nullptr);
    for (int count : {1, 2, 3, 7}) {
        const RowThreads threads(count);
        const ImagePtr result = make_image(1301, 40, 4, SAMPLE_F32);
        ASSERT_TRUE(image_window_extreme(source.get(), result.get(), true, windows.of));
        EXPECT_TRUE(same_pixels(result.get(), expected.get())) << count;
    }
    const ImagePtr in_place(image_duplicate(source.get()));
    const RowThreads threads(3);
    ASSERT_TRUE(image_window_extreme(in_place.get(), in_place.get(), true, windows.of));
    EXPECT_TRUE(same_pixels(in_place.get(), expected.get()));
}

TEST(WindowExtreme, PicturesTooLargeForTheCaches) {
    for (int width : {1100, 1101})
        expect_reference(noise_image(width, 520, 4, SAMPLE_F32).get(), same_for_all({3, 5, 1}), "large");
}

TEST(WindowExtreme, ChannelsWithWindowsOfTheirOwn) {
    const ImagePtr source = noise_image(45, 23, 4, SAMPLE_F32, 8);
    expect_reference(source.get(), {{{5, 5, 2}, {1, 1, 1}, {13, 9, 6}, {5, 5, 2}}}, "mixed");
    expect_reference(source.get(), {{{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {3, 3, 1}}}, "alpha only");
    expect_reference(source.get(), same_for_all({1, 9, 1}), "single rows copy");
}

TEST(WindowExtreme, HugeAndRemoteWindows) {
    const ImagePtr source = noise_image(12, 9, 4, SAMPLE_F32, 4);
    constexpr int huge = std::numeric_limits<int>::max();
    const ImagePtr result = make_image(12, 9, 4, SAMPLE_F32);
    const Windows everything = same_for_all({huge, huge, huge / 2});
    ASSERT_TRUE(image_window_extreme(source.get(), result.get(), false, everything.of));
    image_compute_minmax(source.get());
    float least = 1.0f;
    for (int c = 0; c < 4; ++c) least = std::min(least, image_get_sample(result.get(), 11, 0, c));
    EXPECT_EQ(least, source->min_value);
    expect_reference(source.get(), same_for_all({41, 3, 20}), "all columns left of the image");
    expect_reference(source.get(), same_for_all({9, 2, 4}), "columns apart from the pixel");
}

TEST(WindowExtreme, BadPixelsStayAmongThemselvesAndMisfitsAreRefused) {
    ImagePtr source = make_image(20, 20, 4, SAMPLE_F32), result = make_image(20, 20, 4, SAMPLE_F32);
    image_fill(source.get(), 0.5f);
    image_row<float>(source.get(), 10)[40] = std::numeric_limits<float>::quiet_NaN();
    const Windows windows = same_for_all({5, 5, 2});
    for (bool maximum : {false, true}) {
        ASSERT_TRUE(image_window_extreme(source.get(), result.get(), maximum, windows.of));
        for (int i = 0; i < 20 * 20 * 4; ++i) ASSERT_EQ(static_cast<float*>(result->pixels)[i], 0.5f);
    }
    const ImagePtr bytes = make_image(20, 20, 4, SAMPLE_U8), other = make_image(21, 20, 4, SAMPLE_F32);
    EXPECT_FALSE(image_window_extreme(bytes.get(), bytes.get(), true, windows.of));
    EXPECT_FALSE(image_window_extreme(source.get(), other.get(), true, windows.of));
    EXPECT_FALSE(image_window_extreme(source.get(), nullptr, true, windows.of));
    EXPECT_FALSE(image_window_extreme(source.get(), result.get(), true, nullptr));
}

}  // namespace
