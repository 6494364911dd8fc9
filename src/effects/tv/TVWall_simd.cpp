#include "effects/tv/TVWall_simd.h"

#include "noiselib/place_hash.h"
#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

static inline Floats limited(Floats v, float low, float high) {
    const Floats a = v > low ? v : Floats{} + low;
    return a < high ? a : Floats{} + high;
}
static inline Floats magnitude(Floats v) { return v < 0.0F ? -v : v; }
static inline Floats root(Floats v) {
    for (int i = 0; i < LANES; ++i) v[i] = __builtin_sqrtf(v[i]);
    return v;
}
static inline Floats floors(Floats v) {  // within the range of integers
    const Floats cut = to_floats(to_ints(v));
    return cut > v ? cut - 1.0F : cut;
}

// Distance from a rectangle with half sides a and b, rounded by r; below 0 inside.
static inline Floats rounded_box(Floats x, Floats y, float a, float b, float r) {
    const Floats dx = magnitude(x) - (a - r), dy = magnitude(y) - (b - r);
    const Floats ox = dx > 0.0F ? dx : Floats{}, oy = dy > 0.0F ? dy : Floats{};
    const Floats inner = dx > dy ? dx : dy;
    return root(ox * ox + oy * oy) + (inner < 0.0F ? inner : Floats{}) - r;
}

static void locate(const WallShape& shape, int y, const WallRow& row) {
    const float* h = shape.to_wall;
    const float py = (float(y) + 0.5F) / float(shape.height), step = 1.0F / float(shape.width);
    const float half_x = 1.0F - shape.gap, half_y = shape.tallness - shape.gap;
    const float glass_x = half_x - shape.bezel, glass_y = half_y - shape.bezel;
    const float columns = float(shape.columns), rows = float(shape.rows);
    Floats lane = {};
    for (int i = 0; i < LANES; ++i) lane[i] = float(i) + 0.5F;
    for (int x = 0; x < shape.width; x += LANES) {
        const Floats px = (lane + float(x)) * step;
        const Floats w = h[6] * px + (h[7] * py + h[8]);
        const Ints ahead = w > 1e-6F;
        const Floats inverse = 1.0F / (ahead ? w : Floats{} + 1.0F);
        const Floats wx = (h[0] * px + (h[1] * py + h[2])) * inverse, wy = (h[3] * px + (h[4] * py + h[5])) * inverse;
        // Cells that a pixel covers, to the right and upwards.
        const Floats xx = magnitude((h[0] - wx * h[6]) * inverse) * (step * columns);
        const Floats xy = magnitude((h[1] - wx * h[7]) * inverse) * (columns / float(shape.height));
        const Floats yx = magnitude((h[3] - wy * h[6]) * inverse) * (step * rows);
        const Floats yy = magnitude((h[4] - wy * h[7]) * inverse) * (rows / float(shape.height));
        const Floats across = xx + xy, up = yx + yy;
        const Floats cx = limited(wx * columns, -2.0F, columns + 2.0F), cy = limited(wy * rows, -2.0F, rows + 2.0F);
        // Distances count in half widths of a cell; `pixel` is the size of one there.
        const Floats high = 2.0F * shape.tallness * up, wide = 2.0F * across;
        const Floats pixel = limited(high > wide ? high : wide, 1e-6F, 1e6F);
        const Floats per_pixel = 1.0F / pixel;
        const Floats beside_x = magnitude(cx - 0.5F * columns) - 0.5F * columns;
        const Floats beside_y = magnitude(cy - 0.5F * rows) - 0.5F * rows;
        const Floats beside = 2.0F * (beside_x > shape.tallness * beside_y ? beside_x : shape.tallness * beside_y);
        const Floats on_wall = ahead ? limited(0.5F - beside * per_pixel, 0.0F, 1.0F) : Floats{};
        const Floats column = limited(floors(cx), 0.0F, columns - 1.0F), line = limited(floors(cy), 0.0F, rows - 1.0F);
        const Floats lx = 2.0F * (cx - column) - 1.0F, ly = shape.tallness * (2.0F * (cy - line) - 1.0F);
        const Floats casing = rounded_box(lx, ly, half_x + shape.bleed, half_y + shape.bleed, shape.casing_rounding);
        const Floats glass = rounded_box(lx, ly, glass_x + shape.bleed, glass_y + shape.bleed, shape.glass_rounding);
        const Floats sx = lx * (1.0F / glass_x), sy = ly * (1.0F / glass_y);
        const Floats qx = sx * (1.0F + shape.curvature * (sy * sy - 1.0F)),
                     qy = sy * (1.0F + shape.curvature * (sx * sx - 1.0F));
        store(row.rack + x, on_wall);
        const Floats on_casing = limited(0.5F - casing * per_pixel, 0.0F, 1.0F);
        store(row.casing + x, on_casing < on_wall ? on_casing : on_wall);
        const Floats on_glass = limited(0.5F - glass * per_pixel, 0.0F, 1.0F);
        store(row.glass + x, on_glass < on_wall ? on_glass : on_wall);
        store(row.u + x, limited(qx * 0.5F + 0.5F, 0.0F, 1.0F));
        store(row.v + x, limited(qy * 0.5F + 0.5F, 0.0F, 1.0F));
        store(row.du + x, across * (1.0F / glass_x));
        store(row.dv + x, up * (shape.tallness / glass_y));
        const Ints cell = to_ints(line * columns + column);
        store(row.cell + x, on_wall > 0.0F ? cell : Ints{} - 1);
    }
}

// Snow of a screen: one value for each of its dots, less of it where many dots share a pixel.
static inline float snow(const ScreenLook& screen, float u, float v, float dots, int lines) {
    const auto column = std::uint32_t(u * float(lines) * 1.3333F), line = std::uint32_t(v * float(lines));
    const float grain = unit_of(place_hash(screen.seed, line * 4096U + column));
    const float kept = dots > 1.0F ? 1.0F / dots : 1.0F;
    return 0.36F + (grain * grain * 1.1F - 0.36F) * kept;
}

static void shine(const WallLight& light, const WallRow& row, int width, float* out) {
    for (int x = 0; x < width; ++x) {
        if (row.glass[x] <= 0.0F) continue;
        const ScreenLook& screen = light.screens[row.cell[x]];
        Pixel value = load<Pixel>(light.samples + 4 * x);
        const float dots = row.dv[x] * float(light.lines);
        if (screen.snow > 0.0F) {
            const float level = snow(screen, row.u[x], row.v[x], dots, light.lines);
            value = Pixel{level, level, level, 1.0F};
        }
        // Averaged over the pixel, lines lose their contrast, down to none at two thirds of a line.
        const float seen = dots < 0.66F ? 1.0F - dots * 1.5F : 0.0F;
        const float place = row.v[x] * float(light.lines);
        const int entry = int((place - float(int(place))) * float(WAVE_ENTRIES));
        const float bright = 1.0F - light.scan_lines * seen * 0.5F * light.wave[entry];
        // A window, slanting, in the upper part of the glass.
        const float slant = row.v[x] * 1.25F + row.u[x] * 0.35F - 0.85F;
        const float band = slant > 0.0F && slant < 0.4F ? slant * (0.4F - slant) * 25.0F : 0.0F;
        Pixel result = value * load<Pixel>(screen.gain) * bright + light.reflection * band;
        result[3] = 1.0F;
        store(out + 4 * x, result);
    }
}

}  // namespace

const WallRows wall_rows = {locate, shine};

}  // namespace QUILLON_SIMD
