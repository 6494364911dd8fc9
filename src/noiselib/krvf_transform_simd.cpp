// The arithmetic of the random vector fields, many lines and waves abreast.
#include "noiselib/krvf_transform.h"
#include "noiselib/portable_math.h"

namespace QUILLON_SIMD {
namespace {

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
    for (std::size_t i = 0; i < count; ++i) {
        const SineCosine turn = sine_cosine(phase[i]);
        phase[i] = amplitude[i] * turn.sine;
        amplitude[i] *= turn.cosine;
    }
}

}  // namespace

extern const TransformKernels transform_kernels;
const TransformKernels transform_kernels = {butterflies, from_polar};

}  // namespace QUILLON_SIMD
