// What gpu_pays() counts with: how fast pictures go to the device and back, and what a launch costs.
#include <vector>

#include "benches/device/measure.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_image.h"
#include "gpulib/probe.h"

namespace device_bench {

namespace {

constexpr std::size_t BYTES = std::size_t{WIDTH} * HEIGHT * 16;
constexpr int LAUNCHES = 100;

struct Pinned {
    explicit Pinned(std::size_t bytes) {
        if (gpu_runtime().host_allocate(&memory, bytes) != GPU_SUCCESS) memory = nullptr;
    }
    ~Pinned() { gpu_runtime().host_free(memory); }
    Pinned(const Pinned&) = delete;
    Pinned& operator=(const Pinned&) = delete;
    void* memory = nullptr;
};

void print_speed(const char* what, double milliseconds) {
    std::printf("| %s | %s | %.1f |\n", what, cell(milliseconds).c_str(),
                milliseconds > 0 ? double(BYTES) / milliseconds * 1e-6 : 0.0);
}

}  // namespace

bool measure_bus() {
    const GpuRuntime& runtime = gpu_runtime();
    DeviceStream stream;
    DeviceMemory memory;
    const Pinned pinned(BYTES);
    std::vector<unsigned char> pixels(BYTES, 1);
    if (stream.create() != GPU_SUCCESS || memory.allocate(BYTES) != GPU_SUCCESS || !pinned.memory) return false;
    DeviceImage image({pixels.data(), WIDTH, HEIGHT, 16, WIDTH * 16}, stream.get());
    const auto finished = [&](GpuStatus queued) { return queued == GPU_SUCCESS && stream.finish() == GPU_SUCCESS; };

    const double there = fastest_work(
        [&] { return finished(runtime.copy_to_device(memory.get(), pinned.memory, BYTES, stream.get())); });
    const double back =
        fastest_work([&] { return finished(runtime.copy_to_host(pinned.memory, memory.get(), BYTES, stream.get())); });
    const double staged_there = fastest_work([&] {
        image.host_written();
        return image.read() && stream.finish() == GPU_SUCCESS;
    });
    const double staged_back = fastest_work([&] {
        if (!image.modify()) return false;
        image.written();
        return image.to_host();
    });
    const auto launch = [&] {
        return gpu_launch(probe_kernel(), {.threads_x = 128}, stream.get(), static_cast<float*>(memory.get()), 128u);
    };
    const double queued = fastest_work([&] {
        GpuStatus status = GPU_SUCCESS;
        for (int n = 0; n < LAUNCHES && status == GPU_SUCCESS; ++n) status = launch();
        return finished(status);
    });
    const double waited = fastest_work([&] {
        bool good = true;
        for (int n = 0; n < LAUNCHES && good; ++n) good = finished(launch());
        return good;
    });
    const double allocated = fastest_work([] {
        DeviceMemory other;
        return other.allocate(BYTES) == GPU_SUCCESS;
    });
    const double pooled = fastest_work([&] {
        DeviceMemory other;
        return other.allocate(BYTES, stream.get()) == GPU_SUCCESS;
    });
    const double stream_made = fastest_work([] {
        DeviceStream other;
        return other.create() == GPU_SUCCESS;
    });

    std::printf("\n| A picture of %.0f MB | ms | GB/s |\n|---|---|---|\n", double(BYTES) * 1e-6);
    print_speed("from pinned memory to the device", there);
    print_speed("from the device to pinned memory", back);
    print_speed("from main memory to the device, through the staging blocks", staged_there);
    print_speed("from the device to main memory, likewise", staged_back);
    std::printf("\n| What else a call costs | ms |\n|---|---|\n");
    std::printf("| a launch, with others behind it | %.4f |\n| a launch that is waited for | %.4f |\n",
                queued / LAUNCHES, waited / LAUNCHES);
    std::printf(
        "| memory for a picture, from the device and back | %.3f |\n| the same from the pool | %.3f |\n"
        "| a stream, made and destroyed | %.3f |\n",
        allocated, pooled, stream_made);
    return there >= 0 && back >= 0 && staged_there >= 0 && staged_back >= 0 && queued >= 0 && waited >= 0;
}

}  // namespace device_bench
