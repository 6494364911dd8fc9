#include "effects/night/NightLook_simd.h"

#include "simdlib/planes.h"

namespace QUILLON_SIMD {
namespace {

constexpr float RED = 0.3f, GREEN = 0.5f, BLUE = 0.2f;
constexpr PixelMask COLOUR = {-1, -1, -1, 0};

static inline Floats luminance(const Planes& p) { return RED * p.r + GREEN * p.g + BLUE * p.b; }

// ---- Looks through tables -------------------------------------------------------------------------------------

static inline Pixel with_alpha_of(Pixel colour, Pixel source) { return COLOUR ? colour : source; }

static void film(const float* table, const float* source, const float* working, float* out, int count) {
    alignas(64) int index[LANES];
    alignas(64) float part[LANES];
    for (int x = 0; x < count; x += LANES, source += 4 * LANES, working += 4 * LANES, out += 4 * LANES) {
        const int left = count - x < LANES ? count - x : LANES;
        const Planes s = load_planes(source, left), w = load_planes(working, left);
        const Ints red = (s.r >= s.g) & (s.r >= s.b), green = (s.g >= s.r) & (s.g >= s.b);
        const Floats value = red ? w.r : (green ? w.g : w.b);
        const Floats place = to_unit(value) * float(FILM_ENTRIES - 1);
        const Ints entry = to_ints(place);
        store(part, place - to_floats(entry));
        __builtin_memcpy(index, &entry, sizeof entry);
        for (int i = 0; i < left; ++i) {
            const int e = lane_of(i);
            const float* at = table + 4 * index[e];
            const Pixel below = load<Pixel>(at), above = load<Pixel>(at + 4);
            const Pixel colour = below + part[e] * (above - below);
            store(out + 4 * i, with_alpha_of(colour, load<Pixel>(source + 4 * i)));
        }
    }
}

static void palette(const float* table, float boost, const float* source, const float* working, float* out, int count) {
    alignas(64) int index[LANES];
    for (int x = 0; x < count; x += LANES, source += 4 * LANES, working += 4 * LANES, out += 4 * LANES) {
        const int left = count - x < LANES ? count - x : LANES;
        const Floats light = to_unit(luminance(load_planes(working, left)) * boost);
        const Ints entry = to_ints(light * float(PALETTE_ENTRIES - 1));
        __builtin_memcpy(index, &entry, sizeof entry);
        for (int i = 0; i < left; ++i) {
            const Pixel colour = load<Pixel>(table + 4 * index[lane_of(i)]);
            store(out + 4 * i, with_alpha_of(colour, load<Pixel>(source + 4 * i)));
        }
    }
}

// ---- The tube -------------------------------------------------------------------------------------------------

static inline Floats response_of(const TubeResponse& response, Floats light) {
    const Floats zero = {};
    const Ints inside = (light >= zero) & (light < zero + 1);
    Floats value = gather(response.powers, to_ints((inside ? light : zero) * float(TUBE_STEPS)));
    if (__builtin_expect(!all_set(inside), 0))
        for (int i = 0; i < LANES; ++i)
            if (!inside[i]) value[i] = response.power(double(light[i]), response.exponent);
    return value;
}

static void develop(const TubeResponse& response, const float* source, float* out, int count) {
    const Floats zero = {};
    for (int x = 0; x < count; x += LANES) {
        const int left = count - x;
        const Planes s = load_planes(source + 4 * x, left);
        const Floats bright = response_of(response, luminance(s)) * response.gain + response.lift;
        const Floats value = bright > zero ? bright : zero;
        store_planes(out + 4 * x, {value, value, value, s.a}, left);
    }
}

static void tint(const float* tint, float* row, int count) {
    for (int x = 0; x < count; x += LANES) {
        const int left = count - x;
        const Planes p = load_planes(row + 4 * x, left);
        store_planes(row + 4 * x, {to_unit(tint[0] * p.r), to_unit(tint[1] * p.r), to_unit(tint[2] * p.r), p.a}, left);
    }
}

static void highlights(float threshold, const float* source, const float* developed, float* out, int count) {
    const Floats zero = {};
    for (int x = 0; x < count; x += LANES) {
        const int left = count - x;
        const Floats light = luminance(load_planes(source + 4 * x, left));
        const Ints bright = RED * light + GREEN * light + BLUE * light > zero + threshold;
        const Planes p = load_planes(developed + 4 * x, left);
        store_planes(out + 4 * x, {bright ? p.r : zero, bright ? p.g : zero, bright ? p.b : zero, bright ? p.a : zero},
                     left);
    }
}

static void bloom(float boost, const float* highlights, float* row, int count) {
    int i = 0;
    for (; i <= 4 * count - LANES; i += LANES)
        store(row + i, to_unit(load(row + i) + to_unit(load(highlights + i) * boost)));
    for (; i < 4 * count; i += 4)
        store(row + i, to_unit(load<Pixel>(row + i) + to_unit(load<Pixel>(highlights + i) * boost)));
}

// ---- Grain ----------------------------------------------------------------------------------------------------

static void grain_amounts(const float* amplitudes, const float* picture, float* out, int count) {
    if (!picture) {
        __builtin_memcpy(out, amplitudes, sizeof(float) * static_cast<unsigned>(count));
        return;
    }
    for (int x = 0; x < count; x += LANES) {
        const int left = count - x < LANES ? count - x : LANES;
        alignas(64) float shade[LANES];
        const Floats dark = 1.0f - to_unit(luminance(load_planes(picture + 4 * x, left)));
        store(shade, dark * dark);
        for (int i = 0; i < left; ++i) out[x + i] = amplitudes[x + i] * shade[lane_of(i)];
    }
}

static void grain_sums(const float* amounts, float* sums, int count) {
    int i = 0;
    for (; i <= count - LANES; i += LANES) store(sums + i, to_unit(load(sums + i) + load(amounts + i)));
    for (; i < count; ++i) sums[i] = to_unit(sums[i] + amounts[i]);
}

static void grain(const float* grain, float* row, int count) {
    for (int i = 0; i < count; ++i) {
        const Pixel before = load<Pixel>(row + 4 * i);
        const Pixel after = to_unit(before + (grain[i] - 0.5f) * 2.0f);
        store(row + 4 * i, with_alpha_of(after, before));
    }
}

}  // namespace

const NightLookRows night_look_rows = {film,  palette,       develop,    tint, highlights,
                                       bloom, grain_amounts, grain_sums, grain};

}  // namespace QUILLON_SIMD
