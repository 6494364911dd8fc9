// What moves particles in the plane: the air (wind, a vortex, swirling noise) carries them along as far as they have a
// grip on it; gravity, an attractor and the slopes of a clip's light accelerate them.
//
//     v := v + (air(p) - v) * min(grip * lightness, 1) + gravity + pull(p) + slope(p)
//
// Places are in pixel widths from the picture's lower left corner, both axes, so that a circle is round whatever the
// pixels' aspect; velocities in pixel widths a frame. The record has 4-byte fields only, so that parameters can be
// compared and fingerprinted as bytes.
//
// The swirl is the curl of a moving potential (R. Bridson, J. Hourihan and M. Nordenstam, "Curl-noise for procedural
// fluid flow", SIGGRAPH 2007), so that particles neither bunch up nor drift apart in it. The vortex is Kaufmann's
// (1962): fastest at its radius, like a rigid body inside. Both turn by exact arcs: a particle that follows the air
// entirely stays on its circle.
#pragma once

#include <cstdint>
#include <vector>

#include "imagelib/imagelib.h"
#include "noiselib/solidnoise.h"

namespace particles {

// The slopes of a picture's luminance, at a quarter of its size.
class SlopeField {
  public:
    static constexpr int STEP = 4;  // pixels of the picture to one of the field

    // Softened over about `radius` pixels, at least 4.
    void make(const K7Image& picture, float radius);
    bool empty() const { return m_slopes.empty(); }
    std::uint64_t fingerprint() const;
    // The growth of luminance over `reach` pixel widths along both axes, up to 1 either way, at places in pixel widths.
    void read(const float* x, const float* y, float aspect, float reach, float* along_x, float* along_y,
              int count) const;

  private:
    int m_width = 0, m_height = 0;
    std::vector<float> m_slopes;  // along x and y, a pixel of the picture
};

// Particles abreast, as arrays of at most ForceField::ABREAST. Places are read, velocities changed.
struct ForceBlock {
    const float *x, *y;
    float *vx, *vy;
    const float* lightness;  // times the grip; null: 1
    int count;
};

struct ForceField {
    static constexpr int ABREAST = 256;

    float gravity[2] = {};   // a frame and frame
    float grip = 0;          // part of the difference to the air that a velocity loses in a frame
    float wind[2] = {};      // a frame
    float gusts = 0;         // how far the wind swells and dies down, 0 to 1
    float swirl_speed = 0;   // a frame
    float swirl_cells = 0;   // a pixel width
    float swirl_change = 0;  // cells a frame that the pattern moves on through its third dimension
    float vortex[2] = {}, vortex_radius = 1, vortex_speed = 0;              // at the radius, anticlockwise
    float attractor[2] = {}, attractor_radius = 1, attractor_strength = 0;  // a frame and frame at the radius
    float slope_strength = 0;                                               // a frame and frame where light grows by 1
    float slope_turn[2] = {1, 0};                                           // cosine and sine: 1, 0 towards the light
    float slope_reach = 1;                                                  // over this distance
    float aspect = 1;                                                       // width of a pixel over its height

    // What wind and swirl are like at a time, in frames, to be asked for once a step.
    struct Moment {
        float wind[2] = {}, swirl_z = 0;
    };
    Moment at(float frame, const SolidNoise& noise) const;

    // One frame's change of velocities. `slopes` may be null or empty. The same bits for any split into blocks and on
    // every processor.
    void apply(const Moment& now, const SolidNoise& noise, const SlopeField* slopes, const ForceBlock& block) const;
    // The air's velocity from the swirl alone.
    void swirl(const Moment& now, const SolidNoise& noise, const float* x, const float* y, float* along_x,
               float* along_y, int count) const;

    bool swirls() const { return swirl_speed != 0 && swirl_cells > 0; }
};

}  // namespace particles
