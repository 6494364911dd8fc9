// The vector forms of the elementary functions, for the test.
#pragma once

#include "simdlib/cpu.h"

struct ElementaryTable {
    // One argument each, `count` of them, which is a multiple of 8.
    void (*exp)(const double* x, double* out, int count);
    void (*log)(const double* x, double* out, int count);
    void (*sin)(const double* x, double* out, int count);
    void (*cos)(const double* x, double* out, int count);
    void (*tan)(const double* x, double* out, int count);
    void (*acos)(const double* x, double* out, int count);
    // Two
    void (*pow)(const double* x, const double* y, double* out, int count);
    void (*atan2)(const double* x, const double* y, double* out, int count);
    void (*hypot)(const double* x, const double* y, double* out, int count);
};

QUILLON_SIMD_TABLE(ElementaryTable, elementary_table);
