// In place of cuda_support_cuda.cu in a build without CUDA: all is as on a machine without a driver. Nothing gets past
// the question for devices, so nothing else needs an answer of its own.
#include "gpulib/builtin_runtime.h"

namespace {

template <class... Arguments>
GpuStatus no_driver(Arguments...) {
    return GPU_INSUFFICIENT_DRIVER;
}

}  // namespace

const GpuRuntime builtin_gpu_runtime = {
    .get_device_count =
        [](int* count) {
            *count = 0;
            return GPU_SUCCESS;
        },
    .get_device_properties = no_driver,
    .set_device = no_driver,
    .get_device = no_driver,
    .get_context = no_driver,
    .set_context = no_driver,
    .get_free_memory = no_driver,
    .device_synchronize = no_driver,
    .device_allocate = no_driver,
    .device_free = no_driver,
    .pool_create = no_driver,
    .pool_destroy = no_driver,
    .pool_allocate = no_driver,
    .pool_free = no_driver,
    .host_allocate = no_driver,
    .host_free = no_driver,
    .copy_to_device = no_driver,
    .copy_to_host = no_driver,
    .clear = no_driver,
    .stream_create = no_driver,
    .stream_destroy = no_driver,
    .stream_synchronize = no_driver,
    .event_create = no_driver,
    .event_destroy = no_driver,
    .event_record = no_driver,
    .event_query = no_driver,
    .event_synchronize = no_driver,
    .stream_wait = no_driver,
    .launch = no_driver,
    .texture_register = no_driver,
    .texture_unregister = no_driver,
    .texture_map = no_driver,
    .texture_unmap = no_driver,
    .texture_texels = no_driver,
    .copy_from_texels = no_driver,
    .copy_to_texels = no_driver,
    .error_text = [](GpuStatus) { return "this build has no CUDA"; },
};
