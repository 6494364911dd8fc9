// A time step.
#include "fluidlib/fluid_work.h"

namespace {

constexpr float LEAST_CONFINEMENT = 0.0001F;

// Adds up the seconds of its life.
class Stopwatch {
  public:
    explicit Stopwatch(double& seconds) : m_seconds(seconds), m_start(monotonic_seconds()) {}
    ~Stopwatch() { m_seconds += monotonic_seconds() - m_start; }
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;

  private:
    double& m_seconds;
    double m_start;
};

void add_scaled(float* cells, const float* more, float factor, std::size_t count, float limit) {
    for (std::size_t n = 0; n < count; ++n) cells[n] = finite_within(cells[n] + factor * more[n], limit);
}

}  // namespace

bool FluidFlowCore::prepare() {
    if (!valid()) return false;
    set_dt(dt), set_viscosity(viscosity), set_vorticity_confinement(vorticity_confinement);  // may have been written to
    if (!m_work) m_work.reset(new (std::nothrow) Work(*this));
    if (!m_work || !m_work->velocity_temp.valid()) {
        m_work.reset();
        return false;
    }
    for (auto* block : {&m_work->temp_a, &m_work->temp_b})
        if (!have_block(*block, velocity.size())) return false;
    return true;
}

// ---- The velocity -------------------------------------------------------------------------------------------------

void FluidFlowCore::accelerate() {
    add_scaled(velocity.u.get(), force.u.get(), dt, velocity.size(), FLUID_MAX_VELOCITY);
    add_scaled(velocity.v.get(), force.v.get(), dt, velocity.size(), FLUID_MAX_VELOCITY);
}

// Pushes along the eddies that the grid has blurred away.
void FluidFlowCore::confine_vorticity() {
    if (!(vorticity_confinement >= LEAST_CONFINEMENT)) return;
    float *vorticity = m_work->temp_a.get(), *magnitude = m_work->temp_b.get();
    float *u = velocity.u.get(), *v = velocity.v.get();
    const auto stride = static_cast<std::ptrdiff_t>(velocity.stride());
    const float strength = vorticity_confinement * dt;
    for (int j = 1; j <= velocity.height; ++j) {
        const std::ptrdiff_t row = j * stride;
        for (std::ptrdiff_t at = row + 1; at <= row + velocity.width; ++at) {
            vorticity[at] = (u[at + stride] - u[at - stride]) / 2 - (v[at + 1] - v[at - 1]) / 2;
            magnitude[at] = std::abs(vorticity[at]);
        }
    }
    set_scalar_boundary(velocity, magnitude);
    for (int j = 1; j <= velocity.height; ++j) {
        const std::ptrdiff_t row = j * stride;
        for (std::ptrdiff_t at = row + 1; at <= row + velocity.width; ++at) {
            const float gx = magnitude[at + 1] - magnitude[at - 1];
            const float gy = magnitude[at + stride] - magnitude[at - stride];
            const float s = 1 / std::sqrt(gx * gx + gy * gy + 1e-6F);
            const float push = strength * vorticity[at];
            u[at] = std::clamp(u[at] - push * (s * gy / 2), -FLUID_MAX_VELOCITY, FLUID_MAX_VELOCITY);
            v[at] = std::clamp(v[at] + push * (s * gx / 2), -FLUID_MAX_VELOCITY, FLUID_MAX_VELOCITY);
        }
    }
}

namespace {

// Solid cells take the mean pressure of the fluid around them.
void fill_solid_pressure(const VectorField& grid, const unsigned char* solid, double* pressure) {
    const auto stride = static_cast<std::ptrdiff_t>(grid.stride());
    for (int j = 1; j <= grid.height; ++j)
        for (int i = 1; i <= grid.width; ++i) {
            const std::ptrdiff_t at = j * stride + i;
            if (!solid[at]) continue;
            double sum = 0;
            int fluid = 0;
            const auto take = [&](bool inside, std::ptrdiff_t neighbour) {
                if (!inside || solid[neighbour]) return;
                sum += pressure[neighbour];
                ++fluid;
            };
            take(i > 1, at - 1), take(i < grid.width, at + 1);
            take(j > 1, at - stride), take(j < grid.height, at + stride);
            if (fluid > 0) pressure[at] = sum / fluid;
        }
}

}  // namespace

bool FluidFlowCore::project() {
    return velocity.kind == FLUID_BOUNDED && prepare() && find_solid_cells() && project_velocity();
}

