#include "effects/engines/television/Monitor_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

static inline Floats limited(Floats v, float low, float high) {
    const Floats a = v > low ? v : Floats{} + low;
    return a < high ? a : Floats{} + high;
}

// Places on the glass count from -1 to 1 over the picture. Curved glass shows a point of it nearer to the middle than a
// flat one would, the more so along the sides' middles.
static void show(const MonitorGlass& glass, int y, float* out) {
    alignas(64) int column[LANES], line[LANES];
    alignas(64) float across[LANES], up[LANES], light[LANES];
    const float py = (float(y) + 0.5F) * 2.0F / float(glass.height) - 1.0F;
    const float step = 2.0F / float(glass.width);
    const Pixel tint = {glass.tint[0], glass.tint[1], glass.tint[2], 1.0F};
    Floats place = {};
    for (int i = 0; i < LANES; ++i) place[i] = float(i) + 0.5F;
    for (int x = 0; x < glass.width; x += LANES, out += 4 * LANES) {
        const int left = glass.width - x < LANES ? glass.width - x : LANES;
        const Floats px = (place + float(x)) * step - 1.0F;
        const Floats qx = px * (1.0F + glass.curvature * (py * py));
        const Floats qy = py * (1.0F + glass.curvature * (px * px));
        // How much of the pixel lies on the glass.
        const Floats inside_x =
            limited((1.0F - (qx < 0.0F ? -qx : qx)) * (0.5F * float(glass.width)) + 0.5F, 0.0F, 1.0F);
        const Floats inside_y =
            limited((1.0F - (qy < 0.0F ? -qy : qy)) * (0.5F * float(glass.height)) + 0.5F, 0.0F, 1.0F);
        const Floats place_up = limited(qy * 0.5F + 0.5F, 0.0F, 1.0F);
        // The lines are the tube's and stay; the picture slips over them, with black between one and the next.
        Floats v = place_up - glass.rolled * glass.span;
        v = v < 0.0F ? v + glass.span : v;
        const Floats shown = limited((1.0F - v) * float(glass.height) + 1.0F, 0.0F, 1.0F);
        v = limited(v, 0.0F, 1.0F);
        const Floats far = limited((qx * qx + qy * qy) * 0.5F, 0.0F, 1.0F);
        const Floats entry = place_up * float(glass.lines * glass.entries_a_line);
        const Floats bright = gather(glass.brightness, to_ints(entry));
        store(light, bright * inside_x * inside_y * shown * (1.0F - glass.vignette * far * far));
        const Floats cx = limited((qx * 0.5F + 0.5F) * float(glass.columns) - 0.5F, 0.0F, float(glass.columns - 1));
        const Floats cy = limited(v * float(glass.lines) - 0.5F, 0.0F, float(glass.lines - 1));
        const Ints column_of = to_ints(cx), line_of = to_ints(cy);
        store(across, cx - to_floats(column_of));
        store(up, cy - to_floats(line_of));
        __builtin_memcpy(column, &column_of, sizeof column);
        __builtin_memcpy(line, &line_of, sizeof line);
        for (int i = 0; i < left; ++i) {
            const int right = column[i] + 1 < glass.columns ? 4 : 0;
            const long above = line[i] + 1 < glass.lines ? glass.pitch : 0;
            const float* at = glass.picture + long(line[i]) * glass.pitch + 4L * column[i];
            const Pixel a = load<Pixel>(at), b = load<Pixel>(at + right);
            const Pixel c = load<Pixel>(at + above), d = load<Pixel>(at + above + right);
            const Pixel low = a + across[i] * (b - a), high = c + across[i] * (d - c);
            const Pixel value = low + up[i] * (high - low);
            Pixel shaded = value * (tint * light[i]);
            shaded[3] = value[3];
            store(out + 4 * i, shaded);
        }
    }
}

}  // namespace

const MonitorRows monitor_rows = {show};

}  // namespace QUILLON_SIMD
