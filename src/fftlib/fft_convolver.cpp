// FFTConvolver. Columns of frequencies are transformed, multiplied and transformed back while they are in the cache.
#include <algorithm>
#include <bit>
#include <cmath>
#include <new>
#include <vector>

#include "fftlib/fftlib.h"
#include "fftlib/fftlib_cuda.h"
#include "fftlib/fftw.h"
#include "fftlib/half_planes.h"
#include "gpulib/gpulib.h"
#include "imagelib/imagelib_cuda.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

bool is_float_picture(const K7Image* image) {
    return image && image->pixels && image->sample_type == SAMPLE_F32 && (image->channels == 1 || image->channels == 4);
}

// The rows of a picture, all of one channel or of two.
RealRows rows_of(const K7Image* image, int channel) {
    return {static_cast<float*>(image->pixels),
            std::size_t(image->width) * image->channels,
            image->height,
            image->width,
            image->channels == 1 ? -1 : channel,
            true};
}

// A part of them, from a row and a pixel on.
RealRows part_of(RealRows rows, int channels, int x, int y, int width, int height) {
    rows.data += std::size_t(y) * rows.step + std::size_t(x) * std::size_t(channels);
    rows.width = width, rows.rows = height;
    return rows;
}

// Memory that is kept while it is large enough.
struct KeptPlane {
    FFTPlane memory;
    std::size_t room = 0;
    float* of(std::size_t floats) {
        if (floats <= room) return memory.get();
        memory.reset();
        memory = make_aligned_block<float, true>(floats);
        room = memory ? floats : 0;
        return memory.get();
    }
};

struct Convolution {
    const K7Image *image, *kernel;
    K7Image* result;
    FFTAxis x, y;
};

bool pays_on_device(const Convolution& job, const FFTBox& lit) {
    const auto& [image, kernel, result, x, y] = job;
    if (image->channels != 4 || !cuda_available()) return false;
    const double moved = double(image->pixel_bytes) * (double(x.lit) * y.lit + double(x.size) * y.size) +
                         double(kernel->pixel_bytes) * x.samples() * y.samples();
    const double seconds = fft_processor_seconds(image->width, image->height, kernel->width, kernel->height, lit);
    return gpu_pays(static_cast<std::size_t>(moved), image->channels * seconds) && cuda_fft_available();
}

float finite(float sample) { return std::isfinite(sample) ? sample : 0.0F; }

}  // namespace

FFTAxis fft_axis(int size, int first, int last, int kernel, int (*padded)(int)) {
    const int centre = kernel / 2;
    const int before = std::min(centre, last), after = std::min(kernel - 1 - centre, size - 1 - first);
    const int beyond = std::max({0, before - first, last + after - (size - 1)});
    return {size, first, last - first + 1, before, after, centre - before, padded(size + beyond)};
}

struct FFTConvolver::State {
    FFTWork work;
    float forward_scale = 1, inverse_scale = 1;
    int error = FFT_NO_ERROR;
    int width = -1, height = -1, padded_width = -1, padded_height = -1;
    KeptPlane pictures, kernels;
    std::vector<int> frequencies;
    bool with_fftw = false, with_cuda = false;
    std::unique_ptr<FftwConvolution> fftw;

    void begin(int w, int h, int padded_w, int padded_h) {
        work.aborted = work.out_of_memory = false;
        width = w, height = h, padded_width = padded_w, padded_height = padded_h;
    }
    bool fail(int code) {
        error = code;
        return false;
    }
    bool finish(bool done) {
        error = done ? FFT_NO_ERROR : work.aborted ? FFT_ABORTED : FFT_NO_MEMORY;
        return done;
    }

    bool convolve_channels(const Convolution& job, int channel);
    bool multiply_columns(const Convolution& job, const HalfPlane (&planes)[2], const HalfPlane (&kernel_planes)[2]);
    bool convolve_by_fftw(const Convolution& job);
    bool convolve_on_device(const Convolution& job, const FFTGeometry& geometry);
    bool fill_square(const FFTPlan& plan, HalfPlane plane, FFTComplex* out);
    bool take_square(const FFTPlan& plan, const FFTComplex* data, HalfPlane plane);
};

FFTConvolver::FFTConvolver(int option) : m_state(std::make_unique<State>()) {
    m_state->with_fftw = option == FFT_AS_CONFIGURED && FftwConvolution::wanted();
    m_state->with_cuda = option == FFT_AS_CONFIGURED && !m_state->with_fftw;
}
FFTConvolver::~FFTConvolver() = default;

void FFTConvolver::set_multiprocess(RowDispatcher dispatcher, void* context) {
    m_state->work.runner = {context, dispatcher};
}
void FFTConvolver::set_abort(bool (*requested)(void*), void* context) {
    m_state->work.abort = requested;
    m_state->work.abort_context = context;
}
void FFTConvolver::set_scale(float forward, float inverse) {
    m_state->forward_scale = forward;
    m_state->inverse_scale = inverse;
}

