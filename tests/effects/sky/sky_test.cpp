// Q_Sky against slow definitions of its cloud map and of its shader.
#include "effects/sky/Sky.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "effects/sky/CloudMap.h"
#include "imagelib/imagelib_blur.h"
#include "imagelib/imagelib_resample.h"
#include "noiselib/mtrandom.h"
#include "support/effect_shot.h"
#include "support/same_bits.h"

namespace {

constexpr double RADIANS = 0.01745;

// ---- The map, blur by blur ------------------------------------------------------------------------------------

ImagePtr blank(int size, int channels = 1) { return make_image(size, size, channels, SAMPLE_F32); }
int folded(int i, int size) { return (i % size + size) % size; }
float slope(const K7Image& map, int x, int y, int dx, int dy) {
    const int n = map.width;
    return (at(map, folded(x + dx, n), folded(y + dy, n)) - at(map, folded(x - dx, n), folded(y - dy, n))) * 0.5F;
}

void add_octave(K7Image& map, const CloudSettings& clouds, int octave, int frame, MTRandom& random) {
    const int size = map.width;
    const double k = size / 720.0, d = std::pow(2.0, octave), blur = clouds.dot_blur / d;
    const double weight = blur * blur * k * k / d * (octave > 0 && octave % 2 == 0 ? -1 : 1);
    const int dots = octave == 0 ? clouds.dots : int(std::min(clouds.dots, 10) * d * d);
    for (int i = 0; i < dots; ++i) {
        const double r1 = random.next_float(), r2 = random.next_float(), r3 = random.next_float();
        const double way = ((r3 - 0.5) * 2 * clouds.speed_variance + clouds.speed) * frame * k;
        const double x = way * std::cos(clouds.direction * -RADIANS) + r1 * size;
        const double y = way * std::sin(clouds.direction * -RADIANS) + r2 * size;
        for (const int dy : {0, 1})
            for (const int dx : {0, 1}) {
                const int column = int(std::floor(x)) + dx, row = int(std::floor(y)) + dy;
                at(map, folded(column, size), folded(row, size)) +=
                    float(weight * (1 - std::fabs(x - column)) * (1 - std::fabs(y - row)));
            }
    }
    const float radius = float(blur * k);
    for (int i = 0; i < (octave + 1 == clouds.octaves ? 4 : 2); ++i) image_wrap_blur(&map, radius, radius, 1);
}

CloudMap slow_map(int size, const CloudSettings& clouds, int frame) {
    const float k = float(size) / 720.0F;
    CloudMap map{blank(size), blank(size, 2)};
    MTRandom random(clouds.seed);
    for (int octave = 0; octave < clouds.octaves; ++octave) add_octave(*map.density, clouds, octave, frame, random);
    ImagePtr shown = blank(size);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            float& v = at(*map.density, x, y);
            if (clouds.octaves > 1) v = std::max(v, 0.0F);
            if (clouds.contrast > 0.001) v = std::max(v - float(clouds.contrast), 0.0F);
        }
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const float gx = slope(*map.density, x, y, 1, 0), gy = slope(*map.density, x, y, 0, 1);
            at(*shown, x, y) =
                clouds.streaky ? (gx * gx + gy * gy) * float(clouds.density) * 100 * k * k * 4 : at(*map.density, x, y);
        }
    ImagePtr soft(image_duplicate(shown.get()));
    for (int i = 0; i < 3; ++i)
        image_wrap_blur(soft.get(), float(clouds.bump_softness) * k, float(clouds.bump_softness) * k, 1);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            at(*map.gradient, x, y, 0) = slope(*soft, x, y, 1, 0) * 10 * k;
            at(*map.gradient, x, y, 1) = slope(*soft, x, y, 0, 1) * 10 * k;
        }
    map.density = std::move(shown);
    return map;
}

double largest(const K7Image& image) {
    double most = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) most = std::max(most, std::fabs(double(at(image, x, y))));
    return most;
}

