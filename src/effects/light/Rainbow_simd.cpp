#include "effects/light/Rainbow_simd.h"

#include "simdlib/elementary.h"
#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

constexpr float RED = 0.3f, GREEN = 0.5f, BLUE = 0.2f;
constexpr float TWO_PI = 6.2831854820251465f;           // the nearest float: the wrap of an angle
constexpr float TWO_PI_OF_SPANS = 6.2831830978393555f;  // five steps below it

static inline Floats angles(Floats dy, Floats dx) {
    alignas(64) float y[LANES], x[LANES], angle[LANES];
    store(y, dy), store(x, dx);
    constexpr int PART = COUNT_OF<Doubles>;
    for (int i = 0; i < LANES; i += PART) {
        Doubles py, px;
        for (int j = 0; j < PART; ++j) py[j] = double(y[i + j]), px[j] = double(x[i + j]);
        const Doubles a = elementary::atan2(py, px);
        for (int j = 0; j < PART; ++j) angle[i + j] = static_cast<float>(a[j]);
    }
    const Floats a = load(angle);
    return a < 0.0f ? a + TWO_PI : a;
}

// How much of the bows is seen in a direction, 0 to 1.
static inline Floats arc_factor(const RainbowArc& arc, Floats dy, Floats dx) {
    const Floats zero = {}, one = zero + 1.0f;
    if (arc.full) return one;
    const Floats angle = angles(dy, dx);
    const Ints after = angle >= arc.start, before = angle <= arc.end;
    const Ints inside = arc.start > arc.end ? after | before : after & before;
    Floats from_start = angle - arc.start;
    from_start = from_start < 0.0f ? from_start + TWO_PI_OF_SPANS : from_start;
    Floats a = one;
    if (arc.inverse_fade > 0.0f) a = to_unit(smaller(from_start, arc.span - from_start) * arc.inverse_fade);
    if (arc.smooth) a = (3.0f - 2.0f * a) * a * a;
    return inside ? a : zero;
}

static void rainbow(const RainbowShape& shape, int y, const float* source, const float* atmosphere, float* out,
                    int count) {
    const Floats zero = {}, one = zero + 1.0f;
    const Floats dy = zero + (float(y) - shape.centre_y) * shape.row_height;
    for (int x = 0; x < count; x += LANES, source += 4 * LANES, out += 4 * LANES) {
        const int left = count - x < LANES ? count - x : LANES;
        const Floats dx = lane_pixels() + (float(x) - shape.centre_x);
        const Floats r = square_root(dx * dx + dy * dy);
        const Floats ux = r > 1e-10f ? dx / r : zero;
        const Floats narrowing = one / (larger(ux * shape.widening, zero) + 1.0f);
        Floats red = zero, green = zero, blue = zero, cover = zero, inner = zero, seen = zero;
        bool seen_known = false;
        for (int i = 0; i < shape.count; ++i) {
            const RainbowBow& bow = shape.bows[i];
            const Floats t = to_unit((r - bow.middle) * (narrowing * bow.inverse_width) + 0.5f);
            inner += (3.0f - 2.0f * t) * t * t;
            const Ints inside = (t > zero) & (t < one);
            if (all_set(~inside)) continue;
            if (!seen_known) {
                seen = arc_factor(shape.arc, dy, dx);
                if (atmosphere) {
                    const Planes air = load_planes(atmosphere + 4 * x, left);
                    seen *= to_unit(RED * air.r + GREEN * air.g + BLUE * air.b);
                }
                seen_known = true;
            }
            const Ints row = to_ints((inside ? t : zero) * float(RAINBOW_ROWS));
            const Floats light = (inside ? seen : zero) * bow.gain;
            red += light * gather(bow.colours->red, row);
            green += light * gather(bow.colours->green, row);
            blue += light * gather(bow.colours->blue, row);
            cover += (inside ? seen : zero) * bow.density * gather(bow.colours->cover, row);
        }
        const Floats behind = larger(one - shape.darkening * inner, zero);
        const Floats keep = behind * (one - smaller(cover, one));
        Planes p = shape.black ? Planes{} : load_planes(source, left);
        p.r = red + keep * p.r, p.g = green + keep * p.g, p.b = blue + keep * p.b;
        p.a = p.a * behind + BLUE * blue + RED * red + GREEN * green;
        store_planes(out, p, left);
    }
}

}  // namespace

const RainbowRow rainbow_row = rainbow;

}  // namespace QUILLON_SIMD
