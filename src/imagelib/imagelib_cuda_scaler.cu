// Scaling on CUDA devices: a thread for each pixel of a pass, with the windows and weights that image_scale uses on the
// processor, summed in the same order.
#include <cfloat>
#include <cstring>
#include <vector>

#include "imagelib/cuda_scaling.h"
#include "imagelib/imagelib_cuda.h"
#include "imagelib/scale_axis.h"
#include "k7pi_baselib/in_memory.h"

// One axis: where the window of each output begins, and its weights, [taps][outputs] so that neighbours lie side by
// side.
struct ScalerAxis {
    const int* start;
    const float* weights;
    int taps, inputs, outputs;
};

namespace {

// The same limits as on the processor: what is not a number becomes 0.
GPU_AND_CPU float limited_sample(float v) { return v > 0 ? (v < FLT_MAX ? v : FLT_MAX) : 0.0f; }
GPU_AND_CPU GpuPixel limited_if(bool limits, GpuPixel pixel) {
    if (limits)
        for (int c = 0; c < 4; ++c) pixel.c[c] = limited_sample(pixel.c[c]);
    return pixel;
}

GPU_AND_CPU int clamped_index(int i, int count) { return i < 0 ? 0 : (i < count ? i : count - 1); }

// The weighted sum of what read(index) answers, for output o.
template <class Read>
GPU_AND_CPU GpuPixel window_sum(const ScalerAxis& axis, int o, const Read& read) {
    const int start = axis.start[o];
    const float* weight = axis.weights + o;
    GpuPixel sum = read(clamped_index(start, axis.inputs));
    for (int c = 0; c < 4; ++c) sum.c[c] *= *weight;
    for (int k = 1; k < axis.taps; ++k) {
        weight += axis.outputs;
        const GpuPixel pixel = read(clamped_index(start + k, axis.inputs));
        for (int c = 0; c < 4; ++c) sum.c[c] += *weight * pixel.c[c];
    }
    return sum;
}

// Pixels `step` apart.
struct PixelLine {
    const GpuPixel* pixels;
    std::ptrdiff_t step;
    GPU_AND_CPU GpuPixel operator()(int i) const { return pixels[i * step]; }
};

GPU_AND_CPU std::ptrdiff_t row_start(int y, int width) { return static_cast<std::ptrdiff_t>(y) * width; }

// What a window of the other axis answers at each position of this one.
struct CrossWindow {
    const ScalerAxis& axis;
    const GpuPixel* pixels;
    std::ptrdiff_t step, cross_step;
    int o;
    bool limits;
    GPU_AND_CPU GpuPixel operator()(int i) const {
        return limited_if(limits, window_sum(axis, o, PixelLine{pixels + i * cross_step, step}));
    }
};

}  // namespace

GPU_AND_CPU void reSampleKernelHoriz(GpuPlace at, GpuPixel* dinterimage, const GpuPixel* in, int rows, ScalerAxis axis,
                                     bool limits) {
    if (at.x >= axis.outputs || at.y >= rows) return;
    const PixelLine line{in + row_start(at.y, axis.inputs), 1};
    dinterimage[row_start(at.y, axis.outputs) + at.x] = limited_if(limits, window_sum(axis, at.x, line));
}

GPU_AND_CPU void reSampleKernelVert(GpuPlace at, GpuPixel* doutimage, const GpuPixel* in, int width, ScalerAxis axis,
                                    bool limits) {
    if (at.x >= width || at.y >= axis.outputs) return;
    const PixelLine line{in + at.x, width};
    doutimage[row_start(at.y, width) + at.x] = limited_if(limits, window_sum(axis, at.y, line));
}

// Out of a level of a pyramid.
GPU_AND_CPU void reSampleKernelHorizMemory(GpuPlace at, GpuPixel* dinterimage, tagCUDA_MIPMAP mipmap, int level,
                                           ScalerAxis axis) {
    if (at.x >= axis.outputs || at.y >= mipmap.level_height[level]) return;
    const GpuPixel* in = mipmap.device_data + mipmap.level_offset[level];
    const PixelLine line{in + row_start(at.y, axis.inputs), 1};
    dinterimage[row_start(at.y, axis.outputs) + at.x] = window_sum(axis, at.x, line);
}

