// Private to Q_Numbers: the fields of a picture.
//
// The sheet is a raster of about 960 columns; one of its pixels is a square of `factor` pixels of the picture.
#pragma once

#include <cstdint>
#include <vector>

#include "imagelib/imagelib_palette.h"
#include "imagelib/imagelib_regions.h"

struct NumbersSettings {
    bool paint_box;
    int colours;
    std::uint32_t seed;
    float simplify;        // 0 to 1
    float smoothing;       // widths of the picture
    float smallest_field;  // widths of the picture
};

struct NumbersSheet {
    int factor = 1;
    float row_height = 1;  // of a pixel, in widths of it
    ImagePtr fields;       // of each pixel; into `found`
    ImagePtr depth;        // how far inside its field a pixel's centre lies, in pixels, up to `reach`
    float reach = 1;
    std::vector<PictureRegion> found;  // their labels count paints; places in pixels of the sheet
    int paints = 0;
    float paint[PALETTE_MOST][4]{};   // red, green, blue, 1
    float lightness[PALETTE_MOST]{};  // of Oklab
    std::vector<float> painted;       // of each field, 0 to 1
};

// False also when an end was asked for.
bool divide_into_fields(const K7Image& picture, const NumbersSettings& settings, NumbersSheet& sheet,
                        const StopRequested& stop);
