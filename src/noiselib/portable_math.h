// Private: elementary functions that give the same bits on every processor, which those of the system's library do not.
//
// Reductions and polynomials are those of Sun's fdlibm (K. C. Ng, 1993), without its special cases: errors below one
// unit in the last place. All is static, for the files that are built once for each instruction set.
#pragma once

#include <cstdint>

struct SineCosine {
    double sine, cosine;
};

// For angles from 0 to 2 pi.
[[gnu::always_inline]] static inline SineCosine sine_cosine(double angle) {
    constexpr double HALF_PI_HIGH = 1.57079632673412561417;  // 33 bits: its multiples are exact
    constexpr double HALF_PI_LOW = 6.07710050650619224932e-11;
    constexpr double ROUNDER = 6755399441055744.0;  // 1.5 * 2^52
    const double shifted = angle * 0.636619772367581343 + ROUNDER;
    const double quarters = shifted - ROUNDER;
    const double r = (angle - quarters * HALF_PI_HIGH) - quarters * HALF_PI_LOW;
    const double z = r * r;
    const double s = r + z * r *
                             (-1.66666666666666324348e-01 +
                              z * (8.33333333332248946124e-03 +
                                   z * (-1.98412698298579493134e-04 +
                                        z * (2.75573137070700676789e-06 +
                                             z * (-2.50507602534068634195e-08 + z * 1.58969099521155010221e-10)))));
    const double tail = z * z *
                        (4.16666666666666019037e-02 +
                         z * (-1.38888888888741095749e-03 +
                              z * (2.48015872894767294178e-05 +
                                   z * (-2.75573143513906633035e-07 +
                                        z * (2.08757232129817482790e-09 - z * 1.13596475577881948265e-11)))));
    const double half = 0.5 * z;
    const double w = 1 - half;
    const double c = w + (((1 - w) - half) + tail);
    // In quarter q: (s, c), (c, -s), (-s, -c), (-c, s).
    const bool is_odd = quarters == 1 || quarters == 3;
    const double sine = is_odd ? c : s;
    const double cosine = is_odd ? s : c;
    return {quarters == 2 || quarters == 3 ? -sine : sine, quarters == 1 || quarters == 2 ? -cosine : cosine};
}

// The natural logarithm of a positive number that is not subnormal.
static inline double natural_logarithm(double x) {
    uint64_t bits;
    __builtin_memcpy(&bits, &x, sizeof bits);
    // Scaled to sqrt(1/2) .. sqrt(2): the exponent of what remains when the lower end's bits are taken off.
    const uint64_t lower_end = 0x3FE6A09E667F3BCDU;
    const auto exponent = static_cast<int64_t>(bits - lower_end) >> 52;
    bits -= static_cast<uint64_t>(exponent) << 52;
    double scaled;
    __builtin_memcpy(&scaled, &bits, sizeof scaled);
    const auto k = static_cast<double>(exponent);
    const double f = scaled - 1;
    const double s = f / (2 + f);
    const double z = s * s;
    const double w = z * z;
    const double odd =
        z * (6.666666666666735130e-01 +
             w * (2.857142874366239149e-01 + w * (1.818357216161805012e-01 + w * 1.479819860511658591e-01)));
    const double even = w * (3.999999999940941908e-01 + w * (2.222219843214978396e-01 + w * 1.531383769920937332e-01));
    const double half = 0.5 * f * f;
    return k * 6.93147180369123816490e-01 - ((half - (s * (half + (even + odd)) + k * 1.90821492927058770002e-10)) - f);
}
