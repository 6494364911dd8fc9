// Places are worked out four pixels abreast, colours four channels abreast. Compiled once for each instruction set; no
// product and sum are fused, so all give the same bits.
#include "effects/pixels/TilePainter_simd.h"

#include <cstring>

namespace tiles::QUILLON_SIMD {
namespace {

using Quad = float __attribute__((vector_size(16)));
using Ints = int __attribute__((vector_size(16)));
#if defined(__AVX__)
using Pair = float __attribute__((vector_size(32)));  // two pixels
#endif

inline Quad load(const float* from) {
    Quad value;
    std::memcpy(&value, from, sizeof value);
    return value;
}
inline void store(float* to, Quad value) { std::memcpy(to, &value, sizeof value); }
inline Quad limited(Quad value, float low, float high) {
    const Quad least = {low, low, low, low}, most = {high, high, high, high};
    value = value > least ? value : least;  // also what is no number
    return value < most ? value : most;
}

// Four places in a level.
struct Places {
    Ints column, row;
    Quad right, up;

    Places(const Level& level, Quad u, Quad v) {
        const Quad x = limited(u * level.scale - 0.5F, 0, level.last_x);
        const Quad y = limited(v * level.scale - 0.5F, 0, level.last_y);
        column = __builtin_convertvector(limited(x, 0, level.last_column), Ints);
        row = __builtin_convertvector(limited(y, 0, level.last_row), Ints);
        right = x - __builtin_convertvector(column, Quad);
        up = y - __builtin_convertvector(row, Quad);
    }
    // Up first: neighbours in a row are loaded together.
    inline Quad read(const Level& level, int k) const {
        const float* here = level.samples + row[k] * level.pitch + 4 * std::ptrdiff_t(column[k]);
#if defined(__AVX__)
        Pair low, high;
        std::memcpy(&low, here, sizeof low), std::memcpy(&high, here + level.up, sizeof high);
        const Pair both = low + up[k] * (high - low);
        const Quad left = __builtin_shufflevector(both, both, 0, 1, 2, 3);
        const Quad beside = __builtin_shufflevector(both, both, 4, 5, 6, 7);
#else
        const Quad low = load(here), high = load(here + level.up), left = low + up[k] * (high - low);
        const Quad low_beside = load(here + 4), high_beside = load(here + level.up + 4);
        const Quad beside = low_beside + up[k] * (high_beside - low_beside);
#endif
        return left + right[k] * (beside - left);
    }
};

template <bool ADD, bool MIXED>
void paint(float* out, const float* coverage, int count, const Ink& ink) {
    constexpr Quad STEPS = {0, 1, 2, 3};
    const Quad shade = load(ink.shade), gloss = load(ink.gloss);
    for (int i = 0; i < count; i += 4) {
        const Quad at = static_cast<float>(i) + STEPS;
        const Quad depth = 1 / (ink.w + ink.dw * at);
        const Quad u = (ink.u + ink.du * at) * depth, v = (ink.v + ink.dv * at) * depth;
        const Places fine(ink.fine, u, v), coarse(MIXED ? ink.coarse : ink.fine, u, v);
        const int lanes = count - i < 4 ? count - i : 4;
        for (int k = 0; k < lanes; ++k, out += 4) {
            Quad texel = fine.read(ink.fine, k);
            if constexpr (MIXED) texel += ink.mix * (coarse.read(ink.coarse, k) - texel);
            const float weight = coverage ? ink.weight * coverage[i + k] : ink.weight;
            const Quad light = weight * (texel * shade + texel[3] * gloss), there = load(out);
            store(out, ADD ? there + light : light + (1 - light[3]) * there);
        }
    }
}

void add(float* out, const float* coverage, int count, const Ink& ink) {
    (ink.mix > 0 ? paint<true, true> : paint<true, false>)(out, coverage, count, ink);
}
void over(float* out, const float* coverage, int count, const Ink& ink) {
    (ink.mix > 0 ? paint<false, true> : paint<false, false>)(out, coverage, count, ink);
}

}  // namespace

const Kernels kernels = {add, over};

}  // namespace tiles::QUILLON_SIMD
