// Private to the fluid: fields carried along the flow on a CUDA device.
#pragma once

#include "fluidlib/fluidlib.h"
#include "gpulib/gpulib_image.h"

// The flow, and how the fields' grid lies over it. Cells count from the first stored one.
struct FluidFlight {
    DeviceImage& u;  // stored cells, a float each
    DeviceImage& v;
    float scale_x, scale_y;  // from velocities to cells of the velocity a step of the path
    float first_x, first_y;  // where the fields' cell 0 stands in those cells,
    float step_x, step_y;    // and the distance of their cells
    float back_x, back_y;    // from cells of the velocity to cells of the fields
    int width, height;       // interior cells of the fields
    int steps;
    bool rk4;
    float bias;
};

// All stored cells come in, the interior ones go out, divided by the divisor.
struct FluidFreight {
    DeviceImage* from;
    DeviceImage* to;
    float divisor;
};

inline constexpr int FLUID_MAX_FREIGHT = FLUID_MAX_FIELDS + 2;  // with the coordinate maps

// Carries up to FLUID_MAX_FREIGHT fields of a bounded grid, with paths that read the velocity bilinearly: the bits of
// the row function. Answers a GpuStep.
int cuda_direct_scalar_field_advect(FluidFlight& flight, const FluidFreight* freight, int count, GpuStream stream);
