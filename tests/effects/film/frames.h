// Pictures for the tests of the film kit, and renders under every processor level and several numbers of threads.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "k7pi_baselib/cpu.h"
#include "support/images.h"
#include "support/row_threads.h"

inline ImagePtr picture(int width, int height, const std::function<float(int x, int y, int c)>& sample) {
    ImagePtr image = make_image(width, height, 4, SAMPLE_F32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c) image_row<float>(image.get(), y)[4 * x + c] = sample(x, y, c);
    return image;
}
inline ImagePtr flat(int width, int height, float r, float g, float b, float a = 1.0F) {
    return picture(width, height, [=](int, int, int c) { return c == 0 ? r : c == 1 ? g : c == 2 ? b : a; });
}
inline float at(const K7Image& image, int x, int y, int c) { return image_row<float>(&image, y)[4 * x + c]; }

// The effect's picture of a source; the output begins as a copy of it, as in a host.
template <class EffectClass>
const K7Image& rendered(EffectClass& effect, const K7Image& source, double frame = 0.0) {
    effect.input.image.reset(image_duplicate(&source));
    effect.output.image.reset(image_duplicate(&source));
    effect.currentFrame = frame;
    effect.ProcessFrame();
    return *effect.output.image;
}

// The bits are those of one thread without vector extensions, whatever the processor and the threads.
template <class EffectClass>
void expectSameBitsEverywhere(EffectClass& effect, const K7Image& source, double frame) {
    set_cpu_level_limit(CpuLevel::baseline);
    const ImagePtr expected(image_duplicate(&rendered(effect, source, frame)));
    ASSERT_FALSE(same_pixels(expected.get(), &source)) << "nothing happens here";
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512})
        for (const int threads : {1, 2, 5}) {
            set_cpu_level_limit(level);
            const RowThreads rows(threads);
            EXPECT_TRUE(same_pixels(expected.get(), &rendered(effect, source, frame)))
                << "level " << int(level) << ", " << threads << " threads";
        }
    set_cpu_level_limit(CpuLevel::avx512);
}

// Everything a render may leave: numbers, and none below 0.
inline void expectLight(const K7Image& image, const char* what, double value) {
    for (int y = 0; y < image.height; ++y)
        for (int i = 0; i < 4 * image.width; ++i)
            ASSERT_GE(image_row<float>(&image, y)[i], 0.0F) << what << " " << value << " at " << i / 4 << ", " << y;
}