TEST(CloudMap, IsWhatBlurAfterBlurMakes) {
    CloudSettings clouds{.dot_blur = 90,
                         .dots = 7,
                         .octaves = 5,
                         .contrast = 0,
                         .density = 6.6,
                         .direction = 70,
                         .speed = 5,
                         .speed_variance = 3,
                         .streaky = false,
                         .bumps = true,
                         .bump_softness = 3,
                         .seed = 3};
    for (const int size : {180, 202})
        for (const bool streaky : {false, true})
            for (const double contrast : {0.0, 0.05})
                for (const int octaves : {1, 5}) {
                    clouds.streaky = streaky, clouds.contrast = contrast, clouds.octaves = octaves;
                    CloudMap map;
                    ASSERT_TRUE(make_cloud_map(map, size, clouds, -30, {}));
                    const CloudMap slow = slow_map(size, clouds, -30);
                    EXPECT_LT(difference(*map.density, *slow.density), 2e-4 * largest(*slow.density));
                    EXPECT_LT(difference(*map.gradient, *slow.gradient), 2e-4 * largest(*slow.gradient) + 1e-8);
                }
}

// ---- The shader, one pixel at a time in doubles ---------------------------------------------------------------

struct Ray {
    double x, y, z;
};
double dot(const Ray& a, const Ray& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Ray unit(const Ray& v) {
    const double length = std::sqrt(dot(v, v));
    return {v.x / length, v.y / length, v.z / length};
}

class SlowSky {
  public:
    SlowSky(Sky& effect, const K7Image& shown, int frame) : e(effect), picture(shown), r(effect.redShift.value) {
        const CloudSettings clouds{e.scaledDotBlur.value, e.baseDotCount.value,     e.iterations.value,
                                   e.Contrast.value,      e.cloudDensity.value,     e.cloudDirection.value,
                                   e.cloudSpeed.value,    e.cloudVariance.value,    e.Invert.value,
                                   e.bumpScale.value > 0, e.gradientSoftness.value, std::uint32_t(e.seed.value)};
        EXPECT_TRUE(make_cloud_map(map, picture.width, clouds, frame, {}));
        const double a = e.sunAzimuth.value * RADIANS, h = e.sunElevation.value * RADIANS;
        sun = unit({std::cos(h) * std::cos(a), std::sin(h), -std::sin(a) * std::cos(h)});
    }

    Ray ray(double px, double py) const {
        const double f = std::tan(e.cameraFOV.value * RADIANS / 2);
        const double p = e.cameraRotX.value * RADIANS, yaw = e.cameraRotY.value * RADIANS;
        const double z = e.cameraRotZ.value * RADIANS;
        const double x0 = (2 * px / picture.width - 1) * f * picture.width * picture.pixel_aspect / picture.height;
        const double y0 = (2 * py / picture.height - 1) * f;
        const double x = x0 * std::cos(z) - y0 * std::sin(z), y = x0 * std::sin(z) + y0 * std::cos(z);
        const double y1 = y * std::cos(p) + std::sin(p), z1 = std::cos(p) - y * std::sin(p), x1 = -x;
        return unit({x1 * std::cos(yaw) + z1 * std::sin(yaw), y1, z1 * std::cos(yaw) - x1 * std::sin(yaw)});
    }

    double shell_distance(const Ray& v) const {
        const double b = 2 * 0.99 * v.y, c = 0.9801 - (e.cloudHeight.value / 1000 + 0.99);
        const double q = -(b + (b < 0 ? -1 : 1) * std::sqrt(b * b - 4 * c)) / 2;
        return std::max(q, c / q);
    }
    double read(const K7Image& image, const Ray& p, int channel) const {
        ImagelibKernel kernel(KERNEL_TRIANGLE, 1);
        kernel.edge_mode_x = kernel.edge_mode_y = EDGE_WRAP;
        float out[2] = {};
        const double size = image.width, tiles = e.tileScale.value;
        EXPECT_TRUE(image_sample(&image, float((p.x * tiles + 0.5) * size + 0.5),
                                 float((p.z * tiles + 0.5) * size + 0.5), out, image.channels, &kernel));
        return out[channel];
    }
    Ray hit(const Ray& v, double t) const { return {t * v.x, 0.99 + t * v.y, t * v.z}; }
    double cover(const Ray& p) const {
        return std::clamp(read(*map.density, p, 0) * e.cloudDensity.value * 0.5, 0.0, 1.0);
    }

    // The sun's place in the picture, found by its distance to the lines of sight.
    void find_sun(double& x, double& y) const {
        double step = picture.width;
        for (x = picture.width * 0.5, y = picture.height * 0.5; step > 1e-5; step *= 0.7)
            for (int i = 0; i < 4; ++i)
                for (const auto& [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}})
                    if (dot(ray(x + dx * step, y + dy * step), sun) > dot(ray(x, y), sun))
                        x += dx * step, y += dy * step;
    }

    void shade(int px, int py, double out[4]) const {
        const double mute[3] = {1, std::exp(-r / 2), std::exp(-r)};
        const double sun_c[3] = {e.sunColour.red * mute[0], e.sunColour.green * mute[1], e.sunColour.blue * mute[2]};
        const double cloud[3] = {e.cloudColour.red * mute[0], e.cloudColour.green * mute[1],
                                 e.cloudColour.blue * mute[2]};
        const double fog = e.hazeBrightness.value;
        const double haze_c[3] = {e.hazeColour.red * fog * mute[0], e.hazeColour.green * fog * mute[1],
                                  e.hazeColour.blue * fog * mute[2]};
        const auto add = [&](double amount, const double* colour) {
            for (int c = 0; c < 3; ++c) out[c] += amount * colour[c];
            out[3] += amount;
        };
        const Ray v = ray(px + 0.5, py + 0.5);
        const double t = shell_distance(v);
        const Ray p = hit(v, t);
        const double covered = cover(p), gap = 1 - covered, s = dot(v, sun), s2 = s >= 0 ? s * s : 0;
        const double far = e.hazeCutoff.value / 1000;
        const double hazy = t <= far ? std::exp(-std::pow((far - t) * e.haze.value, 2)) : 1, clear = 1 - hazy;
        const double q = (1 - s2) * (clear + 1) * e.coronaStretch.value / (clear * covered + 1 + r);
        const double corona = (std::exp(-q) * 0.5 + std::exp(-2 * q)) * e.coronaBrightness.value;
        const double lit = std::exp(-e.sunStretch.value * (1 - s2)) * 10 * e.sunBrightness.value + corona;
        for (int c = 0; c < 3; ++c) out[c] = lit * sun_c[c] * gap;
        out[3] = lit;
        if (covered > 0) {
            const double bump = e.bumpScale.value, under = e.underLighting.value;
            if (bump > 0) {
                const double gx = read(*map.gradient, p, 0), gz = read(*map.gradient, p, 1);
                const auto side = [&](double up) {
                    const double f = (1 - under / 2) * dot(unit({-gx * bump, up, -gz * bump}), sun) + under * under / 2;
                    return f > 0 ? f * f : 0;
                };
                const double light = (corona + e.sunBrightness.value) * 10 * covered;
                if (e.lightEdges.value && covered < 1) add(light * side(1) * gap, sun_c);
                add(light * side(-1), sun_c);
            }
            add(covered * std::min(1.0, std::pow(0.5 + 0.5 * dot(p, sun), 2)) * e.cloudBrightness.value, cloud);
        }
        for (int c = 0; c < 4; ++c) out[c] *= clear;
        add(hazy, haze_c);
        if (e.hazeCorona.value) add((1 - clear * covered) * corona, sun_c);
        add(flare(px + 0.5, py + 0.5, s2), sun_c);
        out[3] = std::clamp(std::max(out[3], hazy + clear * covered), 0.0, 1.0);
        out[3] = std::max({out[3], out[0], out[1], out[2]});
        const double y = std::max(v.y, 0.0), air = clear * gap * e.ambientBrightness.value;
        const ColourControlK7 &z = e.zenithColour, &h = e.horizonColour;
        out[0] += ((z.red - h.red) * y + h.red) * air;
        out[1] += ((z.green - h.green) * y + h.green) * air;
        out[2] += ((z.blue - h.blue) * y + h.blue) * air;
        for (int c = 0; c < 4; ++c) out[c] = std::max(0.0, 1 - std::exp(-out[c] * e.exposure.value));
    }

    double flare(double px, double py, double s2) const {
        double x, y;
        find_sun(x, y);
        if (dot(ray(x, y), sun) < 0.9999 || x < 0 || y < 0 || x >= picture.width || y >= picture.height) return 0;
        const double gap = 1 - cover(hit(sun, shell_distance(sun)));
        const double angle = std::atan2(px - x, py - y) + std::numbers::pi + e.flareRotation.value;
        const double k = std::fabs(std::cos(angle * e.flareSpokes.value / 2));
        return std::exp(-(k * e.flareSharpness.value + 0.1) * e.flareStretch.value * (1 - s2)) * gap *
               e.flareBrightness.value;
    }

  private:
    Sky& e;
    const K7Image& picture;
    double r;
    CloudMap map;
    Ray sun;
};

