// The kernel that shows whether a device does its work. Private to the folder and its tests.
#pragma once

#include <cmath>

#include "gpulib/gpulib_runtime.h"

// A product, a sum and a root, each rounded by itself.
GPU_AND_CPU float probe_value(unsigned i) {
    const float scaled = static_cast<float>(i) * 1.1f;
    return sqrtf(scaled + 0.3f);
}

// values[i] = probe_value(i) for i in [0, count), a row of threads.
GpuKernel<float*, unsigned> probe_kernel();