int FFTConvolver::error() const { return m_state->error; }
int FFTConvolver::width() const { return m_state->width; }
int FFTConvolver::height() const { return m_state->height; }
int FFTConvolver::padded_width() const { return m_state->padded_width; }
int FFTConvolver::padded_height() const { return m_state->padded_height; }
bool FFTConvolver::uses_fftw() const { return m_state->with_fftw; }

std::span<const int> FFTConvolver::frequencies(int size) {
    std::vector<int>& table = m_state->frequencies;
    if (size < 1 || size > FFT_MAX_SIZE) return {};
    if (table.size() != std::size_t(size)) {
        if (!in_memory([&] { table.resize(std::size_t(size)); })) return {};
        for (int i = 0; i < size; ++i) table[std::size_t(i)] = i < size / 2 ? i : i - size;
    }
    return table;
}

// ---- Convolution --------------------------------------------------------------------------------------------------

bool FFTConvolver::convolve(const K7Image* image, const K7Image* kernel, K7Image* result, const FFTBox* lit) {
    State& state = *m_state;
    if (!is_float_picture(image) || !is_float_picture(kernel) || !image_same_layout(image, result) || !result->pixels)
        return state.fail(FFT_BAD_ARGUMENT);
    if (kernel->channels != 1 && kernel->channels != image->channels) return state.fail(FFT_BAD_ARGUMENT);
    const FFTBox all{0, 0, image->width - 1, image->height - 1}, box = lit ? *lit : all;
    if (box.x0 < 0 || box.y0 < 0 || box.x1 > all.x1 || box.y1 > all.y1 || box.x0 > box.x1 || box.y0 > box.y1)
        return state.fail(FFT_BAD_ARGUMENT);
    const Convolution job{image, kernel, result, fft_axis(image->width, box.x0, box.x1, kernel->width, fft_good_size),
                          fft_axis(image->height, box.y0, box.y1, kernel->height, fft_good_size)};
    if (job.x.padded == 0 || job.y.padded == 0) return state.fail(FFT_BAD_SIZE);

    state.begin(image->width, image->height, job.x.padded, job.y.padded);
    result->stats_valid = 0;
    if (state.with_fftw) return state.convolve_by_fftw(job);
    if (state.with_cuda && pays_on_device(job, box)) {
        const FFTGeometry geometry = cuda_fft_geometry(image->width, image->height, kernel->width, kernel->height, box);
        state.begin(image->width, image->height, geometry.x.padded, geometry.y.padded);
        return state.convolve_on_device(job, geometry);
    }
    bool done = true;
    for (int channel = 0; done && channel < image->channels; channel += 2) done = state.convolve_channels(job, channel);
    return state.finish(done);
}

// Two channels of four, or the only one.
bool FFTConvolver::State::convolve_channels(const Convolution& job, int channel) {
    const auto& [image, kernel, result, x, y] = job;
    const FFTPlan* const plan = FFTPlan::of(x.padded);
    const int strips = fft_strips(x.padded);
    const std::size_t step = fft_strip_step(y.padded + FFT_PAIR), size = step * std::size_t(strips);
    const std::size_t kernel_step = fft_strip_step(y.samples()), kernel_size = kernel_step * std::size_t(strips);
    float* const planes_memory = pictures.of(size * (image->channels == 1 ? 1 : 2));
    float* const kernels_memory = kernels.of(kernel_size * (kernel->channels == 1 ? 1 : 2));
    if (!plan || !planes_memory || !kernels_memory) return false;
    const HalfPlane planes[2] = {{planes_memory, step}, {planes_memory + (image->channels == 1 ? 0 : size), step}};
    const HalfPlane kernel_planes[2] = {{kernels_memory, kernel_step},
                                        {kernels_memory + (kernel->channels == 1 ? 0 : kernel_size), kernel_step}};

    const RealRows kernel_rows =
        part_of(rows_of(kernel, channel), kernel->channels, x.skipped, y.skipped, x.samples(), y.samples());
    const RealRows lit_rows = part_of(rows_of(image, channel), image->channels, x.first, y.first, x.lit, y.lit);
    return rows_to_half_planes(work, *plan, kernel_rows, -x.before, kernel_planes[0], kernel_planes[1]) &&
           rows_to_half_planes(work, *plan, lit_rows, x.first, planes[0].from(y.first), planes[1].from(y.first)) &&
           multiply_columns(job, planes, kernel_planes) &&
           half_planes_to_rows(work, *plan, planes[0], planes[1], rows_of(result, channel));
}

