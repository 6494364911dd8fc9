#include "gpu/emulated_gpu.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "gpulib/device_rules.h"

namespace {

constexpr GpuStatus LOST = 719;
constexpr std::size_t MEMORY = std::size_t{1} << 30;  // what there is

std::atomic<int> s_calls{0};
std::atomic<bool> s_found{false};
std::atomic<std::size_t> s_used{0};
std::mutex s_mutex;
std::map<const void*, std::size_t> s_blocks;

GpuStatus enter() {
    static const char* const fails_at = std::getenv("EMULATED_GPU_FAILS_AT");
    return s_found && fails_at && s_calls.fetch_add(1) + 1 >= std::atoi(fails_at) ? LOST : GPU_SUCCESS;
}

// A device would go on, or be lost; here it is seen who does it.
void require(bool sound, const std::string& otherwise) {
    if (sound) return;
    std::fprintf(stderr, "emulated GPU: %s\n", otherwise.c_str());
    std::abort();
}

// Of this copy or of another one in the process.
bool is_of_device(const void* memory) {
    const std::uintptr_t at = device_rules::address(memory);
    return device_rules::is_of_device(at) && device_rules::is_mapped(at);
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
    void* const block = s_used.fetch_add(bytes) + bytes <= MEMORY ? device_rules::allocate(bytes) : nullptr;
    if (!block) {
        s_used -= bytes;
        return GPU_OUT_OF_MEMORY;
    }
    const std::lock_guard lock(s_mutex);
    s_blocks[block] = bytes;
    *memory = block;
    return GPU_SUCCESS;
}

// The decision is made when its memory is freed.
GpuStatus free_memory(void* memory) {
    const GpuStatus status = enter();
    const std::lock_guard lock(s_mutex);
    const auto found = s_blocks.find(memory);
    require(found != s_blocks.end(), "memory that is not there is freed");
    device_rules::release(memory, found->second);
    s_used -= found->second;
    s_blocks.erase(found);
    s_found = true;
    return status;
}

GpuStatus allocate_pinned(void** memory, std::size_t bytes) {
    if (const GpuStatus status = enter()) return status;
    *memory = ::operator new(bytes, std::nothrow);
    return *memory ? GPU_SUCCESS : GPU_OUT_OF_MEMORY;
}
GpuStatus free_pinned(void* memory) {
    ::operator delete(memory);
    return enter();
}

GpuStatus copy_to_device(void* to, const void* from, std::size_t bytes, GpuStream) {
    if (const GpuStatus status = enter()) return status;
    require(is_of_device(to) && !is_of_device(from), "a copy to the device goes elsewhere");
    std::memcpy(to, from, bytes);
    return GPU_SUCCESS;
}
GpuStatus copy_to_host(void* to, const void* from, std::size_t bytes, GpuStream) {
    if (const GpuStatus status = enter()) return status;
    require(is_of_device(from) && !is_of_device(to), "a copy to the host goes elsewhere");
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

GpuStatus launch(const GpuFunction& kernel, const GpuShape& shape, void** arguments, GpuStream) {
    if (const GpuStatus status = enter()) return status;
    if (const GpuStatus status = device_rules::status_of(shape)) return status;
    const std::string fault = device_rules::fault_of(kernel, arguments, device_rules::is_mapped);
    require(fault.empty(), fault);
    const auto thread = kernel.host(arguments);
    device_rules::Blocks blocks(shape);
    constexpr std::uint64_t few = 1 << 16;
    const auto work = [&] { blocks.run(thread); };
    // Threads of its own: for_rows() belongs to the render that holds the lock, which launches need not do.
    std::vector<std::thread> others;
    const unsigned more = blocks.threads() > few ? std::clamp(std::thread::hardware_concurrency(), 1u, 8u) - 1 : 0;
    for (unsigned i = 0; i < more; ++i) others.emplace_back(work);
    work();
    for (std::thread& other : others) other.join();
    return GPU_SUCCESS;
}

GpuStatus create_pool(GpuPool* pool, int, std::size_t) { return create(pool); }

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
        .get_context =
            [](GpuContext* context) {
                *context = nullptr;
                return enter();
            },
        .set_context = done,
        .get_free_memory =
            [](std::size_t* bytes) {
                *bytes = MEMORY - s_used;
                return enter();
            },
        .device_synchronize = done,
        .device_allocate = allocate,
        .device_free = free_memory,
        .pool_create = create_pool,
        .pool_destroy = destroy,
        .pool_allocate = [](void** memory, std::size_t bytes, GpuPool, GpuStream) { return allocate(memory, bytes); },
        .pool_free = [](void* memory, GpuStream) { return free_memory(memory); },
        .host_allocate = allocate_pinned,
        .host_free = free_pinned,
        .copy_to_device = copy_to_device,
        .copy_to_host = copy_to_host,
        .clear =
            [](void* memory, std::size_t bytes, GpuStream) {
                require(is_of_device(memory), "memory of the host is cleared");
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
        .stream_wait = done,
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
