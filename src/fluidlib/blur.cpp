// Diffusion of a bounded grid: a running box, and a Gaussian of varying radius.
#include "fluidlib/fluid_work.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int COLUMNS = 64;  // summed side by side

// The sums are kept in double precision, so that a flat line stays flat to the bit.
void box_row(const float* in, float* out, int count, int n) {
    double sum = 0;
    for (int k = -n; k <= n; ++k) sum += static_cast<double>(in[std::clamp(k, 0, count - 1)]);
    const double cells = 2.0 * n + 1;
    for (int i = 0; i < count; ++i) {
        out[i] = static_cast<float>(sum / cells);
        sum += static_cast<double>(in[std::min(i + n + 1, count - 1)]) - static_cast<double>(in[std::max(i - n, 0)]);
    }
}

// `weight` times the box along columns [first, last), added to what is there where `add`.
struct BoxColumns {
    const float* in;
    float* out;
    std::size_t stride;
    int rows, n;
    float weight;
    bool add;

    void run(std::size_t first, std::size_t last) const {
        double sums[COLUMNS] = {};
        const auto count = last - first;
        const auto row_at = [&](int j) { return in + std::size_t(std::clamp(j, 0, rows - 1)) * stride + first; };
        for (int k = -n; k <= n; ++k)
            for (std::size_t c = 0; c < count; ++c) sums[c] += static_cast<double>(row_at(k)[c]);
        const double cells = 2.0 * n + 1;
        for (int j = 0; j < rows; ++j) {
            float* to = out + std::size_t(j) * stride + first;
            const float *next = row_at(j + n + 1), *past = row_at(j - n);
            for (std::size_t c = 0; c < count; ++c) {
                const float value = weight * static_cast<float>(sums[c] / cells);
                to[c] = add ? to[c] + value : value;
                sums[c] += static_cast<double>(next[c]) - static_cast<double>(past[c]);
            }
        }
    }
};

}  // namespace

bool FluidFlowCore::blur_box(const FluidGrid& grid, const float* from, float* scratch, float* to, float radius) {
    const float reach = std::min(setting_within(radius, 0, 1e9F) * 0.25F, static_cast<float>(grid.width) / 2);
    const int whole = static_cast<int>(reach);
    const float part = reach - static_cast<float>(whole);
    const bool mixes = part > 0.01F;
    const FluidRows rows = executor();
    const auto stride = grid.stride();
    const bool large = grid.size() > 65536;
    const auto box = [&](int n, float weight, bool add) {
        if (!rows.for_rows(grid.rows(), large, [&](int first, int last) {
                for (int j = first; j <= last; ++j) {
                    const std::size_t at = std::size_t(j) * stride;
                    box_row(from + at, scratch + at, static_cast<int>(stride), n);
                }
            }))
            return false;
        const BoxColumns columns{scratch, to, stride, static_cast<int>(grid.rows()), n, weight, add};
        return rows.for_rows((stride + COLUMNS - 1) / COLUMNS, large, [&](int first, int last) {
            for (int block = first; block <= last; ++block)
                columns.run(std::size_t(block) * COLUMNS, std::min((std::size_t(block) + 1) * COLUMNS, stride));
        });
    };
    return box(whole, mixes ? 1 - part : 1, false) && (!mixes || box(whole + 1, part, true));
}

bool FluidFlowCore::blur_field(ScalarField& field, float radius) {
    if (!field.valid()) return false;
    FluidBlock scratch = make_fluid_block(field.size()), blurred = make_fluid_block(field.size());
    if (!scratch || !blurred) return false;
    if (!blur_box(field, field.data.get(), scratch.get(), blurred.get(), radius)) return false;
    std::swap(field.data, blurred);
    field.set_boundary();
    return true;
}

// ---- The velocity -------------------------------------------------------------------------------------------------

namespace {

// The Gaussian mean around a cell. Weights that add up to more than 1, as those of small radii do, are divided by their
// sum: a blur must not accelerate the flow.
float gaussian_mean(const FluidGrid& grid, const float* cells, int i, int j, float radius) {
    const double deviation = static_cast<double>(radius) / 3, falloff = 1 / (2 * deviation * deviation);
    const double norm = 1 / (6.283185308 * deviation * deviation);
    const int reach = static_cast<int>(std::ceil(radius));
    const int right = static_cast<int>(grid.stride()) - 1, top = static_cast<int>(grid.rows()) - 1;
    double sum = 0, weights = 0;
    for (int y = -reach; y <= reach; ++y) {
        const float* row = cells + std::size_t(std::clamp(j + y, 0, top)) * grid.stride();
        for (int x = -reach; x <= reach; ++x) {
            const double weight = norm * k7_exp(-(x * x + y * y) * falloff);
            sum += weight * static_cast<double>(row[std::clamp(i + x, 0, right)]);
            weights += weight;
        }
    }
    return static_cast<float>(weights > 1 ? sum / weights : sum);
}

}  // namespace

bool FluidFlowCore::diffuse_variably(const float* from, float* to) {
    const ScalarField& steering = *fields[m_variable_viscosity.slot];
    const auto [slot, scale, low, high] = m_variable_viscosity;
    const float range = high - low;
    const float largest = std::max(static_cast<float>(velocity.width) / 2, 1.0F);
    const auto work = [&, scale = scale, low = low](int first, int last) {
        for (int j = first; j <= last; ++j)
            for (int i = 0; i < static_cast<int>(velocity.stride()); ++i) {
                const float value = steering.sample(velocity.place_x(i), velocity.place_y(j));
                const float radius = range != 0 ? low + (value - low) / range * scale : 1.0F;
                to[velocity.index(i, j)] = gaussian_mean(velocity, from, i, j, setting_within(radius, 1, largest));
            }
    };
    return executor().for_rows(velocity.rows(), true, work);
}

bool FluidFlowCore::diffuse_velocity() {
    VectorField& from = m_work->velocity_temp;
    const bool varies = m_variable_viscosity.slot >= 0 && field(m_variable_viscosity.slot);
    const float side = std::sqrt(static_cast<float>(velocity.width) * static_cast<float>(velocity.height));
    const float radius = side * dt * viscosity;
    if (!varies && radius * 0.25F <= 0.01F) {  // it would copy
        std::swap(velocity.u, from.u);
        std::swap(velocity.v, from.v);
        return true;
    }
    if (varies)
        return diffuse_variably(from.u.get(), velocity.u.get()) && diffuse_variably(from.v.get(), velocity.v.get());
    float* scratch = m_work->temp_a.get();
    return blur_box(velocity, from.u.get(), scratch, velocity.u.get(), radius) &&
           blur_box(velocity, from.v.get(), scratch, velocity.v.get(), radius);
}
