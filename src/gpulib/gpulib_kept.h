// What is kept on a device from one frame to the next, because making it anew takes long: memory, pinned memory, plans
// of transforms.
#pragma once

#include "gpulib/gpulib_runtime.h"

// The device that this thread works on, for what is made there now and kept. -1: it may not be kept, since it would go
// with a context that is the host's own, or because the device can't be told.
int gpu_keeping_device();

// Selects a device for this thread, until a KeepsSelection (gpulib.h) around the call ends.
GpuStatus gpu_select(int device);

// Gives all of it back: memory of devices, pinned memory, and what others keep. It waits for the devices. To be called
// when nobody will use the GPU for a while, and before the library is unloaded; other threads may be using it. False
// where there was nothing.
bool gpu_give_back();

// `give_back` is called by gpu_give_back() from now on, on any thread; it answers whether there was anything. For those
// who keep something of their own, once each.
void gpu_on_give_back(bool (*give_back)());

// What `allocate` answers: the second time, where at first it was `full` and something could be given back.
template <class Allocate>
auto gpu_with_room(Allocate&& allocate, decltype(allocate()) full) {
    auto status = allocate();
    if (status == full && gpu_give_back()) status = allocate();
    return status;
}
