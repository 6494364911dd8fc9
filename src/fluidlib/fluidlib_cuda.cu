// Fields carried along the flow on a device: a thread for each cell goes its path back, and reads all fields at its end
// or along it.
#include "fluidlib/fluidlib_cuda.h"

#include <cmath>
#include <cstddef>

#include "fluidlib/path_formulas.h"
#include "fluidlib/trace_simd.h"
#include "gpulib/gpulib_operation.h"

namespace fluid_cuda {

// ---- The velocity ---------------------------------------------------------------------------------------------

struct Cells {
    int width, height;  // stored
};

// Two pixels a cell: the polynomials of u and of v.
GPU_AND_CPU void DSS_tiles_kernel(GpuPlace at, const float* u, const float* v, Cells cells, float scale_x,
                                  float scale_y, GpuPixel* tiles) {
    if (at.x >= cells.width || at.y >= cells.height) return;
    const int right = at.x + 1 < cells.width ? 1 : 0, above = at.y + 1 < cells.height ? cells.width : 0;
    const int cell = at.y * cells.width + at.x;
    const auto polynomial = [=](const float* velocity, float scale) {
        const auto corner = [=](int away) { return fluid_cells_a_step(velocity[cell + away], scale); };
        const FluidPolynomial p = fluid_polynomial(corner(0), corner(right), corner(above), corner(above + right));
        return GpuPixel{{p.a, p.bx, p.by, p.c}};
    };
    tiles[2 * cell] = polynomial(u, scale_x);
    tiles[2 * cell + 1] = polynomial(v, scale_y);
}

// ---- Paths ----------------------------------------------------------------------------------------------------

struct Place {
    int i, j;
    float fx, fy;

    GPU_AND_CPU Place(float x, float y, const Cells& cells) {
        x = fluid_limited(x, 0, static_cast<float>(cells.width - 1));
        y = fluid_limited(y, 0, static_cast<float>(cells.height - 1));
        i = static_cast<int>(x), j = static_cast<int>(y);
        fx = x - static_cast<float>(i), fy = y - static_cast<float>(j);
    }
};

struct Velocity {
    float u, v;
};

struct Flow {
    const GpuPixel* tiles;
    Cells cells;

    GPU_AND_CPU Velocity at(float x, float y) const {
        const Place p(x, y, cells);
        const GpuPixel* const tile = tiles + 2 * (p.j * cells.width + p.i);
        const GpuPixel u = tile[0], v = tile[1];
        return {value(u, p), value(v, p)};
    }
    static GPU_AND_CPU float value(const GpuPixel& k, const Place& p) {
        return (k.c[0] + k.c[1] * p.fx) + (k.c[2] + k.c[3] * p.fx) * p.fy;
    }
};

// Where a path ends, and how far back it has come.
struct Path {
    float x, y;
    float dx = 0, dy = 0;

    GPU_AND_CPU void step(const Flow& flow, bool rk4) {
        const float at_x = x - dx, at_y = y - dy;
        const Velocity first = flow.at(at_x, at_y);
        if (!rk4) {
            const Velocity second = flow.at(at_x - first.u, at_y - first.v);
            dx += (first.u + second.u) * 0.5F;
            dy += (first.v + second.v) * 0.5F;
            return;
        }
        constexpr float SIXTH = 1.0F / 6.0F, THIRD = 1.0F / 3.0F;
        const Velocity second = flow.at(at_x - 0.5F * first.u, at_y - 0.5F * first.v);
        const Velocity third = flow.at(at_x - 0.5F * second.u, at_y - 0.5F * second.v);
        const Velocity fourth = flow.at(at_x - third.u, at_y - third.v);
        dx += (first.u + fourth.u) * SIXTH + (second.u + third.u) * THIRD;
        dy += (first.v + fourth.v) * SIXTH + (second.v + third.v) * THIRD;
    }
};

// ---- Fields ---------------------------------------------------------------------------------------------------

struct Fields {
    const float* from[FLUID_MAX_FREIGHT];  // stored cells
    float* to[FLUID_MAX_FREIGHT];          // interior cells
    float divisors[FLUID_MAX_FREIGHT];
    int count;
    Cells cells;

