// Private to the pressure: the products and the tridiagonal systems of the direct solution. Plain data.
#pragma once

#include "simdlib/cpu.h"

// c (rows x columns) = a (rows x inner) times b (inner x columns); each number is summed in the order of `inner`.
// The pitches are in doubles; b and c have columns up to a multiple of 8.
struct FluidProduct {
    const double* a;
    const double* b;
    double* c;
    int rows, inner, columns;
    int a_pitch, b_pitch, c_pitch;
};

// Columns [0, columns) of `rows` rows, a multiple of 8: right side in, solution out. `factors` are those of the
// elimination, of the same shape.
struct FluidColumns {
    double* values;
    const double* factors;
    int rows, columns, pitch;
};

struct FluidPressureTable {
    void (*multiply)(const FluidProduct& product);
    void (*solve_columns)(const FluidColumns& columns);
};

QUILLON_SIMD_TABLE(FluidPressureTable, fluid_pressure);
