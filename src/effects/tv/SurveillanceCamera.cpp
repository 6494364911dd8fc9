#include "effects/tv/SurveillanceCamera.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Library2/Made.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_resample.h"
#include "k7pi_baselib/rows.h"

namespace {

constexpr float RED = 0.299F, GREEN = 0.587F, BLUE = 0.114F;
constexpr float BURNS = 0.85F;  // brightness from which lamps bloom and smear
constexpr float WHITE = 1.0F;   // where the amplifier is at its end

enum Fault : std::uint32_t { LUMINANCE_NOISE = 41, COLOUR_NOISE };

// Squared distance from the lens's centre in half widths; vertically in the same units.
struct LensPlaces {
    LensPlaces(const K7Image& view, const SurveillanceCamera& camera)
        : cx(camera.centre_x * static_cast<float>(view.width) - 0.5F),
          cy(camera.centre_y * static_cast<float>(view.height) - 0.5F),
          unit(2.0F / static_cast<float>(view.width)) {}
    float cx, cy, unit;
    float squared(int x, int y) const {
        const float dx = (static_cast<float>(x) - cx) * unit, dy = (static_cast<float>(y) - cy) * unit;
        return dx * dx + dy * dy;
    }
};

// A point at distance r shows what lies at r (1 + k r^2) / (1 + k), r being 1 in the farthest corner of a centred lens:
// the corners stay in the picture.
void bend(K7Image& view, const SurveillanceCamera& camera) {
    if (camera.distortion == 0.0F) return;
    const ImagePtr flat(made(image_duplicate(&view)));
    const ImagelibKernel kernel(KERNEL_TRIANGLE, EDGE_CLAMP);
    made(kernel.valid);
    const LensPlaces lens(view, camera);
    const float aspect = static_cast<float>(view.height) / static_cast<float>(view.width);
    const float corner = 1.0F + aspect * aspect;
    const float k = camera.distortion, scale = 1.0F / (1.0F + std::max(k, 0.0F));
    each_row_float(view.height, [&](int y) {
        float* out = image_row<float>(&view, y);
        for (int x = 0; x < view.width; ++x, out += 4) {
            const float stretch = (1.0F + k * std::min(lens.squared(x, y) / corner, 4.0F)) * scale;
            image_sample(flat.get(), lens.cx + (static_cast<float>(x) - lens.cx) * stretch,
                         lens.cy + (static_cast<float>(y) - lens.cy) * stretch, out, 4, &kernel);
        }
    });
}

// The light that reaches the chip: grey under the lamp, or the colours of the scene.
void light(K7Image& view, const SurveillanceCamera& camera) {
    const LensPlaces lens(view, camera);
    const float falls = 1.0F / (camera.lamp_radius * camera.lamp_radius);
    each_row_float(view.height, [&](int y) {
        float* p = image_row<float>(&view, y);
        for (int x = 0; x < view.width; ++x, p += 4) {
            float rgb[3] = {p[0], p[1], p[2]};
            if (camera.infrared) {
                // Skin and leaves send back much infrared; red comes nearest to it.
                const float grey = 0.75F * p[0] + 0.3F * p[1] - 0.05F * p[2];
                const float near = 1.0F / (1.0F + lens.squared(x, y) * falls);
                const float lit = grey * (0.12F + 1.7F * near * near);
                for (float& c : rgb) c = lit / (1.0F + 0.35F * lit);  // the automatic gain gives way
            }
            for (int c = 0; c < 3; ++c) p[c] = std::max(rgb[c] * camera.gain, 0.0F);
        }
    });
}

float over(const float* p) { return std::max(RED * p[0] + GREEN * p[1] + BLUE * p[2] - BURNS, 0.0F); }

// Charge that runs over into its column, and light that is scattered around lamps.
void overflow(K7Image& view, const SurveillanceCamera& camera) {
    const int width = view.width, height = view.height;
    if (camera.smear > 0.0F) {
        std::vector<float> columns(static_cast<std::size_t>(width));
        for (int y = 0; y < height; ++y) {
            const float* p = image_row<float>(&view, y);
            for (int x = 0; x < width; ++x, p += 4) columns[static_cast<std::size_t>(x)] += std::min(over(p), 1.0F);
        }
        const float share = 1.5F * camera.smear / static_cast<float>(height);
        each_row_float(view.height, [&](int y) {
            float* p = image_row<float>(&view, y);
            for (int x = 0; x < width; ++x, p += 4) {
                const float charge = std::min(share * columns[static_cast<std::size_t>(x)], 0.25F * camera.smear);
                for (int c = 0; c < 3; ++c) p[c] += charge;
            }
        });
    }
    if (!(camera.bloom > 0.0F)) return;
    const ImagePtr glow = made(make_image_uncleared(width, height, 4, SAMPLE_F32));
    each_row_float(view.height, [&](int y) {
        const float* p = image_row<float>(&view, y);
        float* out = image_row<float>(glow.get(), y);
        for (int x = 0; x < width; ++x, p += 4, out += 4) {
            const float share = std::min(over(p), 2.0F);
            for (int c = 0; c < 3; ++c) out[c] = share * (0.6F + 0.4F * std::min(p[c], 2.0F));
            out[3] = 0.0F;
        }
    });
    const float radius = static_cast<float>(height) * 0.018F;
    made(image_gaussian_blur(glow.get(), radius, radius, -1));
    const float strength = 1.8F * camera.bloom;
    each_row_float(view.height, [&](int y) {
        const float* from = image_row<float>(glow.get(), y);
        float* p = image_row<float>(&view, y);
        for (int x = 0; x < width; ++x, p += 4, from += 4)
            for (int c = 0; c < 3; ++c) p[c] += strength * from[c];
    });
}

// Contrast, saturation, halos, noise, and the end of the amplifier.
void amplify(K7Image& view, const SurveillanceCamera& camera, const VideoMoment& moment) {
    const int width = view.width;
    const float colour = camera.infrared ? 0.0F : camera.colour;
    const std::uint32_t bright = video_stream(moment, LUMINANCE_NOISE), coloured = video_stream(moment, COLOUR_NOISE);
    const auto amplifyRow = [&](int y, float* luminance) {
        float* row = image_row<float>(&view, y);
        for (int x = 0; x < width; ++x) {
            float* p = row + 4 * x;
            const float level = RED * p[0] + GREEN * p[1] + BLUE * p[2];
            luminance[x] = level;
            for (int c = 0; c < 3; ++c) p[c] = (level + colour * (p[c] - level) - 0.5F) * camera.contrast + 0.5F;
        }
        luminance[-1] = luminance[-2] = luminance[0];
        luminance[width] = luminance[width + 1] = luminance[width - 1];
        const std::uint32_t words = place_hash(bright, std::uint32_t(y)),
                            pairs = place_hash(coloured, std::uint32_t(y / 2));
        for (int x = 0; x < width; ++x) {
            float* p = row + 4 * x;
            const float* l = luminance + x;
            const float halo = camera.sharpening * camera.contrast * (l[0] - 0.25F * (l[-2] + l[-1] + l[1] + l[2]));
            const float level = std::clamp(l[0], 0.0F, 1.0F);
            const std::uint32_t word = place_hash(words, std::uint32_t(x));
            // Two of them make a triangle, near enough to a bell.
            const float grain = signed_of(word) + signed_of(word * 0x9E3779B9U);
            const float loud = camera.noise * (0.2F + 0.8F * (1.0F - level) * (1.0F - level));
            const std::uint32_t pair = place_hash(pairs, std::uint32_t(x / 3));
            const float tinge = 0.7F * loud * colour * signed_of(pair);
            const float added[3] = {tinge, -0.4F * tinge, 0.7F * loud * colour * signed_of(pair * 0x85EBCA6BU)};
            for (int c = 0; c < 3; ++c) p[c] = std::clamp(p[c] + halo + 0.5F * loud * grain + added[c], 0.0F, WHITE);
        }
    };
    for_rows_float(view.height, [&](int first, int last) {
        if (first > last) return;
        std::vector<float> luminance(static_cast<std::size_t>(width) + 4);
        for (int y = first; y <= last; ++y) amplifyRow(y, luminance.data() + 2);
    });
}

}  // namespace

void shoot(K7Image& view, const SurveillanceCamera& camera, const VideoMoment& moment) {
    bend(view, camera);
    light(view, camera);
    overflow(view, camera);
    amplify(view, camera, moment);
}
