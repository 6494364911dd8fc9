// The loop in which a member of Q_Flock looks at its neighbours, eight abreast, one table for each vector unit.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

namespace flock {

// All members, side by side where they are near each other. Seven more may be read behind the last one.
struct CrowdLists {
    const float *x, *y, *z, *vx, *vy, *vz;
    const std::int32_t* index;
};

struct CrowdRun {
    std::int32_t first, count;
};

// Who looks. Lengths in its units; z differs by `deep` between near and far.
struct Looker {
    float x, y, z, vx, vy, speed;
    float keep, sight, deep;
    float blind;  // cosine of the angle behind which neighbours are not seen
    std::int32_t index;
};

struct Company {
    float apart[3];    // away from those that are too close
    float heading[3];  // velocities, by weight
    float middle[3];   // ways to them, by weight
    float weights;
};

struct CrowdKernels {
    // Of the members in `count` runs, oneself left out.
    Company (*look)(const CrowdLists& crowd, const CrowdRun* runs, int count, const Looker& who);
};

QUILLON_SIMD_TABLE(CrowdKernels, crowd_kernels);

}  // namespace flock
