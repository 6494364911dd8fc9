#include "imagelib/imagelib_morphology.h"

#include "pictures.h"

namespace {

struct Windows {
    WindowSize of[4];
};

Windows same_for_all(WindowSize size) { return {{size, size, size, size}}; }

// The definition: start from the pixel, visit every place of the window that lies inside.
ImagePtr reference(const ImagePtr& source, bool maximum, const Windows& windows, const ExtremeGate* gate) {
    return picture(source->width, source->height, [&](int x, int y, int c) {
        const float pixel = at(source, x, y, c);
        const float luminance = 0.3f * at(source, x, y, 0) + 0.5f * at(source, x, y, 1) + 0.2f * at(source, x, y, 2);
        if (gate && (gate->keep_above ? luminance > gate->threshold : luminance < gate->threshold)) return pixel;
        const WindowSize& window = windows.of[c];
        if (window.rows < 2) return pixel;
        float found = pixel;
        const int top = std::min<int>(y - window.half + window.rows, source->height);
        const int right = std::min<int>(x - window.half + window.columns, source->width);
        for (int v = std::max(0, y - window.half); v < top; ++v)
            for (int u = std::max(0, x - window.half); u < right; ++u)
                found = maximum ? std::max(found, at(source, u, v, c)) : std::min(found, at(source, u, v, c));
        return found;
    });
}

void expect_reference(const ImagePtr& source, const Windows& windows, const char* what) {
    const ExtremeGate gates[] = {{0.5f, true}, {0.45f, false}};
    for (bool maximum : {false, true})
        for (const ExtremeGate* gate : {static_cast<const ExtremeGate*>(nullptr), &gates[0], &gates[1]}) {
            const ImagePtr result = same_bits_everywhere([&] {
                ImagePtr extreme = float_noise(source->width, source->height, 99);
                EXPECT_TRUE(image_window_extreme(source.get(), extreme.get(), maximum, windows.of, gate));
                return extreme;
            });
            EXPECT_TRUE(same_pixels(result, reference(source, maximum, windows, gate)))
                << what << " " << source->width << "x" << source->height << " rows " << windows.of[0].rows
                << " columns " << windows.of[0].columns << " half " << windows.of[0].half << (maximum ? " max" : " min")
                << (gate ? " gated" : "");
        }
}

TEST(WindowExtreme, EqualsTheDefinition) {
    const WindowSize sizes[] = {{2, 2, 1}, {3, 3, 1},  {5, 5, 2},   {4, 4, 2},    {9, 9, 4},   {17, 17, 8}, {5, 7, 2},
                                {9, 3, 4}, {11, 5, 5}, {16, 33, 8}, {59, 59, 29}, {21, 1, 10}, {2, 200, 1}};
    const int shapes[][2] = {{1, 1}, {2, 3}, {3, 1}, {1, 9}, {5, 4}, {17, 13}, {33, 6}, {66, 31}};
    for (const auto& [width, height] : shapes)
        for (const WindowSize& size : sizes) expect_reference(float_noise(width, height, 3), same_for_all(size), "");
    const ImagePtr source = float_noise(45, 23, 8);
    expect_reference(source, {{{5, 5, 2}, {1, 1, 1}, {13, 9, 6}, {5, 5, 2}}}, "mixed");
    expect_reference(source, {{{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {3, 3, 1}}}, "alpha only");
    expect_reference(source, same_for_all({1, 9, 1}), "single rows copy");
    expect_reference(float_noise(12, 9), same_for_all({41, 3, 20}), "all columns left of the image");
    expect_reference(float_noise(12, 9), same_for_all({9, 2, 4}), "columns apart from the pixel");
}

TEST(WindowExtreme, StripsLargePicturesAndInPlace) {
    for (const auto& [width, height, rows] : {std::tuple{1301, 40, 7}, {1101, 520, 3}}) {  // the second past the caches
        const ImagePtr source = float_noise(width, height), in_place = copy_of(source), result = same_size(source);
        const Windows windows = same_for_all({rows, 9, rows / 2});
        const ImagePtr expected = reference(source, true, windows, nullptr);
        for (const int threads : {1, 3}) {
            const RowThreads dispatcher(threads);
            ASSERT_TRUE(image_window_extreme(source.get(), result.get(), true, windows.of));
            EXPECT_TRUE(same_pixels(result, expected)) << width << " on " << threads;
        }
        const RowThreads dispatcher(3);
        ASSERT_TRUE(image_window_extreme(in_place.get(), in_place.get(), true, windows.of));
        EXPECT_TRUE(same_pixels(in_place, expected));
    }
}

TEST(WindowExtreme, HugeWindowsBadPixelsAndMisfits) {
    constexpr int HUGE_SIZE = std::numeric_limits<int>::max();
    const ImagePtr source =
        picture(20, 20, [](int x, int y, int c) { return x == 10 && y == 10 && !c ? NOT_A_NUMBER : 0.5f; });
    const ImagePtr result = same_size(source), flat = picture(20, 20, [](int, int, int) { return 0.5f; });
    const Windows windows = same_for_all({5, 5, 2}), everything = same_for_all({HUGE_SIZE, HUGE_SIZE, HUGE_SIZE / 2});
    for (const Windows& size : {windows, everything})
        for (const bool maximum : {false, true}) {
            ASSERT_TRUE(image_window_extreme(source.get(), result.get(), maximum, size.of));
            EXPECT_TRUE(same_pixels(result, flat));
        }
    at(source, 3, 4, 2) = -6;
    ASSERT_TRUE(image_window_extreme(source.get(), result.get(), false, everything.of));
    EXPECT_EQ(at(result, 19, 0, 2), -6);
    EXPECT_FALSE(image_window_extreme(source.get(), float_noise(21, 20).get(), true, windows.of));
}

}  // namespace
