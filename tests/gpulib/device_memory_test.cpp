// Memory of the device: when it comes and goes, what is kept, and what a host has selected meanwhile.
#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "fake_runtime.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_image.h"
#include "gpulib/gpulib_kept.h"
#include "gpulib/gpulib_operation.h"
#include "k7pi_baselib/temporary_home.h"

namespace {

constexpr int COUNT = 1000;

void count_kernel(GpuPlace at, float* to, int first, int count) {
    if (at.x < count) to[at.x] = static_cast<float>(first + at.x);
}
void copy_kernel(GpuPlace at, float* to, const float* from, int count) {
    if (at.x < count) to[at.x] = from[at.x];
}

class DeviceMemoryTest : public TemporaryHome {
  protected:
    // A picture made by way of scratch memory that is freed while all is queued. `first`: of its numbers.
    static int make(DeviceImage& image, int first, GpuStream stream) {
        GpuOperation operation(stream);
        auto* to = operation.write<float>(image);
        auto* between = operation.scratch<float>(COUNT);
        const GpuShape shape = gpu_shape_of_line(COUNT);
        operation.launch(gpu_kernel<count_kernel>(), shape, between, first, COUNT);
        operation.launch(gpu_kernel<copy_kernel>(), shape, to, between, COUNT);
        return operation.finish();
    }
    static bool is_right(const std::vector<float>& pixels, int first) {
        for (int i = 0; i < COUNT; ++i)
            if (pixels[static_cast<std::size_t>(i)] != static_cast<float>(first + i)) return false;
        return true;
    }
    static HostPicture host(std::vector<float>& pixels) { return {pixels.data(), COUNT, 1, sizeof(float), 4 * COUNT}; }

    // A frame as effects make one.
    static bool frame(int first) {
        std::vector<float> pixels(COUNT);
        DeviceStream stream;
        if (stream.create() != GPU_SUCCESS) return false;
        DeviceImage image(host(pixels), stream.get());
        return make(image, first, stream.get()) == GPU_DONE && image.to_host() && is_right(pixels, first);
    }

