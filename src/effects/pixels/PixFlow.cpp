#include "effects/pixels/PixFlow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Library2/Made.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_curves.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr float CELL = 4.0F;  // pixels of the full size
constexpr float LEAST_CELLS = 48, MOST_CELLS = 960;
constexpr int MOST_ROWS = 2049;
constexpr float BRIGHTEST = 2.0F;     // luminance that steers
constexpr double LINE_SAMPLES = 1.2;  // pixels from sample to sample of a smear, at most
constexpr int MOST_PASSES = 9;
constexpr float STRAND_CONTRAST = 1.1F;
constexpr float LEAST_STRAND = 1.5F;  // pixels
constexpr std::uint32_t STRAND_SEED = 9173;

float tallness_of(const K7Image& image) {
    return static_cast<float>(image.height) / (static_cast<float>(image.width) * image.pixel_aspect);
}
ImagePtr like(const K7Image& image) { return made(make_image_uncleared(image.width, image.height, 4, SAMPLE_F32)); }

// The rows of libraries, for one that wants a runner.
RowRunner library_rows() {
    return {nullptr,
            [](void*, RowWorker worker, int rows, void* job) { image_dispatch_rows_float(worker, rows, job); }};
}

// a = a * of_a + b * of_b
void mix_into(K7Image& a, float of_a, const K7Image& b, float of_b) {
    for_rows_float(a.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* to = image_row<float>(&a, y);
            const float* from = image_row<float>(&b, y);
            for (int i = 0; i < 4 * a.width; ++i) to[i] = of_a * to[i] + of_b * from[i];
        }
    });
}

}  // namespace

PixFlowInfo::PixFlowInfo() {
    ghost({&Threshold, &Softness}, Select, is(Everything));
    declarePresets();
    scene.inputs = {"street-small.png"};
    scene.settings = {{"Amount", "10"}, {"Smear", "3"}, {"Strands", "30"}, {"Luma", "60"}};
    scene.plates = {"portrait.jpg"};
    scene.look = {{"Demos", "Oil"}};
}

// ---- When -----------------------------------------------------------------------------------------------------

// What a frame shows: one layer, or two that dissolve into each other.
struct PixFlow::Moment {
    struct Layer {
        double amount;  // that it has flowed, in widths
        float weight;
    };
    double total;  // that the field has flowed
    std::array<Layer, 2> layers;
    float opacity;
};

PixFlow::Moment PixFlow::moment() const {
    const double set = Amount.limited() / 100.0, growth = Speed.limited() / 100.0;
    const double frames = std::max(currentFrame - StartAt.value, 0.0);
    Moment now{set + growth * frames, {{{set + growth * frames, 1.0F}, {0.0, 0.0F}}}, 1.0F};
    if (Renew.value > 0)
        for (std::size_t i = 0; i < 2; ++i) {
            const double turns = frames / Renew.value + 0.5 * static_cast<double>(i), phase = turns - std::floor(turns);
            now.layers[i].amount = set + growth * std::min(phase * Renew.value, frames);
            now.layers[i].weight = static_cast<float>(1.0 - std::fabs(2.0 * phase - 1.0));
        }
    if (const float gone = FadeOut.percent(); gone > 0) {
        now.opacity = 0;
        for (const Moment::Layer& layer : now.layers)
            now.opacity += layer.weight * (1.0F - smooth_step(static_cast<float>(layer.amount), 0.0F, gone));
    }
    return now;
}

// ---- What flows -----------------------------------------------------------------------------------------------

bool PixFlow::isLayer() const { return flowing.isConnected() || Select.value != Everything || Edges.value == Open; }

// The colours that flow over the background, multiplied by their alpha.
void PixFlow::makeLayer(K7Image& layer) const {
    const bool own = flowing.isConnected(), ready = own && PreMultiplied.value;
    const K7Image& shown = own ? *flowing.image : *background.image;
    const K7Image& chooser = luminance.isConnected() ? *luminance.image : shown;
    const float soft = std::max(Softness.percent(), 1e-3F), low = Threshold.percent() - 0.5F * soft;
    const bool open = Edges.value == Open;
    for_rows_float(layer.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* from = image_row<float>(&shown, y);
            const float* light = image_row<float>(&chooser, y);
            float* to = image_row<float>(&layer, y);
            for (int x = 0; x < layer.width; ++x, from += 4, light += 4, to += 4) {
                float part = 1.0F;
                if (Select.value != Everything) part = smooth_step((::luminance(light) - low) / soft, 0.0F, 1.0F);
                if (Select.value == DarkParts) part = 1.0F - part;
                // Beyond the edges the outermost pixels go on: nothing.
                if (open && (x == 0 || y == 0 || x == layer.width - 1 || y == layer.height - 1)) part = 0.0F;
                const float alpha = own ? part * std::min(from[3], 1.0F) : part;
                for (int c = 0; c < 3; ++c) to[c] = from[c] * (ready ? part : alpha);
                to[3] = alpha;
            }
        }
    });
}

