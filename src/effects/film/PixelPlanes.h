// Float RGBA pixels as planes of one channel, many pixels abreast. For files that are compiled once for each vector
// unit (cmake/QuillonSimd.cmake): everything here is static, and the width follows the unit.
//
// Pixels are turned into planes inside groups of four floats only, which every unit does in one step a pair. So the
// lanes of a plane hold the pixels in an order of their own: `lane_pixels` gives it.
#pragma once

#if defined(__AVX512F__)
#define QUILLON_PLANE_LANES 16
#elif defined(__AVX2__)
#define QUILLON_PLANE_LANES 8
#else
#define QUILLON_PLANE_LANES 4
#endif

namespace QUILLON_SIMD {
namespace {

constexpr int LANES = QUILLON_PLANE_LANES;
typedef float Floats __attribute__((vector_size(4 * LANES)));
typedef int Ints __attribute__((vector_size(4 * LANES)));

struct Planes {
    Floats r, g, b, a;
};

[[maybe_unused]] static inline Floats smaller(Floats a, Floats b) { return a < b ? a : b; }
[[maybe_unused]] static inline Floats larger(Floats a, Floats b) { return a > b ? a : b; }

// To 0 to 1; what is not a number becomes 0.
[[maybe_unused]] static inline Floats to_unit(Floats v) {
    const Floats zero = {};
    return smaller(larger(v, zero), zero + 1.0F);
}

// Element i of each group of four from `a` and `b`: low halves interleaved, high halves interleaved, and the pairs.
#if QUILLON_PLANE_LANES == 16
#define QUILLON_GROUPS(a, b, c, d)                                                                                  \
    (a), (b), (c), (d), (a) + 4, (b) + 4, (c) + 4, (d) + 4, (a) + 8, (b) + 8, (c) + 8, (d) + 8, (a) + 12, (b) + 12, \
        (c) + 12, (d) + 12
#elif QUILLON_PLANE_LANES == 8
#define QUILLON_GROUPS(a, b, c, d) (a), (b), (c), (d), (a) + 4, (b) + 4, (c) + 4, (d) + 4
#else
#define QUILLON_GROUPS(a, b, c, d) (a), (b), (c), (d)
#endif
static inline Floats low_mixed(Floats a, Floats b) {
    return __builtin_shufflevector(a, b, QUILLON_GROUPS(0, LANES, 1, LANES + 1));
}
static inline Floats high_mixed(Floats a, Floats b) {
    return __builtin_shufflevector(a, b, QUILLON_GROUPS(2, LANES + 2, 3, LANES + 3));
}
static inline Floats low_pairs(Floats a, Floats b) {
    return __builtin_shufflevector(a, b, QUILLON_GROUPS(0, 1, LANES, LANES + 1));
}
static inline Floats high_pairs(Floats a, Floats b) {
    return __builtin_shufflevector(a, b, QUILLON_GROUPS(2, 3, LANES + 2, LANES + 3));
}
#undef QUILLON_GROUPS

// Transposes each group of four by four: pixels to planes, and planes to pixels.
static inline Planes turned(const Planes& v) {
    const Floats rg_low = low_mixed(v.r, v.g), rg_high = high_mixed(v.r, v.g);
    const Floats ba_low = low_mixed(v.b, v.a), ba_high = high_mixed(v.b, v.a);
    return {low_pairs(rg_low, ba_low), high_pairs(rg_low, ba_low), low_pairs(rg_high, ba_high),
            high_pairs(rg_high, ba_high)};
}

// LANES pixels.
[[maybe_unused]] static inline Planes load_planes(const float* pixels) {
    Planes v;
    __builtin_memcpy(&v, pixels, sizeof v);
    return turned(v);
}
[[maybe_unused]] static inline void store_planes(float* pixels, const Planes& planes) {
    const Planes v = turned(planes);
    __builtin_memcpy(pixels, &v, sizeof v);
}

// Which of LANES pixels is in which lane.
[[maybe_unused]] static inline Floats lane_pixels() {
    Floats pixel = {};
    for (int i = 0; i < LANES; ++i) pixel[i] = static_cast<float>(i % 4 * (LANES / 4) + i / 4);
    return pixel;
}

// Runs `work` (Planes in, Planes out, first pixel) over `count` pixels in place, the last few through a block of their
// own.
template <class Work>
static inline void for_planes(float* pixels, int count, const Work& work) {
    int i = 0;
    for (; i + LANES <= count; i += LANES) store_planes(pixels + 4L * i, work(load_planes(pixels + 4L * i), i));
    if (i == count) return;
    alignas(64) float rest[4 * LANES] = {};
    const unsigned long bytes = 16UL * static_cast<unsigned long>(count - i);
    __builtin_memcpy(rest, pixels + 4L * i, bytes);
    store_planes(rest, work(load_planes(rest), i));
    __builtin_memcpy(pixels + 4L * i, rest, bytes);
}

}  // namespace
}  // namespace QUILLON_SIMD
