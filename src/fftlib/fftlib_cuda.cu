#include "fftlib/fftlib_cuda.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "fftlib/cufft.h"
#include "fftlib/yuva_formulas.h"
#include "gpulib/gpulib.h"

// ---- Planes -------------------------------------------------------------------------------------------------------

// One channel or two of a picture; the second may be null. `step` is the distance from a pixel to the next, in floats.
struct FFTFrom {
    const float *first, *second;
    int step, width, height;
};
struct FFTTo {
    float *first, *second;
    int step, width, height;
};

GPU_AND_CPU float finite_or_zero(float value) {
    return fabsf(value) <= std::numeric_limits<float>::max() ? value : 0.0f;
}

// A pixel of the channels as a complex number; 0 where there is none.
GPU_AND_CPU FFTComplex fft_point(const FFTFrom& from, int x, int y) {
    if (x < 0 || x >= from.width || y < 0 || y >= from.height) return {0.0f, 0.0f};
    const std::size_t at = (static_cast<std::size_t>(y) * from.width + x) * from.step;
    return {finite_or_zero(from.first[at]), from.second ? finite_or_zero(from.second[at]) : 0.0f};
}

GPU_AND_CPU std::size_t point_at(int x, int y, int width) { return static_cast<std::size_t>(y) * width + x; }

// The picture at (left, top) of a plane of zeros.
GPU_AND_CPU void padData(GpuPlace at, FFTComplex* plane, FFTFrom from, int left, int top, int width, int height) {
    if (at.x < width && at.y < height) plane[point_at(at.x, at.y, width)] = fft_point(from, at.x - left, at.y - top);
}

// The kernel with its centre at the origin; what is in front of it goes to the plane's far ends.
GPU_AND_CPU void padKernel(GpuPlace at, FFTComplex* plane, FFTFrom from, int before_x, int before_y, int width,
                           int height) {
    if (at.x >= width || at.y >= height) return;
    const int x = at.x < width - before_x ? at.x + before_x : at.x + before_x - width;
    const int y = at.y < height - before_y ? at.y + before_y : at.y + before_y - height;
    plane[point_at(at.x, at.y, width)] = fft_point(from, x, y);
}

GPU_AND_CPU void pre_map_complex_no_range(GpuPlace at, FFTComplex* plane, const float* numbers, float scale, int width,
                                          int height) {
    if (at.x >= width || at.y >= height) return;
    const std::size_t i = point_at(at.x, at.y, width);
    plane[i] = {numbers[i] * scale, 0.0f};
}
GPU_AND_CPU void pre_map_complex(GpuPlace at, FFTComplex* plane, const float* numbers, FFTRange range, float scale,
                                 int width, int height) {
    if (at.x >= width || at.y >= height) return;
    const std::size_t i = point_at(at.x, at.y, width);
    plane[i] = {(numbers[i] - range.low) / (range.high - range.low) * scale, 0.0f};
}

// Real parts to the first channel and imaginary ones to the second, from the top left part of a plane of `pitch`
// numbers a row.
GPU_AND_CPU void post_map_complex_no_range(GpuPlace at, FFTTo to, const FFTComplex* plane, float scale, int pitch) {
    if (at.x >= to.width || at.y >= to.height) return;
    const FFTComplex value = plane[point_at(at.x, at.y, pitch)];
    const std::size_t i = point_at(at.x, at.y, to.width) * to.step;
    to.first[i] = value.real * scale;
    if (to.second) to.second[i] = value.imaginary * scale;
}
GPU_AND_CPU void post_map_complex(GpuPlace at, float* numbers, const FFTComplex* plane, FFTRange range, float scale,
                                  int width, int height) {
    if (at.x >= width || at.y >= height) return;
    const std::size_t i = point_at(at.x, at.y, width);
    numbers[i] = range.low + plane[i].real * scale * (range.high - range.low);
}

// ---- Products -----------------------------------------------------------------------------------------------------

GPU_AND_CPU FFTComplex product(FFTComplex a, FFTComplex b) {
    return {a.real * b.real - a.imaginary * b.imaginary, a.real * b.imaginary + a.imaginary * b.real};
}

