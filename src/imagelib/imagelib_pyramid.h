// Mipmap pyramid: a picture read at any place through a footprint of any size.
//
// Level 0 is the picture; each further level has half the width and height of the one before. A footprint of area A
// reads level log2(sqrt(A)), mixing the two levels beside it. Positions count pixels of the base as everywhere (whole
// numbers are centres); corner pixels of all levels lie on each other. Beyond the borders the kernel's edge mode holds;
// repeating edges repeat with the period of the base on every level.
#pragma once

#include <memory>

#include "imagelib/imagelib.h"
#include "imagelib/imagelib_resample.h"
#include "imagelib/pyramid_simd.h"

class DeviceMipmap;

class ImagelibPyramid {
  public:
    // The levels are scaled with the kernel type. Without `copy_base` the image must outlive the pyramid unchanged.
    // `cpu_only` false: a float RGBA picture may go to a CUDA device where that pays. Such a pyramid can be warped, and
    // answers no samples; the member cpu_only says what has become of it.
    ImagelibPyramid(const K7Image* image, int kernel_type, int edge, bool copy_base, bool cpu_only);
    virtual ~ImagelibPyramid();
    ImagelibPyramid(const ImagelibPyramid&) = delete;
    ImagelibPyramid& operator=(const ImagelibPyramid&) = delete;

    bool valid() const;  // kernel and all levels are there
    // Reads through another kernel from now on; the levels stay as they were built. False: nothing changed.
    bool set_kernel(int type, int edge);

    // Up to 16 channels in sample units; those that the image lacks are 0. Areas below 1 (or not a number) count as 1.
    // False, and zeros, when the position is not a number or a level is missing. May be called from any thread.
    bool sample_pixel(float x, float y, float footprint_area, float* out, int channels) const;
    // Positions and extents as fractions of max_x and max_y.
    bool sample_unit(float u, float v, float du, float dv, float* out, int channels) const;
    // sample_pixel at many places with the same bits, four channels each (zeros where it answers false). No areas
    // (null): 1 for all. False without a valid pyramid, or with one on a
    // device.
    bool sample_points(const float* x, const float* y, const float* areas, int count, float* out) const;

    std::unique_ptr<ImagelibKernel> kernel;
    K7Image* levels[PYRAMID_LEVELS] = {};
    float inv_w = 0, inv_h = 0;  // 1 / (width - 1), 1 / (height - 1) of the base; 0 for a single pixel
    float max_x = 0, max_y = 0;  // width - 1, height - 1 of the base
    int top_level = 0;           // the coarsest
    bool owns_base = false;
    float inv_full = 1;                        // 1 / full value of the sample type
    std::unique_ptr<DeviceMipmap> gpu_mipmap;  // while the pyramid is on a device
    int gpu_status = 0;                        // what building it there answered
    bool cpu_only = true;
    int width = 0, height = 0;  // of the base

  private:
    friend bool image_pyramid_warp(const ImagelibPyramid*, const K7Image*, K7Image*);
    static void sample_anywhere(const void* pyramid, float x, float y, int level, float mix, float* out);
    bool sample_levels(float x, float y, int level, float mix, float* out, int channels) const;
    bool sample_level(float x, float y, int level, float* out, int channels) const;
    void build_levels(int kernel_type);
    void build_on_device(const K7Image* image, int kernel_type);
    bool warp_on_device(const K7Image* map, K7Image* destination) const;
    PyramidReading reading() const;

    PyramidView m_view;
    bool m_fast = false;  // four channels of floats, all levels there
};

// Every pixel of the destination (4 channels of floats) shows the pyramid at the place that the map (2 channels of
// floats, same size) gives. The footprint is the area that the map's neighbours span: sqrt(|dx * dy|) over two pixels,
// halved, squared. Places that are NaN come out as 0.
bool image_pyramid_warp(const ImagelibPyramid* pyramid, const K7Image* map, K7Image* destination);
