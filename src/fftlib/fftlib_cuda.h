// Transforms and convolutions of what is on a CUDA device, beside those on the processor.
//
// Results are those of the functions in fftlib.h to within rounding; sums are CUFFT's, whose order is its own. All
// answer a GpuStep: 0, or the step that failed. Then what was to be written holds nothing on the device, and its host's
// pixels are as they were. One call at a time, from a thread that cuda_fft_available() has answered true to, outside of
// row work.
#pragma once

#include <cstddef>
#include <span>

#include "fftlib/fft_axis.h"
#include "fftlib/fftlib.h"
#include "gpulib/gpulib_operation.h"

// Whether there is a device, and CUFFT, which does not come with the driver, can be opened.
bool cuda_fft_available();

// ---- Convolution --------------------------------------------------------------------------------------------------

// What of a picture and of a kernel has part in a convolution. Nothing else need be on the device.
struct FFTGeometry {
    FFTAxis x, y;
    bool fits() const { return x.padded > 0 && y.padded > 0; }
    FFTBox lit() const { return {x.first, y.first, x.first + x.lit - 1, y.first + y.lit - 1}; }
    FFTBox kernel() const { return {x.skipped, y.skipped, x.skipped + x.samples() - 1, y.skipped + y.samples() - 1}; }
};
// Both axes are padded to a cuda_round_fft_size(), up to FFT_MAX_SIZE.
FFTGeometry cuda_fft_geometry(int width, int height, int kernel_width, int kernel_height, const FFTBox& lit);

// What FFTConvolver takes the processor for it on one thread, in seconds a channel.
double fft_processor_seconds(int width, int height, int kernel_width, int kernel_height, const FFTBox& lit);

// Part of an image of the host, for a DeviceImage.
HostPicture host_part(const K7Image* image, const FFTBox& box);

// One of the floats of every pixel.
struct FFTChannel {
    DeviceImage* image = nullptr;
    int channel = 0, channels = 1;
    bool operator==(const FFTChannel&) const = default;
};
struct FFTProduct {
    FFTChannel lit;     // geometry.lit() of the picture
    FFTChannel kernel;  // geometry.kernel() of the kernel
    FFTChannel result;  // all of the picture, in an image that is none of the inputs
};
// result = lit * kernel as FFTConvolver::convolve defines it, for up to four channels of images that are alike. They go
// in pairs, each pair as one complex plane; the fewer kernels there are, the faster. Samples that are not finite count
// as 0. The geometry must fit.
int cuda_convolve(const FFTGeometry& geometry, std::span<const FFTProduct> products, GpuStream stream);

// ---- Squares ------------------------------------------------------------------------------------------------------

// Numbers from low to high as ones from 0 to 1.
struct FFTRange {
    float low, high;
};
// forward_2d and inverse_2d of FFTConvolver: planes of size * size floats, and spectra of as many FFTComplex. With a
// range, numbers are brought from it before the transform, and back to it after the inverse.
int cuda_forward_2d(DeviceImage& plane, DeviceImage& spectrum, int size, float scale, const FFTRange* range,
                    GpuStream stream);
int cuda_inverse_2d(DeviceImage& spectrum, DeviceImage& plane, int size, float scale, const FFTRange* range,
                    GpuStream stream);

// ---- Colour as planes ---------------------------------------------------------------------------------------------

// fft_split_colours and fft_join_colours, bit by bit: pictures of 3 or 4 samples of a type, and planes as one image of
// floats that is four times as high. A layout that does not go is answered with GPU_NOT_LAUNCHED.
int cuda_split_colours(DeviceImage& picture, int sample_type, int channels, DeviceImage& planes, GpuStream stream);
int cuda_join_colours(DeviceImage& planes, DeviceImage& picture, int sample_type, int channels, GpuStream stream);
