#include "host/cli/cuda_device.h"

#include <list>

#include "gpulib/gpulib.h"
#include "gpulib/gpulib_image.h"
#include "host/cli/failure.h"

namespace quillon {

namespace {

// Every call asks cuda_available() first, which selects the device for the calling thread.
class CudaQueue final : public ofxhost::DeviceQueue {
  public:
    bool open() { return cuda_available() && m_stream.create() == GPU_SUCCESS; }

    void* stream() const override { return m_stream.get(); }

    void* allocate(std::size_t bytes) override {
        if (!cuda_available()) return nullptr;
        if (m_blocks.emplace_back().allocate(bytes, m_stream.get()) == GPU_SUCCESS) return m_blocks.back().get();
        m_blocks.pop_back();
        return nullptr;
    }

    void release(void* memory) override {
        if (cuda_available()) m_blocks.remove_if([memory](const DeviceMemory& block) { return block.get() == memory; });
    }

    bool upload(void* device, const void* host, std::size_t bytes) override {
        return cuda_available() && gpu_runtime().copy_to_device(device, host, bytes, m_stream.get()) == GPU_SUCCESS;
    }
    bool download(void* host, const void* device, std::size_t bytes) override {
        return cuda_available() && gpu_runtime().copy_to_host(host, device, bytes, m_stream.get()) == GPU_SUCCESS;
    }
    bool finish() override { return cuda_available() && m_stream.finish() == GPU_SUCCESS; }

  private:
    DeviceStream m_stream;
    std::list<DeviceMemory> m_blocks;
};

class CudaDevice final : public ofxhost::RenderDevice {
  public:
    std::unique_ptr<ofxhost::DeviceQueue> queue() override {
        auto made = std::make_unique<CudaQueue>();
        if (!made->open()) return nullptr;
        return made;
    }
    std::optional<std::size_t> freeMemory() override {
        std::size_t bytes = 0;
        if (!cuda_available() || gpu_runtime().get_free_memory(&bytes) != GPU_SUCCESS) return std::nullopt;
        return bytes;
    }
};

}  // namespace

std::shared_ptr<ofxhost::RenderDevice> cudaDevice() { return std::make_shared<CudaDevice>(); }

std::shared_ptr<ofxhost::RenderDevice> requireCudaDevice() {
    if (cuda_available()) return cudaDevice();
    throw RunError(cuda_built() ? "there is no CUDA device that can be used; without --gpu the processor renders"
                                : "this program was built without CUDA; without --gpu the processor renders");
}

}  // namespace quillon
