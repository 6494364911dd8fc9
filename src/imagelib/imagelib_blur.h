// Blurs: three passes of a box filter along each axis.
//
// A radius is the half-width of the box in pixels: r means a box of 2r + 1 pixels, three of which come close to a
// Gaussian with a variance of r (r + 1). Between whole radii the results of the two neighbouring boxes are mixed
// (fractions up to 0.01 count as none). A radius is limited to half the line's pixels, rounded down; 0, less, or not a
// number is no blur.
//
// `mask`: channel i is blurred where bit i is set, other channels stay. Mask 0 is true at once. The cost does not
// depend on the radius; a fractional radius costs about twice a whole one.
//
// Integer samples are rounded. Float samples are not limited; a flat area stays flat to the bit, and no result is
// below the smallest sample of its line. A NaN or an infinity spoils the lines that it lies on. Without memory the
// answer is false, and some lines are blurred.
#pragma once

#include "imagelib/imagelib.h"

// Edge pixels repeat beyond the image, in each pass anew.
bool image_gaussian_blur(K7Image* image, float x_radius, float y_radius, int mask);
// Through image_to_layout (B-spline) where the layouts differ.
bool image_gaussian_blur_to(const K7Image* source, K7Image* destination, float x_radius, float y_radius, int mask);

// The image repeats beyond its edges: for textures that tile.
bool image_wrap_blur(K7Image* image, float x_radius, float y_radius, int mask);
bool image_wrap_blur_to(const K7Image* source, K7Image* destination, float x_radius, float y_radius, int mask);

// What image_wrap_blur makes of a wave of so many periods along a line of `length` samples: its amplitude is multiplied
// by this. 1 for 0 periods and for radii that do not blur. Up to length / 2 periods.
double image_wrap_blur_gain(float radius, int length, int periods);
