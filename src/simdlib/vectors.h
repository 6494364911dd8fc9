// Vectors for files that are compiled once for each instruction set (cmake/QuillonSimd.cmake): everything here is
// static, and the width follows the set. Files that are compiled once find it in namespace `simd`; they use the types
// of a given width only (Pixel, Vec).
//
// The types are the compiler's own (arithmetic, comparisons and `mask ? a : b` work as on numbers; a mask has all bits
// set where it is true), so that they exist on every machine. Functions are templates over vectors of any length and
// over single numbers where that makes sense. Those that an instruction does on x86-64 call it; what they answer is the
// same everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// GCC warns of vectors wider than a register as results. Everything here is inlined, so that none is ever handed over.
#pragma GCC diagnostic ignored "-Wpsabi"

#if !defined(QUILLON_SIMD)
#define QUILLON_SIMD simd
#endif
#define QUILLON_VECTOR [[maybe_unused, gnu::always_inline]] static inline

namespace QUILLON_SIMD {
namespace {

// ---- Types --------------------------------------------------------------------------------------------------------

template <class T, int COUNT>
struct VectorOf {
    typedef T Type __attribute__((vector_size(COUNT * sizeof(T))));
};
template <class T, int COUNT>
using Vec = typename VectorOf<T, COUNT>::Type;

// Bytes of a register
#if defined(__AVX512F__)
constexpr int REGISTER = 64;
#elif defined(__AVX2__)
constexpr int REGISTER = 32;
#else
constexpr int REGISTER = 16;
#endif

// A register full of something
template <class T>
using Register = Vec<T, REGISTER / sizeof(T)>;

using Floats = Register<float>;
using Ints = Register<int>;
using Doubles = Register<double>;
constexpr int LANES = REGISTER / 4;  // floats in a register

// One RGBA pixel
using Pixel = Vec<float, 4>;
using PixelMask = Vec<int, 4>;

template <class V>
using ElementOf = std::remove_reference_t<decltype(V{}[0])>;
template <class V>
constexpr int COUNT_OF = sizeof(V) / sizeof(ElementOf<V>);

// Whether V is so many bytes of T, and so has instructions of its own.
template <class V, class T, int BYTES>
constexpr bool is_register() {
    if constexpr (std::is_arithmetic_v<V>)
        return false;
    else
        return std::is_same_v<ElementOf<V>, T> && sizeof(V) == BYTES;
}

// ---- Loads and stores ---------------------------------------------------------------------------------------------

// Of a whole register, or of the type asked for: load<Pixel>(p). No alignment is needed.
template <class V = void, class T>
QUILLON_VECTOR auto load(const T* from) {
    std::conditional_t<std::is_void_v<V>, Register<T>, V> v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
}
template <class V, class T>
QUILLON_VECTOR void store(T* to, const V& v) {
    __builtin_memcpy(to, &v, sizeof v);
}

// The same at a multiple of the vector's size.
template <class V = void, class T>
QUILLON_VECTOR auto load_aligned(const T* from) {
    std::conditional_t<std::is_void_v<V>, Register<T>, V> v;
    __builtin_memcpy(&v, __builtin_assume_aligned(from, sizeof v), sizeof v);
    return v;
}
template <class V, class T>
QUILLON_VECTOR void store_aligned(T* to, const V& v) {
    __builtin_memcpy(__builtin_assume_aligned(to, sizeof v), &v, sizeof v);
}

// Past the caches, to a multiple of the vector's size; finish_streams() before another thread reads it.
template <class V>
QUILLON_VECTOR void stream(float* to, V v) {
#if defined(__AVX512F__)
    if constexpr (sizeof(V) == 64) return _mm512_stream_ps(to, (__m512)v);
#endif
#if defined(__AVX2__)
    if constexpr (sizeof(V) == 32) return _mm256_stream_ps(to, (__m256)v);
#endif
#if defined(__SSE2__)
    if constexpr (sizeof(V) == 16) return _mm_stream_ps(to, (__m128)v);
#endif
    store_aligned(to, v);
}
QUILLON_VECTOR void finish_streams() {
#if defined(__SSE2__)
    _mm_sfence();
#endif
}

// ---- Arithmetic ---------------------------------------------------------------------------------------------------

// The same value in every lane; a zero keeps its sign.
template <class V>
QUILLON_VECTOR V all(ElementOf<V> value) {
    return value - V{};
}

// Numbers of two vectors one after another, in the order given. GCC has the builtin function from version 12 on.
template <int... order, class V>
QUILLON_VECTOR auto in_order(V a, V b) {
#if defined(__clang__) || __GNUC__ >= 12
    return __builtin_shufflevector(a, b, order...);
#else
    constexpr int count = COUNT_OF<V>;
    return Vec<ElementOf<V>, sizeof...(order)>{(order < count ? a[order % count] : b[order % count])...};
#endif
}

// Two floats as the first half of four, and back.
QUILLON_VECTOR Vec<float, 4> doubled(Vec<float, 2> v) { return in_order<0, 1, 0, 1>(v, v); }
QUILLON_VECTOR Vec<float, 2> lower_half(Vec<float, 4> v) { return in_order<0, 1>(v, v); }
// Two pixels as one vector of eight.
template <class Eight>
QUILLON_VECTOR Eight joined(Pixel first, Pixel second) {
    if constexpr (COUNT_OF<Eight> == 8)
        return in_order<0, 1, 2, 3, 4, 5, 6, 7>(first, second);
    else
        return Eight{};
}

// `b` where the two do not compare, or are equal.
template <class V>
QUILLON_VECTOR V smaller(V a, V b) {
#if defined(__AVX512F__)
    if constexpr (is_register<V, float, 64>()) return (V)_mm512_min_ps((__m512)a, (__m512)b);
    if constexpr (is_register<V, std::int16_t, 64>()) return (V)_mm512_min_epi16((__m512i)a, (__m512i)b);
#endif
#if defined(__AVX2__)
    if constexpr (is_register<V, float, 32>()) return (V)_mm256_min_ps((__m256)a, (__m256)b);
    if constexpr (is_register<V, std::int16_t, 32>()) return (V)_mm256_min_epi16((__m256i)a, (__m256i)b);
    if constexpr (is_register<V, std::uint8_t, 32>()) return (V)_mm256_min_epu8((__m256i)a, (__m256i)b);
#endif
#if defined(__SSE2__)
    if constexpr (is_register<V, float, 8>()) return lower_half(smaller(doubled(a), doubled(b)));
    if constexpr (is_register<V, float, 16>()) return (V)_mm_min_ps((__m128)a, (__m128)b);
    if constexpr (is_register<V, std::int16_t, 16>()) return (V)_mm_min_epi16((__m128i)a, (__m128i)b);
    if constexpr (is_register<V, std::uint8_t, 16>()) return (V)_mm_min_epu8((__m128i)a, (__m128i)b);
#endif
    return a < b ? a : b;
}
template <class V>
QUILLON_VECTOR V larger(V a, V b) {
#if defined(__AVX512F__)
    if constexpr (is_register<V, float, 64>()) return (V)_mm512_max_ps((__m512)a, (__m512)b);
    if constexpr (is_register<V, std::int16_t, 64>()) return (V)_mm512_max_epi16((__m512i)a, (__m512i)b);
#endif
#if defined(__AVX2__)
    if constexpr (is_register<V, float, 32>()) return (V)_mm256_max_ps((__m256)a, (__m256)b);
    if constexpr (is_register<V, std::int16_t, 32>()) return (V)_mm256_max_epi16((__m256i)a, (__m256i)b);
    if constexpr (is_register<V, std::uint8_t, 32>()) return (V)_mm256_max_epu8((__m256i)a, (__m256i)b);
#endif
#if defined(__SSE2__)
    if constexpr (is_register<V, float, 8>()) return lower_half(larger(doubled(a), doubled(b)));
    if constexpr (is_register<V, float, 16>()) return (V)_mm_max_ps((__m128)a, (__m128)b);
    if constexpr (is_register<V, std::int16_t, 16>()) return (V)_mm_max_epi16((__m128i)a, (__m128i)b);
    if constexpr (is_register<V, std::uint8_t, 16>()) return (V)_mm_max_epu8((__m128i)a, (__m128i)b);
#endif
    return a > b ? a : b;
}

// What is not a number becomes the lower limit.
template <class V>
QUILLON_VECTOR V limited(V v, V low, V high) {
    return smaller(larger(v, low), high);
}
// To 0 to 1; what is not a number becomes 0.
template <class V>
QUILLON_VECTOR V to_unit(V v) {
    return limited(v, V{}, V{} + 1.0F);
}

template <class V>
QUILLON_VECTOR V square_root(V v) {
#if defined(__AVX512F__)
    if constexpr (is_register<V, float, 64>()) return (V)_mm512_sqrt_ps((__m512)v);
    if constexpr (is_register<V, double, 64>()) return (V)_mm512_sqrt_pd((__m512d)v);
#endif
#if defined(__AVX2__)
    if constexpr (is_register<V, float, 32>()) return (V)_mm256_sqrt_ps((__m256)v);
    if constexpr (is_register<V, double, 32>()) return (V)_mm256_sqrt_pd((__m256d)v);
#endif
#if defined(__SSE2__)
    if constexpr (is_register<V, float, 16>()) return (V)_mm_sqrt_ps((__m128)v);
    if constexpr (is_register<V, double, 16>()) return (V)_mm_sqrt_pd((__m128d)v);
#endif
    if constexpr (std::is_same_v<V, float>) {
        return __builtin_sqrtf(v);
    } else if constexpr (std::is_same_v<V, double>) {
        return __builtin_sqrt(v);
    } else {
        for (int i = 0; i < COUNT_OF<V>; ++i) v[i] = square_root(ElementOf<V>{v[i]});
        return v;
    }
}

QUILLON_VECTOR float absolute(float v) { return __builtin_fabsf(v); }
template <class V>
QUILLON_VECTOR V absolute(V v) {
    using Bits = decltype(v < v);
    return (V)((Bits)v & ~(Bits)(-V{}));
}

// Of numbers within the range of the integers.
QUILLON_VECTOR int floor_of(float v) {
    const int cut = static_cast<int>(v);
    return cut - (static_cast<float>(cut) > v);
}

// ---- Conversions --------------------------------------------------------------------------------------------------

// Truncated; the numbers must be within the range of the integers.
template <class V>
QUILLON_VECTOR auto to_ints(V v) {
    return __builtin_convertvector(v, Vec<int, COUNT_OF<V>>);
}
template <class V>
QUILLON_VECTOR auto to_floats(V v) {
    return __builtin_convertvector(v, Vec<float, COUNT_OF<V>>);
}
template <class V>
QUILLON_VECTOR auto to_doubles(V v) {
    return __builtin_convertvector(v, Vec<double, COUNT_OF<V>>);
}

// The first two of four floats, and two pairs of doubles, where compilers make single conversions of them.
QUILLON_VECTOR Vec<double, 2> lower_doubles(Vec<float, 4> v) {
#if defined(__SSE2__)
    return (Vec<double, 2>)_mm_cvtps_pd((__m128)v);
#else
    return to_doubles(lower_half(v));
#endif
}
QUILLON_VECTOR Vec<float, 4> to_floats(Vec<double, 2> first, Vec<double, 2> second) {
#if defined(__SSE2__)
    return (Vec<float, 4>)_mm_movelh_ps(_mm_cvtpd_ps((__m128d)first), _mm_cvtpd_ps((__m128d)second));
#else
    return in_order<0, 1, 2, 3>(to_floats(first), to_floats(second));
#endif
}

// ---- Masks and places ---------------------------------------------------------------------------------------------

QUILLON_VECTOR bool all_set(Ints mask) {
#if defined(__AVX512F__)
    return _mm512_movepi32_mask((__m512i)mask) == 0xffff;
#elif defined(__AVX2__)
    return _mm256_movemask_ps((__m256)mask) == 0xff;
#elif defined(__SSE2__)
    return _mm_movemask_ps((__m128)mask) == 0xf;
#else
    return (mask[0] & mask[1] & mask[2] & mask[3]) != 0;
#endif
}

template <class T>
QUILLON_VECTOR Register<T> gather(const T* table, Ints index) {
    static_assert(sizeof(T) == 4);
#if defined(__AVX512F__)
    return (Register<T>)_mm512_i32gather_ps((__m512i)index, table, 4);
#elif defined(__AVX2__)
    return (Register<T>)_mm256_i32gather_ps(reinterpret_cast<const float*>(table), (__m256i)index, 4);
#else
    return Register<T>{table[index[0]], table[index[1]], table[index[2]], table[index[3]]};
#endif
}

// Element index[i] of a register in lane i; the indices must be within it.
QUILLON_VECTOR Floats picked(Floats table, Ints index) {
#if defined(__AVX512F__)
    return (Floats)_mm512_permutexvar_ps((__m512i)index, (__m512)table);
#elif defined(__AVX2__)
    return (Floats)_mm256_permutevar8x32_ps((__m256)table, (__m256i)index);
#else
    return Floats{table[index[0]], table[index[1]], table[index[2]], table[index[3]]};
#endif
}

// 0, 1, 2, ...
template <class V>
QUILLON_VECTOR V counting() {
    V v = {};
    for (int i = 0; i < COUNT_OF<V>; ++i) v[i] = static_cast<ElementOf<V>>(i);
    return v;
}

// Element i of a list, in every group of four: of `a` from 0 to 3, of `b` from 4 to 7.
template <int I, int J, int K, int L, class V>
QUILLON_VECTOR V mixed_groups(V a, V b) {
    constexpr int N = COUNT_OF<V>;
    constexpr int i = I < 4 ? I : N + I - 4, j = J < 4 ? J : N + J - 4, k = K < 4 ? K : N + K - 4,
                  l = L < 4 ? L : N + L - 4;
    if constexpr (N == 16)
        return in_order<i, j, k, l, i + 4, j + 4, k + 4, l + 4, i + 8, j + 8, k + 8, l + 8, i + 12, j + 12, k + 12,
                        l + 12>(a, b);
    else if constexpr (N == 8)
        return in_order<i, j, k, l, i + 4, j + 4, k + 4, l + 4>(a, b);
    else
        return in_order<i, j, k, l>(a, b);
}
// Element K of each group of four, four times.
template <int K, class V>
QUILLON_VECTOR V spread(V v) {
    return mixed_groups<K, K, K, K>(v, v);
}

}  // namespace
}  // namespace QUILLON_SIMD
