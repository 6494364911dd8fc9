// Private to the fluid: the velocity within its cells and the places of paths, the same for one path on the processor
// and on devices. trace_simd.cpp has them for many paths abreast.
#pragma once

#include "gpulib/gpulib_runtime.h"

// What is not a number becomes the lower limit.
GPU_AND_CPU float fluid_limited(float value, float low, float high) {
    const float above = value > low ? value : low;
    return above < high ? above : high;
}

// From velocities to cells a step of a path of so many steps.
GPU_AND_CPU float fluid_path_scale(float dt, int steps, int cells) {
    return dt / static_cast<float>(steps) * static_cast<float>(cells);
}

GPU_AND_CPU float fluid_cells_a_step(float velocity, float scale) {
    constexpr float MOST = 1e6F;
    const float cells = velocity * scale;
    return cells < -MOST ? -MOST : (MOST < cells ? MOST : cells);
}

// One component within a cell: a + bx fx + (by + c fx) fy.
struct FluidPolynomial {
    float a, bx, by, c;
};

// From the corners: low left, low right, high left, high right.
GPU_AND_CPU FluidPolynomial fluid_polynomial(float a, float b, float c, float d) {
    return {a, b - a, c - a, (d - c) - (b - a)};
}

// How much the place after step k of a path counts.
GPU_AND_CPU float fluid_weight(int k, int steps, float bias) {
    const auto count = static_cast<float>(steps);
    const float less = (count - 1) * bias;
    const float weight = (static_cast<float>(k + 1) - less) / (count - less);
    return weight < 0 ? 0 : (weight < 1 ? weight : 1);
}
