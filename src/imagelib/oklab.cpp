#include "imagelib/imagelib_palette.h"
#include "imagelib/palette_simd.h"
#include "imagelib/samples.h"

namespace {

bool convert_rows(const K7Image* source, K7Image* result, const StopRequested& stop,
                  void (*convert)(const float*, float*, int)) {
    if (!is_float_rgba(source) || !is_float_rgba(result) || !image_same_layout(source, result)) return false;
    result->stats_valid = 0;
    return each_row_float(
        source->height, [&] { return wants_end(stop); },
        [&](int y) { convert(image_row<float>(source, y), image_row<float>(result, y), source->width); });
}

}  // namespace

void oklab_from_rgb(const float* rgba, float* laba, int count) { palette_kernels().to_oklab(rgba, laba, count); }
void rgb_from_oklab(const float* laba, float* rgba, int count) { palette_kernels().to_rgb(laba, rgba, count); }

bool image_to_oklab(const K7Image* rgb, K7Image* oklab, const StopRequested& stop) {
    return convert_rows(rgb, oklab, stop, palette_kernels().to_oklab);
}
bool image_from_oklab(const K7Image* oklab, K7Image* rgb, const StopRequested& stop) {
    return convert_rows(oklab, rgb, stop, palette_kernels().to_rgb);
}

bool image_nearest_colours(const K7Image* oklab, const Palette& palette, K7Image* labels, const StopRequested& stop) {
    if (!is_float_rgba(oklab) || !is_label_image(labels, oklab->width, oklab->height)) return false;
    if (palette.count < 1 || palette.count > PALETTE_MOST) return false;
    labels->stats_valid = 0;
    const auto nearest = palette_kernels().nearest;
    return each_row_float(
        oklab->height, [&] { return wants_end(stop); },
        [&](int y) {
            nearest(image_row<float>(oklab, y), oklab->width, palette.l, palette.a, palette.b, palette.count,
                    image_row<std::uint32_t>(labels, y), nullptr);
        });
}
