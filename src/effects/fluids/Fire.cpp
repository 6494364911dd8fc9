#include "effects/fluids/Fire.h"

#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int VELOCITY_CELLS = 128;
constexpr float VISCOSITY = 0.000001F;

constexpr float BEYOND_WHITE[] = {1.1F, 1.2F};  // levels of the ramp's last two knots
constexpr float BEYOND_STEP = 0.1F;             // of their positions

}  // namespace

FireInfo::FireInfo() {
    declarePresets();
    ghost({&BoundaryLayer}, UseBarriers, isOff);
    scene.inputs = {"hearth-small.png", "hearth-fuel.png"};
    scene.settings = {
        {"Thresh", "0.1"}, {"HeatUp", "0.7"}, {"TempDiss", "0.25"}, {"SmokeDissipate", "0.1"}, {"Vhi", "350"}};
    scene.lead = 40;
    scene.frame = 40;
}

// ---- The interface --------------------------------------------------------------------------------------------

void Fire::PrepareOverlay() {
    for (FluidWindControls* wind : {&windA, &windB, &windC}) wind->showHandle();
    for (VortexControls* vortex : {&vortexA, &vortexB, &vortexC}) vortex->showHandle();
}

void Fire::ButtonPressed(ButtonControlK7& button) {
    FluidEffect::ButtonPressed(button);
    if (&button != &ResetColours) return;
    for (ControlK7* control : std::initializer_list<ControlK7*>{&Vlo, &Vhi, &V1C, &V1Col, &V2C, &V2Col, &V3C, &V3Col,
                                                                &V4C, &V4Col, &V5C, &V5Col, &V6C, &V6Col})
        control->writeDefault();
    ResetColsSecret.count();
}

// ---- A frame --------------------------------------------------------------------------------------------------

void Fire::ProcessFrame() {
    const StageTimer timer("Fire (CPU)");
    K7Image& result = *output.image;
    m_run.arrive(static_cast<int>(currentFrame), result,
                 {RestartASecret.value, RestartBSecret.value, RestartCSecret.value, RestartDSecret.value,
                  RestartESecret.value, double(UseBarriers.value)});
    const FuelThreshold threshold(Thresh.value);
    if (ViewThresh.value) return threshold.show(*fuel.image, result);

    if (!AdjustColoursOnly.value || !m_run.fits(result)) {
        if (m_run.begins()) light(threshold);
        m_run.restart();  // until the step is done
        if (!AdjustColoursOnly.value) step(threshold);
        m_run.begun();
    }
    paint(result);
}

// A new fluid, full of the fuel's heat and smoke.
void Fire::light(FuelThreshold threshold) {
    const K7Image& like = *output.image;
    FluidFlow& flow = m_run.create(VELOCITY_CELLS, VELOCITY_CELLS, like.width, like.height);
    flow.set_dt(static_cast<float>(TStep.value));
    m_density = newField(flow, "density");
    m_temperature = newField(flow, "temperature");
    m_barrier = UseBarriers.value ? newField(flow, "barrier") : -1;
    flow.set_obstacle_field(m_barrier);
    burn(threshold, 1.0F);
}

void Fire::burn(FuelThreshold threshold, float amount) {
    FluidFlow& flow = *m_run.flow();
    threshold.burn(*fuel.image, amount, *flow.field(m_temperature), *flow.field(m_density));
}

// One step, and this frame's fuel behind it.
void Fire::step(FuelThreshold threshold) {
    FluidFlow& flow = *m_run.flow();
    if (m_barrier >= 0) {
        flow.clear_field(m_barrier);
        made(flow.load_field(barrier.image.get(), m_barrier, 1.0F, false));
        flow.set_boundary_layer(BoundaryLayer.value);
    }
    forces(flow);
    flow.set_dissipation(m_temperature, static_cast<float>(TempDiss.value));
    flow.set_dissipation(m_density, static_cast<float>(SmokeDissipate.value));
    flow.set_variable_viscosity(-1, 0.0F, 0.0F, 1.0F);
    flow.trace_steps = TraceSteps.value;
    made(flow.step(true));
    m_run.traceTimes();
    burn(threshold, static_cast<float>(TempAdd.value));
}

void Fire::forces(FluidFlow& flow) {
    flow.set_viscosity(VISCOSITY);
    flow.set_vorticity_confinement(static_cast<float>(VCFS.value));
    flow.clear_force();
    for (const FluidWindControls* wind : {&windA, &windB, &windC}) addWind(flow, *wind);
    for (const VortexControls* vortex : {&vortexA, &vortexB, &vortexC}) addVortex(flow, *vortex, 1.0F);
    flow.set_density_field(m_density, 0.0F);
    flow.set_temperature_field(m_temperature, static_cast<float>(DenseDown.value) * FLUID_FORCE,
                               static_cast<float>(HeatUp.value) * FLUID_FORCE);
    addHeat(flow);
}

// ---- The picture ----------------------------------------------------------------------------------------------

void Fire::paint(K7Image& result) {
    FluidRamp ramp;
    const auto knot = [&](float position, float red, float green, float blue) {
        ramp.knots[ramp.count++] = {position, {red, green, blue, 1.0F}};
    };
    struct Given {
        const FloatControlK7& position;
        const ColourControlK7& colour;
    };
    for (const Given& given : {Given{V1C, V1Col}, {V2C, V2Col}, {V3C, V3Col}, {V4C, V4Col}, {V5C, V5Col}, {V6C, V6Col}})
        knot(static_cast<float>(given.position.value), given.colour.red, given.colour.green, given.colour.blue);
    float position = static_cast<float>(V6C.value);
    for (const float level : BEYOND_WHITE) knot(position += BEYOND_STEP, level, level, level);

    const FluidFlow& flow = *m_run.flow();
    constexpr float PERCENT = 0.01F;
    render_fields(*flow.field(m_temperature), *flow.field(m_density), result, static_cast<float>(Vlo.value) * PERCENT,
                  static_cast<float>(Vhi.value) * PERCENT, ramp, static_cast<float>(AVlo.value),
                  static_cast<float>(AVhi.value));
    if (MatteOut.value) return show_matte(result);
    const K7Image* behind = OverBlack.value ? nullptr : background.image.get();
    if (!composite_fluid(behind, result, result, PreMultiplyForeground.value))
        Trace(TRACE_ERROR, "Composite FAILED.\n");
}
