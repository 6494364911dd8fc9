// The filter tables.
#include <new>
#include <numbers>

#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

// Keys, "Cubic convolution interpolation for digital image processing", 1981; `a` is the slope at 1.
double cubic(double t, double a) {
    if (t < 1) return ((a + 2) * t - (a + 3)) * t * t + 1;
    if (t < 2) return ((a * t - 5 * a) * t + 8 * a) * t - 4 * a;
    return 0;
}

double bspline(double t) {
    if (t < 1) return (3 * t * t * t - 6 * t * t + 4) / 6;
    if (t < 2) return (6 * t * t - t * t * t - 12 * t + 8) / 6;
    return 0;
}

double sinc(double x) { return k7_sin(std::numbers::pi * x) / (std::numbers::pi * x); }

double lanczos(double t) {
    if (t == 0) return 1;
    return t < 2 ? sinc(t) * sinc(t / 2) : 0;
}

double filter_value(int type, double t) {
    switch (type) {
        case KERNEL_BOX:
            return t < 0.5 ? 1 : 0;
        case KERNEL_TRIANGLE:
            return t < 1 ? 1 - t : 0;
        case KERNEL_CUBIC:
            return cubic(t, -0.5);
        case KERNEL_SHARP_CUBIC:
            return cubic(t, -1.0);
        case KERNEL_BSPLINE:
            return bspline(t);
        default:
            return lanczos(t);
    }
}

}  // namespace

ImagelibKernel::ImagelibKernel(int type, int edge)
    : kernel_type(type), edge_mode(edge), edge_mode_x(edge), edge_mode_y(edge) {
    if (type < KERNEL_BOX || type > KERNEL_LANCZOS || edge < EDGE_CLAMP || edge > EDGE_MIRROR) return;
    radius = type <= KERNEL_TRIANGLE ? 1 : 2;
    taps = 2 * radius + 1;
    const int entries = table_scale * radius + 1;
    weights = static_cast<float*>(k7_malloc(entries * sizeof(float)));
    fixed_weights = static_cast<int*>(k7_malloc(entries * sizeof(int)));
    if (!weights || !fixed_weights) return;
    for (int i = 0; i < entries; ++i) {
        weights[i] = static_cast<float>(filter_value(type, static_cast<double>(i) / table_scale));
        fixed_weights[i] = static_cast<int>(weights[i] * static_cast<float>(fixed_scale));
    }
    valid = true;
}

ImagelibKernel::~ImagelibKernel() {
    if (weights) k7_free(weights);
    if (fixed_weights) k7_free(fixed_weights);
}

bool ImagelibKernelSlot::set_kernel(int type, int edge) {
    if (m_kernel && m_kernel->kernel_type == type && m_kernel->edge_mode == edge) return true;
    m_kernel.reset(new (std::nothrow) ImagelibKernel(type, edge));
    if (m_kernel && !m_kernel->valid) m_kernel.reset();
    return m_kernel != nullptr;
}