// Rows come back in pairs. What stands in place of a missing one, behind the `length` of the columns, would reach the
// other by rounding, and one that is not finite whole.
static void clear_missing_rows(float* columns, int length, int rows) {
    const int paired = fft_groups(rows, FFT_PAIR) * FFT_PAIR;
    fft_line_kernels().clear_points(columns + std::size_t(length) * FFT_POINT, paired - length);
}

bool FFTConvolver::State::multiply_columns(const Convolution& job, const HalfPlane (&planes)[2],
                                           const HalfPlane (&kernel_planes)[2]) {
    const FFTAxis &x = job.x, &y = job.y;
    const FFTPlan* const plan = FFTPlan::of(y.padded);
    if (!plan) return false;
    const FFTLineKernels& lines = fft_line_kernels();
    // Both planes are twice their transform.
    const float scale = 0.25F / (static_cast<float>(x.padded) * static_cast<float>(y.padded));
    const auto load_kernel = [&](const HalfPlane& plane, int strip, float* block) {
        const std::size_t front = std::size_t(y.padded - y.before);
        lines.scale_points(block, plane.at(strip, y.before), scale, y.after + 1);
        lines.clear_points(block + std::size_t(y.after + 1) * FFT_POINT, y.padded - y.samples());
        lines.scale_points(block + front * FFT_POINT, plane.at(strip, 0), scale, y.before);
        plan->to_frequencies(block, false);
    };
    const int channels = planes[0].strips == planes[1].strips ? 1 : 2;
    return work.each(*plan, 0, fft_strips(x.padded), x.padded, [&](float* block, float*, int strip) {
        for (int channel = 0; channel < channels; ++channel) {
            if (channel == 0 || kernel_planes[0].strips != kernel_planes[1].strips)
                load_kernel(kernel_planes[channel], strip, block);
            float* const columns = planes[channel].at(strip, 0);
            lines.clear_points(columns, y.first);
            lines.clear_points(columns + std::size_t(y.first + y.lit) * FFT_POINT, y.padded - y.first - y.lit);
            plan->to_frequencies(columns, false);
            lines.multiply_blocks(columns, block, y.padded);
            plan->from_frequencies(columns, true);
            clear_missing_rows(columns, y.padded, y.size);
        }
    });
}

// Channel by channel, on FFTW's own threads.
bool FFTConvolver::State::convolve_by_fftw(const Convolution& job) {
    const auto& [image, kernel, result, x, y] = job;
    if (!fftw || fftw->width() != x.padded || fftw->height() != y.padded)
        fftw = FftwConvolution::make(x.padded, y.padded, processor_count());
    if (!fftw) return fail(FFT_NO_PLAN);
    const std::size_t pitch = std::size_t(x.padded), plane = pitch * std::size_t(y.padded);
    for (int channel = 0; channel < image->channels; ++channel) {
        if (work.ended()) return finish(false);
        if (channel == 0 || kernel->channels > 1) {
            std::fill_n(fftw->plane(), plane, 0.0F);
            for (int v = 0; v < y.samples(); ++v)
                for (int u = 0; u < x.samples(); ++u) {
                    const int to_x = (u - x.before + x.padded) % x.padded, to_y = (v - y.before + y.padded) % y.padded;
                    const float* row = image_row<float>(kernel, v + y.skipped);
                    fftw->plane()[std::size_t(to_y) * pitch + std::size_t(to_x)] =
                        finite(row[(u + x.skipped) * kernel->channels + channel]);
                }
            fftw->take_kernel();
        }
        std::fill_n(fftw->plane(), plane, 0.0F);
        for (int row = y.first; row < y.first + y.lit; ++row)
            for (int column = x.first; column < x.first + x.lit; ++column)
                fftw->plane()[std::size_t(row) * pitch + std::size_t(column)] =
                    finite(image_row<float>(image, row)[column * image->channels + channel]);
        fftw->convolve();
        for (int row = 0; row < y.size; ++row)
            for (int column = 0; column < x.size; ++column)
                image_row<float>(result, row)[column * image->channels + channel] =
                    fftw->plane()[std::size_t(row) * pitch + std::size_t(column)];
    }
    return finish(true);
}

// Four channels. What fails there leaves the result as it was.
bool FFTConvolver::State::convolve_on_device(const Convolution& job, const FFTGeometry& geometry) {
    if (work.ended()) return finish(false);
    DeviceStream stream;
    int step = gpu_succeeded(stream.create(), "creating a stream") ? GPU_DONE : GPU_NOT_LAUNCHED;
    if (step == GPU_DONE) {
        DeviceImage lit(host_part(job.image, geometry.lit()), stream.get());
        DeviceImage kernel(host_part(job.kernel, geometry.kernel()), stream.get());
        DeviceImage result(host_picture(job.result), stream.get());
        FFTProduct products[4];
        for (int c = 0; c < 4; ++c)
            products[c] = {
                {&lit, c, 4}, {&kernel, job.kernel->channels == 1 ? 0 : c, job.kernel->channels}, {&result, c, 4}};
        step = cuda_convolve(geometry, products, stream.get());
        if (step == GPU_DONE) step = gpu_fetch(result);
    }
    if (step == GPU_DONE) return finish(true);
    Trace(TRACE_ERROR, "CUDA ERROR: cuda_convolve() failed, error = %d\n", step);
    return fail(FFT_DEVICE_FAILED);
}

