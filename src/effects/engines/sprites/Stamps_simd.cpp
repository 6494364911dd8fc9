// The four channels of a pixel side by side. Compiled once for each instruction set; all give the same bits.
#include "effects/engines/sprites/Stamps_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr PixelMask IS_ALPHA = {0, 0, 0, -1};

// Bilinear; clear outside.
static inline Pixel sample(const StampLevel& level, float u, float v) {
    u = limited(u * level.scale - 0.5f, -1.0f, float(level.width));
    v = limited(v * level.scale - 0.5f, -1.0f, float(level.height));
    const int column = floor_of(u), row = floor_of(v);
    const float tx = u - float(column), ty = v - float(row);
    const float* here = level.samples + 4 * (long(row) * level.pitch + column);
    const float* above = here + 4L * level.pitch;
    return (1 - ty) * ((1 - tx) * load<Pixel>(here) + tx * load<Pixel>(here + 4)) +
           ty * ((1 - tx) * load<Pixel>(above) + tx * load<Pixel>(above + 4));
}

static inline Pixel filtered(const StampPlace& place, float u, float v) {
    Pixel sum = {};
    const float begin = -0.5f * float(place.taps - 1);
    for (int i = 0; i < place.taps; ++i) {
        const float step = begin + float(i), at_u = u + step * place.tap_u, at_v = v + step * place.tap_v;
        const Pixel fine = sample(place.fine, at_u, at_v);
        sum += place.mix == 0 ? fine : fine + place.mix * (sample(place.coarse, at_u, at_v) - fine);
    }
    return place.taps == 1 ? sum : sum * (1 / float(place.taps));
}

// Narrows the columns to those where a linear function of the column can lie within the reach, and one beside each.
static inline void narrow(float slope, float offset, float reach, int& first, int& last) {
    if (slope < 1e-4f && slope > -1e-4f) return;
    const float a = (-reach - offset) / slope, b = (reach - offset) / slope;
    const float low = a < b ? a : b, high = a < b ? b : a;
    if (low > float(first)) first = floor_of(low < 1e6f ? low : 1e6f);
    if (high < float(last)) last = floor_of(high > -1e6f ? high : -1e6f) + 1;
}

enum Blend { OVER, ADD, SCREEN };

template <Blend BLEND>
static inline Pixel blended(Pixel ink, Pixel there) {
    const float alpha = ink[3];
    const Pixel over = ink + (1 - alpha) * there;
    if (BLEND == OVER) return over;
    Pixel light = there + ink;
    if (BLEND == SCREEN) {
        light = light - there * ink;
        light = larger(light, larger(there, ink));
    }
    return IS_ALPHA ? over : light;
}

template <Blend BLEND>
static void draw(const SplatTarget& target, const StampPlace& place) {
    const Pixel tint = load<Pixel>(place.tint);
    const int bottom = larger(place.first_row, target.first_row), top = smaller(place.last_row, target.last_row);
    const float middle_u = place.u0, middle_v = place.v0;
    for (int y = bottom; y <= top; ++y) {
        const float dy = float(y) - place.y, row_u = middle_u + place.uy * dy, row_v = middle_v + place.vy * dy;
        int first = place.first_column, last = place.last_column;
        narrow(place.ux, place.uy * dy - place.ux * place.x, place.reach_u, first, last);
        narrow(place.vx, place.vy * dy - place.vx * place.x, place.reach_v, first, last);
        float* out = target.pixels + y * target.pitch;
        for (int x = first; x <= last; ++x) {
            const float dx = float(x) - place.x;
            const Pixel ink = tint * filtered(place, row_u + place.ux * dx, row_v + place.vx * dx);
            const Pixel result = blended<BLEND>(ink, load<Pixel>(out + 4L * x));
            store(out + 4L * x, result);
        }
    }
}

}  // namespace

const StampKernels stamp_kernels = {draw<OVER>, draw<ADD>, draw<SCREEN>};

}  // namespace QUILLON_SIMD
