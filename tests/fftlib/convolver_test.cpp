#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <vector>

#include "fftlib/fftlib.h"
#include "support/same_bits.h"

namespace {

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float ENDLESS = std::numeric_limits<float>::infinity();

ImagePtr noise(int width, int height, int channels, unsigned seed = 1) {
    return noise_image(width, height, channels, SAMPLE_F32, seed, -0.25F);
}
ImagePtr blank(const ImagePtr& image) { return ImagePtr(image_clone_layout(image.get())); }
float* samples(const ImagePtr& image) { return image_row<float>(image.get(), 0); }

// The largest error over the root of the sum of the kernel's squares.
double worst_sample(const ImagePtr& image, const ImagePtr& kernel, const ImagePtr& result) {
    double worst = 0, squares = 0;
    for (int i = 0; i < kernel->width * kernel->height * kernel->channels; ++i)
        squares += double(samples(kernel)[i]) * samples(kernel)[i];
    const auto sum_at = [&](int x, int y, int c) {
        const int kernel_channel = kernel->channels == 1 ? 0 : c;
        double sum = 0;
        for (int v = 0; v < kernel->height; ++v)
            for (int u = 0; u < kernel->width; ++u)
                sum += double(image_get_sample(kernel.get(), u, v, kernel_channel)) *
                       image_get_sample(image.get(), x - u + kernel->width / 2, y - v + kernel->height / 2, c);
        return sum;
    };
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < image->channels; ++c)
                worst = std::max(worst, std::fabs(sum_at(x, y, c) - image_get_sample(result.get(), x, y, c)));
    return worst / std::sqrt(squares);
}

TEST(Convolve, IsTheDirectSum) {
    const int cases[][4] = {{1, 1, 1, 1},   {5, 4, 3, 3},     {16, 16, 5, 7}, {33, 40, 8, 2},   {20, 50, 61, 9},
                            {7, 3, 40, 41}, {100, 70, 31, 1}, {64, 34, 1, 1}, {150, 1, 70, 20}, {17, 90, 2, 64}};
    FFTConvolver convolver(FFT_OWN_ENGINE);
    for (const auto& [width, height, kernel_width, kernel_height] : cases)
        for (const auto& [channels, kernel_channels] : {std::pair{1, 1}, {4, 1}, {4, 4}}) {
            const ImagePtr image = noise(width, height, channels), result = blank(image);
            const ImagePtr kernel = noise(kernel_width, kernel_height, kernel_channels, 2);
            ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), result.get()));
            EXPECT_LT(worst_sample(image, kernel, result), 3e-6)
                << width << " x " << height << ", " << channels << " channels, kernel " << kernel_width << " x "
                << kernel_height << ", " << kernel_channels;
            ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), image.get()));
            EXPECT_TRUE(same_pixels(image.get(), result.get())) << "in place";
        }
}

TEST(Convolve, OfABoxIsThatOfAPictureThatIsBlackElsewhere) {
    FFTConvolver convolver(FFT_OWN_ENGINE);
    for (const FFTBox& box : {FFTBox{0, 0, 0, 0}, {25, 20, 25, 20}, {10, 5, 15, 14}, {0, 2, 30, 3}, {29, 0, 30, 23}})
        for (const auto& [size, channels] : {std::pair{7, 4}, {20, 1}, {31, 4}, {64, 1}}) {
            const ImagePtr image = noise(31, 24, channels), black = noise(31, 24, channels), result = blank(image);
            const ImagePtr kernel = noise(size, size - 3, channels, 2);
            for (int y = 0; y < 24; ++y)
                for (int i = 0; i < 31 * channels; ++i)
                    if (const int x = i / channels; x < box.x0 || x > box.x1 || y < box.y0 || y > box.y1) {
                        image_row<float>(black.get(), y)[i] = 0;
                        image_row<float>(image.get(), y)[i] = NOT_A_NUMBER;
                    }
            ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), result.get(), &box));
            EXPECT_LT(worst_sample(black, kernel, result), 3e-6) << box.x0 << ", " << size;
        }
    const ImagePtr image = noise(31, 24, 4), result = blank(image);
    for (const FFTBox& box : {FFTBox{-1, 0, 5, 5}, {0, 0, 31, 5}, {5, 0, 4, 5}})
        EXPECT_FALSE(convolver.convolve(image.get(), image.get(), result.get(), &box));
}

TEST(Convolve, SamplesThatAreNotFiniteCountAsZero) {
    for (const int channels : {1, 4}) {
        const ImagePtr image = noise(50, 37, channels), kernel = noise(9, 5, channels, 2);
        const ImagePtr expected = blank(image), result = blank(image);
        for (const ImagePtr& place : {std::cref(image), std::cref(kernel)}) samples(place)[channels * 3] = 0;
        FFTConvolver convolver(FFT_OWN_ENGINE);
        ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), expected.get()));
        samples(image)[channels * 3] = NOT_A_NUMBER;
        samples(kernel)[channels * 3] = -ENDLESS;
        ASSERT_TRUE(convolver.convolve(image.get(), kernel.get(), result.get()));
        EXPECT_TRUE(same_pixels(expected.get(), result.get()));
    }
}

