#include "effects/night/NightVision.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/night/NightLook.h"
#include "effects/night/NightVisionGrain.h"
#include "effects/night/NightVisionReticle.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_vignette.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr double LEAST_CONTRAST = 1e-6;
constexpr double FARTHEST = 1e6;  // pixels, that a reticle may lie away or reach
constexpr double REFERENCE_WIDTH = 1920;
constexpr double DEFAULT_THICKNESS[3] = {2, 6, 8};  // pixels at the width above

float percent(const FloatControlK7& control) { return static_cast<float>(control.value / 100.0); }

// A radius given for the full size.
float scaled(const FloatControlK7& radius, const K7Image& image) {
    return static_cast<float>(radius.value) / image.unit_scale;
}

VignetteShape vignette_of(const NightVisionInfo& info, const K7Image& image) {
    const float width = image.width;
    const bool binocular = info.BorderType.value == NightVisionInfo::Binocular;
    return {.centre_x = width * 0.5f,
            .centre_y = float(image.height) * 0.5f,
            .offset = binocular ? static_cast<float>(info.Separation.value) * width * 0.25f : 0.0f,
            .radius = static_cast<float>(info.ClearRad.value) * width * 0.5f,
            .slope = static_cast<float>((100.0 - info.Softness.value) * 0.5),
            .row_height = 1.0f / image.pixel_aspect};
}

// A reticle over a picture. Colours are laid over each other as they are, not multiplied by alpha.
class Reticle {
  public:
    Reticle(const NightVisionInfo& info, const K7Image& image)
        : m_place{info.RetPos.x * image.width, info.RetPos.y * image.height, double(image.pixel_aspect)},
          m_colour{info.RetColour.red, info.RetColour.green, info.RetColour.blue},
          m_alpha(std::clamp(info.RetColour.alpha, 0.0f, 1.0f)) {
        const double size = info.RetSize.value * image.width * 0.5;
        const FloatControlK7* given[3] = {&info.RetThick1, &info.RetThick2, &info.RetThick3};
        double thickness[3];
        bool sound = std::fabs(m_place.x) < FARTHEST && std::fabs(m_place.y) < FARTHEST && size > 0 && size < FARTHEST;
        for (int i = 0; i < 3; ++i) {
            thickness[i] = info.UseDef.value ? DEFAULT_THICKNESS[i] * image.width / REFERENCE_WIDTH
                                             : given[i]->value / double(image.unit_scale);
            sound &= thickness[i] > 0 && thickness[i] < FARTHEST;
        }
        if (sound && m_alpha > 0.0f)
            m_shapes = reticle_shapes(info.RetType.value - NightVisionInfo::NoReticle, size, thickness);
    }

    bool visible() const { return !m_shapes.empty(); }

    // `coverage` holds a row of zeros before and after.
    void draw(int y, float* row, int width, float* coverage) const {
        const ReticleSpan span = reticle_coverage(m_shapes, m_place, y, width, coverage);
        for (int x = span.first; x < span.last; ++x) {
            const float share = coverage[x] * m_alpha;
            coverage[x] = 0.0f;
            if (share == 0.0f) continue;
            float* pixel = row + 4 * x;
            for (int c = 0; c < 3; ++c) pixel[c] += share * (m_colour[c] - pixel[c]);
            pixel[3] += share * (1.0f - pixel[3]);
        }
    }

  private:
    ReticlePlace m_place;
    float m_colour[3];
    float m_alpha;
    std::vector<ReticleShape> m_shapes;
};

}  // namespace

// ---- Declaration ----------------------------------------------------------------------------------------------

NightVisionInfo::NightVisionInfo() {
    RetType.followedByOverlay = true;
    ghost({&Defocus}, DoDefocus, isOff);
    ghost({&LumBias, &Grain, &GrainSize}, DoGrain, isOff);
    ghost({&BlurGrain}, DoBlurGrain, isOff);
    ghost({&Range, &HiSoft, &HiBoost}, DoHi, isOff);
    ghost({&ClearRad, &Softness, &BorderType}, DoBorder, isOff);
    const char* separation = "Separation is for a binocular border";
    rule(
        DoBorder, [this] { ghostSeparation(); }, separation);
    rule(
        BorderType, [this] { ghostSeparation(); }, separation);
    ghost({&RetPos, &RetSize, &RetColour, &UseDef}, RetType, is(NoReticle));
    const char* thickness = "thicknesses are for a reticle whose default is not used";
    rule(
        RetType, [this] { ghostThickness(); }, thickness);
    rule(
        UseDef, [this] { ghostThickness(); }, thickness);
    declarePresets();
    scene.inputs = {"launch-small.png"};
    scene.settings = {{"Demos", "Type H"}, {"HiSoft", "12"}, {"Grain", "4"}, {"GrainSize", "1"}};
    scene.frame = 3;
    scene.plates = {"street.jpg"};
    scene.look = {{"Demos", "Type C"}};
}