// What the transform of a + i b holds of a and of b, from a frequency and its mirror.
struct TwoSpectra {
    FFTComplex a, b;
};
GPU_AND_CPU TwoSpectra two_spectra(FFTComplex z, FFTComplex mirrored) {
    return {{0.5f * (z.real + mirrored.real), 0.5f * (z.imaginary - mirrored.imaginary)},
            {0.5f * (z.imaginary + mirrored.imaginary), 0.5f * (mirrored.real - z.real)}};
}

// The product at a frequency and at its mirror, of which the other half of the plane is made: a thread for each of the
// columns [0, width / 2]. `paired`: the kernel's real and imaginary parts are two kernels, each for its part of the
// picture; else its real part is for both.
GPU_AND_CPU void modulateAndNormalize(GpuPlace at, FFTComplex* data, const FFTComplex* kernel, bool paired, float scale,
                                      int width, int height) {
    if (at.x > width / 2 || at.y >= height) return;
    const int mirror_x = at.x == 0 ? 0 : width - at.x, mirror_y = at.y == 0 ? 0 : height - at.y;
    if (mirror_x == at.x && mirror_y < at.y) return;  // done by the mirror's thread
    const std::size_t i = point_at(at.x, at.y, width), j = point_at(mirror_x, mirror_y, width);
    const FFTComplex z = data[i], mirrored = data[j];
    const FFTComplex k = kernel[i], k_mirrored = kernel[j];
    if (!paired) {
        const FFTComplex here = product(z, k), there = product(mirrored, k_mirrored);
        data[i] = {here.real * scale, here.imaginary * scale};
        data[j] = {there.real * scale, there.imaginary * scale};
        return;
    }
    const TwoSpectra picture = two_spectra(z, mirrored), kernels = two_spectra(k, k_mirrored);
    const FFTComplex a = product(picture.a, kernels.a), b = product(picture.b, kernels.b);
    data[i] = {(a.real - b.imaginary) * scale, (a.imaginary + b.real) * scale};
    data[j] = {(a.real + b.imaginary) * scale, (b.real - a.imaginary) * scale};
}

// ---- Convolution --------------------------------------------------------------------------------------------------

bool cuda_fft_available() { return cuda_available() && cufft_available(); }

FFTGeometry cuda_fft_geometry(int width, int height, int kernel_width, int kernel_height, const FFTBox& lit) {
    const auto padded = [](int n) {
        const int rounded = n <= FFT_MAX_SIZE ? cuda_round_fft_size(n) : 0;
        return rounded <= FFT_MAX_SIZE ? rounded : 0;
    };
    return {fft_axis(width, lit.x0, lit.x1, kernel_width, padded),
            fft_axis(height, lit.y0, lit.y1, kernel_height, padded)};
}

double fft_processor_seconds(int width, int height, int kernel_width, int kernel_height, const FFTBox& lit) {
    constexpr double SECONDS_A_POINT = 2.7e-9;  // of the padded plane, on a Zen 5
    const FFTAxis x = fft_axis(width, lit.x0, lit.x1, kernel_width, fft_good_size);
    const FFTAxis y = fft_axis(height, lit.y0, lit.y1, kernel_height, fft_good_size);
    return SECONDS_A_POINT * x.padded * y.padded;
}

HostPicture host_part(const K7Image* image, const FFTBox& box) {
    auto* const first = static_cast<unsigned char*>(image->pixels) + std::size_t(box.y0) * image->row_bytes +
                        std::size_t(box.x0) * image->pixel_bytes;
    return {first, box.x1 - box.x0 + 1, box.y1 - box.y0 + 1, image->pixel_bytes,
            static_cast<std::ptrdiff_t>(image->row_bytes)};
}

// What the products of one call share.
class DeviceConvolution {
  public:
    DeviceConvolution(const FFTGeometry& geometry, GpuStream stream)
        : m_geometry(geometry), m_width(geometry.x.padded), m_height(geometry.y.padded), m_operation(stream) {
        const std::size_t points = static_cast<std::size_t>(m_width) * m_height;
        m_data = m_operation.scratch<FFTComplex>(points);
        m_kernel = m_operation.scratch<FFTComplex>(points);
        if (!m_operation.failed() && !m_plan.make(m_width, m_height, stream)) m_operation.fail(GPU_NO_ROOM_FOR_OUTPUT);
    }

