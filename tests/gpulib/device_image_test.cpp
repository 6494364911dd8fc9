// Images on both sides: what is copied and when, and what is left where something fails.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "fake_runtime.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_image.h"
#include "gpulib/gpulib_kept.h"
#include "k7pi_baselib/rows.h"
#include "support/row_threads.h"

namespace {

// A picture of floats with numbers of its own between and around its rows, which nobody may touch.
class Picture {
  public:
    Picture(int width, int height, float first, bool upside_down = false)
        : m_width(width),
          m_height(height),
          m_down(upside_down),
          m_values(static_cast<std::size_t>((width + 1) * height), UNTOUCHED) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) at(x, y) = first + static_cast<float>(y * width + x);
    }
    float& at(int x, int y) {
        const int row = m_down ? m_height - 1 - y : y;
        return m_values[static_cast<std::size_t>(row * (m_width + 1) + x)];
    }
    HostPicture host() {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(sizeof(float)) * (m_width + 1);
        return {&at(0, 0), m_width, m_height, sizeof(float), m_down ? -row : row};
    }
    bool operator==(const Picture& other) const { return m_values == other.m_values; }

  private:
    static constexpr float UNTOUCHED = -77;
    int m_width, m_height;
    bool m_down;
    std::vector<float> m_values;
};

void add_kernel(GpuPlace at, float* to, const float* from, int count) {
    if (at.x < count) to[at.x] = from[at.x] + 1000;
}

GpuStatus launch_add(void* to, const void* from, int count, GpuStream stream) {
    return gpu_launch(gpu_kernel<add_kernel>(), gpu_shape_of_line(count), stream, static_cast<float*>(to),
                      static_cast<const float*>(from), count);
}

// As a library's GPU path does it: output = input + 1000, twice, the second time in place.
bool add_twice(Picture& input, Picture& output, int count) {
    DeviceStream stream;
    if (stream.create() != GPU_SUCCESS) return false;
    DeviceImage in(input.host(), stream.get()), out(output.host(), stream.get());
    const void* source = in.read();
    void* target = source ? out.write() : nullptr;
    if (!target || launch_add(target, source, count, stream.get()) != GPU_SUCCESS) return false;
    out.written();
    target = out.modify();
    if (!target || launch_add(target, target, count, stream.get()) != GPU_SUCCESS) return false;
    out.written();
    return out.to_host();
}

TEST(DeviceImage, CopiesOnlyWhenTheOtherSideIsAskedFor) {
    FakeRuntime fake;
    Picture pixels(5, 3, 10);
    const auto copies = [&] { return std::pair(fake.calls_of("copy_to_device"), fake.calls_of("copy_to_host")); };
    DeviceImage image(pixels.host(), nullptr);
    EXPECT_EQ(fake.calls(), 0);
    EXPECT_TRUE(image.to_host());
    const void* place = image.read();
    EXPECT_EQ(image.read(), place);
    EXPECT_TRUE(image.to_host());
    EXPECT_EQ(copies(), std::pair(1, 0)) << "reading leaves both sides valid";

    EXPECT_EQ(launch_add(image.modify(), place, 15, nullptr), GPU_SUCCESS);
    EXPECT_TRUE(image.on_host()) << "until it is said that the kernel runs";
    image.written();
    EXPECT_FALSE(image.on_host());
    EXPECT_EQ(image.read(), place);
    EXPECT_TRUE(image.to_host());
    EXPECT_TRUE(image.to_host());
    EXPECT_EQ(copies(), std::pair(1, 1));
    EXPECT_EQ(pixels, Picture(5, 3, 1010));

    pixels.at(4, 2) = 5;
    image.host_written();
    EXPECT_EQ(image.write(), place);
    EXPECT_EQ(copies(), std::pair(1, 1)) << "what will be overwritten is not copied";
    EXPECT_TRUE(image.read());
    EXPECT_EQ(copies(), std::pair(2, 1));
    EXPECT_TRUE(image.clear());
    EXPECT_TRUE(image.to_host());
    EXPECT_EQ(pixels.at(0, 0), 0);
    EXPECT_EQ(pixels.at(4, 2), 0);
    EXPECT_EQ(fake.calls_of("device_allocate"), 1);
}

TEST(DeviceImage, RowsWithGapsUpsideDownAndInManyBands) {
    FakeRuntime fake;
    const RowThreads threads(3);
    // The last one is of three bands.
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {1024, 2500}})
        for (const bool down : {false, true}) {
            Picture input(width, height, 1, down), output(width, height, 0, !down);
            EXPECT_TRUE(add_twice(input, output, width * height));
            EXPECT_EQ(input, Picture(width, height, 1, down));
            EXPECT_EQ(output, Picture(width, height, 2001, !down)) << width;
        }
    EXPECT_EQ(fake.calls_of("copy_to_device"), 4 + 2 * 3);
}

