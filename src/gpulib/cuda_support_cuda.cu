// The CUDA runtime as a GpuRuntime.
#include <cuda_runtime_api.h>

#include <cstdint>
#include <cstdio>

#include "gpulib/builtin_runtime.h"

// As cuda_gl_interop.h has it, which asks for OpenGL's headers.
extern "C" cudaError_t CUDARTAPI cudaGraphicsGLRegisterImage(cudaGraphicsResource** resource, unsigned image,
                                                             unsigned target, unsigned flags);

namespace {

static_assert(GPU_SUCCESS == cudaSuccess && GPU_INVALID_VALUE == cudaErrorInvalidValue &&
              GPU_OUT_OF_MEMORY == cudaErrorMemoryAllocation &&
              GPU_INVALID_CONFIGURATION == cudaErrorInvalidConfiguration &&
              GPU_NOT_SUPPORTED == cudaErrorNotSupported && GPU_INSUFFICIENT_DRIVER == cudaErrorInsufficientDriver &&
              GPU_NO_KERNEL_IMAGE == cudaErrorNoKernelImageForDevice && GPU_NOT_READY == cudaErrorNotReady &&
              GPU_SET_ON_ACTIVE_PROCESS == cudaErrorSetOnActiveProcess);

// The runtime also keeps the last error of each thread, for whoever asks next, which may be the host.
GpuStatus answer(cudaError_t status) {
    if (status != cudaSuccess) cudaGetLastError();
    return status;
}

cudaStream_t of(GpuStream stream) { return reinterpret_cast<cudaStream_t>(stream); }
cudaMemPool_t of(GpuPool pool) { return reinterpret_cast<cudaMemPool_t>(pool); }
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

// ---- Contexts -------------------------------------------------------------------------------------------------

// The runtime has no words for contexts. The driver's functions answer with the same numbers.
template <class Function>
Function of_driver(const char* name) {
    void* found = nullptr;
    cudaDriverEntryPointQueryResult result = cudaDriverEntryPointSymbolNotFound;
#if CUDART_VERSION >= 12050
    constexpr unsigned since = 4000;  // CUDA 4.0
    const cudaError_t status = cudaGetDriverEntryPointByVersion(name, &found, since, cudaEnableDefault, &result);
#else
    const cudaError_t status = cudaGetDriverEntryPoint(name, &found, cudaEnableDefault, &result);
#endif
    const bool there = answer(status) == GPU_SUCCESS && result == cudaDriverEntryPointSuccess;
    return there ? reinterpret_cast<Function>(found) : nullptr;
}

GpuStatus get_context(GpuContext* context) {
    static const auto get = of_driver<GpuStatus (*)(GpuContext*)>("cuCtxGetCurrent");
    return get ? get(context) : GPU_NOT_SUPPORTED;
}

GpuStatus set_context(GpuContext context) {
    static const auto set = of_driver<GpuStatus (*)(GpuContext)>("cuCtxSetCurrent");
    return set ? set(context) : GPU_NOT_SUPPORTED;
}

// ---- Pools ----------------------------------------------------------------------------------------------------

// Of our own: what the device's default pool keeps is the host's to say.
GpuStatus create_pool(GpuPool* pool, int device, std::size_t kept) {
    int supported = 0;
    if (const GpuStatus status = answer(cudaDeviceGetAttribute(&supported, cudaDevAttrMemoryPoolsSupported, device)))
        return status;
    if (!supported) return GPU_NOT_SUPPORTED;
    cudaMemPoolProps properties{};
    properties.allocType = cudaMemAllocationTypePinned;
    properties.location.type = cudaMemLocationTypeDevice;
    properties.location.id = device;
    cudaMemPool_t made = nullptr;
    if (const GpuStatus status = answer(cudaMemPoolCreate(&made, &properties))) return status;
    // A stream takes over no memory that another one's queued work still uses: renders of two instances would wait for
    // each other. Where memory is short, the one that asks waits for the device.
    std::uint64_t threshold = kept;
    int waits_for_others = 0;
    GpuStatus status = answer(cudaMemPoolSetAttribute(made, cudaMemPoolAttrReleaseThreshold, &threshold));
    if (status == GPU_SUCCESS)
        status = answer(cudaMemPoolSetAttribute(made, cudaMemPoolReuseAllowInternalDependencies, &waits_for_others));
    if (status == GPU_SUCCESS)
        *pool = reinterpret_cast<GpuPool>(made);
    else
        answer(cudaMemPoolDestroy(made));
    return status;
}

// ---- Streams, launches, textures --------------------------------------------------------------------------------

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
    .get_context = get_context,
    .set_context = set_context,
    .get_free_memory =
        [](std::size_t* bytes) {
            std::size_t all = 0;
            return answer(cudaMemGetInfo(bytes, &all));
        },
    .device_synchronize = [] { return answer(cudaDeviceSynchronize()); },
    .device_allocate = [](void** memory, std::size_t bytes) { return answer(cudaMalloc(memory, bytes)); },
    .device_free = [](void* memory) { return answer(cudaFree(memory)); },
    .pool_create = create_pool,
    .pool_destroy = [](GpuPool pool) { return answer(cudaMemPoolDestroy(of(pool))); },
    .pool_allocate =
        [](void** memory, std::size_t bytes, GpuPool pool, GpuStream stream) {
            return answer(cudaMallocFromPoolAsync(memory, bytes, of(pool), of(stream)));
        },
    .pool_free = [](void* memory, GpuStream stream) { return answer(cudaFreeAsync(memory, of(stream))); },
    // Pinned for every device and context: a block that is kept may serve another one next.
    .host_allocate = [](void** memory,
                        std::size_t bytes) { return answer(cudaHostAlloc(memory, bytes, cudaHostAllocPortable)); },
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
    .stream_wait = [](GpuStream stream,
                      GpuEvent event) { return answer(cudaStreamWaitEvent(of(stream), of(event), 0)); },
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
