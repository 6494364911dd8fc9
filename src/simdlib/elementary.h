// Elementary functions that give the same bits on every processor and with every compiler, which those of the system's
// library do not.
//
// Each is a template over `double` and vectors of doubles. A lane never depends on its neighbours, so a vector's lanes
// have the bits of the single values. Errors are within two units in the last place of a double and mostly one; within
// four for the tangent, and for powers one more for every e^40 of the result. Special values are those of the C
// standard.
//
// Reductions and polynomials of the exponential, the logarithm, the sine, the cosine, the arc tangent and the arc
// cosine are those of Sun's fdlibm (K. C. Ng, 1993). Large angles are reduced with as many bits of 2 / pi as they need
// (M. Payne and R. Hanek, "Radian reduction for trigonometric functions", 1983).
//
// All is static, for the files that are built once for each instruction set. Other code calls
// k7pi_baselib/portable_math.h. Kernels for CUDA devices call them with a double.
#pragma once

#include <cstdint>

namespace elementary {

#ifdef __CUDACC__
#define QUILLON_ELEMENTARY [[maybe_unused]] __host__ __device__ static __forceinline__
#else
#define QUILLON_ELEMENTARY [[maybe_unused, gnu::always_inline]] static inline
#endif

// ---- Lanes --------------------------------------------------------------------------------------------------------

template <class V>
struct Lanes {
    typedef uint64_t Bits __attribute__((vector_size(sizeof(V))));
    static constexpr int COUNT = sizeof(V) / sizeof(double);
};
template <>
struct Lanes<double> {
    using Bits = uint64_t;
    static constexpr int COUNT = 1;
};
template <class V>
using Bits = typename Lanes<V>::Bits;

template <class V>
QUILLON_ELEMENTARY Bits<V> bits_of(V v) {
    return __builtin_bit_cast(Bits<V>, v);
}
template <class V>
QUILLON_ELEMENTARY V from_bits(Bits<V> bits) {
    return __builtin_bit_cast(V, bits);
}
template <class V>
QUILLON_ELEMENTARY V all(double value) {
    return value - V{};  // keeps the sign of a zero
}
template <class V>
QUILLON_ELEMENTARY V magnitude(V v) {
    return from_bits<V>(bits_of(v) & 0x7FFFFFFFFFFFFFFFU);
}
template <class V>
QUILLON_ELEMENTARY Bits<V> sign_bit(V v) {
    return bits_of(v) & 0x8000000000000000U;
}
template <class V>
QUILLON_ELEMENTARY V with_sign(V v, Bits<V> sign) {
    return from_bits<V>(bits_of(v) | sign);
}

QUILLON_ELEMENTARY double lane(double v, int) { return v; }
QUILLON_ELEMENTARY void set_lane(double& v, int, double value) { v = value; }
template <class V>
QUILLON_ELEMENTARY double lane(const V& v, int i) {
    return v[i];
}
template <class V>
QUILLON_ELEMENTARY void set_lane(V& v, int i, double value) {
    v[i] = value;
}

template <class V>
QUILLON_ELEMENTARY V square_root(V v) {
    for (int i = 0; i < Lanes<V>::COUNT; ++i) set_lane(v, i, __builtin_sqrt(lane(v, i)));
    return v;
}

// A number added to and taken off again rounds to the nearest whole number, which its low bits then hold.
constexpr double ROUNDER = 6755399441055744.0;  // 1.5 * 2^52
constexpr double INFINITE = __builtin_inf();
constexpr double LN2_HIGH = 6.93147180369123816490e-01;  // 32 bits: its multiples are exact
constexpr double LN2_LOW = 1.90821492927058770002e-10;

// ---- Exponential --------------------------------------------------------------------------------------------------

// value * 2^k for whole k from -2044 to 2046, in two factors so that either is a normal number.
template <class V>
QUILLON_ELEMENTARY V scaled(V value, V k) {
    const V half = k * 0.5 + ROUNDER;
    const V rest = (k - (half - ROUNDER)) + ROUNDER;
    return value * from_bits<V>((bits_of(half) + 1023) << 52) * from_bits<V>((bits_of(rest) + 1023) << 52);
}

// e^(x + tail) for a tail far below x. Both are finite.
template <class V>
QUILLON_ELEMENTARY V exponential(V x, V tail) {
    const V k = (x * 1.44269504088896338700 + ROUNDER) - ROUNDER;
    const V high = x - k * LN2_HIGH;
    const V low = k * LN2_LOW - tail;
    const V r = high - low;
    const V t = r * r;
    const V c = r - t * (1.66666666666666019037e-01 +
                         t * (-2.77777777770155933842e-03 +
                              t * (6.61375632143793436117e-05 +
                                   t * (-1.65339022054652515390e-06 + t * 4.13813679705723846039e-08))));
    return scaled(1 - ((low - (r * c) / (2 - c)) - high), k);
}

template <class V>
QUILLON_ELEMENTARY V exp(V x) {
    const V bounded = x > 710.0 ? all<V>(710.0) : x;  // beyond these all is infinite or 0
    return exponential<V>(bounded < -746.0 ? all<V>(-746.0) : bounded, V{});
}

// ---- Logarithm ----------------------------------------------------------------------------------------------------

// x = 2^k * (1 + f) with 1 + f from sqrt(1/2) to sqrt(2). Positive finite numbers only.
template <class V>
struct Binary {
    V k, f;
};
template <class V>
QUILLON_ELEMENTARY Binary<V> binary(V x) {
    constexpr double SMALLEST_NORMAL = 2.2250738585072014e-308, TWO_54 = 18014398509481984.0,
                     TWO_52 = 4503599627370496.0;
    const auto is_subnormal = x < SMALLEST_NORMAL;
    const Bits<V> bits = bits_of<V>(is_subnormal ? x * TWO_54 : x);
    // Taking the lower end's bits off leaves the exponent that counts. It becomes a number in the low bits of 2^52.
    const Bits<V> offset = bits - 0x3FE6A09E667F3BCDU;
    const V biased = from_bits<V>(((offset + (uint64_t{1024} << 52)) >> 52) | 0x4330000000000000U) - (TWO_52 + 1024);
    const V mantissa = from_bits<V>(bits - (offset & 0xFFF0000000000000U));
    return {is_subnormal ? biased - 54.0 : biased, mantissa - 1};
}

// log(1 + f) = 2 s + s * this, where s = f / (2 + f) and z = s * s.
template <class V>
QUILLON_ELEMENTARY V logarithm_series(V z) {
    const V w = z * z;
    const V odd = z * (6.666666666666735130e-01 +
                       w * (2.857142874366239149e-01 + w * (1.818357216161805012e-01 + w * 1.479819860511658591e-01)));
    const V even = w * (3.999999999940941908e-01 + w * (2.222219843214978396e-01 + w * 1.531383769920937332e-01));
    return even + odd;
}

// Positive finite numbers only.
template <class V>
QUILLON_ELEMENTARY V regular_logarithm(V x) {
    const auto [k, f] = binary(x);
    const V s = f / (2 + f);
    const V half = 0.5 * f * f;
    return k * LN2_HIGH - ((half - (s * (half + logarithm_series<V>(s * s)) + k * LN2_LOW)) - f);
}

template <class V>
QUILLON_ELEMENTARY V log(V x) {
    const auto is_regular = (x > 0.0) & (x < INFINITE);
    const V value = regular_logarithm<V>(is_regular ? x : all<V>(1.0));
    const V special = x == 0.0 ? all<V>(-INFINITE) : (x < 0.0 ? all<V>(__builtin_nan("")) : x);
    return is_regular ? value : special;
}

// ---- Powers -------------------------------------------------------------------------------------------------------

// Sums and products with what is lost to rounding (T. J. Dekker, "A floating-point technique for extending the
// available precision", 1971).
template <class V>
struct Extended {
    V high, low;
};
template <class V>
QUILLON_ELEMENTARY Extended<V> exact_sum(V larger, V smaller) {
    const V sum = larger + smaller;
    return {sum, smaller - (sum - larger)};
}
template <class V>
QUILLON_ELEMENTARY V upper_half(V v) {
    return from_bits<V>(bits_of(v) & 0xFFFFFFFFF8000000U);  // 26 bits: products of two are exact
}
template <class V>
QUILLON_ELEMENTARY Extended<V> exact_product(V a, V b) {
    const V product = a * b;
    const V a1 = upper_half(a), b1 = upper_half(b), a2 = a - a1, b2 = b - b1;
    return {product, ((a1 * b1 - product) + a1 * b2 + a2 * b1) + a2 * b2};
}

// The logarithm of a positive finite number, to about 60 bits.
template <class V>
QUILLON_ELEMENTARY Extended<V> extended_logarithm(V x) {
    const auto [k, f] = binary(x);
    const V divisor = 2 + f, divisor_rest = f - (divisor - 2);
    const V inverse = 1 / divisor;
    const V s = f * inverse;
    const Extended<V> back = exact_product(s, divisor);
    const V s_rest = ((f - back.high) - back.low - s * divisor_rest) * inverse;
    const Extended<V> sum = exact_sum<V>(k * LN2_HIGH, 2 * s);
    return exact_sum<V>(sum.high, sum.low + (s * logarithm_series<V>(s * s) + (2 * s_rest + k * LN2_LOW)));
}

enum class Precision { FLOAT, DOUBLE };

template <Precision PRECISION, class V>
QUILLON_ELEMENTARY V power_of_magnitude(V base, V exponent) {
    const auto is_regular = (base > 0.0) & (base < INFINITE);
    const V usable = is_regular ? base : all<V>(1.0);
    // Beyond these every base but 1 gives 0 or infinity.
    V bounded = exponent > 0x1p65 ? all<V>(0x1p65) : exponent;
    bounded = bounded < -0x1p65 ? all<V>(-0x1p65) : bounded;
    Extended<V> product = {};
    if constexpr (PRECISION == Precision::FLOAT) {
        product.high = bounded * regular_logarithm<V>(usable);
    } else {
        const Extended<V> logarithm = extended_logarithm<V>(usable);
        product = exact_product<V>(bounded, logarithm.high);
        product.low += bounded * logarithm.low;
    }
    const auto is_large = product.high > 710.0, is_small = product.high < -746.0;
    const V high = is_large ? all<V>(710.0) : (is_small ? all<V>(-746.0) : product.high);
    const V value = exponential<V>(high, (is_large | is_small) ? V{} : product.low);
    const auto grows = (base > 1.0) == (exponent > 0.0);
    const V special = base != base ? base : (grows ? all<V>(INFINITE) : V{});
    return is_regular ? value : special;
}

// Error for precision FLOAT: 2^-53 for each unit of the result's logarithm.
template <Precision PRECISION = Precision::DOUBLE, class V>
QUILLON_ELEMENTARY V pow(V base, V exponent) {
    const V size = magnitude(base), steps = magnitude(exponent);
    V value = power_of_magnitude<PRECISION, V>(size, exponent);
    if constexpr (Lanes<V>::COUNT == 1)
        if (base > 0.0 && base < INFINITE && steps <= 0x1p65) return value;

    // Doubles from 2^52 on are whole, from 2^53 on even; half of an odd one is not whole.
    const V bounded = steps < 0x1p53 ? steps : V{};
    const V whole = (bounded + 0x1p52) - 0x1p52;
    const V half = bounded * 0.5, whole_half = (half + 0x1p52) - 0x1p52;
    const auto is_negative = bits_of(base) >> 63 != 0;
    const auto is_whole = (whole == bounded) | (steps >= 0x1p52);
    const auto is_odd = (steps < 0x1p53) & is_whole & (whole_half != half);
    value = (is_negative & is_odd) ? -value : value;
    value = ((base < 0.0) & !is_whole & (size < INFINITE)) ? all<V>(__builtin_nan("")) : value;
    value = exponent != exponent ? exponent : value;
    value = ((size == 1.0) & (steps == INFINITE)) ? all<V>(1.0) : value;
    return ((base == 1.0) | (exponent == 0.0)) ? all<V>(1.0) : value;
}

// ---- Sine and cosine ----------------------------------------------------------------------------------------------

// An angle as so many quarter turns (of which the low two bits count) and what remains, at most an eighth of a turn.
template <class V>
struct Quarters {
    Bits<V> count;
    V rest;
};

// The same for one angle of any size.
[[maybe_unused]] static inline Quarters<double> large_angle(double angle) {
    // 2 / pi behind the point, after 64 zeros
    static constexpr uint64_t TWO_OVER_PI[20] = {
        0x0000000000000000U, 0xA2F9836E4E441529U, 0xFC2757D1F534DDC0U, 0xDB6295993C439041U, 0xFE5163ABDEBBC561U,
        0xB7246E3A424DD2E0U, 0x06492EEA09D1921CU, 0xFE1DEB1CB129A73EU, 0xE88235F52EBB4484U, 0xE99C7026B45F7E41U,
        0x3991D639835339F4U, 0x9C845F8BBDF9283BU, 0x1FF897FFDE05980FU, 0xEF2F118B5A0A6D1FU, 0x6D367ECF27CB09B7U,
        0x4F463F669E5FEA2DU, 0x7527BAC7EBE5F17BU, 0x3D0739F78A5292EAU, 0x6BFB5FB11F8D5D08U, 0x56033046FC7B6BABU};
    __extension__ typedef unsigned __int128 Wide;
    const uint64_t bits = bits_of(angle);
    const int exponent = static_cast<int>(bits >> 52 & 0x7FF) - 1075;
    if (exponent == 0x7FF - 1075) return {0, angle - angle};  // infinite or not a number
    const uint64_t mantissa = (bits & 0xFFFFFFFFFFFFFU) | 0x10000000000000U;

    // Bits of 2 / pi above these give whole turns. The product's upper two bits count quarters.
    const int first = exponent + 62, word = first / 64, shift = first % 64;
    uint64_t window[3];
    for (int i = 0; i < 3; ++i)
        window[i] =
            shift ? TWO_OVER_PI[word + i] << shift | TWO_OVER_PI[word + i + 1] >> (64 - shift) : TWO_OVER_PI[word + i];
    const Wide low = Wide{window[2]} * mantissa;
    const Wide middle = Wide{window[1]} * mantissa + static_cast<uint64_t>(low >> 64);
    const uint64_t high = window[0] * mantissa + static_cast<uint64_t>(middle >> 64);

    uint64_t count = high >> 62;
    Wide part = (Wide{high} << 64 | static_cast<uint64_t>(middle)) << 2 | static_cast<uint64_t>(low) >> 62;
    const bool is_upper_half = part >> 127 != 0;  // nearer to the next quarter
    if (is_upper_half) ++count, part = -part;
    double scale = 8.51530395021638647334e-20;  // pi / 2 * 2^-64
    for (; part >> 127 == 0 && part != 0; part <<= 1) scale *= 0.5;
    const double rest = static_cast<double>(static_cast<uint64_t>(part >> 64)) * scale;
    const bool is_negative = bits >> 63 != 0;
    return {is_negative ? 0 - count : count, is_negative != is_upper_half ? -rest : rest};
}

template <class V>
QUILLON_ELEMENTARY Quarters<V> quarters(V angle) {
    constexpr double HALF_PI[3] = {1.5707963267341256, 6.077100506303966e-11,
                                   2.0222662487959506e-21};  // 33, 33, 53 bits
    constexpr double LARGEST = 0x1p20;                       // multiples up to here of the first two are exact
    const V shifted = angle * 0.636619772367581343 + ROUNDER;
    const V whole = shifted - ROUNDER;
    Quarters<V> result = {bits_of(shifted), ((angle - whole * HALF_PI[0]) - whole * HALF_PI[1]) - whole * HALF_PI[2]};
    for (int i = 0; i < Lanes<V>::COUNT; ++i) {
        if (__builtin_fabs(lane(angle, i)) < LARGEST) continue;
        const Quarters<double> large = large_angle(lane(angle, i));
        set_lane(result.rest, i, large.rest);
        if constexpr (Lanes<V>::COUNT == 1)
            result.count = large.count;
        else
            result.count[i] = large.count;
    }
    return result;
}

template <class V>
struct SineCosine {
    V sine, cosine;
};
template <class V>
QUILLON_ELEMENTARY SineCosine<V> sine_cosine(V angle) {
    const auto [count, r] = quarters(angle);
    const V z = r * r;
    const V s = r + z * r *
                        (-1.66666666666666324348e-01 +
                         z * (8.33333333332248946124e-03 +
                              z * (-1.98412698298579493134e-04 +
                                   z * (2.75573137070700676789e-06 +
                                        z * (-2.50507602534068634195e-08 + z * 1.58969099521155010221e-10)))));
    const V tail = z * z *
                   (4.16666666666666019037e-02 +
                    z * (-1.38888888888741095749e-03 +
                         z * (2.48015872894767294178e-05 +
                              z * (-2.75573143513906633035e-07 +
                                   z * (2.08757232129817482790e-09 - z * 1.13596475577881948265e-11)))));
    const V half = 0.5 * z;
    const V w = 1 - half;
    const V c = w + (((1 - w) - half) + tail);
    // In quarter q: (s, c), (c, -s), (-s, -c), (-c, s).
    const auto is_odd = (count & 1U) != 0;
    const V sine = is_odd ? c : s;
    const V cosine = is_odd ? s : c;
    return {angle == 0.0 ? angle : from_bits<V>(bits_of(sine) ^ (count & 2U) << 62),
            from_bits<V>(bits_of(cosine) ^ ((count + 1U) & 2U) << 62)};
}

template <class V>
QUILLON_ELEMENTARY V sin(V angle) {
    return sine_cosine(angle).sine;
}
template <class V>
QUILLON_ELEMENTARY V cos(V angle) {
    return sine_cosine(angle).cosine;
}
template <class V>
QUILLON_ELEMENTARY V tan(V angle) {
    const SineCosine<V> turn = sine_cosine(angle);
    return turn.sine / turn.cosine;
}

// ---- Angles from lengths ------------------------------------------------------------------------------------------

constexpr double PI_HIGH = 3.141592653589793116, PI_LOW = 1.2246467991473531772e-16;

// atan(t) - t + low for |t| up to 7 / 16; the caller adds t last.
template <class V>
QUILLON_ELEMENTARY V arc_tangent_tail(V t, V low) {
    const V z = t * t, w = z * z;
    const V even = z * (3.33333333333329318027e-01 +
                        w * (1.42857142725034663711e-01 +
                             w * (9.09088713343650656196e-02 +
                                  w * (6.66107313738753120669e-02 +
                                       w * (4.97687799461593236017e-02 + w * 1.62858201153657823623e-02)))));
    const V odd =
        w *
        (-1.99999999998764832476e-01 +
         w * (-1.11111104054623557880e-01 +
              w * (-7.69187620504482999495e-02 + w * (-5.83357013379057348645e-02 + w * -3.65315727442169155270e-02))));
    return low - t * (even + odd);
}

template <class V>
QUILLON_ELEMENTARY V atan2(V y, V x) {
    constexpr double TAN_EIGHTH_PI = 0.4142135623730950488;
    V ax = magnitude(x), ay = magnitude(y);
    const auto are_infinite = (ax == INFINITE) & (ay == INFINITE);
    const auto is_steep = ay > ax;
    V most = is_steep ? ay : ax, least = is_steep ? ax : ay;
    const auto are_equal = are_infinite | (most == 0.0);  // of which the ratio is not a number
    const V zero_or_one = most == 0.0 ? V{} : all<V>(1.0);
    least = are_equal ? zero_or_one : least;
    most = are_equal ? all<V>(1.0) : most;
    const auto is_huge = most > 0x1p1000, is_tiny = most < 0x1p-900;
    const V scale = is_huge ? all<V>(0x1p-50) : (is_tiny ? all<V>(0x1p120) : all<V>(1.0));
    most = most * scale, least = least * scale;

    // atan(u) = pi / 4 + atan((u - 1) / (u + 1)) where u is not small
    const auto is_near = least > TAN_EIGHTH_PI * most;
    const V t = (is_near ? least - most : least) / (is_near ? least + most : most);
    const V high = is_near ? all<V>(0.25 * PI_HIGH) : V{};
    V low = arc_tangent_tail<V>(t, is_near ? all<V>(0.25 * PI_LOW) : V{});
    V angle = high + (low + t);
    angle = is_steep ? 0.5 * PI_HIGH - (angle - 0.5 * PI_LOW) : angle;
    angle = sign_bit(x) != 0 ? PI_HIGH - (angle - PI_LOW) : angle;
    angle = with_sign<V>(angle, sign_bit(y));
    return ((x != x) | (y != y)) ? x + y : angle;
}

// Beyond -1 and 1: not a number.
template <class V>
QUILLON_ELEMENTARY V acos(V x) {
    const V size = magnitude(x);
    const auto is_inner = size < 0.5;
    const V z = is_inner ? x * x : (1 - size) * 0.5;
    const V p = z * (1.66666666666666657415e-01 +
                     z * (-3.25565818622400915405e-01 +
                          z * (2.01212532134862925881e-01 +
                               z * (-4.00555345006794114027e-02 +
                                    z * (7.91534994289814532176e-04 + z * 3.47933107596021167570e-05)))));
    const V q =
        1 + z * (-2.40339491173441421878e+00 +
                 z * (2.02094576023350569471e+00 + z * (-6.88283971605453293030e-01 + z * 7.70381505559019352791e-02)));
    const V r = p / q;
    const V inner = 0.5 * PI_HIGH - (x - (0.5 * PI_LOW - x * r));
    const V root = square_root(z);
    const V root_high = from_bits<V>(bits_of(root) & 0xFFFFFFFF00000000U);
    const V sum = root + root_high;
    const V root_low = (z - root_high * root_high) / (sum == 0.0 ? all<V>(1.0) : sum);
    const V right = 2 * (root_high + (r * root + root_low));
    const V left = PI_HIGH - 2 * (root + (r * root - 0.5 * PI_LOW));
    return is_inner ? inner : (x > 0.0 ? right : left);
}

// The length of (x, y), which neither overflows nor underflows on the way.
template <class V>
QUILLON_ELEMENTARY V hypot(V x, V y) {
    const V ax = magnitude(x), ay = magnitude(y);
    const V most = ax > ay ? ax : ay;
    const auto is_huge = most > 0x1p500, is_tiny = most < 0x1p-450;
    const V scale = is_huge ? all<V>(0x1p-600) : (is_tiny ? all<V>(0x1p600) : all<V>(1.0));
    const V back = is_huge ? all<V>(0x1p600) : (is_tiny ? all<V>(0x1p-600) : all<V>(1.0));
    const V u = ax * scale, v = ay * scale;
    const V length = square_root<V>(u * u + v * v) * back;
    return ((ax == INFINITE) | (ay == INFINITE)) ? all<V>(INFINITE) : length;
}

#undef QUILLON_ELEMENTARY

}  // namespace elementary
