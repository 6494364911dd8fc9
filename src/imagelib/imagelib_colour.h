// Channels, luminance and tone of float RGBA images. Source and destination may be the same image.
#pragma once

#include "gpulib/gpulib_runtime.h"
#include "imagelib/imagelib.h"

// Of red, green and blue: the weights that effects and libraries share wherever they need one number for a colour.
GPU_AND_CPU float luminance(const float* rgb) { return 0.3f * rgb[0] + 0.5f * rgb[1] + 0.2f * rgb[2]; }

// `which`: 0 to 3 a channel, 4 the luminance 0.3 R + 0.5 G + 0.2 B. The value goes to R, G and B of dst, alpha is
// copied; any other value leaves the picture alone.
bool image_select_channel(const K7Image* src, K7Image* dst, int which);
bool image_luminance_in_place(K7Image* image, bool invert);  // into all four; inverted: max(1 - L, 0)
bool image_luminance_to_matte(const K7Image* src, K7Image* matte, bool invert);  // the matte has one channel
bool image_invert_rgb(K7Image* image);                                           // max(1 - c, 0)
bool image_band_pass(K7Image* image, float low,
                     float high);  // mean of R, G, B where it lies within, else 0; into all four

// R, G and B to the power 1 / gamma. Samples within 0 to 1 in 65536 steps, others exactly; what has no power (negative
// samples, NaN) becomes 0. Gamma above 0.
bool image_apply_gamma(const K7Image* src, K7Image* dst, float gamma);

// The window of dst's size at (x, y) of src, which must contain it. Any one channel count and sample type.
bool image_copy_rect(const K7Image* src, K7Image* dst, int x, int y);

// To luma and two colour differences and back, the luma through hyperbolic_tone(curve); from 3 channels on, the
// further ones copied. The way back is limited to 0 to 1.
bool image_rgb_to_yuv_curve(const K7Image* src, K7Image* dst, float curve);
bool image_yuv_curve_to_rgb(const K7Image* src, K7Image* dst, float curve);
