#include "imagelib/palette_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

// ---- Roots ------------------------------------------------------------------------------------------------------
// The exponent divided by the root's degree is a first guess (within 6 %), Halley's or Newton's method does the rest.

QUILLON_VECTOR Floats guessed_root(Floats v, float part, int offset) {
    return (Floats)(to_ints(to_floats((Ints)v) * part) + offset);
}
QUILLON_VECTOR Floats cube_root(Floats v) {
    Floats r = guessed_root(v, 1.0f / 3.0f, 709921077);
    for (int i = 0; i < 2; ++i) {
        const Floats cube = r * r * r;
        r = r * ((cube + 2.0f * v) / (2.0f * cube + v));
    }
    return v > 1e-30f ? r : Floats{};
}
QUILLON_VECTOR Floats fifth_root(Floats v) {
    Floats r = guessed_root(v, 0.2f, 852282573);
    for (int i = 0; i < 3; ++i) {
        const Floats square = r * r;
        r = (4.0f * r + v / (square * square)) * 0.2f;
    }
    return r;
}

// ---- The curve of sRGB ------------------------------------------------------------------------------------------

QUILLON_VECTOR Floats decoded(Floats v) {
    const Floats sample = limited(v, Floats{}, Floats{} + 65504.0f);
    const Floats raised = (sample + 0.055f) * (1.0f / 1.055f), root = fifth_root(raised);
    return sample <= 0.04045f ? sample * (1.0f / 12.92f) : raised * raised * (root * root);
}
QUILLON_VECTOR Floats coded(Floats v) {
    const Floats light = larger(v, Floats{}), root = cube_root(light);
    return light <= 0.0031308f ? light * 12.92f : 1.055f * root * square_root(square_root(root)) - 0.055f;
}

// ---- Oklab ------------------------------------------------------------------------------------------------------

QUILLON_VECTOR Floats mixed(const Planes& p, float x, float y, float z) { return p.r * x + p.g * y + p.b * z; }

QUILLON_VECTOR Planes oklab(const Planes& rgb) {
    const Planes light{decoded(rgb.r), decoded(rgb.g), decoded(rgb.b), rgb.a};
    const Planes cones{cube_root(mixed(light, 0.4122214708f, 0.5363325363f, 0.0514459929f)),
                       cube_root(mixed(light, 0.2119034982f, 0.6806995451f, 0.1073969566f)),
                       cube_root(mixed(light, 0.0883024619f, 0.2817188376f, 0.6299787005f)), rgb.a};
    return {mixed(cones, 0.2104542553f, 0.7936177850f, -0.0040720468f),
            mixed(cones, 1.9779984951f, -2.4285922050f, 0.4505937099f),
            mixed(cones, 0.0259040371f, 0.7827717662f, -0.8086757660f), rgb.a};
}
QUILLON_VECTOR Floats cubed(Floats v) { return v * v * v; }
QUILLON_VECTOR Planes rgb(const Planes& lab) {
    const Planes cones{cubed(mixed(lab, 1.0f, 0.3963377774f, 0.2158037573f)),
                       cubed(mixed(lab, 1.0f, -0.1055613458f, -0.0638541728f)),
                       cubed(mixed(lab, 1.0f, -0.0894841775f, -1.2914855480f)), lab.a};
    return {coded(mixed(cones, 4.0767416621f, -3.3077115913f, 0.2309699292f)),
            coded(mixed(cones, -1.2684380046f, 2.6097574011f, -0.3413193965f)),
            coded(mixed(cones, -0.0041960863f, -0.7034186147f, 1.7076147010f)), lab.a};
}

static void to_oklab(const float* rgba, float* laba, int count) {
    for (int x = 0; x < count; x += LANES)
        store_planes(laba + 4L * x, oklab(load_planes(rgba + 4L * x, count - x)), count - x);
}
static void to_rgb(const float* laba, float* rgba, int count) {
    for (int x = 0; x < count; x += LANES)
        store_planes(rgba + 4L * x, rgb(load_planes(laba + 4L * x, count - x)), count - x);
}

static void nearest(const float* laba, int count, const float* l, const float* a, const float* b, int colours,
                    std::uint32_t* labels, float* distances) {
    for (int x = 0; x < count; x += LANES) {
        const Planes pixel = load_planes(laba + 4L * x, count - x);
        Floats best = Floats{} + 3e38f;
        Ints which = {};
        for (int i = 0; i < colours; ++i) {
            const Floats dl = pixel.r - l[i], da = pixel.g - a[i], db = pixel.b - b[i];
            const Floats distance = dl * dl + da * da + db * db;
            const auto nearer = distance < best;
            best = nearer ? distance : best;
            which = nearer ? Ints{} + i : which;
        }
        for (int lane = 0; lane < LANES; ++lane) {
            const int place = x + pixel_of(lane);
            if (place >= count) continue;
            labels[place] = static_cast<std::uint32_t>(which[lane]);
            if (distances) distances[place] = best[lane];
        }
    }
}

}  // namespace

const PaletteKernels palette_kernels = {to_oklab, to_rgb, nearest};

}  // namespace QUILLON_SIMD
