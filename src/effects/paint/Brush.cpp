#include "effects/paint/Brush.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

#include "graphicslib/row_bands.h"
#include "imagelib/imagelib_colour.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/solidnoise.h"

namespace {

constexpr double DEGREE = 3.14159265358979323846 / 180.0;
constexpr double LIGHT_HEIGHT = 42 * DEGREE;

// Unsigned heights of two threads that cross: one is above in every other cell.
float weave(float u, float v) {
    const float fu = u - std::floor(u), fv = v - std::floor(v);
    const bool over = ((static_cast<long>(std::floor(u)) + static_cast<long>(std::floor(v))) & 1) != 0;
    const float across = 4 * (over ? fu * (1 - fu) : fv * (1 - fv));
    const float along = 4 * (over ? fv * (1 - fv) : fu * (1 - fu));
    return across * (0.45f + 0.55f * along);
}

void invert(K7Image& matte) {
    for_rows_float(matte.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* p = image_row<float>(&matte, y);
            for (int x = 0; x < matte.width; ++x)
                for (int c = 0; c < 3; ++c) p[4 * x + c] = std::max(1 - p[4 * x + c], 0.0f);
        }
    });
}

}  // namespace

// The painting while it is made, in planes (Brush_simd.h).
struct Brush::Sheet {
    int width, height, pitch;
    std::unique_ptr<float[]> planes;
    float* row(int y) { return planes.get() + std::size_t(y) * BRUSH_PLANES * std::size_t(pitch); }
    const float* row(int y) const { return planes.get() + std::size_t(y) * BRUSH_PLANES * std::size_t(pitch); }
};

// ---- Working values -----------------------------------------------------------------------------------------------

BrushSettings Brush::settings() const {
    const K7Image& picture = *canvas.image;
    const double width = picture.width;
    BrushSettings s{};
    s.width = picture.width, s.height = picture.height;
    s.row_height = 1 / picture.pixel_aspect;
    s.largest = StrokeSize.limited() * width;
    s.smallest = std::min(SmallestStroke.limited() * width, s.largest);
    s.layers = Layers.value;
    s.length = StrokeLength.limited();
    s.density = Strokes.limited() * 0.01;
    const double miss = 1 - Detail.limited() * 0.01;
    s.detail = (0.012 + 0.1 * miss * miss) * std::min(10 * miss, 1.0);  // grain stays below it but for the last tenth
    s.stop = 0.25;
    s.curvature = Curvature.percent();
    s.jitter = AngleJitter.limited() * DEGREE;
    s.opacity = Opacity.percent();
    s.dryness = 0.6f * Dryness.percent() - 0.3f;
    s.colouring = Colouring.value - 1;
    s.paper[0] = PaperColour.red, s.paper[1] = PaperColour.green, s.paper[2] = PaperColour.blue;
    s.ink[0] = InkColour.red, s.ink[1] = InkColour.green, s.ink[2] = InkColour.blue;
    s.hue_jitter = static_cast<float>(HueJitter.limited() * DEGREE);
    s.saturation_jitter = SaturationJitter.percent();
    s.value_jitter = ValueJitter.percent();
    s.saturation = Saturation.percent();
    s.progress = Progress.limited() * 0.01;
    s.order = ProgressOrder.value - 1;
    const double round = Restroke.value > 0 ? std::floor(currentFrame / Restroke.value) : 0.0;
    s.seed = static_cast<std::uint32_t>(Seed.value) + 9973U * static_cast<std::uint32_t>(static_cast<long>(round));
    return s;
}

BrushDirections Brush::directions(bool controlled) const {
    BrushDirections d{};
    d.follow = FollowEdges.limited() * 0.01;
    d.angle = Angle.limited() * DEGREE;
    d.wander = Wander.limited() * DEGREE;
    d.wander_length = WanderSize.limited();
    d.turn = EdgeTurn.limited() * DEGREE;
    d.smooth = EdgeReach.limited();
    d.control = controlled ? static_cast<BrushDirections::Control>(ControlUse.value) : BrushDirections::NONE;
    d.control_angle = ControlAngle.limited() * DEGREE;
    d.seed = static_cast<unsigned>(Seed.value);
    return d;
}

