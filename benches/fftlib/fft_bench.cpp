// Convolution with large kernels beside FFTW with ESTIMATE plans, and sine transforms. FFTW is given planes of the size
// that we pad to, filled beforehand: it is timed for its transforms and products alone.
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "benches/support/bench.h"
#include "fftlib/fftlib.h"
#include "fftlib/fftw.h"

namespace {

constexpr int KERNEL = 255, CHANNELS = 4;

SharedImage bell(int channels) {
    SharedImage kernel = blank_frame(channels, SAMPLE_F32, KERNEL, KERNEL);
    for (int y = 0; y < KERNEL; ++y)
        for (int x = 0; x < KERNEL * channels; ++x)
            image_row<float>(kernel.get(), y)[x] = 1.0F / (KERNEL * KERNEL) * float(1 + x % channels);
    return kernel;
}

Bench::Work convolve(int kernel_channels) {
    auto source = test_frame(), result = blank_frame(), kernel = bell(kernel_channels);
    auto convolver = std::make_shared<FFTConvolver>(FFT_OWN_ENGINE);
    convolver->set_multiprocess(fft_image_rows, nullptr);
    return [=] { convolver->convolve(source.get(), kernel.get(), result.get()); };
}

bool fftw_is_there() {
    ::setenv("K7_USE_FFTW_WISDOM", "", 1);
    const bool there = FftwConvolution::wanted();
    ::unsetenv("K7_USE_FFTW_WISDOM");
    return there;
}

Bench::Work convolve_by_fftw(int kernel_channels, int threads) {
    const std::shared_ptr<FftwConvolution> fftw = FftwConvolution::make(
        fft_good_size(FRAME_WIDTH + KERNEL / 2), fft_good_size(FRAME_HEIGHT + KERNEL / 2), threads);
    const std::size_t count = std::size_t(fftw->width()) * std::size_t(fftw->height());
    // A point as picture and kernel stays one however often it is convolved.
    for (std::size_t i = 0; i < count; ++i) fftw->plane()[i] = i == 0 ? 1.0F : 0.0F;
    return [=] {
        for (int channel = 0; channel < CHANNELS; ++channel) {
            if (channel < kernel_channels) fftw->take_kernel();
            fftw->convolve();
        }
    };
}

std::vector<Bench> convolutions() {
    std::vector<Bench> list;
    for (const int channels : {1, 4}) {
        const std::string subject = channels == 1 ? "convolve 255x255" : "convolve 255x255, a kernel for each channel";
        list.emplace_back(subject, QUILLON, 2, [channels](int) { return convolve(channels); });
        if (fftw_is_there())
            list.emplace_back(subject, "FFTW", 0,
                              [channels](int threads) { return convolve_by_fftw(channels, threads); });
    }
    return list;
}

const std::vector<Bench> s_convolutions = convolutions();

const BenchGate s_convolution_gates[] = {BenchGate::rivals("convolve 255x255", "FFTW"),
                                         BenchGate::rivals("convolve 255x255, a kernel for each channel", "FFTW")};

std::vector<Bench> sines() {
    std::vector<Bench> list;
    for (const int size : {128, 256, 512})
        list.emplace_back("sine transform there and back " + std::to_string(size), QUILLON, 0, [size](int) {
            auto plane = test_frame(1, SAMPLE_F32, size, size);
            return [=] {
                float* const data = image_row<float>(plane.get(), 0);
                sine_transform_2d(data, size, size, size, FFTDirection::forward);
                sine_transform_2d(data, size, size, size, FFTDirection::inverse);
            };
        });
    return list;
}

const std::vector<Bench> s_sines = sines();

}  // namespace
