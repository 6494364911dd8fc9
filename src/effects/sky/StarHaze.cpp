#include "effects/sky/StarHaze.h"

#include <algorithm>
#include <cmath>

#include "imagelib/imagelib_curves.h"

namespace {

constexpr float BAND_FREQUENCY = 2.6F, DARK_FREQUENCY = 4.2F, NEBULA_FREQUENCY = 1.9F;  // waves a radian
constexpr float SPAN = 60.0F;  // of frequencies in a fractal sum: six of them

float dot(const float (&a)[3], const float* const direction[3], int i) {
    return a[0] * direction[0][i] + a[1] * direction[1][i] + a[2] * direction[2][i];
}

// Sums of noise are larger the lower their lowest frequency is; this makes them about -1 to 1.
void fractal_row(const SolidNoise& noise, const float* x, const float* y, const float* z, float lowest, float highest,
                 float* out, int count) {
    noise.turbulence_row(x, y, z, lowest, std::min(lowest * SPAN, highest), out, count);
    for (int i = 0; i < count; ++i) out[i] *= lowest * 1.3F;
}

// Light that has come towards the galaxy's middle.
float bulge(float ahead) {
    const float squared = ahead > 0.0F ? ahead * ahead : 0.0F;
    return squared * squared * squared;
}

}  // namespace

StarHaze::StarHaze(const StarHazeLook& look) : m_look(look), m_clouds(look.seed), m_dark(look.seed + 7919U) {}

float StarHaze::widthAt(float ahead) const { return m_look.band_width * (0.75F + 0.85F * bulge(ahead)); }

// A ragged rift along the plane, and single clouds a little off it.
float StarHaze::hidden(float above, float width, float clouds, float dark) const {
    const float off = (above + 0.45F * width * clouds) / (0.42F * width), wide = above / (1.3F * width);
    const float rift = 1.0F / ((1.0F + off * off) * (1.0F + off * off)), around = 1.0F / (1.0F + wide * wide);
    const float cloud = smooth_step(dark, -0.3F, 0.6F);
    const float depth = rift * (0.3F + 1.2F * cloud) + 0.9F * around * cloud * cloud;
    return m_look.dust * std::min(1.5F * depth / (0.6F + depth), 1.0F);
}

void StarHaze::let_through(const float* const direction[3], int count, float* scratch, float* out) const {
    float *clouds = scratch, *dark = clouds + count, *more = dark + count;
    clouds_row(direction, count, 1e3F, clouds, more);
    dark_row(direction, count, 1e3F, dark, more);
    for (int i = 0; i < count; ++i) {
        const float width = widthAt(dot(m_look.band.middle, direction, i));
        out[i] = 1.0F - hidden(dot(m_look.band.pole, direction, i), width, clouds[i], dark[i]);
    }
}

// Both are rougher than a plain sum: a second one adds finer structure.
void StarHaze::clouds_row(const float* const direction[3], int count, float highest, float* out, float* more) const {
    fractal_row(m_clouds, direction[0], direction[1], direction[2], BAND_FREQUENCY, highest, out, count);
    fractal_row(m_dark, direction[1], direction[2], direction[0], 7.0F * BAND_FREQUENCY, highest, more, count);
    for (int i = 0; i < count; ++i) out[i] += 0.45F * more[i];
}
void StarHaze::dark_row(const float* const direction[3], int count, float highest, float* out, float* more) const {
    fractal_row(m_dark, direction[0], direction[1], direction[2], DARK_FREQUENCY, highest, out, count);
    fractal_row(m_clouds, direction[2], direction[0], direction[1], 5.0F * DARK_FREQUENCY, highest, more, count);
    for (int i = 0; i < count; ++i) out[i] += 0.5F * more[i];
}

void StarHaze::row(const float* const direction[3], int count, float finest, float* scratch, float* out) const {
    std::fill_n(out, 4 * static_cast<std::size_t>(count), 0.0F);
    float* parts[10];
    for (int i = 0; i < 10; ++i) parts[i] = scratch + static_cast<std::size_t>(i) * static_cast<std::size_t>(count);
    const float highest = 1.0F / finest;
    if (m_look.milky_way > 0.0F) band_row(direction, count, highest, parts, out);
    if (m_look.nebula > 0.0F) nebula_row(direction, count, highest, parts, out);
}

