// Compositing, fades and dissolves on devices. A thread for each pixel of the rectangle; bound by memory.
#include <limits>

#include "imagelib/composite_formulas.h"
#include "imagelib/imagelib_cuda.h"

namespace cuda_comp {

using compositing::Rectangle;

// What a kernel works on: pictures that are w pixels wide, of which it does the pixels of an area. With `ba` the
// pictures change their roles, which makes "under" of "over". The result may be one of the pictures.
struct Job {
    GpuPixel* doutimage;
    const GpuPixel *imagea, *imageb;
    int w;
    Rectangle area;
    bool ba;

    GPU_AND_CPU bool contains(GpuPlace at) const { return at.x < area.xh - area.xl && at.y < area.yh - area.yl; }
    GPU_AND_CPU std::ptrdiff_t index(GpuPlace at) const {
        return std::ptrdiff_t(area.yl + at.y) * w + (area.xl + at.x);
    }
};

template <int mode, bool premultiplied>
GPU_AND_CPU void composite(GpuPlace at, const Job& job) {
    if (!job.contains(at)) return;
    const std::ptrdiff_t i = job.index(at);
    const GpuPixel a = (job.ba ? job.imageb : job.imagea)[i], b = (job.ba ? job.imagea : job.imageb)[i];
    GpuPixel result;
    const auto store = [&result](int c, float value) {
        constexpr float top = std::numeric_limits<float>::max();
        result.c[c] = value > top ? top : value;
    };
    if constexpr (premultiplied)
        compositing::blend_premultiplied<mode>(a.c, b.c, 4, 1.0f, store);
    else
        compositing::blend_straight<mode>(a.c, b.c, 4, 1.0f, store);
    job.doutimage[i] = result;
}

template <int first, int end>
GPU_AND_CPU void fade(GpuPlace at, const Job& job, float f) {
    if (!job.contains(at)) return;
    GpuPixel pixel = job.imagea[job.index(at)];
    for (int c = first; c < end; ++c) pixel.c[c] = pixel.c[c] * f;
    job.doutimage[job.index(at)] = pixel;
}

// ---- Kernels --------------------------------------------------------------------------------------------------

GPU_AND_CPU void comp_over_prem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_OVER, true>(at, job); }
GPU_AND_CPU void comp_in_prem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_IN, true>(at, job); }
GPU_AND_CPU void comp_out_prem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_OUT, true>(at, job); }
GPU_AND_CPU void comp_atop_prem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_ATOP, true>(at, job); }
GPU_AND_CPU void comp_xor_prem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_XOR, true>(at, job); }
GPU_AND_CPU void comp_over_unprem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_OVER, false>(at, job); }
GPU_AND_CPU void comp_in_unprem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_IN, false>(at, job); }
GPU_AND_CPU void comp_out_unprem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_OUT, false>(at, job); }
GPU_AND_CPU void comp_atop_unprem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_ATOP, false>(at, job); }
GPU_AND_CPU void comp_xor_unprem_kernel(GpuPlace at, Job job) { composite<COMPOSITE_XOR, false>(at, job); }

GPU_AND_CPU void unary_darken_kernel(GpuPlace at, Job job, float f) { fade<0, 3>(at, job, f); }
GPU_AND_CPU void unary_dissolve_kernel(GpuPlace at, Job job, float f) { fade<0, 4>(at, job, f); }
GPU_AND_CPU void unary_opaque_kernel(GpuPlace at, Job job, float f) { fade<3, 4>(at, job, f); }

GPU_AND_CPU void cross_dissolve_kernel(GpuPlace at, Job job, float f) {
    if (!job.contains(at)) return;
    const float amount = compositing::limit_to_unit(f), rest = 1.0f - amount;
    const GpuPixel a = job.imagea[job.index(at)], b = job.imageb[job.index(at)];
    GpuPixel result;
    for (int c = 0; c < 4; ++c) result.c[c] = compositing::cross_dissolved(a.c[c], rest, b.c[c], amount);
    job.doutimage[job.index(at)] = result;
}

// ---- Which one ------------------------------------------------------------------------------------------------

