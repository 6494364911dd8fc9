// Convolutions, squares and planes of colours as a device computes them, held against those of the processor.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <optional>

#include "fftlib/fake_cufft.h"
#include "fftlib/fftlib_cuda.h"
#include "gpulib/fake_runtime.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_kept.h"
#include "imagelib/imagelib_cuda.h"
#include "k7pi_baselib/temporary_home.h"
#include "support/images.h"

namespace {

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

// A device that is used whether it pays or not.
class CudaFft : public TemporaryHome {
  protected:
    CudaFft() { OpenLog("run", false); }
    ScopedEnvironment disable{"CUDA_DISABLE", nullptr}, always{"CUDA_ALWAYS", "yes"};
    std::optional<FakeRuntime> runtime{std::in_place};
    FakeCufft cufft;
};

ImagePtr noise(int width, int height, int channels, unsigned seed) {
    return noise_image(width, height, channels, SAMPLE_F32, seed, -0.25F);
}
ImagePtr blank(const ImagePtr& image) { return ImagePtr(image_clone_layout(image.get())); }
float* samples(const ImagePtr& image) { return image_row<float>(image.get(), 0); }

double worst_difference(const ImagePtr& a, const ImagePtr& b) {
    double worst = 0;
    for (int i = 0; i < a->width * a->height * a->channels; ++i)
        worst = std::max(worst, std::fabs(double(samples(a)[i]) - samples(b)[i]));
    return worst;
}

TEST_F(CudaFft, ConvolutionsAreThoseOfTheProcessor) {
    const int cases[][4] = {{1, 1, 1, 1}, {17, 13, 5, 8}, {97, 61, 40, 33}, {20, 50, 61, 9}, {7, 1100, 3, 70}};
    FFTConvolver own(FFT_OWN_ENGINE), convolver;
    for (const auto& [width, height, kernel_width, kernel_height] : cases)
        for (const int kernel_channels : {1, 4}) {
            const ImagePtr image = noise(width, height, 4, 1), expected = blank(image), result = blank(image);
            const ImagePtr kernel = noise(kernel_width, kernel_height, kernel_channels, 2);
            FFTBox lit{0, 0, width - 1, height - 1};
            samples(image)[2] = 20;  // brighter than white
            if (width == 97) {
                lit = {30, 7, 61, 60};
                std::fill_n(samples(image), 4, NOT_A_NUMBER);
                samples(image)[4 * (97 * 20 + 40)] = INFINITY;
                samples(kernel)[7] = -INFINITY;
            }
            double squares = 0;
            for (int i = 0; i < kernel_width * kernel_height * kernel_channels; ++i)
                squares += std::isfinite(samples(kernel)[i]) ? double(samples(kernel)[i]) * samples(kernel)[i] : 0.0;
            SCOPED_TRACE(testing::Message() << width << " x " << height << ", kernel of " << kernel_channels);
            ASSERT_TRUE(own.convolve(image.get(), kernel.get(), expected.get(), &lit));
            cufft.transforms = 0;
            ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), result.get(), &lit)) << log();
            EXPECT_EQ(cufft.transforms, kernel_channels == 1 ? 5 : 6);
            EXPECT_LT(worst_difference(expected, result), 1e-5 * std::sqrt(squares));
            EXPECT_EQ(convolver.padded_height(), cufft.height);
            ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), image.get(), &lit));
            EXPECT_TRUE(same_pixels(image.get(), result.get())) << "in place";
        }
    EXPECT_EQ(cufft.height, 1536) << "the picture and half of the kernel";
}

TEST_F(CudaFft, OnlyPicturesOfFourChannelsGoThereAndOnlyWhereCufftIs) {
    const ImagePtr plane = noise(31, 20, 1, 1), picture = noise(31, 20, 4, 1), kernel = noise(5, 5, 1, 2);
    FFTConvolver own(FFT_OWN_ENGINE), convolver;
    ASSERT_TRUE(convolver.convolve(plane.get(), kernel.get(), plane.get()));
    ASSERT_TRUE(own.convolve(picture.get(), kernel.get(), blank(picture).get()));
    EXPECT_EQ(cufft.calls, 0);
    static constexpr CufftFunctions absent{};
    cufft_set_functions(&absent);
    const ImagePtr expected = blank(picture), result = blank(picture);
    ASSERT_TRUE(own.convolve(picture.get(), kernel.get(), expected.get()));
    ASSERT_TRUE(convolver.convolve(picture.get(), kernel.get(), result.get()));
    EXPECT_TRUE(same_pixels(expected.get(), result.get()));
}

