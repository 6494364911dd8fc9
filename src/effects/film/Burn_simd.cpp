#include "effects/film/Burn_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

// ---- Grade ----------------------------------------------------------------------------------------------------

// Saturation in the HSV model, hue and value kept: the distance of every channel from the largest scales alike, up to
// where the smallest one reaches 0.
static inline Planes saturated(const Planes& film, float factor) {
    const Floats zero = {};
    const Floats value = larger(larger(film.r, film.g), film.b);
    const Floats range = value - smaller(smaller(film.r, film.g), film.b);
    const Floats most = value / (range > zero ? range : zero + 1.0F);
    const Floats scale = range > zero ? smaller(zero + factor, most) : zero;
    return {larger(value - (value - film.r) * scale, zero), larger(value - (value - film.g) * scale, zero),
            larger(value - (value - film.b) * scale, zero), film.a};
}

static void grade(const FilmGrade& how, float* pixels, int count) {
    for_planes(pixels, count, [&](const Planes& film, int) -> Planes {
        const Floats r = to_unit(how.gain * film.r + how.lift);
        if (how.stock == FilmGrade::BLACK_AND_WHITE) return {r, r, r, film.a};
        const Floats g = to_unit(how.gain * film.g + how.lift);
        const Floats b = to_unit(how.gain * film.b + how.lift);
        if (how.stock == FilmGrade::TINTED) {
            const Floats grey = 0.3F * r + 0.5F * g + 0.2F * b;
            return {to_unit(grey * how.factors[0]), to_unit(grey * how.factors[1]), to_unit(grey * how.factors[2]),
                    film.a};
        }
        const Planes balanced = {to_unit(r * how.factors[0]), to_unit(g * how.factors[1]), to_unit(b * how.factors[2]),
                                 film.a};
        return how.saturation == 1.0F ? balanced : saturated(balanced, how.saturation);
    });
}

// ---- Scorch ---------------------------------------------------------------------------------------------------

static void scorch(const ScorchTable& table, const float* depth, const float* heat, const float* molten, float* pixels,
                   int count) {
    for (int i = 0; i < count; ++i, molten += 4, pixels += 4) {
        float place = (depth[i] - table.first) * table.scale;
        if (!(place > 0.0F)) continue;  // the heat has not come here
        place = place < static_cast<float>(SCORCH_ENTRIES) ? place : static_cast<float>(SCORCH_ENTRIES);
        int entry = static_cast<int>(place);
        entry = entry < SCORCH_ENTRIES ? entry : SCORCH_ENTRIES - 1;
        const float part = place - static_cast<float>(entry);
        const float *here = table.values[entry], *next = table.values[entry + 1];
        const Pixel keep = load<Pixel>(here) + part * (load<Pixel>(next) - load<Pixel>(here));
        const Pixel add = load<Pixel>(here + 4) + part * (load<Pixel>(next + 4) - load<Pixel>(here + 4));
        const Pixel still = load<Pixel>(pixels);
        Pixel value = to_unit((still + heat[i] * (load<Pixel>(molten) - still)) * keep + add);
        if (table.grey) value[1] = value[2] = value[0];
        store(pixels, value);
    }
}

}  // namespace

const BurnKernels burn_kernels = {grade, scorch};

}  // namespace QUILLON_SIMD
