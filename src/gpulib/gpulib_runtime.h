// The functions of the CUDA runtime that we use, as a table of pointers with types of our own.
//
// Only cuda_support_cuda.cu knows the toolkit. All else calls through the table, builds without the toolkit, and can be
// tested against a runtime that fails when it is told to.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <tuple>
#include <type_traits>

// What small formulas that run on both sides are declared with, so that each is written once.
#ifdef __CUDACC__
#define GPU_AND_CPU __host__ __device__ inline
#else
#define GPU_AND_CPU inline
#endif

// 0 for success, else the runtime's own number of the error. Those that we tell apart:
using GpuStatus = int;
inline constexpr GpuStatus GPU_SUCCESS = 0;
inline constexpr GpuStatus GPU_INVALID_VALUE = 1;
inline constexpr GpuStatus GPU_OUT_OF_MEMORY = 2;
inline constexpr GpuStatus GPU_INVALID_CONFIGURATION = 9;  // of a launch
inline constexpr GpuStatus GPU_INSUFFICIENT_DRIVER = 35;   // none, or one older than the runtime
inline constexpr GpuStatus GPU_NO_KERNEL_IMAGE = 209;      // the device is older than what we compile for
inline constexpr GpuStatus GPU_NOT_READY = 600;
inline constexpr GpuStatus GPU_SET_ON_ACTIVE_PROCESS = 708;
inline constexpr GpuStatus GPU_NOT_SUPPORTED = 801;

struct GpuContextHandle;
using GpuContext = GpuContextHandle*;  // what calls of a thread work in; null: none
struct GpuPoolHandle;
using GpuPool = GpuPoolHandle*;
struct GpuStreamHandle;
using GpuStream = GpuStreamHandle*;  // null: the default stream
struct GpuEventHandle;
using GpuEvent = GpuEventHandle*;
struct GpuTextureHandle;
using GpuTexture = GpuTextureHandle*;
struct GpuTexelsHandle;
using GpuTexels = GpuTexelsHandle*;  // of a texture: device memory in an order of its own

struct GpuDeviceProperties {
    char name[256] = "";
    std::size_t global_memory = 0;  // bytes, as all sizes here
    std::size_t shared_memory_per_block = 0;
    int registers_per_block = 0;
    int warp_size = 0;  // threads
    std::size_t max_pitch = 0;
    int max_threads_per_block = 0;
    int max_block[3] = {}, max_grid[3] = {};  // threads, blocks
    int clock_rate = 0;                       // kHz
    std::size_t constant_memory = 0;
    int major = 0, minor = 0;  // compute capability
    std::size_t texture_alignment = 0;
    bool copies_while_executing = false;
    int multiprocessors = 0;
};

// What the texels of a texture are.
struct GpuTexelLayout {
    int width = 0, height = 0;
    int bits = 0;         // of each of the four channels; 0: they are not four, differ, or are no numbers from zero up
    bool floats = false;  // else integers
};

// Blocks of a launch and threads of a block, along x and y.
struct GpuShape {
    unsigned blocks_x = 1, blocks_y = 1;
    unsigned threads_x = 1, threads_y = 1;
};

// A thread among all of a launch.
struct GpuPlace {
    int x = 0, y = 0;
};

// A parameter of a kernel. Devices load what is pointed to at once, and so only where it is aligned.
struct GpuParameter {
    std::size_t bytes = 0;
    std::size_t alignment = 0;  // of what a pointer points to; 0: it is no pointer
};

// What is launched: the kernel's entry for devices, null in a build without CUDA, and the same kernel for a runtime
// that runs on the processor. That one takes the addresses of the arguments, and keeps copies.
struct GpuFunction {
    const void* device = nullptr;
    std::function<void(GpuPlace)> (*host)(void** arguments) = nullptr;
    std::span<const GpuParameter> parameters;
};

