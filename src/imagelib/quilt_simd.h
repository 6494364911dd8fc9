// Private to quilting: the comparison of one patch with all places of a row. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include "simdlib/cpu.h"

inline constexpr int QUILT_SLACK = 64;  // floats behind a plane and behind a row of costs

struct QuiltPoint {
    int offset;  // in a plane, from the patch's first cell
    float value[3];
};

struct QuiltKernels {
    // costs[x] = sum over all points of the squared differences in the planes, 1 or 3, for x in [0, count), and perhaps
    // some behind.
    void (*scan)(const float* const planes[3], int plane_count, const QuiltPoint* points, int point_count, int count,
                 float* costs);
};

QUILLON_SIMD_TABLE(QuiltKernels, quilt_kernels);