// Every call of the runtime and of CUFFT, one after the other.
TEST_F(CudaFft, WhereAnyCallFailsTheResultIsAsItWasAndNothingLeaks) {
    const ImagePtr image = noise(17, 13, 4, 1), kernel = noise(5, 8, 4, 2), before = noise(17, 13, 4, 3);
    const ImagePtr expected = blank(image);
    FFTConvolver convolver;
    ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), expected.get()));
    const auto fails = [&] {
        const ImagePtr result(image_duplicate(before.get()));
        const bool done = convolver.convolve(image.get(), kernel.get(), result.get());
        EXPECT_EQ(convolver.error(), done ? FFT_NO_ERROR : FFT_DEVICE_FAILED);
        // Where the device cannot be set any more, the processor serves.
        EXPECT_LE(worst_difference(result, done ? expected : before), done ? 1e-4 : 0.0);
        return !done;
    };
    for (const bool lose_device : {false, true}) {
        int failures = 0;
        bool failed = true;
        for (int n = 1; failed; ++n) {
            runtime.emplace();
            ASSERT_TRUE(cuda_available());
            runtime->fail_call(n, lose_device);
            failures += fails();
            failed = runtime->has_failed();
        }
        EXPECT_GE(failures, 16);
    }
    EXPECT_THAT(log(), testing::HasSubstr("CUDA ERROR: cuda_convolve() failed, error = 1\n"));
    runtime.emplace();
    cufft.calls = 0;
    ASSERT_FALSE(fails());
    // The last call puts the plan aside.
    const int last = cufft.calls;
    EXPECT_GT(last, 6);
    for (int n = 1; n < last; ++n) {
        gpu_give_back();
        cufft.calls = 0, cufft.failing = n;
        EXPECT_TRUE(fails()) << n;
    }
    gpu_give_back();
    cufft.calls = 0, cufft.failing = 1, cufft.full = true;
    EXPECT_FALSE(fails()) << "what is kept is given back, and asked again";
}

TEST_F(CudaFft, PlansAreKeptAndServeOneStreamAfterTheOther) {
    ASSERT_TRUE(cuda_available());
    const int sizes[] = {16, 16, 32, 64, 128, 256, 512};
    DeviceStream streams[std::size(sizes)];
    std::deque<DeviceImage> planes, spectra;
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const int size = sizes[i];
        ASSERT_EQ(streams[i].create(), GPU_SUCCESS);
        DeviceImage& plane = planes.emplace_back(HostPicture{nullptr, size, size, 4, 0}, streams[i].get());
        DeviceImage& spectrum = spectra.emplace_back(HostPicture{nullptr, size, size, 8, 0}, streams[i].get());
        ASSERT_TRUE(plane.clear());
        ASSERT_EQ(cuda_forward_2d(plane, spectrum, size, 1, nullptr, streams[i].get()), GPU_DONE);
        EXPECT_EQ(runtime->calls_of("stream_wait"), i == 0 ? 0 : 1)
            << "the second takes over what the first still uses";
    }
    EXPECT_EQ(cufft.plans(), 4u);
    EXPECT_EQ(runtime->calls_of("stream_synchronize") + runtime->calls_of("device_synchronize"), 2) << "the test's own";
    EXPECT_TRUE(gpu_give_back());
    EXPECT_EQ(cufft.plans(), 0u);
}