void NightVisionInfo::ghostSeparation() {
    int border = 1, type = Monocular;
    DoBorder.GetValue(-1, &border);
    BorderType.GetValue(-1, &type);
    Separation.SetGhosted(border == 0 || type != Binocular);
}

// Which reticle is drawn with which thickness.
void NightVisionInfo::ghostThickness() {
    static constexpr bool USED[6][3] = {
        {}, {true}, {true, true}, {true, false, true}, {false, true, true}, {false, true, true}};
    int type = NoReticle, standard = 1;
    RetType.GetValue(-1, &type);
    UseDef.GetValue(-1, &standard);
    FloatControlK7* controls[3] = {&RetThick1, &RetThick2, &RetThick3};
    for (int i = 0; i < 3; ++i) controls[i]->SetGhosted(standard != 0 || !USED[std::clamp(type - NoReticle, 0, 5)][i]);
}

void NightVision::PrepareOverlay() {
    reticleWidget.visible = reticleSizeWidget.visible = RetType.overlayValue != NoReticle;
}

// ---- The picture ----------------------------------------------------------------------------------------------

void NightVision::ProcessFrame() {
    const StageTimer timer("NightVision (CPU)");
    const K7Image* source = input.image.get();
    K7Image* result = output.image.get();
    if (develop(*source, *result) && addGrain(*result)) frame(*result);
}

// Response, defocus, tint and highlights. Row passes that follow each other go over a row together while it is in the
// cache.
bool NightVision::develop(const K7Image& source, K7Image& result) {
    const double contrast = Contrast.value * 0.01;
    const double exponent = 1.0 / (contrast > LEAST_CONTRAST ? contrast : LEAST_CONTRAST);
    const ImagePtr light =
        DoHi.value ? made(make_image_uncleared(result.width, result.height, 4, SAMPLE_F32)) : nullptr;
    m_powers.prepare(TUBE_STEPS, TUBE_STEPS, exponent);
    const TubeResponse response{m_powers.entries(), exponent, PowerTable::power, percent(Brightness), percent(Lift)};
    const float tint[3] = {Tint.red, Tint.green, Tint.blue}, threshold = percent(Range), boost = percent(HiBoost);
    const NightLookRows& rows = night_look_rows();
    const auto developRow = [&](int y) {
        rows.develop(response, image_row<float>(&source, y), image_row<float>(&result, y), result.width);
    };
    const auto tintRow = [&](int y) {
        rows.tint(tint, image_row<float>(&result, y), result.width);
        if (light)
            rows.highlights(threshold, image_row<float>(&source, y), image_row<float>(&result, y),
                            image_row<float>(light.get(), y), result.width);
    };

    if (DoDefocus.value) {
        const float radius = scaled(Defocus, result);
        if (!eachRow(result.height, developRow)) return false;
        made(image_gaussian_blur(&result, radius, radius, -1));
        if (!eachRow(result.height, tintRow)) return false;
    } else if (!eachRow(result.height, [&](int y) { developRow(y), tintRow(y); })) {
        return false;
    }
    if (!light) return true;
    const float radius = scaled(HiSoft, result);
    made(image_gaussian_blur(light.get(), radius, radius, -1));
    return eachRow(result.height, [&](int y) {
        rows.bloom(boost, image_row<float>(light.get(), y), image_row<float>(&result, y), result.width);
    });
}

bool NightVision::addGrain(K7Image& result) {
    if (!DoGrain.value || GrainSize.value <= 0) return true;
    const NightGrain recipe{.seed = static_cast<unsigned>(static_cast<int>(currentFrame + 0.5)),
                            .amount = percent(Grain),
                            .size = std::min(GrainSize.value, NightGrain::LARGEST),
                            .picture = LumBias.value ? &result : nullptr};
    const ImagePtr grain = night_grain(*this, recipe, result.width, result.height);
    const float radius = scaled(BlurGrain, result);
    if (DoBlurGrain.value) made(image_gaussian_blur(grain.get(), radius, radius, -1));
    return eachRow(result.height, [&](int y) {
        night_look_rows().grain(image_row<float>(grain.get(), y), image_row<float>(&result, y), result.width);
    });
}

// Border and reticle.
void NightVision::frame(K7Image& result) {
    if (DoBorder.value) {
        Trace(TRACE_DEBUG, "Q_NightVision: image aspect %f\n", double(result.pixel_aspect));
        const VignetteShape vignette = vignette_of(*this, result);
        if (!image_vignette(&result, vignette, stopRequested())) return;
    }
    const Reticle reticle(*this, result);
    if (!reticle.visible()) return;
    for_rows_float(result.height, [&](int first, int last) {
        std::vector<float> coverage(result.width);
        for (int y = first; y <= last && !abortRequested(); ++y)
            reticle.draw(y, image_row<float>(&result, y), result.width, coverage.data());
    });
}
