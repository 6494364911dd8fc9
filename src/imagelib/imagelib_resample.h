// Reading images between their pixels: the tabulated filter, point samplers, the separable scaler, shifts and shears,
// and the rotation built on them.
//
// Positions count pixels from the first sample of row 0, and a whole number is a pixel's centre. Samples are floats in
// sample units.
#pragma once

#include <memory>

#include "imagelib/imagelib.h"

// ---- Filters --------------------------------------------------------------------------------------------------

enum KernelType : int {
    KERNEL_BOX = 0,
    KERNEL_TRIANGLE = 1,
    KERNEL_CUBIC = 2,        // a = -0.5, Catmull-Rom
    KERNEL_SHARP_CUBIC = 3,  // a = -1.0
    KERNEL_BSPLINE = 4,
    KERNEL_LANCZOS = 5,  // two lobes
};

enum EdgeMode : int {
    EDGE_CLAMP = 0,   // the border pixel repeats
    EDGE_BLACK = 1,   // outside is 0
    EDGE_WRAP = 2,    // the image repeats
    EDGE_MIRROR = 3,  // about the centre of pixel 0 and about the outer side of the last pixel
};

// A filter as a table over the distance from the sample point, and what to read beyond the image's edges. The edge
// modes may be changed afterwards, each on its own. A type above 5 or an edge mode above 3 leaves `valid` false, and
// so does a failed allocation; every sampler refuses such a kernel.
class ImagelibKernel {
  public:
    ImagelibKernel(int type, int edge);
    virtual ~ImagelibKernel();
    ImagelibKernel(const ImagelibKernel&) = delete;
    ImagelibKernel& operator=(const ImagelibKernel&) = delete;

    int kernel_type;
    float* weights = nullptr;      // 512 * radius + 1 entries
    int* fixed_weights = nullptr;  // times 1024, truncated
    int radius = 0;                // pixels
    int taps = 0;                  // pixels that a sample can reach
    int table_scale = 512;         // entries a pixel
    int fixed_scale = 1024;
    int fixed_shift = 10;  // brings a fixed-point sum back to sample units
    int edge_mode;         // one-dimensional sampling
    int edge_mode_x;       // two-dimensional sampling
    int edge_mode_y;
    bool valid = false;
};

// Holds one kernel and builds another only when the type or the edge mode changes.
class ImagelibKernelSlot {
  public:
    bool set_kernel(int type, int edge);  // false (and no kernel) when it is not usable
    const ImagelibKernel* kernel() const { return m_kernel.get(); }

  private:
    std::unique_ptr<ImagelibKernel> m_kernel;
};

// ---- Points ---------------------------------------------------------------------------------------------------

// All channels of one pixel. Outside the image: false, and zeros are read or nothing is written. Written integers are
// limited to their range and truncated.
bool image_get_pixel(const K7Image* image, int x, int y, float* out);
bool image_put_pixel(K7Image* image, int x, int y, const float* in);

// The samplers write `channels` values; those that the image lacks are 0. A position that is not a number is answered
// with false and zeros.
//
// image_sample reads the nearest pixel towards the origin (type 0), mixes four neighbours (type 1), or is the area
// sampler with both scales 1. image_sample_normalized divides by the full value, image_sample_unit also takes its
// position as a fraction of the width and height.
bool image_sample(const K7Image* image, float x, float y, float* out, int channels, const ImagelibKernel* kernel);
bool image_sample_normalized(const K7Image* image, float x, float y, float* out, int channels,
                             const ImagelibKernel* kernel);
bool image_sample_unit(const K7Image* image, float u, float v, float* out, int channels, const ImagelibKernel* kernel);

// The weighted mean of a window that reaches radius * scale pixels each way; scales below 1 count as 1. At a scale of
// 1 the weights are not divided by their sum, which is 1 within the step of the table (Lanczos: within 2 % an axis).
// The result is limited to 0 and the full value (float samples: the largest float).
bool image_sample_area(const K7Image* image, float x, float y, float xscale, float yscale, float* out, int channels,
                       const ImagelibKernel* kernel);
bool image_clamps_negative();
void image_set_clamp_negative(bool on);  // rows of the area sampler that sum up below 0 count as 0; initially on

// ---- Scaling --------------------------------------------------------------------------------------------------

// To the destination's size; channels and sample type must match. Centres of corner pixels stay on centres of corner
// pixels. With `clamp` float results are limited below at 0, as integers always are on both sides.
// The attributes follow; the size of a pixel and the unit scale stay as they are.
bool image_scale(const K7Image* source, K7Image* destination, int kernel_type, bool clamp);

// ---- Shifts and shears ----------------------------------------------------------------------------------------
//
// One-dimensional resampling of whole images with kernel->edge_mode. Integer samples go through the fixed-point
// weights and are limited to their range; floats are not limited. Row passes want equal heights, column passes equal
// widths, and all want equal channels and sample types and two different images. Shifts by 0 copy; shears filter every
// line, also one that stays in its place.

// Destination pixel x (or y) shows the source at x + offset.
bool shift_row_pass(const K7Image* source, K7Image* destination, float offset, const ImagelibKernel* kernel);
bool shift_column_pass(const K7Image* source, K7Image* destination, float offset, const ImagelibKernel* kernel);
// Destination pixel (x, y) shows the source at x + offset - y * shear (rows), y + offset - x * shear (columns).
bool shear_row_pass(const K7Image* source, K7Image* destination, double shear, double offset,
                    const ImagelibKernel* kernel);
bool shear_column_pass(const K7Image* source, K7Image* destination, double shear, double offset,
                       const ImagelibKernel* kernel);

// Destination pixel (x, y) shows the source at (x + dx, y + dy). Edge modes other than 0 to 3 count as black.
bool image_translate_subpixel(const K7Image* source, K7Image* destination, float dx, float dy, int kernel_type,
                              int edge);
// The source with its centre at (cx, cy) of the destination, black around it.
bool image_paste_at(const K7Image* source, K7Image* destination, float cx, float cy, int kernel_type);
// The same laid over the destination. The mix is the fourth channel, or the mean of up to three. `premultiplied`:
// the source is added to what the mix leaves of the destination.
bool image_composite_at(const K7Image* source, K7Image* destination, float cx, float cy, int kernel_type,
                        bool premultiplied);

// ---- Rotation -------------------------------------------------------------------------------------------------

// A new image, turned by `degrees` about its centre and just large enough for the whole picture. Positive angles turn
// the x axis towards smaller row indices. Multiples of 90 degrees move pixels without filtering.
K7Image* image_rotate(const K7Image* image, float degrees, int filter, int edge);
