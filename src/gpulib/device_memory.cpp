// Memory and streams of the device, freed with their owners.
#include "gpulib/gpulib_image.h"
#include "gpulib/kept.h"
#include "k7pi_baselib/process.h"

GpuStatus DeviceMemory::allocate(std::size_t bytes, GpuStream stream) {
    void* memory = nullptr;
    const GpuStatus status =
        gpu_with_room([&] { return gpu_allocate_from_pool(&memory, bytes, stream); }, GPU_OUT_OF_MEMORY);
    if (status == GPU_NOT_SUPPORTED) return allocate(bytes);
    if (status != GPU_SUCCESS) return status;
    m_process = process_id();
    m_memory = memory;
    m_stream = stream;
    m_pooled = true;
    return GPU_SUCCESS;
}

GpuStatus DeviceMemory::allocate(std::size_t bytes) {
    void* memory = nullptr;
    const GpuStatus status =
        gpu_with_room([&] { return gpu_runtime().device_allocate(&memory, bytes); }, GPU_OUT_OF_MEMORY);
    m_process = process_id();
    if (status == GPU_SUCCESS) m_memory = memory;
    return status;
}

DeviceMemory::~DeviceMemory() {
    if (!m_memory || m_process != process_id()) return;
    if (m_pooled)
        gpu_runtime().pool_free(m_memory, m_stream);
    else
        gpu_runtime().device_free(m_memory);
}

GpuStatus DeviceStream::create() {
    m_process = process_id();
    GpuStream stream = nullptr;
    const GpuStatus status = gpu_runtime().stream_create(&stream);
    if (status == GPU_SUCCESS) m_stream = stream;
    return status;
}

GpuStatus DeviceStream::finish() { return gpu_runtime().stream_synchronize(m_stream); }

DeviceStream::~DeviceStream() {
    if (m_stream && m_process == process_id()) gpu_runtime().stream_destroy(m_stream);
}
