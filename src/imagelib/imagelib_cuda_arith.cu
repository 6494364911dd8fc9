// Arithmetic and gamma on devices. A thread for each pixel; bound by memory.
#include "imagelib/arithmetic_formulas.h"
#include "imagelib/imagelib_cuda.h"

namespace cuda_arith {

// What a kernel works on: two pictures of w x h pixels, or a picture and a constant. The result may be `imagea`.
struct Images {
    GpuPixel* doutimage;
    const GpuPixel *imagea, *imageb;
    int w, h;
};
struct ImageAndConstant {
    GpuPixel* doutimage;
    const GpuPixel* imagea;
    GpuPixel constant;
    int w, h;
};

constexpr int ALL_CHANNELS = 15;

template <class Operation>
GPU_AND_CPU GpuPixel changed(GpuPixel a, GpuPixel b, int mask) {
    for (int c = 0; c < 4; ++c)
        if (mask >> c & 1) a.c[c] = Operation()(a.c[c], b.c[c]);
    return a;
}

template <class Operation>
GPU_AND_CPU void with_image(GpuPlace at, const Images& on, int mask = ALL_CHANNELS) {
    if (at.x >= on.w || at.y >= on.h) return;
    const std::ptrdiff_t i = std::ptrdiff_t(at.y) * on.w + at.x;
    on.doutimage[i] = changed<Operation>(on.imagea[i], on.imageb[i], mask);
}

template <class Operation>
GPU_AND_CPU void with_constant(GpuPlace at, const ImageAndConstant& on, int mask = ALL_CHANNELS) {
    if (at.x >= on.w || at.y >= on.h) return;
    const std::ptrdiff_t i = std::ptrdiff_t(at.y) * on.w + at.x;
    on.doutimage[i] = changed<Operation>(on.imagea[i], on.constant, mask);
}

struct DivideByConstant {
    GPU_AND_CPU float operator()(float a, float c) const { return a * factor_of_divisor(c); }
};

// ---- Kernels --------------------------------------------------------------------------------------------------

GPU_AND_CPU void arith_add_kernel(GpuPlace at, Images on) { with_image<AddSamples>(at, on); }
GPU_AND_CPU void arith_subtract_kernel(GpuPlace at, Images on) { with_image<SubtractSamples>(at, on); }
GPU_AND_CPU void arith_multiply_kernel(GpuPlace at, Images on) { with_image<MultiplySamples>(at, on); }
GPU_AND_CPU void arith_divide_kernel(GpuPlace at, Images on) { with_image<DivideSamples>(at, on); }

GPU_AND_CPU void arith_masked_add_kernel(GpuPlace at, Images on, int mask) { with_image<AddSamples>(at, on, mask); }
GPU_AND_CPU void arith_masked_subtract_kernel(GpuPlace at, Images on, int mask) {
    with_image<SubtractSamples>(at, on, mask);
}
GPU_AND_CPU void arith_masked_multiply_kernel(GpuPlace at, Images on, int mask) {
    with_image<MultiplySamples>(at, on, mask);
}
GPU_AND_CPU void arith_masked_divide_kernel(GpuPlace at, Images on, int mask) {
    with_image<DivideSamples>(at, on, mask);
}

GPU_AND_CPU void arith_vec_add_kernel(GpuPlace at, ImageAndConstant on) { with_constant<AddSamples>(at, on); }
GPU_AND_CPU void arith_vec_subtract_kernel(GpuPlace at, ImageAndConstant on) { with_constant<SubtractSamples>(at, on); }
GPU_AND_CPU void arith_vec_reverse_subtract_kernel(GpuPlace at, ImageAndConstant on) {
    with_constant<ReverseSubtractSamples>(at, on);
}
GPU_AND_CPU void arith_vec_multiply_kernel(GpuPlace at, ImageAndConstant on) { with_constant<MultiplySamples>(at, on); }
GPU_AND_CPU void arith_vec_divide_kernel(GpuPlace at, ImageAndConstant on) { with_constant<DivideByConstant>(at, on); }

GPU_AND_CPU void arith_vec_masked_add_kernel(GpuPlace at, ImageAndConstant on, int mask) {
    with_constant<AddSamples>(at, on, mask);
}
GPU_AND_CPU void arith_vec_masked_subtract_kernel(GpuPlace at, ImageAndConstant on, int mask) {
    with_constant<SubtractSamples>(at, on, mask);
}
GPU_AND_CPU void arith_vec_masked_reverse_subtract_kernel(GpuPlace at, ImageAndConstant on, int mask) {
    with_constant<ReverseSubtractSamples>(at, on, mask);
}
GPU_AND_CPU void arith_vec_masked_multiply_kernel(GpuPlace at, ImageAndConstant on, int mask) {
    with_constant<MultiplySamples>(at, on, mask);
}
GPU_AND_CPU void arith_vec_masked_divide_kernel(GpuPlace at, ImageAndConstant on, int mask) {
    with_constant<DivideByConstant>(at, on, mask);
}

// Entries [0, GAMMA_STEPS) of the table, a row of threads: quicker than to work it out on the host and send it.
GPU_AND_CPU void gamma_table_kernel(GpuPlace at, float* steps, double exponent) {
    if (at.x < GAMMA_STEPS) steps[at.x] = gamma_step(at.x, exponent);
}

// The table fits the cache of a multiprocessor, or nearly so.
GPU_AND_CPU void gamma_kernel(GpuPlace at, GpuPixel* doutimage, const GpuPixel* image, const float* steps,
                              double exponent, int w, int h) {
    if (at.x >= w || at.y >= h) return;
    const std::ptrdiff_t i = std::ptrdiff_t(at.y) * w + at.x;
    GpuPixel pixel = image[i];
    for (int c = 0; c < 3; ++c) pixel.c[c] = gamma_sample(pixel.c[c], steps, exponent);
    doutimage[i] = pixel;
}

// ---- Which one ------------------------------------------------------------------------------------------------

// Both forms of an operation.
template <class On>
struct Kernels {
    GpuKernel<On> whole;
    GpuKernel<On, int> masked;
};
template <auto whole, auto masked>
auto kernels() {
    return Kernels{gpu_kernel<whole>(), gpu_kernel<masked>()};
}

Kernels<ImageAndConstant> kernels_of(ConstantOperator op) {
    switch (op) {
        case ConstantOperator::add:
            return kernels<arith_vec_add_kernel, arith_vec_masked_add_kernel>();
        case ConstantOperator::subtract:
            return kernels<arith_vec_subtract_kernel, arith_vec_masked_subtract_kernel>();
        case ConstantOperator::divide:
            return kernels<arith_vec_divide_kernel, arith_vec_masked_divide_kernel>();
        case ConstantOperator::reverse_subtract:
            return kernels<arith_vec_reverse_subtract_kernel, arith_vec_masked_reverse_subtract_kernel>();
        case ConstantOperator::multiply:
            break;
    }
    return kernels<arith_vec_multiply_kernel, arith_vec_masked_multiply_kernel>();
}

Kernels<Images> kernels_of(ImageOperator op) {
    switch (op) {
        case ImageOperator::add:
            return kernels<arith_add_kernel, arith_masked_add_kernel>();
        case ImageOperator::subtract:
            return kernels<arith_subtract_kernel, arith_masked_subtract_kernel>();
        case ImageOperator::divide:
            return kernels<arith_divide_kernel, arith_masked_divide_kernel>();
        case ImageOperator::multiply:
        case ImageOperator::multiply_scaled:  // the full value of a float is 1
            break;
    }
    return kernels<arith_multiply_kernel, arith_masked_multiply_kernel>();
}

template <class On>
void launch(GpuOperation& operation, const Kernels<On>& kernels, const On& on, int mask) {
    const GpuShape shape = gpu_shape_of_picture(on.w, on.h);
    if ((mask & ALL_CHANNELS) == ALL_CHANNELS)
        operation.launch(kernels.whole, shape, on);
    else
        operation.launch(kernels.masked, shape, on, mask);
}

}  // namespace cuda_arith

