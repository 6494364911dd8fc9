// Radial line integral convolution: the picture smeared along lines to or from a centre.
//
// Every pixel becomes the mean of the source along a straight line that starts at the pixel and points to the centre.
// Its length is `speed` times the distance from a clear shape around the centre; a negative speed turns the line
// outwards. The line is walked in steps of 1/samples pixel along its longer axis (the pixel itself is the first
// sample), each position truncated to a pixel and clamped to the image.
//
// - Source and destination are two different images of the same layout, 4 channels of floats.
// - Positions are those of exact arithmetic, but one that lies less than 2^-16 pixel below a whole number counts as
//   that number, so that lines of rational slope do not depend on rounding. A line has at most 2^20 steps.
// - Below `rsoft` from the clear shape the result fades into the source.
// - Parameters that are not finite are refused; fewer than one sample counts as one.
#pragma once

#include "imagelib/imagelib.h"

// The clear shape is a circle of radius `rclear` (fewer than 3 sides) or a regular polygon with its corners on that
// circle, turned by `rotation` degrees. Distances are pixels divided by the source's pixel height (along x) and pixel
// width (along y). More than 1024 sides count as a circle.
bool image_radial_lic(const K7Image* source, K7Image* destination, float cx, float cy, float rclear, float speed,
                      int samples, float rsoft, int sides, float rotation);

// The clear shape is what the screen shows: on the way from the centre to the pixel every sub-step takes
// (luminance - threshold) / (1 - threshold) of itself off the distance. Screen pixels darker than the threshold
// therefore lengthen the line. The walk ends where it leaves the screen, which is 4 channels of floats of any size.
// Thresholds above 0.999 count as 0.999.
bool image_radial_lic_screened(const K7Image* source, const K7Image* screen, K7Image* destination, float cx, float cy,
                               float speed, int samples, float rsoft, float threshold);
