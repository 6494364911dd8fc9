// Private: scaling pictures that are in the memory of a device, for images and for the levels of a pyramid.
#pragma once

#include "imagelib/imagelib_cuda.h"
#include "imagelib/imagelib_resample.h"

// Queues scaling a picture of w x h pixels to one of another size, with the weights and the order of passes of
// image_scale. A failure is the operation's.
void cuda_queue_scale(GpuOperation& operation, const GpuPixel* in, int w, int h, GpuPixel* out, int ow, int oh,
                      const ImagelibKernel& kernel, bool clamp);
// The same from one level of a pyramid to the next.
void cuda_queue_next_level(GpuOperation& operation, const tagCUDA_MIPMAP& mipmap, int level,
                           const ImagelibKernel& kernel);
