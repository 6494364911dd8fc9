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
#include "imagelib/imagelib.h"
#include "imagelib/imagelib_arcs.h"
#include "imagelib/imagelib_resample.h"

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

// ---- Line integral convolution (imagelib_lic.h) ---------------------------------------------------------------
//
// `xasp` and `yasp` are the source's pixel_width and pixel_height. The screen may have any size. Parameters that are
// not finite, and pixels without a size, are refused: GPU_NOT_LAUNCHED.

int cuda_radial_lic(DeviceImage& source, DeviceImage& destination, float cx, float cy, float rclear, float speed,
                    int samples, float xasp, float yasp, float rsoft, int sides, float rotation, GpuStream stream);
int cuda_radial_lic_screened(DeviceImage& source, DeviceImage& screen, DeviceImage& destination, float cx, float cy,
                             float speed, int samples, float xasp, float yasp, float rsoft, float threshold,
                             GpuStream stream);
// What either takes the processor, about: nanoseconds a pixel on one thread.
double radial_lic_cost(const K7Image* source, float cx, float cy, float speed, int samples, bool screened);

// ---- Scaling (imagelib_resample.h) ----------------------------------------------------------------------------

// image_scale from one size to another, with the same bits. A kernel type above KERNEL_LANCZOS is refused:
// GPU_NOT_LAUNCHED.
int cuda_image_scale_2_pass(DeviceImage& source, DeviceImage& destination, int kernel_type, bool clamp,
                            GpuStream stream);

// ---- Pyramids (imagelib_pyramid.h) ----------------------------------------------------------------------------

inline constexpr int CUDA_MIPMAP_LEVELS = 16;

// A pyramid in the memory of a device, as kernels see it. Plain data.
struct tagCUDA_MIPMAP {
    GpuPixel* device_data;  // all levels in one block
    GpuPixel* host_data;    // null: there is no copy
    int level_width[CUDA_MIPMAP_LEVELS], level_height[CUDA_MIPMAP_LEVELS];
    std::size_t level_offset[CUDA_MIPMAP_LEVELS];  // pixels from device_data
    int top_level;
    std::size_t bytes;
    float inv_w, inv_h;  // 1 / (width - 1), 1 / (height - 1) of the base; 0 for a single pixel
};

// Owns one.
class DeviceMipmap {
  public:
    bool valid() const { return m_record.device_data != nullptr; }
    const tagCUDA_MIPMAP& record() const { return m_record; }

  private:
    friend int cuda_create_mipmap(DeviceImage&, int, DeviceMipmap&, GpuStream);
    DeviceMemory m_memory;
    tagCUDA_MIPMAP m_record{};
};

// Fills a mipmap that has not been used with a picture, which it copies, and the levels above it, scaled with the
// kernel type. It is valid when this succeeds.
int cuda_create_mipmap(DeviceImage& base, int kernel_type, DeviceMipmap& mipmap, GpuStream stream);
// image_pyramid_warp through the kernel and its edge modes. The map's pixels are two floats, the destination has its
// size. `normalised`: the map holds fractions of the base's width - 1 and height - 1.
int cuda_mipmap_warp(const DeviceMipmap& mipmap, const ImagelibKernel& kernel, DeviceImage& map, bool normalised,
                     DeviceImage& destination, GpuStream stream);

// ---- Averages along arcs (imagelib_arcs.h) --------------------------------------------------------------------

// Each pixel becomes the mean along its arc, as ImagelibCircles makes it. The matte may be null.
int cuda_spin_blur(DeviceImage& source, DeviceImage* matte, DeviceImage& destination, const ArcGeometry& circles,
                   const TurnTable& turn, const ArcLengths& lengths, GpuStream stream);
