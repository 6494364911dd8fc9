// Private to line integral convolution: its kernels for CUDA devices, and what they share with lic.cpp.
#pragma once

#include "gpulib/gpulib_operation.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/lic_frame.h"

// What a sub-step on a pixel of the screen takes off the distance. The threshold is below 1.
GPU_AND_CPU float lic_screen_term(const float* rgb, float threshold) {
    const float light = luminance(rgb);
    return ((light < 1.0f ? light : 1.0f) - threshold) / (1.0f - threshold);
}

// All pointers of the frame are the device's.
GpuKernel<LicFrame> radial_lic_kernel();
GpuKernel<LicFrame> radial_lic_screened_kernel();
// The terms of a screen of this size.
GpuKernel<float*, const GpuPixel*, int, int, float> radial_lic_terms_kernel();
