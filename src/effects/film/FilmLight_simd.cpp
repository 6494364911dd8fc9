#include "effects/film/FilmLight.h"
#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

static inline Floats smooth_step(Floats t) {
    t = to_unit(t);
    return (3.0F - 2.0F * t) * t * t;
}

// The light of some pixels: the strength of each band, and of all together.
struct Light {
    Floats red, yellow, white, sum;
};

// What a light adds to the picture's colours.
struct Added {
    Floats r, g, b;
};

static inline Added operator+(const Added& a, const Added& b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }

static inline Added red_light(const FilmLight& how, Floats strength, Floats gain) {
    const Floats tint = strength * gain;  // the red band takes from green and blue what it gives to red
    return {strength * how.fog + tint, -tint, -tint};
}
static inline Added yellow_light(const FilmLight& how, Floats strength, Floats gain) {
    const Floats both = strength * how.fog + strength * gain;
    return {both, both, Floats{}};
}
static inline Added white_light(const FilmLight& how, Floats strength, Floats gain) {
    const Floats all = strength * how.fog + strength * gain;
    return {all, all, all};
}

static inline Floats luminance_of(const Planes& film) { return 0.3F * film.r + 0.5F * film.g + 0.2F * film.b; }

// The picture with a light on it, `strength` being that of all its bands.
static inline Planes exposed(const FilmLight& how, const Planes& film, Added light, Floats strength) {
    const Floats zero = {}, one = zero + 1.0F;
    if (how.negative) light = {-light.r, -light.g, -light.b};
    Planes result = {larger(film.r + light.r, zero), larger(film.g + light.g, zero), larger(film.b + light.b, zero),
                     film.a};
    const Floats dark = larger(one - luminance_of(film), zero);
    const Floats alpha = film.a + strength * (how.fog + how.thickness) * dark;
    result.a = larger(smaller(alpha, one), film.a);
    return result;
}

// Unlit pixels keep their bits.
static inline Planes where_lit(Floats strength, const Planes& result, const Planes& film) {
    const Ints lit = strength > Floats{};
    return {lit ? result.r : film.r, lit ? result.g : film.g, lit ? result.b : film.b, lit ? result.a : film.a};
}

// All bands at once, each weighted by the picture before any of them.
static inline Planes exposed_together(const FilmLight& how, const Planes& film, Light light) {
    if (how.use_alpha) {
        const Floats alpha = to_unit(film.a);
        light = {light.red * alpha, light.yellow * alpha, light.white * alpha, light.sum * alpha};
    }
    const Floats gain = luminance_of(film) * how.thickness;
    const Added added =
        red_light(how, light.red, gain) + yellow_light(how, light.yellow, gain) + white_light(how, light.white, gain);
    return where_lit(light.sum, exposed(how, film, added, light.sum), film);
}

static void light_spots(const FilmLight& how, const SpotRow& row, int first, int last, float* pixels) {
    const Floats zero = {}, one = zero + 1.0F;
    const Floats lanes = lane_pixels();
    for_planes(pixels + 4L * first, last - first + 1, [&](const Planes& film, int i) {
        const float begin = static_cast<float>(first + i), end = begin + static_cast<float>(LANES - 1);
        const Floats x = begin + lanes;
        Light light = {};
        for (int k = 0; k < row.count; ++k) {
            const LightSpot& spot = row.spots[k];
            if (spot.most < begin || spot.least > end) continue;
            const Floats dx = x - spot.x;
            // Half a pixel at least: the very centre would count as outside the bands.
            const Floats distance = larger(square_root(dx * dx + row.distances[k]), zero + 0.5F);
            const Floats lit = one - smaller(distance * spot.inverse_radius, one);
            const Ints inside = lit > zero;
            Floats strength[LIGHT_BANDS];
            for (int band = 0; band < LIGHT_BANDS; ++band) {
                const Floats value = smooth_step((lit - row.bands[band].low) * row.bands[band].inverse_width);
                strength[band] = inside ? value : zero;
            }
            light.red += strength[0];
            light.yellow += strength[1];
            light.white += strength[2];
            light.sum += strength[0] + strength[1] + strength[2];
        }
        light = {smaller(light.red, one), smaller(light.yellow, one), smaller(light.white, one),
                 smaller(light.sum, one)};
        return exposed_together(how, film, light);
    });
}

// One band after the other, each on the picture as lit so far.
static void light_edges(const FilmLight& how, const EdgeRow& row, int first, int last, float* pixels) {
    const Floats lanes = lane_pixels();
    for_planes(pixels + 4L * first, last - first + 1, [&](const Planes& film, int i) {
        const Floats x = static_cast<float>(first + i) + lanes;
        const auto strength = [&](int band) {
            const Floats value = smooth_step((row.positions[band] - x) * row.inverse_widths[band]);
            return how.use_alpha ? value * to_unit(film.a) : value;
        };
        const auto gain = [&](const Planes& lit) { return luminance_of(lit) * how.thickness; };
        const Floats red = strength(0), yellow = strength(1), white = strength(2);
        Planes lit = exposed(how, film, red_light(how, red, gain(film)), red);
        lit = exposed(how, lit, yellow_light(how, yellow, gain(lit)), yellow);
        lit = exposed(how, lit, white_light(how, white, gain(lit)), white);
        return where_lit(red + yellow + white, lit, film);
    });
}

}  // namespace

const FilmLightKernels film_light_kernels = {light_spots, light_edges};

}  // namespace QUILLON_SIMD
