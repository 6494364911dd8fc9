#include "simdlib/elementary.h"

#include "elementary_simd.h"

namespace QUILLON_SIMD {
namespace {

#if defined(__AVX512F__)
constexpr int LANES = 8;
#elif defined(__AVX2__)
constexpr int LANES = 4;
#else
constexpr int LANES = 2;
#endif
typedef double Doubles __attribute__((vector_size(8 * LANES)));

static inline Doubles load(const double* from) {
    Doubles v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
}

template <class Function>
static inline void map(const double* x, double* out, int count, Function function) {
    for (int i = 0; i < count; i += LANES) {
        const Doubles v = function(load(x + i));
        __builtin_memcpy(out + i, &v, sizeof v);
    }
}
template <class Function>
static inline void map(const double* x, const double* y, double* out, int count, Function function) {
    for (int i = 0; i < count; i += LANES) {
        const Doubles v = function(load(x + i), load(y + i));
        __builtin_memcpy(out + i, &v, sizeof v);
    }
}

static void exp(const double* x, double* out, int count) {
    map(x, out, count, [](Doubles v) { return elementary::exp(v); });
}
static void log(const double* x, double* out, int count) {
    map(x, out, count, [](Doubles v) { return elementary::log(v); });
}
static void sin(const double* x, double* out, int count) {
    map(x, out, count, [](Doubles v) { return elementary::sin(v); });
}
static void cos(const double* x, double* out, int count) {
    map(x, out, count, [](Doubles v) { return elementary::cos(v); });
}
static void tan(const double* x, double* out, int count) {
    map(x, out, count, [](Doubles v) { return elementary::tan(v); });
}
static void acos(const double* x, double* out, int count) {
    map(x, out, count, [](Doubles v) { return elementary::acos(v); });
}
static void pow(const double* x, const double* y, double* out, int count) {
    map(x, y, out, count, [](Doubles v, Doubles w) { return elementary::pow(v, w); });
}
static void atan2(const double* x, const double* y, double* out, int count) {
    map(x, y, out, count, [](Doubles v, Doubles w) { return elementary::atan2(v, w); });
}
static void hypot(const double* x, const double* y, double* out, int count) {
    map(x, y, out, count, [](Doubles v, Doubles w) { return elementary::hypot(v, w); });
}

}  // namespace

const ElementaryTable elementary_table = {exp, log, sin, cos, tan, acos, pow, atan2, hypot};

}  // namespace QUILLON_SIMD
