// Clean's medians on a CUDA device, for windows that all channels share.
#pragma once

#include "gpulib/gpulib_image.h"

// Half sizes in pixels, limited to 1 to 80. Both are float RGBA pictures of one size, and not the same. The bits are
// those of image_window_median(). Answers a GpuStep.
int cuda_clean(DeviceImage& source, DeviceImage& result, int radius_x, int radius_y, GpuStream stream);

// What image_window_median() takes for a pixel on one thread, in nanoseconds.
double clean_nanoseconds(int radius_x, int radius_y);
