// Private to the library and its tests: pixels of 3 or 4 samples as luma, two colour differences and alpha, one at a
// time, on processor and device alike.
#pragma once

#include <cstddef>
#include <limits>
#include <type_traits>

#include "gpulib/gpulib_runtime.h"
#include "imagelib/yuv_formulas.h"

// White, as a float.
template <class Sample>
GPU_AND_CPU float yuva_white() {
    if constexpr (std::is_floating_point_v<Sample>)
        return 1.0f;
    else
        return static_cast<float>(std::numeric_limits<Sample>::max());
}

// Integers are limited to their range and truncated; what is not a number becomes 0. Floats pass as they are.
template <class Sample>
GPU_AND_CPU Sample yuva_sample(float value) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return value;
    } else {
        const float scaled = value * yuva_white<Sample>();
        if (!(scaled > 0.0f)) return 0;
        return scaled < yuva_white<Sample>() ? static_cast<Sample>(scaled) : std::numeric_limits<Sample>::max();
    }
}

// Pixel i of `count` into four planes, one after the other. Without alpha the pixel is opaque.
template <class Sample, int CHANNELS>
GPU_AND_CPU void split_pixel(float* planes, const Sample* pixels, std::size_t i, std::size_t count) {
    const Sample* const pixel = pixels + i * CHANNELS;
    const auto value = [pixel](int c) { return static_cast<float>(pixel[c]) / yuva_white<Sample>(); };
    const LumaChroma colour = luma_chroma_of(value(0), value(1), value(2));
    planes[i] = colour.y;
    planes[i + count] = colour.u;
    planes[i + 2 * count] = colour.v;
    planes[i + 3 * count] = CHANNELS == 4 ? value(CHANNELS - 1) : 1.0f;
}

template <class Sample, int CHANNELS>
GPU_AND_CPU void join_pixel(Sample* pixels, const float* planes, std::size_t i, std::size_t count) {
    Sample* const pixel = pixels + i * CHANNELS;
    const RedGreenBlue colour = red_green_blue_of({planes[i], planes[i + count], planes[i + 2 * count]});
    pixel[0] = yuva_sample<Sample>(colour.r);
    pixel[1] = yuva_sample<Sample>(colour.g);
    pixel[2] = yuva_sample<Sample>(colour.b);
    if constexpr (CHANNELS == 4) pixel[3] = yuva_sample<Sample>(planes[i + 3 * count]);
}