// ---- How it flows ---------------------------------------------------------------------------------------------

FlowField PixFlow::makeField(const K7Image& steering) const {
    const float tallness = tallness_of(steering);
    const float full_width = static_cast<float>(steering.width) * steering.unit_scale;
    const int cells = static_cast<int>(std::clamp(full_width / CELL, LEAST_CELLS, MOST_CELLS)), width = cells + 1;
    const int height = static_cast<int>(std::clamp(tallness * static_cast<float>(cells), 1.0F, MOST_ROWS - 1.0F)) + 1;
    std::vector<float> light(std::size_t(width) * std::size_t(height));
    const float blur = std::max(LumaBlur.percent(), 1e-3F);
    if (Luma.value > 0.0 || SlowDark.value > 0.0) {
        const ImagePtr grey = made(make_image_uncleared(steering.width, steering.height, 1, SAMPLE_F32));
        const ImagePtr small = made(make_image_uncleared(width, height, 1, SAMPLE_F32));
        made(image_luminance_to_matte(&steering, grey.get(), false));
        made(image_scale(grey.get(), small.get(), KERNEL_TRIANGLE, true));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                float& value = image_row<float>(small.get(), y)[x];
                value = std::min(value, BRIGHTEST);
            }
        const float radius = blur * static_cast<float>(cells);
        made(image_gaussian_blur(small.get(), radius, radius, -1));
        for (int y = 0; y < height; ++y)
            std::copy_n(image_row<float>(small.get(), y), width, light.begin() + std::ptrdiff_t(y) * width);
    }
    const auto degrees = [](const AngleControlK7& angle) {
        return k7_sine_cosine(angle.value * (3.14159265358979 / 180));
    };
    const K7SineCosine drift = degrees(DriftAngle), turn = degrees(LumaAngle);
    const FlowPattern pattern{Pattern.value,
                              Strength.percent(),
                              std::max(Size.percent(), 5e-3F),
                              Detail.percent(),
                              static_cast<float>(std::max(Stretch.limited(), 0.1)),
                              Evolve.percent(),
                              static_cast<std::uint32_t>(Seed.value)};
    const FlowSteering forces{Drift.percent(),
                              static_cast<float>(drift.cosine),
                              static_cast<float>(drift.sine),
                              Luma.percent() * static_cast<float>(turn.cosine),
                              Luma.percent() * static_cast<float>(turn.sine),
                              blur,
                              SlowDark.percent(),
                              Edges.value == Contained};
    // The grid reaches from the centre of the first pixel to that of the last one.
    const auto extent = [](int pixels) { return pixels > 1 ? 1.0F - 1.0F / static_cast<float>(pixels) : 1.0F; };
    return {width, height, extent(steering.width), tallness * extent(steering.height), pattern, forces, light};
}

struct PixFlow::Work {
    explicit Work(FlowField made_field)
        : field(std::move(made_field)),
          x(FLUID_BOUNDED, field.width(), field.height()),
          y(FLUID_BOUNDED, field.width(), field.height()) {
        made(x.valid() && y.valid());
    }
    FlowField field;
    ScalarField x, y;  // where colours come from
};

// The maps' colours of one picture in another.
bool PixFlow::readThrough(Work& work, const FlowField::Paths& paths, float spread, const K7Image& from,
                          K7Image& to) const {
    work.field.to_maps(paths, work.x, work.y);
    const bool wraps = Edges.value == Wrapped;
    return madeUnlessAborted(image_through_maps({&work.x, &work.y, wraps, wraps}, &from, &to, {1.0F, spread},
                                                library_rows(), stopRequested()));
}

// False when the host wants an end.
bool PixFlow::carryColours(Work& work, const Moment& now, double lead, const K7Image& from, K7Image& to) const {
    ImagePtr second;
    for (const Moment::Layer& layer : now.layers) {
        if (!(layer.weight > 0)) continue;
        const bool first = &layer == &now.layers.front() || !(now.layers.front().weight > 0);
        if (!first) second = like(to);
        FlowField::Paths paths = work.field.at_rest();
        if (!work.field.trace_back(now.total, layer.amount - lead, stopRequested(), paths) ||
            !readThrough(work, paths, 1.0F, from, first ? to : *second))
            return false;
    }
    if (second) mix_into(to, now.layers[0].weight, *second, now.layers[1].weight);
    return true;
}

