#include "imagelib/vignette_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

static inline Pixel darkened(Pixel pixel, float factor) {
    constexpr PixelMask COLOUR = {-1, -1, -1, 0};
    return COLOUR ? to_unit(pixel * factor) : pixel;
}

static void darken(const VignetteShape& v, int y, float* row, int count) {
    const Floats one = all<Floats>(1);
    const Floats order = counting<Floats>() + 0.5f - v.centre_x;
    const float dy = (float(y) + 0.5f - v.centre_y) * v.row_height;
    for (int x = 0; x < count; x += LANES) {
        const Floats dx = absolute(order + float(x)) - v.offset;
        const Floats distance = square_root(dx * dx + dy * dy);
        const Floats part = v.radius > 0.0f ? smaller(distance / v.radius, one) : one;
        const Floats factor = smaller((one - part) * v.slope, one);
        float factors[LANES];
        store(factors, factor);
        for (int i = 0; i < LANES && x + i < count; ++i) {
            float* pixel = row + 4 * (x + i);
            store(pixel, darkened(load<Pixel>(pixel), factors[i]));
        }
    }
}

}  // namespace

const VignetteRow vignette_row = darken;

}  // namespace QUILLON_SIMD
