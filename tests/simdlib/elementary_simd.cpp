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

template <auto FUNCTION>
static void row(const double* x, const double* y, double* out, int count) {
    for (int i = 0; i < count; i += LANES) {
        const Doubles v = FUNCTION(load(x + i), load(y + i));
        __builtin_memcpy(out + i, &v, sizeof v);
    }
}

}  // namespace

const ElementaryTable elementary_table = {.exp = row<[](Doubles x, Doubles) { return elementary::exp(x); }>,
                                          .log = row<[](Doubles x, Doubles) { return elementary::log(x); }>,
                                          .sin = row<[](Doubles x, Doubles) { return elementary::sin(x); }>,
                                          .cos = row<[](Doubles x, Doubles) { return elementary::cos(x); }>,
                                          .tan = row<[](Doubles x, Doubles) { return elementary::tan(x); }>,
                                          .acos = row<[](Doubles x, Doubles) { return elementary::acos(x); }>,
                                          .pow = row<[](Doubles x, Doubles y) { return elementary::pow(x, y); }>,
                                          .atan2 = row<[](Doubles x, Doubles y) { return elementary::atan2(x, y); }>,
                                          .hypot = row<[](Doubles x, Doubles y) { return elementary::hypot(x, y); }>};

}  // namespace QUILLON_SIMD
