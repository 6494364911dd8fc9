// The CUDA runtime as a GpuRuntime.
#include <cuda_runtime_api.h>

#include <cstdio>

#include "gpulib/builtin_runtime.h"

// As cuda_gl_interop.h has it, which asks for OpenGL's headers.
extern "C" cudaError_t CUDARTAPI cudaGraphicsGLRegisterImage(cudaGraphicsResource** resource, unsigned image,
                                                             unsigned target, unsigned flags);

namespace {

static_assert(GPU_SUCCESS == cudaSuccess && GPU_INVALID_VALUE == cudaErrorInvalidValue &&
              GPU_OUT_OF_MEMORY == cudaErrorMemoryAllocation &&
              GPU_INSUFFICIENT_DRIVER == cudaErrorInsufficientDriver &&
              GPU_NO_KERNEL_IMAGE == cudaErrorNoKernelImageForDevice && GPU_NOT_READY == cudaErrorNotReady &&
              GPU_SET_ON_ACTIVE_PROCESS == cudaErrorSetOnActiveProcess);

// The runtime also keeps the last error of each thread, for whoever asks next, which may be the host.
GpuStatus answer(cudaError_t status) {
    if (status != cudaSuccess) cudaGetLastError();
    return status;
}

cudaStream_t of(GpuStream stream) { return reinterpret_cast<cudaStream_t>(stream); }
cudaEvent_t of(GpuEvent event) { return reinterpret_cast<cudaEvent_t>(event); }
cudaGraphicsResource_t of(GpuTexture texture) { return reinterpret_cast<cudaGraphicsResource_t>(texture); }
cudaArray_t of(GpuTexels texels) { return reinterpret_cast<cudaArray_t>(texels); }

// A machine without a driver has no devices. Only a driver that is too old is a fault, which its user can mend.
GpuStatus get_device_count(int* count) {
    const cudaError_t status = cudaGetDeviceCount(count);
    int driver = 0;
    const bool none = status == cudaErrorNoDevice || (status == cudaErrorInsufficientDriver &&
                                                      cudaDriverGetVersion(&driver) == cudaSuccess && driver == 0);
    if (none) *count = 0;
    answer(status);
    return none ? GPU_SUCCESS : status;
}

GpuStatus get_device_properties(int device, GpuDeviceProperties* properties) {
    cudaDeviceProp found;
    if (const GpuStatus status = answer(cudaGetDeviceProperties(&found, device))) return status;
    // No longer among the properties since CUDA 13.
    int clock_rate = 0, copy_engines = 0;
    if (const GpuStatus status = answer(cudaDeviceGetAttribute(&clock_rate, cudaDevAttrClockRate, device)))
        return status;
    if (const GpuStatus status = answer(cudaDeviceGetAttribute(&copy_engines, cudaDevAttrAsyncEngineCount, device)))
        return status;

    std::snprintf(properties->name, sizeof properties->name, "%s", found.name);
    properties->global_memory = found.totalGlobalMem;
    properties->shared_memory_per_block = found.sharedMemPerBlock;
    properties->registers_per_block = found.regsPerBlock;
    properties->warp_size = found.warpSize;
    properties->max_pitch = found.memPitch;
    properties->max_threads_per_block = found.maxThreadsPerBlock;
    for (int axis = 0; axis < 3; ++axis) {
        properties->max_block[axis] = found.maxThreadsDim[axis];
        properties->max_grid[axis] = found.maxGridSize[axis];
    }
    properties->clock_rate = clock_rate;
    properties->constant_memory = found.totalConstMem;
    properties->major = found.major;
    properties->minor = found.minor;
    properties->texture_alignment = found.textureAlignment;
    properties->copies_while_executing = copy_engines > 0;
    properties->multiprocessors = found.multiProcessorCount;
    return GPU_SUCCESS;
}

GpuStatus create_stream(GpuStream* stream) {
    cudaStream_t made = nullptr;
    const GpuStatus status = answer(cudaStreamCreateWithFlags(&made, cudaStreamNonBlocking));
    *stream = reinterpret_cast<GpuStream>(made);
    return status;
}

GpuStatus create_event(GpuEvent* event) {
    cudaEvent_t made = nullptr;
    const GpuStatus status = answer(cudaEventCreateWithFlags(&made, cudaEventDisableTiming));
    *event = reinterpret_cast<GpuEvent>(made);
    return status;
}

GpuStatus launch(const GpuFunction& kernel, const GpuShape& shape, void** arguments, GpuStream stream) {
    return answer(cudaLaunchKernel(kernel.device, dim3(shape.blocks_x, shape.blocks_y),
                                   dim3(shape.threads_x, shape.threads_y), arguments, 0, of(stream)));
}

GpuStatus register_texture(GpuTexture* texture, unsigned name, unsigned target) {
    cudaGraphicsResource_t made = nullptr;
    const GpuStatus status = answer(cudaGraphicsGLRegisterImage(&made, name, target, cudaGraphicsRegisterFlagsNone));
    *texture = reinterpret_cast<GpuTexture>(made);
    return status;
}

GpuTexelLayout layout_of(const cudaChannelFormatDesc& channels, const cudaExtent& extent) {
    GpuTexelLayout layout;
    layout.width = static_cast<int>(extent.width);
    layout.height = static_cast<int>(extent.height);
    layout.floats = channels.f == cudaChannelFormatKindFloat;
    const bool numbers = layout.floats || channels.f == cudaChannelFormatKindUnsigned ||
                         channels.f == cudaChannelFormatKindUnsignedNormalized8X4 ||
                         channels.f == cudaChannelFormatKindUnsignedNormalized16X4;
    const bool alike = channels.x == channels.y && channels.x == channels.z && channels.x == channels.w;
    if (numbers && alike && extent.depth <= 1) layout.bits = channels.x;
    return layout;
}

GpuStatus find_texels(GpuTexture texture, GpuTexels* texels, GpuTexelLayout* layout) {
    cudaArray_t found = nullptr;
    if (const GpuStatus status = answer(cudaGraphicsSubResourceGetMappedArray(&found, of(texture), 0, 0)))
        return status;
    cudaChannelFormatDesc channels{};
    cudaExtent extent{};
    unsigned flags = 0;
    if (const GpuStatus status = answer(cudaArrayGetInfo(&channels, &extent, &flags, found))) return status;
    *texels = reinterpret_cast<GpuTexels>(found);
    *layout = layout_of(channels, extent);
    return GPU_SUCCESS;
}

}  // namespace