// Every second mode is the one before it with the roles changed.
GpuKernel<Job> composite_kernel(int mode, bool premultiplied) {
    switch (mode) {
        case COMPOSITE_OVER:
        case COMPOSITE_UNDER:
            return premultiplied ? gpu_kernel<comp_over_prem_kernel>() : gpu_kernel<comp_over_unprem_kernel>();
        case COMPOSITE_IN:
        case COMPOSITE_STENCIL_IN:
            return premultiplied ? gpu_kernel<comp_in_prem_kernel>() : gpu_kernel<comp_in_unprem_kernel>();
        case COMPOSITE_OUT:
        case COMPOSITE_STENCIL_OUT:
            return premultiplied ? gpu_kernel<comp_out_prem_kernel>() : gpu_kernel<comp_out_unprem_kernel>();
        case COMPOSITE_ATOP:
        case COMPOSITE_REVERSE_ATOP:
            return premultiplied ? gpu_kernel<comp_atop_prem_kernel>() : gpu_kernel<comp_atop_unprem_kernel>();
        default:
            return premultiplied ? gpu_kernel<comp_xor_prem_kernel>() : gpu_kernel<comp_xor_unprem_kernel>();
    }
}

GpuKernel<Job, float> unary_kernel(int op) {
    if (op == UNARY_DARKEN) return gpu_kernel<unary_darken_kernel>();
    return op == UNARY_OPAQUE ? gpu_kernel<unary_opaque_kernel>() : gpu_kernel<unary_dissolve_kernel>();
}

bool is_whole(const Rectangle& area, const DeviceImage& image) {
    return area.xl == 0 && area.yl == 0 && area.xh == image.width() && area.yh == image.height();
}

GpuShape shape_of(const Rectangle& area) { return gpu_shape_of_picture(area.xh - area.xl, area.yh - area.yl); }

}  // namespace cuda_comp

int cuda_pd_composite(DeviceImage& dest, DeviceImage& a, int mode, DeviceImage& b, bool premultiplied, int xl, int yl,
                      int xh, int yh, GpuStream stream) {
    using namespace cuda_comp;
    const Rectangle area = compositing::resolve_rectangle(dest.width(), dest.height(), xl, yl, xh, yh);
    if (area.is_empty()) return GPU_DONE;
    GpuOperation operation(stream);
    if (mode < COMPOSITE_OVER || mode > COMPOSITE_XOR) operation.fail(GPU_NOT_LAUNCHED);
    const auto *in_a = operation.read<GpuPixel>(a), *in_b = operation.read<GpuPixel>(b);
    auto* out = is_whole(area, dest) ? operation.write<GpuPixel>(dest) : operation.modify<GpuPixel>(dest);
    const bool ba = mode != COMPOSITE_XOR && mode % 2 == 0;
    operation.launch(composite_kernel(mode, premultiplied), shape_of(area), {out, in_a, in_b, dest.width(), area, ba});
    return operation.finish();
}

int cuda_pd_unary(DeviceImage& image, int op, float f, int xl, int yl, int xh, int yh, GpuStream stream) {
    using namespace cuda_comp;
    const Rectangle area = compositing::resolve_rectangle(image.width(), image.height(), xl, yl, xh, yh);
    if (area.is_empty()) return GPU_DONE;
    GpuOperation operation(stream);
    if (op < UNARY_DARKEN || op > UNARY_OPAQUE) operation.fail(GPU_NOT_LAUNCHED);
    auto* pixels = operation.modify<GpuPixel>(image);
    operation.launch(unary_kernel(op), shape_of(area), {pixels, pixels, nullptr, image.width(), area, false},
                     compositing::limit_to_unit(f));
    return operation.finish();
}

int cuda_cross_dissolve(DeviceImage& dest, DeviceImage& other, float f, GpuStream stream) {
    using namespace cuda_comp;
    const Rectangle whole = {0, 0, dest.width(), dest.height()};
    GpuOperation operation(stream);
    const auto* in = operation.read<GpuPixel>(other);
    auto* out = operation.modify<GpuPixel>(dest);
    operation.launch(gpu_kernel<cross_dissolve_kernel>(), shape_of(whole), {out, out, in, dest.width(), whole, false},
                     f);
    return operation.finish();
}
