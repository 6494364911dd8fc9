// The SSE2 operations that loops on four numbers side by side use, where there is no SSE2: the same names and the same
// bits, from the compiler's own vectors. Files that are compiled once for each instruction set do not need this.
#pragma once

#if defined(__x86_64__) || defined(_M_X64)
#include <emmintrin.h>
#else

#include <cstring>

typedef float __m128 __attribute__((vector_size(16), may_alias));
typedef double __m128d __attribute__((vector_size(16), may_alias));

namespace sse2 {

typedef int Mask __attribute__((vector_size(16)));

template <class Vector, class Number>
inline Vector load(const Number* from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}
template <class Number, class Vector>
inline void store(Number* to, const Vector& vector) {
    std::memcpy(to, &vector, sizeof vector);
}

}  // namespace sse2

inline __m128 _mm_setzero_ps() { return __m128{}; }
inline __m128 _mm_set1_ps(float a) { return __m128{a, a, a, a}; }
inline __m128 _mm_setr_ps(float a, float b, float c, float d) { return __m128{a, b, c, d}; }
inline __m128d _mm_setr_pd(double a, double b) { return __m128d{a, b}; }
inline __m128 _mm_load_ps(const float* from) { return sse2::load<__m128>(from); }
inline __m128 _mm_loadu_ps(const float* from) { return sse2::load<__m128>(from); }
inline __m128d _mm_loadu_pd(const double* from) { return sse2::load<__m128d>(from); }
inline void _mm_storeu_ps(float* to, __m128 a) { sse2::store(to, a); }
inline void _mm_storeu_pd(double* to, __m128d a) { sse2::store(to, a); }
// Past the caches where the processor can do that; here in the usual way.
inline void _mm_stream_ps(float* to, __m128 a) { sse2::store(to, a); }
inline void _mm_sfence() {}

inline __m128 _mm_sub_ps(__m128 a, __m128 b) { return a - b; }
inline __m128 _mm_div_ps(__m128 a, __m128 b) { return a / b; }
inline __m128d _mm_add_pd(__m128d a, __m128d b) { return a + b; }
inline __m128d _mm_sub_pd(__m128d a, __m128d b) { return a - b; }
inline __m128d _mm_mul_pd(__m128d a, __m128d b) { return a * b; }
inline __m128d _mm_add_sd(__m128d a, __m128d b) { return __m128d{a[0] + b[0], a[1]}; }
// Of a pair with a NaN in it: the second.
inline __m128 _mm_min_ps(__m128 a, __m128 b) { return a < b ? a : b; }
inline __m128 _mm_max_ps(__m128 a, __m128 b) { return a > b ? a : b; }
inline __m128 _mm_cmpeq_ps(__m128 a, __m128 b) { return (__m128)(a == b); }
inline __m128 _mm_and_ps(__m128 a, __m128 b) { return (__m128)((sse2::Mask)a & (sse2::Mask)b); }

#define _MM_SHUFFLE(d, c, b, a) (((d) << 6) | ((c) << 4) | ((b) << 2) | (a))
#define _mm_shuffle_ps(a, b, order) sse2::shuffle<order>(a, b)
namespace sse2 {
template <int order>
inline __m128 shuffle(__m128 a, __m128 b) {
    return __m128{a[order & 3], a[order >> 2 & 3], b[order >> 4 & 3], b[order >> 6 & 3]};
}
}  // namespace sse2
inline __m128 _mm_unpacklo_ps(__m128 a, __m128 b) { return __m128{a[0], b[0], a[1], b[1]}; }
inline __m128 _mm_unpackhi_ps(__m128 a, __m128 b) { return __m128{a[2], b[2], a[3], b[3]}; }
inline __m128 _mm_movelh_ps(__m128 a, __m128 b) { return __m128{a[0], a[1], b[0], b[1]}; }
inline __m128 _mm_movehl_ps(__m128 a, __m128 b) { return __m128{b[2], b[3], a[2], a[3]}; }
inline __m128d _mm_unpacklo_pd(__m128d a, __m128d b) { return __m128d{a[0], b[0]}; }
inline __m128d _mm_unpackhi_pd(__m128d a, __m128d b) { return __m128d{a[1], b[1]}; }
inline __m128d _mm_cvtps_pd(__m128 a) { return __m128d{a[0], a[1]}; }
inline __m128 _mm_cvtpd_ps(__m128d a) { return __m128{static_cast<float>(a[0]), static_cast<float>(a[1]), 0, 0}; }
inline float _mm_cvtss_f32(__m128 a) { return a[0]; }

#endif