const GpuRuntime builtin_gpu_runtime = {
    .get_device_count = get_device_count,
    .get_device_properties = get_device_properties,
    .set_device = [](int device) { return answer(cudaSetDevice(device)); },
    .get_device = [](int* device) { return answer(cudaGetDevice(device)); },
    .get_free_memory =
        [](std::size_t* bytes) {
            std::size_t all = 0;
            return answer(cudaMemGetInfo(bytes, &all));
        },
    .device_synchronize = [] { return answer(cudaDeviceSynchronize()); },
    .device_allocate = [](void** memory, std::size_t bytes) { return answer(cudaMalloc(memory, bytes)); },
    .device_free = [](void* memory) { return answer(cudaFree(memory)); },
    .host_allocate = [](void** memory,
                        std::size_t bytes) { return answer(cudaHostAlloc(memory, bytes, cudaHostAllocDefault)); },
    .host_free = [](void* memory) { return answer(cudaFreeHost(memory)); },
    .copy_to_device =
        [](void* device, const void* host, std::size_t bytes, GpuStream stream) {
            return answer(cudaMemcpyAsync(device, host, bytes, cudaMemcpyHostToDevice, of(stream)));
        },
    .copy_to_host =
        [](void* host, const void* device, std::size_t bytes, GpuStream stream) {
            return answer(cudaMemcpyAsync(host, device, bytes, cudaMemcpyDeviceToHost, of(stream)));
        },
    .clear = [](void* device, std::size_t bytes,
                GpuStream stream) { return answer(cudaMemsetAsync(device, 0, bytes, of(stream))); },
    .stream_create = create_stream,
    .stream_destroy = [](GpuStream stream) { return answer(cudaStreamDestroy(of(stream))); },
    .stream_synchronize = [](GpuStream stream) { return answer(cudaStreamSynchronize(of(stream))); },
    .event_create = create_event,
    .event_destroy = [](GpuEvent event) { return answer(cudaEventDestroy(of(event))); },
    .event_record = [](GpuEvent event, GpuStream stream) { return answer(cudaEventRecord(of(event), of(stream))); },
    .event_query = [](GpuEvent event) { return answer(cudaEventQuery(of(event))); },
    .event_synchronize = [](GpuEvent event) { return answer(cudaEventSynchronize(of(event))); },
    .launch = launch,
    .texture_register = register_texture,
    .texture_unregister = [](GpuTexture texture) { return answer(cudaGraphicsUnregisterResource(of(texture))); },
    .texture_map =
        [](GpuTexture texture, GpuStream stream) {
            cudaGraphicsResource_t resource = of(texture);
            return answer(cudaGraphicsMapResources(1, &resource, of(stream)));
        },
    .texture_unmap =
        [](GpuTexture texture, GpuStream stream) {
            cudaGraphicsResource_t resource = of(texture);
            return answer(cudaGraphicsUnmapResources(1, &resource, of(stream)));
        },
    .texture_texels = find_texels,
    .copy_from_texels =
        [](void* device, GpuTexels texels, std::size_t row_bytes, std::size_t rows, GpuStream stream) {
            return answer(cudaMemcpy2DFromArrayAsync(device, row_bytes, of(texels), 0, 0, row_bytes, rows,
                                                     cudaMemcpyDeviceToDevice, of(stream)));
        },
    .copy_to_texels =
        [](GpuTexels texels, const void* device, std::size_t row_bytes, std::size_t rows, GpuStream stream) {
            return answer(cudaMemcpy2DToArrayAsync(of(texels), 0, 0, device, row_bytes, row_bytes, rows,
                                                   cudaMemcpyDeviceToDevice, of(stream)));
        },
    .error_text = [](GpuStatus status) { return cudaGetErrorString(static_cast<cudaError_t>(status)); },
};
