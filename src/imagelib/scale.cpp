// image_scale. Both passes run together: each band of output rows keeps just the intermediate rows its vertical
// filter reaches, so the mixed-size picture never exists as a whole and stays in the cache.
#include <atomic>
#include <cfloat>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "gpulib/gpulib.h"
#include "imagelib/device_call.h"
#include "imagelib/imagelib_resample.h"
#include "imagelib/resample_edges.h"
#include "imagelib/resample_simd.h"
#include "imagelib/scale_axis.h"
#include "simdlib/cpu.h"

namespace {

using namespace resample;

// Results larger than this leave the cache anyway, so they are written past it.
constexpr std::size_t STREAM_BYTES = std::size_t(8) << 20;

constexpr int ROWS_ABREAST = 4;

template <class T>
constexpr bool FIXED_POINT = sizeof(T) < 4;

float limited(float v) { return v > 0 ? std::min(v, FLT_MAX) : 0.0f; }

// One sum of samples that lie `at(k)`, for output position o.
template <class T, class At>
T filtered(const ScaleAxis& axis, int o, At at) {
    if constexpr (FIXED_POINT<T>) {
        const int* w = &axis.fixed_weights[std::size_t(o) * axis.taps];
        std::int64_t sum = 0;
        for (int k = 0; k < axis.taps; ++k) sum += std::int64_t(w[k]) * at(k);
        if (!axis.fixed_totals) {
            sum >>= 10;
        } else if (axis.fixed_totals[o] > 0) {
            sum /= axis.fixed_totals[o];
        }
        return static_cast<T>(std::clamp<std::int64_t>(sum, 0, std::numeric_limits<T>::max()));
    } else {
        const float* w = &axis.weights[std::size_t(o) * axis.taps];
        float sum = w[0] * static_cast<float>(at(0));
        for (int k = 1; k < axis.taps; ++k) sum += w[k] * static_cast<float>(at(k));
        return store_sample<T>(sum);
    }
}

template <class T>
T nearest_sample(const ScaleAxis& axis, T v) {
    if constexpr (std::is_floating_point_v<T>) return axis.drop_negative && v < 0 ? T(0) : v;
    return v;
}

template <class T>
void limit_row(T* out, std::size_t count, bool clamp) {
    if constexpr (std::is_floating_point_v<T>) {
        if (!clamp) return;
        for (std::size_t i = 0; i < count; ++i) out[i] = limited(out[i]);
    }
}

template <class T>
struct Scaler {
    const K7Image* source;
    K7Image* destination;
    ScaleAxis across, down;
    bool across_first;
    bool clamp;
    bool stream;
    const ResampleKernels* kernels;
    std::atomic<bool> failed{false};

    std::size_t output_samples() const { return std::size_t(destination->width) * destination->channels; }

    void filter_across(const T* in, T* out, int first, int last) const {
        const int channels = source->channels;
        for (int o = first; o <= last; ++o) {
            for (int c = 0; c < channels; ++c) {
                out[std::size_t(o) * channels + c] = filtered<T>(across, o, [&](int k) {
                    return in[std::size_t(across.clamped(across.start[o] + k)) * channels + c];
                });
            }
        }
    }

    void row_across(const T* in, T* out) const {
        const int channels = source->channels;
        if (across.copy) {
            std::memcpy(out, in, output_samples() * sizeof(T));
        } else if (across.nearest) {
            for (int o = 0; o < across.outputs; ++o) {
                const T* p = in + std::size_t(across.start[o]) * channels;
                for (int c = 0; c < channels; ++c) out[std::size_t(o) * channels + c] = nearest_sample(across, p[c]);
            }
        } else {
            filter_across(in, out, 0, across.outputs - 1);
        }
        limit_row(out, output_samples(), clamp);
    }

    // Float RGBA goes through the vector unit, where up to ROWS_ABREAST rows share the weights.
    void rows_across(const T* const* in, T* const* out, int count) const {
        if constexpr (std::is_same_v<T, float>) {
            if (source->channels == 4 && across.inner_first <= across.inner_last && !across.nearest) {
                kernels->scale_rgba(out, in, count, across.start.get(), across.weights.get(), across.taps,
                                    across.inner_first, across.inner_last);
                for (int i = 0; i < count; ++i) {
                    filter_across(in[i], out[i], 0, across.inner_first - 1);
                    filter_across(in[i], out[i], across.inner_last + 1, across.outputs - 1);
                    limit_row(out[i], output_samples(), clamp);
                }
                return;
            }
        }
        for (int i = 0; i < count; ++i) row_across(in[i], out[i]);
    }

    // `rows` are those of the window of output row y.
    void row_down(const T* const* rows, T* out, int y, std::size_t count, bool last_pass) const {
        if (down.nearest) {
            for (std::size_t i = 0; i < count; ++i) out[i] = nearest_sample(down, rows[0][i]);
        } else if constexpr (std::is_same_v<T, float>) {
            kernels->sum_rows(out, rows, &down.weights[std::size_t(y) * down.taps], down.taps, count,
                              stream && last_pass && !clamp);
        } else {
            for (std::size_t i = 0; i < count; ++i) out[i] = filtered<T>(down, y, [&](int k) { return rows[k][i]; });
        }
        limit_row(out, count, clamp);
    }

