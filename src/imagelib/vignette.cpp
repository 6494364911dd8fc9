#include <atomic>

#include "imagelib/imagelib_vignette.h"
#include "imagelib/samples.h"
#include "simdlib/cpu.h"

bool image_vignette(K7Image* image, const VignetteShape& vignette, const StopRequested& stop) {
    if (!is_float_rgba(image)) return false;
    const VignetteRow darken = vignette_row();
    image->stats_valid = 0;
    std::atomic<bool> complete{true};
    for_rows_float(image->height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            if (stop && stop()) {
                complete = false;
                return;
            }
            darken(vignette, y, image_row<float>(image, y), image->width);
        }
    });
    return complete;
}