BrushLook Brush::look() const {
    BrushLook l{};
    l.row_height = 1 / canvas.image->pixel_aspect;
    l.bristles = Bristles.percent();
    l.hardness = 3.5f;
    l.softness = Softness.percent();
    l.run_dry = 0.8f * Dryness.percent();
    l.taper = 0.95f * Taper.percent();
    l.cap = 0.08f + 0.92f * Roundness.percent();
    l.streaks = Streaks.percent();
    l.grain = 2.0f * PaperGrain.percent();
    l.wet = Wetness.percent();
    l.ragged = 0.5f * l.wet;
    l.rim = 0.0028f * static_cast<float>(canvas.image->width);
    l.thickness = 0.005f * static_cast<float>(canvas.image->width);
    l.height = 0.22f * Relief.percent();
    l.ridge = 0.5f;
    return l;
}

// ---- Steps --------------------------------------------------------------------------------------------------------

// The ground to paint on: the Painting or paper, its grain, and the noise that wet paint follows.
bool Brush::layPaper(Sheet& sheet) const {
    const K7Image& picture = *canvas.image;
    const bool over = painting.isConnected(), clear = Paper.value == 2;
    const bool grained = PaperGrain.value > 0 || GrainRelief.value > 0, wet = Wetness.value > 0;
    const bool woven = Ground.value == 2;
    const double grain = std::max(GrainSize.limited() * picture.width, 0.3);
    const double pool = 0.03 * picture.width;
    const SolidNoise noise(77U);
    const float most = static_cast<float>(std::clamp(grain * 1.2, 1.01, 6.0));  // finer is not seen
    return eachRow(sheet.height, [&](int y) {
        float* row = sheet.row(y);
        const auto plane = [&](int which) { return row + std::size_t(which) * std::size_t(sheet.pitch); };
        const float* from = image_row<float>(painting.image.get(), y);
        for (int x = 0; x < sheet.width; ++x) {
            const float alpha = over ? from[4 * x + 3] : (clear ? 0.0f : 1.0f);
            plane(BRUSH_RED)[x] = (over ? from[4 * x] : PaperColour.red) * alpha;
            plane(BRUSH_GREEN)[x] = (over ? from[4 * x + 1] : PaperColour.green) * alpha;
            plane(BRUSH_BLUE)[x] = (over ? from[4 * x + 2] : PaperColour.blue) * alpha;
            plane(BRUSH_ALPHA)[x] = alpha;
        }
        std::fill_n(plane(BRUSH_HEIGHT), sheet.pitch, 0.0f);
        const double up = (y + 0.5) / double(picture.pixel_aspect);
        float* const grains = plane(BRUSH_GRAIN);
        if (grained) {
            const NoiseLine line{0.5 / grain, 1 / grain, static_cast<float>(up / grain), 0.37f};
            noise.turbulence_row(line, 0, 1.0f, most, grains, sheet.width);
            for (int x = 0; x < sheet.width; ++x) {
                const float rough = std::clamp(0.5f + 0.75f * grains[x], 0.0f, 1.0f);
                grains[x] = woven ? 0.8f * weave(static_cast<float>((x + 0.5) / grain), line.y) + 0.2f * rough : rough;
            }
        } else {
            std::fill_n(grains, sheet.width, 1.0f);
        }
        if (wet) {
            float* const pools = plane(BRUSH_POOLS);
            noise.turbulence_row({0.5 / pool, 1 / pool, static_cast<float>(up / pool), 5.71f}, 0, 1.0f, 9.0f, pools,
                                 sheet.width);
            for (int x = 0; x < sheet.width; ++x) pools[x] = std::clamp(0.5f + 0.7f * pools[x], 0.0f, 1.0f);
        }
    });
}

void Brush::paint(Sheet& sheet, const std::vector<BrushStroke>& strokes) const {
    const BrushLook l = look();
    const BrushKernels& kernels = brush_kernels();
    const auto rows_of = [&](std::size_t i) {
        const BrushStroke& s = strokes[i];
        // The spine and its straight continuations lie within a circle; half the width and the pools come on top.
        const float reach = 1.7f * std::max(s.behind, s.ahead) + 1.7f * s.half_width * (1 + l.ragged) + 2;
        const float low = (s.y - reach) / l.row_height, high = (s.y + reach) / l.row_height;
        const auto last = static_cast<float>(sheet.height - 1);
        return std::pair(static_cast<int>(std::clamp(low, 0.0f, last)), static_cast<int>(std::clamp(high, 0.0f, last)));
    };
    row_bands::draw(strokes.size(), sheet.height, rows_of,
                    [&](int first, int last, const std::uint32_t* begin, const std::uint32_t* end) {
                        if (abortRequested()) return;
                        for (const std::uint32_t* i = begin; i < end; ++i)
                            kernels.draw(l, strokes[*i], sheet.planes.get(), sheet.pitch, sheet.width, first, last);
                    });
}

