// One particle of a set, as all particle effects know it. An effect derives its own and appends fields.
//
// Records are copied byte by byte, so that particles are plain: no virtual members, and nothing owned. Each operation
// takes the generator to draw from; how many numbers it draws never depends on the values, the ellipsoid's rejections
// aside.
#pragma once

#include <cstdint>

#include "noiselib/mtrandom.h"

struct ParticleBase {
    void set_random_position(const float min[3], const float max[3], MTRandom& random);
    // Uniform in the ellipsoid; a radius of 0 leaves its axis out.
    void set_position_in_ellipsoid(const float centre[3], const float radii[3], MTRandom& random);
    void set_position_on_segment(const float a[3], const float b[3], const float radii[3], MTRandom& random);
    // The mean velocity, its length varied by the fraction spread[0], rotated about z by up to spread[1] radians and
    // towards or away from z by up to spread[2].
    void set_random_velocity(const float mean[3], const float spread[3], MTRandom& random);
    void set_random_life(float a, float b, MTRandom& random) { life = random.next_float_in(a, b); }

    float position[3] = {};
    float velocity[3] = {};  // a step
    float color[4] = {1, 1, 1, 1};
    float age = 0;        // steps lived; 0: has not taken its first step
    float life = 0;       // the age at which it dies
    std::int32_t id = 0;  // live particles when it was added
};
