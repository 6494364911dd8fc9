// Medians, modes and extremes by the kernels, which run on the processor here, and on a real device where there is one,
// against the processor's own.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

#include "effects/adjust/Clean_cuda.h"
#include "effects/adjust/WindowExtreme_cuda.h"
#include "effects/stylise/Facet_cuda.h"
#include "gpulib/fake_runtime.h"
#include "gpulib/gpulib.h"
#include "imagelib/imagelib_cuda.h"
#include "imagelib/imagelib_median.h"
#include "imagelib/imagelib_mode.h"
#include "support/images.h"

namespace {

struct Filter {
    const char* name;
    int (*on_device)(DeviceImage& source, DeviceImage& result, int x, int y, GpuStream stream);
    bool (*on_processor)(const K7Image* source, K7Image* result, int x, int y);
};

const Filter MEDIAN{"median", cuda_clean, [](const K7Image* source, K7Image* result, int x, int y) {
                        const MedianRadii radii[4] = {{x, y}, {x, y}, {x, y}, {x, y}};
                        return image_window_median(source, result, radii);
                    }};
const Filter MODE{"mode", cuda_facet, image_window_mode};

// Windows that differ between the channels, none of them in the middle, and pixels on one side of a threshold.
DeviceExtreme extreme(int width, int height, int x, int y, bool keep_above) {
    DeviceExtreme job{width, height, {}, {.threshold = 0.3f, .keep_above = keep_above}};
    for (int c = 0; c < 4; ++c)
        job.windows[c] = {.rows = std::max(y + c - 1, 1), .columns = x + 2 * c, .half = std::max(y / 2, 1)};
    return job;
}
template <auto on_device, bool maximum>
Filter extreme_filter(const char* name) {
    return {name,
            [](DeviceImage& source, DeviceImage& result, int x, int y, GpuStream stream) {
                return on_device(source, result, extreme(source.width(), source.height(), x, y, !maximum), stream);
            },
            [](const K7Image* source, K7Image* result, int x, int y) {
                const DeviceExtreme job = extreme(source->width, source->height, x, y, !maximum);
                return image_window_extreme(source, result, maximum, job.windows, &job.gate);
            }};
}

float& sample(const ImagePtr& image, int x, int y, int c) { return image_row<float>(image.get(), y)[4 * x + c]; }

// Steps and slopes under grain, above 1 in places; alpha is constant.
ImagePtr edges(int width, int height) {
    ImagePtr image = noise_image(width, height, 4, SAMPLE_F32, 5, -0.05f, 0.05f);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
                sample(image, x, y, c) += (x + y * c) % 41 < 20 ? 0.2f : 0.01f * static_cast<float>(x + 2 * y);
    for (int i = 0; i < width * height; ++i) static_cast<float*>(image->pixels)[4 * i + 3] = 0.25f;
    return image;
}

// What is no number, numbers without end, and a channel with too little contrast for bins.
ImagePtr hard(int width, int height) {
    ImagePtr image = noise_image(width, height, 4, SAMPLE_F32, 7, -0.5f, 4);
    constexpr float ENDLESS = std::numeric_limits<float>::infinity();
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            if ((x + y) % 7 == 3) sample(image, x, y, 1) = std::numeric_limits<float>::quiet_NaN();
            if ((x + y) % 9 == 4) sample(image, x, y, 2) = x % 2 ? ENDLESS : -ENDLESS;
            sample(image, x, y, 3) = 0.5f + 0.001f * sample(image, x, y, 0);
        }
    return image;
}

class WindowKernel : public testing::TestWithParam<Filter> {
  protected:
    static int run(const ImagePtr& source, const ImagePtr& result, int x, int y) {
        DeviceImage from(host_picture(source.get()), nullptr), to(host_picture(result.get()), nullptr);
        const int error = GetParam().on_device(from, to, x, y, nullptr);
        return error ? error : gpu_fetch(to);
    }
    static void expectTheProcessorsBits() {
        struct Case {
            int width, height, x, y;
        };
        const Case cases[] = {{1, 1, 1, 1},    {1, 9, 5, 5},     {17, 13, 1, 1},  {17, 13, 7, 7},
                              {17, 13, 8, 8},  {17, 13, 3, 60},  {97, 61, 1, 3},  {97, 61, 12, 9},
                              {97, 61, 30, 2}, {33, 300, 9, 10}, {7, 3, 150, 150}};
        for (const auto& [width, height, x, y] : cases)
            for (const auto make : {edges, hard}) {
                const ImagePtr source = make(width, height);
                const ImagePtr expected(image_clone_layout(source.get())), result(image_clone_layout(source.get()));
                ASSERT_TRUE(GetParam().on_processor(source.get(), expected.get(), x, y));
                ASSERT_EQ(run(source, result, x, y), GPU_DONE);
                EXPECT_TRUE(same_pixels(expected.get(), result.get()))
                    << width << " x " << height << ", window " << x << ", " << y << (make == hard ? ", hard" : "");
            }
    }
};

TEST_P(WindowKernel, HasTheProcessorsBits) {
    const FakeRuntime fake;
    expectTheProcessorsBits();
}

TEST_P(WindowKernel, HasTheProcessorsBitsOnARealDevice) {
    if (!cuda_available()) GTEST_SKIP() << "no CUDA device can be used here";
    expectTheProcessorsBits();
}

// Every call of the runtime fails once, alone or with all that follow. The runtime looks for leaks.
TEST_P(WindowKernel, AFailingCallLeavesTheHostsPixels) {
    for (const int half : {1, 9}) {
        const ImagePtr source = edges(17, 13);
        std::set<int> answers;
        bool failed = true;
        for (int call = 1; failed && call < 1000; ++call)
            for (const bool lost : {false, true}) {
                FakeRuntime fake;
                fake.fail_call(call, lost);
                const ImagePtr result(image_duplicate(source.get()));
                const int error = run(source, result, half, half);
                failed = fake.has_failed();
                answers.insert(error);
                EXPECT_TRUE(failed || error == GPU_DONE) << "call " << call;
                EXPECT_TRUE(error == GPU_DONE || same_pixels(result.get(), source.get())) << "call " << call;
            }
        EXPECT_EQ(answers, (std::set<int>{GPU_DONE, GPU_NO_ROOM_FOR_INPUT, GPU_NO_ROOM_FOR_OUTPUT, GPU_NOT_COPIED_IN,
                                          GPU_NOT_LAUNCHED, GPU_NOT_COPIED_OUT}));
    }
}

INSTANTIATE_TEST_SUITE_P(Filters, WindowKernel,
                         testing::Values(MEDIAN, MODE, extreme_filter<cuda_darken, false>("minimum"),
                                         extreme_filter<cuda_lighten, true>("maximum")),
                         [](const auto& filter) { return filter.param.name; });

}  // namespace
