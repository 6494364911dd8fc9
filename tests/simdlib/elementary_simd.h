// The vector forms of the elementary functions, for the test.
#pragma once

#include "simdlib/cpu.h"

// out[i] = function(x[i], y[i]) for `count` numbers, a multiple of 8; some functions take x alone.
struct ElementaryTable {
    using Row = void (*)(const double* x, const double* y, double* out, int count);
    Row exp, log, sin, cos, tan, acos, pow, atan2, hypot;
};

QUILLON_SIMD_TABLE(ElementaryTable, elementary_table);
