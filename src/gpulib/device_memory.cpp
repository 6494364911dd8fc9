// Memory and streams of the device, freed with their owners.
#include "gpulib/gpulib_image.h"
#include "k7pi_baselib/process.h"

GpuStatus DeviceMemory::allocate(std::size_t bytes) {
    m_process = process_id();
    void* memory = nullptr;
    const GpuStatus status = gpu_runtime().device_allocate(&memory, bytes);
    if (status == GPU_SUCCESS) m_memory = memory;
    return status;
}

DeviceMemory::~DeviceMemory() {
    if (m_memory && m_process == process_id()) gpu_runtime().device_free(m_memory);
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
