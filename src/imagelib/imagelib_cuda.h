// Whole-image operations on pictures that are on a CUDA device, beside those on the processor.
//
// All take float RGBA pictures of one size unless a function says otherwise, make the picture that the operation of the
// same name in imagelib makes, and answer a GpuStep: 0, or the step that failed. Then the outputs hold nothing on the
// device, and their host's pixels are as they were. Results stay on the device until they are fetched. One call at a
// time, from a thread that cuda_available() has answered true to, outside of row work.
#pragma once

#include "gpulib/gpulib_operation.h"
#include "imagelib/imagelib.h"

// The pixels of an image, for a DeviceImage beside it.
HostPicture host_picture(const K7Image* image);

// Whether an operation on float RGBA images of the host runs on the device: there is one, and it pays to bring `images`
// of this layout there or back for what takes the processor so many nanoseconds a pixel on one thread.
bool image_pays_on_device(const K7Image* image, int images, double nanoseconds);
