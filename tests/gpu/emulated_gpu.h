// A GPU runtime for whole bundles on machines without a GPU: device memory is memory, and kernels run on the processor.
//
// What is queued is done at once. It shares no textures with OpenGL. Environment:
//   EMULATED_GPU_FAILS_AT   the call of the runtime, counted from 1 after the device was found, from which on all fail
#pragma once

#include "gpulib/gpulib_runtime.h"

const GpuRuntime& emulated_gpu();
