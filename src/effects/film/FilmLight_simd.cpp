#include "effects/film/FilmLight.h"
#include "effects/film/PixelPlanes.h"

#include <immintrin.h>

namespace QUILLON_SIMD {
namespace {

static inline Floats square_root(Floats v) {
#if defined(__AVX512F__)
    return (Floats)_mm512_sqrt_ps((__m512)v);
#elif defined(__AVX2__)
    return (Floats)_mm256_sqrt_ps((__m256)v);
#else
    return (Floats)_mm_sqrt_ps((__m128)v);
#endif
}

static inline Floats smooth_step(Floats t) {
    t = to_unit(t);
    return (3.0F - 2.0F * t) * t * t;
}

// The light of some pixels: a strength for each band, and all together.
struct Light {
    Floats red, yellow, white, sum;
};

static inline Planes exposed(const FilmLight& how, const Planes& film, Light light) {
    const Floats zero = {}, one = zero + 1.0F;
    if (how.use_alpha) {
        const Floats alpha = to_unit(film.a);
        light = {light.red * alpha, light.yellow * alpha, light.white * alpha, light.sum * alpha};
    }
    const Floats luminance = 0.3F * film.r + 0.5F * film.g + 0.2F * film.b;
    const Floats gain = luminance * how.thickness;
    const Floats tint = light.red * gain;  // the red band takes from green and blue what it gives to red
    const Floats yellow = light.yellow * how.fog + light.yellow * gain;
    const Floats white = light.white * how.fog + light.white * gain;
    Floats r = light.red * how.fog + tint + yellow + white;
    Floats g = yellow - tint + white;
    Floats b = white - tint;
    if (how.negative) r = -r, g = -g, b = -b;

    Planes result = {larger(film.r + r, zero), larger(film.g + g, zero), larger(film.b + b, zero), film.a};
    const Floats dark = larger(one - luminance, zero);
    const Floats alpha = film.a + light.sum * (how.fog + how.thickness) * dark;
    if (how.do_alpha) result.a = larger(smaller(alpha, one), film.a);
    // What no light falls on keeps its bits, whatever they are.
    const Ints lit = light.sum > zero;
    return {lit ? result.r : film.r, lit ? result.g : film.g, lit ? result.b : film.b, lit ? result.a : film.a};
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
        return exposed(how, film, light);
    });
}

static void light_edges(const FilmLight& how, const EdgeRow& row, int first, int last, float* pixels) {
    const Floats lanes = lane_pixels();
    for_planes(pixels + 4L * first, last - first + 1, [&](const Planes& film, int i) {
        const Floats x = static_cast<float>(first + i) + lanes;
        Light light;
        light.red = smooth_step((row.positions[0] - x) * row.inverse_widths[0]);
        light.yellow = smooth_step((row.positions[1] - x) * row.inverse_widths[1]);
        light.white = smooth_step((row.positions[2] - x) * row.inverse_widths[2]);
        light.sum = light.red + light.yellow + light.white;
        return exposed(how, film, light);
    });
}

}  // namespace

const FilmLightKernels film_light_kernels = {light_spots, light_edges};

}  // namespace QUILLON_SIMD
