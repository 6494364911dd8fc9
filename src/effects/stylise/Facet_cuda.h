// Facet's most frequent values on a CUDA device.
#pragma once

#include "gpulib/gpulib_image.h"

// Half sizes from 1 to WINDOW_MODE_MOST_HALF; a pixel takes as long as its window is wide. Both are float RGBA pictures
// of one size, and not the same. The bits are those of image_window_mode(). Answers a GpuStep.
int cuda_facet(DeviceImage& source, DeviceImage& result, int half_x, int half_y, GpuStream stream);

// What image_window_mode() takes for a pixel on one thread, in nanoseconds.
double facet_nanoseconds(int half_x, int half_y);
