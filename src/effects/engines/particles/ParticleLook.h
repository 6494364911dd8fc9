// What particles look like from their birth to their death: shape, size, turning, colour and opacity, as a function of
// a particle's own number and age. So nothing of it is state, and all of it can be changed without a replay.
#pragma once

#include <cstdint>

#include "effects/engines/sprites/LookSprites.h"
#include "effects/engines/sprites/SpriteGlow.h"

namespace particles {

// A particle as its look sees it. Places in pixel widths, both axes.
struct Seen {
    std::uint32_t key;     // its own number
    std::uint32_t family;  // the number that its hue follows from: that of the particle it comes from
    float age, life;       // frames
    float x, y;
    float way_x, way_y;   // to where it was a frame before; no farther than to where it was born
    float vx, vy;         // a frame
    const float* colour;  // at its birth; null: the look's
    float size, opacity;  // times the look's
};

struct ParticleLook {
    SpriteLook look = SpriteLook::blob;
    DrawBlend blend = DrawBlend::over;
    float size = 1;                                // radius, pixel widths
    float size_var = 0;                            // 0 to 1
    float size_birth = 1, size_death = 1;          // times the size
    float softness = 1;                            // of blobs, 0 to 1
    float length = 1;                              // of streaks, frames
    float shutter = 0;                             // frames
    float spin = 0;                                // radians a frame, at most
    float tumble = 0;                              // radians a frame
    bool along_way = false;                        // shapes point where they fly
    float opacity = 1, fade_in = 0, fade_out = 0;  // shares of the life
    float twinkle = 0, twinkle_rate = 0;           // share; flashes a frame
    float glow = 0;                                // of a halo, 0 to 1

    static constexpr int HUES = 64, STAGES = 3;
    float change = 1;     // how far colours go from that of the birth to the others
    float light_var = 0;  // 0 to 1
    float gain = 1;
    float colours[HUES][STAGES][3] = {};  // at birth, in the middle and at death, for particles of different hues
    void set_colours(const float (&stages)[STAGES][3], float hue_var);

    LookSprites::Kind kind(const MipPicture* picture) const;
    // How many sprites a particle is drawn with: more than one where it is blurred in steps.
    int count(const Seen& seen) const;
    // Those sprites.
    void show(const Seen& seen, LookSprite* sprites, int count) const;
    // The radius of a particle's halo, in pixel widths, and the share of the opacity that it has.
    static constexpr float GLOW_REACH = 4, GLOW_LEAST = 9;

  private:
    bool swept() const { return look == SpriteLook::point || look == SpriteLook::blob; }
    float visibility(const Seen& seen) const;
    float radius(const Seen& seen) const;
    void colour(const Seen& seen, float out[3]) const;
    void turn(const Seen& seen, LookSprite& sprite) const;
};

}  // namespace particles
