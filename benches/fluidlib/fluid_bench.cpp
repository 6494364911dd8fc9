// The fluid at the sizes of the effects: velocities of 128 and 256 cells a side, fields of the size of a picture.
#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "benches/support/bench.h"
#include "fftlib/fftlib.h"
#include "fluidlib/fluidlib.h"

namespace {

void run_rows(void*, RowWorker worker, int rows, void* job) { image_dispatch_rows_float(worker, rows, job); }

// Eddies of several sizes that carry a path up to ten cells a step, as in a lively fire.
void stir(FluidFlow& flow) {
    const VectorField& grid = flow.velocity;
    for (int j = 0; j < int(grid.rows()); ++j)
        for (int i = 0; i < int(grid.stride()); ++i) {
            const float x = 6.283185F * grid.place_x(i), y = 6.283185F * grid.place_y(j);
            flow.velocity.u[grid.index(i, j)] =
                0.05F * std::sin(2 * x) * std::cos(2 * y) + 0.01F * std::sin(7 * x + 3 * y);
            flow.velocity.v[grid.index(i, j)] =
                -0.05F * std::cos(2 * x) * std::sin(2 * y) + 0.01F * std::sin(5 * x - 6 * y);
        }
}

std::shared_ptr<FluidFlow> stirred(int size, int width, int height, int fields) {
    std::shared_ptr<FluidFlow> flow = create_fluid_flow(size, size, FLUID_BOUNDED, width, height);
    flow->set_executor(nullptr, run_rows);
    flow->set_viscosity(1e-6F);
    flow->set_vorticity_confinement(0.5F);
    flow->trace_steps = 20;
    stir(*flow);
    const SharedImage picture = test_frame();
    for (int n = 0; n < fields; ++n) flow->load_field(picture.get(), flow->add_field("field"), 1, false);
    return flow;
}

// Starts each time from the same velocity; putting it back takes a few hundredths of a millisecond.
template <class Step>
Bench::Work from_the_same(std::shared_ptr<FluidFlow> flow, Step step) {
    auto u =
        std::make_shared<std::vector<float>>(flow->velocity.u.get(), flow->velocity.u.get() + flow->velocity.size());
    auto v =
        std::make_shared<std::vector<float>>(flow->velocity.v.get(), flow->velocity.v.get() + flow->velocity.size());
    return [=] {
        std::copy(u->begin(), u->end(), flow->velocity.u.get());
        std::copy(v->begin(), v->end(), flow->velocity.v.get());
        step(*flow);
    };
}

Bench::Factory velocity(int size) {
    return [=](int) { return from_the_same(stirred(size, 0, 0, 0), [](FluidFlow& flow) { flow.velocity_step(); }); };
}

Bench::Factory scalar(int size) {
    return [=](int) -> Bench::Work {
        auto flow = stirred(size, FRAME_WIDTH, FRAME_HEIGHT, 1);
        return [=] { flow->scalar_step(*flow->field(0), nullptr, 0, 0.1F); };
    };
}

// Velocity and two fields, as Fire steps them.
Bench::Work fire_step(int) {
    return from_the_same(stirred(128, FRAME_WIDTH, FRAME_HEIGHT, 2), [](FluidFlow& flow) { flow.step(false); });
}

Bench::Factory pressure(int size, bool direct) {
    return [=](int) {
        auto flow = stirred(size, 0, 0, 0);
        flow->direct_pressure = direct;
        return from_the_same(flow, [](FluidFlow& each) { each.project(); });
    };
}

// What the fast sine transforms alone would take.
Bench::Factory sines(int size) {
    return [=](int) -> Bench::Work {
        auto plane = std::make_shared<std::vector<float>>(std::size_t(size) * std::size_t(size), 0.5F);
        return [=] {
            sine_transform_rows(plane->data(), size, size, size, FFTDirection::forward);
            sine_transform_rows(plane->data(), size, size, size, FFTDirection::inverse);
        };
    };
}

Bench::Factory picture_load(bool scaled) {
    return [=](int) -> Bench::Work {
        auto flow = scaled ? stirred(128, 0, 0, 1) : stirred(128, FRAME_WIDTH, FRAME_HEIGHT, 1);
        const SharedImage picture = test_frame();
        return [=] { flow->load_field(picture.get(), 0, 0, false); };
    };
}

const Bench velocity_128("fluid, velocity 128", QUILLON, 0, velocity(128));
const Bench velocity_256("fluid, velocity 256", QUILLON, 0, velocity(256));
const Bench scalar_128("fluid, field, 20 steps over 128", QUILLON, 2, scalar(128));
const Bench scalar_256("fluid, field, 20 steps over 256", QUILLON, 2, scalar(256));
const Bench fire("fluid, fire: velocity, two fields", QUILLON, 2, fire_step);
const Bench pressure_128("fluid, projection 128", QUILLON, 0, pressure(128, true));
const Bench pressure_256("fluid, projection 256", QUILLON, 0, pressure(256, true));
const Bench sweeps_128("fluid, projection 128", "half sweeps", 0, pressure(128, false));
const Bench sines_128("fluid, projection 128", "fast sine transforms alone", 0, sines(128));
const Bench sines_256("fluid, projection 256", "fast sine transforms alone", 0, sines(256));
const Bench load_full("fluid, load a picture", QUILLON, 1, picture_load(false));
const Bench load_scaled("fluid, load a picture to 128", QUILLON, 1, picture_load(true));

const BenchGate velocity_gates[] = {BenchGate::milliseconds("fluid, velocity 128", 4.0),
                                    BenchGate::milliseconds("fluid, velocity 256", 16.0)};
const BenchGate field_gate = BenchGate::memcpys("fluid, field, 20 steps over 128", 60.0);

}  // namespace
