// The table that the library brings. Private to the folder.
#pragma once

#include "gpulib/gpulib_runtime.h"

extern const GpuRuntime builtin_gpu_runtime;