// Copies, clear, launch, mapping, event_record, stream_wait, pool_allocate and pool_free queue work on a stream and
// return. What fails later is reported by the next call that waits. Copies from and to the host are asynchronous only
// with memory of host_allocate.
struct GpuRuntime {
    GpuStatus (*get_device_count)(int* count);  // without devices: success and 0
    GpuStatus (*get_device_properties)(int device, GpuDeviceProperties* properties);
    GpuStatus (*set_device)(int device);  // of the calling thread
    GpuStatus (*get_device)(int* device);
    // A device has one context that all users of the runtime share; set_device selects that one. A host may have made
    // others with the driver.
    GpuStatus (*get_context)(GpuContext* context);  // of the calling thread
    GpuStatus (*set_context)(GpuContext context);
    GpuStatus (*get_free_memory)(std::size_t* bytes);  // of the device, which other processes use too
    GpuStatus (*device_synchronize)();
    GpuStatus (*device_allocate)(void** memory, std::size_t bytes);  // may wait for all work of the device
    GpuStatus (*device_free)(void* memory);                          // waits for all work of the device
    // Memory in the order of a stream's work. When its work is waited for, a pool gives back to the device what nobody
    // uses of it beyond `kept` bytes. GPU_NOT_SUPPORTED where a device has no pools.
    GpuStatus (*pool_create)(GpuPool* pool, int device, std::size_t kept);
    GpuStatus (*pool_destroy)(GpuPool pool);  // blocks stay until they are freed
    GpuStatus (*pool_allocate)(void** memory, std::size_t bytes, GpuPool pool, GpuStream stream);
    GpuStatus (*pool_free)(void* memory, GpuStream stream);
    GpuStatus (*host_allocate)(void** memory, std::size_t bytes);  // pinned: never moved or paged out
    GpuStatus (*host_free)(void* memory);
    GpuStatus (*copy_to_device)(void* device, const void* host, std::size_t bytes, GpuStream stream);
    GpuStatus (*copy_to_host)(void* host, const void* device, std::size_t bytes, GpuStream stream);
    GpuStatus (*clear)(void* device, std::size_t bytes, GpuStream stream);  // to zero bytes
    GpuStatus (*stream_create)(GpuStream* stream);                          // does not wait for the default stream
    GpuStatus (*stream_destroy)(GpuStream stream);
    GpuStatus (*stream_synchronize)(GpuStream stream);
    GpuStatus (*event_create)(GpuEvent* event);
    GpuStatus (*event_destroy)(GpuEvent event);
    GpuStatus (*event_record)(GpuEvent event, GpuStream stream);
    GpuStatus (*event_query)(GpuEvent event);  // GPU_NOT_READY while work before it runs
    GpuStatus (*event_synchronize)(GpuEvent event);
    GpuStatus (*stream_wait)(GpuStream stream, GpuEvent event);  // its later work comes after what the event follows
    GpuStatus (*launch)(const GpuFunction& kernel, const GpuShape& shape, void** arguments, GpuStream stream);
    // Of the OpenGL context that is current on the calling thread. While a texture is mapped, OpenGL may not use it:
    // what OpenGL was asked before comes before the stream's later work, and what it is asked after the unmapping
    // behind it.
    GpuStatus (*texture_register)(GpuTexture* texture, unsigned name, unsigned target);
    GpuStatus (*texture_unregister)(GpuTexture texture);
    GpuStatus (*texture_map)(GpuTexture texture, GpuStream stream);
    GpuStatus (*texture_unmap)(GpuTexture texture, GpuStream stream);
    GpuStatus (*texture_texels)(GpuTexture texture, GpuTexels* texels, GpuTexelLayout* layout);  // while it is mapped
    // The first bytes of the first rows; in linear memory rows lie without gaps.
    GpuStatus (*copy_from_texels)(void* device, GpuTexels texels, std::size_t row_bytes, std::size_t rows,
                                  GpuStream stream);
    GpuStatus (*copy_to_texels)(GpuTexels texels, const void* device, std::size_t row_bytes, std::size_t rows,
                                GpuStream stream);
    const char* (*error_text)(GpuStatus status);  // a constant; touches no device
};