TEST(Sky, IsTheSumOfItsLights) {
    for (int preset = 0; preset < EffectShot<Sky>::preset_count(); ++preset) {
        EffectShot<Sky> shot(flat(71, 40, 0.0F));
        shot.choose_preset(preset);
        shot.effect.cameraRotY.value = preset % 2 * -15;
        shot.effect.cameraRotZ.value = preset % 3 * 10;
        const ImagePtr sky = same_bits_everywhere([&] { return shot.copy(17); });
        const SlowSky slow(shot.effect, *sky, 17);
        double worst = 0;
        for (int y = 0; y < sky->height; y += 3)
            for (int x = 0; x < sky->width; x += 2) {
                double expected[4];
                slow.shade(x, y, expected);
                for (int c = 0; c < 4; ++c) worst = std::max(worst, std::fabs(expected[c] - double(at(*sky, x, y, c))));
            }
        EXPECT_LT(worst, 2e-3) << "preset " << preset;
    }
}

TEST(Sky, LiesOverTheBackgroundByItsAlpha) {
    EffectShot<Sky> shot(noise(50, 30));
    const ImagePtr sky = shot.copy();
    shot.effect.OnBlack.value = false;
    const K7Image& both = shot.render();
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 50; ++x)
            for (int c = 0; c < 4; ++c)
                ASSERT_NEAR(at(both, x, y, c), at(*sky, x, y, c) + at(*shot.source, x, y, c) * (1 - at(*sky, x, y, 3)),
                            1e-6);
}