TEST(Convolve, SameBitsEverywhere) {
    for (const auto& [channels, kernel_channels] : {std::pair{1, 1}, {4, 1}, {4, 4}})
        same_bits_everywhere([&] {
            const ImagePtr image = noise(203, 150, channels), kernel = noise(61, 90, kernel_channels, 2);
            ImagePtr result = blank(image);
            FFTConvolver convolver(FFT_OWN_ENGINE);
            convolver.set_multiprocess(fft_image_rows, nullptr);
            EXPECT_TRUE(convolver.convolve(image.get(), kernel.get(), result.get()));
            return result;
        });
}

TEST(Convolve, Refusals) {
    FFTConvolver convolver(FFT_OWN_ENGINE);
    EXPECT_EQ(convolver.width(), -1);
    const auto refused = [&](const ImagePtr& image, const ImagePtr& kernel, const ImagePtr& result, int error) {
        return !convolver.convolve(image.get(), kernel.get(), result.get()) && convolver.error() == error;
    };
    const ImagePtr small = noise(5, 5, 4), one = noise(3, 3, 1), wide = noise(8100, 1, 1);
    EXPECT_TRUE(refused(nullptr, one, small, FFT_BAD_ARGUMENT));
    EXPECT_TRUE(refused(small, nullptr, small, FFT_BAD_ARGUMENT));
    EXPECT_TRUE(refused(small, one, noise(5, 6, 4), FFT_BAD_ARGUMENT));
    EXPECT_TRUE(refused(one, small, one, FFT_BAD_ARGUMENT)) << "a kernel of more channels";
    EXPECT_TRUE(refused(small, make_image(3, 3, 4, SAMPLE_U8), small, FFT_BAD_ARGUMENT));
    EXPECT_TRUE(refused(wide, noise(200, 1, 1), wide, FFT_BAD_SIZE));
    EXPECT_TRUE(convolver.convolve(wide.get(), noise(184, 1, 1).get(), wide.get()));
    EXPECT_EQ(convolver.error(), FFT_NO_ERROR);
    EXPECT_EQ(convolver.padded_width(), FFT_MAX_SIZE);
    for (int n = -3; n < 9000; n = n < 1100 ? n + 1 : n + 97) {
        const int good = fft_good_size(n);
        EXPECT_TRUE(n > FFT_MAX_SIZE ? good == 0 : good >= std::max(n, 2) && good <= FFT_MAX_SIZE) << n;
    }
}

// A dispatcher that counts passes.
void count_passes(void* context, RowWorker worker, int rows, void* job) {
    ++*static_cast<int*>(context);
    worker(job, 0, rows - 1);
}

TEST(Convolve, AnAbortEndsThePassAndTheOperation) {
    const ImagePtr image = noise(100, 100, 4), kernel = noise(9, 9, 4), result = blank(image);
    for (const int pieces : {0, 3, 1000}) {
        struct Asked {
            int left;
        } asked{pieces};
        int passes = 0;
        FFTConvolver convolver(FFT_OWN_ENGINE);
        convolver.set_multiprocess(count_passes, &passes);
        convolver.set_abort([](void* context) { return static_cast<Asked*>(context)->left-- <= 0; }, &asked);
        EXPECT_EQ(convolver.convolve(image.get(), kernel.get(), result.get()), pieces == 1000);
        EXPECT_EQ(convolver.error(), pieces == 1000 ? FFT_NO_ERROR : FFT_ABORTED);
        EXPECT_EQ(passes, pieces == 0 ? 1 : pieces == 3 ? 2 : 8) << "kernel, picture, columns and back, for two pairs";
    }
}

// ---- Squares ------------------------------------------------------------------------------------------------------

// Rows, then columns, by their sums in double precision.
std::vector<std::complex<double>> slow_transform(const std::vector<float>& in, int size) {
    std::vector<std::complex<double>> roots(size), rows(in.size()), out(in.size());
    for (int j = 0; j < size; ++j) roots[j] = std::polar(1.0, -2 * std::numbers::pi * j / size);
    for (int y = 0; y < size; ++y)
        for (int k = 0; k < size; ++k)
            for (int x = 0; x < size; ++x) rows[y * size + k] += double(in[y * size + x]) * roots[k * x % size];
    for (int l = 0; l < size; ++l)
        for (int y = 0; y < size; ++y)
            for (int k = 0; k < size; ++k) out[l * size + k] += rows[y * size + k] * roots[l * y % size];
    return out;
}

std::vector<float> square(int size) {
    const ImagePtr image = noise(size, size, 1, unsigned(size));
    return {samples(image), samples(image) + std::ptrdiff_t(size) * size};
}

