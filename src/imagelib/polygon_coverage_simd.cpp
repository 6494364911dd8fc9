// Many pixels abreast, in double precision. Compiled once for each instruction set; no product and sum are fused, so
// all give the same bits.
#include "imagelib/polygon_coverage_simd.h"
#include "simdlib/vectors.h"

namespace coverage::QUILLON_SIMD {
namespace {

using namespace ::QUILLON_SIMD;

constexpr int PIXELS = COUNT_OF<Doubles>;

inline Doubles clamp(Doubles u) {
    u = u < 0.0 ? Doubles{} : u;
    return u < 1.0 ? u : Doubles{} + 1.0;
}

// The integral of clamp(u).
inline Doubles ramp_integral(Doubles u) {
    const Doubles c = clamp(u);
    return 0.5 * c * c + (u > 1.0 ? u - 1.0 : Doubles{});
}

// The area right of an edge's piece within the columns that end at `sides`: the mean of how far a column's far side
// lies beyond the piece, limited to the column, times the piece's height.
inline Doubles area(const Crossing& edge, double low, double high, Doubles sides) {
    if (edge.scale == 0) return edge.height * clamp(sides - 0.5 * (edge.x0 + edge.x1));  // the middle is off by 1e-8
    const Doubles mean = (ramp_integral(sides - edge.x1) - ramp_integral(sides - edge.x0)) * edge.scale;
    const Doubles near = sides - low <= 0.0 ? Doubles{} : mean;
    return edge.height * (sides - high >= 1.0 ? Doubles{} + 1.0 : near);
}

void cover(float* values, int x, int count, const Crossing* crossings, int crossing_count) {
    const Doubles lanes = counting<Doubles>();
    for (int i = 0; i < count; i += PIXELS) {
        const double first = x + i + 1.0, last = first + (PIXELS - 1);
        const Doubles sides = first + lanes;
        Doubles areas{};
        for (const Crossing* edge = crossings; edge != crossings + crossing_count; ++edge) {
            const double low = edge->x0 < edge->x1 ? edge->x0 : edge->x1;
            const double high = edge->x0 < edge->x1 ? edge->x1 : edge->x0;
            if (last <= low) continue;
            areas += first - high >= 1 ? Doubles{} + edge->height : area(*edge, low, high, sides);
        }
        areas = areas < 0.0 ? -areas : areas;
        areas = areas > 1.0 ? Doubles{} + 1.0 : areas;
        areas = areas > 1e-12 ? areas : Doubles{};  // below: rounding errors of 0
        store(values + i, to_floats(areas));
    }
}

}  // namespace

const Kernels kernels = {cover};

}  // namespace coverage::QUILLON_SIMD
