// The arithmetic of the random vector fields, many lines and waves abreast.
#include "noiselib/krvf_transform.h"
#include "simdlib/elementary.h"
#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr std::size_t WIDTH = COUNT_OF<Doubles>;

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
    for (; i + WIDTH <= count; i += WIDTH) {
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

const TransformKernels transform_kernels = {butterflies, from_polar};

}  // namespace QUILLON_SIMD
