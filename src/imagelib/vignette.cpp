#include "imagelib/imagelib_vignette.h"
#include "imagelib/samples.h"
#include "simdlib/cpu.h"

bool image_vignette(K7Image* image, const VignetteShape& vignette, const StopRequested& stop) {
    if (!is_float_rgba(image)) return false;
    const VignetteRow darken = vignette_row();
    image->stats_valid = 0;
    return each_row_float(
        image->height, [&] { return wants_end(stop); },
        [&](int y) { darken(vignette, y, image_row<float>(image, y), image->width); });
}
