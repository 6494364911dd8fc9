#include "effects/fluids/FlowSolver.h"

#include <algorithm>

#include "Library2/Made.h"
#include "effects/fluids/FluidEffect.h"
#include "imagelib/imagelib_colour.h"

namespace {

constexpr int COARSE_CELLS = 128, FINE_CELLS = 256;
constexpr float VISCOSITY = 0.001F;  // of the solver, for a control of 1
constexpr float BUOYANCY = 0.1F * FLUID_FORCE;
constexpr float AMBIENT = 0.01F;  // density that neither rises nor falls
constexpr float INPUT_PRESSURE = 0.1F, FORCE_PRESSURE = 10.0F;
constexpr float STREAM = 0.1F;  // pictures a frame, for a control of 1
constexpr double TURBULENCE_FRAMES = 25.0;

void stir(FluidFlow& flow, const FlowForceControls& forces, float amount, double frame) {
    if (amount == 0.0F) return;
    if (forces.turbulent())
        made(flow.add_turbulent_force(0.0F, 0.0F, 1.0F, 1.0F, amount, frame / TURBULENCE_FRAMES));
    else
        flow.add_noise_force(0.0F, 0.0F, 1.0F, 1.0F, amount);
}

// The mean of the colours, instead of what the field held.
void replace(FluidFlow& flow, int slot, const K7Image& picture, float scale) {
    flow.clear_field(slot);
    made(flow.load_field(&picture, slot, scale, false));
}

void stream(FluidFlow& flow, const VelocityBoxControls& box) {
    if (!box.on.value) return;
    const double x = box.centre.x, y = box.centre.y, w = box.width.value / 2, h = box.height.value / 2;
    flow.set_velocity_box(static_cast<float>(x - w), static_cast<float>(y - h), static_cast<float>(x + w),
                          static_cast<float>(y + h), static_cast<float>(box.angle.value),
                          static_cast<float>(box.speed.value) * STREAM);
}

}  // namespace

void FlowSolver::begin(FluidRun& run, const FlowControls& controls, bool barriers, double frame) {
    const int cells = controls.hiRes.value ? FINE_CELLS : COARSE_CELLS;
    FluidFlow& flow = run.create(cells, cells);
    made(flow.create_coordinate_maps());
    flow.set_dt(1.0F);
    m_density = newField(flow, "density");
    m_temperature = newField(flow, "temperature");
    m_barrier = barriers ? newField(flow, "barrier") : -1;
    // They are loaded anew for every step.
    for (const int slot : {m_density, m_temperature}) flow.field(slot)->no_advect = true;
    flow.set_obstacle_field(m_barrier);
    // The forces are cleared before the first step, but the eddies' keyframes begin here.
    if (!controls.forces.turbulent()) return;
    flow.set_noise_k_min(static_cast<float>(controls.forces.KInertial.value));
    stir(flow, controls.forces, 1.0F, frame);
}

void FlowSolver::step(FluidFlow& flow, const FlowControls& controls, const FlowPictures& pictures, double frame) const {
    if (m_barrier >= 0 && pictures.barrier) {
        replace(flow, m_barrier, *pictures.barrier, 1.0F);
        flow.set_boundary_layer(pictures.boundaryLayer);
    }
    flow.set_viscosity(static_cast<float>(controls.fluid.Viscosity.value) * VISCOSITY);
    flow.set_vorticity_confinement(static_cast<float>(controls.fluid.VCFS.value));
    stream(flow, controls.boxA);
    stream(flow, controls.boxB);

    flow.clear_force();
    flow.set_noise_k_min(static_cast<float>(controls.forces.KInertial.value));
    stir(flow, controls.forces, static_cast<float>(controls.forces.EachRandom.value) * FLUID_FORCE, frame);
    const FlowStirringControls& stirring = controls.stirring;
    for (const FluidWindControls* wind : {&stirring.windA, &stirring.windB, &stirring.windC}) addWind(flow, *wind);
    for (const VortexControls* vortex : {&stirring.vortexA, &stirring.vortexB, &stirring.vortexC})
        addVortex(flow, *vortex, pictures.input->pixel_aspect);
    push(flow, controls, pictures);
    if (controls.fluid.NetForce.value) flow.remove_net_force();
    made(flow.step(false));
}

// Buoyancy or pressure, and gravity.
void FlowSolver::push(FluidFlow& flow, const FlowControls& controls, const FlowPictures& pictures) const {
    const auto pressure = static_cast<float>(controls.forces.PressureForce.value);
    const auto rise = [&](const K7Image& picture) {
        const auto sinking = static_cast<float>(controls.forces.RiseFall.value) * BUOYANCY;
        replace(flow, m_density, picture, 1.0F);
        flow.copy_field(m_density, m_temperature);
        flow.set_density_field(m_density, AMBIENT);
        flow.set_temperature_field(m_temperature, std::max(sinking, 0.0F), std::max(-sinking, 0.0F));
        flow.add_buoyancy();
    };
    switch (controls.forces.buoyancy()) {
        case FlowBuoyancy::Input:
            rise(*pictures.input);
            break;
        case FlowBuoyancy::Force:
            rise(*pictures.force);
            break;
        case FlowBuoyancy::InputPressure:
            replace(flow, m_density, *pictures.input, INPUT_PRESSURE);
            flow.add_pressure_force(m_density, pressure);
            break;
        case FlowBuoyancy::ForcePressure:
            replace(flow, m_density, *pictures.force, 1.0F);
            flow.add_pressure_force(m_density, pressure * FORCE_PRESSURE);
            break;
        case FlowBuoyancy::None:
            if (controls.gravity.UseGravity.value) loadLuminance(flow, *pictures.input);
            break;
    }
    if (!controls.gravity.UseGravity.value) return;
    const auto up = static_cast<float>(-(controls.gravity.GravAngle.value + 90.0));
    flow.add_scalar_force(m_density, up, -static_cast<float>(controls.gravity.GravForce.value) * FLUID_FORCE);
}

void FlowSolver::loadLuminance(FluidFlow& flow, const K7Image& picture) const {
    constexpr int LUMINANCE = 4;
    const ImagePtr grey = made(make_image_uncleared(picture.width, picture.height, 4, SAMPLE_F32));
    made(image_select_channel(&picture, grey.get(), LUMINANCE));
    replace(flow, m_density, *grey, 1.0F);
}
