// A solver's settings, fields and copies.
#include "fluidlib/fluid_work.h"

namespace {

bool is_slot(int slot) { return slot >= 0 && slot < FLUID_MAX_FIELDS; }

constexpr float LARGEST_SETTING = 1e6F;

bool copy_block(const FluidBlock& from, FluidBlock& to, std::size_t cells) {
    if (!from) {
        to.reset();
        return true;
    }
    if (!have_block(to, cells)) return false;
    std::copy_n(from.get(), cells, to.get());
    return true;
}

bool copy_field_state(const std::unique_ptr<ScalarField>& from, std::unique_ptr<ScalarField>& to) {
    if (!from) {
        to.reset();
        return true;
    }
    if (!to) to.reset(new (std::nothrow) ScalarField(from->kind, from->width, from->height));
    if (!to || !copy_block(from->data, to->data, from->size())) return false;
    std::copy_n(from->name, sizeof from->name, to->name);
    to->advected = from->advected, to->no_advect = from->no_advect;
    to->is_obstacle = from->is_obstacle, to->no_diffuse = from->no_diffuse;
    return true;
}

bool copy_vectors(const VectorField& from, VectorField& to) {
    to.noise_seed = from.noise_seed, to.noise_k_min = from.noise_k_min;
    if (!from.noise)
        to.noise.reset();
    else if (!to.noise)
        to.noise.reset(new (std::nothrow) KRVFT);
    if (from.noise && (!to.noise || !to.noise->copy_from(*from.noise))) return false;
    return copy_block(from.u, to.u, from.size()) && copy_block(from.v, to.v, from.size());
}

}  // namespace

// ---- Life ---------------------------------------------------------------------------------------------------------

FluidFlowCore::FluidFlowCore(int width, int height, int kind, int density_width_, int density_height_)
    : force(kind, width, height),
      velocity(kind, width, height),
      density_width(density_width_ > 0 ? density_width_ : velocity.width),
      density_height(density_width_ > 0 ? std::max(density_height_, 1) : velocity.height) {}

FluidFlowCore::~FluidFlowCore() = default;

bool FluidFlowCore::valid() const { return force.valid() && velocity.valid(); }

std::unique_ptr<FluidFlow> create_fluid_flow(int width, int height, int kind, int density_width, int density_height) {
    std::unique_ptr<FluidFlow> flow(new (std::nothrow) FluidFlow(width, height, kind, density_width, density_height));
    if (flow && !flow->valid()) flow.reset();
    return flow;
}

void FluidFlowCore::set_executor(void* context, RowDispatcher parallel_run) { m_runner = {context, parallel_run}; }

void FluidFlowCore::set_abort_callback(StopRequested callback) { m_stop = std::move(callback); }

FluidRows FluidFlowCore::executor() const { return {m_runner, &m_stop}; }

bool FluidFlowCore::copy_state(const FluidFlowCore& other) {
    if (&other == this) return true;
    if (!velocity.same_grid(other.velocity) || density_width != other.density_width ||
        density_height != other.density_height)
        return false;
    bool done = copy_vectors(other.force, force) && copy_vectors(other.velocity, velocity) &&
                copy_field_state(other.coordinate_x, coordinate_x) &&
                copy_field_state(other.coordinate_y, coordinate_y);
    obstacle = nullptr;
    for (int slot = 0; done && slot < FLUID_MAX_FIELDS; ++slot) {
        done =
            copy_field_state(other.fields[slot], fields[slot]) && copy_field_state(other.sources[slot], sources[slot]);
        if (other.obstacle && other.obstacle == other.fields[slot].get()) obstacle = fields[slot].get();
    }
    if (!done) return false;
    std::copy_n(other.diffusion, FLUID_MAX_FIELDS, diffusion);
    std::copy_n(other.dissipation, FLUID_MAX_FIELDS, dissipation);
    field_count = other.field_count, boundary_layer = other.boundary_layer;
    viscosity = other.viscosity, dt = other.dt, vorticity_confinement = other.vorticity_confinement;
    use_rk4 = other.use_rk4, use_cubic = other.use_cubic;
    trace_steps = other.trace_steps, trace_bias = other.trace_bias;
    wall_left = other.wall_left, wall_right = other.wall_right;
    wall_bottom = other.wall_bottom, wall_top = other.wall_top;
    wrap_x = other.wrap_x, wrap_y = other.wrap_y;
    direct_pressure = other.direct_pressure, parallel_threshold = other.parallel_threshold;
    m_buoyancy = other.m_buoyancy, m_variable_viscosity = other.m_variable_viscosity;
    return true;
}

// ---- Settings -----------------------------------------------------------------------------------------------------

void FluidFlowCore::set_dt(float value) { dt = setting_within(value, 1e-6F, LARGEST_SETTING); }
void FluidFlowCore::set_viscosity(float value) { viscosity = setting_within(value, 1e-10F, LARGEST_SETTING); }
void FluidFlowCore::set_vorticity_confinement(float value) {
    vorticity_confinement = setting_within(value, 0, LARGEST_SETTING);
}

void FluidFlowCore::set_walls_open(bool open) { wall_left = wall_right = wall_bottom = wall_top = !open; }

bool FluidFlowCore::set_boundary_layer(int mode) {
    if (mode < FLUID_SLIPPERY || mode > FLUID_STICKY) return false;
    boundary_layer = mode;
    return true;
}