// ---- Squares ------------------------------------------------------------------------------------------------------

bool FFTConvolver::forward_2d(const float* in, FFTComplex* out, int size) {
    State& state = *m_state;
    if (!in || !out) return state.fail(FFT_BAD_ARGUMENT);
    if (size < 2 || size > FFT_MAX_SIZE || !std::has_single_bit(unsigned(size))) return state.fail(FFT_BAD_SIZE);
    state.begin(size, size, size, size);
    const std::size_t step = fft_strip_step(size);
    const FFTPlan* const plan = FFTPlan::of(size);
    const HalfPlane plane{state.pictures.of(step * std::size_t(fft_strips(size))), step};
    if (!plan || !plane.strips) return state.fail(FFT_NO_MEMORY);
    const RealRows rows{const_cast<float*>(in), std::size_t(size), size, size, -1, false};
    return state.finish(rows_to_half_planes(state.work, *plan, rows, 0, plane, plane) &&
                        state.fill_square(*plan, plane, out));
}

bool FFTConvolver::inverse_2d(const FFTComplex* data, float* out, int size) {
    State& state = *m_state;
    if (!data || !out) return state.fail(FFT_BAD_ARGUMENT);
    if (size < 2 || size > FFT_MAX_SIZE || !std::has_single_bit(unsigned(size))) return state.fail(FFT_BAD_SIZE);
    state.begin(size, size, size, size);
    const std::size_t step = fft_strip_step(size);
    const FFTPlan* const plan = FFTPlan::of(size);
    const HalfPlane plane{state.pictures.of(step * std::size_t(fft_strips(size))), step};
    if (!plan || !plane.strips) return state.fail(FFT_NO_MEMORY);
    const RealRows rows{out, std::size_t(size), size, size, -1, false};
    return state.finish(state.take_square(*plan, data, plane) &&
                        half_planes_to_rows(state.work, *plan, plane, plane, rows));
}

// Transforms the columns and writes them, and the other half of the frequencies, which mirrors them.
bool FFTConvolver::State::fill_square(const FFTPlan& plan, HalfPlane plane, FFTComplex* out) {
    const int size = plan.length();
    const float scale = 0.5F * forward_scale;
    return work.each(plan, 0, fft_strips(size), size, [&](float*, float*, int strip) {
        float* const columns = plane.at(strip, 0);
        plan.to_frequencies(columns, false);
        const int first = strip * FFT_LINES, last = std::min(first + FFT_LINES - 1, size / 2);
        for (int row = 0; row < size; ++row) {
            const float* const point = columns + std::size_t(plan.positions()[row]) * FFT_POINT;
            FFTComplex* const to = out + std::size_t(row) * std::size_t(size);
            FFTComplex* const mirrored = out + std::size_t((size - row) % size) * std::size_t(size);
            for (int k = first; k <= last; ++k) {
                const FFTComplex value{point[k - first] * scale, point[k - first + FFT_LINES] * scale};
                to[k] = value;
                if (k > 0 && 2 * k < size) mirrored[size - k] = {value.real, -value.imaginary};
            }
        }
    });
}

// Takes the part of the frequencies that belongs to real numbers, and transforms its columns back.
bool FFTConvolver::State::take_square(const FFTPlan& plan, const FFTComplex* data, HalfPlane plane) {
    const int size = plan.length();
    const float scale = 0.5F * inverse_scale;
    return work.each(plan, 0, fft_strips(size), size, [&](float*, float*, int strip) {
        float* const columns = plane.at(strip, 0);
        const int first = strip * FFT_LINES, last = std::min(first + FFT_LINES - 1, size / 2);
        for (int row = 0; row < size; ++row) {
            float* const point = columns + std::size_t(plan.positions()[row]) * FFT_POINT;
            const FFTComplex* const from = data + std::size_t(row) * std::size_t(size);
            const FFTComplex* const mirrored = data + std::size_t((size - row) % size) * std::size_t(size);
            for (int k = first; k <= last; ++k) {
                const FFTComplex value = from[k], other = mirrored[(size - k) % size];
                point[k - first] = (value.real + other.real) * scale;
                point[k - first + FFT_LINES] = (value.imaginary - other.imaginary) * scale;
            }
        }
        plan.from_frequencies(columns, true);
        clear_missing_rows(columns, size, size);
    });
}
