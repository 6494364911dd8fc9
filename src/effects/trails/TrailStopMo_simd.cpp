#include "effects/trails/TrailStopMo_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

enum Key { WHOLE_FRAME = 1, ALPHA, DIFFERENCE, BRIGHT };
enum Mode { OVER = 1, LIGHTEN, SCREEN, ADD, DARKEN };

static inline Floats larger_of(Floats a, Floats b) { return a > b ? a : b; }
static inline Floats magnitude(Floats v) { return v < 0.0F ? -v : v; }
static inline Floats unit(Floats v) {
    const Floats low = v > 0.0F ? v : Floats{};
    return low < 1.0F ? low : Floats{} + 1.0F;
}
static inline Floats luminance(const Planes& p) { return 0.3F * p.r + 0.5F * p.g + 0.2F * p.b; }
static inline Floats gentle_step(Floats v, float low, float high) {
    const Floats t = unit((v - low) * (1.0F / (high - low)));
    return t * t * (3.0F - 2.0F * t);
}

static inline Floats key_of(const LayerKey& key, const Planes& c, const float* plate, int left) {
    if (key.kind == ALPHA) return unit(c.a);
    if (key.kind == BRIGHT) return gentle_step(luminance(c), key.low, key.high);
    if (key.kind == DIFFERENCE) {
        const Planes p = load_planes(plate, left);
        const Floats d = larger_of(larger_of(magnitude(c.r - p.r), magnitude(c.g - p.g)), magnitude(c.b - p.b));
        return gentle_step(d, key.low, key.high);
    }
    return Floats{} + 1.0F;
}

static void key(const LayerKey& key, const float* plate, float* picture, int count) {
    for (int x = 0; x < count; x += LANES, plate += 4 * LANES, picture += 4 * LANES) {
        const int left = count - x;
        const Planes c = load_planes(picture, left);
        const Floats share = key_of(key, c, plate, left);
        store_planes(picture, {c.r * share, c.g * share, c.b * share, share}, left);
    }
}

static inline Floats laid(int mode, Floats below, Floats copy, Floats share) {
    switch (mode) {
        case LIGHTEN:
            return below + share * (larger_of(below, copy) - below);
        case SCREEN:  // of values above 1 the larger stays
            return below + share * (larger_of(below + copy - below * copy, larger_of(below, copy)) - below);
        case ADD:
            return below + share * copy;
        case DARKEN:
            return below + share * ((copy < below ? copy : below) - below);
        default:
            return below + share * (copy - below);
    }
}

static void lay(const LayerLook& look, const float* copy, const float* matte, float* result, int count) {
    const auto& m = look.colours;
    for (int x = 0; x < count; x += LANES, copy += 4 * LANES, result += 4 * LANES) {
        const int left = count - x;
        const Planes c = load_planes(copy, left);
        Floats share = unit(c.a) * look.opacity;
        const Floats whole = 1.0F / (c.a > 1e-6F ? c.a : Floats{} + 1.0F);
        if (matte) share *= unit(luminance(load_planes(matte + 4L * x, left)));
        Planes r = load_planes(result, left);
        const auto colour = [&](int i) { return (m[i][0] * c.r + m[i][1] * c.g + m[i][2] * c.b) * whole; };
        r.r = laid(look.mode, r.r, colour(0), share);
        r.g = laid(look.mode, r.g, colour(1), share);
        r.b = laid(look.mode, r.b, colour(2), share);
        r.a += share * (1.0F - r.a);
        store_planes(result, r, left);
    }
}

}  // namespace

const LayerRows layer_rows = {key, lay};

}  // namespace QUILLON_SIMD