    // Two channels; `second` may be null.
    void convolve(const FFTProduct& first, const FFTProduct* second) {
        const bool paired = second && second->kernel != first.kernel;
        takeKernel(first.kernel, paired ? second->kernel : FFTChannel{});
        const FFTFrom lit = source(first.lit, second ? second->lit : FFTChannel{});
        m_operation.launch(gpu_kernel<padData>(), gpu_shape_of_picture(m_width, m_height), m_data, lit,
                           m_geometry.x.first, m_geometry.y.first, m_width, m_height);
        transform(m_data, FFTDirection::forward);
        const float scale = 1.0f / (static_cast<float>(m_width) * static_cast<float>(m_height));
        m_operation.launch(gpu_kernel<modulateAndNormalize>(), gpu_shape_of_picture(m_width / 2 + 1, m_height), m_data,
                           m_kernel, paired, scale, m_width, m_height);
        transform(m_data, FFTDirection::inverse);
        const FFTTo result = target(first.result, second ? second->result : FFTChannel{});
        m_operation.launch(gpu_kernel<post_map_complex_no_range>(), gpu_shape_of_picture(result.width, result.height),
                           result, m_data, 1.0f, m_width);
    }
    int finish() { return m_operation.finish(); }

  private:
    // The spectrum stands until other kernels are needed.
    void takeKernel(const FFTChannel& first, const FFTChannel& second) {
        if (m_kernels[0] == first && m_kernels[1] == second) return;
        m_kernels[0] = first, m_kernels[1] = second;
        const FFTFrom from = source(first, second);
        m_operation.launch(gpu_kernel<padKernel>(), gpu_shape_of_picture(m_width, m_height), m_kernel, from,
                           m_geometry.x.before, m_geometry.y.before, m_width, m_height);
        transform(m_kernel, FFTDirection::forward);
    }
    void transform(FFTComplex* plane, FFTDirection direction) {
        if (!m_operation.failed() && !m_plan.transform(plane, plane, direction)) m_operation.fail(GPU_NOT_LAUNCHED);
    }
    FFTFrom source(const FFTChannel& first, const FFTChannel& second) {
        const auto* const a = m_operation.read<float>(*first.image);
        const auto* const b = second.image ? m_operation.read<float>(*second.image) : nullptr;
        return {a ? a + first.channel : nullptr, b ? b + second.channel : nullptr, first.channels, first.image->width(),
                first.image->height()};
    }
    FFTTo target(const FFTChannel& first, const FFTChannel& second) {
        auto* const a = m_operation.write<float>(*first.image);
        auto* const b = second.image ? m_operation.write<float>(*second.image) : nullptr;
        return {a ? a + first.channel : nullptr, b ? b + second.channel : nullptr, first.channels, m_geometry.x.size,
                m_geometry.y.size};
    }

    const FFTGeometry& m_geometry;
    int m_width, m_height;
    GpuOperation m_operation;
    CufftPlan m_plan;
    FFTComplex *m_data = nullptr, *m_kernel = nullptr;
    FFTChannel m_kernels[2];
};

int cuda_convolve(const FFTGeometry& geometry, std::span<const FFTProduct> products, GpuStream stream) {
    DeviceConvolution convolution(geometry, stream);
    for (std::size_t i = 0; i < products.size(); i += 2)
        convolution.convolve(products[i], i + 1 < products.size() ? &products[i + 1] : nullptr);
    return convolution.finish();
}

// ---- Squares ------------------------------------------------------------------------------------------------------

