// Private to the image library: the algebra of Porter and Duff (Compositing Digital Images, SIGGRAPH 1984) for single
// pixels, for rows on the processor and for kernels.
#pragma once

#include "gpulib/gpulib_runtime.h"
#include "imagelib/imagelib_composite.h"

namespace compositing {

GPU_AND_CPU float limit_to_unit(float value) {
    const float positive = value > 0.0f ? value : 0.0f;  // NaN is 0
    return positive < 1.0f ? positive : 1.0f;
}

// Every mode is A * weight of A + B * weight of B, with weights made of the two alphas.
template <int mode>
GPU_AND_CPU float weight_of_a(float, float alpha_b) {
    if constexpr (mode == COMPOSITE_OVER) return 1.0f;
    if constexpr (mode == COMPOSITE_IN || mode == COMPOSITE_ATOP) return alpha_b;
    if constexpr (mode == COMPOSITE_STENCIL_IN || mode == COMPOSITE_STENCIL_OUT) return 0.0f;
    return 1.0f - alpha_b;
}

template <int mode>
GPU_AND_CPU float weight_of_b(float alpha_a, float) {
    if constexpr (mode == COMPOSITE_UNDER) return 1.0f;
    if constexpr (mode == COMPOSITE_STENCIL_IN || mode == COMPOSITE_REVERSE_ATOP) return alpha_a;
    if constexpr (mode == COMPOSITE_IN || mode == COMPOSITE_OUT) return 0.0f;
    return 1.0f - alpha_a;
}

// The terms that a mode lacks are left out, not multiplied by zero: an infinite sample must not make a NaN of them.
template <int mode>
GPU_AND_CPU float combine(float a, float weight_a, float b, float weight_b) {
    if constexpr (mode == COMPOSITE_OVER) return a + b * weight_b;
    if constexpr (mode == COMPOSITE_UNDER) return b + a * weight_a;
    if constexpr (mode == COMPOSITE_IN || mode == COMPOSITE_OUT) return a * weight_a;
    if constexpr (mode == COMPOSITE_STENCIL_IN || mode == COMPOSITE_STENCIL_OUT) return b * weight_b;
    return a * weight_a + b * weight_b;
}

// One pixel of `channels` samples, of which the fourth is alpha, in units of which `unit` makes 0 to 1. Results go
// channel by channel to store(channel, value).
template <int mode, class T, class Store>
GPU_AND_CPU void blend_premultiplied(const T* a, const T* b, int channels, float unit, const Store& store) {
    const float alpha_a = limit_to_unit(static_cast<float>(a[3]) * unit);
    const float alpha_b = limit_to_unit(static_cast<float>(b[3]) * unit);
    const float of_a = weight_of_a<mode>(alpha_a, alpha_b), of_b = weight_of_b<mode>(alpha_a, alpha_b);
    for (int c = 0; c < channels; ++c)
        store(c, combine<mode>(static_cast<float>(a[c]), of_a, static_cast<float>(b[c]), of_b));
}

// Where the resulting alpha is next to nothing the colours are multiplied by it, so that they vanish with it.
template <int mode, class T, class Store>
GPU_AND_CPU void blend_straight(const T* a, const T* b, int channels, float unit, const Store& store) {
    const float raw_a = static_cast<float>(a[3]), raw_b = static_cast<float>(b[3]);
    const float alpha_a = limit_to_unit(raw_a * unit), alpha_b = limit_to_unit(raw_b * unit);
    const float of_a = weight_of_a<mode>(alpha_a, alpha_b), of_b = weight_of_b<mode>(alpha_a, alpha_b);
    const float raw_out = combine<mode>(raw_a, of_a, raw_b, of_b), alpha_out = raw_out * unit;
    const float factor = alpha_out > 0.000001f ? 1.0f / alpha_out : alpha_out;
    for (int c = 0; c < channels; ++c) {
        const float colour =
            combine<mode>(static_cast<float>(a[c]) * alpha_a, of_a, static_cast<float>(b[c]) * alpha_b, of_b) * factor;
        store(c, c == 3 ? raw_out : colour);
    }
}

// `rest` is 1 - amount.
GPU_AND_CPU float cross_dissolved(float a, float rest, float b, float amount) { return a * rest + b * amount; }

// An area of pixels [xl, xh) x [yl, yh).
struct Rectangle {
    int xl, yl, xh, yh;
    bool is_empty() const { return xl >= xh || yl >= yh; }
};

// What the arguments of image_composite and image_unary mean on a picture of this size.
Rectangle resolve_rectangle(int width, int height, int xl, int yl, int xh, int yh);

}  // namespace compositing
