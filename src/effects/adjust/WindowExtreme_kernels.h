// Private to Darken_cuda.cu and Lighten_cuda.cu: the work of one thread, by the side that the extreme is on.
#pragma once

#include "effects/adjust/WindowExtreme_cuda.h"

namespace window_extreme {

constexpr float NOTHING = __builtin_huge_valf();

// Of two samples the smaller or larger one. NaN takes no part, and a zero has no sign.
template <bool largest>
GPU_AND_CPU float further(float found, float sample) {
    return (largest ? sample > found : sample < found) ? sample + 0.0f : found;
}

struct Range {
    int first, last;
};
// The places along an axis that the channels' windows of `counts` reach from a place, within [0, size).
template <class Count>
GPU_AND_CPU Range reach_of(const DeviceExtreme& job, int place, int size, Count count) {
    Range all{size, -1};
    for (const WindowSize& window : job.windows) {
        const int first = place - window.half, last = first + count(window) - 1;
        if (first < all.first) all.first = first;
        if (last > all.last) all.last = last;
    }
    return {all.first < 0 ? 0 : all.first, all.last < size ? all.last : size - 1};
}

// Along the axis whose sample at a place sample(place) gives. Each sample is read once for all channels.
template <bool largest, class Count, class Sample>
GPU_AND_CPU void extreme_along(GpuPixel& best, const DeviceExtreme& job, int place, int size, Count count,
                               Sample sample) {
    const Range range = reach_of(job, place, size, count);
    for (int i = range.first; i <= range.last; ++i) {
        const GpuPixel pixel = sample(i);
        for (int c = 0; c < 4; ++c) {
            const int offset = i - place + job.windows[c].half;
            if (offset >= 0 && offset < count(job.windows[c])) best.c[c] = further<largest>(best.c[c], pixel.c[c]);
        }
    }
}

// Places outside the picture give nothing.
template <bool largest>
GPU_AND_CPU GpuPixel along_row(const GpuPixel* row, int x, const DeviceExtreme& job) {
    constexpr float nothing = largest ? -NOTHING : NOTHING;
    GpuPixel best{{nothing, nothing, nothing, nothing}};
    extreme_along<largest>(
        best, job, x, job.width, [](const WindowSize& window) { return window.columns; },
        [row](int i) { return row[i]; });
    return best;
}

template <bool largest>
GPU_AND_CPU GpuPixel down_column(const GpuPixel* source, const GpuPixel* rows, int x, int y, const DeviceExtreme& job) {
    constexpr float nothing = largest ? -NOTHING : NOTHING;
    const auto at = [&job, x](int row) {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(job.width) + x;
    };
    GpuPixel pixel = source[at(y)], best;
    const float luminance = 0.3f * pixel.c[0] + 0.5f * pixel.c[1] + 0.2f * pixel.c[2];
    if (job.gate.keep_above ? luminance > job.gate.threshold : luminance < job.gate.threshold) return pixel;
    for (int c = 0; c < 4; ++c) best.c[c] = further<largest>(nothing, pixel.c[c]);
    extreme_along<largest>(
        best, job, y, job.height, [](const WindowSize& window) { return window.rows; },
        [rows, at](int i) { return rows[at(i)]; });
    // Where there was nothing but NaN, and in a channel with fewer than two rows, the pixel stays.
    for (int c = 0; c < 4; ++c)
        if (job.windows[c].rows >= 2 && best.c[c] != nothing) pixel.c[c] = best.c[c];
    return pixel;
}

// Both passes, of which the caller has the kernels.
template <class Rows, class Columns>
int run(DeviceImage& input, DeviceImage& output, const DeviceExtreme& job, GpuStream stream, const Rows& rows,
        const Columns& columns) {
    GpuOperation operation(stream);
    const auto* from = operation.read<GpuPixel>(input);
    auto* between =
        operation.scratch<GpuPixel>(static_cast<std::size_t>(job.width) * static_cast<std::size_t>(job.height));
    auto* to = operation.write<GpuPixel>(output);
    const GpuShape shape = gpu_shape_of_picture(job.width, job.height);
    operation.launch(rows, shape, between, from, job);
    operation.launch(columns, shape, to, from, between, job);
    return operation.finish();
}

}  // namespace window_extreme