int cuda_forward_2d(DeviceImage& plane, DeviceImage& spectrum, int size, float scale, const FFTRange* range,
                    GpuStream stream) {
    GpuOperation operation(stream);
    CufftPlan plan;
    const auto* const numbers = operation.read<float>(plane);
    auto* const out = operation.write<FFTComplex>(spectrum);
    if (!operation.failed() && !plan.make(size, size, stream)) operation.fail(GPU_NO_ROOM_FOR_OUTPUT);
    const GpuShape shape = gpu_shape_of_picture(size, size);
    if (range)
        operation.launch(gpu_kernel<pre_map_complex>(), shape, out, numbers, *range, scale, size, size);
    else
        operation.launch(gpu_kernel<pre_map_complex_no_range>(), shape, out, numbers, scale, size, size);
    if (!operation.failed() && !plan.transform(out, out, FFTDirection::forward)) operation.fail(GPU_NOT_LAUNCHED);
    return operation.finish();
}

int cuda_inverse_2d(DeviceImage& spectrum, DeviceImage& plane, int size, float scale, const FFTRange* range,
                    GpuStream stream) {
    GpuOperation operation(stream);
    CufftPlan plan;
    auto* const in = const_cast<FFTComplex*>(operation.read<FFTComplex>(spectrum));  // only read
    auto* const numbers = operation.write<float>(plane);
    auto* const sums = operation.scratch<FFTComplex>(static_cast<std::size_t>(size) * size);
    if (!operation.failed() && !plan.make(size, size, stream)) operation.fail(GPU_NO_ROOM_FOR_OUTPUT);
    if (!operation.failed() && !plan.transform(in, sums, FFTDirection::inverse)) operation.fail(GPU_NOT_LAUNCHED);
    const GpuShape shape = gpu_shape_of_picture(size, size);
    if (range)
        operation.launch(gpu_kernel<post_map_complex>(), shape, numbers, sums, *range, scale, size, size);
    else
        operation.launch(gpu_kernel<post_map_complex_no_range>(), shape, FFTTo{numbers, nullptr, 1, size, size}, sums,
                         scale, size);
    return operation.finish();
}

// ---- Colour as planes ---------------------------------------------------------------------------------------------

// A thread for each pixel of `count`.
GPU_AND_CPU void convert_8_rgba_yuva(GpuPlace at, float* planes, const std::uint8_t* pixels, int count) {
    if (at.x < count) split_pixel<std::uint8_t, 4>(planes, pixels, at.x, count);
}
GPU_AND_CPU void convert_8_rgb_yuva(GpuPlace at, float* planes, const std::uint8_t* pixels, int count) {
    if (at.x < count) split_pixel<std::uint8_t, 3>(planes, pixels, at.x, count);
}
GPU_AND_CPU void convert_16_rgba_yuva(GpuPlace at, float* planes, const std::uint16_t* pixels, int count) {
    if (at.x < count) split_pixel<std::uint16_t, 4>(planes, pixels, at.x, count);
}
GPU_AND_CPU void convert_16_rgb_yuva(GpuPlace at, float* planes, const std::uint16_t* pixels, int count) {
    if (at.x < count) split_pixel<std::uint16_t, 3>(planes, pixels, at.x, count);
}
GPU_AND_CPU void convert_float_rgba_yuva(GpuPlace at, float* planes, const float* pixels, int count) {
    if (at.x < count) split_pixel<float, 4>(planes, pixels, at.x, count);
}
GPU_AND_CPU void convert_float_rgb_yuva(GpuPlace at, float* planes, const float* pixels, int count) {
    if (at.x < count) split_pixel<float, 3>(planes, pixels, at.x, count);
}
GPU_AND_CPU void convert_yuva_rgba_8(GpuPlace at, std::uint8_t* pixels, const float* planes, int count) {
    if (at.x < count) join_pixel<std::uint8_t, 4>(pixels, planes, at.x, count);
}
GPU_AND_CPU void convert_yuva_rgb_8(GpuPlace at, std::uint8_t* pixels, const float* planes, int count) {
    if (at.x < count) join_pixel<std::uint8_t, 3>(pixels, planes, at.x, count);
}
GPU_AND_CPU void convert_yuva_rgba_16(GpuPlace at, std::uint16_t* pixels, const float* planes, int count) {
    if (at.x < count) join_pixel<std::uint16_t, 4>(pixels, planes, at.x, count);
}
GPU_AND_CPU void convert_yuva_rgb_16(GpuPlace at, std::uint16_t* pixels, const float* planes, int count) {
    if (at.x < count) join_pixel<std::uint16_t, 3>(pixels, planes, at.x, count);
}
GPU_AND_CPU void convert_yuva_rgba_float(GpuPlace at, float* pixels, const float* planes, int count) {
    if (at.x < count) join_pixel<float, 4>(pixels, planes, at.x, count);
}
GPU_AND_CPU void convert_yuva_rgb_float(GpuPlace at, float* pixels, const float* planes, int count) {
    if (at.x < count) join_pixel<float, 3>(pixels, planes, at.x, count);
}

