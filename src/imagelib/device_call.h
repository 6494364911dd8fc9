// Private to the image library: operations on images of the host that are done on a device.
#pragma once

#include "imagelib/imagelib_cuda.h"
#include "imagelib/samples.h"
#include "k7pi_baselib/k7pi_baselib.h"

// Calls operation(destination on the device, stream), which answers a GpuStep, and brings the result to the host. After
// a failure, which is told to the log as that of `wrapper`, the destination's pixels are as they were.
template <class Operation>
bool done_on_device(const char* wrapper, K7Image* destination, Operation&& operation) {
    DeviceStream stream;
    int error = GPU_NOT_LAUNCHED;
    if (gpu_succeeded(stream.create(), "creating a stream")) {
        DeviceImage result(host_picture(destination), stream.get());
        error = operation(result, stream.get());
        if (error == GPU_DONE) error = gpu_fetch(result);
    }
    if (error == GPU_DONE)
        destination->stats_valid = 0;
    else
        Trace(TRACE_ERROR, "CUDA ERROR: %s() returned error: %d\n", wrapper, error);
    return error == GPU_DONE;
}