// Light, then the painting over what was there.
void Brush::finish(const Sheet& sheet) {
    const K7SineCosine turn = k7_sine_cosine(LightAngle.limited() * DEGREE), up = k7_sine_cosine(LIGHT_HEIGHT);
    BrushLight light{};
    light.x = static_cast<float>(turn.cosine * up.cosine), light.y = static_cast<float>(turn.sine * up.cosine);
    light.z = static_cast<float>(up.sine);
    const float half = std::sqrt(light.x * light.x + light.y * light.y + (light.z + 1) * (light.z + 1));
    light.half_x = light.x / half, light.half_y = light.y / half, light.half_z = (light.z + 1) / half;
    light.flat_shine = light.half_z;
    for (int i = 0; i < 5; ++i) light.flat_shine *= light.flat_shine;
    light.shine = 0.8f * Shine.percent();
    light.grain_height =
        0.35f * GrainRelief.percent() * static_cast<float>(std::max(GrainSize.limited() * sheet.width, 0.3));
    light.fills = 900.0f / static_cast<float>(sheet.width);
    light.row_height = 1 / canvas.image->pixel_aspect;
    const bool over = painting.isConnected(), matted = matte.isConnected() && !MatteStrokes.value;
    const bool carried = !over && Paper.value == 1;  // the canvas's alpha is kept
    const float mix = Mix.percent();
    const BrushKernels& kernels = brush_kernels();
    for_rows_float(sheet.height, [&](int first, int last) {
        std::vector<float> lit(2 * std::size_t(sheet.pitch));
        float *shade = lit.data(), *gloss = shade + sheet.pitch;
        for (int y = first; y <= last && !abortRequested(); ++y) {
            const float* row = sheet.row(y);
            kernels.light(light, sheet.row(std::max(y - 1, 0)), row, sheet.row(std::min(y + 1, sheet.height - 1)),
                          sheet.pitch, sheet.width, shade, gloss);
            const float* before = image_row<float>((over ? painting : canvas).image.get(), y);
            const float* own = image_row<float>(canvas.image.get(), y);
            const float* mask = matted ? image_row<float>(matte.image.get(), y) : nullptr;
            float* out = image_row<float>(output.image.get(), y);
            for (int x = 0; x < sheet.width; ++x) {
                const float* p = row + x;
                const long pitch = sheet.pitch;
                const float alpha = p[BRUSH_ALPHA * pitch], whole = alpha > 1e-6f ? 1 / alpha : 0.0f;
                float part = mix;
                if (mask) part *= std::clamp(luminance(mask + 4L * x), 0.0f, 1.0f);
                const float paint[4] = {
                    std::max(p[BRUSH_RED * pitch] * whole * shade[x] + gloss[x], 0.0f),
                    std::max(p[BRUSH_GREEN * pitch] * whole * shade[x] + gloss[x], 0.0f),
                    std::max(p[BRUSH_BLUE * pitch] * whole * shade[x] + gloss[x], 0.0f),
                    carried ? own[4 * x + 3] : alpha,
                };
                for (int c = 0; c < 4; ++c) out[4 * x + c] = before[4 * x + c] + (paint[c] - before[4 * x + c]) * part;
            }
        }
    });
}

void Brush::ProcessFrame() {
    const StageTimer timer("Brush (CPU)");
    const K7Image& picture = *canvas.image;
    const bool matted = matte.isConnected(), controlled = control.isConnected();
    if (matted && InvertMatte.value) invert(*matte.image);

    const BrushCanvas seen(picture);
    std::optional<BrushCanvas> mask, steering;
    if (matted && MatteStrokes.value) mask.emplace(*matte.image);
    if (controlled) steering.emplace(*control.image);
    const BrushField field(seen, steering ? &*steering : nullptr, directions(controlled));
    if (abortRequested()) return;
    const std::vector<BrushStroke> strokes =
        brush_strokes(settings(), seen, field, mask ? &*mask : nullptr, stopRequested());
    if (abortRequested()) return;

    const int whole = (picture.width + BRUSH_PITCH_UNIT - 1) / BRUSH_PITCH_UNIT * BRUSH_PITCH_UNIT;
    Sheet sheet{picture.width, picture.height, whole + BRUSH_PITCH_UNIT, {}};
    sheet.planes =
        std::make_unique_for_overwrite<float[]>(std::size_t(sheet.height) * BRUSH_PLANES * std::size_t(sheet.pitch));
    if (!layPaper(sheet)) return;
    paint(sheet, strokes);
    if (!abortRequested()) finish(sheet);
}
