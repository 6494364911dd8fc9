// The shears of a turn by an angle between 0 and 90 degrees, each about the middle of the picture.
#pragma once

#include "imagelib/imagelib_resample.h"

namespace resample {

// Row passes show x + offset - y * row_shear, the column pass between them y + offset - x * column_shear.
struct Shears {
    double row_shear, column_shear;  // column_shear < 0 <= row_shear
    int sheared_width;               // after the first
    int width, height;               // of the result
    double first_offset, second_offset, third_offset;

    Shears(const K7Image* image, double degrees);
};

// All three shears of a float RGBA picture with a filter of four taps, in bands that stay in the cache. False when
// out of memory.
bool shear_in_bands(const K7Image* image, K7Image* result, const Shears& shears, const ImagelibKernel& kernel);
bool suits_bands(const K7Image* image, const ImagelibKernel& kernel);

}  // namespace resample
