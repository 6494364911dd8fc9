#include "effects/adjust/RemGrain_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// Along one axis the kernel is a slope of 1 and 2 on either side, along the other a roof of 1, 2, 3, 2, 1; `NEAR` and
// `FAR` are the weights at distances 1 and 2.
constexpr float RIDGE = 3, NEAR = 2, FAR = 1;
constexpr float STRENGTH = 0.4f;

template <class T>
static inline T roof(T a, T b, T c, T d, T e) {
    return RIDGE * c + NEAR * (b + d) + FAR * (a + e);
}
template <class T>
static inline T slope(T a, T b, T d, T e) {
    return NEAR * (d - b) + FAR * (e - a);
}
template <class T>
static inline T strength(T horizontal, T vertical) {
    return STRENGTH * (absolute(horizontal) + absolute(vertical));
}

static void edge_row(const float* const* rows, long floats, float* across, float* along, float* edge) {
    const float *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
    long i = 0;
    for (; i + LANES <= floats; i += LANES) {
        store(across + i, roof(load(a + i), load(b + i), load(c + i), load(d + i), load(e + i)));
        store(along + i, slope(load(a + i), load(b + i), load(d + i), load(e + i)));
    }
    for (; i < floats; ++i) {
        across[i] = roof(a[i], b[i], c[i], d[i], e[i]);
        along[i] = slope(a[i], b[i], d[i], e[i]);
    }
    const float *s = across, *t = along;
    for (i = 0; i + LANES <= floats; i += LANES, s += LANES, t += LANES)
        store(edge + i, strength(slope(load(s - 8), load(s - 4), load(s + 4), load(s + 8)),
                                 roof(load(t - 8), load(t - 4), load(t), load(t + 4), load(t + 8))));
    for (; i < floats; ++i, ++s, ++t)
        edge[i] = strength(slope(s[-8], s[-4], s[4], s[8]), roof(t[-8], t[-4], t[0], t[4], t[8]));
}

static inline Floats mixed(const GrainMix& mix, Floats blurred, Floats edge, Floats source) {
    const Floats share = load<Floats>(mix.sharp) * edge;
    const Floats value = (1.0f - share) * blurred + source * share;
    return (Floats)(((Ints)value & load<Ints>(mix.mixed)) | ((Ints)source & load<Ints>(mix.from_source)));
}

static void mix_row(const GrainMix& mix, const float* blurred, const float* edge, const float* source, long floats,
                    float* out) {
    long i = 0;
    for (; i + LANES <= floats; i += LANES)
        store(out + i, mixed(mix, load(blurred + i), load(edge + i), load(source + i)));
    for (; i < floats; i += 4) {
        Floats pixel[3] = {};
        __builtin_memcpy(&pixel[0], blurred + i, 16);
        __builtin_memcpy(&pixel[1], edge + i, 16);
        __builtin_memcpy(&pixel[2], source + i, 16);
        const Floats value = mixed(mix, pixel[0], pixel[1], pixel[2]);
        __builtin_memcpy(out + i, &value, 16);
    }
}

}  // namespace

const RemGrainKernels rem_grain_kernels = {edge_row, mix_row};

}  // namespace QUILLON_SIMD
