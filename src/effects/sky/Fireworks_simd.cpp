#include "effects/sky/Fireworks_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

// ---- Strokes --------------------------------------------------------------------------------------------------

// The bell (1 - u^2)^4, whose integral over -1 to 1 is 1 / BELL: close to a Gaussian, so that the product of two is
// nearly round. And its integral from -1 on.
constexpr float BELL = 315.0F / 256.0F;
static inline Floats integral(Floats u) {
    u = limited(u, Floats{} - 1.0F, Floats{} + 1.0F);
    const Floats s = u * u;
    return 0.5F + BELL * u * (1.0F + s * (-4.0F / 3.0F + s * (1.2F + s * (-4.0F / 7.0F + s * (1.0F / 9.0F)))));
}

struct Span {
    float first, last;
    // Keeps the x for which low < factor * x + offset < high.
    void keep(float factor, float offset, float low, float high) {
        if (factor > 1e-6F || factor < -1e-6F) {
            const float a = (low - offset) / factor, b = (high - offset) / factor;
            first = larger(first, smaller(a, b));
            last = smaller(last, larger(a, b));
        } else if (offset < low || offset > high) {
            last = first - 1.0F;
        }
    }
};

// (1 - d^2)^4 around the middle: rounder than two bells.
static void spot(const FireworkBand& band, const LightStroke& s, float first_row, float last_row) {
    constexpr float FIVE_OVER_PI = 1.5915494F;
    const float inverse = 1.0F / s.radius, strength = FIVE_OVER_PI * inverse * inverse;
    const float middle_x = 0.5F * (s.ax + s.bx), middle_y = 0.5F * (s.ay + s.by);
    const float begin = larger(middle_x - s.radius - 0.5F, 0.0F);
    const float end = smaller(middle_x + s.radius - 0.5F, float(band.width - 1));
    if (!(begin <= end)) return;
    const Floats lanes = counting<Floats>();
    for (int y = static_cast<int>(first_row); y <= static_cast<int>(last_row); ++y) {
        const float dy = ((float(y) + 0.5F) * band.row_height - middle_y) * inverse;
        const long row = long(y - band.first_row) * band.pitch;
        for (int x = static_cast<int>(begin); x <= static_cast<int>(end); x += LANES) {
            const Floats dx = ((lanes + (float(x) + 0.5F)) - middle_x) * inverse;
            const Floats rest = larger(1.0F - (dx * dx + dy * dy), Floats{}), square = rest * rest;
            const Floats weight = square * square * strength;
            for (int c = 0; c < 3; ++c) {
                float* out = band.planes[c] + row + x;
                store(out, load(out) + weight * s.light[c]);
            }
        }
    }
}

// A stroke is the convolution of its line with a bell along it and one across it.
static void stroke(const FireworkBand& band, const LightStroke& s) {
    const float reach = s.radius, inverse = 1.0F / reach;
    const float low = smaller(s.ay, s.by) - reach, high = larger(s.ay, s.by) + reach;
    const float first_row = larger(low / band.row_height - 0.5F, float(band.first_row));
    const float last_row = smaller(high / band.row_height - 0.5F, float(band.last_row));
    if (!(first_row <= last_row)) return;
    float ux = s.bx - s.ax, uy = s.by - s.ay;
    const float length = square_root(ux * ux + uy * uy);
    if (length < 0.4F * reach) return spot(band, s, first_row, last_row);
    ux /= length, uy /= length;
    const float scaled_length = length * inverse, strength = BELL * inverse / length;
    const Floats lanes = counting<Floats>();
    for (int y = static_cast<int>(first_row); y <= static_cast<int>(last_row); ++y) {
        const float dy = (float(y) + 0.5F) * band.row_height - s.ay;
        Span span{smaller(s.ax, s.bx) - s.ax - reach, larger(s.ax, s.bx) - s.ax + reach};
        span.keep(ux, dy * uy, -reach, length + reach);
        span.keep(-uy, dy * ux, -reach, reach);
        const float begin = larger(span.first + s.ax - 0.5F, 0.0F);
        const float end = smaller(span.last + s.ax - 0.5F, float(band.width - 1));
        if (!(begin <= end)) continue;
        const long row = long(y - band.first_row) * band.pitch;
        for (int x = static_cast<int>(begin); x <= static_cast<int>(end); x += LANES) {
            const Floats dx = (lanes + (float(x) + 0.5F)) - s.ax;
            const Floats along = (dx * ux + dy * uy) * inverse, across = (dy * ux - dx * uy) * inverse;
            const Floats rest = larger(1.0F - across * across, Floats{});
            const Floats square = rest * rest;
            const Floats reached = square * square * strength * (integral(along) - integral(along - scaled_length));
            // Beyond the span that would be rounding errors, in as many pixels as the vector has left.
            const Floats weight = lanes + float(x) <= all<Floats>(end) ? reached : Floats{};
            for (int c = 0; c < 3; ++c) {
                float* out = band.planes[c] + row + x;
                store(out, load(out) + weight * s.light[c]);
            }
        }
    }
}

static void strokes(const FireworkBand& band, const LightStroke* strokes, const std::uint32_t* order, int count) {
    for (int i = 0; i < count; ++i) stroke(band, strokes[order[i]]);
}

// ---- The picture ----------------------------------------------------------------------------------------------

// Close to 1 - exp(-light), which a film makes of light.
static inline Floats shoulder(Floats light) { return 1.0F - 1.0F / (1.0F + light + 0.5F * light * light); }
static inline Floats screened(Floats under, Floats light) {
    return under + light * larger(1.0F - larger(under, Floats{}), Floats{});
}

// Pixels next to each other, in the order of the planes' lanes.
static inline Floats in_lanes(const float* from, Ints order) { return picked(load(from), order); }

// Where some pixels are on the grid: cells from `first` on, as many at the most as a register holds.
struct OnGrid {
    int first;
    Ints cell;  // less the first one
    Floats part;

    Floats operator()(const float* cells) const {
        const Floats left = picked(load(cells + first), cell), right = picked(load(cells + first + 1), cell);
        return left + (right - left) * part;
    }
};

static void compose(const LitRow& row) {
    Ints order = {};
    for (int i = 0; i < LANES; ++i) order[i] = pixel_of(i);
    const auto lit = [&](Planes under, int x) {
        const int first = row.cells[x];
        const Ints cells = load(row.cells + x) - first;
        const OnGrid on_grid{first, (Ints)picked((Floats)cells, order), in_lanes(row.parts + x, order)};
        Floats light[3] = {};
        for (int c = 0; c < 3; ++c) {
            if (row.sharp[0]) light[c] = in_lanes(row.sharp[c] + x, order);
            light[c] = shoulder(light[c] + on_grid(row.soft[c]));
        }
        Floats* colours[] = {&under.r, &under.g, &under.b};
        for (int c = 0; c < 3; ++c) {
            Floats& v = *colours[c];
            if (row.ground[0]) {
                const Floats more = larger(v, Floats{}) * on_grid(row.ground[c]);
                v = screened(v, more / (1.0F + more));
            }
            v = screened(v, light[c]);
        }
        under.a = screened(under.a, larger(larger(light[0], light[1]), light[2]));
        return under;
    };
    for_planes(row.pixels, row.count, lit);
}

}  // namespace

const FireworkKernels firework_kernels = {strokes, compose};

}  // namespace QUILLON_SIMD
