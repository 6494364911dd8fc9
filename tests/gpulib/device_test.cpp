// What needs a device: the runtime as it really is. Skipped where there is none.
#include <gmock/gmock.h>

#include <deque>
#include <thread>

#include "gpulib/gpulib.h"
#include "gpulib/gpulib_image.h"
#include "gpulib/gpulib_kept.h"
#include "gpulib/probe.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

class Device : public TemporaryHome {
  protected:
    Device() { OpenLog("run", false); }
};

TEST_F(Device, PicturesGoThereAndBackAndKernelsRun) {
    if (!cuda_available()) {
        // Either build says the same without a driver.
        EXPECT_THAT(log(), testing::AnyOf(testing::HasSubstr("Disabling CUDA."),
                                          testing::HasSubstr("explicitly disabled via QV Variable CUDA_DISABLE.")));
        GTEST_SKIP() << "no CUDA device can be used here: " << log();
    }
    EXPECT_TRUE(cuda_check(true)) << log();
    EXPECT_GE(cuda_device_properties().major, 7);
    EXPECT_THAT(log(), testing::HasSubstr("Number of multiprocessors"));

    constexpr int width = 1921, height = 1081, count = width * height;
    constexpr std::ptrdiff_t row_bytes = width * static_cast<std::ptrdiff_t>(sizeof(float));
    DeviceStream stream;
    ASSERT_EQ(stream.create(), GPU_SUCCESS);
    for (int time = 0; time < 3; ++time) {
        std::vector<float> input(count), output(count, -1.0f);
        for (int i = 0; i < count; ++i) input[static_cast<std::size_t>(i)] = static_cast<float>(i + time);
        const std::vector<float> before = input;
        float* const last_row = output.data() + std::ptrdiff_t{height - 1} * width;
        DeviceImage in({input.data(), width, height, sizeof(float), row_bytes}, stream.get());
        DeviceImage out({last_row, width, height, sizeof(float), -row_bytes}, stream.get());

        // A round trip by way of the device.
        ASSERT_TRUE(in.modify());
        in.written();
        std::fill(input.begin(), input.end(), 0.0f);
        ASSERT_TRUE(in.to_host()) << in.status();
        EXPECT_EQ(input, before);

        auto* const target = static_cast<float*>(out.write());
        ASSERT_TRUE(target);
        const GpuShape shape{.blocks_x = static_cast<unsigned>(cuda_div_up(count, 256)), .threads_x = 256};
        ASSERT_EQ(gpu_launch(probe_kernel(), shape, stream.get(), target, static_cast<unsigned>(count)), GPU_SUCCESS);
        out.written();
        ASSERT_TRUE(out.to_host()) << out.status();
        int wrong = 0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                wrong += last_row[x - std::ptrdiff_t{y} * width] != probe_value(static_cast<unsigned>(y * width + x));
        EXPECT_EQ(wrong, 0) << "the device's arithmetic is the processor's";
        EXPECT_TRUE(in.clear() && in.to_host());
        EXPECT_EQ(std::count(input.begin(), input.end(), 0.0f), count);
    }
    // A launch that no device takes is refused at once, and the next one is none the worse.
    EXPECT_NE(gpu_launch(probe_kernel(), {.threads_x = 4096}, stream.get(), nullptr, 0u), GPU_SUCCESS);
    EXPECT_EQ(stream.finish(), GPU_SUCCESS);
    EXPECT_EQ(test_cuda_works(), 0);
    gpu_give_back();
}

std::size_t free_memory() {
    std::size_t bytes = 0;
    EXPECT_EQ(gpu_runtime().get_free_memory(&bytes), GPU_SUCCESS);
    return bytes;
}

TEST_F(Device, MemoryIsKeptBetweenFramesWithinBoundsAndGivenBack) {
    if (!cuda_available()) GTEST_SKIP() << "no CUDA device can be used here";
    gpu_give_back();
    constexpr std::size_t others = std::size_t{64} << 20;  // what other programs take meanwhile
    const std::size_t before = free_memory(), most = cuda_device_properties().global_memory / 16;
    for (int frame = 0; frame < 20; ++frame) {
        DeviceStream stream;
        ASSERT_EQ(stream.create(), GPU_SUCCESS);
        std::deque<DeviceImage> images;
        for (int i = 0; i < 6; ++i) {
            images.emplace_back(HostPicture{nullptr, 1920, 1080, 16, 0}, stream.get());
            ASSERT_TRUE(images.back().clear());
        }
        ASSERT_EQ(stream.finish(), GPU_SUCCESS);
    }
    EXPECT_EQ(gpu_runtime().device_synchronize(), GPU_SUCCESS);
    EXPECT_LE(before, free_memory() + most + others);
    EXPECT_TRUE(gpu_give_back());
    EXPECT_LE(before, free_memory() + others);
}

TEST_F(Device, AThreadOfTheHostHasSelectedAfterwardsWhatItHad) {
    if (!cuda_available()) GTEST_SKIP() << "no CUDA device can be used here";
    GpuContext ours = nullptr;
    ASSERT_EQ(gpu_runtime().get_context(&ours), GPU_SUCCESS);
    EXPECT_NE(ours, nullptr);
    std::thread([ours] {
        GpuContext selected = ours;
        {
            const KeepsSelection keeps;
            EXPECT_TRUE(cuda_available());
            EXPECT_EQ(test_cuda_works(), 0);
            EXPECT_EQ(gpu_runtime().get_context(&selected), GPU_SUCCESS);
            EXPECT_EQ(selected, ours) << "all threads share it";
        }
        EXPECT_EQ(gpu_runtime().get_context(&selected), GPU_SUCCESS);
        EXPECT_EQ(selected, nullptr);
        // A host with its pictures there, on the device's stream that it has selected.
        EXPECT_EQ(gpu_runtime().set_context(ours), GPU_SUCCESS);
        const HostsDevice hosts;
        EXPECT_TRUE(hosts.usable() && gpu_keeping_device() >= 0);
        EXPECT_EQ(test_cuda_works(), 0);
    }).join();
}

}  // namespace
