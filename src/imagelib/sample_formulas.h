// Private to the samplers: where a sample lies, which pixels it reads, with which weights. For the processor and for
// kernels on CUDA devices.
#pragma once

#include <cmath>

#include "gpulib/gpulib_runtime.h"
#include "imagelib/imagelib_resample.h"

namespace resample {

inline constexpr int TABLE_SCALE = 512;

// The pixel that stands for index i of n, or -1 for black.
GPU_AND_CPU int edge_index(int i, int n, int mode) {
    if (i >= 0 && i < n) return i;
    switch (mode) {
        case EDGE_CLAMP:
            return i < 0 ? 0 : n - 1;
        case EDGE_WRAP: {
            const int m = i % n;
            return m < 0 ? m + n : m;
        }
        case EDGE_MIRROR: {
            const int m = (i < 0 ? -i : i) % (2 * n);
            return m >= n ? 2 * n - 1 - m : m;
        }
        default:
            return -1;
    }
}

// Brings a coordinate into a range where indices are safe, without changing what is read there. Repeating edges fold
// by their period; beyond a clamped or black edge only the fraction of a place further than `reach` counts. Not a
// number for what is none, or infinitely far along a repeating edge.
GPU_AND_CPU float safe_coordinate(float x, int n, int edge, float reach) {
    const float size = static_cast<float>(n);
    if (edge == EDGE_WRAP) {
        const float folded = fmodf(x, size);
        return folded < 0 ? folded + size : folded;
    }
    if (edge == EDGE_MIRROR) return fmodf(fabsf(x), 2 * size);
    const float margin = ceilf(reach) + 1;
    if (x != x || (x >= -margin && x <= size + margin)) return x;
    const float fraction = x - x != 0 ? 0.0f : x - floorf(x);
    return x < 0 ? fraction - margin : size + margin + fraction;
}

// A position on the base of a pyramid, `size` pixels long, as one on a level of `level_size` pixels. `inverse` is
// 1 / (size - 1).
GPU_AND_CPU float position_on_level(float x, int size, int level_size, float inverse, int edge) {
    const float last = static_cast<float>(size - 1), level_last = static_cast<float>(level_size - 1);
    if (edge == EDGE_WRAP) {
        x = fmodf(x, static_cast<float>(size));
        if (x < 0) x += static_cast<float>(size);
        // From the last pixel to the first it is one pixel on every level.
        if (x > last) return level_last + (x - last);
    } else if (edge == EDGE_MIRROR) {
        x = fmodf(fabsf(x), 2 * static_cast<float>(size));
        if (x > last) {
            x = 2 * static_cast<float>(size) - 1 - x;
            x = x < 0.0f ? 0.0f : (last < x ? last : x);
        }
    }
    return level_last * x * inverse;
}

// One axis of the window of the area sampler.
struct SampleWindow {
    int first, last;
    double centre, inverse_scale;
    int radius;
    bool normalise;

    GPU_AND_CPU SampleWindow(float c, float scale, int kernel_radius)
        : first(static_cast<int>(ceil(double(c) - double(kernel_radius) * double(scale)))),
          last(static_cast<int>(floor(double(c) + double(kernel_radius) * double(scale)))),
          centre(double(c)),
          inverse_scale(double(scale)),
          radius(kernel_radius),
          normalise(scale > 1) {}

    GPU_AND_CPU int entry(int position) const {
        const double index = fabs(position - centre) * TABLE_SCALE / inverse_scale;
        const int end = TABLE_SCALE * radius;
        return index < end ? static_cast<int>(index) : end;
    }
};

}  // namespace resample