    void run(int first, int last) {
        if (down.copy) {
            for (int y = first; y <= last; ++y) {
                const T* in = image_row<T>(source, y);
                T* out = image_row<T>(destination, y);
                rows_across(&in, &out, 1);
            }
        } else if (across_first && !across.copy) {
            run_across_first(first, last);
        } else {
            run_down_first(first, last);
        }
    }

    void run_down_first(int first, int last) {
        const std::size_t count = std::size_t(source->width) * source->channels;
        std::unique_ptr<T[]> line(new (std::nothrow) T[count]);
        std::unique_ptr<const T*[]> rows(new (std::nothrow) const T*[down.taps]);
        if (!line || !rows) return failed.store(true);
        for (int y = first; y <= last; ++y) {
            for (int k = 0; k < down.taps; ++k) rows[k] = image_row<T>(source, down.clamped(down.start[y] + k));
            T* out = image_row<T>(destination, y);
            if (across.copy) {
                row_down(rows.get(), out, y, count, true);
            } else {
                row_down(rows.get(), line.get(), y, count, false);
                const T* in = line.get();
                rows_across(&in, &out, 1);
            }
        }
    }

    void run_across_first(int first, int last) {
        const std::size_t count = output_samples();
        const int ring_rows = std::min(down.taps + ROWS_ABREAST - 1, down.inputs);
        std::unique_ptr<T[]> ring(new (std::nothrow) T[count * ring_rows]);
        std::unique_ptr<const T*[]> rows(new (std::nothrow) const T*[down.taps]);
        if (!ring || !rows) return failed.store(true);
        auto slot = [&](int row) { return ring.get() + count * (row % ring_rows); };
        const int rows_end = down.clamped(down.start[last] + down.taps - 1) + 1;
        int next = 0;
        for (int y = first; y <= last; ++y) {
            next = std::max(next, down.clamped(down.start[y]));
            while (next <= down.clamped(down.start[y] + down.taps - 1)) {
                const int batch = std::min(ROWS_ABREAST, rows_end - next);
                const T* in[ROWS_ABREAST];
                T* out[ROWS_ABREAST];
                for (int i = 0; i < batch; ++i) in[i] = image_row<T>(source, next + i), out[i] = slot(next + i);
                rows_across(in, out, batch);
                next += batch;
            }
            for (int k = 0; k < down.taps; ++k) rows[k] = slot(down.clamped(down.start[y] + k));
            row_down(rows.get(), image_row<T>(destination, y), y, count, true);
        }
    }
};

template <class T>
bool scale(const K7Image* source, K7Image* destination, const ImagelibKernel& kernel, bool clamp) {
    Scaler<T> job;
    job.source = source;
    job.destination = destination;
    job.clamp = clamp;
    job.kernels = &resample_kernels();
    job.stream = std::size_t(destination->row_bytes) * destination->height >= STREAM_BYTES;
    // The order of the passes that makes the smaller intermediate picture.
    job.across_first =
        std::int64_t(source->height) * destination->width <= std::int64_t(source->width) * destination->height;
    if (!make_scale_axis(source->width, destination->width, kernel, job.across)) return false;
    if (!make_scale_axis(source->height, destination->height, kernel, job.down)) return false;
    for_rows(destination->height, [&job](int first, int last) {
        if (first <= last) job.run(first, last);
    });
    return !job.failed;
}

// A pixel keeps its physical size, so the picture's grows with the pixel counts.
void set_attributes(const K7Image* source, K7Image* destination) {
    image_copy_attributes(source, destination);
    destination->stats_valid = 0;
    const float width = source->physical_width * destination->width / source->width;
    const float height = source->physical_height * destination->height / source->height;
    image_set_physical_size(destination, width, height, static_cast<int>(source->units));
}

bool scales_on_device(const K7Image* source, const K7Image* destination, int kernel_type) {
    constexpr double READ = 1.1, WRITTEN = 2.7;  // nanoseconds a pixel on one thread
    if (!is_float_rgba(destination) || kernel_type < KERNEL_BOX || kernel_type > KERNEL_LANCZOS || !cuda_available())
        return false;
    const double in = double(source->width) * source->height, out = double(destination->width) * destination->height;
    return gpu_pays(static_cast<std::size_t>(in + out) * sizeof(GpuPixel), (in * READ + out * WRITTEN) * 1e-9);
}

}  // namespace

bool image_scale(const K7Image* source, K7Image* destination, int kernel_type, bool clamp) {
    if (!has_pixels(source) || !has_pixels(destination) || source == destination) return false;
    if (source->channels != destination->channels || source->sample_type != destination->sample_type) return false;
    if (image_same_layout(source, destination)) return image_copy(source, destination);
    if (scales_on_device(source, destination, kernel_type)) {
        const bool scaled =
            done_on_device("cuda_image_scale_2_pass", destination, [&](DeviceImage& result, GpuStream stream) {
                DeviceImage from(host_picture(source), stream);
                return cuda_image_scale_2_pass(from, result, kernel_type, clamp, stream);
            });
        if (scaled) set_attributes(source, destination);
        return scaled;
    }
    const ImagelibKernel kernel(kernel_type, EDGE_CLAMP);
    if (!kernel.valid) return false;
    const bool done = with_sample_type(
        source->sample_type, [&](auto sample) { return scale<decltype(sample)>(source, destination, kernel, clamp); });
    if (done) set_attributes(source, destination);
    return done;
}
