// A GPU runtime for whole bundles on machines without a GPU: kernels run on the processor, on memory that copies reach
// and nothing else should, their threads in no order.
//
// What is queued is done at once. It shares no textures with OpenGL. What a device would not do, as with pointers to
// the host's memory, ends the process with a word on standard error. Environment:
//   EMULATED_GPU_FAILS_AT   the call of the runtime, counted from 1 after the device was found, from which on all fail
#pragma once

#include "gpulib/gpulib_runtime.h"

const GpuRuntime& emulated_gpu();
