// What pushes the fluid.
#include <numbers>

#include "fluidlib/fluid_work.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr float LEAST_LENGTH = 1e-5F;  // in cells
constexpr float LARGEST = 1e6F;        // of strengths and places: beyond any use, and their products stay finite

float bounded(float value) { return finite_within(value, LARGEST); }

struct Direction {
    float cosine, sine;

    explicit Direction(float degrees) {
        const auto [s, c] = k7_sine_cosine(static_cast<double>(bounded(degrees)) * std::numbers::pi / 180);
        cosine = static_cast<float>(c), sine = static_cast<float>(s);
    }
};

// Of the interior cells; the sum runs row by row.
float mean_of(const FluidGrid& grid, const float* cells) {
    double sum = 0;
    const int first = grid.first();
    for (int j = first; j < first + grid.height; ++j) {
        double row = 0;
        for (int i = first; i < first + grid.width; ++i) row += static_cast<double>(cells[grid.index(i, j)]);
        sum += row;
    }
    return static_cast<float>(sum / (static_cast<double>(grid.width) * grid.height));
}

}  // namespace

FluidFlowCore::Cells FluidFlowCore::cells_of(float x0, float y0, float x1, float y1) const {
    struct Range {
        int first, last;
    };
    const auto range = [&](float a, float b, int count, auto place) {
        const float low = std::min(a, b), high = std::max(a, b);
        const int begin = velocity.first(), end = begin + count - 1;
        Range cells{end + 1, begin - 1};
        for (int i = begin; i <= end; ++i)
            if (place(i) >= low && place(i) <= high) cells = {std::min(cells.first, i), i};
        return cells;
    };
    const auto across = range(x0, x1, velocity.width, [&](int i) { return velocity.place_x(i); });
    const auto along = range(y0, y1, velocity.height, [&](int j) { return velocity.place_y(j); });
    return {across.first, across.last, along.first, along.last};
}

// Adds add(i, j, u, v) to the cells, rows in any order, and renews the ghost cells.
template <class Add>
bool FluidFlowCore::add_to_force(const Cells& cells, Add add) {
    if (!valid()) return false;
    if (cells.bottom > cells.top) return true;
    const bool done = executor().for_rows(std::size_t(cells.top - cells.bottom + 1), true, [&](int first, int last) {
        for (int j = cells.bottom + first; j <= cells.bottom + last; ++j)
            for (int i = cells.left; i <= cells.right; ++i) {
                float &u = force.u[force.index(i, j)], &v = force.v[force.index(i, j)];
                add(i, j, u, v);
                u = finite_within(u, FLUID_MAX_VALUE), v = finite_within(v, FLUID_MAX_VALUE);
            }
    });
    if (force.kind == FLUID_BOUNDED) set_velocity_boundary(force);
    return done;
}

FluidFlowCore::Cells FluidFlowCore::all_cells() const {
    const int first = velocity.first();
    return {first, first + velocity.width - 1, first, first + velocity.height - 1};
}

void FluidFlowCore::clear_force() { force.clear(); }

// ---- Of fields ----------------------------------------------------------------------------------------------------

bool FluidFlowCore::set_density_field(int slot, float ambient) {
    if (slot >= 0 && !field(slot)) return false;
    m_buoyancy.density = slot;
    m_buoyancy.ambient = bounded(ambient);
    return true;
}

bool FluidFlowCore::set_temperature_field(int slot, float alpha, float beta) {
    if (slot >= 0 && !field(slot)) return false;
    m_buoyancy.temperature = slot;
    m_buoyancy.alpha = bounded(alpha);
    m_buoyancy.beta = bounded(beta);
    return true;
}

bool FluidFlowCore::add_buoyancy(float up, bool relative) {
    const ScalarField *heat = field(m_buoyancy.temperature), *density = field(m_buoyancy.density);
    if (!heat && !density) return false;
    const Direction direction(up);
    const float mean = heat && relative ? mean_of(*heat, heat->data.get()) : 0;
    return add_to_force(all_cells(), [&](int i, int j, float& u, float& v) {
        const float x = velocity.place_x(i), y = velocity.place_y(j);
        float warmth = heat ? heat->sample(x, y) - mean : 0;
        if (!relative) warmth = std::max(warmth, 0.0F);
        const float dense = density ? density->sample(x, y) - m_buoyancy.ambient : 0;
        const float lift = m_buoyancy.beta * warmth - m_buoyancy.alpha * dense;
        u += lift * direction.sine;
        v += lift * direction.cosine;
    });
}

bool FluidFlowCore::add_scalar_force(int slot, float up, float amount) {
    const ScalarField* cells = field(slot);
    if (!cells) return false;
    const Direction direction(up);
    return add_to_force(all_cells(), [&](int i, int j, float& u, float& v) {
        const float push = bounded(amount) * cells->sample(velocity.place_x(i), velocity.place_y(j));
        u += push * direction.sine;
        v += push * direction.cosine;
    });
}

bool FluidFlowCore::add_pressure_force(int slot, float amount) {
    const ScalarField* cells = field(slot);
    if (!cells) return false;
    const auto at = [&](int i, int j) { return cells->sample(velocity.place_x(i), velocity.place_y(j)); };
    return add_to_force(all_cells(), [&](int i, int j, float& u, float& v) {
        u -= bounded(amount) * (at(i + 1, j) - at(i - 1, j)) / 2;
        v -= bounded(amount) * (at(i, j + 1) - at(i, j - 1)) / 2;
    });
}

// ---- In regions ---------------------------------------------------------------------------------------------------

