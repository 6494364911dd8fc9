// The box minimum and maximum of Darken and Lighten on a CUDA device. Takes two passes, like the processor: along the
// rows, then down the columns, where the pixel's own value and its luminance decide.
#pragma once

#include "gpulib/gpulib_operation.h"
#include "imagelib/imagelib_morphology.h"

// What to do to a picture of this size; see image_window_extreme.
struct DeviceExtreme {
    int width, height;
    WindowSize windows[4];  // a channel's each
    ExtremeGate gate;
};

// A GpuStep. Pictures of equal size; the two are not the same.
int cuda_darken(DeviceImage& input, DeviceImage& output, const DeviceExtreme& job, GpuStream stream);
int cuda_lighten(DeviceImage& input, DeviceImage& output, const DeviceExtreme& job, GpuStream stream);
