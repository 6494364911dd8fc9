// What moves particles, and the light that falls on them. Plain records of 4-byte fields, so that the records of an
// effect's parameters can be compared and fingerprinted as bytes.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "effects/engines/replay/FrameShape.h"
#include "imagelib/imagelib.h"
#include "k7pi_baselib/portable_math.h"
#include "noiselib/mtrandom.h"
#include "noiselib/solidnoise.h"

namespace particles {

inline constexpr float DEGREE = 0.017453292519943295f;
inline constexpr float HALF_DEGREE = 0.008726646192371845f;

// A number drawn from a generator as -1 to 1.
inline float signed_draw(MTRandom& random) { return 2 * random.next_float() - 1; }

// ---- Gravity --------------------------------------------------------------------------------------------------

struct Gravity {
    float strength = 0;  // pixels a frame and frame
    float direction[2] = {0, -1};

    void set(const FrameShape& frame, bool on, double value, double degrees) {
        const float angle = static_cast<float>(degrees) * DEGREE;
        strength = on ? static_cast<float>(value) / frame.unit_scale * frame.aspect() : 0;
        direction[0] = k7_cos(angle);
        direction[1] = k7_sin(angle) / frame.aspect();
    }
    void force(float out[3]) const {
        out[0] = direction[0] * strength;
        out[1] = direction[1] * strength;
        out[2] = 0;
    }
};

// ---- Wind -----------------------------------------------------------------------------------------------------

// Wind moves places, not velocities: a cone of air from the source towards the target, or a blast to all sides that
// ends at the target's distance.
struct Wind {
    float source[2] = {};
    float direction[2] = {};
    float length = 1;            // source to target, pixels
    float cosine_of_spread = 1;  // of half of it
    float speed = 0;             // pixels a frame; 0: none
    std::int32_t all_sides = 0;
    float metric[2] = {1, 1};  // of squared distances

    void set(const FrameShape& frame, bool on, double source_x, double source_y, double target_x, double target_y,
             double spread, double value, bool multi_directional) {
        all_sides = multi_directional ? 1 : 0;
        metric[0] = all_sides ? 1 / (frame.pixel_height * frame.pixel_height) : 1;
        metric[1] = all_sides ? 1 / (frame.pixel_width * frame.pixel_width) : 1;
        source[0] = frame.width * static_cast<float>(source_x);
        source[1] = frame.height * static_cast<float>(source_y);
        const float dx = frame.width * static_cast<float>(target_x) - source[0];
        const float dy = frame.height * static_cast<float>(target_y) - source[1];
        length = std::max(distance(dx, dy), 0.0001f);
        direction[0] = dx / length;
        direction[1] = dy / length;
        cosine_of_spread = k7_cos(static_cast<float>(spread) * HALF_DEGREE);
        speed = on ? static_cast<float>(value) / frame.unit_scale : 0;
    }
    float distance(float dx, float dy) const { return std::sqrt(dx * dx * metric[0] + dy * dy * metric[1]); }
    bool blows() const { return speed > 0.0001f; }

    template <class Particle>
    void blow(Particle* particles, int count, float strength) const {
        if (!blows()) return;
        for (int i = 0; i < count; ++i) blow(particles[i].position, strength);
    }
    void blow(float position[2], float strength) const {
        float dx = position[0] - source[0];
        float dy = position[1] - source[1];
        const float away = distance(dx, dy);
        if (away > 0) dx /= away, dy /= away;
        if (all_sides) {
            const float reached = std::min(away / length, 1.0f);
            position[0] += dx * strength * (1 - reached);
            position[1] += dy * strength * (1 - reached);
            return;
        }
        const float c = direction[0] * dx + direction[1] * dy;
        if (!(c > cosine_of_spread)) return;
        const float gain = (c - cosine_of_spread) / std::max(1 - cosine_of_spread, 1e-6f) * c * strength;
        position[0] += direction[0] * gain;
        position[1] += direction[1] * gain;
    }
};

// ---- Swirl ----------------------------------------------------------------------------------------------------

// Noise that turns velocities, growing over the first frames of a particle's life.
struct Swirl {
    float density = 0;  // lattice cells of the noise a picture; 0: none
    float amplitude = 0;
    float ramp = 1;  // frames

    void set(const FrameShape& frame, bool on, double dens, double amp, double time_to_max, int start) {
        density = on ? static_cast<float>(dens) : 0;
        amplitude = on ? static_cast<float>(amp) / frame.unit_scale : 0;
        ramp = on ? std::max(static_cast<float>(time_to_max) + static_cast<float>(start), 1.0f) : 1;
    }
    bool turns() const { return density > 0.001f; }
    float strength(float age) const { return std::min(age / ramp, 1.0f); }

    static constexpr int ABREAST = 256;
    // Reads the noise at places in the picture: x and y become the pushes along them, before amplitudes. At most
    // ABREAST places at once; the same bits whatever their number.
    void read(const SolidNoise& noise, const FrameShape& frame, int time, float* x, float* y, int count) const;
};

// ---- Light ----------------------------------------------------------------------------------------------------

// A cone of light from a source towards a target.
struct LightCone {
    float source[2] = {};
    float direction[2] = {};
    float zone = 0;  // half its opening, radians

    void set(const FrameShape& frame, double source_x, double source_y, double target_x, double target_y,
             double degrees) {
        source[0] = frame.width * static_cast<float>(source_x);
        source[1] = frame.height * static_cast<float>(source_y);
        direction[0] = frame.width * static_cast<float>(target_x) - source[0];
        direction[1] = frame.height * static_cast<float>(target_y) - source[1];
        normalise(direction);
        zone = static_cast<float>(degrees) * HALF_DEGREE;
    }
    // Of the angle between the cone's axis and the way to a place.
    float cosine_to(const float position[2]) const {
        float way[2] = {position[0] - source[0], position[1] - source[1]};
        normalise(way);
        return direction[0] * way[0] + direction[1] * way[1];
    }
    // 1 near the axis, falling to 0 over the outer 30 % of the zone.
    float inside(float cosine_of_angle) const {
        const float angle = k7_acos(std::clamp(cosine_of_angle, -1.0f, 1.0f));
        const float from = 0.7f * zone;
        if (!(zone > from)) return angle <= 0 ? 1.0f : 0.0f;
        const float q = std::clamp((angle - from) / (zone - from), 0.0f, 1.0f);
        return 1 - (3 - 2 * q) * q * q;
    }

  private:
    static void normalise(float vector[2]) {
        const float length = std::sqrt(vector[0] * vector[0] + vector[1] * vector[1]);
        if (length > 0.0001f) vector[0] /= length, vector[1] /= length;
    }
};

}  // namespace particles
