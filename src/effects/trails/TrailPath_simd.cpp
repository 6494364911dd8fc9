#include "effects/trails/TrailPath_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

static void light(const PathLightRow& row) {
    const Pixel none = {}, white = none + 1.0F;
    for (int x = 0; x < row.count; ++x) {
        float* out = row.pixels + 4L * x;
        const Pixel under = load<Pixel>(out), there = larger(under, none);
        Pixel lit = row.sparks ? load<Pixel>(row.sparks + 4L * x) : none;
        if (row.glow) {
            const float* cell = row.glow + 4L * row.cells[x];
            const Pixel left = load<Pixel>(cell), right = load<Pixel>(cell + 4);
            lit += (left + (right - left) * row.parts[x]) * (0.5F + 1.2F * smaller(there, white));
        }
        if (lit[0] + lit[1] + lit[2] == 0.0F) continue;
        lit = 1.0F - 1.0F / (1.0F + lit + 0.5F * lit * lit);
        lit[3] = larger(lit[0], larger(lit[1], lit[2]));
        store(out, under + lit * larger(1.0F - there, none));
    }
}

}  // namespace

const PathKernels path_kernels = {light};

}  // namespace QUILLON_SIMD
