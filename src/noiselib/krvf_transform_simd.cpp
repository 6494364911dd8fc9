// The arithmetic of the random vector fields, many lines and waves abreast.
#include "noiselib/krvf_transform.h"
#include "simdlib/elementary.h"

namespace QUILLON_SIMD {
namespace {

#if defined(__AVX512F__)
constexpr std::size_t LANES = 8;
#elif defined(__AVX2__)
constexpr std::size_t LANES = 4;
#else
constexpr std::size_t LANES = 2;
#endif
typedef double Doubles __attribute__((vector_size(8 * LANES)));

static inline Doubles load(const double* from) {
    Doubles v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
}
static inline void store(double* to, Doubles v) { __builtin_memcpy(to, &v, sizeof v); }

static void butterflies(double* __restrict a_real, double* __restrict a_imag, double* __restrict b_real,
                        double* __restrict b_imag, double c, double s, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const double real = b_real[i] * c - b_imag[i] * s;
        const double imag = b_real[i] * s + b_imag[i] * c;
        b_real[i] = a_real[i] - real;
        b_imag[i] = a_imag[i] - imag;
        a_real[i] += real;
        a_imag[i] += imag;
    }
}

static void from_polar(double* __restrict amplitude, double* __restrict phase, std::size_t count) {
    std::size_t i = 0;
    for (; i + LANES <= count; i += LANES) {
        const auto turn = elementary::sine_cosine(load(phase + i));
        const Doubles length = load(amplitude + i);
        store(phase + i, length * turn.sine);
        store(amplitude + i, length * turn.cosine);
    }
    for (; i < count; ++i) {
        const auto turn = elementary::sine_cosine(phase[i]);
        phase[i] = amplitude[i] * turn.sine;
        amplitude[i] *= turn.cosine;
    }
}

}  // namespace

extern const TransformKernels transform_kernels;
const TransformKernels transform_kernels = {butterflies, from_polar};

}  // namespace QUILLON_SIMD
