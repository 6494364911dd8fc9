#include "effects/water/Puddle3D.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/water/Puddle3D_simd.h"
#include "imagelib/imagelib_composite.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float GONE = 0.004f;  // amplitude of a ring that is not seen any more
constexpr float LEAST_ENDURANCE = 0.001f;
constexpr float LEAST_INDEX = 0.01f;
constexpr float STILL = 0.5f;  // height of still water

}  // namespace

// A drop's ring and the part of the picture that it may be in.
struct Puddle3D::Ring {
    PuddleRing shape;
    int left, right, bottom, top;  // [left, right), [bottom, top)
};

// ---- The rain -------------------------------------------------------------------------------------------------

std::uint64_t Puddle3D::readControls() {
    const bool inPlane = DoPersp.value;
    m_rain = {.rate = float(RainFreq.value) * 0.1f * 10.0f,
              .radius = float(RainRadius.value) * 0.01f,
              .endurance = std::max(float(RainEndure.value), LEAST_ENDURANCE),
              .spread_x = inPlane ? float(Xxtra.value) * 0.01f : 1.0f,
              .spread_y = inPlane ? float(Yxtra.value) * 0.01f : 1.0f};
    return fingerprint(&m_rain, sizeof m_rain);
}

bool Puddle3D::advance() {
    constexpr float LEAST_RATE = 0.001f, SPREAD = 2.0f;
    std::erase_if(m_drops, [&](const Drop& drop) { return k7_exp(-drop.decay * age(drop)) < GONE; });
    int count = 0;
    if (m_rain.rate > LEAST_RATE) count = int(m_rain.rate + random().next_float_in(-SPREAD, SPREAD));
    for (; count > 0; --count) {
        Drop drop{};
        drop.x = random().next_float_in(-0.5f, 0.5f) * m_rain.spread_x + 0.5f;
        drop.y = random().next_float_in(-0.5f, 0.5f) * m_rain.spread_y + 0.5f;
        drop.decay = -k7_log(GONE) / m_rain.endurance;
        drop.speed = (m_rain.radius + m_rain.radius * random().next_float_in(0.0f, 1.0f) * 0.5f) / m_rain.endurance;
        drop.birth = stepFrame();
        m_drops.push_back(drop);
    }
    return true;
}

// ---- The water ------------------------------------------------------------------------------------------------

float Puddle3D::fade(const Drop& drop) const {
    if (!DoPersp.value) return 1.0f;
    const int mode = FadeMode.value;
    const float place = mode == Up || mode == Down ? drop.y : drop.x;
    const auto [start, end] = std::minmax({float(FFactS.value) * 0.01f, float(FFactE.value) * 0.01f});
    // Down and left are up and right seen from the other side.
    const float way = mode == Down || mode == Left ? 1.0f - place : place;
    if (way > end) return 0.0f;
    return way < start || end == start ? 1.0f : 1.0f - (way - start) / (end - start);
}

std::vector<Puddle3D::Ring> Puddle3D::rings(const PlaneView& plane, const K7Image& frame) const {
    const float width = frame.width, height = frame.height, aspect = width * frame.pixel_aspect / height;
    std::vector<Ring> found;
    found.reserve(m_drops.size());
    for (auto drop = m_drops.rbegin(); drop != m_drops.rend(); ++drop) {
        const float amplitude = k7_exp(-drop->decay * age(*drop)), share = fade(*drop);
        const float front = drop->speed * age(*drop);
        if (amplitude < GONE || share == 0.0f || !(front > 0.0f)) continue;
        float left = width, right = 0, bottom = height, top = 0;
        for (const float i : {-1.0f, 1.0f})
            for (const float j : {-1.0f, 1.0f}) {
                const auto corner = plane.to_picture.at(drop->x + i * front / aspect, drop->y + j * front);
                const bool seen = corner.w > 1e-10f;  // else the ring reaches behind the horizon, from anywhere
                left = std::min(left, seen ? corner.x * width : 0.0f);
                right = std::max(right, seen ? corner.x * width + 2 : width);
                bottom = std::min(bottom, seen ? corner.y * height : 0.0f);
                top = std::max(top, seen ? corner.y * height + 2 : height);
            }
        const auto limit = [](float v, float most) { return int(std::clamp(v, 0.0f, most)); };
        const Ring ring{{.x = drop->x,
                         .y = drop->y,
                         .aspect = aspect,
                         .front = front,
                         .waves = float(RainImpact.value) * 10.0f,
                         .strength = share * amplitude * -2.0f},
                        limit(left - 1, width),
                        limit(right, width),
                        limit(bottom - 1, height),
                        limit(top, height)};
        if (ring.left < ring.right && ring.bottom < ring.top) found.push_back(ring);
    }
    return found;
}

