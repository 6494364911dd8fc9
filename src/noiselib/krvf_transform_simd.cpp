// The butterflies of the transform, many lines abreast.
#include "noiselib/krvf_transform.h"

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

}  // namespace

extern const TransformKernels transform_kernels;
const TransformKernels transform_kernels = {butterflies};

}  // namespace QUILLON_SIMD
