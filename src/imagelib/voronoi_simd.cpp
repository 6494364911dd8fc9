#include "imagelib/voronoi_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

template <class Distance>
QUILLON_VECTOR void compare(const VoronoiRow& row, std::uint32_t label, int first, int last, const Distance& distance) {
    const Ints own = Ints{} + static_cast<int>(label);
    for (int x = first; x < last; x += LANES) {
        const Floats d = distance(counting<Floats>() + (float(x) + 0.5f));
        const Floats best = load(row.best + x), second = load(row.second + x);
        const auto nearer = d < best;
        store(row.labels + x, nearer ? own : load<Ints>(row.labels + x));
        store(row.second + x, larger(best, smaller(d, second)));
        store(row.best + x, smaller(d, best));
    }
}

static void round(const VoronoiRow& row, const SiteOnRow& site, int first, int last) {
    const float across = site.dy * site.dy;
    compare(row, site.label, first, last, [&](Floats x) {
        const Floats dx = x - site.x;
        return dx * dx + across;
    });
}

static void square(const VoronoiRow& row, const SiteOnRow& site, int first, int last) {
    const float along = site.dy * site.uy, across = site.dy * site.ux;
    compare(row, site.label, first, last, [&](Floats x) {
        const Floats dx = x - site.x;
        return larger(absolute(dx * site.ux + along), absolute(across - dx * site.uy));
    });
}

}  // namespace

const VoronoiKernels voronoi_kernels = {round, square};

}  // namespace QUILLON_SIMD
