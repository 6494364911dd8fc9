#include "effects/textures/ClipTex.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "effects/textures/ClipTexPatterns.h"
#include "effects/textures/TextureReader.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_colour.h"
#include "imagelib/imagelib_guided.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr int BANDS = ClipTexInfo::TEXTURES;
constexpr float LEAST_SOFTNESS = 0.01F;                   // of white
constexpr float WIDEST_EDGE = 0.006F;                     // of a torn edge, in widths of the picture
constexpr float STEEPEST = 2000.0F;                       // of a band's border, where tones hardly change at all
constexpr float DEEPEST_BITE = 0.5F;                      // of white, from a texture's black to its white
constexpr float SMALLEST_SIDE = 32, LARGEST_SIDE = 1024;  // of a pattern's tile, in pixels
constexpr double RADIANS = 3.14159265358979 / 180.0;

float unit(float v) { return v > 0 ? (v < 1 ? v : 1.0F) : 0.0F; }
float luminance(simd::Pixel p) { return 0.3F * p[0] + 0.5F * p[1] + 0.2F * p[2]; }

simd::Pixel blended(int mode, simd::Pixel below, simd::Pixel above) {
    using simd::Pixel;
    const Pixel a = below, b = above, one = Pixel{} + 1.0F;
    switch (mode) {
        case ClipTexInfo::Multiply:
            return a * b;
        case ClipTexInfo::Screen:
            return simd::larger(a + b - a * b, simd::larger(a, b));  // brighter than white never darkens
        case ClipTexInfo::Overlay:
            return a < 0.5F ? 2.0F * a * b : one - 2.0F * simd::larger(one - a, Pixel{}) * (one - b);
        case ClipTexInfo::SoftLight: {
            const Pixel inner = simd::smaller(a, one);
            return a + (2.0F * b - one) * (inner - inner * inner);
        }
        case ClipTexInfo::Darken:
            return simd::smaller(a, b);
        case ClipTexInfo::Lighten:
            return simd::larger(a, b);
        default:
            return b;
    }
}

}  // namespace

// What a frame works with.
struct ClipTexWork {
    std::array<TextureReader, BANDS> textures;
    std::array<int, BANDS> of_band{};  // the texture that each band shows
    ImagePtr tones;
    float thresholds[BANDS - 1];
    float per_softness, bite, edge, shade, tint, mix;
    int blend;
    simd::Pixel paper;

    void draw_row(const K7Image& source, K7Image& result, int y) const;

  private:
    simd::Pixel picked(float tone, float x, float y, float steepness) const;
    float steepness(int x, int y) const;
};

ClipTexInfo::ClipTexInfo() {
    declarePresets();
    scene.inputs = {"coffee-small.png"};
    scene.settings = {{"Relief", "40"}, {"Tint", "30"}};
    scene.plates = {"portrait.jpg"};
    scene.look = {{"Demos", "Cross Hatch"}};
}

// ---- Textures -------------------------------------------------------------------------------------------------

void ClipTex::prepareTextures(ClipTexWork& work) const {
    const ClipRecord* clips[] = {&textureA, &textureB, &textureC, &textureD};
    const FloatControlK7* sizes[] = {&SizeA, &SizeB, &SizeC, &SizeD};
    const AngleControlK7* angles[] = {&AngleA, &AngleB, &AngleC, &AngleD};
    bool connected[BANDS];
    for (int i = 0; i < BANDS; ++i) connected[i] = clips[i]->isConnected();
    const bool any = std::any_of(connected, connected + BANDS, [](bool c) { return c; });
    const K7Image& frame = *input.image;
    const PatternColours colours{{InkColour.red, InkColour.green, InkColour.blue},
                                 {PaperColour.red, PaperColour.green, PaperColour.blue}};
    for (int i = 0; i < BANDS; ++i) {
        int shown = i;  // the next one that is connected
        while (any && !connected[shown]) shown = (shown + 1) % BANDS;
        work.of_band[std::size_t(i)] = shown;
        if (shown != i) continue;
        const TextureLay lay{.size = Size.percent() * sizes[i]->percent(),
                             .angle = (Angle.value + angles[i]->value) * RADIANS,
                             .mirrored = any && Tiling.value == Mirror,
                             .relief = Relief.percent(),
                             .light = LightAngle.value * RADIANS};
        TextureReader& reader = work.textures[std::size_t(i)];
        if (any) {
            made(reader.lay_picture(*clips[i]->image, colours.paper, lay, frame));
            continue;
        }
        // A whole number of pixels, so that a tile that isn't turned lies on those of the frame.
        const float wanted = std::round(lay.size * PATTERN_SIDE * static_cast<float>(frame.width) / 1920.0F);
        const float drawn = std::clamp(wanted, SMALLEST_SIDE, LARGEST_SIDE), side = std::max(wanted, SMALLEST_SIDE);
        const ImagePtr tile = made(draw_pattern(Pattern.value, i, static_cast<int>(drawn), colours));
        made(reader.lay_tile(*tile, side, lay, frame));
    }
}

