// Places carried along a velocity, built for each instruction set.
#pragma once

#include "simdlib/cpu.h"

// On a grid, in cells for each unit of flow. Places beyond the outermost cells see those.
struct FlowVelocity {
    const float *u, *v;
    int width, height;  // at least 2
};

// Carries `count` places by `steps` steps of the classical Runge-Kutta method of the fourth order.
using CarryPlaces = void (*)(const FlowVelocity& velocity, float step, int steps, int count, float* x, float* y);
QUILLON_SIMD_TABLE(CarryPlaces, carry_places);
