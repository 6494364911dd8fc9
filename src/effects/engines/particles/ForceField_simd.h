// The arithmetic of a ForceField on particles abreast, one table for each vector unit.
#pragma once

#include "effects/engines/particles/ForceField.h"
#include "simdlib/cpu.h"

struct ForceKernels {
    // `air` and `push`: what swirl and slopes add to the air and to velocities, along x and y.
    void (*apply)(const particles::ForceField& field, const float* wind, const particles::ForceBlock& block,
                  const float* const air[2], const float* const push[2]);
};

QUILLON_SIMD_TABLE(ForceKernels, force_kernels);
