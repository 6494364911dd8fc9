#include "imagelib/shift_statistics_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr float BARRED = 1e20F;

// visit(place in the results, costs) for all patches, a register at a time. Sums over a patch's rows come first, then
// those along them.
template <class Visit>
static void each_cost(const ShiftBlock& block, int offset, Visit&& visit) {
    constexpr int P = SHIFT_PATCH;
    const int columns = block.width + 2 * P, rows = block.height + 2 * P;
    for (int y = 0; y < rows; ++y) {
        const int start = block.start + (y - P) * block.pitch - P;
        float* to = block.scratch + y * block.row;
        for (int x = 0; x < columns; x += LANES) {
            Floats sum = {};
            for (int c = 0; c < 4; ++c) {
                const Floats d = load(block.planes[c] + start + x) - load(block.planes[c] + start + offset + x);
                sum += d * d;
            }
            store(to + x, sum);
        }
    }
    float* upwards = block.scratch + rows * block.row;
    for (int y = 0; y < block.height; ++y) {
        const float* from = block.scratch + y * block.row;
        for (int x = 0; x < columns; x += LANES) {
            Floats sum = load(from + x);
            for (int v = 1; v <= 2 * P; ++v) sum += load(from + v * block.row + x);
            store(upwards + x, sum);
        }
        const float* barred = block.barred + block.start + y * block.pitch + offset;
        for (int x = 0; x < block.width; x += LANES) {
            Floats cost = load(barred + x);
            for (int u = 0; u <= 2 * P; ++u) cost += load(upwards + x + u);
            visit(y * block.row + x, cost);
        }
    }
}

static void compare(const ShiftBlock& block, int offset) {
    each_cost(block, offset, [&](int at, const Floats& cost) {
        const Ints counts = cost < Floats{} + BARRED;
        store(block.sums + at, load(block.sums + at) + (counts ? cost : Floats{}));
        store(block.counts + at, load(block.counts + at) + (counts ? Floats{} + 1.0F : Floats{}));
        store(block.least + at, smaller(cost, load(block.least + at)));
    });
}

// In whole numbers, which add up to the same in any order.
static int vote(const ShiftBlock& block, int offset) {
    Ints sums = {};
    each_cost(block, offset, [&](int at, const Floats& cost) {
        const Floats suits = larger(1.0F - cost / load(block.limits + at), Floats{});
        sums += to_ints(SHIFT_VOTE * (load(block.weights + at) * suits));
    });
    int sum = 0;
    for (int i = 0; i < LANES; ++i) sum += sums[i];
    return sum;
}

}  // namespace

const ShiftStatisticsKernels shift_statistics_kernels = {compare, vote};

}  // namespace QUILLON_SIMD