bool FluidFlowCore::set_variable_viscosity(int slot, float scale, float low, float high) {
    if (slot < 0) {
        m_variable_viscosity = {};
        return true;
    }
    if (!field(slot)) return false;
    m_variable_viscosity = {slot, setting_within(scale, -LARGEST_SETTING, LARGEST_SETTING),
                            setting_within(low, -LARGEST_SETTING, LARGEST_SETTING),
                            setting_within(high, -LARGEST_SETTING, LARGEST_SETTING)};
    return true;
}

// ---- Fields -------------------------------------------------------------------------------------------------------

int FluidFlowCore::add_field(const char* name) {
    int slot = 0;
    while (slot < field_count && fields[slot]) ++slot;
    if (slot == FLUID_MAX_FIELDS) return -1;
    std::unique_ptr<ScalarField> made(new (std::nothrow) ScalarField(velocity.kind, density_width, density_height));
    if (!made || !made->valid()) return -1;
    std::snprintf(made->name, sizeof made->name, "%s", name ? name : "");
    fields[slot] = std::move(made);
    field_count = std::max(field_count, slot + 1);
    return slot;
}

ScalarField* FluidFlowCore::field(int slot) { return is_slot(slot) ? fields[slot].get() : nullptr; }
const ScalarField* FluidFlowCore::field(int slot) const { return is_slot(slot) ? fields[slot].get() : nullptr; }

bool FluidFlowCore::clear_field(int slot) {
    if (!field(slot)) return false;
    field(slot)->clear();
    return true;
}

bool FluidFlowCore::copy_field(int from, int to) {
    if (!field(from) || !field(to)) return false;
    if (from != to) std::copy_n(field(from)->data.get(), field(from)->size(), field(to)->data.get());
    return true;
}

bool FluidFlowCore::add_field_scaled(int from, int to, float factor) {
    if (!field(from) || !field(to)) return false;
    const float* source = field(from)->data.get();
    float* cells = field(to)->data.get();
    for (std::size_t n = 0; n < field(to)->size(); ++n)
        cells[n] = finite_within(cells[n] + factor * source[n], FLUID_MAX_VALUE);
    return true;
}

bool FluidFlowCore::set_dissipation(int slot, float value) {
    if (!field(slot)) return false;
    dissipation[slot] = setting_within(value, 0, LARGEST_SETTING);
    return true;
}

bool FluidFlowCore::set_diffusion(int slot, float value) {
    if (!field(slot)) return false;
    diffusion[slot] = setting_within(value, 0, LARGEST_SETTING);
    return true;
}

ScalarField* FluidFlowCore::set_field_source(int slot, bool on) {
    if (!field(slot)) return nullptr;
    auto& source = sources[slot];
    if (!on) source.reset();
    if (!on || source) return source.get();
    source.reset(new (std::nothrow) ScalarField(velocity.kind, density_width, density_height));
    if (source && !source->valid()) source.reset();
    return source.get();
}

bool FluidFlowCore::set_obstacle_field(int slot) {
    if (slot >= 0 && !field(slot)) return false;
    for (auto& each : fields)
        if (each && each.get() == obstacle) each->is_obstacle = false;
    obstacle = slot >= 0 ? field(slot) : nullptr;
    if (slot >= 0) field(slot)->is_obstacle = true;
    return true;
}

// ---- Coordinate maps ----------------------------------------------------------------------------------------------

bool FluidFlowCore::create_coordinate_maps() {
    if (density_width != velocity.width || density_height != velocity.height) return false;
    for (auto* map : {&coordinate_x, &coordinate_y}) {
        if (!*map) map->reset(new (std::nothrow) ScalarField(velocity.kind, density_width, density_height));
        if (!*map || !(*map)->valid()) {
            coordinate_x.reset(), coordinate_y.reset();
            return false;
        }
    }
    reset_coordinate_maps();
    return true;
}

void FluidFlowCore::reset_coordinate_maps() {
    if (!coordinate_x || !coordinate_y) return;
    const auto identity = [&](const FluidGrid& grid, std::size_t cell, int count) {
        if (grid.kind == FLUID_PERIODIC) return (static_cast<float>(cell) + 0.5F) / static_cast<float>(count);
        if (count == 1) return 0.5F;
        return std::clamp((static_cast<float>(cell) - 1) / static_cast<float>(count - 1), 0.0F, 1.0F);
    };
    const FluidGrid& grid = *coordinate_x;
    for (std::size_t j = 0; j < grid.rows(); ++j)
        for (std::size_t i = 0; i < grid.stride(); ++i) {
            coordinate_x->data[j * grid.stride() + i] = identity(grid, i, grid.width);
            coordinate_y->data[j * grid.stride() + i] = identity(grid, j, grid.height);
        }
}

void FluidFlowCore::pin_coordinate_maps() {
    if (!coordinate_x || !coordinate_y) return;
    const FluidGrid& grid = *coordinate_x;
    const int first = grid.first(), right = first + grid.width - 1, top = first + grid.height - 1;
    for (int j = first; j <= top; ++j) {
        coordinate_x->data[grid.index(first, j)] = 0;
        coordinate_x->data[grid.index(right, j)] = 1;
    }
    for (int i = first; i <= right; ++i) {
        coordinate_y->data[grid.index(i, first)] = 0;
        coordinate_y->data[grid.index(i, top)] = 1;
    }
    coordinate_x->set_boundary();
    coordinate_y->set_boundary();
}
