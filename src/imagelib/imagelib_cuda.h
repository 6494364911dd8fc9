// Whole-image operations on pictures that are on a CUDA device, beside those on the processor.
//
// All take float RGBA pictures of one size unless a function says otherwise, make the picture that the operation of the
// same name in imagelib makes, and answer a GpuStep: 0, or the step that failed. Then the outputs hold nothing on the
// device, and their host's pixels are as they were. Results stay on the device until they are fetched. One call at a
// time, from a thread that cuda_available() has answered true to, outside of row work.
#pragma once

#include "gpulib/gpulib_operation.h"
#include "imagelib/imagelib_arithmetic.h"
#include "imagelib/imagelib_composite.h"

// The pixels of an image, for a DeviceImage beside it.
HostPicture host_picture(const K7Image* image);

// Whether an operation on float RGBA images of the host runs on the device: there is one, and it pays to bring `images`
// of this layout there or back for what takes the processor so many nanoseconds a pixel on one thread.
bool image_pays_on_device(const K7Image* image, int images, double nanoseconds);

// ---- Arithmetic, gamma ----------------------------------------------------------------------------------------

// image_arithmetic_constant, image_arithmetic_image and image_apply_gamma, to the bit.
int cuda_arith_image_constant(DeviceImage& image, ConstantOperator op, float c, int mask, GpuStream stream);
int cuda_arith_image_point(DeviceImage& a, ImageOperator op, DeviceImage& b, int mask, GpuStream stream);
// The target may be the source. A gamma that is not finite and above 0 is refused: GPU_NOT_LAUNCHED.
int cuda_apply_gamma(DeviceImage& source, DeviceImage& target, float gamma, GpuStream stream);
inline constexpr double GAMMA_NANOSECONDS = 3.7;  // what it takes the processor on one thread, a pixel

// ---- Compositing, fades, dissolves ----------------------------------------------------------------------------

// image_composite, image_unary and image_cross_dissolve, to the bit. `dest` may be a or b; what lies outside the
// rectangle stays. An empty rectangle is done at once, an unknown mode or operation refused: GPU_NOT_LAUNCHED.
int cuda_pd_composite(DeviceImage& dest, DeviceImage& a, int mode, DeviceImage& b, bool premultiplied, int xl, int yl,
                      int xh, int yh, GpuStream stream);
int cuda_pd_unary(DeviceImage& image, int op, float f, int xl, int yl, int xh, int yh, GpuStream stream);
int cuda_cross_dissolve(DeviceImage& dest, DeviceImage& other, float f, GpuStream stream);

// ---- Blur -----------------------------------------------------------------------------------------------------

// image_gaussian_blur of all four channels. The target may be the source.
//
// The same bits, except where rounding takes a result below the smallest sample so far: there the two may differ by
// that rounding.
int cuda_gaussian_box_blur_2_pass(DeviceImage& source, DeviceImage& target, float x_radius, float y_radius,
                                  GpuStream stream);

// a * ima + b * imb; the target may be either of them.
int cuda_blend(float a, DeviceImage& ima, float b, DeviceImage& imb, DeviceImage& target, GpuStream stream);
