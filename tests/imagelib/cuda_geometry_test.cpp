// Zoom blurs, scaling, pyramids and averages along arcs on a device: their kernels, run here on the processor, and on a
// real device where there is one, give the bits of the processor's own code, and a call of the runtime that fails
// leaves everything as it was.
#include <cstdlib>
#include <functional>

#include "gpulib/fake_runtime.h"
#include "gpulib/gpulib.h"
#include "imagelib/imagelib_arcs.h"
#include "imagelib/imagelib_cuda.h"
#include "imagelib/imagelib_lic.h"
#include "imagelib/imagelib_pyramid.h"
#include "pictures.h"

namespace {

// Noise beyond both ends of the range, with some of it zero, infinite and no number.
ImagePtr hdr_noise(int width, int height, unsigned seed, bool odd_values = true) {
    ImagePtr image = float_noise(width, height, seed, -0.5f, 8.0f);
    const float odd[] = {0.0f, -0.0f, NOT_A_NUMBER, ENDLESS, -ENDLESS, 1e-40f};
    if (!odd_values) return image;
    for (int y = 0; y < height; ++y)
        for (int x = (7 * y) % 11; x < width; x += 37) at(image, x, y, (x + y) % 4) = odd[(x + y) % 6];
    return image;
}

// Any NaN equals any other: what is left of its bits depends on the order of operands.
int differing_samples(const ImagePtr& a, const ImagePtr& b) {
    int differing = 0;
    for (std::size_t i = 0; i < sample_count(a.get()); ++i) {
        const float x = static_cast<const float*>(a->pixels)[i], y = static_cast<const float*>(b->pixels)[i];
        differing += std::memcmp(&x, &y, sizeof x) != 0 && !(std::isnan(x) && std::isnan(y));
    }
    return differing;
}

// An operation on the processor, and the same on a device.
struct Operation {
    const char* name;
    std::function<ImagePtr(const ImagePtr& source)> result_like;  // an image of the result's size
    std::function<bool(const ImagePtr& source, K7Image* result)> processor;
    std::function<int(DeviceImage& source, const K7Image& layout, DeviceImage& result, GpuStream stream)> device;
    bool in_library = true;  // the processor's function goes to the device by itself
    bool is_scaling = false;
    bool each_call = false;  // is tried with a device that is lost in any call
};

Operation thoroughly(Operation operation) {
    operation.each_call = true;
    return operation;
}

// A variable that says "yes".
class Yes {
  public:
    explicit Yes(const char* name) : m_name(name) { setenv(name, "yes", 1); }
    ~Yes() { unsetenv(m_name); }
    Yes(const Yes&) = delete;
    Yes& operator=(const Yes&) = delete;