// The table in use: the CUDA runtime's, or, in a build without CUDA, one that answers as where there is no driver.
const GpuRuntime& gpu_runtime();
// Takes another table and forgets what was found out with the one before; null: the own one again. For tests: no other
// thread may be using the GPU, and no DeviceImage may exist.
void gpu_set_runtime(const GpuRuntime* runtime);

// Whether a call succeeded. Tells the log at level DEBUG where it did not; `doing` completes "CUDA ... failed".
bool gpu_succeeded(GpuStatus status, const char* doing);

// ---- Kernels --------------------------------------------------------------------------------------------------
//
// A kernel is a function of a place and its arguments, declared GPU_AND_CPU, which does the work of one thread:
//
//     GPU_AND_CPU void halve_kernel(GpuPlace at, float* values, int count) {
//         if (at.x < count) values[at.x] *= 0.5f;
//     }
//     GpuKernel<float*, int> halve() { return gpu_kernel<halve_kernel>(); }
//
// It stands in a .cu file, which nvcc compiles, or in a build without CUDA the C++ compiler. Kernels share no memory
// between threads. So they also run on the processor, one thread after the other, and give the same bits there: nothing
// is contracted on either side, and elementary functions come from simdlib/elementary.h.

// A kernel by the types of its parameters, so that its callers need not be compiled by nvcc.
template <class... Parameters>
struct GpuKernel : GpuFunction {};

#ifdef __CUDACC__
template <auto Body, class... Parameters>
__global__ void gpu_entry(Parameters... arguments) {
    Body(GpuPlace{static_cast<int>(blockIdx.x * blockDim.x + threadIdx.x),
                  static_cast<int>(blockIdx.y * blockDim.y + threadIdx.y)},
         arguments...);
}
#endif

template <class T>
constexpr GpuParameter gpu_parameter() {
    using Pointee = std::remove_pointer_t<T>;
    if constexpr (!std::is_pointer_v<T>)
        return {sizeof(T), 0};
    else if constexpr (std::is_void_v<Pointee>)
        return {sizeof(T), 1};
    else
        return {sizeof(T), alignof(Pointee)};
}
template <class... Parameters>
inline constexpr GpuParameter gpu_parameters[] = {gpu_parameter<Parameters>()...};

template <auto Body, class... Parameters>
GpuKernel<Parameters...> gpu_kernel_of(void (*)(GpuPlace, Parameters...)) {
    GpuKernel<Parameters...> kernel;
#ifdef __CUDACC__
    kernel.device = reinterpret_cast<const void*>(&gpu_entry<Body, Parameters...>);
#endif
    kernel.parameters = gpu_parameters<Parameters...>;
    kernel.host = [](void** addresses) -> std::function<void(GpuPlace)> {
        std::size_t next = 0;
        return [arguments = std::tuple<Parameters...>{*static_cast<Parameters*>(addresses[next++])...}](GpuPlace at) {
            std::apply([at](const Parameters&... argument) { Body(at, argument...); }, arguments);
        };
    };
    return kernel;
}
template <auto Body>
auto gpu_kernel() {
    return gpu_kernel_of<Body>(Body);
}

// A thread for each pixel, in blocks of 16 x 12. The kernel tests whether its pixel is within the picture.
GpuShape gpu_shape_of_picture(int width, int height);
// A thread for each of `count` things along x, in blocks of 128.
GpuShape gpu_shape_of_line(int count);

// Bytes between the members of a structure hold whatever was there before. Zero, so that runtimes of tests can tell
// pointers to the host's memory from what only looks so.
template <class T>
void gpu_clear_padding([[maybe_unused]] T& argument) {
#if __has_builtin(__builtin_clear_padding)
    if constexpr (std::is_class_v<T>) __builtin_clear_padding(&argument);
#endif
}

template <class... Parameters>
GpuStatus gpu_launch(const GpuKernel<Parameters...>& kernel, const GpuShape& shape, GpuStream stream,
                     std::type_identity_t<Parameters>... arguments) {
    (gpu_clear_padding(arguments), ...);
    void* addresses[] = {const_cast<void*>(static_cast<const void*>(&arguments))...};
    return gpu_runtime().launch(kernel, shape, addresses, stream);
}