// Launches one of two kernels on all pixels of a picture of samples of type T.
template <class T>
static void split_with(GpuOperation& operation, GpuKernel<float*, const T*, int> of_three,
                       GpuKernel<float*, const T*, int> of_four, int channels, float* planes, const void* pixels,
                       int count) {
    operation.launch(channels == 3 ? of_three : of_four, gpu_shape_of_line(count), planes,
                     static_cast<const T*>(pixels), count);
}
template <class T>
static void join_with(GpuOperation& operation, GpuKernel<T*, const float*, int> of_three,
                      GpuKernel<T*, const float*, int> of_four, int channels, void* pixels, const float* planes,
                      int count) {
    operation.launch(channels == 3 ? of_three : of_four, gpu_shape_of_line(count), static_cast<T*>(pixels), planes,
                     count);
}

// The pixels of the picture, or 0 where they and the planes do not go together.
static int pixels_of(const DeviceImage& picture, int channels, const DeviceImage& planes) {
    const bool sound = channels == 3 || channels == 4;
    if (!sound || planes.width() != picture.width() || planes.height() != 4L * picture.height()) return 0;
    return picture.width() <= std::numeric_limits<int>::max() / std::max(picture.height(), 1)
               ? picture.width() * picture.height()
               : 0;
}

int cuda_split_colours(DeviceImage& picture, int sample_type, int channels, DeviceImage& planes, GpuStream stream) {
    GpuOperation operation(stream);
    const int count = pixels_of(picture, channels, planes);
    if (count == 0) operation.fail(GPU_NOT_LAUNCHED);
    const auto* const from = operation.read<unsigned char>(picture);
    auto* const to = operation.write<float>(planes);
    if (sample_type == SAMPLE_U8)
        split_with(operation, gpu_kernel<convert_8_rgb_yuva>(), gpu_kernel<convert_8_rgba_yuva>(), channels, to, from,
                   count);
    else if (sample_type == SAMPLE_U16)
        split_with(operation, gpu_kernel<convert_16_rgb_yuva>(), gpu_kernel<convert_16_rgba_yuva>(), channels, to, from,
                   count);
    else if (sample_type == SAMPLE_F32)
        split_with(operation, gpu_kernel<convert_float_rgb_yuva>(), gpu_kernel<convert_float_rgba_yuva>(), channels, to,
                   from, count);
    else
        operation.fail(GPU_NOT_LAUNCHED);
    return operation.finish();
}

int cuda_join_colours(DeviceImage& planes, DeviceImage& picture, int sample_type, int channels, GpuStream stream) {
    GpuOperation operation(stream);
    const int count = pixels_of(picture, channels, planes);
    if (count == 0) operation.fail(GPU_NOT_LAUNCHED);
    const auto* const from = operation.read<float>(planes);
    auto* const to = operation.write<unsigned char>(picture);
    if (sample_type == SAMPLE_U8)
        join_with(operation, gpu_kernel<convert_yuva_rgb_8>(), gpu_kernel<convert_yuva_rgba_8>(), channels, to, from,
                  count);
    else if (sample_type == SAMPLE_U16)
        join_with(operation, gpu_kernel<convert_yuva_rgb_16>(), gpu_kernel<convert_yuva_rgba_16>(), channels, to, from,
                  count);
    else if (sample_type == SAMPLE_F32)
        join_with(operation, gpu_kernel<convert_yuva_rgb_float>(), gpu_kernel<convert_yuva_rgba_float>(), channels, to,
                  from, count);
    else
        operation.fail(GPU_NOT_LAUNCHED);
    return operation.finish();
}
