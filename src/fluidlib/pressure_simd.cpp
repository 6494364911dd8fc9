// The arithmetic of the direct solution for the pressure.
#include "fluidlib/pressure_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

constexpr int WIDTH = REGISTER / 8;
constexpr int COLUMNS = 8 / WIDTH > 2 ? 8 / WIDTH : 2;  // registers of a tile side by side
constexpr int ROWS = WIDTH == 2 ? 2 : 4;                // and below one another: all sums stay in registers

template <int rows, int vectors>
static void multiply_tile(const FluidProduct& p, int row, int column) {
    Doubles sums[rows][vectors] = {};
    const double* a = p.a + std::ptrdiff_t(row) * p.a_pitch;
    const double* b = p.b + column;
    for (int n = 0; n < p.inner; ++n, b += p.b_pitch) {
        Doubles line[vectors];
#pragma GCC unroll 4
        for (int k = 0; k < vectors; ++k) line[k] = load(b + k * WIDTH);
#pragma GCC unroll 4
        for (int r = 0; r < rows; ++r) {
            const double factor = a[std::ptrdiff_t(r) * p.a_pitch + n];
#pragma GCC unroll 4
            for (int k = 0; k < vectors; ++k) sums[r][k] += factor * line[k];
        }
    }
    for (int r = 0; r < rows; ++r)
        for (int k = 0; k < vectors; ++k)
            store(p.c + std::ptrdiff_t(row + r) * p.c_pitch + column + k * WIDTH, sums[r][k]);
}

template <int rows>
static void multiply_rows(const FluidProduct& p, int row) {
    int column = 0;
    for (; column + COLUMNS * WIDTH <= p.columns; column += COLUMNS * WIDTH)
        multiply_tile<rows, COLUMNS>(p, row, column);
    for (; column < p.columns; column += WIDTH) multiply_tile<rows, 1>(p, row, column);
}

static void multiply(const FluidProduct& p) {
    int row = 0;
    for (; row + ROWS <= p.rows; row += ROWS) multiply_rows<ROWS>(p, row);
    for (; row < p.rows; ++row) multiply_rows<1>(p, row);
}

// Gauss elimination of -1, b, -1 without pivots: factor(j) = 1 / (b - factor(j - 1)).
static void solve_columns(const FluidColumns& s) {
    for (int column = 0; column < s.columns; column += WIDTH) {
        double* value = s.values + column;
        const double* factor = s.factors + column;
        Doubles x = {};
        for (int j = 0; j < s.rows; ++j, value += s.pitch, factor += s.pitch) {
            x = (load(value) + x) * load(factor);
            store(value, x);
        }
        for (int j = s.rows - 2; j >= 0; --j) {
            double* at = s.values + column + std::ptrdiff_t(j) * s.pitch;
            x = load(at) + load(s.factors + column + std::ptrdiff_t(j) * s.pitch) * x;
            store(at, x);
        }
    }
}

}  // namespace

extern const FluidPressureTable fluid_pressure = {multiply, solve_columns};

}  // namespace QUILLON_SIMD
