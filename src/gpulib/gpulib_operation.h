// One operation on pictures of the device: what is common to all of them.
#pragma once

#include <deque>

#include "gpulib/gpulib_image.h"

// A pixel of four floats, which the device reads and writes at once.
struct alignas(16) GpuPixel {
    float c[4];
};

// The step that failed, which the caller tells the log.
enum GpuStep : int {
    GPU_DONE = 0,
    GPU_NO_ROOM_FOR_INPUT = 1,
    GPU_NO_ROOM_FOR_OUTPUT = 2,
    GPU_NOT_COPIED_IN = 3,
    GPU_NOT_LAUNCHED = 4,
    GPU_NOT_COPIED_OUT = 5,
};

// Fetches inputs, launches, and says in the end how it went. After a step that failed the following ones do nothing, so
// that an operation is written without a test after each. Pictures stay on the device, and what is queued may still
// run when it is over.
//
//     int cuda_halve(DeviceImage& in, DeviceImage& out, int width, int height, GpuStream stream) {
//         GpuOperation operation(stream);
//         const auto* from = operation.read<GpuPixel>(in);
//         auto* to = operation.write<GpuPixel>(out);
//         operation.launch(halve_kernel(), gpu_shape_of_picture(width, height), to, from, width, height);
//         return operation.finish();
//     }
//
// Time up to the first launch counts as overhead, time from there as that of kernels.
class GpuOperation {
  public:
    explicit GpuOperation(GpuStream stream);
    GpuOperation(const GpuOperation&) = delete;
    GpuOperation& operator=(const GpuOperation&) = delete;

    // Null after a failure. An image that is written or modified counts as written when finish() succeeds.
    template <class T>
    const T* read(DeviceImage& image) {
        return static_cast<const T*>(readBytes(image));
    }
    template <class T>
    T* write(DeviceImage& image) {
        return static_cast<T*>(writeBytes(image, false));
    }
    template <class T>
    T* modify(DeviceImage& image) {
        return static_cast<T*>(writeBytes(image, true));
    }
    // Memory for this operation alone, freed behind the work that is queued.
    template <class T>
    T* scratch(std::size_t count) {
        return static_cast<T*>(scratchBytes(count, sizeof(T)));
    }
    // A copy on the device of a table of the host, which may be changed after the call.
    template <class T>
    const T* table(const T* values, std::size_t count) {
        return static_cast<const T*>(tableBytes(values, count, sizeof(T)));
    }

    template <class... Parameters>
    void launch(const GpuKernel<Parameters...>& kernel, const GpuShape& shape,
                std::type_identity_t<Parameters>... arguments) {
        if (beginLaunch() && !gpu_succeeded(gpu_launch(kernel, shape, m_stream, arguments...), "launching a kernel"))
            fail(GPU_NOT_LAUNCHED);
    }

    bool failed() const { return m_step != GPU_DONE; }
    void fail(GpuStep step);
    GpuStream stream() const { return m_stream; }
    int finish();  // a GpuStep; to be called once

  private:
    const void* readBytes(DeviceImage& image);
    void* writeBytes(DeviceImage& image, bool keeps);
    void* scratchBytes(std::size_t count, std::size_t size);
    const void* tableBytes(const void* values, std::size_t count, std::size_t size);
    bool beginLaunch();

    GpuStream m_stream;
    GpuStep m_step = GPU_DONE;
    bool m_launched = false;
    std::deque<DeviceMemory> m_scratch;
    DeviceImage* m_written[4] = {};
    int m_writes = 0;
};

// Brings a picture to the host: GPU_DONE or GPU_NOT_COPIED_OUT.
int gpu_fetch(DeviceImage& image);

// ---- Whether it pays ------------------------------------------------------------------------------------------

// Whether the device is expected to be faster by so much that it is worth its power: `moved` bytes go to and from it,
// and on the processor the work takes `processor_seconds` of one thread's time, which all threads share. With the
// variable CUDA_ALWAYS at "yes" it always pays. Asks nothing of the device.
bool gpu_pays(std::size_t moved, double processor_seconds);