// Streaks to be: noise that the smear will draw out. It evens out over a line; what is left is the contrast asked for.
void PixFlow::addStrands(K7Image& picture, float length) const {
    const float width = std::max(StrandWidth.percent() * static_cast<float>(picture.width), LEAST_STRAND);
    const float along = length * static_cast<float>(picture.width) / width;
    const float gain = STRAND_CONTRAST * Strands.percent() * std::sqrt(1.0F + 0.8F * along);
    const SolidNoise noise(STRAND_SEED + static_cast<std::uint32_t>(Seed.value));
    const double step = 1.0 / double(width);
    for_rows_float(picture.height, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> strands(std::size_t(picture.width));
        for (int y = first; y <= last; ++y) {
            const float up = static_cast<float>(y) / (picture.pixel_aspect * width);
            noise.noise_row(NoiseLine{0.0, step, up, 0.37F}, 0, strands.data(), picture.width);
            float* pixel = image_row<float>(&picture, y);
            for (int x = 0; x < picture.width; ++x, pixel += 4)
                for (int c = 0; c < 3; ++c) pixel[c] *= 1.0F + gain * strands[std::size_t(x)];
        }
    });
}

// Each pixel becomes the mean of the line that the flow comes along, `length` widths of it.
bool PixFlow::smearAlong(Work& work, double total, double length, ImagePtr& picture) const {
    const double samples = length * double(picture->width) / LINE_SAMPLES;
    int passes = 1;
    while (passes < MOST_PASSES && double(1 << passes) < samples) ++passes;
    const FlowField::Lines lines = work.field.lines_at(total);
    FlowField::Paths paths = work.field.at_rest();
    ImagePtr further = like(*picture);
    double reached = 0, wanted = length / double(1 << passes);
    for (int pass = 0; pass < passes; ++pass) {
        if (!work.field.follow_back(lines, wanted - reached, stopRequested(), paths) ||
            !readThrough(work, paths, 0.0F, *picture, *further))
            return false;
        mix_into(*picture, 0.5F, *further, 0.5F);
        reached = wanted, wanted *= 2;
    }
    return true;
}

// ---- The picture ----------------------------------------------------------------------------------------------

void PixFlow::show(const K7Image& flowed, float opacity) {
    K7Image& picture = *output.image;  // begins as the background
    const bool layer = isLayer();
    for_rows_float(picture.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            const float* from = image_row<float>(&flowed, y);
            float* to = image_row<float>(&picture, y);
            for (int x = 0; x < picture.width; ++x, from += 4, to += 4) {
                const float hidden = layer ? std::clamp(opacity * from[3], 0.0F, 1.0F) : opacity;
                const float alpha = layer ? opacity * from[3] : opacity * std::max(from[3], 0.0F);
                for (int c = 0; c < 3; ++c)  // strands may go below 0
                    to[c] = (1.0F - hidden) * to[c] + opacity * std::max(from[c], 0.0F);
                to[3] = (1.0F - hidden) * to[3] + alpha;
            }
        }
    });
    if (!doAlpha) image_copy_channels(background.image.get(), &picture, 8);
}

void PixFlow::ProcessFrame() {
    const StageTimer timer("PixFlow (CPU)");
    const Moment now = moment();
    ImagePtr layer;
    if (isLayer()) {
        layer = like(*background.image);
        makeLayer(*layer);
    }
    const K7Image& source = layer ? *layer : *background.image;
    const float length = Smear.percent();
    Work work(makeField(luminance.isConnected() ? *luminance.image : source));
    ImagePtr flowed = like(source);
    // A line goes back from where it is drawn: half of it on, so that it lies around its pixel.
    if (!carryColours(work, now, 0.5 * double(length), source, *flowed)) return;
    if (length > 0) {
        if (Strands.value > 0.0) addStrands(*flowed, length);
        if (!smearAlong(work, now.total, double(length), flowed)) return;
    }
    double spread = 0;
    for (const Moment::Layer& each : now.layers) spread += double(each.weight) * each.amount;
    if (const auto radius = static_cast<float>(0.5 * double(Diffusion.percent()) * spread * flowed->width); radius > 0)
        made(image_gaussian_blur(flowed.get(), radius, radius * background.image->pixel_aspect, -1));
    show(*flowed, now.opacity);
}
