// Walls and obstacles.
#include "fluidlib/fluid_work.h"

namespace {

constexpr float SOLID = 0.01F;  // cells with more of the obstacle are solid

// The ghost cells beside the left and right walls, or (of the other component, over the other stride) below and above.
struct Side {
    std::size_t ghost, neighbour;
};

void set_side(float* across, float* along, Side side, std::size_t step, int count, bool closed) {
    for (int n = 1; n <= count; ++n) {
        const std::size_t at = std::size_t(n) * step;
        across[side.ghost + at] = closed ? -across[side.neighbour + at] : across[side.neighbour + at];
        along[side.ghost + at] = along[side.neighbour + at];
    }
}

}  // namespace

void FluidFlowCore::set_velocity_boundary(VectorField& field) const {
    float *u = field.u.get(), *v = field.v.get();
    const auto width = std::size_t(field.width), height = std::size_t(field.height), stride = field.stride();
    set_side(u, v, {0, 1}, stride, field.height, wall_left);
    set_side(u, v, {width + 1, width}, stride, field.height, wall_right);
    set_side(v, u, {0, stride}, 1, field.width, wall_bottom);
    set_side(v, u, {(height + 1) * stride, height * stride}, 1, field.width, wall_top);
    set_corners(field, u);
    set_corners(field, v);
}

// Reads the obstacles where the velocity's cells are.
bool FluidFlowCore::find_solid_cells() {
    auto& solid = m_work->solid;
    if (!obstacle) {
        solid.reset();
        return true;
    }
    const FluidGrid& grid = velocity;
    if (!solid) solid = make_fluid_array<unsigned char>(grid.size());
    if (!solid) return false;
    std::fill_n(solid.get(), grid.size(), static_cast<unsigned char>(0));
    const int first = grid.first();
    for (int j = first; j < first + grid.height; ++j)
        for (int i = first; i < first + grid.width; ++i)
            solid[grid.index(i, j)] = obstacle->sample(grid.place_x(i), grid.place_y(j)) > SOLID;
    return true;
}

void FluidFlowCore::stop_at_obstacles(VectorField& field) const {
    const unsigned char* solid = m_work->solid.get();
    if (!solid) return;
    const float kept = boundary_layer == FLUID_SLIPPERY ? 1.0F : (boundary_layer == FLUID_ROUGH ? 0.5F : 0.0F);
    const std::size_t stride = field.stride();
    for (int j = 1; j <= field.height; ++j)
        for (int i = 1; i <= field.width; ++i) {
            const std::size_t at = field.index(i, j);
            float &u = field.u[at], &v = field.v[at];
            if (solid[at]) {
                u = v = 0;
                continue;
            }
            const bool left = solid[at - 1], right = solid[at + 1];
            const bool below = solid[at - stride], above = solid[at + stride];
            if (left || right) v *= kept;
            if (below || above) u *= kept;
            const bool sticks = boundary_layer == FLUID_STICKY;
            if ((left && (u < 0 || sticks)) || (right && (u > 0 || sticks))) u = 0;
            if ((below && (v < 0 || sticks)) || (above && (v > 0 || sticks))) v = 0;
        }
}

// Of a periodic grid.
void FluidFlowCore::apply_walls(VectorField& field) const {
    const int width = field.width, height = field.height;
    const auto turn_column = [&](int i) {
        for (int j = 0; i >= 0 && j < height; ++j) field.u[field.index(i, j)] *= -1;
    };
    const auto turn_row = [&](int j) {
        for (int i = 0; j >= 0 && i < width; ++i) field.v[field.index(i, j)] *= -1;
    };
    if (wall_left) turn_column(0);
    if (wall_right) turn_column(width - 2);
    if (wall_bottom) turn_row(0);
    if (wall_top) turn_row(height - 2);
    const unsigned char* solid = m_work->solid.get();
    for (std::size_t n = 0; solid && n < field.size(); ++n)
        if (solid[n]) field.u[n] = field.v[n] = 0;
}
