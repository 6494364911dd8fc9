// That the fake sees what a device would do otherwise: else tests with it would prove nothing.
#include "device_rules.h"

#include <gmock/gmock.h>

#include <memory>
#include <vector>

#include "fake_runtime.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct alignas(16) Four {
    float c[4];
};
struct Holder {
    int count;
    const float* from;
};

void pointer_kernel(GpuPlace, const Four*) {}
void holder_kernel(GpuPlace, Holder) {}
void sum_kernel(GpuPlace at, float* values, int count) {  // each thread reads what the one before it writes
    if (at.x > 0 && at.x < count) values[at.x] += values[at.x - 1];
}
void fill_kernel(GpuPlace at, float* values, int count) {
    if (at.x < count) values[at.x] = 1;
}

TEST(DeviceRules, ArgumentsPointToMemoryOfTheDevice) {
    FakeRuntime fake;
    const GpuRuntime& runtime = gpu_runtime();
    void *memory = nullptr, *freed = nullptr;
    ASSERT_EQ(runtime.device_allocate(&memory, 64) + runtime.device_allocate(&freed, 64), GPU_SUCCESS);
    ASSERT_EQ(runtime.device_free(freed), GPU_SUCCESS);
    const auto heap = std::make_unique<Four>();
    const Four here{};
    const auto told = [&](auto&& launch) {
        EXPECT_EQ(launch(), GPU_SUCCESS);
        std::vector<std::string> faults;
        faults.swap(fake.faults);
        return faults;
    };
    const auto pointer = [&](const void* to) {
        return told([&] {
            return gpu_launch(gpu_kernel<pointer_kernel>(), GpuShape{}, nullptr, static_cast<const Four*>(to));
        });
    };
    const auto holder = [&](const void* to) {
        return told([&] {
            return gpu_launch(gpu_kernel<holder_kernel>(), GpuShape{}, nullptr,
                              Holder{1920, static_cast<const float*>(to)});
        });
    };
    for (const void* sound : {static_cast<const void*>(nullptr), static_cast<const void*>(memory)}) {
        EXPECT_THAT(pointer(sound), ElementsAre());
        EXPECT_THAT(holder(sound), ElementsAre());
    }
    for (const void* hosts : {static_cast<const void*>(heap.get()), static_cast<const void*>(&here)}) {
        EXPECT_THAT(pointer(hosts), ElementsAre(HasSubstr("memory of the host")));
        EXPECT_THAT(holder(hosts), ElementsAre(HasSubstr("memory of the host")));
    }
    EXPECT_THAT(pointer(freed), ElementsAre(HasSubstr("freed")));
    // The thread sanitizer leaves no addresses that numbers don't look like.
    if (!threadSanitizer) {
        EXPECT_THAT(holder(freed), ElementsAre(HasSubstr("freed")));
    }
    EXPECT_THAT(pointer(static_cast<float*>(memory) + 1), ElementsAre(HasSubstr("aligned")));
    EXPECT_EQ(runtime.device_free(memory), GPU_SUCCESS);
}

TEST(DeviceRules, ThreadsComeInNoOrderAndEachOnce) {
    FakeRuntime fake;
    const GpuRuntime& runtime = gpu_runtime();
    for (const int count : {128, 129, 5000}) {
        std::vector<float> sums(static_cast<std::size_t>(count)), running = sums;
        for (int i = 0; i < count; ++i) running[static_cast<std::size_t>(i)] = static_cast<float>(i + 1);
        void* memory = nullptr;
        ASSERT_EQ(runtime.device_allocate(&memory, sums.size() * sizeof(float)), GPU_SUCCESS);
        auto* const values = static_cast<float*>(memory);
        const GpuShape shape = gpu_shape_of_line(count);
        for (const auto& kernel : {gpu_kernel<fill_kernel>(), gpu_kernel<sum_kernel>()}) {
            ASSERT_EQ(gpu_launch(kernel, shape, nullptr, values, count), GPU_SUCCESS);
            ASSERT_EQ(runtime.copy_to_host(sums.data(), values, sums.size() * sizeof(float), nullptr), GPU_SUCCESS);
            EXPECT_NE(sums, running) << "a race goes unseen";
            if (kernel.host == gpu_kernel<fill_kernel>().host) {
                EXPECT_EQ(sums, std::vector<float>(sums.size(), 1)) << count;
            }
        }
        EXPECT_EQ(runtime.device_free(memory), GPU_SUCCESS);
    }
}

TEST(DeviceRules, LaunchesHaveLimits) {
    const FakeRuntime fake;
    for (const GpuShape& shape : {GpuShape{.blocks_x = 0}, {.blocks_y = 65536}, {.threads_x = 1025}, {1, 1, 33, 32}})
        EXPECT_EQ(gpu_launch(gpu_kernel<pointer_kernel>(), shape, nullptr, nullptr), GPU_INVALID_CONFIGURATION);
}

}  // namespace