    GPU_AND_CPU float read(int n, const Place& p, float divisor) const {
        const int right = p.i + 1 < cells.width ? 1 : 0, above = p.j + 1 < cells.height ? cells.width : 0;
        const float* const corner = from[n] + (static_cast<std::ptrdiff_t>(p.j) * cells.width + p.i);
        const float a = corner[0], b = corner[right], c = corner[above], d = corner[above + right];
        const float low = a + (b - a) * p.fx, high = c + (d - c) * p.fx;
        const float value = (low + (high - low) * p.fy) / divisor;
        const bool there = fabsf(value) >= FLUID_LEAST_KEPT;  // not of what is not a number
        return there ? fluid_limited(value, -FLUID_MOST_KEPT, FLUID_MOST_KEPT) : 0.0F;
    }
};

struct Grid {
    float first_x, first_y, step_x, step_y, back_x, back_y;
    int width, height;

    // Of an interior cell, counted from 1. The processor goes along a row in spans, and rounds so.
    GPU_AND_CPU Path path(int i, int j) const {
        const int span = 1 + (i - 1) / FLUID_SPAN * FLUID_SPAN;
        const float start = first_x + static_cast<float>(span) * step_x;
        return {start + static_cast<float>(i - span) * step_x, first_y + static_cast<float>(j) * step_y};
    }
    GPU_AND_CPU Place end(int i, int j, const Path& path, const Cells& cells) const {
        return {static_cast<float>(i) - path.dx * back_x, static_cast<float>(j) - path.dy * back_y, cells};
    }
};

GPU_AND_CPU void DSS_advect_kernel(GpuPlace at, Flow flow, Grid grid, Fields fields, int steps, bool rk4, float bias) {
    if (at.x >= grid.width || at.y >= grid.height) return;
    const int i = at.x + 1, j = at.y + 1;
    const std::ptrdiff_t cell = static_cast<std::ptrdiff_t>(at.y) * grid.width + at.x;
    Path path = grid.path(i, j);
    if (!(bias < 1)) {
        for (int k = 0; k < steps; ++k) path.step(flow, rk4);
        const Place end = grid.end(i, j, path, fields.cells);
        for (int n = 0; n < fields.count; ++n) fields.to[n][cell] = fields.read(n, end, fields.divisors[n]);
        return;
    }
    for (int n = 0; n < fields.count; ++n) fields.to[n][cell] = 0;
    float total = 0;
    for (int k = 0; k < steps; ++k) {
        path.step(flow, rk4);
        const float weight = fluid_weight(k, steps, bias);
        if (weight <= 0) continue;
        total += weight;
        const Place place = grid.end(i, j, path, fields.cells);
        for (int n = 0; n < fields.count; ++n) fields.to[n][cell] += weight * fields.read(n, place, 1);
    }
    for (int n = 0; n < fields.count; ++n) fields.to[n][cell] = fields.to[n][cell] / total / fields.divisors[n];
}

}  // namespace fluid_cuda

int cuda_direct_scalar_field_advect(FluidFlight& flight, const FluidFreight* freight, int count, GpuStream stream) {
    using namespace fluid_cuda;
    GpuOperation operation(stream);
    if (count < 1 || count > FLUID_MAX_FREIGHT) operation.fail(GPU_NOT_LAUNCHED);
    const Cells velocity{flight.u.width(), flight.u.height()};
    const auto* u = operation.read<float>(flight.u);
    const auto* v = operation.read<float>(flight.v);
    Fields fields{};
    fields.count = count;
    fields.cells = {flight.width + 2, flight.height + 2};
    for (int n = 0; n < count && !operation.failed(); ++n) {
        fields.from[n] = operation.read<float>(*freight[n].from);
        fields.to[n] = operation.write<float>(*freight[n].to);
        fields.divisors[n] = freight[n].divisor;
    }
    auto* tiles = operation.scratch<GpuPixel>(2 * static_cast<std::size_t>(velocity.width) *
                                              static_cast<std::size_t>(velocity.height));
    operation.launch(gpu_kernel<DSS_tiles_kernel>(), gpu_shape_of_picture(velocity.width, velocity.height), u, v,
                     velocity, flight.scale_x, flight.scale_y, tiles);
    const Grid grid{flight.first_x, flight.first_y, flight.step_x, flight.step_y,
                    flight.back_x,  flight.back_y,  flight.width,  flight.height};
    operation.launch(gpu_kernel<DSS_advect_kernel>(), gpu_shape_of_picture(flight.width, flight.height),
                     Flow{tiles, velocity}, grid, fields, flight.steps, flight.rk4, flight.bias);
    const int step = operation.finish();
    // More than an operation keeps account of.
    for (int n = 0; n < count && step == GPU_DONE; ++n) freight[n].to->written();
    return step;
}
