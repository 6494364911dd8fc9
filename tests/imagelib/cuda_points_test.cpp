// Operations on a device, played by the processor, against the same on the host.
#include <gmock/gmock.h>

#include <functional>

#include "gpulib/fake_runtime.h"
#include "gpulib/gpulib.h"
#include "imagelib/device_call.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/temporary_home.h"
#include "pictures.h"

namespace {

using Operation = std::function<bool(K7Image* dest, K7Image* other)>;

struct Case {
    std::string name;
    Operation on_host;
    Operation on_device;  // empty: the same function, which asks whether it pays
    bool wild = true;     // takes infinities and NaN
};

// Both images of a wrapper.
template <class Wrapper>
Operation device_form(Wrapper wrapper) {
    return [wrapper](K7Image* dest, K7Image* other) {
        return done_on_device("wrapper", dest, [&](DeviceImage& result, GpuStream stream) {
            DeviceImage second(host_picture(other), stream);
            return wrapper(result, second, stream);
        });
    };
}

bool plain_blend(K7Image* dest, const K7Image* other) {
    auto* to = static_cast<float*>(dest->pixels);
    for (std::size_t i = 0; i < sample_count(dest); ++i)
        to[i] = 0.75f * to[i] + -2.0f * static_cast<const float*>(other->pixels)[i];
    dest->stats_valid = 0;
    return true;
}

std::vector<Case> all_cases() {
    std::vector<Case> cases;
    const auto add = [&](std::string name, Operation on_host, Operation on_device = {}, bool wild = true) {
        cases.push_back({std::move(name), std::move(on_host), std::move(on_device), wild});
    };
    for (const int mask : {-1, 15, 5, 8}) {
        for (const int op : {1, 2, 3, 5, 6})
            for (const float c : {0.37f, 0.0f})
                add("constant " + std::to_string(op), [=](K7Image* dest, K7Image*) {
                    return image_arithmetic_constant(dest, ConstantOperator(op), c, mask);
                });
        for (const int op : {1, 2, 3, 4, 5})
            add("image " + std::to_string(op), [=](K7Image* dest, K7Image* other) {
                return image_arithmetic_image(dest, ImageOperator(op), other, mask);
            });
    }
    add("with itself", [](K7Image* dest, K7Image*) { return image_arithmetic_image(dest, ImageOperator::add, dest); });
    for (int mode = COMPOSITE_OVER; mode <= COMPOSITE_XOR; ++mode)
        for (const bool premultiplied : {true, false}) {
            const std::string name = "composite " + std::to_string(mode);
            add(name, [=](K7Image* dest, K7Image* other) {
                return image_composite(dest, dest, mode, other, premultiplied, -1, -1, -1, -1);
            });
            add(name + " reversed, a part", [=](K7Image* dest, K7Image* other) {
                return image_composite(dest, other, mode, dest, premultiplied, 5, 1, 3, -1);
            });
            add(name + " into a third", [=](K7Image* dest, K7Image* other) {
                const ImagePtr a(image_duplicate(dest));
                return image_composite(dest, a.get(), mode, other, premultiplied, 2, -1, -1, 9) &&
                       image_composite(dest, other, mode, other, premultiplied, -1, 9, -1, -1);
            });
        }
    for (int op = UNARY_DARKEN; op <= UNARY_OPAQUE; ++op)
        for (const float f : {0.3f, 2.0f, NOT_A_NUMBER})
            add("unary", [=](K7Image* dest, K7Image*) { return image_unary(dest, op, f, -1, 2, 11, -1); });
    for (const float f : {-1.0f, 0.3f, NOT_A_NUMBER})
        add(
            "cross dissolve", [=](K7Image* dest, K7Image* other) { return image_cross_dissolve(dest, other, f); },
            device_form([=](DeviceImage& dest, DeviceImage& other, GpuStream stream) {
                return cuda_cross_dissolve(dest, other, f, stream);
            }));
    add("blend", plain_blend, device_form([](DeviceImage& dest, DeviceImage& other, GpuStream stream) {
            return cuda_blend(0.75f, dest, -2.0f, other, dest, stream);
        }));
    for (const float gamma : {0.45f, 2.2f}) {
        add("gamma", [=](K7Image* dest, K7Image*) { return image_apply_gamma(dest, dest, gamma); });
        add("gamma of another", [=](K7Image* dest, K7Image* other) { return image_apply_gamma(other, dest, gamma); });
    }
    for (const auto& [x, y] :
         {std::pair{1.0f, 0.0f}, {0.0f, 1.0f}, {0.5f, 3.0f}, {3.25f, 4.0f}, {12.0f, 7.6f}, {1e9f, 30.9f}}) {
        add(
            "blur", [=](K7Image* dest, K7Image*) { return image_gaussian_blur(dest, x, y, 15); }, {}, false);
        add(
            "blur of another",
            [=](K7Image* dest, K7Image* other) { return image_gaussian_blur_to(other, dest, x, y, -1); }, {}, false);
    }
    return cases;
}

// Colours far above white, and pixels that are transparent, negative or no numbers.
ImagePtr wild_picture(int width, int height, unsigned seed, bool wild) {
    ImagePtr image = float_noise(width, height, seed);
    auto* samples = static_cast<float*>(image->pixels);
    const float strange[] = {0.0f, 40.0f, ENDLESS, -ENDLESS, NOT_A_NUMBER, 1.0f, -0.0f, 3e38f};
    const std::size_t kinds = wild ? 8 : 2;
    for (std::size_t i = seed; i < sample_count(image.get()); i += 7) samples[i] = strange[i / 7 % kinds];
    return image;
}

// To the bit; any NaN is any other.
bool same_samples(const ImagePtr& a, const ImagePtr& b) {
    const auto *left = static_cast<const float*>(a->pixels), *right = static_cast<const float*>(b->pixels);
    for (std::size_t i = 0; i < sample_count(a.get()); ++i)
        if (std::memcmp(left + i, right + i, sizeof(float)) != 0 && !(std::isnan(left[i]) && std::isnan(right[i])))
            return false;
    return true;
}

// `launches` tells how many there have been.
void expect_the_bits_of_the_processor(const std::function<int()>& launches) {
    for (const Case& one : all_cases())
        for (const auto& [width, height] : {std::pair{1, 1}, {17, 13}, {97, 61}}) {
            SCOPED_TRACE(one.name + ", " + std::to_string(width));
            const ImagePtr before = wild_picture(width, height, 1, one.wild),
                           other = wild_picture(width, height, 2, one.wild);
            const ImagePtr expected = copy_of(before), picture = copy_of(before), untouched = copy_of(other);
            expected->stats_valid = picture->stats_valid = 1;
            ASSERT_TRUE(one.on_host(expected.get(), other.get()));  // too small to pay
            const int launched = launches();
            const ScopedEnvironment always("CUDA_ALWAYS", "yes");
            ASSERT_TRUE((one.on_device ? one.on_device : one.on_host)(picture.get(), other.get()));
            EXPECT_TRUE(same_samples(picture, expected));
            EXPECT_TRUE(same_samples(other, untouched));
            EXPECT_EQ(picture->stats_valid, expected->stats_valid);
            EXPECT_TRUE(width == 1 || launches() > launched) << "ran on the host";
        }
}

TEST(PointsOnDevice, AllOperationsGiveTheBitsOfTheProcessor) {
    FakeRuntime fake;
    EXPECT_TRUE(cuda_available());
    expect_the_bits_of_the_processor([&] { return fake.calls_of("launch"); });
}

TEST(PointsOnRealDevice, AllOperationsGiveTheBitsOfTheProcessor) {
    if (!cuda_available()) GTEST_SKIP() << "no CUDA device can be used here";
    int asked = 0;
    expect_the_bits_of_the_processor([&] { return ++asked; });
}

// A wrapper of each kind.
const Operation KINDS[] = {device_form([](DeviceImage& dest, DeviceImage& other, GpuStream stream) {
                               return cuda_arith_image_point(dest, ImageOperator::add, other, 5, stream);
                           }),
                           device_form([](DeviceImage& dest, DeviceImage& other, GpuStream stream) {
                               return cuda_pd_composite(dest, dest, COMPOSITE_ATOP, other, false, 2, 2, 6, 6, stream);
                           }),
                           device_form([](DeviceImage& dest, DeviceImage& other, GpuStream stream) {
                               return cuda_gaussian_box_blur_2_pass(other, dest, 1.5f, 2.5f, stream);
                           }),
                           device_form([](DeviceImage& dest, DeviceImage&, GpuStream stream) {
                               return cuda_apply_gamma(dest, dest, 2.2f, stream);
                           })};

TEST(PointsOnDevice, AnyCallMayFail) {
    const ImagePtr before = float_noise(17, 13, 1), other = float_noise(17, 13, 2);
    SetTraceLevel(TRACE_OFF);
    for (const Operation& run : KINDS)
        for (const bool lose_device : {false, true}) {
            FakeRuntime fake;
            const ImagePtr expected = copy_of(before), untouched = copy_of(other);
            ASSERT_TRUE(run(expected.get(), other.get()));
            int failures = 0;
            for (int call = 1;; ++call) {
                fake.fail_call(call, lose_device);
                const ImagePtr picture = copy_of(before);
                const bool done = run(picture.get(), other.get());
                if (!fake.has_failed()) break;
                failures += !done;
                EXPECT_TRUE(same_pixels(picture, done ? expected : before)) << call;
                EXPECT_TRUE(same_pixels(other, untouched));
                EXPECT_EQ(fake.blocks_of_device(), 0u);
            }
            EXPECT_GE(failures, 6);
        }
    SetTraceLevel(TRACE_INFO);
}

class DeviceLog : public TemporaryHome {};

TEST_F(DeviceLog, TellsWhichStepFailed) {
    const ImagePtr before = float_noise(17, 13, 1), picture = copy_of(before);
    const struct {
        const char* call;
        int step;
    } steps[] = {{"stream_create", GPU_NOT_LAUNCHED},
                 {"device_allocate", GPU_NO_ROOM_FOR_INPUT},
                 {"copy_to_device", GPU_NOT_COPIED_IN},
                 {"launch", GPU_NOT_LAUNCHED},
                 {"copy_to_host", GPU_NOT_COPIED_OUT}};
    for (const auto& [call, step] : steps) {
        OpenLog("run", false);
        FakeRuntime fake;
        fake.answers[call] = GPU_OUT_OF_MEMORY;
        EXPECT_FALSE(KINDS[2](picture.get(), picture.get()));
        EXPECT_THAT(log(), testing::HasSubstr("CUDA ERROR: wrapper() returned error: " + std::to_string(step) + "\n"));
        EXPECT_TRUE(same_pixels(picture, before));
    }
}

}  // namespace
