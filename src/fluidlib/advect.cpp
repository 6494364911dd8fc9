// Advection: paths backwards through the velocity, for the velocity itself and for all fields at once.
#include "fluidlib/fluid_work.h"
#include "fluidlib/path_formulas.h"

namespace {

constexpr int VELOCITY_STEPS = 5;
constexpr int MAX_STEPS = 1000;

// ---- Tiles --------------------------------------------------------------------------------------------------------

std::size_t stored(std::size_t i, std::size_t size, bool periodic) {
    return i < size ? i : (periodic ? i - size : size - 1);
}

struct TileRow {
    const float *low, *high;  // cells of this row and of the next one
    std::size_t cells;
    bool periodic;
    float scale;  // from velocities to cells a step

    // Four planes of `pitch` floats, every second of which is written.
    void write(float* out, std::size_t pitch) const {
        for (std::size_t i = 0; i < cells; ++i) {
            const std::size_t right = stored(i + 1, cells, periodic);
            const float a = scaled(low[i]), b = scaled(low[right]), c = scaled(high[i]), d = scaled(high[right]);
            float* pair = out + 2 * i;
            const FluidPolynomial p = fluid_polynomial(a, b, c, d);
            pair[0] = p.a, pair[pitch] = p.bx, pair[2 * pitch] = p.by, pair[3 * pitch] = p.c;
        }
    }
    float scaled(float velocity) const { return fluid_cells_a_step(velocity, scale); }
};

FluidPlane plane_of(const FluidGrid& grid, const float* cells) {
    return {cells, static_cast<int>(grid.stride()), static_cast<int>(grid.stride()), static_cast<int>(grid.rows()),
            grid.kind == FLUID_PERIODIC};
}

}  // namespace

bool FluidFlowCore::build_tiles(int steps, FluidTiles& tiles) {
    const std::size_t cells = velocity.stride(), rows = velocity.rows();
    const std::size_t stride = (cells + 7) / 8 * 8 + 8, row_floats = FLUID_TILE_PLANES * stride * 2;
    const std::size_t count = rows * row_floats;
    if (!m_work->tiles) {
        m_work->tiles = make_fluid_array<float>(count);
        if (m_work->tiles) std::fill_n(m_work->tiles.get(), count, 0.0F);
    }
    if (!m_work->tiles) return false;
    const float scale_x = fluid_path_scale(dt, steps, velocity.width);
    const float scale_y = fluid_path_scale(dt, steps, velocity.height);
    const bool periodic = velocity.kind == FLUID_PERIODIC;
    float* pairs = m_work->tiles.get();
    tiles = {pairs,
             static_cast<int>(stride),
             static_cast<int>(cells),
             static_cast<int>(rows),
             periodic,
             plane_of(velocity, velocity.u.get()),
             plane_of(velocity, velocity.v.get()),
             scale_x,
             scale_y};
    return executor().for_rows(rows, rows > 200, [&](int first, int last) {
        for (int j = first; j <= last; ++j)
            for (std::size_t half = 0; half < 2; ++half) {
                const std::size_t low = stored(std::size_t(j) + half, rows, periodic);
                const std::size_t high = stored(low + 1, rows, periodic);
                float* out = pairs + std::size_t(j) * row_floats + half;
                const float *u = velocity.u.get(), *v = velocity.v.get();
                const std::size_t pitch = 2 * stride;
                TileRow{u + low * cells, u + high * cells, cells, periodic, scale_x}.write(out, pitch);
                TileRow{v + low * cells, v + high * cells, cells, periodic, scale_y}.write(out + 4 * pitch, pitch);
            }
    });
}

// ---- The velocity -------------------------------------------------------------------------------------------------

bool FluidFlowCore::advect_velocity(const VectorField& from, VectorField& to) {
    FluidTiles tiles;
    if (!build_tiles(VELOCITY_STEPS, tiles)) return false;
    const auto kernels = fluid_trace();
    const FluidPlane u = plane_of(from, from.u.get()), v = plane_of(from, from.v.get());
    const bool wraps = (wrap_x || wrap_y) && !coordinate_x && from.kind == FLUID_BOUNDED;
    // One addition or subtraction of the domain.
    const auto wrap = [](float place, float length, float displacement) {
        const float at = place - displacement;
        return at < 1 ? displacement - length : (at > length + 1 ? displacement + length : displacement);
    };
    const int first_cell = from.first();
    return executor().for_rows(std::size_t(from.height), true, [&](int first, int last) {
        float dx[FLUID_SPAN] = {}, dy[FLUID_SPAN] = {};
        for (int j = first + first_cell; j <= last + first_cell; ++j)
            for (int i = first_cell; i < first_cell + from.width; i += FLUID_SPAN) {
                const int count = std::min(FLUID_SPAN, first_cell + from.width - i);
                const auto x = static_cast<float>(i), y = static_cast<float>(j);
                std::fill_n(dx, count, 0.0F);
                std::fill_n(dy, count, 0.0F);
                kernels.trace(tiles, {x, y, 1, count, VELOCITY_STEPS, use_rk4, use_cubic}, dx, dy);
                for (int n = 0; wraps && n < count; ++n) {
                    if (wrap_x) dx[n] = wrap(x + static_cast<float>(n), static_cast<float>(from.width), dx[n]);
                    if (wrap_y) dy[n] = wrap(y, static_cast<float>(from.height), dy[n]);
                }
                const FluidRead read{x, y, 1, 1, count, use_cubic, 1};
                kernels.read(u, read, dx, dy, to.u.get() + to.index(i, j));
                kernels.read(v, read, dx, dy, to.v.get() + to.index(i, j));
            }
    });
}

