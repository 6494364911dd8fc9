// Advection of fields on a CUDA device: whether it pays, and the ways there and back.
#include <deque>
#include <optional>

#include "fluidlib/fluid_work.h"
#include "fluidlib/fluidlib_cuda.h"
#include "fluidlib/path_formulas.h"
#include "gpulib/gpulib.h"
#include "gpulib/gpulib_operation.h"
#include "k7pi_baselib/in_memory.h"

namespace {

HostPicture host_cells(float* cells, int width, int height, std::size_t stride) {
    return {cells, width, height, sizeof(float), static_cast<std::ptrdiff_t>(stride * sizeof(float))};
}

HostPicture stored_cells(const FluidGrid& grid, float* cells) {
    return host_cells(cells, static_cast<int>(grid.stride()), static_cast<int>(grid.rows()), grid.stride());
}

}  // namespace

bool FluidFlowCore::carries_on_device(int count, int steps) const {
    if (velocity.kind != FLUID_BOUNDED || use_cubic || !cuda_available()) return false;
    constexpr double READING = 0.45e-9, FIELD = 7e-9;  // seconds on one thread: of the velocity, and of a field
    const double cells = double(density_width) * density_height;
    const double path = steps * (use_rk4 ? 4 : 2) * READING;
    const double moved = sizeof(float) * (2.0 * count * cells + 2.0 * double(velocity.size()));
    return gpu_pays(static_cast<std::size_t>(moved), cells * (path + count * FIELD));
}

// Fields keep what they hold until all of them have arrived.
bool FluidFlowCore::carry_on_device(const Carried* carried, int count, int steps) const {
    if (wants_end(m_stop)) return false;
    const auto fly = [&]() -> std::optional<int> {
        DeviceStream stream;
        if (!gpu_succeeded(stream.create(), "creating a stream")) return GPU_NOT_LAUNCHED;
        DeviceImage u(stored_cells(velocity, velocity.u.get()), stream.get());
        DeviceImage v(stored_cells(velocity, velocity.v.get()), stream.get());
        std::deque<DeviceImage> images;
        FluidFreight freight[FLUID_MAX_FREIGHT];
        for (int n = 0; n < count; ++n) {
            const ScalarField& field = *carried[n].field;
            float* const inside = carried[n].scratch->get() + field.index(1, 1);
            freight[n].from = &images.emplace_back(stored_cells(field, field.data.get()), stream.get());
            freight[n].to =
                &images.emplace_back(host_cells(inside, field.width, field.height, field.stride()), stream.get());
            freight[n].divisor = carried[n].divisor(dt);
        }
        const FluidMapping to_x(velocity.kind, density_width, velocity.width);
        const FluidMapping to_y(velocity.kind, density_height, velocity.height);
        FluidFlight flight{
            .u = u,
            .v = v,
            .scale_x = fluid_path_scale(dt, steps, velocity.width),
            .scale_y = fluid_path_scale(dt, steps, velocity.height),
            .first_x = to_x.offset,
            .first_y = to_y.offset,
            .step_x = to_x.step,
            .step_y = to_y.step,
            .back_x = static_cast<float>(density_width) / static_cast<float>(velocity.width),
            .back_y = static_cast<float>(density_height) / static_cast<float>(velocity.height),
            .width = density_width,
            .height = density_height,
            .steps = steps,
            .rk4 = use_rk4,
            .bias = setting_within(trace_bias, 0, 1),
        };
        int error = cuda_direct_scalar_field_advect(flight, freight, count, stream.get());
        for (int n = 0; n < count && !error; ++n) error = gpu_fetch(*freight[n].to);
        return error;
    };
    const std::optional<int> error = in_memory(fly);
    if (error.value_or(GPU_DONE) != GPU_DONE)
        Trace(TRACE_ERROR, "CUDA BETA ERROR: cuda_direct_scalar_field_advect() returned error: %d\n", *error);
    return error == GPU_DONE;
}