    const ScopedEnvironment m_disable{"CUDA_DISABLE", nullptr};
};

TEST_F(DeviceMemoryTest, ComesAndGoesInTheOrderOfItsStream) {
    FakeRuntime fake;
    std::vector<float> pixels[2] = {std::vector<float>(COUNT), std::vector<float>(COUNT)};
    {
        DeviceStream streams[2];
        ASSERT_EQ(streams[0].create() + streams[1].create(), GPU_SUCCESS);
        DeviceImage a(host(pixels[0]), streams[0].get()), b(host(pixels[1]), streams[1].get());
        ASSERT_EQ(make(a, 1, streams[0].get()) + make(b, 2, streams[1].get()), GPU_DONE);
        EXPECT_EQ(fake.blocks_of_device(), 2u) << "scratch memory is freed";
        EXPECT_EQ(fake.calls_of("stream_synchronize") + fake.calls_of("device_synchronize"), 0) << "without waiting";
        EXPECT_TRUE(b.to_host() && a.to_host());
    }
    EXPECT_TRUE(is_right(pixels[0], 1) && is_right(pixels[1], 2));
    EXPECT_EQ(fake.pools(), 1u);
}

TEST_F(DeviceMemoryTest, IsPlainWhereThereAreNoPools) {
    FakeRuntime fake;
    fake.has_pools = false;
    EXPECT_TRUE(frame(1) && frame(2));
    EXPECT_EQ(fake.calls_of("pool_create"), 1) << "asked for once";
    EXPECT_EQ(fake.blocks_of_device(), 0u);
}

TEST_F(DeviceMemoryTest, WhatIsKeptIsGivenBackBeforeThereIsNoRoom) {
    FakeRuntime fake;
    fake.memory = 10000;
    EXPECT_TRUE(frame(1));
    EXPECT_EQ(fake.idle_memory(), 4000u) << "kept for the next frame, besides the picture, whose freeing is queued";
    DeviceMemory large, other;
    EXPECT_EQ(large.allocate(9000), GPU_SUCCESS);
    EXPECT_EQ(fake.blocks_of_host(), 0u);
    EXPECT_FALSE(frame(2));
    EXPECT_EQ(other.allocate(2000, nullptr), GPU_OUT_OF_MEMORY);
    EXPECT_EQ(other.allocate(900, nullptr), GPU_SUCCESS);
}

TEST_F(DeviceMemoryTest, GivingBackLeavesNothingAndTheSelectionAsItWas) {
    FakeRuntime fake;
    const auto hosts = reinterpret_cast<GpuContext>(&fake);
    fake.private_contexts[hosts] = 0;
    FakeRuntime::select(hosts);
    fake.forget_calls();
    {
        const KeepsSelection keeps;
        EXPECT_EQ(fake.calls_of("get_context"), 0) << "nothing before something is selected";
        ASSERT_TRUE(cuda_available());
        EXPECT_NE(FakeRuntime::context(), hosts);
        EXPECT_TRUE(frame(1));
    }
    EXPECT_EQ(FakeRuntime::context(), hosts);
    EXPECT_EQ(fake.pools() + fake.blocks_of_host(), 2u);
    EXPECT_TRUE(gpu_give_back());
    EXPECT_EQ(fake.pools() + fake.blocks_of_host(), 0u);
    EXPECT_EQ(FakeRuntime::context(), hosts);
    const int calls = fake.calls();
    EXPECT_FALSE(gpu_give_back());
    EXPECT_EQ(fake.calls(), calls);
    SetTiming(true);
    std::thread(cuda_timer_kernel_start).join();
    EXPECT_EQ(fake.calls(), calls) << "a thread without a device waits for none";
    SetTiming(false);
}

// Hosts whose pictures are on another device than ours, or in a context that they have made themselves.
TEST_F(DeviceMemoryTest, WorksWhereTheHostDoesAndKeepsNothingOfAContextThatIsTheHosts) {
    FakeRuntime fake;
    fake.devices = 2;
    const auto own = reinterpret_cast<GpuContext>(&fake);
    fake.private_contexts[own] = 1;
    ASSERT_EQ(gpu_select(1), GPU_SUCCESS);
    const GpuContext shared = FakeRuntime::context();
    for (const GpuContext hosts : {shared, own, static_cast<GpuContext>(nullptr)}) {
        FakeRuntime::select(hosts);
        GpuStream stream = nullptr;
        ASSERT_EQ(gpu_runtime().stream_create(&stream), GPU_SUCCESS);
        {
            const KeepsSelection keeps;
            const HostsDevice device;
            ASSERT_TRUE(device.usable() && cuda_available());
            EXPECT_TRUE(!hosts || FakeRuntime::context() == hosts);
            std::vector<float> pixels(COUNT);
            DeviceImage image(host(pixels), stream);
            EXPECT_EQ(make(image, 7, stream), GPU_DONE) << "the stream works in no other context";
            EXPECT_TRUE(image.to_host() && is_right(pixels, 7));
        }
        EXPECT_EQ(FakeRuntime::context(), hosts);
        EXPECT_EQ(gpu_runtime().stream_destroy(stream), GPU_SUCCESS);
        // The decision is made on our device.
        EXPECT_EQ(fake.pools(), 2u);
        EXPECT_EQ(fake.blocks_of_host(), hosts ? 1u : 2u) << "one for each device";
        EXPECT_EQ(fake.blocks_of_device(), 0u);
    }
}

TEST_F(DeviceMemoryTest, AKernelThatTheDeviceStopsLosesItForGood) {
    FakeRuntime fake;
    OpenLog("run", false);
    ASSERT_TRUE(cuda_available());
    for (const int error : {999, 700}) {  // unknown, and an address that is none
        fake.answers["stream_synchronize"] = error;
        EXPECT_FALSE(frame(1));
        fake.answers.clear();
        EXPECT_EQ(cuda_available(), error == 999);
    }
    EXPECT_THAT(log(), testing::HasSubstr("The CUDA device is lost. Disabling CUDA. Error=700\n"));
}

}  // namespace