TEST_F(CudaFft, SquaresAreThoseOfTheProcessorAndComeBack) {
    for (const int size : {2, 16, 64}) {
        const ImagePtr plane = noise(size, size, 1, 1), back = blank(plane);
        std::vector<FFTComplex> expected(std::size_t(size) * std::size_t(size)), found = expected;
        const HostPicture spectrum{found.data(), size, size, sizeof(FFTComplex),
                                   std::ptrdiff_t(size) * std::ptrdiff_t(sizeof(FFTComplex))};
        const float scale = 1.0F / float(size) / float(size);
        for (const bool ranged : {false, true}) {
            const FFTRange range{-0.5F, 1.5F};
            FFTConvolver own(FFT_OWN_ENGINE);
            const ImagePtr mapped(image_duplicate(plane.get()));
            for (int i = 0; ranged && i < size * size; ++i) samples(mapped)[i] = (samples(plane)[i] + 0.5F) / 2;
            own.set_scale(3, 1);
            ASSERT_TRUE(own.forward_2d(samples(mapped), expected.data(), size));
            DeviceImage in(host_picture(plane.get()), nullptr), out(spectrum, nullptr),
                again(host_picture(back.get()), nullptr);
            ASSERT_EQ(cuda_forward_2d(in, out, size, 3, ranged ? &range : nullptr, nullptr), GPU_DONE);
            ASSERT_EQ(cuda_inverse_2d(out, again, size, scale / 3, ranged ? &range : nullptr, nullptr), GPU_DONE);
            ASSERT_EQ(gpu_fetch(out) + gpu_fetch(again), GPU_DONE);
            for (std::size_t i = 0; i < found.size(); ++i) {
                EXPECT_NEAR(found[i].real, expected[i].real, 3e-6 * size + 3e-7 * std::fabs(expected[i].real));
                EXPECT_NEAR(found[i].imaginary, expected[i].imaginary, 3e-6 * size);
            }
            EXPECT_LT(worst_difference(plane, back), 1e-6);
        }
    }
    DeviceImage nowhere({nullptr, 4, 4, 4, 0}, nullptr), spectrum({nullptr, 4, 4, 8, 0}, nullptr);
    EXPECT_EQ(cuda_forward_2d(nowhere, spectrum, 4, 1, nullptr, nullptr), GPU_NO_ROOM_FOR_INPUT);
    cufft.failing = cufft.calls + 1;
    ASSERT_TRUE(nowhere.clear());
    EXPECT_EQ(cuda_forward_2d(nowhere, spectrum, 4, 1, nullptr, nullptr), GPU_NO_ROOM_FOR_OUTPUT);
    EXPECT_FALSE(spectrum.on_device());
}

TEST_F(CudaFft, ColoursAreSplitAndJoinedWithTheSameBits) {
    for (const int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_F32})
        for (const int channels : {3, 4})
            for (const auto& [width, height] : {std::pair{1, 1}, {17, 13}, {97, 61}}) {
                SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << type << ", " << channels);
                const ImagePtr picture = noise_image(width, height, channels, type, 1, -1, 2);
                if (type == SAMPLE_F32) samples(picture)[1] = NOT_A_NUMBER;
                const ImagePtr planes = make_image(width, 4 * height, 1, SAMPLE_F32), found = blank(planes);
                ASSERT_TRUE(fft_split_colours(picture.get(), samples(planes)));
                DeviceImage in(host_picture(picture.get()), nullptr), split(host_picture(found.get()), nullptr);
                ASSERT_EQ(cuda_split_colours(in, type, channels, split, nullptr), GPU_DONE);
                ASSERT_EQ(gpu_fetch(split), GPU_DONE);
                EXPECT_TRUE(same_pixels(planes.get(), found.get()));

                const ImagePtr joined = blank(picture), expected = blank(picture);
                ASSERT_TRUE(fft_join_colours(samples(planes), expected.get()));
                DeviceImage out(host_picture(joined.get()), nullptr);
                ASSERT_EQ(cuda_join_colours(split, out, type, channels, nullptr), GPU_DONE);
                ASSERT_EQ(gpu_fetch(out), GPU_DONE);
                EXPECT_TRUE(same_pixels(joined.get(), expected.get()));
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x)
                        for (int c = 0; c < channels && !(type == SAMPLE_F32 && x + y == 0); ++c) {
                            const float sample = image_get_sample(picture.get(), x, y, c);
                            const double tolerance = type == SAMPLE_F32 ? 6e-6 : 1;  // integers are truncated
                            ASSERT_NEAR(image_get_sample(joined.get(), x, y, c), sample, tolerance);
                        }
            }
    const ImagePtr two = make_image(3, 3, 2, SAMPLE_F32), whole = make_image(3, 3, 3, SAMPLE_U32);
    float planes[4 * 9] = {};
    EXPECT_FALSE(fft_split_colours(two.get(), planes) || fft_join_colours(planes, whole.get()));
    DeviceImage odd({nullptr, 3, 3, 12, 0}, nullptr), low({nullptr, 3, 9, 4, 0}, nullptr);
    EXPECT_EQ(cuda_split_colours(odd, SAMPLE_U8, 3, low, nullptr), GPU_NOT_LAUNCHED);
    EXPECT_EQ(cuda_join_colours(low, odd, SAMPLE_U32, 3, nullptr), GPU_NOT_LAUNCHED);
}

}  // namespace
