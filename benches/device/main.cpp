// quillon_device_bench [--processor] [WORD]: what a CUDA device brings at 3840 x 2160, as tables for
// docs/performance.md. Without a device one line says so; --processor then measures the processor's columns. WORD: only
// rows whose names hold it. Exit code 1 where an operation or a render failed.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <thread>

#include "benches/device/measure.h"
#include "gpulib/gpulib.h"

int main(int count, char** words) try {
    using namespace device_bench;
    bool processor = false, tell = false;
    Options options;
    for (int i = 1; i < count; ++i)
        if (std::strcmp(words[i], "--processor") == 0)
            processor = true;
        else if (std::strcmp(words[i], "--tell") == 0)
            tell = true;
        else
            options.filter = words[i];
    setenv("CUDA_ALWAYS", "yes", 1);
    setenv("JAWS_DISABLE", "yes", 1);
    options.device = cuda_available();
    if (!options.device) std::printf("There is no CUDA device that can be used, so that nothing is measured on one.\n");
    if (!options.device && (tell || !processor)) return tell;
    const int there = static_cast<int>(std::thread::hardware_concurrency());
    for (const int threads : {2, 16}) options.threads.push_back(threads <= there ? threads : 0);
    if (options.device) {
        const GpuDeviceProperties& device = cuda_device_properties();
        std::printf("%s, capability %d.%d, %.0f GB, beside %d threads of the processor.\n", device.name, device.major,
                    device.minor, double(device.global_memory) / 1e9, there);
    }
    if (tell) return 0;
    std::printf("3840 x 2160 float RGBA, milliseconds, the fastest of up to nine.\n");
    bool passed = !options.device || !options.filter.empty() || measure_bus();
    passed &= measure_operations(options);
    passed &= measure_effects(options);
    return passed ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
