#include "imagelib/shift_statistics_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr float BARRED = 1e20F;

// Sums over the patch's rows first, then along them.
static void compare(const ShiftBlock& block, int offset, int index) {
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
            const int at = y * block.row + x;
            const Ints counts = cost < Floats{} + BARRED;
            store(block.sums + at, load(block.sums + at) + (counts ? cost : Floats{}));
            store(block.counts + at, load(block.counts + at) + (counts ? Floats{} + 1.0F : Floats{}));
            const Floats least = load(block.least + at);
            const Ints better = cost < least;
            store(block.least + at, better ? cost : least);
            store(block.shifts + at, better ? Ints{} + index : load(block.shifts + at));
        }
    }
}

}  // namespace

const ShiftStatisticsKernels shift_statistics_kernels = {compare};

}  // namespace QUILLON_SIMD
