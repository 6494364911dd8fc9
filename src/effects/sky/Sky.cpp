#include "effects/sky/Sky.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "effects/sky/CloudMap.h"
#include "effects/sky/Sky_simd.h"
#include "k7pi_baselib/k7pi_baselib.h"
#include "k7pi_baselib/portable_math.h"

namespace {

constexpr double RADIANS = 0.01745;  // of a degree
constexpr double OBSERVER = 0.99;    // height of the camera over the middle of the shell
constexpr double NEAREST = 0.01;     // depth in front of the camera from which something is seen

void set(float (&to)[3], double x, double y, double z) {
    to[0] = static_cast<float>(x), to[1] = static_cast<float>(y), to[2] = static_cast<float>(z);
}
void set(float (&to)[3], const ColourControlK7& colour) { set(to, colour.red, colour.green, colour.blue); }

double dot(const float (&a)[3], const float (&b)[3]) {
    return double(a[0]) * b[0] + double(a[1]) * b[1] + double(a[2]) * b[2];
}

// What long ways through the air leave of a light.
void redden(float (&colour)[3], double shift) {
    colour[1] *= static_cast<float>(k7_exp(shift * -0.5));
    colour[2] *= static_cast<float>(k7_exp(-shift));
}

}  // namespace

void Sky::ProcessFrame() {
    K7Image* picture = output.image.get();
    CloudMap map;
    if (!makeClouds(map)) return;

    const StageTimer timer("Sky shader");
    const SkyView sky = viewOf(*picture, map);
    const SkyKernels& kernels = sky_kernels();
    const bool over = !OnBlack.value;
    eachRow(picture->height,
            [&](int y) { kernels.shade_row(sky, y, over, image_row<float>(picture, y), picture->width); });
}

bool Sky::makeClouds(CloudMap& map) const {
    const StageTimer timer("Cloud map");
    const CloudSettings settings{.dot_blur = scaledDotBlur.value,
                                 .dots = baseDotCount.value,
                                 .octaves = iterations.value,
                                 .contrast = Contrast.value,
                                 .density = cloudDensity.value,
                                 .direction = cloudDirection.value,
                                 .speed = cloudSpeed.value,
                                 .speed_variance = cloudVariance.value,
                                 .streaky = Invert.value,
                                 .bumps = bumpScale.value > 0.0,
                                 .bump_softness = gradientSoftness.value,
                                 .seed = static_cast<std::uint32_t>(seed.value)};
    const int frame = static_cast<int>(currentFrame + 0.5);
    return make_cloud_map(map, output.image->width, settings, frame, stopRequested());
}

SkyView Sky::viewOf(const K7Image& picture, const CloudMap& map) const {
    SkyView sky{};
    lookThroughCamera(picture, sky);
    sky.shell = static_cast<float>(OBSERVER * OBSERVER - (cloudHeight.value / 1000 + OBSERVER));
    sky.size = map.density->width;
    sky.density = image_row<float>(map.density.get(), 0);
    sky.gradient = map.gradient ? image_row<float>(map.gradient.get(), 0) : nullptr;
    sky.tile_scale = static_cast<float>(tileScale.value);
    sky.cover = static_cast<float>(cloudDensity.value * 0.5);
    sky.bump = static_cast<float>(bumpScale.value);
    sky.under_lighting = static_cast<float>(underLighting.value);
    sky.light_edges = lightEdges.value;
    sky.cloud_brightness = static_cast<float>(cloudBrightness.value);

    const double azimuth = sunAzimuth.value * RADIANS, elevation = sunElevation.value * RADIANS;
    const double level = k7_cos(elevation);
    set(sky.sun, level * k7_cos(azimuth), k7_sin(elevation), -k7_sin(azimuth) * level);
    sky.sun_brightness = static_cast<float>(sunBrightness.value);
    sky.sun_stretch = static_cast<float>(sunStretch.value);
    sky.corona_brightness = static_cast<float>(coronaBrightness.value);
    sky.corona_stretch = static_cast<float>(coronaStretch.value);
    sky.haze_corona = hazeCorona.value;
    sky.haze_distance = static_cast<float>(hazeCutoff.value / 1000);
    sky.haze = static_cast<float>(haze.value);
    sky.ambient = static_cast<float>(ambientBrightness.value);
    sky.exposure = static_cast<float>(exposure.value);
    colourView(sky);
    placeFlare(sky);
    return sky;
}

// Without rotations the camera looks along z, with x to its left; it is rolled, then pitched, then turned about y.
void Sky::lookThroughCamera(const K7Image& picture, SkyView& sky) const {
    const double half_field = k7_tan(cameraFOV.value * RADIANS * 0.5);
    const double pitch = cameraRotX.value * RADIANS, yaw = cameraRotY.value * RADIANS,
                 roll = cameraRotZ.value * RADIANS;
    const double cp = k7_cos(pitch), sp = k7_sin(pitch), cy = k7_cos(yaw), sy = k7_sin(yaw);
    const double cr = k7_cos(roll), sr = k7_sin(roll);
    const double right[3] = {-cy, 0, sy}, up[3] = {-sp * sy, cp, -sp * cy};
    set(sky.forward, cp * sy, sp, cp * cy);
    set(sky.right, cr * right[0] + sr * up[0], cr * right[1] + sr * up[1], cr * right[2] + sr * up[2]);
    set(sky.up, cr * up[0] - sr * right[0], cr * up[1] - sr * right[1], cr * up[2] - sr * right[2]);
    const double wide = half_field * picture.width * picture.pixel_aspect / picture.height;
    sky.x_scale = static_cast<float>(2 * wide / picture.width);
    sky.x_first = static_cast<float>(-wide);
    sky.y_scale = static_cast<float>(2 * half_field / picture.height);
    sky.y_first = static_cast<float>(-half_field);
}

void Sky::colourView(SkyView& sky) const {
    set(sky.sun_colour, sunColour);
    set(sky.cloud_colour, cloudColour);
    set(sky.haze_colour, hazeColour);
    set(sky.zenith, zenithColour);
    set(sky.horizon, horizonColour);
    for (float& channel : sky.haze_colour) channel *= static_cast<float>(hazeBrightness.value);
    for (auto* colour : {&sky.sun_colour, &sky.cloud_colour, &sky.haze_colour}) redden(*colour, redShift.value);
    sky.red_shift = static_cast<float>(redShift.value);
}

// The flare is there while the sun is in the picture, as far as no cloud covers it.
void Sky::placeFlare(SkyView& sky) const {
    const double depth = dot(sky.sun, sky.forward);
    if (!(depth >= NEAREST)) return;
    const double x = (dot(sky.sun, sky.right) / depth - sky.x_first) / sky.x_scale;
    const double y = (dot(sky.sun, sky.up) / depth - sky.y_first) / sky.y_scale;
    const K7Image& picture = *output.image;
    if (!(x >= 0 && x < picture.width && y >= 0 && y < picture.height)) return;
    sky.sun_x = static_cast<float>(x);
    sky.sun_y = static_cast<float>(y);
    const float gap = 1.0f - sky_kernels().cover_along(sky, sky.sun);
    sky.flare = gap * static_cast<float>(flareBrightness.value);
    sky.flare_sharpness = static_cast<float>(flareSharpness.value);
    sky.flare_stretch = static_cast<float>(flareStretch.value);
    sky.flare_spokes = flareSpokes.value;
    const double turn = (std::numbers::pi + flareRotation.value) * flareSpokes.value * 0.5;
    sky.flare_cosine = static_cast<float>(k7_cos(turn));
    sky.flare_sine = static_cast<float>(k7_sin(turn));
}