bool ClipTex::prepareTones(ClipTexWork& work) const {
    const K7Image& source = *input.image;
    work.tones = made(make_image_uncleared(source.width, source.height, 1, SAMPLE_F32));
    made(image_luminance_to_matte(&source, work.tones.get(), InvertTones.value));
    const float radius = static_cast<float>(ToneSmoothing.limited() * 0.001) * static_cast<float>(source.width);
    made(image_gaussian_blur(work.tones.get(), radius, radius * source.pixel_aspect, 1));
    return !abortRequested();
}

// ---- Rows -----------------------------------------------------------------------------------------------------

// The textures of a tone. Only those that are seen are read.
simd::Pixel ClipTexWork::picked(float tone, float x, float y, float steepness) const {
    simd::Pixel read[BANDS];
    bool known[BANDS] = {};
    const auto texture = [&](int band) {
        const auto i = static_cast<std::size_t>(of_band[std::size_t(band)]);
        if (!known[i]) read[i] = textures[i].at(x, y), known[i] = true;
        return read[i];
    };
    float beyond[BANDS - 1];
    const float reach = 0.5F * bite * steepness;
    float rim = 0;
    for (int i = 0; i < BANDS - 1; ++i) {
        float s = (tone - thresholds[i]) * steepness + 0.5F;
        if (bite > 0 && s > -reach && s < 1 + reach) s += bite * steepness * (unit(luminance(texture(i))) - 0.5F);
        beyond[i] = i > 0 ? std::min(unit(s), beyond[i - 1]) : unit(s);
        rim = std::max(rim, beyond[i] * (1 - beyond[i]));
    }
    simd::Pixel sum = {};
    for (int i = 0; i < BANDS; ++i) {
        const float low = i > 0 ? beyond[i - 1] : 1.0F, high = i < BANDS - 1 ? beyond[i] : 0.0F;
        if (low > high) sum += (low - high) * texture(i);
    }
    return sum + 4 * edge * rim * (paper - sum);
}

// How fast a band gives way to the next. Torn edges do not grow wide where tones change slowly.
float ClipTexWork::steepness(int x, int y) const {
    const int width = tones->width, left = std::max(x - 1, 0), right = std::min(x + 1, width - 1);
    const int below = std::max(y - 1, 0), above = std::min(y + 1, tones->height - 1);
    const auto tone = [&](int u, int v) { return image_row<float>(tones.get(), v)[u]; };
    const float dx = (tone(right, y) - tone(left, y)) / static_cast<float>(std::max(right - left, 1));
    const float dy = (tone(x, above) - tone(x, below)) / static_cast<float>(std::max(above - below, 1));
    const float slope = std::sqrt(dx * dx + dy * dy) * WIDEST_EDGE * static_cast<float>(width);
    return std::max(per_softness, 1.0F / std::max(slope, 1.0F / STEEPEST));
}

void ClipTexWork::draw_row(const K7Image& source, K7Image& result, int y) const {
    const float *from = image_row<float>(&source, y), *tone = image_row<float>(tones.get(), y);
    float* to = image_row<float>(&result, y);
    for (int x = 0; x < source.width; ++x, from += 4, to += 4) {
        const auto there = simd::load<simd::Pixel>(from);
        simd::Pixel drawn =
            picked(tone[x], static_cast<float>(x), static_cast<float>(y), edge > 0 ? steepness(x, y) : per_softness);
        const float own = luminance(there);
        if (tint > 0) {
            constexpr float DARK = 0.03F;  // where colours are nothing but noise
            drawn *= 1.0F + tint * ((there + DARK) / (own + DARK) - 1.0F);
        }
        drawn *= 1.0F + shade * (own * 1.4F - 1.0F);
        const simd::Pixel above = blended(blend, there, drawn);
        simd::store(to, there + mix * (above - there));
        to[3] = from[3];
    }
}

void ClipTex::ProcessFrame() {
    const StageTimer timer("ClipTex (CPU)");
    ClipTexWork work;
    prepareTextures(work);
    if (!prepareTones(work)) return;
    float thresholds[] = {ThresholdAB.percent(), ThresholdBC.percent(), ThresholdCD.percent()};
    std::sort(thresholds, thresholds + 3);
    std::copy_n(thresholds, 3, work.thresholds);
    work.per_softness = 1.0F / std::max(Softness.percent(), LEAST_SOFTNESS);
    work.bite = DEEPEST_BITE * Bite.percent();
    work.edge = Edge.percent(), work.shade = Shade.percent(), work.tint = Tint.percent(), work.mix = Mix.percent();
    work.blend = Blend.value;
    work.paper = simd::Pixel{PaperColour.red, PaperColour.green, PaperColour.blue, 0};
    K7Image& result = *output.image;
    eachRow(result.height, [&](int y) { work.draw_row(*input.image, result, y); });
}
