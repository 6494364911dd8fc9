// Whether a device is used: each way the check can end, with its messages, and what is asked of the runtime.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "fake_runtime.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_kept.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CudaSupport : public TemporaryHome {
  protected:
    CudaSupport() { OpenLog("run", false); }

    // The texts of the log's lines so far, without their heads; those of level ERROR have a "!" before them.
    std::vector<std::string> texts() {
        std::vector<std::string> found;
        for (const std::string& line : lines(log())) {
            const std::size_t colon = line.find(": ");
            found.push_back((line.substr(0, colon).ends_with("ERROR") ? "!" : "") + line.substr(colon + 2));
        }
        OpenLog("run", false);
        return found;
    }

    // Without variables of whoever runs the tests.
    ScopedEnvironment m_disable{"CUDA_DISABLE", nullptr};
    ScopedEnvironment m_number{"CUDA_DEVICE_NUMBER", nullptr};
    ScopedEnvironment m_info{"CUDA_DEBUG_INFO", nullptr};
};

TEST_F(CudaSupport, EveryWayTheCheckEnds) {
    struct Case {
        const char* what;
        void (*prepare)(FakeRuntime& fake);
        bool available;
        std::vector<std::string> texts;
    };
    const std::string works = "SUCCESS: test_cuda_works() returned: 0. CUDA enabled.";
    const std::vector<std::string> fails = {"!CUDA kernel did not execute as expected. Is *DRIVER* CUDA capable?",
                                            "!FAILED. test_cuda_works() returned: 1. Disabling CUDA."};
    const Case cases[] = {
        {"a device", [](FakeRuntime&) {}, true, {works}},
        {"no driver",
         [](FakeRuntime& fake) { fake.answers["get_device_count"] = GPU_INSUFFICIENT_DRIVER; },
         false,
         {"!Failed to get CUDA device count. Disabling CUDA."}},
        {"no device",
         [](FakeRuntime& fake) { fake.devices = 0; },
         false,
         {"There are no CUDA capable devices on this machine. Disabling CUDA."}},
        {"no properties",
         [](FakeRuntime& fake) { fake.answers["get_device_properties"] = 999; },
         false,
         {"!Failed to get properties of CUDA device 0. Disabling CUDA."}},
        {"before CUDA",
         [](FakeRuntime& fake) { fake.properties.major = 0; },
         false,
         {"!Device supports CUDA version < 1.0 (!). Disabling CUDA."}},
        {"a device of somebody else",
         [](FakeRuntime& fake) { fake.answers["set_device"] = 46; },
         false,
         {"!Failed to set CUDA (2.2+) device. Disabling CUDA. Error=46"}},
        {"an emulation",
         [](FakeRuntime& fake) {
             std::snprintf(fake.properties.name, sizeof fake.properties.name, "Device Emulation (CPU)");
         },
         false,
         {"Treating \"Device Emulation\" as CUDA unavailable. Disabling CUDA."}},
        {"older than what we compile for", [](FakeRuntime& fake) { fake.answers["launch"] = GPU_NO_KERNEL_IMAGE; },
         false, fails},
        {"out of memory", [](FakeRuntime& fake) { fake.answers["device_allocate"] = GPU_OUT_OF_MEMORY; }, false, fails},
        {"a kernel that fails", [](FakeRuntime& fake) { fake.answers["stream_synchronize"] = 719; }, false, fails},
        {"a copy that fails", [](FakeRuntime& fake) { fake.answers["copy_to_host"] = 719; }, false, fails},
        {"other roundings", [](FakeRuntime& fake) { fake.probe_is_wrong = true; }, false, fails},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FakeRuntime fake;
        c.prepare(fake);
        EXPECT_EQ(cuda_available(), c.available);
        EXPECT_EQ(texts(), c.texts);
        EXPECT_EQ(cuda_device_properties().warp_size, c.available ? 32 : 0);

        fake.forget_calls();
        const int before = fake.calls();
        EXPECT_EQ(cuda_available(), c.available) << "once more";
        EXPECT_EQ(fake.calls() - before, c.available ? 1 : 0);
        EXPECT_EQ(fake.calls_of("set_device"), c.available ? 1 : 0);
        EXPECT_THAT(texts(), IsEmpty());
    }
}

TEST_F(CudaSupport, AnActiveProcessIsNoFailure) {
    FakeRuntime fake;
    fake.answers["set_device"] = GPU_SET_ON_ACTIVE_PROCESS;
    SetTraceLevel(TRACE_TRACE);
    texts();
    EXPECT_TRUE(cuda_check(false));
    EXPECT_THAT(texts(), testing::Contains("CUDA device already selected (OK)(cudaErrorSetOnActiveProcess)"));
    EXPECT_EQ(fake.calls_of("set_device"), 1);
}