// ---- Fields -------------------------------------------------------------------------------------------------------

// A span of a row: the paths once, then every field at their ends, or weighted along them.
struct FluidFlowCore::CarriedSpan {
    const FluidTiles& tiles;
    FluidTrace trace;
    Carried* fields;
    int count;
    float bias, dt;
    float back_x, back_y;  // from cells of the velocity to cells of the fields
    FluidTraceTable kernels = fluid_trace();
    float dx[FLUID_SPAN] = {}, dy[FLUID_SPAN] = {};

    void run(int i, int j, int steps) {
        std::fill_n(dx, trace.count, 0.0F);
        std::fill_n(dy, trace.count, 0.0F);
        if (bias < 1) return weigh(i, j, steps);
        trace.steps = steps;
        kernels.trace(tiles, trace, dx, dy);
        for (int n = 0; n < count; ++n) read(fields[n], i, j, fields[n].divisor(dt), out_of(fields[n], i, j));
    }

  private:
    static float* out_of(const Carried& item, int i, int j) { return item.scratch->get() + item.field->index(i, j); }
    void read(const Carried& item, int i, int j, float divisor, float* out) const {
        const auto x = static_cast<float>(i), y = static_cast<float>(j);
        const FluidRead place{x, y, back_x, back_y, trace.count, trace.cubic, divisor};
        kernels.read(plane_of(*item.field, item.field->data.get()), place, dx, dy, out);
    }
    void weigh(int i, int j, int steps) {
        float value[FLUID_SPAN];
        for (int n = 0; n < count; ++n) std::fill_n(out_of(fields[n], i, j), trace.count, 0.0F);
        float total = 0;
        trace.steps = 1;
        for (int k = 0; k < steps; ++k) {
            kernels.trace(tiles, trace, dx, dy);
            const float weight = fluid_weight(k, steps, bias);
            if (weight <= 0) continue;
            total += weight;
            for (int n = 0; n < count; ++n) {
                read(fields[n], i, j, 1, value);
                float* out = out_of(fields[n], i, j);
                for (int c = 0; c < trace.count; ++c) out[c] += weight * value[c];
            }
        }
        for (int n = 0; n < count; ++n) {
            float* out = out_of(fields[n], i, j);
            for (int c = 0; c < trace.count; ++c) out[c] = out[c] / total / fields[n].divisor(dt);
        }
    }
};

// All fields share their grid and so their paths. Results stand in each field's scratch afterwards.
bool FluidFlowCore::carry(Carried* carried, int count) {
    const int steps = std::clamp(trace_steps, 1, MAX_STEPS);
    if (carries_on_device(count, steps)) return carry_on_device(carried, count, steps);
    FluidTiles tiles;
    if (!build_tiles(steps, tiles)) return false;
    const int kind = velocity.kind, first_cell = velocity.first();
    const FluidMapping to_x(kind, density_width, velocity.width), to_y(kind, density_height, velocity.height);
    const float back_x = static_cast<float>(density_width) / static_cast<float>(velocity.width);
    const float back_y = static_cast<float>(density_height) / static_cast<float>(velocity.height);
    const float bias = setting_within(trace_bias, 0, 1);
    return executor().for_rows(std::size_t(density_height), true, [&](int first, int last) {
        CarriedSpan span{tiles, {}, carried, count, bias, dt, back_x, back_y};
        for (int j = first + first_cell; j <= last + first_cell; ++j)
            for (int i = first_cell; i < first_cell + density_width; i += FLUID_SPAN) {
                const int cells = std::min(FLUID_SPAN, first_cell + density_width - i);
                span.trace = {to_x(i), to_y(j), to_x.step, cells, steps, use_rk4, use_cubic};
                span.run(i, j, steps);
            }
    });
}

FluidFlowCore::PathStart FluidFlowCore::trace_path(float x, float y, int path_steps, float bias,
                                                   const ScalarField* sampled_field) {
    PathStart start{x, y, 0};
    const int steps = std::clamp(path_steps, 1, MAX_STEPS);
    FluidTiles tiles;
    if (!prepare() || !build_tiles(steps, tiles)) return start;
    const auto kernels = fluid_trace();
    const bool bounded = velocity.kind == FLUID_BOUNDED;
    const auto width = static_cast<float>(velocity.width), height = static_cast<float>(velocity.height);
    const float offset = bounded ? 1.0F : -0.5F;
    FluidTrace trace{
        finite_within(x, 1e6F) * width + offset, finite_within(y, 1e6F) * height + offset, 1, 1, 1, use_rk4, use_cubic};
    const float limited_bias = setting_within(bias, 0, 1);
    float dx = 0, dy = 0, sum = 0, total = 0;
    for (int k = 0; k < steps; ++k) {
        kernels.trace(tiles, trace, &dx, &dy);
        start.x = (trace.x - dx - offset) / width;
        start.y = (trace.y - dy - offset) / height;
        const float weight = fluid_weight(k, steps, limited_bias);
        if (!sampled_field || weight <= 0) continue;
        sum += weight * sampled_field->sample(start.x, start.y);
        total += weight;
    }
    if (total > 0) start.value = sum / total;
    return start;
}