TEST(Squares, AreTheirSumsAndComeBack) {
    for (int size = 2; size <= 1024; size *= 2) {
        const std::vector<float> in = square(size);
        std::vector<FFTComplex> out(in.size());
        std::vector<float> back(in.size());
        FFTConvolver convolver(FFT_OWN_ENGINE);
        ASSERT_TRUE(convolver.forward_2d(in.data(), out.data(), size));
        double squares = 0, energy = 0;
        for (std::size_t i = 0; i < in.size(); ++i) {
            squares += double(in[i]) * in[i];
            energy += double(out[i].real) * out[i].real + double(out[i].imaginary) * out[i].imaginary;
        }
        EXPECT_NEAR(energy / squares / size / size, 1, 1e-6) << size;  // Parseval
        if (size <= 128) {
            const auto expected = slow_transform(in, size);
            double errors = 0;
            for (std::size_t i = 0; i < in.size(); ++i)
                errors += std::norm(expected[i] - std::complex<double>(out[i].real, out[i].imaginary));
            EXPECT_LT(std::sqrt(errors / energy), 5e-7) << size;
        }
        convolver.set_scale(1, 1.0F / float(size) / float(size));
        ASSERT_TRUE(convolver.inverse_2d(out.data(), back.data(), size));
        float difference = 0;
        for (std::size_t i = 0; i < in.size(); ++i) difference = std::max(difference, std::fabs(in[i] - back[i]));
        EXPECT_LT(difference, 2e-6F) << size;
    }
}

// Frequencies that belong to no real plane: the inverse is the real part of the sum.
TEST(Squares, TheInverseKeepsTheRealPart) {
    constexpr int SIZE = 16;
    std::vector<FFTComplex> data(SIZE * SIZE);
    std::vector<float> out(SIZE * SIZE);
    data[3 * SIZE + 5] = {2, 1};
    FFTConvolver convolver(FFT_OWN_ENGINE);
    ASSERT_TRUE(convolver.inverse_2d(data.data(), out.data(), SIZE));
    for (int y = 0; y < SIZE; ++y)
        for (int x = 0; x < SIZE; ++x) {
            const double angle = 2 * std::numbers::pi * (5 * x + 3 * y) / SIZE;
            EXPECT_NEAR(out[y * SIZE + x], 2 * std::cos(angle) - std::sin(angle), 1e-6);
        }
}

TEST(Squares, RefusalsAndFrequencies) {
    std::vector<float> plane(100 * 100);
    std::vector<FFTComplex> spectrum(plane.size());
    FFTConvolver convolver(FFT_OWN_ENGINE);
    for (const int size : {-4, 0, 1, 3, 12, 100, 16384}) {
        EXPECT_FALSE(convolver.forward_2d(plane.data(), spectrum.data(), size));
        EXPECT_FALSE(convolver.inverse_2d(spectrum.data(), plane.data(), size));
        EXPECT_EQ(convolver.error(), FFT_BAD_SIZE);
    }
    EXPECT_FALSE(convolver.forward_2d(plane.data(), nullptr, 4));
    EXPECT_EQ(convolver.error(), FFT_BAD_ARGUMENT);
    EXPECT_TRUE(convolver.forward_2d(plane.data(), spectrum.data(), 2));
    EXPECT_EQ(convolver.error(), FFT_NO_ERROR);

    const auto four = convolver.frequencies(4);
    EXPECT_EQ(std::vector<int>(four.begin(), four.end()), (std::vector<int>{0, 1, -2, -1}));
    const auto five = convolver.frequencies(5);
    EXPECT_EQ(std::vector<int>(five.begin(), five.end()), (std::vector<int>{0, 1, -3, -2, -1}));
    EXPECT_TRUE(convolver.frequencies(0).empty());
}

// ---- FFTW ---------------------------------------------------------------------------------------------------------

TEST(Fftw, GivesTheSamePictureWithinRounding) {
    const FFTConvolver as_usual;
    EXPECT_FALSE(as_usual.uses_fftw()) << "not without the variable";
    ::setenv("K7_USE_FFTW_WISDOM", "", 1);
    FFTConvolver own(FFT_OWN_ENGINE), fftw;
    ::unsetenv("K7_USE_FFTW_WISDOM");
    EXPECT_FALSE(own.uses_fftw());
    if (!fftw.uses_fftw()) GTEST_SKIP() << "libfftw3f.so.3 is not installed";
    for (const auto& [channels, kernel_channels] : {std::pair{1, 1}, {4, 1}, {4, 4}}) {
        const ImagePtr image = noise(120, 75, channels), kernel = noise(40, 31, kernel_channels, 2);
        samples(image)[7] = NOT_A_NUMBER;
        const ImagePtr a = blank(image), b = blank(image);
        ASSERT_TRUE(own.convolve(image.get(), kernel.get(), a.get()));
        ASSERT_TRUE(fftw.convolve(image.get(), kernel.get(), b.get()));
        float worst = 0;
        for (int i = 0; i < 120 * 75 * channels; ++i) worst = std::max(worst, std::fabs(samples(a)[i] - samples(b)[i]));
        EXPECT_LT(worst, 2e-4F);  // of sums of about 160
    }
}

}  // namespace
