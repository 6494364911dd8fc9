#include "imagelib/quilt_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int ABREAST = 4;  // registers of places: a point's values are spread once for all of them

template <int PLANES>
static void scan_planes(const float* const planes[3], const QuiltPoint* points, int point_count, int count,
                        float* costs) {
    for (int x = 0; x < count; x += ABREAST * LANES) {
        Floats sums[ABREAST] = {};
        for (int p = 0; p < point_count; ++p) {
            const QuiltPoint& point = points[p];
            for (int c = 0; c < PLANES; ++c) {
                const float* from = planes[c] + point.offset + x;
                for (int i = 0; i < ABREAST; ++i) {
                    const Floats d = load(from + i * LANES) - point.value[c];
                    sums[i] += d * d;
                }
            }
        }
        for (int i = 0; i < ABREAST; ++i) store(costs + x + i * LANES, sums[i]);
    }
}

static void scan(const float* const planes[3], int plane_count, const QuiltPoint* points, int point_count, int count,
                 float* costs) {
    if (plane_count == 1)
        scan_planes<1>(planes, points, point_count, count, costs);
    else
        scan_planes<3>(planes, points, point_count, count, costs);
}

}  // namespace

const QuiltKernels quilt_kernels = {scan};

}  // namespace QUILLON_SIMD
