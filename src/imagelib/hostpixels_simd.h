// Private: the sample loops of the host pixel conversions, built for each instruction set.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simdlib/cpu.h"

struct HostPixelKernels {
    // Host samples to clean floats: no NaN, no infinity, nothing below 0. The host's pointers need no alignment.
    void (*from_u8)(const void* host, float* samples, std::size_t count);
    void (*from_u16)(const void* host, float* samples, std::size_t count);
    void (*from_f32)(const void* host, float* samples, std::size_t count);
    // Floats to codes, limited and truncated.
    void (*to_u8)(const float* samples, void* host, std::size_t count);
    void (*to_u16)(const float* samples, void* host, std::size_t count);
};

QUILLON_SIMD_TABLE(HostPixelKernels, host_pixel_kernels);
