// Facet's most frequent values on a CUDA device.
#pragma once

#include "gpulib/gpulib_image.h"

inline constexpr int CUDA_FACET_MOST_HALF = 127;  // pixels: a window's counts fit 16 bits

// Half sizes from 1 to CUDA_FACET_MOST_HALF. Both are float RGBA pictures of one size, and not the same. The bits are
// those of image_window_mode(). Answers a GpuStep.
int cuda_facet(DeviceImage& source, DeviceImage& result, int half_x, int half_y, GpuStream stream);

// What image_window_mode() takes for a pixel on one thread, in nanoseconds.
constexpr double facet_nanoseconds(int half_x, int half_y) { return half_x == 1 && half_y == 1 ? 2.8 : 18; }
