// The levels that the mode filter counts (imagelib_mode.h), the same on the processor and on devices.
#pragma once

#include "gpulib/gpulib_runtime.h"
#include "imagelib/mode_filter_simd.h"

GPU_AND_CPU int mode_bin(float sample) {
    const float scaled = sample * MODE_SCALE;
    const float above = scaled > 0.0f ? scaled : 0.0f;  // 0 for what is not a number
    return static_cast<int>(above < MODE_BINS - 1 ? above : MODE_BINS - 1);
}

GPU_AND_CPU float mode_level(int bin) { return static_cast<float>(bin) * MODE_LEVEL; }
