#include "imagelib/scale_axis.h"

#include <cmath>
#include <new>

#include "imagelib/resample_edges.h"

namespace resample {
namespace {

template <class T>
bool allocate(std::unique_ptr<T[]>& array, std::size_t count) {
    array.reset(new (std::nothrow) T[count]());
    return array != nullptr;
}

// Corner aligned: the first and last output lie on the first and last input. The quotient of the exact product is
// exact wherever the position is a whole number.
double position(const ScaleAxis& axis, int output) {
    if (axis.outputs == 1) return 0;
    return static_cast<double>(output) * (axis.inputs - 1) / (axis.outputs - 1);
}

struct Reach {
    double scale;  // of the filter: 1 when magnifying, the step when reducing
    int radius;

    int first(double p) const {
        return scale > 1 ? static_cast<int>(std::ceil(p - radius * scale))
                         : static_cast<int>(std::floor(p)) - radius + 1;
    }
    int last(double p) const {
        return scale > 1 ? static_cast<int>(std::floor(p + radius * scale)) : static_cast<int>(std::floor(p)) + radius;
    }
};

bool fill_nearest(ScaleAxis& axis) {
    axis.taps = 1;
    if (!allocate(axis.start, axis.outputs)) return false;
    for (int i = 0; i < axis.outputs; ++i) axis.start[i] = axis.clamped(static_cast<int>(position(axis, i) + 0.5));
    return true;
}

// Sums of float samples are divided by their weights through the weights themselves, once for a position; sums of
// integer samples are divided as they are.
void fill_weights(ScaleAxis& axis, const ImagelibKernel& kernel, const Reach& reach, int output) {
    const double p = position(axis, output);
    const int first = reach.first(p), last = reach.last(p);
    float* weights = &axis.weights[std::size_t(output) * axis.taps];
    int* fixed_weights = &axis.fixed_weights[std::size_t(output) * axis.taps];
    axis.start[output] = first;
    float total = 0;
    int fixed_total = 0;
    for (int j = first; j <= last; ++j) {
        const int index = weight_index((j - p) / reach.scale, kernel.radius);
        weights[j - first] = kernel.weights[index];
        fixed_weights[j - first] = kernel.fixed_weights[index];
        total += weights[j - first];
        fixed_total += fixed_weights[j - first];
    }
    if (!axis.fixed_totals) return;
    axis.fixed_totals[output] = fixed_total;
    if (!(total > 0)) return;
    for (int k = 0; k < axis.taps; ++k) weights[k] /= total;
}

void find_inner(ScaleAxis& axis) {
    int first = 0, last = axis.outputs - 1;
    while (first <= last && axis.start[first] < 0) ++first;
    while (last >= first && axis.start[last] + axis.taps > axis.inputs) --last;
    axis.inner_first = first;
    axis.inner_last = last;
}

}  // namespace

bool make_scale_axis(int inputs, int outputs, const ImagelibKernel& kernel, ScaleAxis& axis) {
    axis.inputs = inputs;
    axis.outputs = outputs;
    axis.copy = inputs == outputs;
    axis.reducing = outputs < inputs;
    axis.nearest = kernel.kernel_type == KERNEL_BOX || (outputs == 1 && !axis.copy);
    axis.drop_negative = axis.reducing && kernel.kernel_type == KERNEL_BOX;
    if (axis.copy) return true;
    if (axis.nearest) {
        if (!fill_nearest(axis)) return false;
        find_inner(axis);
        return true;
    }
    const double step = outputs > 1 ? static_cast<double>(inputs - 1) / (outputs - 1) : 0;
    const Reach reach{axis.reducing ? step : 1.0, kernel.radius};
    for (int i = 0; i < outputs; ++i) {
        const double p = position(axis, i);
        axis.taps = std::max(axis.taps, reach.last(p) - reach.first(p) + 1);
    }
    const std::size_t count = std::size_t(outputs) * axis.taps;
    // The Lanczos filter alone does not sum up to 1 between pixels.
    const bool divide = axis.reducing || kernel.kernel_type == KERNEL_LANCZOS;
    if (!allocate(axis.start, outputs) || !allocate(axis.weights, count) || !allocate(axis.fixed_weights, count) ||
        (divide && !allocate(axis.fixed_totals, outputs))) {
        return false;
    }
    for (int i = 0; i < outputs; ++i) fill_weights(axis, kernel, reach, i);
    find_inner(axis);
    return true;
}

}  // namespace resample