TEST(Sky, RendersFramesInAnyOrder) {
    EffectShot<Sky> shot(flat(48, 30, 0.0F));
    const ImagePtr later = shot.copy(40), first = shot.copy(0);
    EXPECT_GT(difference(*later, *first), 0.01);
    EXPECT_EQ(difference(*later, shot.render(40)), 0);
    // Without speed the clouds stand still
    shot.effect.cloudSpeed.value = shot.effect.cloudVariance.value = 0;
    EXPECT_EQ(difference(*first, shot.render(99)), 0);
    shot.effect.exposure.value = 0;
    EXPECT_EQ(difference(shot.render(), *flat(48, 30, 0.0F)), 0);
}

// Hosts may hand over what no slider allows.
TEST(Sky, StaysFiniteWithAnyNumbers) {
    EffectShot<Sky> shot(flat(1, 1, 0.5F));
    shot.effect.iterations.value = 2;
    for (ControlK7* control : shot.effect.controls()) {
        auto* const number = dynamic_cast<FloatControlK7*>(control);
        if (!number) continue;
        const double before = number->value;
        for (const double value : {-1e12, -3.0, 0.0, 1e12})
            for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {37, 2}}) {
                number->value = value;
                shot.source = flat(width, height, 0.5F);
                const K7Image& sky = shot.render(-1e9);
                for (int k = 0; k < width * height * 4; ++k) {
                    const float sample = image_row<float>(&sky, 0)[k];
                    ASSERT_TRUE(sample >= 0.0F && sample <= 1.0F) << number->name() << " " << value;
                }
            }
        number->value = before;
    }
}

}  // namespace