// Heights above still water, for a wave height of 100 percent.
ImagePtr Puddle3D::heights(const PlaneView& plane, const std::vector<Ring>& rings, const K7Image& frame) const {
    const StageTimer timer("Rings");
    const int width = frame.width, height = frame.height;
    ImagePtr water = made(make_image(width, height, 1, SAMPLE_F32));
    if (rings.empty()) return water;
    const float step_x = 1.0f / float(std::max(width - 1, 1)), step_y = 1.0f / float(std::max(height - 1, 1));
    const std::size_t padded = std::size_t(width) + PUDDLE_BEYOND;
    for_rows_float(height, [&](int first, int last) {
        std::vector<float> scratch(3 * padded);
        float *px = scratch.data(), *py = px + padded, *sum = py + padded;
        for (int y = first; y <= last && !abortRequested(); ++y) {
            puddle_kernels().places(plane.to_plane.rows.data(), width, step_x, float(y) * step_y, px, py);
            std::fill_n(sum, width, 0.0f);
            for (const Ring& ring : rings)
                if (ring.bottom <= y && y < ring.top)
                    puddle_kernels().add_ring(ring.shape, px, py, ring.left, ring.right, m_wave.heights.data(), sum);
            std::copy_n(sum, width, image_row<float>(water.get(), y));
        }
    });
    return water;
}

// ---- The picture ----------------------------------------------------------------------------------------------

// A light shows on water that is still.
void Puddle3D::background() {
    if (currentFrame < StartAt.value && surface.DoLight.value) draw(false, *output.image);
}

void Puddle3D::finish(K7Image& result) { draw(true, result); }

void Puddle3D::draw(bool withDrops, K7Image& result) {
    const K7Image& source = *input.image;
    const float mix = std::clamp(float(Blend.value) * 0.01f, 0.0f, 1.0f);
    if (mix == 1.0f) return;  // the result began as the source
    const PlaneView plane = DoPersp.value ? PlaneView(quad.corners(1.0f), 1.0f) : PlaneView();
    const ImagePtr water = heights(plane, withDrops ? rings(plane, source) : std::vector<Ring>(), source);
    if (abortRequested()) return;
    const float wave = float(RainWave.value) * 0.01f;
    const bool asMap = OutputMap.value;
    for_rows_float(source.height, [&](int first, int last) {
        for (int y = first; y <= last; ++y) {
            float* row = image_row<float>(water.get(), y);
            float* out = image_row<float>(&result, y);
            if (asMap)
                for (long i = 0; i < 4L * source.width; ++i) out[i] = std::max(row[i / 4] + STILL, 0.0f);
            else
                for (int x = 0; x < source.width; ++x) row[x] = std::clamp(row[x] * wave, -STILL, STILL);
        }
    });
    if (!asMap) {
        if (region.UseMatte.value) weigh_by_matte(*matte.image, region.InvertMatte.value, *water);
        weigh_by_alpha(source, *water);
        RefractingSurface look{.base = STILL,
                               .index = std::max(float(RefractIndex.value), LEAST_INDEX),
                               .chromatic = surface.parting(),
                               .axial = surface.DoLight.value,
                               .edge = edge_of_choice(FillMode.value),
                               .light = surface.shining(),
                               .to_plane = plane.to_plane};
        look.light.softness = 1.0f / source.unit_scale;
        if (!refract_through(*water, source, look, doAlpha, stopRequested(), result)) return;
    }
    if (mix > 0.0f) made(image_cross_dissolve(&result, &source, mix));
}

void Puddle3D::PrepareOverlay() {
    quadWidget.visible = !quad.TL.ghosted();
    lightWidget.visible = !surface.Light.ghosted();
}
