// Blur on devices: three box passes in one sweep along each line, as on the processor.
//
// A thread does one channel of one line, and neighbouring threads do neighbouring samples of a row, so that each step
// reads and writes whole rows. Lines that are rows of the picture lie transposed meanwhile. What bounds a sweep is how
// long a step waits for memory: all that some steps will need is fetched before the first of them.
//
// Sums are double, in the processor's order, and so to the bit what they are there. Lines are not split among threads,
// because running sums that begin elsewhere round otherwise.
#include <algorithm>

#include "imagelib/blur_simd.h"
#include "imagelib/imagelib_cuda.h"

namespace cuda_gaussian {

// What entered passes 2 and 3 at one time.
struct alignas(16) BoxSums {
    double pass2, pass3;
};

// One box on all lines. Samples of a line are `lines` floats apart. The result may replace the source: a sample is
// written when it, and all before it, have left the window of pass 1.
struct BoxSweep {
    const float* uri;
    float* uro;
    const float* mix;  // null, or what is added at mix_scale; may be either of the two
    BoxSums* ring;     // 2 * radius + 1 for each line
    int lines, length, radius;
    double scale, mix_scale;
};

struct BoxState {
    double sum1, sum2, sum3;
    double first2, first3;  // what passes 2 and 3 began with, which repeats before it
    float low;              // smallest sample so far
};

// All that a step reads.
struct BoxInputs {
    float enters, leaves, mixed;
    BoxSums left;
};

// At time t pass 1 takes in sample t, pass 2 the sum of pass 1 around t - radius, and so on. The last sample enters on
// and on.
GPU_AND_CPU BoxInputs box_inputs(const BoxSweep& sweep, int line, int t, int slot, float first) {
    const std::ptrdiff_t step = sweep.lines;
    const int last = sweep.length - 1, window = 2 * sweep.radius + 1, output = t - 3 * sweep.radius;
    const float* const from = sweep.uri + line;
    BoxInputs in = {};
    in.enters = from[step * (t < last ? t : last)];
    in.leaves = t < window ? first : from[step * (t - window < last ? t - window : last)];
    if (t >= sweep.radius + window) in.left = sweep.ring[step * slot + line];
    if (sweep.mix && output >= 0 && output <= last) in.mixed = sweep.mix[step * output + line];
    return in;
}

GPU_AND_CPU void box_step(const BoxSweep& sweep, int line, int t, int slot, const BoxInputs& in, BoxState& state) {
    const std::ptrdiff_t step = sweep.lines;
    const int radius = sweep.radius, window = 2 * radius + 1, last = sweep.length - 1;
    if (t == radius + 1) {
        state.first2 = state.sum1;
        state.sum2 = state.sum1 * window;
    }
    if (t == 2 * radius + 1) {
        state.first3 = state.sum2;
        state.sum3 = state.sum2 * window;
    }
    if (t <= last + radius) {
        state.low = in.enters < state.low ? in.enters : state.low;
        state.sum1 += static_cast<double>(in.enters) - static_cast<double>(in.leaves);
    }
    if (t > radius && t <= last + 2 * radius)
        state.sum2 += state.sum1 - (t >= radius + window ? in.left.pass2 : state.first2);
    if (t > 2 * radius) state.sum3 += state.sum2 - (t >= 2 * radius + window ? in.left.pass3 : state.first3);
    sweep.ring[step * slot + line] = {state.sum1, state.sum2};
    if (t < 3 * radius) return;
    double value = state.sum3 * sweep.scale;
    if (sweep.mix) value += static_cast<double>(in.mixed) * sweep.mix_scale;
    const auto result = static_cast<float>(value);
    sweep.uro[step * (t - 3 * radius) + line] = result > state.low ? result : state.low;
}

// `AT_ONCE` steps, no more than the window is long, do not read what any of them writes.
template <int AT_ONCE>
GPU_AND_CPU void box_line(const BoxSweep& sweep, int line) {
    const int window = 2 * sweep.radius + 1, end = sweep.length + 3 * sweep.radius;
    const float first = sweep.uri[line];
    BoxState state = {static_cast<double>(first) * window, 0, 0, 0, 0, first};
    BoxInputs in[AT_ONCE];
    for (int t = 1, slot = 1; t < end; t += AT_ONCE) {
        for (int k = 0; k < AT_ONCE; ++k)
            in[k] = box_inputs(sweep, line, t + k, slot + k < window ? slot + k : slot + k - window, first);
        for (int k = 0; k < AT_ONCE; ++k, slot = slot + 1 < window ? slot + 1 : 0)
            if (t + k < end) box_step(sweep, line, t + k, slot, in[k], state);
    }
}

GPU_AND_CPU void sweep_box(GpuPlace at, const BoxSweep& sweep) {
    if (at.x >= sweep.lines) return;
    if (sweep.radius >= 4)
        box_line<8>(sweep, at.x);
    else
        box_line<3>(sweep, at.x);
}

// ---- Kernels --------------------------------------------------------------------------------------------------

// Of columns, and of rows that lie transposed.
GPU_AND_CPU void gboxVertKernel(GpuPlace at, BoxSweep columns) { sweep_box(at, columns); }
GPU_AND_CPU void gboxHorizKernel(GpuPlace at, BoxSweep rows) { sweep_box(at, rows); }

// Columns of the w x h pixels become rows. What a warp writes are pairs of neighbouring pixels, as much as memory takes
// at once.
GPU_AND_CPU void float4TransposeKernel(GpuPlace at, GpuPixel* out, const GpuPixel* image, int w, int h) {
    if (at.x < w && at.y < h) out[std::ptrdiff_t(at.x) * h + at.y] = image[std::ptrdiff_t(at.y) * w + at.x];
}

GPU_AND_CPU void blendKernel(GpuPlace at, float a, const GpuPixel* ima, float b, const GpuPixel* imb, GpuPixel* out,
                             int w, int h) {
    if (at.x >= w || at.y >= h) return;
    const std::ptrdiff_t i = std::ptrdiff_t(at.y) * w + at.x;
    const GpuPixel of_a = ima[i], of_b = imb[i];
    GpuPixel result;
    for (int c = 0; c < 4; ++c) result.c[c] = a * of_a.c[c] + b * of_b.c[c];
    out[i] = result;
}

// ---- Steps ----------------------------------------------------------------------------------------------------

void transpose(GpuOperation& operation, GpuPixel* out, const GpuPixel* image, int w, int h) {
    operation.launch(gpu_kernel<float4TransposeKernel>(), gpu_shape_of_picture(w, h), out, image, w, h);
}

// Memory for all sweeps of an operation.
struct Workspace {
    BoxSums* ring;
    float* smaller_box;
};

// Blurs `from` into `to`, which may be the same, along lines of `length` samples. The mix of two boxes is made while
// the larger one is swept, because the processor rounds only their sum.
void blur_lines(GpuOperation& operation, const GpuKernel<BoxSweep>& kernel, const float* from, float* to, int lines,
                int length, BoxRadius box, const Workspace& work) {
    const bool mixes = box.fraction > 0;
    const int radius = box.radius + mixes;
    const float* mix = mixes ? from : nullptr;
    if (mixes && box.radius > 0) {
        const BoxSweep smaller = {from,       work.smaller_box,           nullptr, work.ring, lines, length,
                                  box.radius, box_scale(box.radius, 1.0), 0.0};
        operation.launch(kernel, gpu_shape_of_line(lines), smaller);
        mix = work.smaller_box;
    }
    const BoxSweep sweep = {from,
                            to,
                            mix,
                            work.ring,
                            lines,
                            length,
                            radius,
                            box_scale(radius, mixes ? box.fraction : 1.0),
                            1.0 - box.fraction};
    operation.launch(kernel, gpu_shape_of_line(lines), sweep);
}

std::size_t ring_length(BoxRadius box, int lines) {
    return box.is_blur() ? std::size_t(lines) * (2 * std::size_t(box.radius + (box.fraction > 0)) + 1) : 0;
}

}  // namespace cuda_gaussian