int cuda_arith_image_constant(DeviceImage& image, ConstantOperator op, float c, int mask, GpuStream stream) {
    GpuOperation operation(stream);
    auto* pixels = operation.modify<GpuPixel>(image);
    const cuda_arith::ImageAndConstant on = {pixels, pixels, {{c, c, c, c}}, image.width(), image.height()};
    cuda_arith::launch(operation, cuda_arith::kernels_of(op), on, mask);
    return operation.finish();
}

int cuda_arith_image_point(DeviceImage& a, ImageOperator op, DeviceImage& b, int mask, GpuStream stream) {
    GpuOperation operation(stream);
    const auto* other = operation.read<GpuPixel>(b);
    auto* pixels = operation.modify<GpuPixel>(a);
    const cuda_arith::Images on = {pixels, pixels, other, a.width(), a.height()};
    cuda_arith::launch(operation, cuda_arith::kernels_of(op), on, mask);
    return operation.finish();
}

int cuda_apply_gamma(DeviceImage& source, DeviceImage& target, float gamma, GpuStream stream) {
    const double exponent = 1.0 / static_cast<double>(gamma);
    GpuOperation operation(stream);
    if (!(gamma > 0.0f) || !std::isfinite(gamma)) operation.fail(GPU_NOT_LAUNCHED);
    const auto* from = operation.read<GpuPixel>(source);
    auto* to = operation.write<GpuPixel>(target);
    auto* steps = operation.scratch<float>(GAMMA_STEPS);
    operation.launch(gpu_kernel<cuda_arith::gamma_table_kernel>(), gpu_shape_of_line(GAMMA_STEPS), steps, exponent);
    operation.launch(gpu_kernel<cuda_arith::gamma_kernel>(), gpu_shape_of_picture(source.width(), source.height()), to,
                     from, steps, exponent, source.width(), source.height());
    return operation.finish();
}
