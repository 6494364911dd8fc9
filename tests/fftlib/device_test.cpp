// What needs a device: CUFFT as it really is. Skipped where there is none.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "fftlib/fftlib_cuda.h"
#include "gpulib/gpulib_image.h"
#include "k7pi_baselib/temporary_home.h"
#include "support/images.h"

namespace {

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
            float worst = 0;
            for (int i = 0; i < width * height * 4; ++i)
                worst = std::max(
                    worst, std::fabs(image_row<float>(expected.get(), 0)[i] - image_row<float>(result.get(), 0)[i]));
            EXPECT_LT(worst, 1e-5F * float(kernel_size)) << width << ", kernel of " << kernel_channels;
            EXPECT_EQ(convolver.padded_width() % 16, 0) << "on the device";
        }
    gpu_release_staging();
}

}  // namespace
