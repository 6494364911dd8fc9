#include "effects/engines/particles/ParticleBase.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"

namespace {

constexpr float SMALLEST = 1e-10f;
constexpr float TURN = 6.2831855f;

}  // namespace

void ParticleBase::set_random_position(const float min[3], const float max[3], MTRandom& random) {
    for (int i = 0; i < 3; ++i) position[i] = random.next_float_in(min[i], max[i]);
}

void ParticleBase::set_position_in_ellipsoid(const float centre[3], const float radii[3], MTRandom& random) {
    float offset[3];
    float distance = 0;
    do {
        distance = 0;
        for (int i = 0; i < 3; ++i) {
            offset[i] = random.next_float_in(-radii[i], radii[i]);
            if (radii[i] > SMALLEST) distance += (offset[i] / radii[i]) * (offset[i] / radii[i]);
        }
    } while (distance > 1);
    for (int i = 0; i < 3; ++i) position[i] = centre[i] + offset[i];
}

void ParticleBase::set_position_on_segment(const float a[3], const float b[3], const float radii[3], MTRandom& random) {
    const float t = random.next_float();
    float centre[3];
    for (int i = 0; i < 3; ++i) centre[i] = a[i] + t * (b[i] - a[i]);
    set_position_in_ellipsoid(centre, radii, random);
}

void ParticleBase::set_random_velocity(const float mean[3], const float spread[3], MTRandom& random) {
    float r = std::sqrt(mean[0] * mean[0] + mean[1] * mean[1] + mean[2] * mean[2]);
    float polar = 0;
    float azimuth = 0;
    if (r >= SMALLEST) {
        polar = k7_acos(std::clamp(mean[2] / r, -1.0f, 1.0f));
        azimuth = k7_atan2(mean[1], mean[0]);
        if (azimuth < 0) azimuth += TURN;
    }
    const float stretch = random.next_float_in(1 - spread[0], 1 + spread[0]);
    const float turn = random.next_float_in(-spread[1], spread[1]);
    const float tilt = random.next_float_in(-spread[2], spread[2]);
    r *= stretch;
    polar += tilt;
    azimuth = static_cast<float>(std::fmod(static_cast<double>(azimuth + turn), double{TURN}));
    if (azimuth < 0) azimuth += TURN;
    velocity[0] = r * k7_sin(polar) * k7_cos(azimuth);
    velocity[1] = r * k7_sin(polar) * k7_sin(azimuth);
    velocity[2] = r * k7_cos(polar);
}
