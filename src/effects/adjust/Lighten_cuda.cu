#include "effects/adjust/WindowExtreme_kernels.h"

GPU_AND_CPU void lightenRowsKernel(GpuPlace at, GpuPixel* between, const GpuPixel* input, DeviceExtreme job) {
    if (at.x >= job.width || at.y >= job.height) return;
    const std::size_t row = static_cast<std::size_t>(at.y) * static_cast<std::size_t>(job.width);
    between[row + at.x] = window_extreme::along_row<true>(input + row, at.x, job);
}

GPU_AND_CPU void lightenKernel(GpuPlace at, GpuPixel* output, const GpuPixel* input, const GpuPixel* between,
                               DeviceExtreme job) {
    if (at.x >= job.width || at.y >= job.height) return;
    output[static_cast<std::size_t>(at.y) * static_cast<std::size_t>(job.width) + at.x] =
        window_extreme::down_column<true>(input, between, at.x, at.y, job);
}

int cuda_lighten(DeviceImage& input, DeviceImage& output, const DeviceExtreme& job, GpuStream stream) {
    return window_extreme::run(input, output, job, stream, gpu_kernel<lightenRowsKernel>(),
                               gpu_kernel<lightenKernel>());
}