void FluidFlowCore::add_force_direction(float x0, float y0, float x1, float y1, float angle, float amount) {
    const Direction direction(angle);
    add_to_force(cells_of(x0, y0, x1, y1), [&](int, int, float& u, float& v) {
        u += bounded(amount) * direction.cosine;
        v += bounded(amount) * direction.sine;
    });
}

void FluidFlowCore::set_velocity_box(float x0, float y0, float x1, float y1, float angle, float speed) {
    if (!valid()) return;
    const Direction direction(angle);
    const Cells cells = cells_of(x0, y0, x1, y1);
    for (int j = cells.bottom; j <= cells.top; ++j)
        for (int i = cells.left; i <= cells.right; ++i) {
            velocity.u[velocity.index(i, j)] = bounded(speed) * direction.cosine;
            velocity.v[velocity.index(i, j)] = bounded(speed) * direction.sine;
        }
    if (velocity.kind == FLUID_BOUNDED) set_velocity_boundary(velocity);
}

void FluidFlowCore::add_noise_force(float x0, float y0, float x1, float y1, float amount) {
    if (!valid() || bounded(amount) == 0) return;
    MTRandom random(force.noise_seed);
    const Cells cells = cells_of(x0, y0, x1, y1);
    for (int j = cells.bottom; j <= cells.top; ++j)
        for (int i = cells.left; i <= cells.right; ++i) {
            const double length = random.next_gaussian_scaled(0, static_cast<double>(bounded(amount)));
            const auto [sine, cosine] = k7_sine_cosine(2 * std::numbers::pi * random.next_double());
            force.u[force.index(i, j)] += static_cast<float>(length * cosine);
            force.v[force.index(i, j)] += static_cast<float>(length * sine);
        }
    if (force.kind == FLUID_BOUNDED) set_velocity_boundary(force);
}

bool FluidFlowCore::add_turbulent_force(float x0, float y0, float x1, float y1, float amount, double time) {
    constexpr int HALF_GRID = 32;
    if (!valid()) return false;
    double u, v, w;
    if (!force.noise) {
        force.noise.reset(new (std::nothrow) KRVFT);
        const auto k_min = static_cast<double>(force.noise_k_min);
        if (!force.noise || !force.noise->init(0, static_cast<int32_t>(force.noise_seed), HALF_GRID, k_min, 1)) {
            force.noise.reset();
            return false;
        }
    }
    // Moves on to the keyframes of this time, so that the rows below only read.
    if (!force.noise->sample(0, 0, 0, time, &u, &v, &w)) return false;
    const int first = velocity.first();
    const double across = std::max(velocity.width - 1, 1), along = std::max(velocity.height - 1, 1);
    const float strength = bounded(amount);
    return add_to_force(cells_of(x0, y0, x1, y1), [&](int i, int j, float& force_u, float& force_v) {
        double x, y, z;
        force.noise->sample((i - first) / across, (j - first) / along, 0, time, &x, &y, &z);
        force_u += strength * static_cast<float>(x);
        force_v += strength * static_cast<float>(y);
    });
}

void FluidFlowCore::set_noise_k_min(float value) { force.noise_k_min = setting_within(value, 2, LARGEST); }

void FluidFlowCore::remove_net_force() {
    if (!valid()) return;
    for (float* part : {force.u.get(), force.v.get()}) {
        const float mean = mean_of(force, part);
        for (std::size_t n = 0; n < force.size(); ++n) part[n] -= mean;
    }
}

// ---- Winds and vortices -------------------------------------------------------------------------------------------

void FluidFlowCore::add_wind(float strength, float start_x, float start_y, float end_x, float end_y, float tight,
                             bool dropoff) {
    const float power = bounded(strength);
    if (power == 0) return;
    const auto width = static_cast<float>(velocity.width), height = static_cast<float>(velocity.height);
    const float from_x = bounded(start_x) * width, from_y = bounded(start_y) * height;
    const float to_x = bounded(end_x) * width - from_x, to_y = bounded(end_y) * height - from_y;
    const float length = std::max(std::sqrt(to_x * to_x + to_y * to_y), LEAST_LENGTH);
    const float unit_x = to_x / length, unit_y = to_y / length;
    const int first = velocity.first();
    const float exponent = setting_within(tight, 0, LARGEST);
    add_to_force(all_cells(), [&](int i, int j, float& u, float& v) {
        const float x = static_cast<float>(i - first) - from_x, y = static_cast<float>(j - first) - from_y;
        const float distance = std::sqrt(x * x + y * y);
        const float forward = unit_x * x + unit_y * y;
        const float fade = dropoff ? std::max(0.0F, 1 - distance / length) : 1;
        if (!(forward > 0) || fade <= 0) return;  // behind the start, or too far away
        const float cone = k7_pow(std::min(forward / distance, 1.0F), exponent) * fade;
        u += cone * power * unit_x;
        v += cone * power * unit_y;
    });
}

void FluidFlowCore::add_vortex(float strength, float centre_x, float centre_y, float radius, float aspect) {
    const float power = bounded(strength);
    if (power == 0) return;
    const auto width = static_cast<float>(velocity.width), height = static_cast<float>(velocity.height);
    const float x0 = bounded(centre_x) * width, y0 = bounded(centre_y) * height;
    const float reach = setting_within(bounded(radius) * width, LEAST_LENGTH, LARGEST * LARGEST);
    const float stretch = bounded(aspect);
    const int first = velocity.first();
    add_to_force(all_cells(), [&](int i, int j, float& u, float& v) {
        const float x = static_cast<float>(i - first) - x0, y = (static_cast<float>(j - first) - y0) * stretch;
        const float distance = std::sqrt(x * x + y * y);
        if (distance < LEAST_LENGTH) return;
        const float spin = std::max(0.0F, 1 - distance / reach) * power;
        u += spin * (-y / distance);
        v += spin * (x / distance);
    });
}