int cuda_gaussian_box_blur_2_pass(DeviceImage& source, DeviceImage& target, float x_radius, float y_radius,
                                  GpuStream stream) {
    using namespace cuda_gaussian;
    const int w = source.width(), h = source.height();
    const BoxRadius x = box_radius(x_radius, w), y = box_radius(y_radius, h);
    const bool mixes = (x.radius > 0 && x.fraction > 0) || (y.radius > 0 && y.fraction > 0);
    const std::size_t pixels = std::size_t(w) * h;

    GpuOperation operation(stream);
    const auto* from = operation.read<GpuPixel>(source);
    auto* to = operation.write<GpuPixel>(target);
    Workspace work = {};
    if (const std::size_t ring = std::max(ring_length(x, 4 * h), ring_length(y, 4 * w)))
        work.ring = operation.scratch<BoxSums>(ring);
    if (mixes) work.smaller_box = operation.scratch<float>(4 * pixels);
    if (x.is_blur()) {
        auto* turned = operation.scratch<GpuPixel>(pixels);
        auto* samples = reinterpret_cast<float*>(turned);
        transpose(operation, turned, from, w, h);
        blur_lines(operation, gpu_kernel<gboxHorizKernel>(), samples, samples, 4 * h, w, x, work);
        transpose(operation, to, turned, h, w);
        from = to;
    }
    if (y.is_blur())
        blur_lines(operation, gpu_kernel<gboxVertKernel>(), reinterpret_cast<const float*>(from),
                   reinterpret_cast<float*>(to), 4 * w, h, y, work);
    else if (from != to)
        transpose(operation, to, from, w * h, 1);  // of one row: a copy
    return operation.finish();
}

int cuda_blend(float a, DeviceImage& ima, float b, DeviceImage& imb, DeviceImage& target, GpuStream stream) {
    const int w = ima.width(), h = ima.height();
    GpuOperation operation(stream);
    const auto *of_a = operation.read<GpuPixel>(ima), *of_b = operation.read<GpuPixel>(imb);
    auto* to = operation.write<GpuPixel>(target);
    operation.launch(gpu_kernel<cuda_gaussian::blendKernel>(), gpu_shape_of_picture(w, h), a, of_a, b, of_b, to, w, h);
    return operation.finish();
}
