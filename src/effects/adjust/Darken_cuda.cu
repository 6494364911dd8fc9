#include "effects/adjust/WindowExtreme_kernels.h"

GPU_AND_CPU void darkenRowsKernel(GpuPlace at, GpuPixel* between, const GpuPixel* input, DeviceExtreme job) {
    if (at.x >= job.width || at.y >= job.height) return;
    const std::size_t row = static_cast<std::size_t>(at.y) * static_cast<std::size_t>(job.width);
    between[row + at.x] = window_extreme::along_row<false>(input + row, at.x, job);
}

GPU_AND_CPU void darkenKernel(GpuPlace at, GpuPixel* output, const GpuPixel* input, const GpuPixel* between,
                              DeviceExtreme job) {
    if (at.x >= job.width || at.y >= job.height) return;
    output[static_cast<std::size_t>(at.y) * static_cast<std::size_t>(job.width) + at.x] =
        window_extreme::down_column<false>(input, between, at.x, at.y, job);
}

int cuda_darken(DeviceImage& input, DeviceImage& output, const DeviceExtreme& job, GpuStream stream) {
    return window_extreme::run(input, output, job, stream, gpu_kernel<darkenRowsKernel>(), gpu_kernel<darkenKernel>());
}
