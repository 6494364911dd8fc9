// The shape of all operations: memory, copies, launches, timers, and what is left when a step fails.
#include "gpulib/gpulib_operation.h"

#include <cstdint>
#include <cstring>

#include "gpulib/gpulib.h"
#include "gpulib/staging.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

GpuOperation::GpuOperation(GpuStream stream) : m_stream(stream) { cuda_timer_overhead_start(); }

void GpuOperation::fail(GpuStep step) {
    if (!failed()) m_step = step;
}

const void* GpuOperation::readBytes(DeviceImage& image) {
    if (failed()) return nullptr;
    const void* pixels = image.read();
    if (!pixels) fail(image.has_room() ? GPU_NOT_COPIED_IN : GPU_NO_ROOM_FOR_INPUT);
    return pixels;
}

void* GpuOperation::writeBytes(DeviceImage& image, bool keeps) {
    constexpr int most = sizeof m_written / sizeof *m_written;
    if (failed()) return nullptr;
    void* pixels = keeps ? image.modify() : image.write();
    if (!pixels) fail(keeps && image.has_room() ? GPU_NOT_COPIED_IN : GPU_NO_ROOM_FOR_OUTPUT);
    if (pixels && m_writes < most) m_written[m_writes++] = &image;
    return pixels;
}

void* GpuOperation::scratchBytes(std::size_t count, std::size_t size) {
    if (failed()) return nullptr;
    const bool sound = count > 0 && count <= static_cast<std::size_t>(PTRDIFF_MAX) / size;
    if (!sound || !in_memory([&] {
            m_scratch.emplace_back();
            return gpu_succeeded(m_scratch.back().allocate(count * size, m_stream), "allocating scratch memory");
        })) {
        fail(GPU_NO_ROOM_FOR_OUTPUT);
        return nullptr;
    }
    return m_scratch.back().get();
}

const void* GpuOperation::tableBytes(const void* values, std::size_t count, std::size_t size) {
    void* copy = scratchBytes(count, size);
    if (!copy) return nullptr;
    // So much is taken over before the call returns, without waiting ("Asynchronous concurrent execution"
    // in the CUDA C++ Programming Guide), and needs no pinned memory, whose last copy would have to be waited for.
    constexpr std::size_t AT_ONCE = 65536;
    if (count * size <= AT_ONCE) {
        if (gpu_succeeded(gpu_runtime().copy_to_device(copy, values, count * size, m_stream), "copying a table"))
            return copy;
        fail(GPU_NOT_COPIED_IN);
        return nullptr;
    }
    StagingBlock staging(count * size, m_stream);
    if (!gpu_succeeded(staging.status(), "allocating pinned memory")) {
        fail(GPU_NOT_COPIED_IN);
        return nullptr;
    }
    std::memcpy(staging.data(), values, count * size);
    staging.copies_are_queued();
    if (gpu_succeeded(gpu_runtime().copy_to_device(copy, staging.data(), count * size, m_stream), "copying a table"))
        return copy;
    fail(GPU_NOT_COPIED_IN);
    return nullptr;
}

bool GpuOperation::beginLaunch() {
    if (failed()) return false;
    if (!m_launched) {
        m_launched = true;
        cuda_timer_overhead_stop();
        cuda_timer_kernel_start();
    }
    return true;
}

int GpuOperation::finish() {
    if (m_launched)
        cuda_timer_kernel_stop();
    else
        cuda_timer_overhead_stop();
    for (int i = 0; i < m_writes && !failed(); ++i) m_written[i]->written();
    return m_step;
}

int gpu_fetch(DeviceImage& image) {
    cuda_timer_overhead_start();
    const bool fetched = image.to_host();
    cuda_timer_overhead_stop();
    return fetched ? GPU_DONE : GPU_NOT_COPIED_OUT;
}

// ---- Whether it pays ------------------------------------------------------------------------------------------

bool gpu_pays(std::size_t moved, double processor_seconds) {
    // A picture goes through pinned memory, at what the older buses give, and a frame of launches costs a little.
    constexpr double BYTES_A_SECOND = 6e9, LAUNCHES = 2e-4, WORTH_IT = 1.5;
    if (read_variable_is_yes("CUDA_ALWAYS")) return true;
    const double on_device = LAUNCHES + static_cast<double>(moved) / BYTES_A_SECOND;
    return processor_seconds / processor_count() > WORTH_IT * on_device;
}
