#include "effects/fluids/Candle.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_arithmetic.h"
#include "imagelib/imagelib_blur.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "noiselib/mtrandom.h"

namespace {

constexpr int VELOCITY_CELLS = 128;
constexpr float DENSITY_WEIGHT = 0.004F;  // how hard density pulls down
constexpr float DENSITY_FADE = 0.4F;
constexpr int TRACE_STEPS = 20;

constexpr std::uint32_t SHAPE_SEED = 1234567;
constexpr int SAMPLES = 16;  // of a pixel of the shape
constexpr float SMALLEST_RADIUS = 0.005F;

}  // namespace

CandleInfo::CandleInfo() {
    declarePresets();
    ghost({&CRadiusY}, MatchRadius, isOn);
    ghost({&BGambient, &BGMod, &BGBoost}, OverBlack, isNot(Illuminated));
    ghost({&CandleDensity}, SeeWhat, isNot(All));
    ghost({&GutterStrength}, AutoGutter, isOff);
    CRadiusY.followedByOverlay = true;
    scene.inputs = {"hearth-small.png"};
    scene.settings = {{"Centre", "0.74,0.3"}, {"CRadiusX", "0.05"}, {"CRadiusY", "0.08"},
                      {"Soften", "1"},        {"Blurx", "8"},       {"Blury", "14"},
                      {"HeatUp", "2"},        {"TempAdd", "0.33"},  {"GasThin", "1"}};
    scene.look = {{"Centre", "0.74,0.3"}, {"CRadiusX", "0.05"}, {"CRadiusY", "0.08"},
                  {"HeatUp", "2"},        {"TempAdd", "0.33"},  {"GasThin", "1"}};
    scene.lead = 40;
    scene.frame = 40;
}

// ---- The interface --------------------------------------------------------------------------------------------

void Candle::PrepareOverlay() {
    roundWidget.visible = CRadiusY.ghosted();
    ovalWidget.visible = !roundWidget.visible;
    wind.showHandle();
}

void Candle::ButtonPressed(ButtonControlK7& button) {
    FluidEffect::ButtonPressed(button);
    if (&button != &ResetColours) return;
    for (ControlK7* control : std::initializer_list<ControlK7*>{&ColourBias, &FlameCol, &GasCol, &GasThin})
        control->writeDefault();
    ResetColsSecret.count();
}

// ---- The shape that burns -------------------------------------------------------------------------------------

Candle::Shape Candle::shape() const {
    const K7Image& picture = *output.image;
    const auto width = static_cast<float>(picture.width), height = static_cast<float>(picture.height);
    const auto radius = [&](double halfWidths) { return width * static_cast<float>(halfWidths) * 0.5F; };
    const double vertical = MatchRadius.value ? CRadiusX.value : CRadiusY.value;
    return {static_cast<float>(Centre.x) * width, static_cast<float>(Centre.y) * height,
            std::max(radius(CRadiusX.value), SMALLEST_RADIUS),
            std::max(radius(vertical) * picture.pixel_aspect, SMALLEST_RADIUS),
            static_cast<float>(Soften.value) / picture.unit_scale};
}

// An ellipse whose edge is dithered over two pixels. Every pixel of its box draws its numbers, inside or not.
bool Candle::drawShape() {
    const K7Image& like = *output.image;
    const Shape now = shape();
    if (m_stencil && now == m_drawn && m_stencil->width == like.width && m_stencil->height == like.height) return true;
    m_stencil = made(make_image(like.width, like.height, 1, SAMPLE_F32));
    const auto first = [](float centre, float radius, int size) {
        return static_cast<int>(std::clamp(std::floor(centre - radius) - 1.0F, 0.0F, static_cast<float>(size)));
    };
    const auto last = [](float centre, float radius, int size) {
        return static_cast<int>(std::clamp(std::ceil(centre + radius) + 1.0F, -1.0F, static_cast<float>(size - 1)));
    };
    const float flatness = now.radius_x / now.radius_y, inside = now.radius_x * now.radius_x;
    const int left = first(now.x, now.radius_x, like.width), right = last(now.x, now.radius_x, like.width);
    const int top = last(now.y, now.radius_y, like.height);
    MTRandom random(SHAPE_SEED);
    for (int y = first(now.y, now.radius_y, like.height); y <= top && !abortRequested(); ++y) {
        float* row = image_row<float>(m_stencil.get(), y);
        for (int x = left; x <= right; ++x) {
            int hits = 0;
            for (int sample = 0; sample < SAMPLES; ++sample) {
                const float dx = static_cast<float>(x) + random.next_float_in(-1.0F, 1.0F) - now.x;
                const float dy = (static_cast<float>(y) + random.next_float_in(-1.0F, 1.0F) - now.y) * flatness;
                hits += dx * dx + dy * dy < inside;
            }
            row[x] = static_cast<float>(hits) / SAMPLES;
        }
    }
    if (abortRequested()) {
        m_stencil.reset();
        return false;
    }
    m_drawn = {};
    made(image_gaussian_blur(m_stencil.get(), now.soften, now.soften, 1));
    m_drawn = now;
    return true;
}

