// The reading of a pyramid's pixels, for imagelib_pyramid.h. Plain data, see QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int PYRAMID_LEVELS = 16;

struct PyramidView {
    struct Level {
        const float* pixels;
        int width, height;
        float max_x, max_y;  // width - 1, height - 1
    };
    Level levels[PYRAMID_LEVELS] = {};
    int top_level = 0;
    float inv_w = 0, inv_h = 0;
};

// One use of a view: the kernel, and what to do with points near or beyond the border.
struct PyramidReading {
    const PyramidView* view;
    const float* weights;  // of the kernel, 512 a pixel
    int kernel_type;
    bool clamp_negative;  // rows of the filter that sum up below 0 count as 0
    const void* owner;
    void (*sample_anywhere)(const void* owner, float x, float y, int level, float mix, float* out);
};

struct PyramidKernels {
    void (*sample_point)(const PyramidReading& reading, float x, float y, float area, float* out);
    // Four channels at each of `count` places; areas may be null.
    void (*sample_points)(const PyramidReading& reading, const float* x, const float* y, const float* areas, int count,
                          float* out);
    // One row of a warp. The map's rows above, here and below, interleaved x, y.
    void (*warp_row)(const PyramidReading& reading, const float* above, const float* here, const float* below,
                     int width, float* out);
    void (*choose_level)(float area, int top_level, int* level, float* mix);
};

QUILLON_SIMD_TABLE(PyramidKernels, pyramid_kernels);
