// What needs a device: CUFFT as it really is. Skipped where there is none.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "fftlib/fftlib_cuda.h"
#include "gpulib/gpulib_kept.h"
#include "k7pi_baselib/temporary_home.h"
#include "support/images.h"

namespace {

HostPicture whole(const ImagePtr& image) { return host_part(image.get(), {0, 0, image->width - 1, image->height - 1}); }

class FftDevice : public TemporaryHome {
  protected:
    FftDevice() { OpenLog("run", false); }
    ScopedEnvironment always{"CUDA_ALWAYS", "yes"};
};

TEST_F(FftDevice, ConvolvesAsTheProcessorDoes) {
    if (!cuda_fft_available()) GTEST_SKIP() << "no CUDA device with CUFFT can be used here: " << log();
    FFTConvolver own(FFT_OWN_ENGINE), convolver;
    for (const auto& [width, height, kernel_size] : {std::tuple{17, 13, 5}, {1920, 1080, 255}, {1921, 1081, 700}})
        for (const int kernel_channels : {1, 4}) {
            const ImagePtr image = noise_image(width, height, 4, SAMPLE_F32, 1, -0.25F);
            const ImagePtr kernel = noise_image(kernel_size, kernel_size, kernel_channels, SAMPLE_F32, 2);
            const ImagePtr expected(image_clone_layout(image.get())), result(image_clone_layout(image.get()));
            ASSERT_TRUE(own.convolve(image.get(), kernel.get(), expected.get()));
            ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), result.get())) << log();
            // Transforms round by parts of the largest number, and CUFFT's order of sums is its own.
            float worst = 0, largest = 0;
            for (int i = 0; i < width * height * 4; ++i) {
                const float wanted = static_cast<const float*>(expected->pixels)[i];
                worst = std::max(worst, std::fabs(static_cast<const float*>(result->pixels)[i] - wanted));
                largest = std::max(largest, std::fabs(wanted));
            }
            EXPECT_LT(worst, 2e-6F * largest) << width << ", kernel of " << kernel_channels;
            EXPECT_EQ(convolver.padded_width() % 16, 0) << "on the device";
        }
    gpu_give_back();
}

TEST_F(FftDevice, SplitsAndJoinsColoursWithTheProcessorsBits) {
    if (!cuda_fft_available()) GTEST_SKIP() << "no CUDA device with CUFFT can be used here: " << log();
    for (const int type : {SAMPLE_U8, SAMPLE_U16, SAMPLE_F32})
        for (const int channels : {3, 4}) {
            const ImagePtr picture = noise_image(613, 401, channels, type, 1, -1, 2);
            const ImagePtr planes = make_image(613, 4 * 401, 1, SAMPLE_F32), split(image_clone_layout(planes.get()));
            const ImagePtr expected(image_clone_layout(picture.get())), joined(image_clone_layout(picture.get()));
            auto* const colours = static_cast<float*>(planes->pixels);
            ASSERT_TRUE(fft_split_colours(picture.get(), colours) && fft_join_colours(colours, expected.get()));
            DeviceImage in(whole(picture), nullptr), between(whole(split), nullptr), out(whole(joined), nullptr);
            ASSERT_EQ(cuda_split_colours(in, type, channels, between, nullptr), GPU_DONE);
            ASSERT_EQ(cuda_join_colours(between, out, type, channels, nullptr), GPU_DONE);
            ASSERT_EQ(gpu_fetch(between) + gpu_fetch(out), GPU_DONE);
            EXPECT_TRUE(same_pixels(split.get(), planes.get())) << type << ", " << channels;
            EXPECT_TRUE(same_pixels(joined.get(), expected.get())) << type << ", " << channels;
        }
}

// There and back, with a range.
TEST_F(FftDevice, TransformsSquares) {
    if (!cuda_fft_available()) GTEST_SKIP() << "no CUDA device with CUFFT can be used here: " << log();
    constexpr int size = 256;
    const FFTRange range{-0.5F, 1.5F};
    const ImagePtr plane = noise_image(size, size, 1, SAMPLE_F32, 1), back(image_clone_layout(plane.get()));
    std::vector<float> mapped(std::size_t{size} * size);
    for (std::size_t i = 0; i < mapped.size(); ++i)
        mapped[i] = (static_cast<const float*>(plane->pixels)[i] + 0.5F) / 2;
    std::vector<FFTComplex> expected(mapped.size()), found(mapped.size());
    FFTConvolver own(FFT_OWN_ENGINE);
    own.set_scale(3, 1);
    ASSERT_TRUE(own.forward_2d(mapped.data(), expected.data(), size));
    DeviceImage in(whole(plane), nullptr), again(whole(back), nullptr);
    DeviceImage spectrum({found.data(), size, size, sizeof(FFTComplex), size * std::ptrdiff_t{sizeof(FFTComplex)}},
                         nullptr);
    ASSERT_EQ(cuda_forward_2d(in, spectrum, size, 3, &range, nullptr), GPU_DONE);
    ASSERT_EQ(cuda_inverse_2d(spectrum, again, size, 1.0F / 3 / size / size, &range, nullptr), GPU_DONE);
    ASSERT_EQ(gpu_fetch(spectrum) + gpu_fetch(again), GPU_DONE);
    for (std::size_t i = 0; i < mapped.size(); ++i) {
        const float rounding = 3e-7F * std::fabs(expected[i].real) + 2e-5F * size;
        ASSERT_NEAR(found[i].real, expected[i].real, rounding) << i;
        ASSERT_NEAR(found[i].imaginary, expected[i].imaginary, rounding) << i;
        ASSERT_NEAR(static_cast<float*>(back->pixels)[i], static_cast<float*>(plane->pixels)[i], 1e-5) << i;
    }
}

}  // namespace
