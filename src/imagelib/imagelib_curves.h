// Curves on single floats.
#pragma once

#include "k7pi_baselib/portable_math.h"

// 0 up to low, 1 from high on, a cubic with level ends between. A step where low equals high.
inline float smooth_step(float x, float low, float high) {
    if (low == high) return x > low ? 1.0f : 0.0f;
    const float t = (x - low) / (high - low);
    if (t < 0.0f) return 0.0f;
    if (t > 1.0f) return 1.0f;
    return (3.0f - 2.0f * t) * t * t;
}

// From 0 to 1, within it: a quintic whose ends are level and do not bend (K. Perlin, "Improving noise", 2002).
inline float smoother_step(float t) { return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f); }

// A ramp around the centre, 2 (2 - softness) wide.
inline float linear_band(float x, float softness, float centre) {
    const float w = 2.0f - softness;
    if (x <= centre - w) return 0.0f;
    if (x > centre + w) return 1.0f;
    return (x - (centre - w)) / (2.0f * w);
}

// Up to this k both tone curves are the identity; above it they map 0 to 1 onto itself. From k = 50 on, up to 100, a
// power steepens the curve further. The two are inverse to each other.
inline bool tone_is_identity(float k) { return !(k > 1.001f); }
inline float tone_limit(float k) { return k < 100.0f ? k : 100.0f; }
inline float tone_exponent(float k) { return (k - 50.0f) * 0.03f + 1.0f; }
inline float tone_clamp(float x) { return x > 0.0f ? (x < 1.0f ? x : 1.0f) : 0.0f; }

// The hyperbola alone, for x within 0 to 1.
inline float tone_hyperbola(float x, float k) {
    const float r = 1.0f / k;
    return (1.0f / (r + (k - r) * (1.0f - x)) - r) / (k - r);
}
inline float tone_hyperbola_inverse(float x, float k) {
    const float r = 1.0f / k;
    return 1.0f - (1.0f / ((k - r) * x + r) - r) / (k - r);
}

inline float hyperbolic_tone(float x, float k) {
    if (tone_is_identity(k)) return x;
    k = tone_limit(k);
    const float y = tone_hyperbola(tone_clamp(x), k);
    return k > 50.0f ? k7_pow(tone_clamp(y), tone_exponent(k)) : y;
}

inline float hyperbolic_tone_inverse(float x, float k) {
    if (tone_is_identity(k)) return x;
    k = tone_limit(k);
    x = tone_clamp(x);
    return tone_hyperbola_inverse(k > 50.0f ? k7_pow(x, 1.0f / tone_exponent(k)) : x, k);
}