// Both axes at once, where windows are small: enlarging needs no picture between the passes.
GPU_AND_CPU void reSampleKernelGeneral(GpuPlace at, GpuPixel* doutimage, const GpuPixel* in, ScalerAxis across,
                                       ScalerAxis down, bool across_first, bool limits) {
    if (at.x >= across.outputs || at.y >= down.outputs) return;
    const std::ptrdiff_t width = across.inputs;
    const GpuPixel sum = across_first ? window_sum(down, at.y, CrossWindow{across, in, 1, width, at.x, limits})
                                      : window_sum(across, at.x, CrossWindow{down, in, width, 1, at.y, limits});
    doutimage[row_start(at.y, across.outputs) + at.x] = limited_if(limits, sum);
}

// One pixel as it is. `drops_negative`: as the box filter does when it reduces.
GPU_AND_CPU void reSampleKernelNN(GpuPlace at, GpuPixel* doutimage, const GpuPixel* in, ScalerAxis across,
                                  ScalerAxis down, bool drops_negative, bool limits) {
    if (at.x >= across.outputs || at.y >= down.outputs) return;
    GpuPixel pixel =
        in[row_start(down.start ? down.start[at.y] : at.y, across.inputs) + (across.start ? across.start[at.x] : at.x)];
    if (drops_negative)
        for (int c = 0; c < 4; ++c) pixel.c[c] = pixel.c[c] < 0 ? 0.0f : pixel.c[c];
    doutimage[row_start(at.y, across.outputs) + at.x] = limited_if(limits, pixel);
}

namespace {

// Both axes on the host and on the device.
struct DeviceAxes {
    resample::ScaleAxis host_across, host_down;
    ScalerAxis across{}, down{};
    bool across_first = false;
};

// The tables of an axis: none where its size stays.
void append_tables(const resample::ScaleAxis& axis, std::vector<float>& tables) {
    if (axis.copy) return;
    const auto outputs = static_cast<std::size_t>(axis.outputs), taps = static_cast<std::size_t>(axis.taps);
    const std::size_t first = tables.size();
    tables.resize(first + outputs * (1 + taps), 1.0f);  // a single pixel is not weighted
    std::memcpy(&tables[first], axis.start.get(), outputs * sizeof(int));
    float* const weights = &tables[first] + outputs;
    for (std::size_t o = 0; axis.weights && o < outputs; ++o)
        for (std::size_t k = 0; k < taps; ++k) weights[k * outputs + o] = axis.weights[o * taps + k];
}

// Their places on the device, where they begin at `next`.
ScalerAxis device_axis(const resample::ScaleAxis& axis, const float*& next) {
    ScalerAxis result{nullptr, nullptr, axis.taps, axis.inputs, axis.outputs};
    if (axis.copy || !next) return result;
    result.start = reinterpret_cast<const int*>(next);
    result.weights = next + axis.outputs;
    next = result.weights + static_cast<std::size_t>(axis.outputs) * static_cast<std::size_t>(axis.taps);
    return result;
}

// All tables go to the device in one piece.
void make_axes(GpuOperation& operation, int w, int h, int ow, int oh, const ImagelibKernel& kernel, DeviceAxes& axes) {
    // The order of the passes that makes the smaller intermediate picture.
    axes.across_first = static_cast<long long>(h) * ow <= static_cast<long long>(w) * oh;
    std::vector<float> tables;
    if (!kernel.valid || !resample::make_scale_axis(w, ow, kernel, axes.host_across) ||
        !resample::make_scale_axis(h, oh, kernel, axes.host_down) || !in_memory([&] {
            append_tables(axes.host_across, tables);
            append_tables(axes.host_down, tables);
        })) {
        operation.fail(GPU_NO_ROOM_FOR_INPUT);
        return;
    }
    const float* next = tables.empty() ? nullptr : operation.table(tables.data(), tables.size());
    axes.across = device_axis(axes.host_across, next);
    axes.down = device_axis(axes.host_down, next);
}

// One pass after the other. `horizontal(out, in, rows)` queues the one along rows.
template <class Horizontal>
void queue_passes(GpuOperation& operation, const DeviceAxes& axes, const GpuPixel* in, GpuPixel* out, bool limits,
                  const Horizontal& horizontal) {
    const ScalerAxis &across = axes.across, &down = axes.down;
    const auto vertical = [&](GpuPixel* to, const GpuPixel* from, int width) {
        operation.launch(gpu_kernel<reSampleKernelVert>(), gpu_shape_of_picture(width, down.outputs), to, from, width,
                         down, limits);
    };
    if (axes.host_down.copy) return horizontal(out, in, down.inputs);
    if (axes.host_across.copy) return vertical(out, in, across.inputs);
    const int between_width = axes.across_first ? across.outputs : across.inputs;
    const int between_height = axes.across_first ? down.inputs : down.outputs;
    auto* between =
        operation.scratch<GpuPixel>(static_cast<std::size_t>(between_width) * static_cast<std::size_t>(between_height));
    if (axes.across_first) {
        horizontal(between, in, down.inputs);
        vertical(out, between, across.outputs);
    } else {
        vertical(between, in, across.inputs);
        horizontal(out, between, down.outputs);
    }
}

// Whatever the sizes are. `axes` are made.
template <class Horizontal>
void queue_scaling(GpuOperation& operation, const DeviceAxes& axes, const GpuPixel* in, GpuPixel* out, bool clamp,
                   const Horizontal& horizontal) {
    const resample::ScaleAxis &across = axes.host_across, &down = axes.host_down;
    const GpuShape shape = gpu_shape_of_picture(across.outputs, down.outputs);
    const bool limits = clamp && !(across.copy && down.copy);
    if ((across.copy || across.nearest) && (down.copy || down.nearest)) {
        operation.launch(gpu_kernel<reSampleKernelNN>(), shape, out, in, axes.across, axes.down,
                         across.drop_negative || down.drop_negative, limits);
    } else if (across.outputs > across.inputs && down.outputs > down.inputs) {
        operation.launch(gpu_kernel<reSampleKernelGeneral>(), shape, out, in, axes.across, axes.down, axes.across_first,
                         limits);
    } else {
        queue_passes(operation, axes, in, out, limits, horizontal);
    }
}

void queue_horizontal(GpuOperation& operation, GpuPixel* to, const GpuPixel* from, int rows, const ScalerAxis& axis,
                      bool limits) {
    operation.launch(gpu_kernel<reSampleKernelHoriz>(), gpu_shape_of_picture(axis.outputs, rows), to, from, rows, axis,
                     limits);
}

}  // namespace

