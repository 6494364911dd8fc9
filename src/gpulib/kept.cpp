#include "gpulib/kept.h"

#include <atomic>
#include <mutex>

#include "gpulib/gpulib.h"
#include "gpulib/selection.h"

namespace {

constexpr int DEVICES = 16, OTHERS = 4;

ProcessLock s_lock;
KeptOfDevice s_kept[DEVICES];
int s_process = 0;  // that it belongs to
std::atomic<bool (*)()> s_others[OTHERS];

}  // namespace

ProcessLock& gpu_kept_lock() { return s_lock; }

KeptOfDevice& gpu_kept(int device) {
    if (s_process != process_id())
        for (KeptOfDevice& kept : s_kept) kept = {};
    s_process = process_id();
    return s_kept[device];
}

int gpu_keeping_device() {
    int device = 0;
    const bool known = !gpu_works_in_private() && gpu_runtime().get_device(&device) == GPU_SUCCESS;
    return known && device >= 0 && device < DEVICES ? device : -1;
}

// ---- Pools ----------------------------------------------------------------------------------------------------

namespace {

// A sixteenth of the device: what a render needs, one after the other, without asking the driver (on a device of 24 GB
// ten pictures of 3840 x 2160), and little enough for the host and other programs not to miss it between renders.
std::size_t kept_in_pool(int device) {
    GpuDeviceProperties properties;
    const bool known = gpu_runtime().get_device_properties(device, &properties) == GPU_SUCCESS;
    return known ? properties.global_memory / 16 : 0;
}

}  // namespace

GpuStatus gpu_allocate_from_pool(void** memory, std::size_t bytes, GpuStream stream) {
    const int device = gpu_keeping_device();
    if (device < 0) return GPU_NOT_SUPPORTED;
    // Held until there is memory, so that nobody destroys the pool meanwhile.
    const std::lock_guard lock(s_lock);
    KeptOfDevice& kept = gpu_kept(device);
    const GpuRuntime& runtime = gpu_runtime();
    if (!kept.pool && !kept.has_no_pool)
        kept.has_no_pool =
            !gpu_succeeded(runtime.pool_create(&kept.pool, device, kept_in_pool(device)), "making a pool");
    return kept.pool ? runtime.pool_allocate(memory, bytes, kept.pool, stream) : GPU_NOT_SUPPORTED;
}

// ---- Giving back ----------------------------------------------------------------------------------------------

void gpu_on_give_back(bool (*give_back)()) {
    for (auto& other : s_others) {
        bool (*none)() = nullptr;
        if (other.compare_exchange_strong(none, give_back) || none == give_back) return;
    }
}

bool gpu_give_back() {
    const KeepsSelection keeps;
    bool any = false;
    for (const auto& other : s_others)
        if (bool (*give_back)() = other.load()) any = give_back() || any;
    for (int device = 0; device < DEVICES; ++device) {
        KeptOfDevice taken;
        {
            const std::lock_guard lock(s_lock);
            std::swap(taken, gpu_kept(device));
        }
        if (taken.pinned_count == 0 && !taken.pool) continue;
        any = true;
        // Memory whose freeing is still queued does not go back with its pool.
        const GpuRuntime& runtime = gpu_runtime();
        gpu_succeeded(gpu_select(device), "selecting a device");
        gpu_succeeded(runtime.device_synchronize(), "waiting for the device");
        for (int i = 0; i < taken.pinned_count; ++i) taken.pinned[i].free();
        if (taken.pool) gpu_succeeded(runtime.pool_destroy(taken.pool), "giving a pool back");
    }
    return any;
}
