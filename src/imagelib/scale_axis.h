// One axis of a scaling: for every output position the first input position and the weights from there on. Computed
// once and shared by all lines.
#pragma once

#include <memory>

#include "imagelib/imagelib_resample.h"

namespace resample {

struct ScaleAxis {
    int inputs = 0, outputs = 0;
    bool copy = false;  // same size: nothing to do
    bool reducing = false;
    bool nearest = false;        // one tap, unweighted: the box filter, or a single output
    bool drop_negative = false;  // reducing with the box filter clamps negative floats to 0
    int taps = 0;
    int inner_first = 0, inner_last = -1;  // outputs whose windows lie wholly inside the input (inclusive)
    std::unique_ptr<int[]> start;          // [outputs], may be negative
    std::unique_ptr<float[]> weights;      // [outputs][taps]
    std::unique_ptr<int[]> fixed_weights;  // [outputs][taps]
    std::unique_ptr<int[]> fixed_totals;   // [outputs], where sums are divided by their weights; else null

    // The indices of a window are limited to the input: the border pixel repeats.
    int clamped(int index) const { return index < 0 ? 0 : index >= inputs ? inputs - 1 : index; }
};

// False when out of memory.
bool make_scale_axis(int inputs, int outputs, const ImagelibKernel& kernel, ScaleAxis& axis);

}  // namespace resample
