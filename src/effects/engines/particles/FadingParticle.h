// A particle that remembers where its last step began, so that it can have a tail, and vanishes before its death.
#pragma once

#include <algorithm>

#include "effects/engines/particles/Forces.h"
#include "effects/engines/particles/ParticleBase.h"
#include "effects/engines/sprites/Splats.h"
#include "k7pi_baselib/portable_math.h"

struct FadingParticle : ParticleBase {
    float previous_position[3] = {};  // before the last step
    float fade = 0;  // frames before its death in which it vanishes; some effects let it condense in as many

    // What is left of a visibility towards the death; 0 where that is too little to be drawn.
    float fading(float visible) const {
        const float left = life - age;
        if (left < fade) visible *= left / fade;
        return left < 0 || !(visible >= 0.0001f) ? 0 : visible;
    }
    // How far it has condensed, from the level at its birth to 1.
    float condensed(float at_birth) const {
        constexpr float QUARTER_TURN = 1.5707800388336182f;
        return k7_sin(std::min(age / std::max(fade, 1.0f) + at_birth, 1.0f) * QUARTER_TURN);
    }
    // Its position on one axis, t steps back in time along its last step; t may be above 1.
    float tail(int axis, float t) const { return position[axis] - (position[axis] - previous_position[axis]) * t; }
};

namespace particles {

// The last `shutter` steps of a particle as a line.
inline void draw_streak(Splats& splats, const FadingParticle& p, const float* colour, float shutter, float visible) {
    splats.line(colour, p.tail(0, shutter) + 0.5f, p.tail(1, shutter) + 0.5f, p.position[0], p.position[1], visible);
}

// The last `shutter` steps of a particle as stamps: one where it is, and for each step `count` that grow fainter on the
// way back. Calls stamp(x, y, coverage).
template <class Stamp>
void stamp_with_tail(const FadingParticle& p, float shutter, float count, float visible, Stamp stamp) {
    stamp(p.position[0], p.position[1], visible);
    const float steps = count * shutter;
    for (int i = 1; static_cast<float>(i) < steps; ++i) {
        const float f = static_cast<float>(i) / steps;
        stamp(p.tail(0, f * shutter) + 0.5f, p.tail(1, f * shutter) + 0.5f, (1 - f) * visible * (1 / count));
    }
}

}  // namespace particles
