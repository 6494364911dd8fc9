#include "gpu/emulated_gpu.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>
#include <vector>

namespace {

constexpr GpuStatus LOST = 719;
constexpr std::align_val_t ALIGNED{256};
constexpr int CALLS_OF_THE_DECISION = 9;
constexpr std::size_t MEMORY = std::size_t{1} << 30, HEAD = 256;  // what there is; before each block, for its size

std::atomic<int> s_calls{0};
std::atomic<std::size_t> s_used{0};

GpuStatus enter() {
    static const char* const fails_at = std::getenv("EMULATED_GPU_FAILS_AT");
    const int call = s_calls.fetch_add(1) + 1 - CALLS_OF_THE_DECISION;
    return fails_at && call >= std::atoi(fails_at) ? LOST : GPU_SUCCESS;
}

GpuStatus get_properties(int, GpuDeviceProperties* properties) {
    std::snprintf(properties->name, sizeof properties->name, "Emulated device");
    properties->global_memory = MEMORY;
    properties->warp_size = 32;
    properties->max_threads_per_block = 1024;
    properties->major = 9;
    properties->multiprocessors = 1;
    return enter();
}

GpuStatus allocate(void** memory, std::size_t bytes) {
    if (const GpuStatus status = enter()) return status;
    if (bytes > MEMORY) return GPU_OUT_OF_MEMORY;
    const std::size_t size = bytes + HEAD;
    void* block = s_used.fetch_add(size) + size <= MEMORY ? ::operator new(size, ALIGNED, std::nothrow) : nullptr;
    if (!block) {
        s_used -= size;
        return GPU_OUT_OF_MEMORY;
    }
    std::memset(block, 0xa5, size);  // a device's memory holds anything
    std::memcpy(block, &size, sizeof size);
    *memory = static_cast<unsigned char*>(block) + HEAD;
    return GPU_SUCCESS;
}

GpuStatus free_memory(void* memory) {
    if (memory) {
        void* const block = static_cast<unsigned char*>(memory) - HEAD;
        std::size_t size = 0;
        std::memcpy(&size, block, sizeof size);
        s_used -= size;
        ::operator delete(block, ALIGNED);
    }
    return enter();
}

GpuStatus copy(void* to, const void* from, std::size_t bytes, GpuStream) {
    if (const GpuStatus status = enter()) return status;
    std::memcpy(to, from, bytes);
    return GPU_SUCCESS;
}

template <class Handle>
GpuStatus create(Handle* handle) {
    if (const GpuStatus status = enter()) return status;
    *handle = reinterpret_cast<Handle>(new char);
    return GPU_SUCCESS;
}
template <class Handle>
GpuStatus destroy(Handle handle) {
    delete reinterpret_cast<char*>(handle);
    return enter();
}

// Whole blocks, as on a device: threads beyond the picture run too.
GpuStatus launch(const GpuFunction& kernel, const GpuShape& shape, void** arguments, GpuStream) {
    if (const GpuStatus status = enter()) return status;
    const auto wide = static_cast<int>(shape.blocks_x * shape.threads_x),
               high = static_cast<int>(shape.blocks_y * shape.threads_y);
    const auto thread = kernel.host(arguments);
    constexpr int pieces = 64, few = 1 << 16;
    const int columns = high > 1 ? 1 : pieces, width = (wide + columns - 1) / columns;
    std::atomic<int> next{0};
    const auto work = [&] {
        for (int piece; (piece = next.fetch_add(1)) < high * columns;) {
            const int left = piece % columns * width;
            for (int x = left; x < std::min(left + width, wide); ++x) thread({x, piece / columns});
        }
    };
    // Threads of its own: for_rows() belongs to the render that holds the lock, which launches need not do.
    std::vector<std::thread> others;
    const unsigned more = wide * high > few ? std::clamp(std::thread::hardware_concurrency(), 1u, 8u) - 1 : 0;
    for (unsigned i = 0; i < more; ++i) others.emplace_back(work);
    work();
    for (std::thread& other : others) other.join();
    return GPU_SUCCESS;
}

template <class... Arguments>
GpuStatus done(Arguments...) {
    return enter();
}

template <class... Arguments>
GpuStatus no_context(Arguments...) {
    return GPU_INVALID_VALUE;
}

}  // namespace

const GpuRuntime& emulated_gpu() {
    static constexpr GpuRuntime table = {
        .get_device_count =
            [](int* count) {
                *count = 1;
                return enter();
            },
        .get_device_properties = get_properties,
        .set_device = done,
        .get_device =
            [](int* device) {
                *device = 0;
                return enter();
            },
        .get_free_memory =
            [](std::size_t* bytes) {
                *bytes = MEMORY - s_used;
                return enter();
            },
        .device_synchronize = done,
        .device_allocate = allocate,
        .device_free = free_memory,
        .host_allocate = allocate,
        .host_free = free_memory,
        .copy_to_device = copy,
        .copy_to_host = copy,
        .clear =
            [](void* memory, std::size_t bytes, GpuStream) {
                std::memset(memory, 0, bytes);
                return enter();
            },
        .stream_create = create,
        .stream_destroy = destroy,
        .stream_synchronize = done,
        .event_create = create,
        .event_destroy = destroy,
        .event_record = done,
        .event_query = done,
        .event_synchronize = done,
        .launch = launch,
        .texture_register = no_context,
        .texture_unregister = no_context,
        .texture_map = no_context,
        .texture_unmap = no_context,
        .texture_texels = no_context,
        .copy_from_texels = no_context,
        .copy_to_texels = no_context,
        .error_text = [](GpuStatus) { return "emulated failure"; },
    };
    return table;
}
