// What is kept of a device from one use to the next. Private to the folder.
#pragma once

#include <cstddef>

#include "gpulib/gpulib_kept.h"
#include "gpulib/gpulib_runtime.h"
#include "gpulib/staging.h"
#include "k7pi_baselib/process.h"

// Guarded by gpu_kept_lock(). Plain storage without a destructor: nothing is to be run when the library is unloaded.
struct KeptOfDevice {
    static constexpr int PINNED = 2;  // so that one picture can be filled in while another is on its way
    PinnedBlock pinned[PINNED];       // the one given back first comes first; unused places are at the end
    int pinned_count = 0;
    GpuPool pool = nullptr;
    bool has_no_pool = false;  // none can be had
};

ProcessLock& gpu_kept_lock();
// Of a device that gpu_keeping_device() has answered. What a forked child would find is its parent's: it finds nothing.
KeptOfDevice& gpu_kept(int device);

// Memory on a stream from the device's pool; GPU_NOT_SUPPORTED where nothing comes from pools.
GpuStatus gpu_allocate_from_pool(void** memory, std::size_t bytes, GpuStream stream);