// ---- A frame --------------------------------------------------------------------------------------------------

void Candle::ProcessFrame() {
    const StageTimer timer("Candle (CPU)");
    K7Image& result = *output.image;
    m_run.arrive(static_cast<int>(currentFrame), result,
                 {RestartASecret.value, RestartBSecret.value, RestartCSecret.value});
    const FuelThreshold threshold(Thresh.value);
    if (!drawShape()) return;
    if (ViewThresh.value == ViewThreshold) return threshold.show(*m_stencil, result);
    if (m_run.begins()) light(threshold);
    m_run.restart();  // until the step is done
    step(threshold);
    m_run.begun();
    paintFlame(result);
    compose(result);
}

// A new fluid, full of the fuel's heat.
void Candle::light(FuelThreshold threshold) {
    const K7Image& like = *output.image;
    FluidFlow& flow = m_run.create(VELOCITY_CELLS, VELOCITY_CELLS, like.width, like.height);
    flow.set_dt(1.0F);
    m_density = newField(flow, "density");
    m_temperature = newField(flow, "temperature");
    burn(threshold, 1.0F);
}

void Candle::burn(FuelThreshold threshold, float amount) {
    FluidFlow& flow = *m_run.flow();
    threshold.burn(*m_stencil, amount, *flow.field(m_temperature), *flow.field(m_density));
}

void Candle::step(FuelThreshold threshold) {
    FluidFlow& flow = *m_run.flow();
    const double gutter = AutoGutter.value ? GutterStrength.value * wind.strength.value : 0.0;
    flow.set_viscosity(static_cast<float>(Visco.value));
    flow.set_vorticity_confinement(static_cast<float>(VCFS.value + gutter));
    flow.clear_force();
    addWind(flow, wind);
    flow.set_density_field(m_density, 0.0F);
    flow.set_temperature_field(m_temperature, DENSITY_WEIGHT, static_cast<float>(HeatUp.value) * FLUID_FORCE);
    addHeat(flow);
    flow.set_dissipation(m_temperature, static_cast<float>(TempDiss.value));
    flow.set_dissipation(m_density, DENSITY_FADE);
    flow.set_variable_viscosity(-1, 0.0F, 0.0F, 1.0F);
    flow.trace_steps = TRACE_STEPS;
    made(flow.step(true));
    m_run.traceTimes();
    burn(threshold, static_cast<float>(TempAdd.value));
}

// ---- The picture ----------------------------------------------------------------------------------------------

// Colour and opacity both follow the heat: none, the flame, thin gas.
void Candle::paintFlame(K7Image& flame) const {
    const auto bright = static_cast<float>(Bcandle.value);
    const float thin = 1.1F + static_cast<float>(GasThin.value);
    const FluidRamp ramp{
        .count = 3,
        .knots = {{0.0F, {}},
                  {1.0F, {FlameCol.red * bright, FlameCol.green * bright, FlameCol.blue * bright, bright}},
                  {thin, {GasCol.red * bright, GasCol.green * bright, GasCol.blue * bright, 0.5F * bright}}},
        .exponent = static_cast<float>(ColourBias.value) * 0.5F,
        .alpha_of_ramp = true};
    const ScalarField& heat = *m_run.flow()->field(m_temperature);
    render_fields(heat, heat, flame, 0.0F, 1.0F, ramp, 0.0F, 1.0F);
}

ImagePtr Candle::blurred(const K7Image& flame, double reach) const {
    const auto radius = [&](const FloatControlK7& glow) {
        return static_cast<float>(glow.value * reach) / flame.unit_scale;
    };
    ImagePtr light(made(image_duplicate(&flame)));
    made(image_gaussian_blur(light.get(), radius(Blurx), radius(Blury), 15));
    return light;
}

// What is behind the flame; null is nothing.
const K7Image* Candle::scenery(const K7Image& flame) {
    K7Image* clip = background.image.get();
    if (OverBlack.value == Transparent) return nullptr;
    if (OverBlack.value == Illuminated) {
        const ImagePtr light = blurred(flame, BGMod.value);
        const double brightness = BGambient.value * BGBoost.value * BGMod.value;
        illuminate(*clip, *light, static_cast<float>(brightness));
    }
    return clip;
}

// The result holds the flame.
void Candle::compose(K7Image& result) {
    if (MatteOut.value) return show_matte(result);
    if (SeeWhat.value == CandleOnly && OverBlack.value == Transparent) return;
    const ImagePtr glow = SeeWhat.value == CandleOnly ? nullptr : blurred(result, 1.0);
    const K7Image* behind = scenery(result);
    if (SeeWhat.value == BackgroundOnly) {
        behind ? image_copy(behind, &result) : image_clear(&result);
    } else {
        if (SeeWhat.value == All) image_multiply_constant_masked(&result, static_cast<float>(CandleDensity.value), 8);
        if (!composite_fluid(behind, result, result, false)) Trace(TRACE_ERROR, "Composite FAILED.\n");
    }
    if (glow) add_glow(result, *glow, static_cast<float>(Bbright.value));
}
