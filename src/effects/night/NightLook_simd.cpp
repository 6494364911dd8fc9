#include "effects/night/NightLook_simd.h"

#include <immintrin.h>

namespace QUILLON_SIMD {
namespace {

#if defined(__AVX512F__)
constexpr int LANES = 16;
#elif defined(__AVX2__)
constexpr int LANES = 8;
#else
constexpr int LANES = 4;
#endif
constexpr int PART = LANES / 4;  // pixels in a vector of interleaved ones
typedef float Floats __attribute__((vector_size(4 * LANES)));
typedef int Ints __attribute__((vector_size(4 * LANES)));
typedef float Pixel __attribute__((vector_size(16)));
typedef int PixelMask __attribute__((vector_size(16)));

constexpr float RED = 0.3f, GREEN = 0.5f, BLUE = 0.2f;
constexpr PixelMask COLOUR = {-1, -1, -1, 0};

static inline Floats load(const float* from) {
    Floats value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}
static inline Pixel load_pixel(const float* from) { return (Pixel)_mm_loadu_ps(from); }
static inline void store(float* to, Floats value) { __builtin_memcpy(to, &value, sizeof value); }
static inline Ints to_ints(Floats v) { return __builtin_convertvector(v, Ints); }  // truncates
static inline Floats to_floats(Ints v) { return __builtin_convertvector(v, Floats); }

template <class Vector>
static inline Vector limited(Vector v) {
    const Vector zero = {};
    const Vector positive = v > zero ? v : zero;
    return positive < zero + 1 ? positive : zero + 1;
}

static inline bool all_set(Ints mask) {
#if defined(__AVX512F__)
    return _mm512_movepi32_mask((__m512i)mask) == 0xffff;
#elif defined(__AVX2__)
    return _mm256_movemask_ps((__m256)mask) == 0xff;
#else
    return _mm_movemask_ps((__m128)mask) == 0xf;
#endif
}

static inline Floats gather(const float* table, Ints index) {
#if defined(__AVX512F__)
    return (Floats)_mm512_i32gather_ps((__m512i)index, table, 4);
#elif defined(__AVX2__)
    return (Floats)_mm256_i32gather_ps(table, (__m256i)index, 4);
#else
    return Floats{table[index[0]], table[index[1]], table[index[2]], table[index[3]]};
#endif
}

// ---- Planes ---------------------------------------------------------------------------------------------------
// LANES pixels as a vector for each channel. Within them pixels stand in an order of their own, that of a transposition
// inside each 128 bits: element 4 q + e is pixel e PART + q.

struct Planes {
    Floats c[4];
};

static inline int element_of(int pixel) { return 4 * (pixel % PART) + pixel / PART; }

static inline Planes transposed(Planes v) {
#if defined(__AVX512F__)
    using V = __m512;
    const V a = _mm512_unpacklo_ps((V)v.c[0], (V)v.c[1]), b = _mm512_unpackhi_ps((V)v.c[0], (V)v.c[1]);
    const V c = _mm512_unpacklo_ps((V)v.c[2], (V)v.c[3]), d = _mm512_unpackhi_ps((V)v.c[2], (V)v.c[3]);
    return {{(Floats)_mm512_shuffle_ps(a, c, 0x44), (Floats)_mm512_shuffle_ps(a, c, 0xee),
             (Floats)_mm512_shuffle_ps(b, d, 0x44), (Floats)_mm512_shuffle_ps(b, d, 0xee)}};
#elif defined(__AVX2__)
    using V = __m256;
    const V a = _mm256_unpacklo_ps((V)v.c[0], (V)v.c[1]), b = _mm256_unpackhi_ps((V)v.c[0], (V)v.c[1]);
    const V c = _mm256_unpacklo_ps((V)v.c[2], (V)v.c[3]), d = _mm256_unpackhi_ps((V)v.c[2], (V)v.c[3]);
    return {{(Floats)_mm256_shuffle_ps(a, c, 0x44), (Floats)_mm256_shuffle_ps(a, c, 0xee),
             (Floats)_mm256_shuffle_ps(b, d, 0x44), (Floats)_mm256_shuffle_ps(b, d, 0xee)}};
#else
    using V = __m128;
    const V a = _mm_unpacklo_ps((V)v.c[0], (V)v.c[1]), b = _mm_unpackhi_ps((V)v.c[0], (V)v.c[1]);
    const V c = _mm_unpacklo_ps((V)v.c[2], (V)v.c[3]), d = _mm_unpackhi_ps((V)v.c[2], (V)v.c[3]);
    return {{(Floats)_mm_shuffle_ps(a, c, 0x44), (Floats)_mm_shuffle_ps(a, c, 0xee), (Floats)_mm_shuffle_ps(b, d, 0x44),
             (Floats)_mm_shuffle_ps(b, d, 0xee)}};
#endif
}

// The pixels from `row` on; behind a row's end zeros.
static inline Planes read(const float* row, int left) {
    alignas(64) float tail[4 * LANES] = {};
    if (left < LANES) {
        __builtin_memcpy(tail, row, 16 * static_cast<unsigned>(left));
        row = tail;
    }
    return transposed({{load(row), load(row + LANES), load(row + 2 * LANES), load(row + 3 * LANES)}});
}

static inline void write(Planes planes, float* row, int left) {
    const Planes pixels = transposed(planes);
    alignas(64) float tail[4 * LANES];
    float* to = left < LANES ? tail : row;
    for (int i = 0; i < 4; ++i) store(to + i * LANES, pixels.c[i]);
    if (left < LANES) __builtin_memcpy(row, tail, 16 * static_cast<unsigned>(left));
}

static inline Floats luminance(const Planes& p) { return RED * p.c[0] + GREEN * p.c[1] + BLUE * p.c[2]; }

// ---- Looks through tables -------------------------------------------------------------------------------------

static inline Pixel with_alpha_of(Pixel colour, Pixel source) { return COLOUR ? colour : source; }

static void film(const float* table, const float* source, const float* working, float* out, int count) {
    alignas(64) int index[LANES];
    alignas(64) float part[LANES];
    for (int x = 0; x < count; x += LANES, source += 4 * LANES, working += 4 * LANES, out += 4 * LANES) {
        const int left = count - x < LANES ? count - x : LANES;
        const Planes s = read(source, left), w = read(working, left);
        const Ints red = (s.c[0] >= s.c[1]) & (s.c[0] >= s.c[2]), green = (s.c[1] >= s.c[0]) & (s.c[1] >= s.c[2]);
        const Floats value = red ? w.c[0] : (green ? w.c[1] : w.c[2]);
        const Floats place = limited(value) * float(FILM_ENTRIES - 1);
        const Ints entry = to_ints(place);
        store(part, place - to_floats(entry));
        __builtin_memcpy(index, &entry, sizeof entry);
        for (int i = 0; i < left; ++i) {
            const int e = element_of(i);
            const float* at = table + 4 * index[e];
            const Pixel below = load_pixel(at), above = load_pixel(at + 4);
            const Pixel colour = below + part[e] * (above - below);
            _mm_storeu_ps(out + 4 * i, (__m128)with_alpha_of(colour, load_pixel(source + 4 * i)));
        }
    }
}

static void palette(const float* table, float boost, const float* source, const float* working, float* out, int count) {
    alignas(64) int index[LANES];
    for (int x = 0; x < count; x += LANES, source += 4 * LANES, working += 4 * LANES, out += 4 * LANES) {
        const int left = count - x < LANES ? count - x : LANES;
        const Floats light = limited(luminance(read(working, left)) * boost);
        const Ints entry = to_ints(light * float(PALETTE_ENTRIES - 1));
        __builtin_memcpy(index, &entry, sizeof entry);
        for (int i = 0; i < left; ++i) {
            const Pixel colour = load_pixel(table + 4 * index[element_of(i)]);
            _mm_storeu_ps(out + 4 * i, (__m128)with_alpha_of(colour, load_pixel(source + 4 * i)));
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
        const Planes s = read(source + 4 * x, left);
        const Floats bright = response_of(response, luminance(s)) * response.gain + response.lift;
        const Floats value = bright > zero ? bright : zero;
        write({{value, value, value, s.c[3]}}, out + 4 * x, left);
    }
}

static void tint(const float* tint, float* row, int count) {
    for (int x = 0; x < count; x += LANES) {
        const int left = count - x;
        const Planes p = read(row + 4 * x, left);
        const Floats value = p.c[0];
        write({{limited(tint[0] * value), limited(tint[1] * value), limited(tint[2] * value), p.c[3]}}, row + 4 * x,
              left);
    }
}

static void highlights(float threshold, const float* source, const float* developed, float* out, int count) {
    const Floats zero = {};
    for (int x = 0; x < count; x += LANES) {
        const int left = count - x;
        const Floats light = luminance(read(source + 4 * x, left));
        const Ints bright = RED * light + GREEN * light + BLUE * light > zero + threshold;
        Planes p = read(developed + 4 * x, left);
        for (Floats& channel : p.c) channel = bright ? channel : zero;
        write(p, out + 4 * x, left);
    }
}

static void bloom(float boost, const float* highlights, float* row, int count) {
    int i = 0;
    for (; i <= 4 * count - LANES; i += LANES)
        store(row + i, limited(load(row + i) + limited(load(highlights + i) * boost)));
    for (; i < 4 * count; i += 4)
        _mm_storeu_ps(row + i, (__m128)limited(load_pixel(row + i) + limited(load_pixel(highlights + i) * boost)));
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
        const Floats dark = 1.0f - limited(luminance(read(picture + 4 * x, left)));
        store(shade, dark * dark);
        for (int i = 0; i < left; ++i) out[x + i] = amplitudes[x + i] * shade[element_of(i)];
    }
}

static void grain_sums(const float* amounts, float* sums, int count) {
    int i = 0;
    for (; i <= count - LANES; i += LANES) store(sums + i, limited(load(sums + i) + load(amounts + i)));
    for (; i < count; ++i) {
        const float sum = sums[i] + amounts[i];
        sums[i] = sum > 0.0f ? (sum < 1.0f ? sum : 1.0f) : 0.0f;
    }
}

static void grain(const float* grain, float* row, int count) {
    for (int i = 0; i < count; ++i) {
        const Pixel before = load_pixel(row + 4 * i);
        const Pixel after = limited(before + (grain[i] - 0.5f) * 2.0f);
        _mm_storeu_ps(row + 4 * i, (__m128)with_alpha_of(after, before));
    }
}

}  // namespace

const NightLookRows night_look_rows = {film,  palette,       develop,    tint, highlights,
                                       bloom, grain_amounts, grain_sums, grain};

}  // namespace QUILLON_SIMD
