// Grids, fields and the settings of a solver.
#include "fluidlib/fluid_work.h"

// ---- Memory -------------------------------------------------------------------------------------------------------

void FreeFluidBlock::operator()(float* block) const { k7_aligned_free(block, true); }

FluidBlock make_fluid_block(std::size_t cells) {
    if (cells > std::numeric_limits<int>::max() / sizeof(float)) return nullptr;
    return FluidBlock(static_cast<float*>(k7_aligned_malloc(cells * sizeof(float), 0, true)));
}

// ---- Grids --------------------------------------------------------------------------------------------------------

FluidGrid::FluidGrid(int kind_, int width_, int height_)
    : kind(kind_ == FLUID_PERIODIC ? FLUID_PERIODIC : FLUID_BOUNDED),
      width(std::max(width_, 1)),
      height(std::max(height_, 1)) {}

namespace {

float place_of_cell(int kind, int cell, int count) {
    const float places = kind == FLUID_BOUNDED ? static_cast<float>(cell - 1) : static_cast<float>(cell) + 0.5F;
    return places / static_cast<float>(count);
}

// A place of the domain in stored cells: between `lower` and `upper`, so much of the way.
struct Between {
    std::size_t lower, upper;
    float t;

    Between(float place, int kind, int count) {
        const float length = static_cast<float>(count);
        float at = place * length + (kind == FLUID_BOUNDED ? 1.0F : -0.5F);
        if (!(std::abs(at) < 1e9F)) at = at > 0 ? 1e9F : 0;
        if (kind == FLUID_BOUNDED) {
            at = std::clamp(at, 0.0F, length + 1);
            lower = static_cast<std::size_t>(at);
            upper = std::min(lower + 1, std::size_t(count) + 1);
        } else {
            at -= std::floor(at / length) * length;
            lower = static_cast<std::size_t>(std::clamp(at, 0.0F, length - 1));
            upper = lower + 1 == std::size_t(count) ? 0 : lower + 1;
        }
        t = std::min(at - static_cast<float>(lower), 1.0F);
    }
};

float mixed(float a, float b, float t) { return a + (b - a) * t; }

}  // namespace

float FluidGrid::place_x(int i) const { return place_of_cell(kind, i, width); }
float FluidGrid::place_y(int j) const { return place_of_cell(kind, j, height); }

// ---- Fields -------------------------------------------------------------------------------------------------------

ScalarField::ScalarField(int kind_, int width_, int height_)
    : FluidGrid(kind_, width_, height_), data(make_fluid_block(size())) {}

void ScalarField::clear() {
    if (valid()) std::fill_n(data.get(), size(), 0.0F);
}

void ScalarField::set_boundary() {
    if (kind != FLUID_BOUNDED || !valid()) return;
    set_scalar_boundary(*this, data.get());
}

void set_scalar_boundary(const FluidGrid& grid, float* cells) {
    if (grid.kind != FLUID_BOUNDED) return;
    const auto width = std::size_t(grid.width), height = std::size_t(grid.height), stride = grid.stride();
    for (std::size_t j = 1; j <= height; ++j) {
        float* row = cells + j * stride;
        row[0] = row[1], row[width + 1] = row[width];
    }
    float *bottom = cells, *top = cells + (height + 1) * stride;
    std::copy_n(bottom + stride + 1, width, bottom + 1);
    std::copy_n(top - stride + 1, width, top + 1);
    set_corners(grid, cells);
}

void set_corners(const FluidGrid& grid, float* cells) {
    const auto width = std::size_t(grid.width), stride = grid.stride();
    float *bottom = cells, *above = cells + stride;
    float *top = cells + (std::size_t(grid.height) + 1) * stride, *below = top - stride;
    bottom[0] = (bottom[1] + above[0]) / 2, bottom[width + 1] = (bottom[width] + above[width + 1]) / 2;
    top[0] = (top[1] + below[0]) / 2, top[width + 1] = (top[width] + below[width + 1]) / 2;
}

float ScalarField::sample(float x, float y) const {
    if (!valid()) return 0;
    const Between column(x, kind, width), row(y, kind, height);
    const float *low = data.get() + row.lower * stride(), *high = data.get() + row.upper * stride();
    return mixed(mixed(low[column.lower], low[column.upper], column.t),
                 mixed(high[column.lower], high[column.upper], column.t), row.t);
}

VectorField::VectorField(int kind_, int width_, int height_)
    : FluidGrid(kind_, width_, height_), u(make_fluid_block(size())), v(make_fluid_block(size())) {}

void VectorField::clear() {
    if (!valid()) return;
    std::fill_n(u.get(), size(), 0.0F);
    std::fill_n(v.get(), size(), 0.0F);
}
