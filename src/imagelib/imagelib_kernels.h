// Small one-channel float images to stamp or to convolve with. Not normalised: the centre is 1. Null for sizes that no
// image can have, or that are not numbers.
#pragma once

#include "imagelib/imagelib.h"

// A star of four points, `size` pixels from the centre to the tips: 2 * ceil(size) + 1 pixels a side, turned by
// `angle` degrees (a turned star is in a larger image). Sizes below 0.01 count as 0.01.
K7Image* image_make_star_kernel(float size, float angle);

// exp(-d^2 / 2s^2) at distance d, with s a third of the radius: 2 * ceil(radius) + 3 pixels a side. Radii below 0.01
// count as 0.01.
K7Image* image_make_gaussian_kernel(float radius);