void StarHaze::band_row(const float* const direction[3], int count, float highest, float* const scratch[10],
                        float* out) const {
    float *clouds = scratch[0], *dark = scratch[1];
    clouds_row(direction, count, highest, clouds, scratch[2]);
    dark_row(direction, count, highest, dark, scratch[2]);
    constexpr float OUTER[] = {0.66F, 0.80F, 1.00F}, INNER[] = {1.00F, 0.83F, 0.60F}, REDDENED[] = {0.92F, 0.98F, 1.0F};
    for (int i = 0; i < count; ++i) {
        const float above = dot(m_look.band.pole, direction, i), ahead = dot(m_look.band.middle, direction, i);
        const float width = widthAt(ahead), t = above / width, middle = bulge(ahead);
        const float profile = 1.0F / ((1.0F + t * t) * std::sqrt(1.0F + t * t));
        const float lumps = std::max(1.0F + 1.1F * clouds[i], 0.05F);
        const float light =
            m_look.milky_way * 0.075F * profile * profile * lumps * (0.45F + 0.25F * ahead + 1.6F * middle);
        const float dust = hidden(above, width, clouds[i], dark[i]);
        const float warm = std::min(profile * (0.35F + 0.6F * middle), 1.0F);
        for (int c = 0; c < 3; ++c)
            out[4 * i + c] +=
                light * (OUTER[c] + (INNER[c] - OUTER[c]) * warm) * std::max(1.0F - dust * REDDENED[c], 0.0F);
    }
}

void StarHaze::nebula_row(const float* const direction[3], int count, float highest, float* const scratch[10],
                          float* out) const {
    const float lowest = NEBULA_FREQUENCY / m_look.nebula_scale, bend = 0.55F / lowest;
    float *bent[3] = {scratch[0], scratch[1], scratch[2]}, *gas = scratch[3], *dark = scratch[4], *hue = scratch[5];
    float* shifted[3] = {scratch[6], scratch[7], scratch[8]};
    // Noise at three places far from one another bends the three parts of the direction.
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < count; ++i)
                shifted[j][i] = direction[j][i] * lowest * 1.3F + 17.3F * static_cast<float>(k) + 5.1F;
        m_clouds.noise_row(shifted[0], shifted[1], shifted[2], bent[k], count);
    }
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < count; ++i) bent[k][i] = direction[k][i] + bend * bent[k][i];
    fractal_row(m_clouds, bent[0], bent[1], bent[2], lowest, highest, gas, count);
    fractal_row(m_dark, bent[2], bent[0], bent[1], lowest * 1.7F, highest, dark, count);
    fractal_row(m_dark, bent[1], bent[2], bent[0], lowest * 0.8F, lowest * 3.0F, hue, count);
    fractal_row(m_dark, bent[0], bent[2], bent[1], lowest * 6.0F, highest, scratch[9], count);
    for (int i = 0; i < count; ++i) gas[i] += 0.4F * scratch[9][i];
    const float low = 0.45F - 1.1F * m_look.nebula_cover;
    for (int i = 0; i < count; ++i) {
        const float body = smooth_step(gas[i], low, low + 1.2F),
                    edge = 1.0F - std::min(2.2F * std::fabs(dark[i]), 1.0F);
        const float glow = m_look.nebula * 0.55F * body * body * (0.35F + 1.3F * edge * edge * edge * edge);
        const float dust = m_look.dust * 0.9F * smooth_step(dark[i], 0.0F, 0.6F);
        const float mix = smooth_step(hue[i], -0.45F, 0.45F);
        for (int c = 0; c < 3; ++c) {
            const float colour =
                m_look.nebula_colours[0][c] + (m_look.nebula_colours[1][c] - m_look.nebula_colours[0][c]) * mix;
            out[4 * i + c] += glow * (1.0F - dust) * colour * colour;
        }
    }
}