  private:
    const char* m_name;
};

Operation zoom(const char* name, float cx, float clear, float speed, int samples, int sides, float pixel_width = 1) {
    const auto shape = [=](K7Image* image) { image_set_pixel_size(image, pixel_width, 1.0f, 2); };
    return {name, same_size,
            [=](const ImagePtr& source, K7Image* result) {
                shape(source.get());
                return image_radial_lic(source.get(), result, cx, 20.3f, clear, speed, samples, 3, sides, 25);
            },
            [=](DeviceImage& source, const K7Image& layout, DeviceImage& result, GpuStream stream) {
                return cuda_radial_lic(source, result, cx, 20.3f, clear, speed, samples, layout.pixel_width,
                                       layout.pixel_height, 3, sides, 25, stream);
            }};
}

Operation screened_zoom(float cx, float threshold) {
    static const ImagePtr screen = hdr_noise(80, 40, 5, false);
    return {"screened zoom", same_size,
            [=](const ImagePtr& source, K7Image* result) {
                return image_radial_lic_screened(source.get(), screen.get(), result, cx, 13.4f, 0.4f, 2, 4, threshold);
            },
            [=](DeviceImage& source, const K7Image& layout, DeviceImage& result, GpuStream stream) {
                DeviceImage light(host_picture(screen.get()), stream);
                return cuda_radial_lic_screened(source, light, result, cx, 13.4f, 0.4f, 2, layout.pixel_width,
                                                layout.pixel_height, 4, threshold, stream);
            }};
}

Operation scaling(const char* name, int kernel, bool clamp, double across, double down) {
    return {name,
            [=](const ImagePtr& source) {
                return make_image(std::max(1, int(source->width * across)), std::max(1, int(source->height * down)), 4,
                                  SAMPLE_F32);
            },
            [=](const ImagePtr& source, K7Image* result) { return image_scale(source.get(), result, kernel, clamp); },
            [=](DeviceImage& source, const K7Image&, DeviceImage& result, GpuStream stream) {
                return cuda_image_scale_2_pass(source, result, kernel, clamp, stream);
            },
            true,
            true};
}

// A map that shrinks, enlarges, and leaves the picture on all sides; one place is none.
ImagePtr warp_map(int width, int height) {
    ImagePtr map = picture(
        width, height,
        [&](int x, int y, int c) {
            const double u = (x + 0.5) / width - 0.5, v = (y + 0.5) / height - 0.5;
            return c == 0 ? width * (0.5 + u + 4.1 * u * u * u + 0.03 * v)
                          : height * (0.5 + v + 5.3 * v * v * v - 0.04 * u);
        },
        2);
    at(map, width / 2, height / 3, 1) = NOT_A_NUMBER;
    at(map, width / 3, height / 2, 0) = ENDLESS;
    return map;
}

Operation warp(int kernel, int edge) {
    return {"warp", same_size,
            [=](const ImagePtr& source, K7Image* result) {
                const ImagelibPyramid pyramid(source.get(), kernel, edge, false, false);
                return image_pyramid_warp(&pyramid, warp_map(source->width, source->height).get(), result);
            },
            [=](DeviceImage& source, const K7Image& layout, DeviceImage& result, GpuStream stream) {
                const ImagePtr map = warp_map(layout.width, layout.height);
                DeviceImage places(host_picture(map.get()), stream);
                DeviceMipmap mipmap;
                const int step = cuda_create_mipmap(source, kernel, mipmap, stream);
                if (step != GPU_DONE) return step;
                return cuda_mipmap_warp(mipmap, ImagelibKernel(kernel, edge), places, false, result, stream);
            }};
}

Operation spin(const char* name, ArcProfile profile, double degrees, float exponent, float cx, bool has_matte) {
    static const TurnTable turn;
    const auto lengths_of = [=](const K7Image& layout) {
        const float width = layout.width;
        return ArcLengths{.angle = float(degrees * 3.14159265358979 / 180),
                          .profile = profile,
                          .inner = 0.1f * width,
                          .outer = 0.35f * width,
                          .soft = 0.05f * width,
                          .exponent = exponent,
                          .invert_matte = degrees > 90};
    };
    const auto matte_of = [=](const K7Image& layout) {
        return has_matte ? hdr_noise(layout.width, layout.height, 9) : nullptr;
    };
    return {name, same_size,
            [=](const ImagePtr& source, K7Image* result) {
                ImagelibCircles circles(*source, cx, 11.7f);
                const ArcRange range = range_of_arcs(lengths_of(*source), circles.max_distance());
                return circles.unwrap(*source, turn, range.smallest, range.largest) &&
                       circles.average(*source, matte_of(*source).get(), lengths_of(*source), *result);
            },
            [=](DeviceImage& source, const K7Image& layout, DeviceImage& result, GpuStream stream) {
                const ImagePtr factors = matte_of(layout);
                HostPicture host = factors ? host_picture(factors.get()) : HostPicture{};
                DeviceImage matte(host, stream);
                return cuda_spin_blur(source, factors ? &matte : nullptr, result, arc_geometry(layout, cx, 11.7f), turn,
                                      lengths_of(layout), stream);
            },
            false};
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = {
        zoom("zoom", 31.4f, 0, 0.6f, 1, 0),
        zoom("zoom from a circle outwards", 31.4f, 7, -1.3f, 2, 0),
        thoroughly(zoom("zoom from a polygon, oblong pixels", 200.7f, 9, 0.9f, 3, 5, 1.5f)),
        thoroughly(screened_zoom(31.4f, 0.4f)),
        screened_zoom(-60.0f, 0.4f),  // its centre lies off the screen
        scaling("enlarging", KERNEL_CUBIC, false, 2.3, 1.7),
        scaling("enlarging with limits, down first", KERNEL_LANCZOS, true, 3.1, 1.2),
        scaling("reducing", KERNEL_BSPLINE, false, 0.4, 0.6),
        thoroughly(scaling("reducing with limits, down first", KERNEL_SHARP_CUBIC, true, 0.8, 0.3)),
        scaling("one axis", KERNEL_LANCZOS, true, 1.0, 0.5),
        scaling("both ways", KERNEL_TRIANGLE, true, 0.5, 2.0),
        scaling("to a line", KERNEL_CUBIC, false, 0.0, 0.7),
        scaling("to a pixel", KERNEL_CUBIC, true, 0.0, 0.0),
        scaling("box, reducing", KERNEL_BOX, false, 0.4, 1.0),
        scaling("box with limits", KERNEL_BOX, true, 1.9, 0.7),
        scaling("same size", KERNEL_BSPLINE, true, 1.0, 1.0),
        warp(KERNEL_BOX, EDGE_MIRROR),
        warp(KERNEL_TRIANGLE, EDGE_WRAP),
        warp(KERNEL_TRIANGLE, EDGE_BLACK),
        thoroughly(warp(KERNEL_BSPLINE, EDGE_CLAMP)),
        warp(KERNEL_SHARP_CUBIC, EDGE_MIRROR),
        spin("spin", ArcProfile::Constant, 25, 1, 40.2f, false),
        thoroughly(spin("spin nearly round, matte", ArcProfile::Constant, -350, 1, -6.5f, true)),
        spin("ring", ArcProfile::Ring, 60, 1, 40.2f, false),
        spin("twirl in", ArcProfile::Outward, 200, 2.7f, 40.2f, true),
        spin("twirl out", ArcProfile::Inward, -80, 0.4f, 40.2f, false),
    };
    return all;
}

int on_device(const Operation& operation, const ImagePtr& source, K7Image* result) {
    DeviceStream stream;
    if (stream.create() != GPU_SUCCESS) return GPU_NOT_LAUNCHED;
    DeviceImage from(host_picture(source.get()), stream.get()), to(host_picture(result), stream.get());
    const int step = operation.device(from, *source, to, stream.get());
    return step == GPU_DONE ? gpu_fetch(to) : step;
}

ImagePtr by_processor(const Operation& operation, const ImagePtr& source) {
    const Yes processor("CUDA_DISABLE");
    FakeRuntime runtime;
    ImagePtr result = operation.result_like(source);
    EXPECT_TRUE(operation.processor(source, result.get()));
    EXPECT_EQ(runtime.calls(), 0);
    return result;
}

TEST(CudaGeometry, GivesTheProcessorsBitsOnARealDevice) {
    if (!cuda_available()) GTEST_SKIP() << "no CUDA device can be used here";
    const int sizes[][2] = {{1, 1}, {17, 13}, {97, 61}, {613, 401}};
    for (const Operation& operation : operations())
        for (const auto& [width, height] : sizes) {
            SCOPED_TRACE(testing::Message() << operation.name << " of " << width << "x" << height);
            const ImagePtr source = hdr_noise(width, height, 3), expected = by_processor(operation, source);
            const ImagePtr result = operation.result_like(source);
            ASSERT_TRUE(cuda_available());
            ASSERT_EQ(on_device(operation, source, result.get()), GPU_DONE);
            EXPECT_EQ(differing_samples(result, expected), 0);
        }
}

// The wrappers, and the library's functions where it pays, which it is made to.
TEST(CudaGeometry, GivesTheProcessorsBits) {
    const int sizes[][2] = {{1, 1}, {17, 13}, {97, 61}};
    for (const Operation& operation : operations())
        for (const auto& [width, height] : sizes) {
            SCOPED_TRACE(testing::Message() << operation.name << " of " << width << "x" << height);
            const ImagePtr source = hdr_noise(width, height, 3);
            const ImagePtr expected = by_processor(operation, source), result = operation.result_like(source);
            FakeRuntime runtime;
            ASSERT_EQ(on_device(operation, source, result.get()), GPU_DONE);
            EXPECT_EQ(differing_samples(result, expected), 0);
            if (!operation.in_library) continue;
            const Yes always("CUDA_ALWAYS");
            const int launches = runtime.calls_of("launch");
            image_clear(result.get());
            ASSERT_TRUE(operation.processor(source, result.get()));
            EXPECT_EQ(differing_samples(result, expected), 0);
            const bool copies = width == result->width && height == result->height && operation.is_scaling;
            EXPECT_EQ(runtime.calls_of("launch") > launches, !copies);
        }
}

TEST(CudaGeometry, NormalisedMapsCountTheBase) {
    FakeRuntime runtime;
    const ImagePtr source = float_noise(41, 23), expected = float_noise(30, 20), result = same_size(expected);
    const ImagePtr map = picture(
        30, 20, [](int x, int y, int c) { return c ? y * 0.04 : x * 0.03; }, 2);
    const ImagePtr places = picture(
        30, 20, [&](int x, int y, int c) { return at(map, x, y, c) * (c ? 22.0f : 40.0f); }, 2);
    const ImagelibPyramid pyramid(source.get(), KERNEL_BSPLINE, EDGE_CLAMP, false, true);
    ASSERT_TRUE(image_pyramid_warp(&pyramid, places.get(), expected.get()));
    DeviceImage base(host_picture(source.get()), nullptr), to(host_picture(result.get()), nullptr),
        fractions(host_picture(map.get()), nullptr);
    DeviceMipmap mipmap;
    ASSERT_EQ(cuda_create_mipmap(base, KERNEL_BSPLINE, mipmap, nullptr), GPU_DONE);
    ASSERT_EQ(cuda_mipmap_warp(mipmap, *pyramid.kernel, fractions, true, to, nullptr), GPU_DONE);
    ASSERT_EQ(gpu_fetch(to), GPU_DONE);
    EXPECT_EQ(differing_samples(result, expected), 0);
}

TEST(CudaGeometry, AFailingCallIsToldAndLeavesTheHostsPixels) {
    const std::pair<const char*, int> steps[] = {{"device_allocate", GPU_NO_ROOM_FOR_INPUT},
                                                 {"host_allocate", GPU_NOT_COPIED_IN},
                                                 {"copy_to_device", GPU_NOT_COPIED_IN},
                                                 {"launch", GPU_NOT_LAUNCHED},
                                                 {"copy_to_host", GPU_NOT_COPIED_OUT}};
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        const ImagePtr source = hdr_noise(17, 13, 3);
        const ImagePtr result = operation.result_like(source), before = copy_of(result);
        for (const auto& [function, step] : steps) {
            FakeRuntime runtime;
            runtime.answers[function] = 719;
            EXPECT_EQ(on_device(operation, source, result.get()), step) << function;
            EXPECT_TRUE(same_pixels(result, before)) << function;
        }
        int call = 1;
        for (bool lost = operation.each_call; lost; ++call) {  // the device, in any call
            FakeRuntime runtime;
            runtime.fail_call(call, true);
            lost = on_device(operation, source, result.get()) != GPU_DONE;
            EXPECT_EQ(same_pixels(result, before), lost) << "call " << call;
        }
        EXPECT_TRUE(call > 8 || !operation.each_call);
        if (!operation.in_library) continue;
        FakeRuntime runtime;
        const Yes always("CUDA_ALWAYS");
        ASSERT_TRUE(cuda_available());
        runtime.answers["launch"] = 719;
        runtime.forget_calls();
        const bool done = operation.processor(source, result.get());
        EXPECT_EQ(done, runtime.calls_of("launch") == 0);
    }
}

}  // namespace
