// Blur on devices: three box passes in one sweep along each line, as on the processor.
//
// A thread does one channel of one line, and neighbouring threads do neighbouring samples of a row, so that each step
// reads and writes whole rows. Lines that are rows of the picture lie transposed meanwhile. What bounds a sweep is how
// long a step waits for memory: what some steps need is fetched during those before them.
//
// Sums are double, in the processor's order, and so to the bit what they are there. Lines are not split among threads,
// because running sums that begin elsewhere round otherwise. What leaves a window was the sum of another window once.
// It is not kept until then but made again, from samples further back, by the same additions: memory takes longer than
// they do, and those samples mostly lie in a cache still.
#include "imagelib/blur_simd.h"
#include "imagelib/imagelib_cuda.h"

namespace cuda_gaussian {

// One box on all lines. Samples of a line are `lines` floats apart.
struct BoxSweep {
    const float* uri;
    float* uro;        // another place than the source's
    const float* mix;  // null, or what is added at mix_scale: the source, or what `uro` holds
    int lines, length, radius;
    double scale, mix_scale;

    GPU_AND_CPU int window() const { return 2 * radius + 1; }
    GPU_AND_CPU std::ptrdiff_t at(int line, int place) const {
        const int last = length - 1, inside = place < 0 ? 0 : (place < last ? place : last);
        return static_cast<std::ptrdiff_t>(inside) * lines + line;
    }
};

// The sum of one pass. What enters at its time 0 has filled the window before; a line's last sample enters on and on,
// as far as results reach.
struct RunningBox {
    double sum = 0, first = 0;

    // `leaves` entered a window ago. Before that there was nothing but the first.
    GPU_AND_CPU void step(const BoxSweep& sweep, int t, double enters, double leaves) {
        if (t == 0) {
            first = enters;
            sum = enters * sweep.window();
        } else if (t > 0 && t < sweep.length + sweep.radius) {
            sum += enters - (t >= sweep.window() ? leaves : first);
        }
    }
};

// All that a step reads: samples 0, 1, 2 and 3 windows behind, and what the result is mixed with.
struct BoxInputs {
    float samples[4], mixed;
};

GPU_AND_CPU BoxInputs box_inputs(const BoxSweep& sweep, int line, int t) {
    BoxInputs in = {};
    for (int back = 0; back < 4; ++back) in.samples[back] = sweep.uri[sweep.at(line, t - back * sweep.window())];
    if (sweep.mix) in.mixed = sweep.mix[sweep.at(line, t - 3 * sweep.radius)];
    return in;
}

// At time t pass 1 takes in sample t, pass 2 the sum of pass 1 around t - radius, and pass 3 that of pass 2 around
// t - 2 radius. Passes 1 and 2 also run one window late, pass 1 two, for what leaves the passes behind them.
struct BoxLine {
    RunningBox first[3], second[2], third;
    float low;  // smallest sample so far

    GPU_AND_CPU explicit BoxLine(float beginning) : low(beginning) {}

    GPU_AND_CPU void step(const BoxSweep& sweep, int line, int t, const BoxInputs& in) {
        const int radius = sweep.radius, window = sweep.window();
        low = in.samples[0] < low ? in.samples[0] : low;
        for (int late = 0; late < 3; ++late)
            first[late].step(sweep, t - late * window, static_cast<double>(in.samples[late]),
                             static_cast<double>(in.samples[late + 1]));
        for (int late = 0; late < 2; ++late)
            second[late].step(sweep, t - radius - late * window, first[late].sum, first[late + 1].sum);
        third.step(sweep, t - 2 * radius, second[0].sum, second[1].sum);
        const int output = t - 3 * radius;
        if (output < 0 || output >= sweep.length) return;
        double value = third.sum * sweep.scale;
        if (sweep.mix) value += static_cast<double>(in.mixed) * sweep.mix_scale;
        const auto result = static_cast<float>(value);
        sweep.uro[sweep.at(line, output)] = result > low ? result : low;
    }
};

// Steps that are taken at once: their inputs are on the way while those before them are worked on.
struct BoxBatch {
    static constexpr int STEPS = 8;
    BoxInputs in[STEPS];