TEST_F(CudaSupport, VariablesSayWhichDeviceOrNone) {
    {
        FakeRuntime fake;
        ScopedEnvironment disable("CUDA_DISABLE", "YES");
        EXPECT_FALSE(cuda_available());
        SetTiming(true);
        cuda_timer_kernel_start();
        cuda_timer_kernel_stop();
        cuda_round_fft_size(7);
        EXPECT_EQ(fake.calls(), 0) << "nothing at all";
        EXPECT_THAT(texts(), ElementsAre("CUDA explicitly disabled via QV Variable CUDA_DISABLE."));
    }
    for (const auto& [number, available] : {std::pair{"-1", false}, {"0", true}, {"2", true}, {"3", false}}) {
        FakeRuntime fake;
        fake.devices = 3;
        ScopedEnvironment outer("CUDA_DEVICE_NUMBER", number);
        EXPECT_EQ(cuda_available(), available) << number;
        if (available) {
            EXPECT_THAT(fake.selected_devices(), ElementsAre(std::atoi(number)));
            texts();
        } else {
            EXPECT_THAT(texts(), ElementsAre(std::string("!Requested device ") + number +
                                             ", but only devices 0 to 2 are available. Disabling CUDA."));
        }
    }
    // The store comes before the environment.
    FakeRuntime fake;
    write(home + "/Settings/Variables/CUDA_DISABLE", std::string("\3\0\0\0yes", 7));
    ScopedEnvironment outer("CUDA_DISABLE", "no");
    EXPECT_FALSE(cuda_available());
    EXPECT_EQ(fake.calls(), 0);
}

TEST_F(CudaSupport, DebugInfoShowsThePropertiesWhateverTheLevel) {
    const std::vector<std::string> properties = {
        "! CUDA Device 0 Properties:",
        "                  Device name: Fake device",
        "                Global memory: 4294967296 bytes",
        "     Max shared memory per TB: 49152 bytes",
        "         Max registers per TB: 65536",
        "                    Warp size: 32 threads",
        "                    Max pitch: 2147483647 bytes (cudaMallocPitch())",
        "           Max threads per TB: 1024 threads",
        "            Max TB dimensions: 1024 x 512 x 256",
        "            Max BG dimensions: 65535 x 65534 x 65533",
        "                  Clock speed: 1980000 kHz",
        "              Constant memory: 65536 bytes",
        "           Compute capability: 9.0",
        "Texture alignment requirement: 512 bytes",
        " Copy to host while executing: Yes",
        "    Number of multiprocessors: 132",
    };
    SetTraceLevel(TRACE_OFF);
    FakeRuntime fake;
    EXPECT_TRUE(cuda_check(false));
    EXPECT_THAT(texts(), IsEmpty());
    EXPECT_TRUE(cuda_check(true));
    EXPECT_EQ(texts(), properties);
    ScopedEnvironment outer("CUDA_DEBUG_INFO", "yes");
    EXPECT_TRUE(cuda_available());
    EXPECT_EQ(texts(), properties);
    EXPECT_EQ(GetTraceLevel(), TRACE_OFF);
}

