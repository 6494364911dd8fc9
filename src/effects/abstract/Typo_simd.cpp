#include "effects/abstract/Typo_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

static inline Floats mix(Floats a, Floats b, Floats t) { return a + t * (b - a); }

static void letter(const LetterSpan& span, const float* pens, const float* ragged, const float* window, float* rgba,
                   int count) {
    const Floats lane = counting<Floats>();
    const Pixel ink = {span.ink[0], span.ink[1], span.ink[2], 1.0F};
    const Pixel shares = {1.0F, 1.0F, 1.0F, span.alpha_share};
    const Floats last_u = all<Floats>(span.last_u - 1.0F), last_v = all<Floats>(span.last_v - 1.0F);
    const float half = 0.5F * span.footprint, sharpness = span.opacity / span.footprint;
    for (int i = 0; i < count; i += LANES) {
        const Floats along = lane + float(i);
        const Floats u = limited(span.u + along * span.du, Floats{}, all<Floats>(span.last_u)),
                     v = limited(span.v + along * span.dv, Floats{}, all<Floats>(span.last_v));
        const Floats column = to_floats(to_ints(smaller(u, last_u))), row = to_floats(to_ints(smaller(v, last_v)));
        const Ints at = to_ints(row) * span.stride + to_ints(column);
        const Floats across = u - column, up = v - row;
        const Floats low = mix(gather(span.field, at), gather(span.field + 1, at), across),
                     high = mix(gather(span.field + span.stride, at), gather(span.field + span.stride + 1, at), across);
        Floats distance = mix(low, high, up) * span.pixels, pen = all<Floats>(span.half_pen);
        if (pens) pen += load<Floats>(pens + i);
        if (ragged) distance += load<Floats>(ragged + i);
        // How much of the pixel's width lies within the pen's.
        const Floats covered = smaller(pen, distance + half) - larger(-pen, distance - half);
        Floats share = limited(covered, Floats{}, all<Floats>(span.footprint)) * sharpness;
        const Ints any = share > 0.0F;
        if (all_set(~any)) continue;
        const int pixels = count - i < LANES ? count - i : LANES;
        for (int p = 0; p < pixels; ++p) {
            float* out = rgba + 4 * (i + p);
            const Pixel behind = load<Pixel>(out);
            Pixel colour = ink;
            if (window) {
                colour = load<Pixel>(window + 4 * (i + p)) * span.ink[0];
                colour[3] = 1.0F;
            }
            store(out, behind + (colour - behind) * (shares * share[p]));
        }
    }
}

static void between(const float* low, const float* high, float up, float x0, float step, int last, float factor,
                    float* out, int count) {
    const Floats lane = counting<Floats>();
    for (int i = 0; i < count; i += LANES) {
        const Floats x = limited(x0 + (lane + float(i)) * step, Floats{}, all<Floats>(float(last)));
        const Ints column = to_ints(smaller(x, all<Floats>(float(last > 0 ? last - 1 : 0))));
        const Ints next = last > 0 ? column + 1 : column;
        const Floats across = x - to_floats(column);
        const Floats below = mix(gather(low, column), gather(low, next), across),
                     above = mix(gather(high, column), gather(high, next), across);
        store(out + i, mix(below, above, all<Floats>(up)) * factor);
    }
}

}  // namespace

const TypoRows typo_rows = {letter, between};

}  // namespace QUILLON_SIMD