    GPU_AND_CPU BoxBatch(const BoxSweep& sweep, int line, int t) {
        for (int k = 0; k < STEPS; ++k) in[k] = box_inputs(sweep, line, t + k);
    }
};

GPU_AND_CPU void sweep_box(GpuPlace at, const BoxSweep& sweep) {
    if (at.x >= sweep.lines) return;
    BoxLine line(sweep.uri[at.x]);
    BoxBatch next(sweep, at.x, 0);
    for (int t = 0, end = sweep.length + 3 * sweep.radius; t < end; t += BoxBatch::STEPS) {
        const BoxBatch batch = next;
        next = BoxBatch(sweep, at.x, t + BoxBatch::STEPS);
        for (int k = 0; k < BoxBatch::STEPS; ++k) line.step(sweep, at.x, t + k, batch.in[k]);
    }
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

GPU_AND_CPU void copyKernel(GpuPlace at, GpuPixel* out, const GpuPixel* image, int w, int h) {
    if (at.x < w && at.y < h) out[std::ptrdiff_t(at.y) * w + at.x] = image[std::ptrdiff_t(at.y) * w + at.x];
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

// Blurs `source` into another picture, along lines of `length` samples. The mix of two boxes is made while the larger
// one is swept, because the processor rounds only their sum.
void blur_lines(GpuOperation& operation, const GpuKernel<BoxSweep>& kernel, const GpuPixel* source, GpuPixel* target,
                int lines, int length, BoxRadius box) {
    const auto* from = reinterpret_cast<const float*>(source);
    auto* to = reinterpret_cast<float*>(target);
    const bool mixes = box.fraction > 0;
    const int radius = box.radius + mixes;
    const float* mix = mixes ? from : nullptr;
    if (mixes && box.radius > 0) {
        const double scale = box_scale(box.radius, 1.0);
        operation.launch(kernel, gpu_shape_of_line(lines), {from, to, nullptr, lines, length, box.radius, scale, 0.0});
        mix = to;
    }
    const double scale = box_scale(radius, mixes ? box.fraction : 1.0);
    operation.launch(kernel, gpu_shape_of_line(lines),
                     {from, to, mix, lines, length, radius, scale, 1.0 - box.fraction});
}

void blur_columns(GpuOperation& operation, const GpuPixel* from, GpuPixel* to, int w, int h, BoxRadius box) {
    blur_lines(operation, gpu_kernel<gboxVertKernel>(), from, to, 4 * w, h, box);
}
// Both lie transposed.
void blur_rows(GpuOperation& operation, const GpuPixel* from, GpuPixel* to, int w, int h, BoxRadius box) {
    blur_lines(operation, gpu_kernel<gboxHorizKernel>(), from, to, 4 * h, w, box);
}

}  // namespace cuda_gaussian

int cuda_gaussian_box_blur_2_pass(DeviceImage& source, DeviceImage& target, float x_radius, float y_radius,
                                  GpuStream stream) {
    using namespace cuda_gaussian;
    const int w = source.width(), h = source.height();
    const BoxRadius x = box_radius(x_radius, w), y = box_radius(y_radius, h);
    const std::size_t pixels = std::size_t(w) * std::size_t(h);

    GpuOperation operation(stream);
    const auto* from = operation.read<GpuPixel>(source);
    auto* to = operation.write<GpuPixel>(target);
    if (x.is_blur()) {
        auto *turned = operation.scratch<GpuPixel>(pixels), *blurred = operation.scratch<GpuPixel>(pixels);
        transpose(operation, turned, from, w, h);
        blur_rows(operation, turned, blurred, w, h, x);
        transpose(operation, y.is_blur() ? turned : to, blurred, h, w);
        if (y.is_blur()) blur_columns(operation, turned, to, w, h, y);
    } else if (y.is_blur() && from != to) {
        blur_columns(operation, from, to, w, h, y);
    } else if (from != to || y.is_blur()) {
        auto* copy = y.is_blur() ? operation.scratch<GpuPixel>(pixels) : to;
        operation.launch(gpu_kernel<copyKernel>(), gpu_shape_of_picture(w, h), copy, from, w, h);
        if (y.is_blur()) blur_columns(operation, copy, to, w, h, y);
    }
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