TEST_F(CudaSupport, ThreadsShareOneCheckAndEachSelectsTheDevice) {
    FakeRuntime fake;
    fake.devices = 2;
    ScopedEnvironment outer("CUDA_DEVICE_NUMBER", "1");
    std::atomic<int> yes{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([&] { yes += cuda_available(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(yes, 8);
    EXPECT_EQ(fake.calls_of("launch"), 1);
    EXPECT_EQ(fake.calls_of("set_device"), 8);
    EXPECT_THAT(fake.selected_devices(), ElementsAre(1));
}

TEST_F(CudaSupport, ALostDeviceIsNotAskedForAgain) {
    FakeRuntime fake;
    EXPECT_TRUE(cuda_available());
    texts();
    fake.fail_call(1, true);
    EXPECT_FALSE(cuda_available());
    EXPECT_FALSE(cuda_available());
    EXPECT_EQ(fake.calls(), 1);
    EXPECT_THAT(texts(), ElementsAre("!Failed to set CUDA (2.2+) device. Disabling CUDA. Error=719"));
    EXPECT_EQ(cuda_device_properties().warp_size, 0);
}

// Runs in a forked child, whose answers are bits of its exit status.
template <class Body>
int in_child(Body&& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(CudaSupport, AForkedChildDecidesAnewAndLeavesItsParentsMemoryAlone) {
    FakeRuntime fake;
    ASSERT_TRUE(cuda_available());
    SetTiming(true);
    std::vector<float> pixels(64, 1.0f);
    auto image = std::make_unique<DeviceImage>(HostPicture{pixels.data(), 4, 4, 16, 64}, nullptr);
    ASSERT_TRUE(image->read());

    const int answer = in_child([&] {
        fake.answers["get_device_count"] = 3;  // as it is when the parent has used a device
        fake.forget_calls();
        cuda_timer_kernel_start();
        gpu_timer_start();
        const bool untouched = fake.calls_of("device_synchronize") == 0 && cuda_device_properties().warp_size == 0;
        const bool refused = !cuda_available() && fake.calls_of("get_device_count") == 1;
        image.reset();
        gpu_give_back();
        return untouched | refused << 1 | (fake.blocks_of_device() == 1) << 2 | (fake.blocks_of_host() == 1) << 3;
    });
    EXPECT_EQ(answer, 15);
    EXPECT_TRUE(cuda_available());
    EXPECT_EQ(fake.calls_of("get_device_count"), 1);
}

TEST_F(CudaSupport, TimersWaitForTheDeviceWhileTimingIsOn) {
    FakeRuntime fake;
    const auto span = [](double& overhead, double& kernel) {
        cuda_timer_overhead_start();
        thread_sleep(2);
        overhead = cuda_timer_overhead_stop();
        cuda_timer_kernel_start();
        thread_sleep(2);
        kernel = cuda_timer_kernel_stop();
    };
    double overhead = 0, kernel = 0;
    SetTiming(true);
    span(overhead, kernel);
    EXPECT_EQ(fake.calls(), 0) << "before the first cuda_available()";
    EXPECT_GE(overhead, 2);

    ASSERT_TRUE(cuda_available());
    const double overhead_before = cuda_timer_overhead_total(), kernel_before = cuda_timer_kernel_total();
    span(overhead, kernel);
    EXPECT_EQ(fake.calls_of("device_synchronize"), 4);
    EXPECT_GE(overhead, 2);
    EXPECT_GE(kernel, 2);
    EXPECT_DOUBLE_EQ(cuda_timer_overhead_total() - overhead_before, overhead);
    EXPECT_DOUBLE_EQ(cuda_timer_kernel_total() - kernel_before, kernel);
    EXPECT_EQ(cuda_timer_kernel_stop(), 0) << "without a start";
    gpu_timer_start();
    EXPECT_EQ(fake.calls_of("device_synchronize"), 5) << "spans of the performance log wait, too";

    SetTiming(false);
    span(overhead, kernel);
    EXPECT_EQ(overhead + kernel, 0);
    EXPECT_EQ(fake.calls_of("device_synchronize"), 5);
}

TEST_F(CudaSupport, Sizes) {
    EXPECT_EQ(cuda_div_up(0, 16), 0);
    EXPECT_EQ(cuda_div_up(16, 16), 1);
    EXPECT_EQ(cuda_div_up(17, 16), 2);
    EXPECT_EQ(cuda_div_up(2147483647, 16), 134217728);
    const GpuShape shape = gpu_shape_of_picture(1920, 1080);
    EXPECT_EQ(shape.blocks_x * shape.threads_x, 1920u);
    EXPECT_EQ(shape.blocks_y * shape.threads_y, 1080u);
    EXPECT_EQ(shape.threads_x * shape.threads_y, 16u * 12);

    FakeRuntime fake;
    for (const bool device : {false, true}) {
        fake.answers["get_device_count"] = device ? GPU_SUCCESS : GPU_INSUFFICIENT_DRIVER;
        gpu_set_runtime(&gpu_runtime());  // decides anew
        for (const auto& [n, without, with] : {std::tuple{1, 1, 16},
                                               {9, 16, 16},
                                               {513, 1024, 1024},
                                               {1024, 1024, 1024},
                                               {1025, 1536, 1536},
                                               {1100, 1536, 1536},
                                               {1536, 1536, 1536},
                                               {2048, 2048, 2048},
                                               {0, 1, 16},
                                               {2147483647, 1 << 30, 1 << 30}})
            EXPECT_EQ(cuda_round_fft_size(n), device ? with : without) << n;
    }
    fake.properties.warp_size = 600;
    gpu_set_runtime(&gpu_runtime());
    EXPECT_EQ(cuda_round_fft_size(1501), 2048) << "1800 first";
}

}  // namespace