bool FluidFlowCore::project_velocity() {
    FluidPressure& solver = m_work->pressure;
    double* right_side = solver.right_side(velocity.width, velocity.height);
    if (!right_side) return false;
    float *u = velocity.u.get(), *v = velocity.v.get();
    const auto stride = static_cast<std::ptrdiff_t>(velocity.stride());
    const double h = 1 / std::sqrt(static_cast<double>(velocity.width) * velocity.height);
    const auto difference = [](const auto* cells, std::ptrdiff_t above, std::ptrdiff_t below) {
        return static_cast<double>(cells[above]) - static_cast<double>(cells[below]);
    };
    for (int j = 1; j <= velocity.height; ++j)
        for (std::ptrdiff_t at = j * stride + 1; at <= j * stride + velocity.width; ++at)
            right_side[at] = -h / 2 * (difference(u, at + 1, at - 1) + difference(v, at + stride, at - stride));

    const FluidRows rows = executor();
    const bool parallel = velocity.width > parallel_threshold;
    half_sweeps = 0;
    if (direct_pressure && velocity.width <= FluidPressure::MAX_DIRECT_WIDTH) {
        if (!solver.solve_directly(rows, parallel)) return false;
    } else {
        half_sweeps = solver.solve_by_sweeps(rows, parallel);
        if (half_sweeps == 0) return false;
    }
    double* pressure = solver.pressure();
    if (m_work->solid) fill_solid_pressure(velocity, m_work->solid.get(), pressure);
    for (int j = 1; j <= velocity.height; ++j)
        for (std::ptrdiff_t at = j * stride + 1; at <= j * stride + velocity.width; ++at) {
            u[at] -= static_cast<float>(difference(pressure, at + 1, at - 1) / (2 * h));
            v[at] -= static_cast<float>(difference(pressure, at + stride, at - stride) / (2 * h));
        }
    return true;
}

bool FluidFlowCore::bounded_step() {
    VectorField& carried = m_work->velocity_temp;
    const auto set_boundary = [&](VectorField& field) {
        set_velocity_boundary(field);
        stop_at_obstacles(field);
    };
    accelerate();
    confine_vorticity();
    set_boundary(velocity);
    if (!advect_velocity(velocity, carried)) return false;
    set_boundary(carried);
    if (!diffuse_velocity() || !project_velocity()) return false;
    set_boundary(velocity);
    return true;
}

bool FluidFlowCore::velocity_step() {
    if (!prepare() || !find_solid_cells()) return false;
    return velocity.kind == FLUID_BOUNDED ? bounded_step() : periodic_step();
}

// ---- Fields -------------------------------------------------------------------------------------------------------

bool FluidFlowCore::carry_all(Carried* items, int count) {
    for (int n = 0; n < count; ++n) {
        ScalarField& field = *items[n].field;
        if (!have_block(*items[n].scratch, field.size())) return false;
        if (items[n].source)
            add_scaled(field.data.get(), items[n].source->data.get(), dt, field.size(), FLUID_MAX_VALUE);
        field.set_boundary();
    }
    if (!carry(items, count)) return false;
    for (int n = 0; n < count; ++n) {
        ScalarField& field = *items[n].field;
        std::swap(field.data, *items[n].scratch);
        field.set_boundary();
        field.advected = true;
        if (!(items[n].diffusion > 0) || field.no_diffuse) continue;
        if (!diffuse(field, *items[n].scratch, items[n].diffusion)) return false;
        for (std::size_t cell = 0; cell < field.size(); ++cell) field.data[cell] /= dt * items[n].dissipation + 1;
        field.set_boundary();
    }
    return true;
}

bool FluidFlowCore::diffuse(ScalarField& field, FluidBlock& scratch, float amount) {
    if (field.kind == FLUID_PERIODIC) return diffuse_periodic(field, amount);
    if (!have_block(m_work->density_temp, field.size())) return false;
    const float side = std::sqrt(static_cast<float>(field.width) * static_cast<float>(field.height));
    const bool done = blur_box(field, field.data.get(), m_work->density_temp.get(), scratch.get(), side * dt * amount);
    if (done) std::swap(field.data, scratch);
    return done;
}

bool FluidFlowCore::scalar_step(ScalarField& field, const ScalarField* source, float field_diffusion,
                                float field_dissipation) {
    const bool fits =
        field.valid() && field.kind == velocity.kind && field.width == density_width && field.height == density_height;
    if (!fits || (source && (!source->valid() || !source->same_grid(field))) || !prepare()) return false;
    Carried item{&field, source, setting_within(field_diffusion, 0, 1e6F), setting_within(field_dissipation, 0, 1e6F),
                 &m_work->carried[0]};
    return carry_all(&item, 1);
}

bool FluidFlowCore::step(bool reset_coordinates) {
    total_seconds = velocity_seconds = density_seconds = 0;
    density_count = 0;
    const Stopwatch total(total_seconds);
    if (reset_coordinates) reset_coordinate_maps();
    {
        const Stopwatch watch(velocity_seconds);
        if (!velocity_step()) return false;
    }
    Carried items[FLUID_MAX_FIELDS + 2];
    int count = 0;
    for (int slot = 0; slot < FLUID_MAX_FIELDS; ++slot) {
        ScalarField* each = fields[slot].get();
        if (each) each->advected = false;
        if (!each || each->no_advect || each->is_obstacle) continue;
        items[count] = {each, sources[slot].get(), diffusion[slot], dissipation[slot], &m_work->carried[count]};
        ++count;
    }
    for (ScalarField* map : {coordinate_x.get(), coordinate_y.get()})
        if (map) items[count] = {map, nullptr, 0, 0, &m_work->carried[count]}, ++count;
    if (count == 0) return true;
    bool done;
    {
        const Stopwatch watch(density_seconds);
        done = carry_all(items, count);
    }
    density_count = count;
    density_seconds /= count;
    return done;
}
