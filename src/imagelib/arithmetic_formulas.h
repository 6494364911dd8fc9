// Private to the image library: arithmetic and gamma of samples, for rows on the processor and for kernels.
#pragma once

#include <cmath>

#include "gpulib/gpulib_runtime.h"
#include "simdlib/elementary.h"

// Divisors smaller than this do nothing.
inline constexpr float TINY_DIVISOR = 0.000001f;

struct AddSamples {
    template <class Real>
    GPU_AND_CPU Real operator()(Real a, Real b) const {
        return a + b;
    }
};
struct SubtractSamples {
    template <class Real>
    GPU_AND_CPU Real operator()(Real a, Real b) const {
        return a - b;
    }
};
struct ReverseSubtractSamples {
    template <class Real>
    GPU_AND_CPU Real operator()(Real a, Real b) const {
        return b - a;
    }
};
struct MultiplySamples {
    template <class Real>
    GPU_AND_CPU Real operator()(Real a, Real b) const {
        return a * b;
    }
};
struct DivideSamples {
    template <class Real>
    GPU_AND_CPU Real operator()(Real a, Real b) const {
        return std::fabs(b) > Real(TINY_DIVISOR) ? a / b : a;
    }
};

// Division by a constant is multiplication by this.
GPU_AND_CPU float factor_of_divisor(float c) { return std::fabs(c) < TINY_DIVISOR ? 1.0f : 1.0f / c; }

// ---- Gamma ----------------------------------------------------------------------------------------------------

inline constexpr int GAMMA_STEPS = 65536;

// What has no power becomes 0.
GPU_AND_CPU float gamma_power(float value, double exponent) {
    const auto power =
        static_cast<float>(elementary::pow<elementary::Precision::FLOAT>(static_cast<double>(value), exponent));
    return power == power ? power : 0.0f;
}

// Entry i of GAMMA_STEPS in the table of samples from 0 to 1.
GPU_AND_CPU float gamma_step(int i, double exponent) {
    return gamma_power(static_cast<float>(i) / GAMMA_STEPS, exponent);
}

GPU_AND_CPU float gamma_sample(float value, const float* steps, double exponent) {
    return value >= 0.0f && value < 1.0f ? steps[static_cast<int>(value * GAMMA_STEPS)] : gamma_power(value, exponent);
}
