// Solvers for tests, filled from functions of the place.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "fluidlib/fluidlib.h"

inline constexpr float PI = std::numbers::pi_v<float>;

inline void image_rows(void*, RowWorker worker, int rows, void* job) { image_dispatch_rows_float(worker, rows, job); }

inline std::unique_ptr<FluidFlow> make_flow(int size, int kind = FLUID_BOUNDED, int density_width = 0,
                                            int density_height = 0) {
    auto flow = create_fluid_flow(size, size, kind, density_width, density_height);
    flow->set_executor(nullptr, image_rows);
    flow->set_viscosity(0);
    if (kind == FLUID_PERIODIC) flow->set_walls_open(true);
    return flow;
}

// Every stored cell, ghosts too, from its place.
template <class Value>
void fill(const FluidGrid& grid, float* cells, Value value) {
    for (int j = 0; j < int(grid.rows()); ++j)
        for (int i = 0; i < int(grid.stride()); ++i) cells[grid.index(i, j)] = value(grid.place_x(i), grid.place_y(j));
}
template <class U, class V>
void fill_flow(VectorField& field, U u, V v) {
    fill(field, field.u.get(), u);
    fill(field, field.v.get(), v);
}
inline auto constant(float value) {
    return [value](float, float) { return value; };
}

// The largest magnitude of what each interior cell differs from a function of its place, `edge` cells left out.
template <class Value>
float largest_error(const FluidGrid& grid, const float* cells, Value value, int edge = 0) {
    float largest = 0;
    const int first = grid.first() + edge;
    for (int j = first; j < grid.first() + grid.height - edge; ++j)
        for (int i = first; i < grid.first() + grid.width - edge; ++i)
            largest = std::max(largest, std::abs(cells[grid.index(i, j)] - value(grid.place_x(i), grid.place_y(j))));
    return largest;
}

inline bool all_finite(const FluidGrid& grid, const float* cells) {
    for (std::size_t n = 0; n < grid.size(); ++n)
        if (!std::isfinite(cells[n])) return false;
    return true;
}