void cuda_queue_scale(GpuOperation& operation, const GpuPixel* in, int w, int h, GpuPixel* out, int ow, int oh,
                      const ImagelibKernel& kernel, bool clamp) {
    DeviceAxes axes;
    make_axes(operation, w, h, ow, oh, kernel, axes);
    if (operation.failed()) return;
    queue_scaling(operation, axes, in, out, clamp, [&](GpuPixel* to, const GpuPixel* from, int rows) {
        queue_horizontal(operation, to, from, rows, axes.across, clamp);
    });
}

void cuda_queue_next_level(GpuOperation& operation, const tagCUDA_MIPMAP& mipmap, int level,
                           const ImagelibKernel& kernel) {
    DeviceAxes axes;
    make_axes(operation, mipmap.level_width[level], mipmap.level_height[level], mipmap.level_width[level + 1],
              mipmap.level_height[level + 1], kernel, axes);
    if (operation.failed()) return;
    const GpuPixel* in = mipmap.device_data + mipmap.level_offset[level];
    GpuPixel* out = mipmap.device_data + mipmap.level_offset[level + 1];
    queue_scaling(operation, axes, in, out, false, [&](GpuPixel* to, const GpuPixel* from, int rows) {
        if (from != in) return queue_horizontal(operation, to, from, rows, axes.across, false);
        operation.launch(gpu_kernel<reSampleKernelHorizMemory>(), gpu_shape_of_picture(axes.across.outputs, rows), to,
                         mipmap, level, axes.across);
    });
}

int cuda_image_scale_2_pass(DeviceImage& source, DeviceImage& destination, int kernel_type, bool clamp,
                            GpuStream stream) {
    const ImagelibKernel kernel(kernel_type, EDGE_CLAMP);
    if (&source == &destination || !kernel.valid) return GPU_NOT_LAUNCHED;
    GpuOperation operation(stream);
    const auto* in = operation.read<GpuPixel>(source);
    auto* out = operation.write<GpuPixel>(destination);
    cuda_queue_scale(operation, in, source.width(), source.height(), out, destination.width(), destination.height(),
                     kernel, clamp);
    return operation.finish();
}