TEST(DeviceImage, TwoStagingBlocksAreKeptAndNotReusedTooEarly) {
    FakeRuntime fake;
    std::vector<Picture> pixels;
    std::vector<std::unique_ptr<DeviceImage>> images;
    for (int i = 0; i < 6; ++i) pixels.emplace_back(8, 8, static_cast<float>(100 * i));
    // Nothing waits for the device here, so that each copy finds the ones before it under way.
    for (Picture& picture : pixels) {
        images.push_back(std::make_unique<DeviceImage>(picture.host(), nullptr));
        void* place = images.back()->modify();
        ASSERT_TRUE(place);
        ASSERT_EQ(launch_add(place, place, 64, nullptr), GPU_SUCCESS);
        images.back()->written();
    }
    for (const auto& image : images) EXPECT_TRUE(image->to_host());
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(pixels[static_cast<std::size_t>(i)], Picture(8, 8, static_cast<float>(100 * i + 1000)));
    EXPECT_EQ(fake.calls_of("host_allocate"), 2);

    // Larger ones take the place of smaller ones.
    Picture large(1024, 300, 0);
    images.clear();
    for (int i = 0; i < 4; ++i) {
        images.push_back(std::make_unique<DeviceImage>(large.host(), nullptr));
        EXPECT_TRUE(images.back()->read());
    }
    EXPECT_EQ(fake.calls_of("host_allocate"), 4);
    EXPECT_EQ(fake.blocks_of_host(), 2u);
    gpu_give_back();
    EXPECT_EQ(fake.blocks_of_host(), 0u);
}

TEST(DeviceImage, InstancesAtOnceShareTheStagingBlocks) {
    FakeRuntime fake;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 50; ++i) {
                Picture input(16, 16, static_cast<float>(t)), output(16, 16, 0);
                EXPECT_TRUE(add_twice(input, output, 256));
                EXPECT_EQ(output, Picture(16, 16, static_cast<float>(t + 2000)));
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_LE(fake.blocks_of_host(), 2u);
    EXPECT_EQ(fake.blocks_of_device(), 0u);
}

TEST(DeviceImage, WhereAnyCallFailsThePictureIsWholeAndNothingLeaks) {
    // One larger than what is kept, of two bands, and one that is smaller.
    struct Size {
        int pixels;
        Picture input, before, after;
        explicit Size(int width)
            : pixels(width * 1100), input(width, 1100, 1), before(width, 1100, 0), after(width, 1100, 2001) {}
    };
    const Size sizes[] = {Size(3), Size(1000)};
    Picture kept(300, 1024, 1);
    for (const bool lose_device : {false, true}) {
        int failures = 0;
        bool failed = true;
        for (int n = 1; failed; ++n) {
            failed = false;
            for (const Size& size : sizes) {
                SCOPED_TRACE("call " + std::to_string(n) + (lose_device ? ", device lost" : ""));
                FakeRuntime fake;
                // Both blocks are kept and one is busy, so that the paths through them are seen as well.
                const auto in_advance = std::make_unique<DeviceImage>(kept.host(), nullptr);
                ASSERT_TRUE(DeviceImage(kept.host(), nullptr).read() && in_advance->read());
                fake.fail_call(n, lose_device);

                Picture input = size.input, output = size.before;
                const bool done = add_twice(input, output, size.pixels);
                EXPECT_EQ(output, done ? size.after : size.before);
                EXPECT_EQ(input, size.input);
                EXPECT_TRUE(done || fake.has_failed());
                failed |= fake.has_failed();
                failures += !done;

                // The next picture, once the device does as it should.
                if (!fake.has_failed() || lose_device) continue;
                fake.fail_call(1 << 30, false);
                EXPECT_TRUE(add_twice(input, output, size.pixels));
                EXPECT_EQ(output, size.after);
            }
        }
        EXPECT_GE(failures, 16);
    }
}

TEST(DeviceImage, RefusesWhatIsNowhere) {
    FakeRuntime fake;
    float pixel = 1;
    for (const HostPicture& senseless :
         {HostPicture{&pixel, 0, 1, 4, 4}, {&pixel, 1, -1, 4, 4}, {&pixel, 2147483647, 2147483647, 2147483647, 4}}) {
        DeviceImage image(senseless, nullptr);
        EXPECT_FALSE(image.read() || image.write() || image.modify() || image.clear() || image.to_host());
        image.host_written();
        image.written();
        EXPECT_FALSE(image.on_host() || image.on_device());
        EXPECT_EQ(image.status(), GPU_INVALID_VALUE);
    }
    DeviceImage device_only({nullptr, 4, 4, 4, 16}, nullptr);
    EXPECT_FALSE(device_only.read());
    EXPECT_FALSE(device_only.to_host());
    EXPECT_EQ(fake.calls(), 0);
    EXPECT_TRUE(device_only.clear());
    EXPECT_TRUE(device_only.read());
    EXPECT_FALSE(device_only.to_host()) << "there is no host picture";

    // What a kernel that failed has left is no picture, even where the device answers again.
    Picture pixels(2, 2, 1);
    DeviceImage image(pixels.host(), nullptr);
    ASSERT_TRUE(image.clear());
    fake.answers["stream_synchronize"] = 700;
    EXPECT_FALSE(image.to_host());
    EXPECT_EQ(image.status(), 700);
    fake.answers.clear();
    EXPECT_FALSE(image.to_host() || image.read());
    EXPECT_EQ(pixels, Picture(2, 2, 1));

    // A kernel that could not be launched in place leaves nothing on the device.
    EXPECT_TRUE(device_only.modify());
    EXPECT_FALSE(device_only.read());
}

}  // namespace
